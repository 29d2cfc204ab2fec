# The AVX2 decoding path is compiled for AVX2 on its own; the library picks
# it at run time only on CPUs that have it.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|i.86)$")
  set_source_files_properties(${CMAKE_CURRENT_SOURCE_DIR}/waveform/steim_avx2.c
                              PROPERTIES COMPILE_OPTIONS "-mavx2")
endif()
# libmseed finds and parses miniSEED records (never their samples); cairo
# draws waveform plots.
zeva_require_pkg(MSEED mseed libmseed-dev)
zeva_require_pkg(CAIRO cairo libcairo2-dev)
target_link_libraries(zeva PRIVATE PkgConfig::MSEED PkgConfig::CAIRO)
