# Finds libmnl, which ships no CMake package: target Libmnl::Libmnl.
find_path(Libmnl_INCLUDE_DIR libmnl/libmnl.h)
find_library(Libmnl_LIBRARY mnl)
mark_as_advanced(Libmnl_INCLUDE_DIR Libmnl_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Libmnl REQUIRED_VARS Libmnl_LIBRARY Libmnl_INCLUDE_DIR)

if(Libmnl_FOUND AND NOT TARGET Libmnl::Libmnl)
  add_library(Libmnl::Libmnl UNKNOWN IMPORTED)
  set_target_properties(Libmnl::Libmnl PROPERTIES
    IMPORTED_LOCATION "${Libmnl_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${Libmnl_INCLUDE_DIR}")
endif()
