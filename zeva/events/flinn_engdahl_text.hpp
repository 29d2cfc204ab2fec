// The display text of a Flinn-Engdahl region, as an origin shows it.
#pragma once

#include <string>

namespace zeva {

// "<geographic name> (<seismic name>)" with the names fe_region gives for the
// two numbers, untrimmed: "Central Alaska, United States (ALASKA - ALEUTIAN
// ISLANDS ARC)" for 1 and 1. A seismic number of 0 or less is first filled
// from the geographic one, as fe_region does; out-of-range numbers show the
// blank name of 52 spaces.
std::string feRegionText(int geographic_region, int seismic_region);

}  // namespace zeva
