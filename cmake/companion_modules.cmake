# The companion modules by the names of their files; include/tarn/companion_modules.h has the same list for C and C++,
# and a test compares the two.
set(TARN_COMPANION_FILES
  setrd.dll
  statrd.dll
  sitecls.dll
  pktsig.dll
  tlsinsp.dll
  urlsig.dll
  isolate.dll
  OPTSTORE.DLL
  agentst.dll)

# tarn_companion_name(OUT file): what targets and sources of the module are named after, e.g. optstore.
function(tarn_companion_name out file)
  get_filename_component(stem ${file} NAME_WE)
  string(TOLOWER ${stem} stem)
  set(${out} ${stem} PARENT_SCOPE)
endfunction()

# tarn_set_companion_file(target file): the target is built as that file.
function(tarn_set_companion_file target file)
  get_filename_component(stem ${file} NAME_WE)
  get_filename_component(extension ${file} LAST_EXT)
  set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME ${stem} SUFFIX ${extension})
endfunction()
