# What `cmake --install` puts under a prefix, and the Debian package made from
# the same rules (scripts/package). The installed tree is relocatable: every
# binary finds its libraries relative to itself, the CMake package and the
# pkg-config files locate the prefix from where they are.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(FAMOFLAS_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/famoflas)
set(FAMOFLAS_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/famoflas)
set(FAMOFLAS_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/famoflas)

# $ORIGIN-relative search paths, whatever the prefix and the lib folder
# (lib/ or Debian's lib/<multiarch>/) turn out to be.
file(RELATIVE_PATH famoflas_bin_to_lib /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set_target_properties(famoflas_cli PROPERTIES INSTALL_RPATH "$ORIGIN/${famoflas_bin_to_lib}" EXPORT_NAME famoflas)
set_target_properties(vyrplatform PROPERTIES INSTALL_RPATH "$ORIGIN" EXPORT_NAME platform)
set_target_properties(famoflas_library PROPERTIES INSTALL_RPATH "$ORIGIN" EXPORT_NAME library)
set_target_properties(famoflas_companions PROPERTIES INSTALL_RPATH "$ORIGIN" EXPORT_NAME companions)

install(TARGETS famoflas_cli vyrplatform famoflas_library famoflas_companions
        EXPORT famoflasTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${FAMOFLAS_INSTALL_INCLUDEDIR})

# The SDK: the platform's public headers, and the library headers a
# business-function library builds on (frame/bsfn.h registers, types/dsdesc.h
# describes data structures, localization/localization.h is what country
# functions take). One include folder, laid out as in the source tree.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/ DESTINATION ${FAMOFLAS_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
# vyrrecord.h checks records against the catalogue's layouts, written at build time.
install(FILES ${CMAKE_BINARY_DIR}/generated/include/vyrtables.h DESTINATION ${FAMOFLAS_INSTALL_INCLUDEDIR})
foreach(header frame/bsfn.h frame/catalog.h types/dsdesc.h localization/localization.h)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/famoflas/${header} DESTINATION ${FAMOFLAS_INSTALL_INCLUDEDIR}/${folder})
endforeach()

install(EXPORT famoflasTargets NAMESPACE famoflas:: DESTINATION ${FAMOFLAS_INSTALL_CMAKEDIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/packaging/famoflasConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/famoflasConfig.cmake INSTALL_DESTINATION ${FAMOFLAS_INSTALL_CMAKEDIR})
# 0.x: a minor release may change the ABI of data structures.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/famoflasConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/packaging/famoflasConfig.cmake
              ${PROJECT_BINARY_DIR}/packaging/famoflasConfigVersion.cmake
        DESTINATION ${FAMOFLAS_INSTALL_CMAKEDIR})

# pkg-config files find the prefix from their own folder.
file(RELATIVE_PATH famoflas_pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
foreach(pc famoflas famoflas-library)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/${pc}.pc.in ${PROJECT_BINARY_DIR}/packaging/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/packaging/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# Sample rows for famoflas db load.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/schema/samples/ DESTINATION ${FAMOFLAS_INSTALL_DATADIR}/samples
        FILES_MATCHING PATTERN "*.json")

# The table catalogue as JSON, written by the installed command itself, and
# the service's unit, environment file and system user. Their paths depend on
# the prefix the install runs for (the package's /usr puts the environment
# file under /etc), so they are made at install time.
install(CODE "
  set(FAMOFLAS_SOURCE_DIR \"${PROJECT_SOURCE_DIR}\")
  set(FAMOFLAS_BINARY_DIR \"${PROJECT_BINARY_DIR}\")
  set(FAMOFLAS_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
  set(FAMOFLAS_DATADIR \"${FAMOFLAS_INSTALL_DATADIR}\")
  include(\"${PROJECT_SOURCE_DIR}/cmake/install-service.cmake\")
")
