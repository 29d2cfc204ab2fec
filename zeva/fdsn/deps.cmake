# The web-service clients name zeva's version in their user agent.
set_source_files_properties(${CMAKE_CURRENT_SOURCE_DIR}/fdsn/FDSNClient.cpp
                            PROPERTIES COMPILE_DEFINITIONS ZEVA_VERSION_TEXT="${PROJECT_VERSION}")
