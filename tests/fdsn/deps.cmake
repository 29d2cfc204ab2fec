# The web-service tests run a real HTTP server on loopback as a data centre
# (cpp-httplib, serving from its own threads).
zeva_require_pkg(HTTPLIB cpp-httplib libcpp-httplib-dev)
find_package(Threads REQUIRED)
list(APPEND ZEVA_TEST_LIBS PkgConfig::HTTPLIB Threads::Threads)
