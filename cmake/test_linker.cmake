# GNU ld takes minutes for the largest test program, lld a second. GCC as Debian builds it knows one linker, whatever
# -fuse-ld says; clang calls lld for it, with GCC's own libraries. What ships is linked by GNU ld.
find_program(TARN_LINKING_CLANG clang++-14)
find_program(TARN_LLD ld.lld-14)
if(NOT TARN_LINKING_CLANG OR NOT TARN_LLD)
  message(STATUS "Test programs are linked by GNU ld, which is slow: clang++-14 or ld.lld-14 is missing")
  return()
endif()
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc_libraries)
# The stack is GNU ld's; -lpthread is what GCC's posix variant adds by itself.
string(CONCAT CMAKE_CXX_LINK_EXECUTABLE "${TARN_LINKING_CLANG} --target=x86_64-w64-mingw32 -fuse-ld=lld "
  "-L${gcc_libraries} -Wl,--stack,2097152 <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> "
  "<LINK_LIBRARIES> -lpthread")
