# The feed tests serve their feeds and bulletins from a real HTTP server on
# loopback (cpp-httplib, serving from its own threads).
zeva_require_pkg(HTTPLIB cpp-httplib libcpp-httplib-dev)
find_package(Threads REQUIRED)
list(APPEND ZEVA_TEST_LIBS PkgConfig::HTTPLIB Threads::Threads)
