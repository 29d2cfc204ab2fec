# Every external library comes from a Debian package; a missing one stops
# configuration with the name of the package to install.
find_package(PkgConfig REQUIRED)

function(zeva_require_pkg target module debian_package)
  if(NOT TARGET PkgConfig::${target})
    pkg_check_modules(${target} IMPORTED_TARGET GLOBAL ${module})
    if(NOT ${target}_FOUND)
      message(FATAL_ERROR "zeva needs ${module}: install the Debian package ${debian_package} "
                          "(scripts/install-deps.sh installs everything)")
    endif()
  endif()
endfunction()

function(zeva_require_cmake_pkg name debian_package)
  find_package(${name} ${ARGN} QUIET)
  if(NOT ${name}_FOUND)
    message(FATAL_ERROR "zeva needs ${name}: install the Debian package ${debian_package} "
                        "(scripts/install-deps.sh installs everything)")
  endif()
endfunction()

zeva_require_cmake_pkg(fmt libfmt-dev)
zeva_require_pkg(PLIST libplist-2.0 libplist-dev)

if(ZEVA_BUILD_TESTS)
  zeva_require_cmake_pkg(GTest libgtest-dev)
  find_package(Python3 COMPONENTS Interpreter)
endif()
if(ZEVA_BUILD_BENCH)
  zeva_require_cmake_pkg(benchmark libbenchmark-dev)
endif()
