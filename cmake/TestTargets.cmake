# orv_test(<name> SOURCES <file>... [LIBRARIES <target>...] [LABELS <label>...] [SHARDS <n>])
#
# One GoogleTest program for a folder of tests. RapidCheck's seed is fixed so that a failure comes again. Each of its tests is
# one of CTest's. Under the sanitizers, where starting takes longer than most tests, the program is run as a whole, or in
# as many parts as SHARDS says.
find_package(GTest REQUIRED)
include(GoogleTest)

# Builds every test program that the thread sanitizer's run needs.
add_custom_target(concurrency_tests)

function(orv_test name)
  cmake_parse_arguments(ARG "" "SHARDS" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  set(labels)
  if(ARG_LABELS)
    set(labels LABELS "${ARG_LABELS}")  # an empty value would be dropped on the way and take the next property for one
  endif()
  if(ORV_SANITIZE)
    orv_add_shards(${name} "${ARG_SHARDS}" "${labels}")
  else()
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST PROPERTIES
      TIMEOUT 300 ENVIRONMENT "RC_PARAMS=seed=20261121" ${labels})
  endif()
  if("concurrency" IN_LIST ARG_LABELS)
    add_dependencies(concurrency_tests ${name})
  endif()
  foreach(source ${ARG_SOURCES})
    set_property(GLOBAL APPEND PROPERTY ORV_LISTED_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/${source})
  endforeach()
endfunction()

function(orv_add_shards name shards labels)
  if(NOT shards)
    set(shards 1)
  endif()
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    add_test(NAME ${name}.${shard} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name}.${shard} PROPERTIES TIMEOUT 900 ${labels}
      ENVIRONMENT "RC_PARAMS=seed=20261121;GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()

# A test file that no target lists would pass by never running.
function(orv_check_every_test_is_listed)
  file(GLOB_RECURSE found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/*_test.cpp)
  get_property(listed GLOBAL PROPERTY ORV_LISTED_TESTS)
  foreach(file ${found})
    if(NOT file IN_LIST listed)
      message(FATAL_ERROR "No test target lists ${file}")
    endif()
  endforeach()
endfunction()
