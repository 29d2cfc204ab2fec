// Feeds the binned shoreline and border decoders tables made from arbitrary
// bytes: what libnetcdf hands over from a file is trusted for its types and
// lengths only, so every count, index and bin layout the bytes choose must
// end in a clear refusal or a layer whose points lie on the globe.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zeva/map/Shorelines.hpp"

namespace {

struct Bytes {
    const uint8_t* data;
    size_t size;
    size_t at = 0;
    uint8_t byte() { return at < size ? data[at++] : 0; }
    int16_t i16() {
        unsigned low = byte();
        unsigned high = byte();
        return static_cast<int16_t>(low | (high << 8));
    }
    int32_t i32() {
        uint32_t low = static_cast<uint16_t>(i16());
        uint32_t high = static_cast<uint16_t>(i16());
        return static_cast<int32_t>(low | (high << 16));
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes in{data, size};
    zeva::map::BinnedTables t;
    uint8_t flags = in.byte();
    bool borders = flags & 1;
    t.binMinutes = (flags & 2) ? 600 : 1200;
    t.binsAcross = 21600 / t.binMinutes;
    t.binsDown = 10800 / t.binMinutes + ((flags & 4) ? 1 : 0);
    size_t bins = size_t(t.binsAcross) * size_t(t.binsDown - ((flags & 8) ? 1 : 0));
    size_t segments = in.byte(), points = in.byte() * 4u;
    for (size_t b = 0; b < bins; ++b) {
        // Most bins empty, so that the bytes go to the ones that are not.
        bool used = (b % 7) == (flags >> 4) % 7;
        t.binFirstSegment.push_back(used ? static_cast<int8_t>(in.byte()) : 0);
        t.binSegmentCount.push_back(used ? static_cast<int8_t>(in.byte()) : 0);
        t.binNodeLevels.push_back(used ? in.i16() : 0);
    }
    for (size_t s = 0; s < segments; ++s) {
        if (borders) {
            t.segmentPointCount.push_back(static_cast<int8_t>(in.byte()));
            t.segmentLevel.push_back(in.byte());
        } else {
            t.segmentInfo.push_back(in.i32());
            t.segmentAntarctic.push_back(static_cast<int8_t>(in.byte() & 1));
        }
        t.segmentFirstPoint.push_back(in.i16());
    }
    for (size_t p = 0; p < points; ++p) {
        t.pointLon.push_back(in.i16());
        t.pointLat.push_back(in.i16());
    }
    zeva::map::MapLayer layer;
    std::string error;
    bool ok = borders ? zeva::map::decodeBorders(t, layer, error) : zeva::map::decodeShorelines(t, layer, error);
    if (ok && !error.empty()) std::abort();
    for (const auto& line : layer.lines)
        for (const auto& p : line.points)
            if (!(p.lon >= -180 && p.lon <= 180 && p.lat >= -90 && p.lat <= 90)) std::abort();
    for (const auto& area : layer.areas) (void)layer.levelAt(area.west, area.south);
    return 0;
}
