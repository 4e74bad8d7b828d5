// support/Gstring
