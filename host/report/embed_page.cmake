# Writes OUTPUT, a C++ source with the files of the page in FOLDER.  cmake -DFOLDER=… -DOUTPUT=… -P embed_page.cmake
set(source "// Made by embed_page.cmake.\n#include \"host/report/page_parts.h\"\n\nnamespace tarn::host::report {\n\n")

function(append name file)
  file(READ "${FOLDER}/${file}" text)
  string(SHA256 hash "${text}")
  string(APPEND source "const char* const ${name} = R\"page(${text})page\";\n")
  set(source "${source}" PARENT_SCOPE)
  set(hash "${hash}" PARENT_SCOPE)
endfunction()

append(kPageTemplate report.html)
append(kPageStyle report.css)
string(APPEND source "const char* const kPageStyleSha256 = \"${hash}\";\n")
append(kPageScript report.js)
string(APPEND source "const char* const kPageScriptSha256 = \"${hash}\";\n")
string(APPEND source "\n}  // namespace tarn::host::report\n")
file(WRITE "${OUTPUT}" "${source}")
