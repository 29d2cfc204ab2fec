// Helpers shared by the waveform tests: a builder of Steim frames in either
// byte order, a runner that decodes through every path and checks that they
// agree bit for bit, libmseed's packer and a file packed with it.
#pragma once

#include <gtest/gtest.h>

#include <libmseed.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

namespace steimtest {

struct Word {
    unsigned code = 0;
    uint32_t value = 0;  // as a big-endian reader sees it
    int unit = 4;        // bytes that a little-endian writer reverses: 4 (whole), 2 (halves), 1 (single bytes)
};

// Frames of sixteen words; word 0 (the control word) is made from the codes.
class Frames {
public:
    Frames& frame() {
        frames_.emplace_back(16);
        return *this;
    }
    Frames& set(int k, Word w) {
        frames_.back()[k] = w;
        return *this;
    }
    // A data word at the next free slot (3 in frame 0), opening a frame when full.
    Frames& add(Word w) {
        if (next_ == 16) frame(), next_ = 1;
        return set(next_++, w);
    }
    Frames& x0(int32_t v) { return set(1, {0, static_cast<uint32_t>(v)}); }

    std::vector<unsigned char> bytes(bool big) const {
        std::vector<unsigned char> out;
        for (auto f : frames_) {
            for (int k = 1; k < 16; k++) f[0].value |= (f[k].code & 3u) << (30 - 2 * k);
            for (const Word& w : f) {
                unsigned char b[4] = {uint8_t(w.value >> 24), uint8_t(w.value >> 16), uint8_t(w.value >> 8),
                                      uint8_t(w.value)};
                if (!big)
                    for (int i = 0; i < 4; i += w.unit) std::reverse(b + i, b + i + w.unit);
                out.insert(out.end(), b, b + 4);
            }
        }
        return out;
    }

private:
    std::vector<std::vector<Word>> frames_;
    int next_ = 3;
};

// Word makers. Steim-1: four bytes, two halves, one whole difference.
inline Word bytes4(int a, int b, int c, int d) {
    return {1, uint32_t(uint8_t(a)) << 24 | uint32_t(uint8_t(b)) << 16 | uint32_t(uint8_t(c)) << 8 | uint8_t(d), 1};
}
inline Word halves2(int a, int b) { return {2, uint32_t(uint16_t(a)) << 16 | uint16_t(b), 2}; }
inline Word whole1(int32_t a) { return {3, static_cast<uint32_t>(a)}; }

// Steim-2 code 2 or 3 word: sub-code, then fields of `width` bits from bit
// 29 down (from bit 27 for 4-bit fields; `spare` fills bits 29-28).
inline Word steim2(unsigned code, unsigned dnib, int width, std::vector<int> diffs, unsigned spare = 0) {
    uint32_t v = dnib << 30 | (width == 4 ? (spare & 3u) << 28 : 0);
    int top = width == 4 ? 28 : 30;
    for (size_t i = 0; i < diffs.size(); i++)
        v |= (static_cast<uint32_t>(diffs[i]) & ((1u << width) - 1)) << (top - width * (i + 1));
    return {code, v};
}

inline int8_t swapFor(bool big_endian) { return (std::endian::native == std::endian::little) == big_endian; }

// Sentinel written before decoding, to see what a decoder left untouched.
constexpr float kUntouched = -777.25f;

struct Decoded {
    std::vector<float> samples;  // expected + 4 entries, sentinel where unwritten
    std::string warnings;        // Steim-2 public function's standard error
};

inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Decodes with the public function (encoding 10 or 11), after checking that
// every path writes the same bits, finds the same count and leaves the input
// as it was; the public result is the paths', padded with zeros by Steim-2.
// `length` defaults to the whole buffer.
inline Decoded decode(int encoding, const std::vector<unsigned char>& input, int8_t swap, int32_t expected,
                      int32_t length = INT32_MIN) {
    if (length == INT32_MIN) length = static_cast<int32_t>(input.size());
    std::vector<zeva_steim_path> paths = {encoding == 10 ? zeva_steim1_reference : zeva_steim2_reference,
                                          encoding == 10 ? zeva_steim1_portable : zeva_steim2_portable};
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    if (zeva_steim_cpu_has_avx2()) paths.push_back(encoding == 10 ? zeva_steim1_avx2 : zeva_steim2_avx2);
#endif
    const size_t room = static_cast<size_t>(std::max(expected, 0)) + 4;
    std::vector<float> first;
    int64_t count = 0;
    for (size_t p = 0; p < paths.size(); p++) {
        std::vector<unsigned char> copy = input;
        std::vector<float> out(room, kUntouched);
        int64_t n = paths[p](copy.data(), length, swap, out.data(), std::max(expected, 0));
        EXPECT_EQ(copy, input) << "path " << p << " changed its input";
        if (p == 0) first = out, count = n;
        EXPECT_TRUE(sameBits(out, first) && n == count) << "path " << p << " differs from the reference";
    }
    std::vector<unsigned char> copy = input;
    Decoded d{std::vector<float>(room, kUntouched), {}};
    testing::internal::CaptureStderr();
    (encoding == 10 ? decodeSteimBuffer : decodeSteim2Buffer)(copy.data(), length, swap, d.samples.data(), expected);
    d.warnings = testing::internal::GetCapturedStderr();
    EXPECT_EQ(copy, input) << "the public decoder changed its input";
    for (int64_t i = count; encoding == 11 && i < expected; i++) first[static_cast<size_t>(i)] = 0.0f;
    EXPECT_TRUE(sameBits(d.samples, first)) << "the public decoder differs from its paths";
    return d;
}

// Records that libmseed packs (512 bytes each, 100 Hz) from samples of its
// type 'i' (int32), 'f' (float) or 'd' (double), of channel
// XX.ZEVA..`channel` from `start` (microseconds since 1970).
inline std::vector<unsigned char> packSamples(void* samples, int64_t n, char type, int encoding, bool big_endian,
                                              const char* channel = "BHZ", int64_t start = 0) {
    std::vector<unsigned char> bytes;
    MSRecord* msr = msr_init(nullptr);
    std::strcpy(msr->network, "XX"), std::strcpy(msr->station, "ZEVA"), std::strcpy(msr->channel, channel);
    msr->dataquality = 'D', msr->starttime = start, msr->samprate = 100.0, msr->reclen = 512;
    msr->encoding = static_cast<int8_t>(encoding), msr->byteorder = big_endian ? 1 : 0;
    msr->datasamples = samples, msr->numsamples = n, msr->sampletype = type;
    int64_t packed = 0;
    auto collect = [](char* record, int length, void* sink) {
        auto* out = static_cast<std::vector<unsigned char>*>(sink);
        out->insert(out->end(), record, record + length);
    };
    msr_pack(msr, collect, &bytes, &packed, 1, 0);
    EXPECT_EQ(packed, n);
    msr->datasamples = nullptr;
    msr_free(&msr);
    return bytes;
}

inline std::vector<unsigned char> pack(std::vector<int32_t> samples, int encoding, bool big_endian,
                                       const char* channel = "BHZ", int64_t start = 0) {
    return packSamples(samples.data(), static_cast<int64_t>(samples.size()), 'i', encoding, big_endian, channel,
                       start);
}

// A saw of small steps about `from`.
inline std::vector<int32_t> ramp(int n, int from = 0) {
    std::vector<int32_t> s;
    for (int i = 0; i < n; i++) s.push_back(from + (i * 7) % 50 - 25);
    return s;
}

constexpr int64_t kStart = 1577836800000000;  // 2020-01-01T00:00:00Z in microseconds

// A file of channel XX.ZEVA..BHZ: 600 samples of Steim-1 (big-endian), then
// 500 of Steim-2 (little-endian) 4 ms late, within half a sample; BHN in
// Steim-1 (little-endian) between them; BHZ again after a gap of 30 s, in
// Steim-2 (big-endian). With `other`, 300 samples on BHE in an encoding we
// do not decode (packed as 32-bit integers, then marked as code 2, the old
// 24-bit integers).
inline std::vector<unsigned char> packedFile(bool other = false) {
    struct {
        const char* channel;
        int n, encoding;
        bool big;
        int64_t start;
    } pieces[] = {{"BHZ", 600, 10, true, kStart},
                  {"BHN", 800, 10, false, kStart + 4000},
                  {"BHZ", 500, 11, false, kStart + 6004000},
                  {"BHZ", 400, 11, true, kStart + 41000000},
                  {"BHE", 300, 3, true, kStart}};
    std::vector<unsigned char> bytes;
    for (const auto& p : pieces) {
        auto records = pack(ramp(p.n, 10 * p.n), p.encoding, p.big, p.channel, p.start);
        if (p.encoding == 3)  // blockette 1000 right after the fixed header; its encoding byte
            for (size_t at = 0; at + 512 <= records.size(); at += 512) records[at + 48 + 4] = 2;
        if (p.encoding != 3 || other) bytes.insert(bytes.end(), records.begin(), records.end());
    }
    return bytes;
}

inline std::filesystem::path writeTemp(const std::string& name, const std::vector<unsigned char>& bytes) {
    auto p = std::filesystem::temp_directory_path() / ("zeva-" + name + "-" + std::to_string(::getpid()));
    std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
    return p;
}

}  // namespace steimtest
