/* The AVX2 decoding path, chosen at run time on CPUs that have AVX2 (this
 * file alone is compiled for AVX2). A data word is broadcast to eight lanes
 * and one variable left shift plus one arithmetic right shift, both from
 * the kind's table entry, yield all of its differences at once; the
 * integration is an eight-lane prefix sum. Results equal the portable
 * path's bit for bit: Steim-1 wraps in 32 bits in both, and Steim-2 takes
 * the 32-bit prefix sum only for frames whose running value and largest
 * possible differences keep every sample inside 32 bits, and otherwise the
 * shared exact integration. */
#include "zeva/waveform/steim_paths.h"

#ifdef ZEVA_STEIM_HAVE_AVX2_PATH

#include <immintrin.h>

#include "zeva/waveform/steim_frames.h"

static inline void unpack(uint32_t v, const ZsKind* kind, int32_t* d) {
    __m256i value = _mm256_set1_epi32((int32_t)v);
    __m256i shl = _mm256_loadu_si256((const __m256i*)kind->shl);
    __m256i sar = _mm256_loadu_si256((const __m256i*)kind->sar);
    _mm256_storeu_si256((__m256i*)d, _mm256_srav_epi32(_mm256_sllv_epi32(value, shl), sar));
}

static int frame1(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    *at3 = -1;
    for (int k = 1; k < 16; k++) {
        unsigned code = zs_code(control, k);
        const ZsKind* kind = &zs_kinds1[code];
        if (k == 3 && kind->n) *at3 = n;
        unpack(zs_value(frame + 4 * k, code, swap, 1), kind, d + n);
        n += kind->n;
    }
    return n;
}

static int frame2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3, int64_t* bound) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    int64_t b = 0;
    *at3 = -1;
    for (int k = 1; k < 16; k++) {
        uint32_t v;
        const ZsKind* kind = zs_kind2(frame + 4 * k, zs_code(control, k), swap, &v);
        if (k == 3 && kind->n) *at3 = n;
        unpack(v, kind, d + n);
        n += kind->n;
        b += kind->bound;
    }
    *bound = b;
    return n;
}

/* Running sums of d[0..m) in 32 bits, continuing from r, written as floats;
 * returns the last sum. */
static int32_t integrate32(const int32_t* d, float* out, int m, int32_t r) {
    __m256i carry = _mm256_set1_epi32(r);
    const __m256i last = _mm256_set1_epi32(7);
    int i = 0;
    for (; i + 8 <= m; i += 8) {
        __m256i x = _mm256_loadu_si256((const __m256i*)(d + i));
        x = _mm256_add_epi32(x, _mm256_slli_si256(x, 4));
        x = _mm256_add_epi32(x, _mm256_slli_si256(x, 8));
        __m256i low = _mm256_shuffle_epi32(x, 0xff);
        x = _mm256_add_epi32(x, _mm256_permute2x128_si256(low, low, 0x08));
        x = _mm256_add_epi32(x, carry);
        _mm256_storeu_ps(out + i, _mm256_cvtepi32_ps(x));
        carry = _mm256_permutevar8x32_epi32(x, last);
    }
    return zs_integrate1(d + i, out + i, m - i, _mm256_cvtsi256_si32(carry));
}

static void place(ZsFrameOut* fo, float* output, int64_t count, int32_t expected, int n, int32_t f, int at3) {
    int64_t room = expected - count;
    fo->out = output + count;
    fo->m = n < room ? n : (int)room;
    fo->anchor_first = count == 0;
    fo->anchor_at = f == 0 ? at3 : -1;
}

int64_t zeva_steim1_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    int32_t r = 0;
    int32_t d[ZS_FRAME_ROOM];
    int32_t f = 0;
    for (; f < frames && count < expected; f++) {
        int at3;
        int n = frame1(input + 64 * f, swap, d, &at3);
        if (n == 0) continue;
        ZsFrameOut fo;
        place(&fo, output, count, expected, n, f, at3);
        if (fo.anchor_first || fo.anchor_at >= 0)
            r = zs_integrate1_anchored(d, &fo, x0, r);
        else
            r = integrate32(d, fo.out, fo.m, r);
        count += n;
    }
    for (; f < frames; f++) count += zs_count1(input + 64 * f, swap);
    return count;
}

int64_t zeva_steim2_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    double running = 0.0;
    int32_t d[ZS_FRAME_ROOM];
    int32_t f = 0;
    for (; f < frames && count < expected; f++) {
        int at3;
        int64_t bound;
        int n = frame2(input + 64 * f, swap, d, &at3, &bound);
        if (n == 0) continue;
        ZsFrameOut fo;
        place(&fo, output, count, expected, n, f, at3);
        if (!fo.anchor_first && fo.anchor_at < 0 && fabs(running) + (double)bound <= 2147483647.0)
            running = (double)integrate32(d, fo.out, fo.m, (int32_t)running);
        else
            running = zs_integrate2(d, &fo, x0, running);
        count += n;
    }
    for (; f < frames; f++) count += zs_count2(input + 64 * f, swap);
    return count;
}

#endif
