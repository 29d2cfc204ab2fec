# The archive tests build hostile archives directly with libplist.
set(ZEVA_TEST_LIBS PkgConfig::PLIST)
