// The TOML parser's code; everybody else sees its declarations only (TOML_HEADER_ONLY=0).
#define TOML_IMPLEMENTATION
#include <toml++/toml.h>
