# The header-only libraries around the DLL, as the distribution ships them.
#
# The cross compiler must never see /usr/include, so the wanted folders are linked into one folder of the build tree.
set(TARN_HEADER_FOLDER ${PROJECT_BINARY_DIR}/header_libraries)
file(MAKE_DIRECTORY ${TARN_HEADER_FOLDER})
set(TARN_HEADER_LIBRARIES fmt toml++)
if(NOT TARN_PRODUCTS_ONLY)
  list(APPEND TARN_HEADER_LIBRARIES CLI nlohmann boost)
endif()
foreach(folder ${TARN_HEADER_LIBRARIES})
  if(NOT EXISTS /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing: run ./dev setup, which installs what the build needs")
  endif()
  file(CREATE_LINK /usr/include/${folder} ${TARN_HEADER_FOLDER}/${folder} SYMBOLIC)
endforeach()

add_library(tarn_header_libraries INTERFACE)
target_include_directories(tarn_header_libraries SYSTEM INTERFACE ${TARN_HEADER_FOLDER})
# A policy is text from outside, and the TOML parser's assertions do not hold for all of it ("[!x]"). Behind each of them
# stands its proper error, so they must not end a build that has assertions. All files have to agree on this.
target_compile_options(tarn_header_libraries INTERFACE "-DTOML_ASSERT(condition)=static_assert(true)")
# Compiled once, in cmake/libraries: whoever uses them links tarn_toml or tarn_fmt.
target_compile_definitions(tarn_header_libraries INTERFACE TOML_HEADER_ONLY=0)
