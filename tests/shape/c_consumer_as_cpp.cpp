// The same host as in C: what the SDK's header declares links from C++ too.
#include "../../examples/c_consumer.c"
