# What Windows shows of a file: its version, what it is, whose it is.

# tarn_add_version(target file type description [manifest])
#   file is the name that the target is built as, type VFT_DLL or VFT_APP. A manifest goes into a program only.
function(tarn_add_version target file type description)
  set(TARN_RESOURCE_FILE ${file})
  cmake_path(GET file STEM TARN_RESOURCE_NAME)
  set(TARN_RESOURCE_TYPE ${type})
  set(TARN_RESOURCE_DESCRIPTION ${description})
  set(TARN_RESOURCE_MANIFEST "")
  if(ARGC GREATER 4)
    set(TARN_RESOURCE_MANIFEST "CREATEPROCESS_MANIFEST_RESOURCE_ID RT_MANIFEST \"${target}.manifest\"")
    configure_file(${ARGV4} ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest @ONLY)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  if(ARGC GREATER 4)
    set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc APPEND PROPERTY
      OBJECT_DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
    set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc APPEND PROPERTY
      INCLUDE_DIRECTORIES ${CMAKE_CURRENT_BINARY_DIR})
  endif()
endfunction()
