// The same layout for C++ programs.
#include "record_layout.c"
