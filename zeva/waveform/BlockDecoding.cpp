#include "zeva/waveform/BlockDecoding.hpp"

#include <algorithm>
#include <bit>
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
// so that its sample equals X0.
template <bool kSteim2>
struct Sink {
    int32_t x0 = 0;
    double* out = nullptr;
    size_t asked = 0;
    int64_t count = 0;
    int32_t r1 = 0;    // Steim-1: 32-bit integer arithmetic
    double r2 = 0.0;   // Steim-2: double precision

    void put(int32_t d, bool anchor) {
        anchor = anchor || count == 0;
        double sample;
        if constexpr (kSteim2) {
            if (anchor) r2 = static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(x0) - static_cast<uint32_t>(d)));
            r2 += static_cast<double>(d);
            sample = r2;
        } else {
            if (anchor) r1 = static_cast<int32_t>(static_cast<uint32_t>(x0) - static_cast<uint32_t>(d));
            r1 = static_cast<int32_t>(static_cast<uint32_t>(r1) + static_cast<uint32_t>(d));
            sample = r1;
        }
        if (static_cast<uint64_t>(count) < asked) out[count] = sample;
        count++;
    }
    // `n` fields of `width` bits from the top of `v`, each sign-extended.
    void fields(uint32_t v, int n, int width, bool first) {
        for (int i = 0; i < n; i++, v <<= width) put(static_cast<int32_t>(v) >> (32 - width), first && i == 0);
    }
};

template <bool kSteim2>
int64_t steim(const unsigned char* in, size_t length, bool little, double* out, size_t asked) {
    if (length < 64) return 0;
    Sink<kSteim2> s;
    s.x0 = static_cast<int32_t>(read32(in + 4, little));
    s.out = out;
    s.asked = asked;
    for (size_t f = 0; f < length / 64; f++) {
        const unsigned char* frame = in + 64 * f;
        const uint32_t control = read32(frame, little);
        for (int k = 1; k < 16; k++) {
            const unsigned char* w = frame + 4 * k;
            const bool first = f == 0 && k == 3;
            const unsigned code = control >> (30 - 2 * k) & 3u;
            if (code == 0) continue;
            if (code == 1) {
                for (int i = 0; i < 4; i++) s.put(static_cast<int8_t>(w[i]), first && i == 0);
                continue;
            }
            if constexpr (!kSteim2) {
                if (code == 2) {
                    s.put(static_cast<int16_t>(read16(w, little)), first);
                    s.put(static_cast<int16_t>(read16(w + 2, little)), false);
                } else {
                    s.put(static_cast<int32_t>(read32(w, little)), first);
                }
            } else {
                const uint32_t v = read32(w, little);
                const unsigned dnib = v >> 30;
                if (code == 2 && dnib != 0) s.fields(v << 2, static_cast<int>(dnib), 30 / static_cast<int>(dnib), first);
                else if (code == 3 && dnib == 0) s.fields(v << 2, 5, 6, first);
                else if (code == 3 && dnib == 1) s.fields(v << 2, 6, 5, first);
                else if (code == 3 && dnib == 2) s.fields(v << 4, 7, 4, first);
            }
        }
    }
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

}  // namespace zeva::waveform
