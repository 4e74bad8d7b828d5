// support/Gconfig
