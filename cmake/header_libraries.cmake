# The header-only libraries around the DLL, as the distribution ships them.
#
# The cross compiler must never see /usr/include, so the wanted folders are linked into one folder of the build tree.
set(TARN_HEADER_FOLDER ${CMAKE_BINARY_DIR}/header_libraries)
file(MAKE_DIRECTORY ${TARN_HEADER_FOLDER})
foreach(folder CLI nlohmann toml++ fmt)
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run ./dev setup, which installs what the build needs")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${TARN_HEADER_FOLDER}/${folder} SYMBOLIC)
endforeach()

add_library(tarn_header_libraries INTERFACE)
target_include_directories(tarn_header_libraries SYSTEM INTERFACE ${TARN_HEADER_FOLDER})
target_compile_definitions(tarn_header_libraries INTERFACE FMT_HEADER_ONLY)
