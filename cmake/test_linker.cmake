# GNU ld takes minutes for the largest test program, lld a second. GCC as Debian builds it knows one linker, whatever
# -fuse-ld says; clang calls lld for it, with GCC's own libraries. What ships is linked by GNU ld.
set(TARN_GNU_LINK_EXECUTABLE ${CMAKE_CXX_LINK_EXECUTABLE})
find_program(TARN_LINKING_CLANG clang++-14)
find_program(TARN_LLD ld.lld-14)
mark_as_advanced(TARN_LINKING_CLANG TARN_LLD)
if(NOT TARN_LINKING_CLANG OR NOT TARN_LLD)
  message(STATUS "Test programs are linked by GNU ld, which is slow: clang++-14 or ld.lld-14 is missing")
  return()
endif()
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET libgcc PARENT_PATH gcc_libraries)
set(lld_command ${TARN_LINKING_CLANG} --target=x86_64-w64-mingw32 -fuse-ld=lld -L${gcc_libraries} -Wl,--stack,2097152)

# One program that throws and starts a thread, before all of them are linked so.
set(tried ${CMAKE_BINARY_DIR}/tried_linker)
file(WRITE ${tried}.cpp "#include <thread>\nint main() { std::thread([] {}).join(); throw 1; }\n")
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -c ${tried}.cpp -o ${tried}.obj COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${lld_command} -static ${tried}.obj -o ${tried}.exe -lpthread
  RESULT_VARIABLE failed ERROR_VARIABLE why OUTPUT_QUIET)
if(failed)
  message(STATUS "Test programs are linked by GNU ld, which is slow: lld fails: ${why}")
  return()
endif()

# The stack is GNU ld's; -lpthread is what GCC's posix variant adds by itself.
string(REPLACE ";" " " lld_command "${lld_command}")
set(CMAKE_CXX_LINK_EXECUTABLE
  "${lld_command} <CMAKE_CXX_LINK_FLAGS> <LINK_FLAGS> <OBJECTS> -o <TARGET> <LINK_LIBRARIES> -lpthread")
