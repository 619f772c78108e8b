# Checks at run time in the code that ships: the stack protector and the assertions of the C++ library.
# docs/performance.md says what they cost, and why the assertions are off.
add_library(tarn_hardening INTERFACE)
if(TARN_LIBRARY_ASSERTIONS)
  target_compile_definitions(tarn_hardening INTERFACE _GLIBCXX_ASSERTIONS)
endif()
if(TARN_STACK_PROTECTOR)
  target_compile_options(tarn_hardening INTERFACE -fstack-protector-strong)
  if(WIN32)
    # In place of the compiler's libssp, which asks the crypto service for its guard while a DLL is being loaded.
    add_library(tarn_stack_guard STATIC ${PROJECT_SOURCE_DIR}/src/base/stack_guard_win32.cpp)
    target_compile_definitions(tarn_stack_guard PRIVATE WIN32_LEAN_AND_MEAN NOMINMAX)
    target_link_libraries(tarn_stack_guard PRIVATE tarn_warnings)
    target_link_libraries(tarn_hardening INTERFACE tarn_stack_guard)
  endif()
endif()
