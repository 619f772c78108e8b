# What the package holds, and where: cmake --install FOLDER --component tarn. tools/package.py makes the archives of it.
include(CMakePackageConfigHelpers)
set(TARN_CMAKE_PACKAGE ${PROJECT_BINARY_DIR}/cmake_package)
configure_file(${PROJECT_SOURCE_DIR}/cmake/tarn-config.cmake ${TARN_CMAKE_PACKAGE}/tarn-config.cmake COPYONLY)
write_basic_package_version_file(${TARN_CMAKE_PACKAGE}/tarn-config-version.cmake COMPATIBILITY SameMinorVersion)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME tarn)

foreach(file ${TARN_COMPANION_FILES})
  install(PROGRAMS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${file} DESTINATION bin)
endforeach()
install(PROGRAMS ${TARN_DLL} DESTINATION bin)
install(TARGETS tarnhost DESTINATION bin)
install(FILES ${PROJECT_SOURCE_DIR}/companions/tarn-policy.toml DESTINATION bin)
install(FILES ${TARN_IMPORT_LIBRARY} ${PROJECT_SOURCE_DIR}/src/api/tarn.def DESTINATION lib)
install(FILES ${TARN_CMAKE_PACKAGE}/tarn-config.cmake ${TARN_CMAKE_PACKAGE}/tarn-config-version.cmake
  DESTINATION lib/cmake/tarn)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tarn DESTINATION include FILES_MATCHING PATTERN *.h)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/docs DESTINATION .)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/extension DESTINATION . PATTERN *.sh EXCLUDE PATTERN *.py EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/SECURITY.md
  DESTINATION .)
unset(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME)
