# The same target with the win32-thread compilers, for what ships. Their run-time library asks Windows for its threads
# itself; that of the -posix compilers brings a thread library along, which catches exceptions and suspends threads.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-toolchain.cmake)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-win32)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-win32)
