# orv_message_set(<target> <description.yaml> [DEPENDS <description.yaml>...])
#
# Generates <name>.h and <name>.cpp (records, member-name tables, encoders, decoders, both sides of every request)
# from one description and builds them into the static library <target>.
#
# orv_message_set_tables(FINGERPRINTS <file> REGISTRY <file> DESCRIPTIONS <description.yaml>...)
#
# Generates what tests need about several sets: their fingerprints, and a header that walks over everything in them.
include(PythonYaml)

set(ORV_MESSAGE_SET_SCRIPT ${PROJECT_SOURCE_DIR}/tools/generate_message_set.py)
file(GLOB ORV_MESSAGE_SET_PARTS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/message_set/*.py)

function(orv_message_set target description)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  get_filename_component(name ${description} NAME_WE)
  set(source ${CMAKE_CURRENT_SOURCE_DIR}/${description})
  set(others)
  foreach(other ${ARG_DEPENDS})
    list(APPEND others ${CMAKE_CURRENT_SOURCE_DIR}/${other})
  endforeach()
  set(out ${CMAKE_CURRENT_BINARY_DIR}/generated/msgset)
  add_custom_command(OUTPUT ${out}/${name}.h ${out}/${name}.cpp
    COMMAND ${Python3_EXECUTABLE} -B ${ORV_MESSAGE_SET_SCRIPT} --output-dir ${out} ${source}
    DEPENDS ${ORV_MESSAGE_SET_SCRIPT} ${ORV_MESSAGE_SET_PARTS} ${source} ${others}
    COMMENT "Generating message set ${name}" VERBATIM)
  add_library(${target} STATIC ${out}/${name}.cpp ${out}/${name}.h)
  target_include_directories(${target} PUBLIC ${CMAKE_CURRENT_BINARY_DIR}/generated)
endfunction()

function(orv_message_set_tables)
  cmake_parse_arguments(ARG "" "FINGERPRINTS;REGISTRY" "DESCRIPTIONS" ${ARGN})
  foreach(kind FINGERPRINTS REGISTRY)
    string(TOLOWER ${kind} option)
    add_custom_command(OUTPUT ${ARG_${kind}}
      COMMAND ${Python3_EXECUTABLE} -B ${ORV_MESSAGE_SET_SCRIPT} --${option} ${ARG_${kind}} ${ARG_DESCRIPTIONS}
      DEPENDS ${ORV_MESSAGE_SET_SCRIPT} ${ORV_MESSAGE_SET_PARTS} ${ARG_DESCRIPTIONS}
      COMMENT "Generating the ${option} of the message sets" VERBATIM)
  endforeach()
endfunction()
