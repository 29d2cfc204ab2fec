# libmseed is the independent reference the Steim and seismogram tests
# compare with; cairo reads back the plots they draw.
zeva_require_pkg(MSEED mseed libmseed-dev)
zeva_require_pkg(CAIRO cairo libcairo2-dev)
set(ZEVA_TEST_LIBS PkgConfig::MSEED PkgConfig::CAIRO)
