#include "zeva/waveform/BlockDecoding.hpp"

#include "zeva/waveform/steim_paths.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <type_traits>
#include <cstring>

namespace zeva::waveform {

namespace {

uint16_t read16(const unsigned char* p, bool little) {
    return little ? static_cast<uint16_t>(p[0] | p[1] << 8) : static_cast<uint16_t>(p[0] << 8 | p[1]);
}

uint32_t read32(const unsigned char* p, bool little) {
    return little ? uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24
                  : uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

uint64_t read64(const unsigned char* p, bool little) {
    const uint64_t a = read32(p, little), b = read32(p + 4, little);
    return little ? b << 32 | a : a << 32 | b;
}

// The running value and output of one Steim decode. The first difference of
// word 3 of frame 0, or the first decoded at all, restarts the running value
// so that its sample equals X0. Into doubles, Steim-2 adds in double
// precision; into 32-bit integers, in 64 bits, noting a value that leaves
// the 32-bit range (below it, both give the same values).
template <bool kSteim2, typename T>
struct Sink {
    int32_t x0 = 0;
    T* out = nullptr;
    size_t asked = 0;
    int64_t count = 0;
    int32_t r1 = 0;   // Steim-1: 32-bit integer arithmetic
    double r2 = 0.0;  // Steim-2 into doubles
    int64_t r3 = 0;   // Steim-2 into integers
    bool wide = false;

    void put(int32_t d, bool anchor) {
        anchor = anchor || count == 0;
        const int32_t restart = static_cast<int32_t>(static_cast<uint32_t>(x0) - static_cast<uint32_t>(d));
        T sample;
        if constexpr (!kSteim2) {
            if (anchor) r1 = restart;
            r1 = static_cast<int32_t>(static_cast<uint32_t>(r1) + static_cast<uint32_t>(d));
            sample = static_cast<T>(r1);
        } else if constexpr (std::is_same_v<T, double>) {
            if (anchor) r2 = restart;
            r2 += static_cast<double>(d);
            sample = r2;
        } else {
            if (anchor) r3 = restart;
            r3 += d;
            wide = wide || r3 < INT32_MIN || r3 > INT32_MAX;
            sample = static_cast<T>(r3);
        }
        if (static_cast<uint64_t>(count) < asked) out[count] = sample;
        count++;
    }
};

// Frame unpacking: the AVX2 path's where the processor runs it, else the
// portable path's tables (both give the same differences).
using FrameDifferences = int (*)(const unsigned char*, int8_t, int32_t*, int*);

template <bool kSteim2>
FrameDifferences frameDifferences() {
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    static const FrameDifferences chosen =
        zeva_steim_cpu_has_avx2()
            ? (kSteim2 ? zeva_steim2_frame_differences_avx2 : zeva_steim1_frame_differences_avx2)
            : (kSteim2 ? zeva_steim2_frame_differences : zeva_steim1_frame_differences);
    return chosen;
#else
    return kSteim2 ? zeva_steim2_frame_differences : zeva_steim1_frame_differences;
#endif
}

template <bool kSteim2, typename T>
int64_t steim(const unsigned char* in, size_t length, bool little, T* out, size_t asked, bool* wide = nullptr) {
    if (length < 64) return 0;
    Sink<kSteim2, T> s;
    s.x0 = static_cast<int32_t>(read32(in + 4, little));
    s.out = out;
    s.asked = asked;
    const int8_t swap = (std::endian::native == std::endian::little) != little ? 1 : 0;
    int32_t d[ZEVA_STEIM_FRAME_ROOM];
    const FrameDifferences unpack = frameDifferences<kSteim2>();
    for (size_t f = 0; f < length / 64; f++) {
        int at3 = -1;
        const int n = unpack(in + 64 * f, swap, d, &at3);
        if (f == 0 || s.count == 0 || static_cast<uint64_t>(s.count) + static_cast<uint64_t>(n) > asked ||
            !std::is_same_v<T, int32_t>) {
            for (int i = 0; i < n; i++) s.put(d[i], f == 0 && i == at3);
            continue;
        }
        // The common case: no restart in the frame, room for all of it,
        // integers out.
        T* to = out + s.count;
        if constexpr (kSteim2) {
            // In 32 bits while no sum overflows (then the integers written
            // are the exact values); an overflow marks the block wide.
            int32_t r = static_cast<int32_t>(s.r3);
            bool over = s.wide || s.r3 != r;
            for (int i = 0; i < n; i++) {
                over |= __builtin_add_overflow(r, d[i], &r);
                to[i] = r;
            }
            s.r3 = r;
            s.wide = over;
        } else {
            uint32_t r = static_cast<uint32_t>(s.r1);
            for (int i = 0; i < n; i++) to[i] = static_cast<T>(static_cast<int32_t>(r += static_cast<uint32_t>(d[i])));
            s.r1 = static_cast<int32_t>(r);
        }
        s.count += n;
    }
    if (wide) *wide = s.wide;
    return s.count;
}

template <typename Read>
int64_t plain(size_t width, size_t length, double* out, size_t asked, Read read) {
    const size_t n = length / width;
    const size_t m = std::min(n, asked);
    for (size_t i = 0; i < m; i++) out[i] = read(i * width);
    return static_cast<int64_t>(n);
}

}  // namespace

bool isDecodable(int code) { return code == 1 || code == 3 || code == 4 || code == 5 || code == 10 || code == 11; }

bool isIntegerEncoding(int code) { return code == 1 || code == 3 || code == 10 || code == 11; }

size_t capacityOf(int code, size_t length) {
    switch (code) {
    case 1: return length / 2;
    case 3:
    case 4: return length / 4;
    case 5: return length / 8;
    case 10:
    case 11: return length / 64 * 105;
    default: return length;
    }
}

int64_t decodeBlock(int code, const unsigned char* in, size_t length, bool little, double* out, size_t asked) {
    if (!in) length = 0;
    if (!out) asked = 0;
    switch (code) {
    case 1:
        return plain(2, length, out, asked, [&](size_t at) { return static_cast<int16_t>(read16(in + at, little)); });
    case 3:
        return plain(4, length, out, asked, [&](size_t at) { return static_cast<int32_t>(read32(in + at, little)); });
    case 4:
        return plain(4, length, out, asked, [&](size_t at) { return std::bit_cast<float>(read32(in + at, little)); });
    case 5:
        return plain(8, length, out, asked, [&](size_t at) { return std::bit_cast<double>(read64(in + at, little)); });
    case 10: return steim<false>(in, length, little, out, asked);
    case 11: return steim<true>(in, length, little, out, asked);
    default: return 0;
    }
}

int64_t decodeSteimCounts(int code, const unsigned char* in, size_t length, bool little, int32_t* out, size_t asked,
                          bool* wide) {
    *wide = false;
    if (!in) length = 0;
    if (!out) asked = 0;
    if (code == 10) return steim<false>(in, length, little, out, asked);
    if (code == 11) return steim<true>(in, length, little, out, asked, wide);
    return 0;
}

}  // namespace zeva::waveform
