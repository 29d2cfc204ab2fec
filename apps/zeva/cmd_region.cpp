#include <cmath>
#include <cstdlib>
#include <string>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_text.hpp"

namespace {

using zeva::cli::UsageError;

// Degrees within the range `check` allows.
float coordinate(const std::string& text, const char* what, double (*check)(double, std::string_view)) {
    char* end = nullptr;
    const double value = zeva::cli::readNumber(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw UsageError{fmt::format("{}: not a number: {}", what, text)};
    return static_cast<float>(check(value, what));
}

// One hemisphere letter out of `allowed`; a blank lets the signs decide.
char hemisphere(const std::string& text, const char* allowed, const char* what) {
    if (text.size() != 1 || std::string(allowed).find(text[0]) == std::string::npos)
        throw UsageError{fmt::format("--hemispheres: {} letter must be one of {}, got '{}'", what, allowed, text)};
    return text[0];
}

int region(const zeva::cli::Args& args) {
    zeva::cli::Options options(args);
    std::string word;
    std::string positional[2];
    int count = 0;
    char latitude_hemisphere = ' ', longitude_hemisphere = ' ';
    while (options.next(word)) {
        if (word == "--hemispheres") {
            latitude_hemisphere = hemisphere(options.value("--hemispheres"), "NnSs ", "latitude");
            longitude_hemisphere = hemisphere(options.value("--hemispheres"), "EeWw ", "longitude");
        } else if (word.size() > 2 && word.compare(0, 2, "--") == 0) {
            throw UsageError{fmt::format("unknown option {}", word)};
        } else {
            if (count == 2) throw UsageError{fmt::format("unexpected argument {}", word)};
            positional[count++] = word;
        }
    }
    if (count != 2) throw UsageError{"expects a latitude and a longitude in degrees"};
    const float latitude = coordinate(positional[0], "latitude", zeva::cli::latitude);
    const float longitude = coordinate(positional[1], "longitude", zeva::cli::longitude);

    int geographic = 0, seismic = 0;
    fe_lookup(latitude, latitude_hemisphere, longitude, longitude_hemisphere, &geographic, &seismic);
    fmt::print("{}\t{}\t{}\n", geographic, seismic, zeva::feRegionText(geographic, seismic));
    return 0;
}

}  // namespace

ZEVA_COMMAND("region", region);
