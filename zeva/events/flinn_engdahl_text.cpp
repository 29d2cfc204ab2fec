#include "zeva/events/flinn_engdahl_text.hpp"

#include "zeva/events/flinn_engdahl.h"

namespace zeva {

std::string feRegionText(int geographic_region, int seismic_region) {
    const char* geographic_name = nullptr;
    const char* seismic_name = nullptr;
    fe_region(geographic_region, &geographic_name, &seismic_region, &seismic_name);
    std::string text = geographic_name;
    text += " (";
    text += seismic_name;
    text += ')';
    return text;
}

}  // namespace zeva
