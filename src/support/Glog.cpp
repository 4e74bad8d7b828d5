// support/Glog
