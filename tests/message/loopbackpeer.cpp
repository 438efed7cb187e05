// Moved to tests/support; tests/libclient still compiles this file into its test directly.
#include "support/loopbackpeer.cpp"
