# What `cmake --install` puts where: the shared objects, their headers, a package file for
# find_package(OrviaL3Unicast), the agent, the soft ASIC with its plug-ins, which the library finds
# beside itself, documentation, and the examples to copy. Nothing in it names a place, so the
# installed tree can be moved.
#
# The soft ASIC is part of the package: whoever embeds the library needs hardware that refuses,
# delays and loses for the tests of an agent.

include(CMakePackageConfigHelpers)
set(ORVIA_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrviaL3Unicast")

install(TARGETS OrviaPlatform OrviaL3Unicast orvia-soft-asic EXPORT OrviaL3Unicast
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS orvia-l3-agent EXPORT OrviaL3Unicast
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS orvia-agent LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
foreach(table IN LISTS ORVIA_TABLES)
  install(TARGETS soft-asic-${table} LIBRARY DESTINATION
    "${CMAKE_INSTALL_LIBDIR}/OrviaFeaturePlugin/OrviaL3Unicast::${table}")
endforeach()

# The package file.
install(EXPORT OrviaL3Unicast NAMESPACE OrviaL3Unicast:: FILE OrviaL3UnicastTargets.cmake
  DESTINATION "${ORVIA_INSTALL_CMAKEDIR}")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/OrviaL3UnicastConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/OrviaL3UnicastConfig.cmake"
  INSTALL_DESTINATION "${ORVIA_INSTALL_CMAKEDIR}"
  PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OrviaL3UnicastConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/OrviaL3UnicastConfig.cmake"
  "${PROJECT_BINARY_DIR}/OrviaL3UnicastConfigVersion.cmake"
  DESTINATION "${ORVIA_INSTALL_CMAKEDIR}")

# Headers. The engine's bodies stay at home: the units instantiate them, callers need the
# declarations only. So do the soft ASIC's modules.
install(DIRECTORY platform OrviaL3Unicast DESTINATION "${ORVIA_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h" PATTERN "*-inl.h" EXCLUDE PATTERN "Instantiate.h" EXCLUDE)
install(DIRECTORY plugins/soft-asic DESTINATION "${ORVIA_INSTALL_INCLUDEDIR}/plugins"
  FILES_MATCHING PATTERN "*.h" PATTERN "modules" EXCLUDE)

install(DIRECTORY examples/embed examples/utility-plugin
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}"
  FILES_MATCHING PATTERN "*.md" PATTERN "schemas/*.json")

# What an operator's shell, manual and service manager read. The unit names no place either: systemd
# looks for the program where programs are.
install(FILES packaging/bash-completion/orvia-l3-agent
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES docs/orvia-l3-agent.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
install(FILES packaging/orvia-l3-agent.service DESTINATION lib/systemd/system)
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")
