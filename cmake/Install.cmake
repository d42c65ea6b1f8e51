# What `cmake --install` puts where: the two shared objects, their headers, a package file for
# find_package(OrviaL3Unicast), the agent, and the soft ASIC with its plug-ins, which the library
# finds beside itself.

set(ORVIA_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrviaL3Unicast")

install(TARGETS orvia-l3-agent RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(TARGETS orvia-agent orvia-soft-asic LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
foreach(table IN LISTS ORVIA_TABLES)
  install(TARGETS soft-asic-${table} LIBRARY DESTINATION
    "${CMAKE_INSTALL_LIBDIR}/OrviaFeaturePlugin/OrviaL3Unicast::${table}")
endforeach()

install(TARGETS OrviaPlatform OrviaL3Unicast EXPORT OrviaL3Unicast
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT OrviaL3Unicast NAMESPACE OrviaL3Unicast:: FILE OrviaL3UnicastConfig.cmake
  DESTINATION "${ORVIA_INSTALL_CMAKEDIR}")

include(CMakePackageConfigHelpers)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/OrviaL3UnicastConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/OrviaL3UnicastConfigVersion.cmake"
  DESTINATION "${ORVIA_INSTALL_CMAKEDIR}")

install(DIRECTORY platform DESTINATION "${ORVIA_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
# The engine's bodies stay at home: the units instantiate them, callers need the declarations only.
install(DIRECTORY OrviaL3Unicast DESTINATION "${ORVIA_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h" PATTERN "*-inl.h" EXCLUDE PATTERN "Instantiate.h" EXCLUDE)
