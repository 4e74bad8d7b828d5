// link/msr_transport
