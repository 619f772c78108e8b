# What ships (tarn.dll and the reference companions) is a build of its own inside the Windows build, because it has
# compilers of its own: see mingw-win32-toolchain.cmake. No object file and no static library is shared between the two.
#
# Targets: products builds everything that ships, into the folders of this build; tarn_dll stands for the built tarn.dll
# and its import library. A target that needs the files when it runs depends on products.
set(TARN_PRODUCTS_FOLDER ${CMAKE_BINARY_DIR}/products)
set(TARN_DLL ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/tarn.dll)
set(TARN_IMPORT_LIBRARY ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/libtarn.dll.a)

set(settings -G ${CMAKE_GENERATOR} -DTARN_PRODUCTS_ONLY=ON
  -DCMAKE_TOOLCHAIN_FILE=${PROJECT_SOURCE_DIR}/cmake/mingw-win32-toolchain.cmake
  -DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  -DTARN_IMPORT_LIBRARY_FOLDER=${CMAKE_ARCHIVE_OUTPUT_DIRECTORY})
foreach(name CMAKE_BUILD_TYPE CMAKE_MAKE_PROGRAM CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
    TARN_STACK_PROTECTOR TARN_LIBRARY_ASSERTIONS)
  if(DEFINED ${name})
    list(APPEND settings "-D${name}=${${name}}")
  endif()
endforeach()
# Already here, not in the build: compile_commands.json is there for the tools that read it.
message(STATUS "Configuring what ships in ${TARN_PRODUCTS_FOLDER}")
execute_process(COMMAND ${CMAKE_COMMAND} -S ${PROJECT_SOURCE_DIR} -B ${TARN_PRODUCTS_FOLDER} ${settings}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "What ships cannot be configured: is the package of ${CMAKE_C_COMPILER}'s win32 sister installed?")
endif()

# Runs each time, since only the inner build knows what has changed; a file that it leaves alone rebuilds nothing here.
set(files ${TARN_DLL} ${TARN_IMPORT_LIBRARY})
foreach(file ${TARN_COMPANION_FILES})
  list(APPEND files ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file})
endforeach()
add_custom_target(products ALL
  COMMAND ${CMAKE_COMMAND} --build ${TARN_PRODUCTS_FOLDER}
  BYPRODUCTS ${files}
  COMMENT "Building tarn.dll and the companions"
  USES_TERMINAL VERBATIM)

add_library(tarn_dll SHARED IMPORTED GLOBAL)
set_target_properties(tarn_dll PROPERTIES IMPORTED_LOCATION ${TARN_DLL} IMPORTED_IMPLIB ${TARN_IMPORT_LIBRARY}
                      INTERFACE_INCLUDE_DIRECTORIES ${PROJECT_SOURCE_DIR}/include)
add_dependencies(tarn_dll products)
add_library(tarn::tarn ALIAS tarn_dll)  # as the package names it
# By its own name on the command line.
add_custom_target(tarn)
add_dependencies(tarn products)
