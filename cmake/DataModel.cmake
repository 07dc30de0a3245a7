# orv_data_model(<target> FOLDER <name> HEADER <path> FILES <yaml>...)
#
# Copies the data-model files to bin/datamodel/<name>/, where the host reads them, and writes the header of
# class, property, relation and enumeration ids that C++ code uses. The files are those of one model; several models may
# share a folder. <target> is an interface library.
include(PythonYaml)

function(orv_data_model target)
  cmake_parse_arguments(ARG "" "FOLDER;HEADER" "FILES" ${ARGN})
  set(script ${PROJECT_SOURCE_DIR}/tools/generate_ids.py)
  set(include_dir ${CMAKE_CURRENT_BINARY_DIR}/generated)
  set(header ${include_dir}/${ARG_HEADER})
  set(data_dir ${CMAKE_BINARY_DIR}/bin/datamodel/${ARG_FOLDER})
  set(copies)
  set(sources)
  foreach(file ${ARG_FILES})
    get_filename_component(name ${file} NAME)
    get_filename_component(source ${file} ABSOLUTE)
    add_custom_command(OUTPUT ${data_dir}/${name}
      COMMAND ${CMAKE_COMMAND} -E copy_if_different ${source} ${data_dir}/${name}
      DEPENDS ${source} VERBATIM)
    list(APPEND copies ${data_dir}/${name})
    list(APPEND sources ${source})
  endforeach()
  add_custom_command(OUTPUT ${header}
    COMMAND ${Python3_EXECUTABLE} -B ${script} --output ${header} ${sources}
    DEPENDS ${script} ${sources} COMMENT "Generating ${ARG_HEADER}" VERBATIM)
  add_custom_target(${target}_files DEPENDS ${copies} ${header})
  add_library(${target} INTERFACE)
  target_include_directories(${target} INTERFACE ${include_dir})
  add_dependencies(${target} ${target}_files)

  set_property(GLOBAL APPEND PROPERTY ORV_DATA_MODEL_COPIES ${copies})
  get_property(scheduled GLOBAL PROPERTY ORV_DATA_MODEL_SWEEP)
  if(NOT scheduled)
    set_property(GLOBAL PROPERTY ORV_DATA_MODEL_SWEEP TRUE)
    cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL orv_sweep_data_models)
  endif()
endfunction()

# The host reads whatever lies in its folder: copies of files that are gone must go too.
function(orv_sweep_data_models)
  get_property(listed GLOBAL PROPERTY ORV_DATA_MODEL_COPIES)
  file(GLOB_RECURSE found ${CMAKE_BINARY_DIR}/bin/datamodel/*)
  foreach(file ${found})
    if(NOT file IN_LIST listed)
      file(REMOVE ${file})
    endif()
  endforeach()
endfunction()
