// Feeds arbitrary bytes to both Steim decoders, through every decoding path.
// Input: swap flag (1 byte), expected count (2 bytes, little-endian; the
// top bit makes it negative), then the buffer. Each path gets a heap copy of
// exactly the buffer's length and an output of exactly the expected count,
// so AddressSanitizer catches any read or write past either; the paths must
// agree bit for bit.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

namespace {

struct Outcome {
    std::vector<float> samples;
    int64_t count;
};

Outcome run(zeva_steim_path path, const uint8_t* data, size_t size, int8_t swap, int32_t expected) {
    std::vector<unsigned char> input(data, data + size);  // exactly sized, on the heap
    float* out = static_cast<float*>(std::malloc(sizeof(float) * (expected > 0 ? expected : 1)));
    for (int32_t i = 0; i < expected; i++) out[i] = -1.5f;
    int64_t n = path(input.data(), static_cast<int32_t>(size), swap, out, expected);
    if (size && std::memcmp(input.data(), data, size) != 0) std::abort();  // the input must stay as it was
    Outcome o{std::vector<float>(out, out + (expected > 0 ? expected : 0)), n};
    std::free(out);
    return o;
}

void same(const Outcome& a, const Outcome& b) {
    if (a.count != b.count || a.samples.size() != b.samples.size() || (!a.samples.empty() &&
        std::memcmp(a.samples.data(), b.samples.data(), a.samples.size() * sizeof(float)) != 0))
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    int8_t swap = static_cast<int8_t>(data[0]);
    int32_t expected = static_cast<int16_t>(data[1] | data[2] << 8);
    data += 3;
    size -= 3;
    int32_t count = expected < 0 ? 0 : expected;

    struct Family {
        zeva_steim_path reference, portable, avx2;
    };
    const Family families[2] = {
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
        {zeva_steim1_reference, zeva_steim1_portable, zeva_steim_cpu_has_avx2() ? zeva_steim1_avx2 : nullptr},
        {zeva_steim2_reference, zeva_steim2_portable, zeva_steim_cpu_has_avx2() ? zeva_steim2_avx2 : nullptr},
#else
        {zeva_steim1_reference, zeva_steim1_portable, nullptr},
        {zeva_steim2_reference, zeva_steim2_portable, nullptr},
#endif
    };
    auto agree = [&](const uint8_t* bytes, size_t length) {
        for (const Family& f : families) {
            Outcome reference = run(f.reference, bytes, length, swap, count);
            same(reference, run(f.portable, bytes, length, swap, count));
            if (f.avx2) same(reference, run(f.avx2, bytes, length, swap, count));
        }
    };
    agree(data, size);
    // The fast paths treat runs of frames differently from the first ones:
    // the input's frames repeated to 24 frames (and its tail after them)
    // reach those runs without the fuzzer having to grow long inputs.
    if (size >= 64) {
        size_t frames = size / 64;
        std::vector<uint8_t> tiled;
        for (size_t k = 0; k < 24; k++) tiled.insert(tiled.end(), data + 64 * (k % frames), data + 64 * (k % frames) + 64);
        tiled.insert(tiled.end(), data + 64 * frames, data + size);
        agree(tiled.data(), tiled.size());
    }

    // The public functions, with the caller's (possibly negative) count.
    // Steim-2 gets the count it will find, so that it has nothing to print.
    std::vector<unsigned char> input(data, data + size);
    std::vector<float> out(static_cast<size_t>(count) + 1);
    decodeSteimBuffer(input.data(), static_cast<int32_t>(size), swap, out.data(), expected);
    int64_t found = zeva_steim2_reference(input.data(), static_cast<int32_t>(size), swap, out.data(), 0);
    if (found <= 4096) {
        std::vector<float> all(static_cast<size_t>(found) + 1);
        decodeSteim2Buffer(input.data(), static_cast<int32_t>(size), swap, all.data(), static_cast<int32_t>(found));
    }
    return 0;
}
