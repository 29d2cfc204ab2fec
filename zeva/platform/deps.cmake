# --- ICU: date patterns (DateFormatter) ---
zeva_require_pkg(ICU_I18N icu-i18n libicu-dev)
zeva_require_pkg(ICU_UC icu-uc libicu-dev)
target_link_libraries(zeva PRIVATE PkgConfig::ICU_I18N PkgConfig::ICU_UC)
# --- end ICU ---
