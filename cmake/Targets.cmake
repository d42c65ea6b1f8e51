# Helpers that turn folders into targets.

# orvia_add_library(<name> SHARED|STATIC SOURCES <pattern>... [EXCLUDE <file>...])
#
# Makes a library of every source that matches, searched in subfolders too. Sets <name>_SCOPE to
# PUBLIC, or to INTERFACE when no source exists yet: the target can be linked either way.
function(orvia_add_library name type)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "SOURCES;EXCLUDE")
  set(patterns ${arg_SOURCES})
  list(TRANSFORM patterns PREPEND "${PROJECT_SOURCE_DIR}/")
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
  foreach(file IN LISTS arg_EXCLUDE)
    list(REMOVE_ITEM sources "${PROJECT_SOURCE_DIR}/${file}")
  endforeach()
  if(sources)
    add_library(${name} ${type} ${sources})
    set(scope PUBLIC)
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_compile_features(${name} ${scope} cxx_std_20)
  if(sources AND ORVIA_SANITIZE)
    # What the tests spend their time in: instrumented, it is several times as fast as without.
    target_compile_options(${name} PRIVATE -O1)
  endif()
  set(${name}_SCOPE ${scope} PARENT_SCOPE)
endfunction()

# The packages that the agent may use. They are asked for only once the agent exists.
function(orvia_link_agent_packages target)
  if(${target}_SCOPE STREQUAL "INTERFACE")
    return()
  endif()
  find_package(Libmnl REQUIRED)
  find_package(CLI11 REQUIRED)
  find_package(fmt REQUIRED)
  find_package(nlohmann_json 3 REQUIRED)
  find_package(Threads REQUIRED)
  find_package(prometheus-cpp REQUIRED)
  # Asio is headers only, and has no package file.
  find_path(ORVIA_ASIO_INCLUDE_DIR asio.hpp REQUIRED)
  target_include_directories(${target} SYSTEM PUBLIC "${ORVIA_ASIO_INCLUDE_DIR}")
  target_compile_definitions(${target} PUBLIC ASIO_STANDALONE)
  target_link_libraries(${target} PUBLIC Libmnl::Libmnl CLI11::CLI11 fmt::fmt
    nlohmann_json::nlohmann_json Threads::Threads prometheus-cpp::core prometheus-cpp::pull)
endfunction()
