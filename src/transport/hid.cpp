// transport/hid
