#include "zeva/events/flinn_engdahl.h"

#include <cmath>

#include "zeva/events/flinn_engdahl_internal.hpp"

namespace zeva::fe {

namespace {

enum Side { kNone, kPositive, kNegative };

Side latitudeLetter(char c) {
    if (c == 'N' || c == 'n') return kPositive;
    if (c == 'S' || c == 's') return kNegative;
    return kNone;
}

Side longitudeLetter(char c) {
    if (c == 'E' || c == 'e') return kPositive;
    if (c == 'W' || c == 'w') return kNegative;
    return kNone;
}

int quadrantOfSides(Side north, Side east) {
    if (north == kNone || east == kNone) return 0;
    if (north == kPositive) return east == kPositive ? 1 : 2;
    return east == kNegative ? 3 : 4;
}

bool validSearch(int quadrant, int latitude_degrees, int longitude_degrees) {
    return quadrant >= 1 && quadrant <= 4 && latitude_degrees >= 0 && longitude_degrees >= 0;
}

// Region of the triple before `stop`. A search can only stop on a block's first
// triple for a row that does not begin at longitude 0, which row 0 always
// does; the guard keeps the index inside the block regardless.
int regionBefore(int stop, int first) { return lln[stop == first ? first : stop - 1][2]; }

}  // namespace

int quadrantOf(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere) {
    if (latitude_hemisphere == ' ' && longitude_hemisphere == ' ') {
        // -0 compares equal to 0 and so counts as north or east.
        return quadrantOfSides(latitude >= 0.0f ? kPositive : kNegative,
                               longitude >= 0.0f ? kPositive : kNegative);
    }
    return quadrantOfSides(latitudeLetter(latitude_hemisphere), longitudeLetter(longitude_hemisphere));
}

int wholeDegrees(float value) {
    const float magnitude = std::fabs(value);
    if (!(magnitude < 32768.0f)) return 32768;
    return static_cast<int>(magnitude);  // truncates toward zero
}

int searchLinear(int quadrant, int latitude_degrees, int longitude_degrees) {
    if (!validSearch(quadrant, latitude_degrees, longitude_degrees)) return 0;
    const int first = ind[quadrant];
    const int last = first + num[quadrant] - 1;
    int i = first;
    while (i <= last && lln[i][0] < latitude_degrees) ++i;
    if (i > last) return 0;
    // Walk the row while the longitude has reached the triple's start; the
    // region is that of the last triple passed.
    for (;;) {
        if (lln[i][0] != latitude_degrees || longitude_degrees < lln[i][1]) return regionBefore(i, first);
        if (i == last) return lln[last][2];
        ++i;
    }
}

int searchIndexed(int quadrant, int latitude_degrees, int longitude_degrees) {
    if (!validSearch(quadrant, latitude_degrees, longitude_degrees) || latitude_degrees > 90) return 0;
    const int first = ind[quadrant];
    int low = row_start[quadrant][latitude_degrees];
    int high = row_start[quadrant][latitude_degrees + 1];
    // West of the row's first start (only row 90, which starts at 180): the
    // previous row's last triple, as the plain scan gives.
    if (longitude_degrees < lln[low][1]) return regionBefore(low, first);
    // Invariant: lln[low] starts at or west of the longitude; high is the end
    // of the row or a triple starting east of it.
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        if (lln[middle][1] <= longitude_degrees)
            low = middle;
        else
            high = middle;
    }
    return lln[low][2];
}

int geographicRegion(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere,
                     int entry_region, BlockSearch search) {
    int region = entry_region;
    const int quadrant = quadrantOf(latitude, latitude_hemisphere, longitude, longitude_hemisphere);
    if (quadrant != 0) {
        // A NaN or infinite coordinate has no whole-degree row or column.
        region = std::isfinite(latitude) && std::isfinite(longitude)
                     ? search(quadrant, wholeDegrees(latitude), wholeDegrees(longitude))
                     : 0;
    }
    // Values beyond 758 can only come from the caller; they index nothing.
    if (region <= 0 || region > not_found) region = not_found;
    return region;
}

}  // namespace zeva::fe

extern "C" void fe_lookup(float latitude, char latitude_hemisphere, float longitude, char longitude_hemisphere,
                          int* geographic_region, int* seismic_region) {
    using namespace zeva::fe;
    const int entry = geographic_region ? *geographic_region : 0;
    const int region = geographicRegion(latitude, latitude_hemisphere, longitude, longitude_hemisphere, entry,
                                        searchIndexed);
    if (geographic_region) *geographic_region = region;
    if (seismic_region) *seismic_region = nsreg[region];
}

extern "C" void fe_region(int geographic_region, const char** geographic_name, int* seismic_region,
                          const char** seismic_name) {
    using namespace zeva::fe;
    const bool known = geographic_region >= 1 && geographic_region <= nn;
    int seismic = seismic_region ? *seismic_region : 0;
    if (seismic <= 0 && known) seismic = nsreg[geographic_region];
    if (seismic_region) *seismic_region = seismic;
    if (geographic_name) *geographic_name = known ? greg[geographic_region] : blank_name;
    if (seismic_name) *seismic_name = seismic >= 1 && seismic <= seismic_count ? sreg[seismic] : blank_name;
}
