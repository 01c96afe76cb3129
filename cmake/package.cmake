# The Debian package (scripts/package): what `cmake --install` installs, under
# /usr, with its dependencies found by dpkg-shlibdeps among Debian's packages.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME famoflas)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "ERP business functions, their runtime and the famoflas command")
set(CPACK_PACKAGE_DESCRIPTION "The famoflas command calls business functions by name on SQLite or PostgreSQL,
serves them over HTTP (famoflas.service), and loads further libraries built
against the SDK in this package (find_package(famoflas), pkg-config famoflas).")
set(CPACK_PACKAGE_CONTACT "FAMOFLAS maintainers <famoflas@localhost>")
# Install rules with absolute destinations (/etc) need the staging tree as
# DESTDIR; CPack then installs for CPACK_INSTALL_PREFIX.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/packages)
include(CPack)
