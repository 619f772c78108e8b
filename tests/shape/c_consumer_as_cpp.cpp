// The same host as in C: what the SDK's header declares links from C++ too.
#include "../../examples/c_consumer.c"  // NOLINT(bugprone-suspicious-include): to compile it here is the point
