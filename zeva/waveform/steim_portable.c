/* The portable decoding path: a frame's differences are first unpacked into
 * an array by table (no branch on the word kind), a batch of frames after
 * another, then integrated in a tight loop (steim_frames.h). Once the
 * expected count is reached, later frames are only counted. */
#include "zeva/waveform/steim_frames.h"
#include "zeva/waveform/steim_paths.h"

/* Unpacks a frame's differences into d; *at3 receives the index of the
 * first difference of word 3, or -1 when that word holds none. */
static int frame1(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    *at3 = -1;
#pragma GCC unroll 15
    for (int k = 1; k < 16; k++) {
        unsigned code = zs_code(control, k);
        const ZsKind* kind = &zs_kinds1[code];
        uint32_t v = zs_value(frame + 4 * k, code, swap, 1);
        if (k == 3 && kind->n) *at3 = n;
        int s = kind->sar[0];
#pragma GCC unroll 4
        for (int i = 0; i < 4; i++) d[n + i] = (int32_t)(v * kind->mul[i]) >> s;
        n += kind->n;
    }
    return n;
}

/* A Steim-2 word's kind is code * 4 + the top two bits of its value for
 * every code: the table repeats codes 0 and 1 over all four sub-codes, so
 * no test of the code is needed. A 30-bit word (the only kind with one
 * difference) is bounded far better by its own difference than by 2^29. */
#define ZS_KIND2_INDEX(code, v) ((code) * 4 + ((v) >> 30))

#if defined(__SSE2__)
/* SSE2 has no per-lane shifts, so the left shifts are multiplications by
 * 1 << shl: pmuludq multiplies lanes 0 and 2, and the multipliers stand in
 * those lanes, two output fields per 16 bytes, so that one shuffle joins
 * two products into four fields. The right shift is the same for all the
 * fields of a word. */
#define ZS_M2(a, b) (1u << (a)), 0u, (1u << (b)), 0u
#define ZS_SSE_KIND(a, b, c, d, e, f, g) \
    {                                     \
        { ZS_M2(a, b), ZS_M2(c, d), ZS_M2(e, f), ZS_M2(g, 0) } \
    }
typedef struct {
    _Alignas(16) uint32_t mul[16];
} ZsSseKind;
#define ZS_SSE_NONE ZS_SSE_KIND(0, 0, 0, 0, 0, 0, 0)
#define ZS_SSE_BYTES ZS_SSE_KIND(0, 8, 16, 24, 0, 0, 0)
/* The fields of zs_kinds2, entry for entry. */
static const ZsSseKind zs_sse_kinds2[16] = {
    ZS_SSE_NONE, ZS_SSE_NONE, ZS_SSE_NONE, ZS_SSE_NONE,
    ZS_SSE_BYTES, ZS_SSE_BYTES, ZS_SSE_BYTES, ZS_SSE_BYTES,
    ZS_SSE_NONE,
    ZS_SSE_KIND(2, 0, 0, 0, 0, 0, 0),
    ZS_SSE_KIND(2, 17, 0, 0, 0, 0, 0),
    ZS_SSE_KIND(2, 12, 22, 0, 0, 0, 0),
    ZS_SSE_KIND(2, 8, 14, 20, 26, 0, 0),
    ZS_SSE_KIND(2, 7, 12, 17, 22, 27, 0),
    ZS_SSE_KIND(4, 8, 12, 16, 20, 24, 28),
    ZS_SSE_NONE,
};

static inline __m128i zs_sse_fields(__m128i v, const uint32_t* mul, __m128i sar) {
    __m128 lo = _mm_castsi128_ps(_mm_mul_epu32(v, _mm_load_si128((const __m128i*)mul)));
    __m128 hi = _mm_castsi128_ps(_mm_mul_epu32(v, _mm_load_si128((const __m128i*)(mul + 4))));
    return _mm_sra_epi32(_mm_castps_si128(_mm_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0))), sar);
}
#endif

static inline __attribute__((always_inline)) int frame2_with(const unsigned char* frame, int8_t swap, int32_t* d,
                                                             int* at3, int64_t* bound) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    int64_t b = 0;
    *at3 = -1;
#pragma GCC unroll 15
    for (int k = 1; k < 16; k++) {
        unsigned code = zs_code(control, k);
        uint32_t v = zs_value(frame + 4 * k, code, swap, 0);
        unsigned index = ZS_KIND2_INDEX(code, v);
        const ZsKind* kind = &zs_kinds2[index];
        if (k == 3 && kind->n) *at3 = n;
#if defined(__SSE2__)
        __m128i value = _mm_set1_epi32((int32_t)v);
        __m128i sar = _mm_cvtsi32_si128(kind->sar[0]);
        const uint32_t* mul = zs_sse_kinds2[index].mul;
        _mm_storeu_si128((__m128i*)(d + n), zs_sse_fields(value, mul, sar));
        _mm_storeu_si128((__m128i*)(d + n + 4), zs_sse_fields(value, mul + 8, sar));
#else
        int s = kind->sar[0];
#pragma GCC unroll 7
        for (int i = 0; i < 7; i++) d[n + i] = (int32_t)(v * kind->mul[i]) >> s;
#endif
        int32_t first = (int32_t)(v << 2) >> 2;
        b += kind->n == 1 ? (first < 0 ? -(int64_t)first : first) : kind->bound;
        n += kind->n;
    }
    *bound = b;
    return n;
}

/* The usual case, words stored in the other byte order, gets its own copy
 * in which the byte-order choices fold away. */
static int frame2_swapped(const unsigned char* frame, int32_t* d, int* at3, int64_t* bound) {
    return frame2_with(frame, 1, d, at3, bound);
}

static int frame2_unswapped(const unsigned char* frame, int32_t* d, int* at3, int64_t* bound) {
    return frame2_with(frame, 0, d, at3, bound);
}

static inline int frame2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3, int64_t* bound) {
    return swap == 1 ? frame2_swapped(frame, d, at3, bound) : frame2_unswapped(frame, d, at3, bound);
}

int64_t zeva_steim1_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected) {
    return zs_decode1_batched(input, length, swap, output, expected, frame1, zs_integrate32);
}

int64_t zeva_steim2_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected) {
    return zs_decode2_batched(input, length, swap, output, expected, frame2, zs_integrate32);
}

int zeva_steim1_frame_differences(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    return frame1(frame, swap, d, at3);
}

int zeva_steim2_frame_differences(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    int64_t bound;
    return frame2(frame, swap, d, at3, &bound);
}
