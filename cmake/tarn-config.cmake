# The package tarn, wherever it was unpacked.
#   tarn::tarn      the library: headers and import library, for the GNU tools and for the Microsoft ones
#   tarn::headers   the headers alone, for a companion module, which does not call the library
#   tarn_BIN_FOLDER tarn.dll, the companion modules, their policy and tarnhost.exe
if(NOT WIN32 OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(tarn_FOUND FALSE)
  set(tarn_NOT_FOUND_MESSAGE "tarn is a library for 64-bit Windows; this build is for ${CMAKE_SYSTEM_NAME}.")
  return()
endif()

get_filename_component(_tarn_root "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
set(tarn_BIN_FOLDER "${_tarn_root}/bin")
if(MINGW)
  set(_tarn_import_library "${_tarn_root}/lib/libtarn.dll.a")
else()
  set(_tarn_import_library "${_tarn_root}/lib/tarn.lib")
endif()
foreach(_tarn_file "${tarn_BIN_FOLDER}/tarn.dll" "${_tarn_import_library}" "${_tarn_root}/include/tarn/tarn.h")
  if(NOT EXISTS "${_tarn_file}")
    set(tarn_FOUND FALSE)
    set(tarn_NOT_FOUND_MESSAGE "${_tarn_file} is missing: unpack the whole archive again.")
    return()
  endif()
endforeach()

if(NOT TARGET tarn::tarn)
  add_library(tarn::headers INTERFACE IMPORTED)
  set_target_properties(tarn::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${_tarn_root}/include")
  add_library(tarn::tarn SHARED IMPORTED)
  set_target_properties(tarn::tarn PROPERTIES
    IMPORTED_LOCATION "${tarn_BIN_FOLDER}/tarn.dll"
    IMPORTED_IMPLIB "${_tarn_import_library}"
    INTERFACE_INCLUDE_DIRECTORIES "${_tarn_root}/include")
endif()
unset(_tarn_root)
unset(_tarn_import_library)
unset(_tarn_file)
