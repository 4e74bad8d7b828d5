// transport/Gcom
