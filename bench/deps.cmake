# libmseed: the independent decoders bench_steim measures against. Every
# bench program links these libraries; only bench_steim uses libmseed.
zeva_require_pkg(MSEED mseed libmseed-dev)
list(APPEND ZEVA_BENCH_LIBS PkgConfig::MSEED)
# libplist: the bare parse and write bench_keyed_archive measures against.
list(APPEND ZEVA_BENCH_LIBS PkgConfig::PLIST)
