# With UFD_AT_ONCE, compiles the files of a target together that lie in the same folder: they include the
# same headers, which are then read once. Fifteen at most, so that all processors have work. Call it in
# the folder of the target, once all its sources are named: the others are compiled alone.
function(ufd_at_once target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${UFD_AT_ONCE} UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  foreach(source ${sources})
    cmake_path(ABSOLUTE_PATH source)
    cmake_path(GET source PARENT_PATH folder)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
    string(MAKE_C_IDENTIFIER "${folder}" folder)
    if(NOT DEFINED before_in_${folder})
      set(before_in_${folder} 0)
    endif()
    math(EXPR lot "${before_in_${folder}} / 15")
    math(EXPR before_in_${folder} "${before_in_${folder}} + 1")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder}_${lot})
  endforeach()
endfunction()
