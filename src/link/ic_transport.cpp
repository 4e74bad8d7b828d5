// link/ic_transport
