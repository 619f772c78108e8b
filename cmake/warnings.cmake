# Warnings are errors in the project's own code; libraries are included as system headers.
add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
  # GCC 12 sees overlapping copies in "literal" + std::string when it optimises (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # clang 14 calls the designated initialisers of nested members that GCC accepts an extension.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-braces>
  # clang also warns where the address goes no further than to memcpy; GCC, which does not, guards the rest.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-address-of-packed-member>)
