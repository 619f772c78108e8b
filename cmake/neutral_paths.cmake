# No path of this machine in what is built: file names count from the project's folder, so that two builds of one commit
# in different folders give the same bytes. A debugger finds the sources when it is told where that folder is.
# Nor how it was compiled, since a compiler cache adds options of its own to those that a debug entry would list.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}=build
  -gno-record-gcc-switches)
