# The fetch tests run a real HTTP server on loopback (cpp-httplib, header only,
# serving from its own threads).
include(CheckIncludeFileCXX)
check_include_file_cxx(httplib.h ZEVA_HAVE_HTTPLIB)
if(NOT ZEVA_HAVE_HTTPLIB)
  message(FATAL_ERROR "the platform tests need httplib.h: install the Debian package libcpp-httplib-dev "
                      "(scripts/install-deps.sh installs everything)")
endif()
find_package(Threads REQUIRED)
list(APPEND ZEVA_TEST_LIBS Threads::Threads)
