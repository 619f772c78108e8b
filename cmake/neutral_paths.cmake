# No path of this machine in what is built: file names count from the project's folder, so that two builds of one commit
# in different folders give the same bytes. A debugger finds the sources when it is told where that folder is.
# Nor how it was compiled, since a compiler cache adds options of its own to those that a debug entry would list.
# One that serves clones in other folders hands over names that count from the build folder: they come to the same.
file(RELATIVE_PATH upwards ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR})
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -ffile-prefix-map=${PROJECT_BINARY_DIR}/=
  -ffile-prefix-map=${upwards}= -gno-record-gcc-switches)

# tarn_fix_image_base(target file): a base address that follows from the file's name. The linker's own choice follows from
# the whole path. Each file has another one, so that no module has to be moved when all of them are loaded.
function(tarn_fix_image_base target file)
  string(SHA256 hash ${file})
  string(SUBSTRING ${hash} 0 4 digits)
  target_link_options(${target} PRIVATE -Wl,--image-base,0x2${digits}000000)
endfunction()
