# `cmake --install` and the Debian package (scripts/package.sh builds it).
#
# Program, host library, plug-in and data model lie in one folder, lib/iptvtest, as they do in the build tree: they find
# each other from where they are, so that a copy of the folder starts anywhere.
include(GNUInstallDirs)
set(home lib/iptvtest)

# Installing needs the program only, not benchmarks and tests.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
add_custom_target(product ALL DEPENDS iptvtest iptv)

# The same search path in the build tree: otherwise CMake fills up the shorter one of the build with empty entries, which
# stand for the current folder.
set_target_properties(iptvtest orv_host orv_tm PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
set_target_properties(iptv PROPERTIES INSTALL_RPATH "$ORIGIN/.." BUILD_WITH_INSTALL_RPATH ON)
install(TARGETS iptvtest RUNTIME DESTINATION ${home})
install(TARGETS orv_host orv_tm LIBRARY DESTINATION ${home})
install(TARGETS iptv LIBRARY DESTINATION ${home}/plugins)
install(DIRECTORY ${CMAKE_BINARY_DIR}/bin/plugins/templates DESTINATION ${home}/plugins)
install(DIRECTORY ${CMAKE_BINARY_DIR}/bin/datamodel DESTINATION ${home})

# A link: the program resolves it, and finds its libraries and data beside the real file.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/link)
file(CREATE_LINK ../${home}/iptvtest ${CMAKE_BINARY_DIR}/link/iptvtest SYMBOLIC)
install(FILES ${CMAKE_BINARY_DIR}/link/iptvtest DESTINATION ${CMAKE_INSTALL_BINDIR})

install(FILES ${PROJECT_SOURCE_DIR}/app/man/iptvtest.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${PROJECT_SOURCE_DIR}/app/completion/iptvtest.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME iptvtest)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/test-file.md
  ${PROJECT_SOURCE_DIR}/docs/report.md ${PROJECT_SOURCE_DIR}/docs/metrics.md
  ${PROJECT_SOURCE_DIR}/packaging/agent/nats-server.conf DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The schema of test files, for editors: what the program prints.
set(schema ${CMAKE_BINARY_DIR}/test-file.schema.json)
add_custom_command(OUTPUT ${schema} COMMAND iptvtest schema > ${schema} DEPENDS iptvtest iptv VERBATIM
  COMMENT "Writing the schema of test files")
add_custom_target(test_file_schema DEPENDS ${schema})
add_dependencies(product test_file_schema)
install(FILES ${schema} DESTINATION ${CMAKE_INSTALL_DATADIR}/iptvtest)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME iptvtest)
set(CPACK_PACKAGE_VENDOR "IPTV test system")
set(CPACK_PACKAGE_CONTACT "The IPTV test system's developers <iptvtest@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Tests multicast TV networks")
set(CPACK_PACKAGE_DESCRIPTION "Emulated set-top boxes zap through the channels of a multicast TV network.
iptvtest says how long until viewers see a picture, what is lost on the way, and whether the network passes.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/bin)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
