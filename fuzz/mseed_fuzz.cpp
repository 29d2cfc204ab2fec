// Feeds arbitrary bytes to the miniSEED readers: the record scanner (every
// record's data must lie within the input; each Steim record is decoded from
// an exactly sized copy of its data) and the seismogram reader behind
// `zeva seismogram` and `zeva steim --mseed`, which decodes every block.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/ZEVALocalSeismogram.hpp"
#include "zeva/waveform/steim.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    const unsigned char* begin = bytes.data();
    const unsigned char* end = begin + bytes.size();
    auto contents = zeva::miniseed::scanRecords(begin, bytes.size());
    for (const auto& r : contents.records) {
        if (r.data_length < 0 || (r.data_length > 0 && (r.data < begin || r.data + r.data_length > end)))
            std::abort();
        if (!r.isSteim()) continue;
        std::vector<unsigned char> frames(r.data, r.data + r.data_length);
        std::vector<float> out(static_cast<size_t>(r.samples > 0 ? r.samples : 0));
        int8_t swap = zeva::miniseed::swapFlagFor(r.little_endian);
        if (r.encoding == 10)
            decodeSteimBuffer(frames.data(), r.data_length, swap, out.data(), r.samples);
        else
            decodeSteim2Buffer(frames.data(), r.data_length, swap, out.data(), r.samples);
    }
    auto seismograms = zeva::miniseed::readSeismograms(begin, bytes.size());
    for (const auto& s : seismograms.seismograms) (void)s->shortDescription();
    return 0;
}
