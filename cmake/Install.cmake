# What `cmake --install` puts where: the two shared objects, their headers, a package file for
# find_package(OrviaL3Unicast), and the agent.

set(ORVIA_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrviaL3Unicast")

if(TARGET orvia-l3-agent)
  install(TARGETS orvia-l3-agent RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

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
