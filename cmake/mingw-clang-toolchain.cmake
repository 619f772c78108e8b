# The same target with clang and lld, on the run-time libraries of the win32-thread GCC: what ships, built a second time
# by somebody else, with a PDB for each program. Control-flow guard needs a newer run-time library: this one lacks
# __guard_dispatch_icall_fptr.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-toolchain.cmake)
set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
execute_process(COMMAND x86_64-w64-mingw32-g++-win32 -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc)
string(CONCAT CMAKE_CXX_FLAGS_INIT "-gcodeview -stdlib++-isystem ${gcc}/include/c++ "
  "-isystem ${gcc}/include/c++/x86_64-w64-mingw32 -isystem ${gcc}/include/c++/backward")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -L${gcc} -Wl,--pdb=")
endforeach()
