// support/Gmath
