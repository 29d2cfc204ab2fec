# libnetcdf reads the binned shoreline and border files (Debian:
# libnetcdf-dev; the files themselves come with gmt-gshhg-low).
zeva_require_pkg(NETCDF netcdf libnetcdf-dev)
target_link_libraries(zeva PRIVATE PkgConfig::NETCDF)
