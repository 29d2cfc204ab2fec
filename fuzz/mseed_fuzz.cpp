// Feeds arbitrary bytes to the miniSEED readers: the record scanner (every
// record's data must lie within the input; each Steim record is decoded from
// an exactly sized copy of its data, by the float decoders and by the block
// decoders of every encoding, into doubles and into counts, which must all
// agree bit for bit) and the seismogram
// reader behind `zeva seismogram` and `zeva steim --mseed`, which decodes
// every block, floats and exact values in one walk (which must agree too).
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeva/waveform/BlockDecoding.hpp"
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
        std::vector<unsigned char> section(r.data, r.data + r.data_length);
        const size_t count = static_cast<size_t>(r.samples > 0 ? r.samples : 0);
        std::vector<double> exact(count);
        const int64_t found = zeva::waveform::decodeBlock(r.encoding, section.data(), section.size(),
                                                          r.little_endian, exact.data(), count);
        if (!r.isSteim()) continue;
        std::vector<float> out(count);
        int8_t swap = zeva::miniseed::swapFlagFor(r.little_endian);
        if (r.encoding == 10)
            decodeSteimBuffer(section.data(), r.data_length, swap, out.data(), r.samples);
        else
            decodeSteim2Buffer(section.data(), r.data_length, swap, out.data(), r.samples);
        const size_t written = std::min(count, static_cast<size_t>(found));
        std::vector<int32_t> counts(count);
        bool wide = false;
        if (zeva::waveform::decodeSteimCounts(r.encoding, section.data(), section.size(), r.little_endian,
                                              counts.data(), count, &wide) != found)
            std::abort();
        for (size_t i = 0; i < written; i++) {
            const float f = static_cast<float>(exact[i]);
            if (std::memcmp(&f, &out[i], sizeof f) != 0) std::abort();
            if (!wide && static_cast<double>(counts[i]) != exact[i]) std::abort();
        }
    }
    auto seismograms = zeva::miniseed::readSeismograms(begin, bytes.size());
    for (const auto& s : seismograms.seismograms) {
        (void)s->shortDescription();
        const auto samples = s->samples();
        const auto counts = s->counts();
        if (!counts.empty() && counts.size() != samples.size()) std::abort();
        for (size_t i = 0; i < counts.size(); i++)
            if (static_cast<float>(counts[i]) != samples[i]) std::abort();
    }
    return 0;
}
