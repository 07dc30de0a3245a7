# orv_report_page(<target>)
#
# The page of `iptvtest report` as the header report_page.h of a target: sources in app/src/report/page, and Chart.js as
# Debian has it.
include(PythonYaml)

function(orv_report_page target)
  find_file(ORV_CHART_JS chart.min.js PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH REQUIRED)
  set(folder ${PROJECT_SOURCE_DIR}/app/src/report/page)
  # A script uses what stands before it.
  list(TRANSFORM ARGN PREPEND ${folder}/ OUTPUT_VARIABLE scripts)
  set(generator ${PROJECT_SOURCE_DIR}/tools/generate_report_page.py)
  set(header ${CMAKE_CURRENT_BINARY_DIR}/generated/report_page.h)
  add_custom_command(OUTPUT ${header}
    COMMAND ${Python3_EXECUTABLE} -B ${generator} --output ${header} --html ${folder}/page.html --style ${folder}/style.css
      --library ${ORV_CHART_JS} ${scripts}
    DEPENDS ${generator} ${folder}/page.html ${folder}/style.css ${ORV_CHART_JS} ${scripts}
    COMMENT "Generating report_page.h" VERBATIM)
  target_sources(${target} PRIVATE ${header})
endfunction()
