// Feeds arbitrary bytes to the miniSEED record reader and decodes every Steim
// record it finds, as `zeva steim --mseed` does: each record's data must lie
// within the input, and decoding reads only the record's own data.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "zeva/waveform/mseed_reader.hpp"
#include "zeva/waveform/steim.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    zeva::mseed::Contents contents = zeva::mseed::readRecords(bytes);
    const unsigned char* begin = bytes.data();
    const unsigned char* end = begin + bytes.size();
    for (const auto& r : contents.records) {
        if (r.data_length < 0 || (r.data_length > 0 && (r.data < begin || r.data + r.data_length > end)))
            std::abort();
        if (r.encoding != 10 && r.encoding != 11) continue;
        std::vector<unsigned char> frames(r.data, r.data + r.data_length);  // exactly sized
        std::vector<float> out(static_cast<size_t>(r.samples > 0 ? r.samples : 0));
        int8_t swap = zeva::mseed::steimSwapFlag(r);
        if (r.encoding == 10)
            decodeSteimBuffer(frames.data(), r.data_length, swap, out.data(), r.samples);
        else
            decodeSteim2Buffer(frames.data(), r.data_length, swap, out.data(), r.samples);
    }
    return 0;
}
