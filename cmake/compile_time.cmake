# Most of what a file of the host or of its tests costs is what the library headers instantiate in it, again in each one:
# five test files that are compiled as one text take a third of the time that they take alone. Names without linkage
# therefore have to differ between the files of a target.
option(TARN_BATCHES "Compile several files of a target as one text" ON)
set(TARN_FILES_OF_A_BATCH 6)  # more gain little, and one changed file compiles all of its batch

# tarn_in_batches(target [ALONE file...])
#   ALONE names files that cannot stand beside others, because of what they define before they include.
function(tarn_in_batches target)
  cmake_parse_arguments(arg "" "" "ALONE" ${ARGN})
  if(TARN_BATCHES AND PROJECT_IS_TOP_LEVEL)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${TARN_FILES_OF_A_BATCH})
    # -Wsubobject-linkage warns of unnamed namespaces in included files, and in a batch every file is an included one.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    set_source_files_properties(${arg_ALONE} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endif()
endfunction()

# tarn_unoptimised(target)
#   Templates over templates, which a sanitized build takes twice as long to optimise as to compile. What is fuzzed has to
#   run fast, and so has what ships.
function(tarn_unoptimised target)
  if(TARN_SANITIZE AND NOT TARN_FUZZERS)
    target_compile_options(${target} PRIVATE -O0)
  endif()
endfunction()
