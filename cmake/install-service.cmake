# Install-time part of cmake/install.cmake: files whose contents name the
# prefix the install runs for. Expects FAMOFLAS_SOURCE_DIR, FAMOFLAS_BINARY_DIR,
# FAMOFLAS_BINDIR and FAMOFLAS_DATADIR; honours DESTDIR like every install rule.
set(prefix "${CMAKE_INSTALL_PREFIX}")
# A system install keeps its settings under /etc, any other prefix under its own etc/.
if(prefix STREQUAL "/usr")
  set(FAMOFLAS_SYSCONFDIR "/etc/famoflas")
else()
  set(FAMOFLAS_SYSCONFDIR "${prefix}/etc/famoflas")
endif()
set(FAMOFLAS_COMMAND "${prefix}/${FAMOFLAS_BINDIR}/famoflas")
set(staging "${FAMOFLAS_BINARY_DIR}/packaging/install")
file(MAKE_DIRECTORY "${staging}")

# The table catalogue, as the command that was just installed declares it.
execute_process(COMMAND "$ENV{DESTDIR}${FAMOFLAS_COMMAND}" db catalog
                OUTPUT_FILE "${staging}/catalog.json" RESULT_VARIABLE status ERROR_VARIABLE failure)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "famoflas db catalog failed (${status}): ${failure}")
endif()
file(INSTALL "${staging}/catalog.json" DESTINATION "${prefix}/${FAMOFLAS_DATADIR}")

configure_file("${FAMOFLAS_SOURCE_DIR}/packaging/famoflas.service.in" "${staging}/famoflas.service" @ONLY)
file(INSTALL "${staging}/famoflas.service" DESTINATION "${prefix}/lib/systemd/system")
file(INSTALL "${FAMOFLAS_SOURCE_DIR}/packaging/famoflas.conf" DESTINATION "${prefix}/lib/sysusers.d")
configure_file("${FAMOFLAS_SOURCE_DIR}/packaging/famoflas.env.in" "${staging}/famoflas.env" @ONLY)
file(INSTALL "${staging}/famoflas.env" DESTINATION "${FAMOFLAS_SYSCONFDIR}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ)
