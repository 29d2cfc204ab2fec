# libmseed: the independent decoders bench_steim measures against. Every
# bench program links these libraries; only bench_steim uses libmseed.
zeva_require_pkg(MSEED mseed libmseed-dev)
list(APPEND ZEVA_BENCH_LIBS PkgConfig::MSEED)
# libxml2: the bare streaming pass bench_stationxml measures the import
# against; the shared documents it builds its large document from.
zeva_require_pkg(LIBXML2 libxml-2.0 libxml2-dev)
list(APPEND ZEVA_BENCH_LIBS PkgConfig::LIBXML2)
# libplist: the bare parse and write bench_keyed_archive measures against.
list(APPEND ZEVA_BENCH_LIBS PkgConfig::PLIST)
get_filename_component(ZEVA_BENCH_SHARED_DATA ${PROJECT_SOURCE_DIR}/../shared/data ABSOLUTE)
add_compile_definitions(ZEVA_SHARED_DATA_DIR="${ZEVA_BENCH_SHARED_DATA}")
# FFTW: the bare forward and inverse transform bench_response measures
# instrument correction against.
zeva_require_pkg(FFTW3 fftw3 libfftw3-dev)
list(APPEND ZEVA_BENCH_LIBS PkgConfig::FFTW3)
