# FFTW (double precision) transforms the seismograms of instrument correction.
zeva_require_pkg(FFTW3 fftw3 libfftw3-dev)
target_link_libraries(zeva PRIVATE PkgConfig::FFTW3)
