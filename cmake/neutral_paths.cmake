# No path of this machine in what is built: file names count from the project's folder, so that two builds of one commit
# in different folders give the same bytes. A debugger finds the sources when it is told where that folder is.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
