# How everything in the tree is compiled: language, warnings, optimisation, sanitizers, run paths.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# What a shared object exports says so in the source; the list is pinned by tests/structure.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Never NDEBUG: a failed assertion is part of what the tables promise, in every build.
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_DEBUG "-O0 -g1")
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(ORVIA_WERROR)
  add_compile_options(-Werror)
endif()

if(ORVIA_SANITIZE)
  add_compile_options(-fsanitize=${ORVIA_SANITIZE}
    -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVIA_SANITIZE})
else()
  # A shared object names everything it uses. (A sanitizer's runtime comes from the executable.)
  string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,--no-undefined")
endif()

# What was loaded stays until the process ends, also after a dlclose: singletons, registered modules
# and what plug-ins made refer to its code.
string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,-z,nodelete")

if(ORVIA_COVERAGE)
  # abs-path: reports join the files of all targets. atomic: children of death tests count too.
  add_compile_options(--coverage -fprofile-abs-path -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# build/<preset>/bin and lib; binaries find the shared objects from there and after an install.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
file(RELATIVE_PATH ORVIA_BIN_TO_LIB
  "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_INSTALL_RPATH "$ORIGIN" "$ORIGIN/${ORVIA_BIN_TO_LIB}")
