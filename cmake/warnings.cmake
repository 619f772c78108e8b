# Warnings are errors in the project's own code, unless it is built inside another project, whose compiler may know more
# of them. Libraries are included as system headers.
add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow
  $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
  # GCC 12 sees overlapping copies in "literal" + std::string when it optimises (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  # clang 14 calls the designated initialisers of nested members that GCC accepts an extension.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-missing-braces>
  # clang also warns where the address goes no further than to memcpy; GCC, which does not, guards the rest.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-address-of-packed-member>)
