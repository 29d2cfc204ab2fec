/* The AVX2 decoding path, chosen at run time on CPUs that have AVX2 (this
 * file alone is compiled for AVX2). A data word (for Steim-1, a pair of
 * words, whose kinds are worked out for the whole frame at once; for
 * Steim-2, one word, its kind from scalar arithmetic and its value
 * broadcast from memory) is spread over eight lanes, and one variable
 * left shift plus one arithmetic right shift, both from a table entry, yield
 * all of its differences at once; the integration is an eight-lane prefix
 * sum over a batch of frames (steim_frames.h). Results equal the other
 * paths' bit for bit: Steim-1 wraps in 32 bits in all of them, and Steim-2
 * takes the 32-bit prefix sum only where the running value plus a bound on
 * the differences stays inside 32 bits, and otherwise the shared exact
 * integration. */
#include "zeva/waveform/steim_paths.h"

#ifdef ZEVA_STEIM_HAVE_AVX2_PATH

#include <immintrin.h>

#include "zeva/waveform/steim_frames.h"

/* A Steim-1 frame's sixteen words, their kinds and difference counts,
 * worked out for all words at once; word 0 (the control word) gets kind
 * 0. */
typedef struct {
    int32_t kind[16];
    uint32_t value[16];
    int32_t count[16];
} Words;

static inline void load_words1(const unsigned char* frame, int8_t swap, Words* w) {
    const __m256i bswap = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2, 1, 0, 7, 6, 5,
                                           4, 11, 10, 9, 8, 15, 14, 13, 12);
    /* Differences per kind, as a byte table for a byte shuffle. */
    const __m256i counts1 = _mm256_setr_epi8(0, 4, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 2, 1, 0, 0, 0, 0,
                                             0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i one = _mm256_set1_epi32(1), two = _mm256_set1_epi32(2), three = _mm256_set1_epi32(3);
    __m256i raw[2] = {_mm256_loadu_si256((const __m256i*)frame), _mm256_loadu_si256((const __m256i*)(frame + 32))};
    /* This path runs on little-endian x86 only: bytes in address order are
     * the byte-reversed word. */
    __m256i be[2] = {_mm256_shuffle_epi8(raw[0], bswap), _mm256_shuffle_epi8(raw[1], bswap)};
    __m256i x[2] = {swap == 1 ? be[0] : raw[0], swap == 1 ? be[1] : raw[1]};
    __m256i control = _mm256_set1_epi32(_mm256_cvtsi256_si32(x[0]));
    __m256i code[2] = {
        _mm256_and_si256(_mm256_srlv_epi32(control, _mm256_setr_epi32(30, 28, 26, 24, 22, 20, 18, 16)), three),
        _mm256_and_si256(_mm256_srlv_epi32(control, _mm256_setr_epi32(14, 12, 10, 8, 6, 4, 2, 0)), three)};
    code[0] = _mm256_and_si256(code[0], _mm256_setr_epi32(0, -1, -1, -1, -1, -1, -1, -1));
    for (int h = 0; h < 2; h++) {
        __m256i is1 = _mm256_cmpeq_epi32(code[h], one);
        __m256i halves = swap == 1 ? x[h] : _mm256_or_si256(_mm256_slli_epi32(x[h], 16), _mm256_srli_epi32(x[h], 16));
        __m256i value = _mm256_blendv_epi8(x[h], halves, _mm256_cmpeq_epi32(code[h], two));
        _mm256_storeu_si256((__m256i*)(w->count + 8 * h), _mm256_shuffle_epi8(counts1, code[h]));
        value = _mm256_blendv_epi8(value, be[h], is1);
        _mm256_storeu_si256((__m256i*)(w->kind + 8 * h), code[h]);
        _mm256_storeu_si256((__m256i*)(w->value + 8 * h), value);
    }
}

/* Steim-1 words hold at most four differences, so two neighbouring words
 * fill the eight lanes together: one table entry per pair of kinds says,
 * lane by lane, which of the two words to take and how to shift it, with
 * the second word's differences right after the first's. */
typedef struct {
    int32_t word[8]; /* 0: the first word of the pair, 1: the second */
    int32_t shl[8];
    int32_t sar[8];
    int32_t n;
    int32_t pad[7];
} ZsPair;

#define ZS_N1(k) ((k) == 1 ? 4 : (k) == 2 ? 2 : (k) == 3 ? 1 : 0)
#define ZS_SHL1(k, i) ((k) == 1 ? 8 * (i) : (k) == 2 ? 16 * (i) : 0)
#define ZS_SAR1(k) ((k) == 1 ? 24 : (k) == 2 ? 16 : 0)
#define ZS_LANES(f, a, b) f(a, b, 0), f(a, b, 1), f(a, b, 2), f(a, b, 3), f(a, b, 4), f(a, b, 5), f(a, b, 6), f(a, b, 7)
#define ZS_WORD(a, b, j) ((j) < ZS_N1(a) ? 0 : 1)
#define ZS_SHL(a, b, j) ((j) < ZS_N1(a) ? ZS_SHL1(a, j) : ZS_SHL1(b, (j)-ZS_N1(a)))
#define ZS_SAR(a, b, j) ((j) < ZS_N1(a) ? ZS_SAR1(a) : ZS_SAR1(b))
#define ZS_PAIR(a, b) \
    { {ZS_LANES(ZS_WORD, a, b)}, {ZS_LANES(ZS_SHL, a, b)}, {ZS_LANES(ZS_SAR, a, b)}, ZS_N1(a) + ZS_N1(b), {0} }
#define ZS_PAIRS(a) ZS_PAIR(a, 0), ZS_PAIR(a, 1), ZS_PAIR(a, 2), ZS_PAIR(a, 3)

static const ZsPair zs_pairs1[16] = {ZS_PAIRS(0), ZS_PAIRS(1), ZS_PAIRS(2), ZS_PAIRS(3)};
_Static_assert(sizeof(ZsPair) == 128, "pair entries are found by shifting");

static inline int unpack_pair(__m256i values, int lane, int32_t offset, int32_t* d) {
    const ZsPair* p = (const ZsPair*)((const char*)zs_pairs1 + offset);
    __m256i from = _mm256_add_epi32(_mm256_loadu_si256((const __m256i*)p->word), _mm256_set1_epi32(lane));
    __m256i x = _mm256_permutevar8x32_epi32(values, from);
    x = _mm256_srav_epi32(_mm256_sllv_epi32(x, _mm256_loadu_si256((const __m256i*)p->shl)),
                          _mm256_loadu_si256((const __m256i*)p->sar));
    _mm256_storeu_si256((__m256i*)d, x);
    return p->n;
}

static int frame1(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    Words w;
    load_words1(frame, swap, &w);
    /* Pairs (1,2) (3,4) (5,6) and word 7 alone in the first eight words,
     * (8,9) ... (14,15) in the second. */
    const __m256i next_lane = _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0);
    __m256i k0 = _mm256_loadu_si256((const __m256i*)w.kind);
    __m256i k1 = _mm256_loadu_si256((const __m256i*)(w.kind + 8));
    __m256i partner0 = _mm256_and_si256(_mm256_permutevar8x32_epi32(k0, next_lane),
                                        _mm256_setr_epi32(-1, -1, -1, -1, -1, -1, -1, 0));
    int32_t offsets[16];
    _mm256_storeu_si256((__m256i*)offsets,
                        _mm256_slli_epi32(_mm256_add_epi32(_mm256_slli_epi32(k0, 2), partner0), 7));
    _mm256_storeu_si256((__m256i*)(offsets + 8),
                        _mm256_slli_epi32(_mm256_add_epi32(_mm256_slli_epi32(k1, 2),
                                                           _mm256_permutevar8x32_epi32(k1, next_lane)),
                                          7));
    __m256i v0 = _mm256_loadu_si256((const __m256i*)w.value);
    __m256i v1 = _mm256_loadu_si256((const __m256i*)(w.value + 8));
    int n = unpack_pair(v0, 1, offsets[1], d);
    *at3 = w.count[3] ? n : -1;
    n += unpack_pair(v0, 3, offsets[3], d + n);
    n += unpack_pair(v0, 5, offsets[5], d + n);
    n += unpack_pair(v0, 7, offsets[7], d + n);
    n += unpack_pair(v1, 0, offsets[8], d + n);
    n += unpack_pair(v1, 2, offsets[10], d + n);
    n += unpack_pair(v1, 4, offsets[12], d + n);
    n += unpack_pair(v1, 6, offsets[14], d + n);
    return n;
}

/* Steim-2 word kinds for the word-at-a-time unpacking: the shifts of the
 * shared table, and where the word's value is found: among the frame's
 * words in the chosen order (offset 0), or, for four 8-bit differences,
 * among the words read big-endian (offset 64), which puts the bytes in
 * address order. */
typedef struct {
    int32_t shl[8];
    int32_t sar[8];
    int32_t n;
    int32_t from;
    int32_t pad[14];
} ZsKind2;
_Static_assert(sizeof(ZsKind2) == 128, "table entries are found by shifting the kind");

#define ZS_K2(n, from, sar, a, b, c, d, e, f, g) \
    { {a, b, c, d, e, f, g, 0}, {sar, sar, sar, sar, sar, sar, sar, sar}, n, from, {0} }
#define ZS_K2_NONE ZS_K2(0, 0, 0, 0, 0, 0, 0, 0, 0, 0)
#define ZS_K2_BYTES ZS_K2(4, 64, 24, 0, 8, 16, 24, 0, 0, 0)
/* By code * 4 + the word's top two bits: codes 0 and 1 have four equal
 * entries, and the reserved kinds hold nothing. */
static const ZsKind2 zs_kinds2_words[16] = {
    ZS_K2_NONE, ZS_K2_NONE, ZS_K2_NONE, ZS_K2_NONE,
    ZS_K2_BYTES, ZS_K2_BYTES, ZS_K2_BYTES, ZS_K2_BYTES,
    ZS_K2_NONE,
    ZS_K2(1, 0, 2, 2, 0, 0, 0, 0, 0, 0),
    ZS_K2(2, 0, 17, 2, 17, 0, 0, 0, 0, 0),
    ZS_K2(3, 0, 22, 2, 12, 22, 0, 0, 0, 0),
    ZS_K2(5, 0, 26, 2, 8, 14, 20, 26, 0, 0),
    ZS_K2(6, 0, 27, 2, 7, 12, 17, 22, 27, 0),
    ZS_K2(7, 0, 28, 4, 8, 12, 16, 20, 24, 28),
    ZS_K2_NONE,
};

/* Word by word. The frame's words are put in the chosen order (and read
 * big-endian) by one byte shuffle per half frame and stored; each word's
 * value then reaches all eight lanes by a broadcast load, which takes no
 * shuffle unit, and its kind comes from a few scalar operations on the
 * word, so that nothing in the loop needs a lane shuffle. *bound receives
 * a limit on the sum of the magnitudes of the frame's differences: the
 * difference itself for a 30-bit word, and 2^15 for any other word (a pair
 * of 15-bit differences is the widest of those). */
static inline __attribute__((always_inline)) int frame2_with(const unsigned char* frame, int swap, int32_t* d, int* at3,
                                                             int64_t* bound) {
    const __m256i bswap = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2, 1, 0, 7, 6, 5,
                                           4, 11, 10, 9, 8, 15, 14, 13, 12);
    _Alignas(32) uint32_t words[32]; /* 0..15: in the chosen order; 16..31: big-endian, when that differs */
    __m256i raw[2] = {_mm256_loadu_si256((const __m256i*)frame), _mm256_loadu_si256((const __m256i*)(frame + 32))};
    __m256i be[2] = {_mm256_shuffle_epi8(raw[0], bswap), _mm256_shuffle_epi8(raw[1], bswap)};
    __m256i x[2] = {swap ? be[0] : raw[0], swap ? be[1] : raw[1]};
    _mm256_store_si256((__m256i*)words, x[0]);
    _mm256_store_si256((__m256i*)(words + 8), x[1]);
    if (!swap) {
        _mm256_store_si256((__m256i*)(words + 16), be[0]);
        _mm256_store_si256((__m256i*)(words + 24), be[1]);
    }

    uint32_t control;
    memcpy(&control, frame, 4);
    if (swap) control = __builtin_bswap32(control);
    /* Words of code 2 and sub-code 1 (one 30-bit difference): the code
     * moved to each word's top, the sub-code below it. Word 0 has none. */
    __m256i ctl = _mm256_set1_epi32((int32_t)control);
    __m256i top[2] = {_mm256_sllv_epi32(ctl, _mm256_setr_epi32(32, 2, 4, 6, 8, 10, 12, 14)),
                      _mm256_sllv_epi32(ctl, _mm256_setr_epi32(16, 18, 20, 22, 24, 26, 28, 30))};
    const __m256i high2 = _mm256_set1_epi32((int32_t)0xc0000000u);
    __m256i bounds = _mm256_setzero_si256();
    for (int h = 0; h < 2; h++) {
        __m256i key = _mm256_or_si256(_mm256_and_si256(top[h], high2), _mm256_srli_epi32(_mm256_and_si256(x[h], high2), 2));
        __m256i is30 = _mm256_cmpeq_epi32(key, _mm256_set1_epi32((int32_t)0x90000000u));
        __m256i single = _mm256_abs_epi32(_mm256_srai_epi32(_mm256_slli_epi32(x[h], 2), 2));
        bounds = _mm256_add_epi32(bounds, _mm256_blendv_epi8(_mm256_set1_epi32(32768), single, is30));
    }
    /* Each lane holds at most 2^30 here: sum them in 64 bits. */
    __m256i wide = _mm256_add_epi64(_mm256_cvtepu32_epi64(_mm256_castsi256_si128(bounds)),
                                    _mm256_cvtepu32_epi64(_mm256_extracti128_si256(bounds, 1)));
    __m128i half = _mm_add_epi64(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
    *bound = _mm_cvtsi128_si64(half) + _mm_extract_epi64(half, 1);

    int n = 0;
    *at3 = -1;
#pragma GCC unroll 15
    for (int k = 1; k < 16; k++) {
        uint32_t xk;
        memcpy(&xk, frame + 4 * k, 4);
        if (swap) xk = __builtin_bswap32(xk);
        uint32_t index = ((control >> (30 - 2 * k)) & 3u) << 2 | xk >> 30;
        const ZsKind2* kind = (const ZsKind2*)((const char*)zs_kinds2_words + (index << 7));
        /* A float broadcast is a plain load of the word into every lane.
         * Swapped words read big-endian already, so their bytes stand in
         * address order for every kind and the table's offset is not
         * needed. */
        __m256i v = _mm256_castps_si256(
            _mm256_broadcast_ss((const float*)((const char*)words + (swap ? 0 : kind->from) + 4 * k)));
        v = _mm256_srav_epi32(_mm256_sllv_epi32(v, _mm256_loadu_si256((const __m256i*)kind->shl)),
                              _mm256_loadu_si256((const __m256i*)kind->sar));
        _mm256_storeu_si256((__m256i*)(d + n), v);
        if (k == 3 && kind->n) *at3 = n;
        n += kind->n;
    }
    return n;
}

static int frame2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3, int64_t* bound) {
    return swap == 1 ? frame2_with(frame, 1, d, at3, bound) : frame2_with(frame, 0, d, at3, bound);
}

/* Running sums within each group of eight lanes. */
static inline __m256i prefix8(__m256i x) {
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 4));
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 8));
    __m256i low = _mm256_shuffle_epi32(x, 0xff);
    return _mm256_add_epi32(x, _mm256_permute2x128_si256(low, low, 0x08));
}

/* Running sums of d[0..m) in 32 bits, continuing from r, written as floats;
 * returns the last sum. The carry into the next group of eight is the
 * carry plus this group's total, so the chain from group to group is a
 * single addition. The last, partial group is written under a mask; d has
 * room (and defined values) for the lanes past m. */
static inline int32_t integrate32(const int32_t* d, float* out, int m, int32_t r) {
    __m256i carry = _mm256_set1_epi32(r);
    const __m256i last = _mm256_set1_epi32(7);
    int i = 0;
    for (; i + 8 <= m; i += 8) {
        __m256i x = prefix8(_mm256_loadu_si256((const __m256i*)(d + i)));
        __m256i total = _mm256_permutevar8x32_epi32(x, last);
        _mm256_storeu_ps(out + i, _mm256_cvtepi32_ps(_mm256_add_epi32(x, carry)));
        carry = _mm256_add_epi32(carry, total);
    }
    if (i == m) return _mm256_cvtsi256_si32(carry);
    __m256i x = _mm256_add_epi32(prefix8(_mm256_loadu_si256((const __m256i*)(d + i))), carry);
    __m256i mask = _mm256_cmpgt_epi32(_mm256_set1_epi32(m - i), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    _mm256_maskstore_ps(out + i, mask, _mm256_cvtepi32_ps(x));
    return _mm256_cvtsi256_si32(_mm256_permutevar8x32_epi32(x, _mm256_set1_epi32(m - i - 1)));
}

int zeva_steim1_frame_differences_avx2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    return frame1(frame, swap, d, at3);
}

int zeva_steim2_frame_differences_avx2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3) {
    int64_t bound;
    return frame2(frame, swap, d, at3, &bound);
}

int64_t zeva_steim1_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    return zs_decode1_batched(input, length, swap, output, expected, frame1, integrate32);
}

int64_t zeva_steim2_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    return zs_decode2_batched(input, length, swap, output, expected, frame2, integrate32);
}

#endif
