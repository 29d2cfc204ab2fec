// Helpers shared by the Steim tests: a builder of Steim frames in either
// byte order, and a runner that decodes through every path and checks that
// they agree bit for bit.
#pragma once

#include <gtest/gtest.h>

#include <libmseed.h>

#include <cmath>
#include <random>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

namespace steimtest {

// How a word's bytes are laid out: a whole 32-bit value, four single bytes
// in address order, or two 16-bit halves each in the words' byte order.
enum class Layout { Whole, Bytes, Halves };

struct Word {
    unsigned code = 0;
    uint32_t value = 0;  // as a big-endian reader sees it
    Layout layout = Layout::Whole;
};

// Frames of sixteen words; word 0 (the control word) is made from the codes.
class Frames {
public:
    Frames& frame() {
        frames_.emplace_back(16);
        return *this;
    }
    Frames& set(int k, Word w) {
        if (frames_.empty()) frame();
        frames_.back()[k] = w;
        return *this;
    }
    // Appends a data word at the next free slot (3 in frame 0, 1 in the
    // others), opening a new frame when the current one is full.
    Frames& add(Word w) {
        if (frames_.empty()) frame();
        if (next_ == 16) {
            frame();
            next_ = 1;
        }
        frames_.back()[next_++] = w;
        return *this;
    }
    Frames& x0(int32_t v) { return set(1, {0, static_cast<uint32_t>(v)}); }
    Frames& xn(int32_t v) { return set(2, {0, static_cast<uint32_t>(v)}); }

    std::vector<unsigned char> bytes(bool big_endian) const {
        std::vector<unsigned char> out;
        for (const auto& f : frames_) {
            uint32_t control = 0;
            for (int k = 1; k < 16; k++) control |= (f[k].code & 3u) << (30 - 2 * k);
            put(out, {0, control}, big_endian);
            for (int k = 1; k < 16; k++) put(out, f[k], big_endian);
        }
        return out;
    }

private:
    static void put(std::vector<unsigned char>& out, const Word& w, bool big) {
        unsigned char b[4] = {static_cast<unsigned char>(w.value >> 24), static_cast<unsigned char>(w.value >> 16),
                              static_cast<unsigned char>(w.value >> 8), static_cast<unsigned char>(w.value)};
        if (!big && w.layout == Layout::Whole) std::swap(b[0], b[3]), std::swap(b[1], b[2]);
        if (!big && w.layout == Layout::Halves) std::swap(b[0], b[1]), std::swap(b[2], b[3]);
        out.insert(out.end(), b, b + 4);
    }
    std::vector<std::vector<Word>> frames_;
    int next_ = 3;
};

// Word makers. Steim-1: four bytes, two halves, one whole difference.
inline Word bytes4(int a, int b, int c, int d) {
    return {1,
            (uint32_t(uint8_t(a)) << 24) | (uint32_t(uint8_t(b)) << 16) | (uint32_t(uint8_t(c)) << 8) |
                uint32_t(uint8_t(d)),
            Layout::Bytes};
}
inline Word halves2(int a, int b) {
    return {2, (uint32_t(uint16_t(a)) << 16) | uint32_t(uint16_t(b)), Layout::Halves};
}
inline Word whole1(int32_t a) { return {3, static_cast<uint32_t>(a)}; }

// Steim-2 code 2 or 3 word: sub-code, then fields of `width` bits from bit
// 29 down (from bit 27 for 4-bit fields; `spare` fills bits 29-28).
inline Word steim2(unsigned code, unsigned dnib, int width, std::vector<int> diffs, unsigned spare = 0) {
    uint32_t v = dnib << 30;
    int top = width == 4 ? 28 : 30;
    if (width == 4) v |= (spare & 3u) << 28;
    for (size_t i = 0; i < diffs.size(); i++)
        v |= (static_cast<uint32_t>(diffs[i]) & ((1u << width) - 1)) << (top - width * (i + 1));
    return {code, v};
}

inline int8_t swapFor(bool big_endian) {
    const uint16_t probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    bool host_little = first == 1;
    return host_little == big_endian ? 1 : 0;
}

// Sentinel written before decoding, to see what a decoder left untouched.
constexpr float kUntouched = -777.25f;

constexpr int32_t kWholeBuffer = INT32_MIN;

struct Decoded {
    std::vector<float> samples;  // expected + 4 entries, sentinel where unwritten
    std::string warnings;        // Steim-2 public function's standard error
};

inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

// Every path of the encoding, each on its own copy of the input.
inline std::vector<std::pair<std::string, zeva_steim_path>> paths(int encoding) {
    std::vector<std::pair<std::string, zeva_steim_path>> p;
    if (encoding == 10) {
        p = {{"reference", zeva_steim1_reference}, {"portable", zeva_steim1_portable}};
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
        if (zeva_steim_cpu_has_avx2()) p.emplace_back("avx2", zeva_steim1_avx2);
#endif
    } else {
        p = {{"reference", zeva_steim2_reference}, {"portable", zeva_steim2_portable}};
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
        if (zeva_steim_cpu_has_avx2()) p.emplace_back("avx2", zeva_steim2_avx2);
#endif
    }
    return p;
}

// Decodes with the public function (encoding 10 or 11), after checking that
// every path writes the same bits, finds the same count and leaves the
// input as it was. `length` defaults to the whole buffer.
inline Decoded decode(int encoding, const std::vector<unsigned char>& input, int8_t swap, int32_t expected,
                      int32_t length = kWholeBuffer) {
    if (length == kWholeBuffer) length = static_cast<int32_t>(input.size());
    size_t room = static_cast<size_t>(expected > 0 ? expected : 0) + 4;
    std::vector<float> first;
    int64_t first_count = 0;
    for (const auto& [name, path] : paths(encoding)) {
        std::vector<unsigned char> copy = input;
        std::vector<float> out(room, kUntouched);
        int64_t n = path(copy.data(), length, swap, out.data(), expected < 0 ? 0 : expected);
        EXPECT_EQ(copy, input) << name << " changed its input";
        if (first.empty()) {
            first = out;
            first_count = n;
        } else {
            EXPECT_TRUE(sameBits(out, first)) << name << " differs from the reference";
            EXPECT_EQ(n, first_count) << name << " counts differently";
        }
    }
    std::vector<unsigned char> copy = input;
    Decoded d{std::vector<float>(room, kUntouched), {}};
    testing::internal::CaptureStderr();
    if (encoding == 10)
        decodeSteimBuffer(copy.data(), length, swap, d.samples.data(), expected);
    else
        decodeSteim2Buffer(copy.data(), length, swap, d.samples.data(), expected);
    d.warnings = testing::internal::GetCapturedStderr();
    EXPECT_EQ(copy, input) << "the public decoder changed its input";
    // The public function is the paths' result, padded with zeros by Steim-2.
    if (encoding == 11)
        for (int64_t i = first_count; i < expected; i++) first[static_cast<size_t>(i)] = 0.0f;
    EXPECT_TRUE(sameBits(d.samples, first)) << "the public decoder differs from its paths";
    return d;
}

// A signal in which every word kind occurs: a random walk, two sines,
// spikes and large glitches. `limit` bounds the differences.
inline std::vector<int32_t> signal(size_t n, int32_t limit, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int32_t> s(n);
    double walk = 0;
    for (size_t i = 0; i < n; i++) {
        walk += std::normal_distribution<double>(0, 3)(rng);
        double v = walk + 400 * std::sin(i * 0.05) + 20000 * std::sin(i * 0.0031);
        if (rng() % 97 == 0) v += std::uniform_int_distribution<int>(-60000, 60000)(rng);
        if (rng() % 1013 == 0) v += std::uniform_int_distribution<int32_t>(-limit, limit)(rng);
        s[i] = static_cast<int32_t>(v);
    }
    for (size_t i = 0; i < 20; i++) s[i] = static_cast<int32_t>(i % 3);  // the smallest words too
    return s;
}

inline void collect(char* record, int length, void* sink) {
    auto* bytes = static_cast<std::vector<unsigned char>*>(sink);
    bytes->insert(bytes->end(), record, record + length);
}

// Records that libmseed packs from int32 samples (512 bytes each).
inline std::vector<unsigned char> pack(const std::vector<int32_t>& samples, int encoding, bool big_endian) {
    std::vector<unsigned char> bytes;
    MSRecord* msr = msr_init(nullptr);
    std::strcpy(msr->network, "XX");
    std::strcpy(msr->station, "ZEVA");
    std::strcpy(msr->channel, "BHZ");
    msr->dataquality = 'D';
    msr->starttime = ms_timestr2hptime(const_cast<char*>("2020-01-01T00:00:00"));
    msr->samprate = 100.0;
    msr->reclen = 512;
    msr->encoding = static_cast<int8_t>(encoding);
    msr->byteorder = big_endian ? 1 : 0;
    std::vector<int32_t> copy = samples;
    msr->datasamples = copy.data();
    msr->numsamples = static_cast<int64_t>(copy.size());
    msr->sampletype = 'i';
    int64_t packed = 0;
    int records = msr_pack(msr, collect, &bytes, &packed, 1, 0);
    EXPECT_GT(records, 0);
    EXPECT_EQ(packed, static_cast<int64_t>(samples.size()));
    msr->datasamples = nullptr;
    msr_free(&msr);
    return bytes;
}

}  // namespace steimtest
