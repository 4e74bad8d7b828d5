// transport/comm
