// Local seismograms from miniSEED: one ZEVALocalSeismogram per channel and
// contiguous run of records, one ZEVAEncodedData block per record.
//
// A record continues the channel's open seismogram when its sample rate is
// the same and its start lies within half a sample interval of where the
// seismogram ends; otherwise (a gap, an overlap, a new rate) it starts a new
// one. Channels may interleave. The attributes come from the headers: _id
// ("NET.STA.LOC.CHA" and the start time), _begin_time, _num_points,
// _sampling_info (the rate as points per interval of seconds), _y_unit
// (counts), _channel_id (codes and begin time) and a "quality" property.
// Blocks are decoded with decodeBlocks (Steim-1 and -2, 16- and 32-bit
// integers, 32- and 64-bit floats, with exact counts beside the floats).
// Records in other encodings are kept as blocks (their stretch decodes as
// zeros) and named in the notices.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/ZEVALocalSeismogram.hpp"

namespace zeva::miniseed {

struct Seismograms {
    std::vector<Ref<ZEVALocalSeismogram>> seismograms;  // in the order their first records come
    std::vector<Problem> problems;                       // unreadable bytes, skipped
    std::vector<std::string> notices;                    // records kept but not decoded
    size_t records = 0;
};

// Builds the seismograms of the bytes of a miniSEED file; with `decode`, runs
// decodeBlocks on each.
// Each block copies its record's data section.
Seismograms readSeismograms(const unsigned char* bytes, size_t length, bool decode = true);
// The same, but the blocks view the bytes, not copied, and keep them alive;
// nobody may change them afterwards.
Seismograms readSeismograms(std::shared_ptr<const unsigned char[]> bytes, size_t length, bool decode = true);
// The same for a file; nullopt with the reason when it cannot be read.
std::optional<Seismograms> readSeismogramsFromFile(const std::string& path, bool decode = true,
                                                   std::string* error = nullptr);

}  // namespace zeva::miniseed
