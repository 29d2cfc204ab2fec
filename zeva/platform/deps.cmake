# --- ICU: date patterns (DateFormatter) ---
zeva_require_pkg(ICU_I18N icu-i18n libicu-dev)
zeva_require_pkg(ICU_UC icu-uc libicu-dev)
target_link_libraries(zeva PRIVATE PkgConfig::ICU_I18N PkgConfig::ICU_UC)
# --- end ICU ---

# ---- URL fetching, HTML text and calendar dates (begin) ----------------------
# libcurl fetches URL texts, libxml2's HTML parser turns pages into plain text,
# and Howard Hinnant's date library (header only) parses calendar-format dates.
zeva_require_pkg(CURL libcurl libcurl4-openssl-dev)
zeva_require_pkg(LIBXML2 libxml-2.0 libxml2-dev)
include(CheckIncludeFileCXX)
check_include_file_cxx(date/date.h ZEVA_HAVE_HH_DATE)
if(NOT ZEVA_HAVE_HH_DATE)
  message(FATAL_ERROR "zeva needs date/date.h: install the Debian package libhowardhinnant-date-dev "
                      "(scripts/install-deps.sh installs everything)")
endif()
target_link_libraries(zeva PRIVATE PkgConfig::CURL PkgConfig::LIBXML2)
# ---- URL fetching, HTML text and calendar dates (end) ------------------------
