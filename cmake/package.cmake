# The Debian package: `cpack -G DEB` in the build folder (scripts/package.sh).
# The programs go to /usr/bin, the tools the server starts from its
# installation folder to /usr/lib/tarnex-server (the package's postinst puts
# them in place under /var/lib/tarnex-server), the console's pages to
# /usr/share/tarnex-server/web, the systemd unit to /lib/systemd/system and
# the documents to /usr/share/doc/tarnex-server.

set(CMAKE_INSTALL_PREFIX /usr)
set(TARNEX_DOC share/doc/tarnex-server)

install(TARGETS tarnex-server tarnex-monitor tarnex-sysinfo RUNTIME DESTINATION bin)
install(TARGETS tarnex-ram tarnex-sbackup tarnex-sendbu RUNTIME DESTINATION lib/tarnex-server)
install(FILES ${CMAKE_SOURCE_DIR}/packaging/tarnex-server.service DESTINATION /lib/systemd/system)
install(FILES ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/packaging/copyright
        DESTINATION ${TARNEX_DOC})
file(GLOB TARNEX_DOCS ${CMAKE_SOURCE_DIR}/docs/*.md)
install(FILES ${TARNEX_DOCS} DESTINATION ${TARNEX_DOC})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/web/ DESTINATION share/tarnex-server/web)

# Debian wants the changelog of a native package compressed, reproducibly.
set(TARNEX_CHANGELOG ${CMAKE_BINARY_DIR}/package/changelog.gz)
add_custom_command(
  OUTPUT ${TARNEX_CHANGELOG}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/package
  COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/packaging/changelog > ${TARNEX_CHANGELOG}
  DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog)
add_custom_target(tarnex-changelog ALL DEPENDS ${TARNEX_CHANGELOG})
install(FILES ${TARNEX_CHANGELOG} DESTINATION ${TARNEX_DOC})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnex-server)
set(CPACK_PACKAGE_VERSION 0.80)
set(CPACK_PACKAGE_CONTACT "Tarnex Server maintainers <maintainers@tarnex-server.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "supervision of one server: counters, bottlenecks, traffic")
set(CPACK_PACKAGE_DESCRIPTION
    "Tarnex Server samples the server's performance counters once a second,
judges its bottleneck rules, keeps traffic totals by day, month and year,
journals what it finds and sends a live status frame to remote monitors.
It starts back-ups through its companions and mails a daily summary; an
operator drives it from a browser or from the shell.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "rsync")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_SOURCE_DIR}/packaging/postinst ${CMAKE_SOURCE_DIR}/packaging/prerm
    ${CMAKE_SOURCE_DIR}/packaging/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
