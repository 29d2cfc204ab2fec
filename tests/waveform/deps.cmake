# libmseed is the independent reference the Steim tests compare with; the
# library itself does not use it.
zeva_require_pkg(MSEED mseed libmseed-dev)
set(ZEVA_TEST_LIBS PkgConfig::MSEED)
