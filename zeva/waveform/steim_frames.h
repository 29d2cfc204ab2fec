/* Frame-level building blocks shared by the portable and the AVX2 decoding
 * paths (each compiles its own copy). Not a public header.
 *
 * Every data word is reduced to one 32-bit value whose differences are
 * fields taken from the most significant end: field i is
 * (int32_t)(value << shl[i]) >> sar. Which fields, and how the value is
 * made from the word's bytes, depend only on the word's kind (its 2-bit
 * code, and for Steim-2 codes 2 and 3 its sub-code), so a small table
 * replaces the branches on the kind that real data makes unpredictable. */
#ifndef ZEVA_WAVEFORM_STEIM_FRAMES_H
#define ZEVA_WAVEFORM_STEIM_FRAMES_H

#include <math.h>
#include <stdint.h>
#include <string.h>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define ZS_HOST_LITTLE 0
#else
#define ZS_HOST_LITTLE 1
#endif

/* Room for one frame's differences (at most 15 words x 7) plus the unused
 * lanes a word decoder writes past the last difference. */
#define ZS_FRAME_ROOM 120

typedef struct {
    int32_t shl[8];
    int32_t sar[8];
    uint32_t mul[8]; /* 1 << shl[i]: a left shift as a multiplication */
    int32_t n;       /* differences in the word */
    int32_t bound;   /* largest possible sum of their magnitudes (a 30-bit
                        word is bounded by its own difference instead) */
    int32_t pad[6];  /* 128 bytes: an entry's offset is the kind shifted by 7 */
} ZsKind;

#define ZS_KIND(n, bound, sar, a, b, c, d, e, f, g)                                              \
    {                                                                                            \
        {a, b, c, d, e, f, g, 0}, {sar, sar, sar, sar, sar, sar, sar, sar},                      \
            {1u << a, 1u << b, 1u << c, 1u << d, 1u << e, 1u << f, 1u << g, 1u}, n, bound, {0}  \
    }
#define ZS_NONE ZS_KIND(0, 0, 0, 0, 0, 0, 0, 0, 0, 0)
#define ZS_BYTES ZS_KIND(4, 4 * 128, 24, 0, 8, 16, 24, 0, 0, 0)

/* Steim-1, by code. Code 1: four bytes; 2: two 16-bit halves; 3: the word. */
static const ZsKind zs_kinds1[4] = {
    ZS_NONE,
    ZS_BYTES,
    ZS_KIND(2, 2 * 32768, 16, 0, 16, 0, 0, 0, 0, 0),
    ZS_KIND(1, 0, 0, 0, 0, 0, 0, 0, 0, 0),
};

/* Steim-2, by code * 4 + sub-code. Fields follow the 2-bit sub-code, or
 * 4 bits for seven 4-bit differences; the reserved kinds hold nothing. */
static const ZsKind zs_kinds2[16] = {
    ZS_NONE, ZS_NONE, ZS_NONE, ZS_NONE,
    ZS_BYTES, ZS_BYTES, ZS_BYTES, ZS_BYTES,
    ZS_NONE,
    ZS_KIND(1, 1 << 29, 2, 2, 0, 0, 0, 0, 0, 0),
    ZS_KIND(2, 2 << 14, 17, 2, 17, 0, 0, 0, 0, 0),
    ZS_KIND(3, 3 << 9, 22, 2, 12, 22, 0, 0, 0, 0),
    ZS_KIND(5, 5 << 5, 26, 2, 8, 14, 20, 26, 0, 0),
    ZS_KIND(6, 6 << 4, 27, 2, 7, 12, 17, 22, 27, 0),
    ZS_KIND(7, 7 << 3, 28, 4, 8, 12, 16, 20, 24, 28),
    ZS_NONE,
};

static inline uint32_t zs_bswap32(uint32_t v) {
    return (v >> 24) | ((v >> 8) & 0xff00u) | ((v << 8) & 0xff0000u) | (v << 24);
}

/* The word in the machine's order, reversed when the flag is exactly 1. */
static inline uint32_t zs_read32(const unsigned char* p, int8_t swap) {
    uint32_t v;
    memcpy(&v, p, 4);
    return swap == 1 ? zs_bswap32(v) : v;
}

/* The word's value for its kind. Bytes go in address order, so they are
 * the word read big-endian whatever the flag. Steim-1's halves are each in
 * the word's order but stand in address order: when words are read as
 * little-endian values the halves sit swapped and a rotation restores
 * them. The first field is then always the most significant. */
static inline uint32_t zs_value(const unsigned char* p, unsigned code, int8_t swap, int steim1) {
    uint32_t raw;
    memcpy(&raw, p, 4);
    uint32_t x = swap == 1 ? zs_bswap32(raw) : raw;
    uint32_t bytes = ZS_HOST_LITTLE ? zs_bswap32(raw) : raw;
    int words_little = ZS_HOST_LITTLE != (swap == 1);
    uint32_t halves = words_little ? ((x << 16) | (x >> 16)) : x;
    uint32_t v = code == 1 ? bytes : x;
    if (steim1 && code == 2) v = halves;
    return v;
}

static inline unsigned zs_code(uint32_t control, int k) { return (control >> (30 - 2 * k)) & 3u; }

static inline const ZsKind* zs_kind2(const unsigned char* word, unsigned code, int8_t swap, uint32_t* value) {
    *value = zs_value(word, code, swap, 0);
    return &zs_kinds2[code * 4 + (code >= 2 ? *value >> 30 : 0)];
}

/* Differences in a frame, without decoding them. */
static inline int zs_count1(const unsigned char* frame, int8_t swap) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    for (int k = 1; k < 16; k++) n += zs_kinds1[zs_code(control, k)].n;
    return n;
}

static inline int zs_count2(const unsigned char* frame, int8_t swap) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    for (int k = 1; k < 16; k++) {
        uint32_t value;
        n += zs_kind2(frame + 4 * k, zs_code(control, k), swap, &value)->n;
    }
    return n;
}

/* Where a frame's samples go and which of them restart from X0. */
typedef struct {
    float* out;
    int m;            /* samples to write: the frame's, cut at the expected count */
    int anchor_first; /* the frame's first difference is the call's first */
    int anchor_at;    /* index of the first difference of word 3 of frame 0, or -1 */
} ZsFrameOut;

/* Integration with the restarts at X0; used for the few frames that have
 * one. Steim-1 wraps in 32 bits. */
static inline int32_t zs_integrate1_anchored(const int32_t* d, const ZsFrameOut* fo, int32_t x0, int32_t r) {
    for (int i = 0; i < fo->m; i++) {
        if ((i == 0 && fo->anchor_first) || i == fo->anchor_at) r = (int32_t)((uint32_t)x0 - (uint32_t)d[i]);
        r = (int32_t)((uint32_t)r + (uint32_t)d[i]);
        fo->out[i] = (float)r;
    }
    return r;
}

static inline int32_t zs_integrate1(const int32_t* d, float* out, int m, int32_t r) {
    uint32_t u = (uint32_t)r;
    for (int i = 0; i < m; i++) {
        u += (uint32_t)d[i];
        out[i] = (float)(int32_t)u;
    }
    return (int32_t)u;
}

/* Running 32-bit sums of d[0..m) from r, written as floats; the last sum is
 * returned. SSE2 belongs to every x86-64 CPU, so the portable path uses it
 * there: a four-lane prefix sum and one conversion for four samples. */
#if defined(__SSE2__)
#include <emmintrin.h>
static inline int32_t zs_integrate32(const int32_t* d, float* out, int m, int32_t r) {
    __m128i carry = _mm_set1_epi32(r);
    int i = 0;
    for (; i + 4 <= m; i += 4) {
        __m128i x = _mm_loadu_si128((const __m128i*)(d + i));
        x = _mm_add_epi32(x, _mm_slli_si128(x, 4));
        x = _mm_add_epi32(x, _mm_slli_si128(x, 8));
        /* The next carry adds this group's total, which does not wait for
         * the carry: the chain from group to group is one addition. */
        _mm_storeu_ps(out + i, _mm_cvtepi32_ps(_mm_add_epi32(x, carry)));
        carry = _mm_add_epi32(carry, _mm_shuffle_epi32(x, 0xff));
    }
    return zs_integrate1(d + i, out + i, m - i, _mm_cvtsi128_si32(carry));
}
#else
static inline int32_t zs_integrate32(const int32_t* d, float* out, int m, int32_t r) {
    return zs_integrate1(d, out, m, r);
}
#endif

/* Steim-2 keeps its running value in double precision. While it stays well
 * inside +-2^53, every partial sum of a frame (at most 105 differences of at
 * most 2^29 each, so under 2^36) is an integer a double holds exactly, and
 * 64-bit integer arithmetic gives the same values without the latency of
 * floating-point additions; a float from an exact integer rounds the same
 * as a float from the equal double. */
#define ZS_EXACT_LIMIT 9007061818540032.0 /* 2^53 - 2^37 */

static inline double zs_integrate2(const int32_t* d, const ZsFrameOut* fo, int32_t x0, double running) {
    if (!fo->anchor_first && fo->anchor_at < 0 && fabs(running) <= ZS_EXACT_LIMIT) {
        int64_t r = (int64_t)running;
        for (int i = 0; i < fo->m; i++) {
            r += d[i];
            fo->out[i] = (float)r;
        }
        return (double)r;
    }
    if (fabs(running) <= ZS_EXACT_LIMIT) {
        int64_t r = (int64_t)running;
        for (int i = 0; i < fo->m; i++) {
            if ((i == 0 && fo->anchor_first) || i == fo->anchor_at) r = (int32_t)((uint32_t)x0 - (uint32_t)d[i]);
            r += d[i];
            fo->out[i] = (float)r;
        }
        return (double)r;
    }
    for (int i = 0; i < fo->m; i++) {
        if ((i == 0 && fo->anchor_first) || i == fo->anchor_at)
            running = (double)(int32_t)((uint32_t)x0 - (uint32_t)d[i]);
        running += (double)d[i];
        fo->out[i] = (float)running;
    }
    return running;
}

static inline void zs_place(ZsFrameOut* fo, float* output, int64_t count, int32_t expected, int n, int32_t f, int at3) {
    int64_t room = expected - count;
    fo->out = output + count;
    fo->m = n < room ? n : (int)room;
    fo->anchor_first = count == 0;
    fo->anchor_at = f == 0 ? at3 : -1;
}

/* Steim-2 over batches of frames. A batch's frames are unpacked one after
 * another into one array; when the batch holds neither the call's first
 * difference nor frame 0, and the running value plus the sum of the frames'
 * bounds stays inside 32 bits, the whole batch is a single 32-bit running
 * sum, which no sample can leave, so the sums equal the double-precision
 * ones. Otherwise its frames are integrated one by one as by the other
 * paths. `frame` unpacks a frame (writing up to 8 entries past its last
 * difference) and returns its difference count and bound; `integrate` may
 * read up to 7 entries past the m it is given. */
#define ZS_BATCH 16
#define ZS_BATCH_ROOM (ZS_BATCH * 105 + 8)

/* Frame 0 goes alone: it holds the restart at X0 and so takes the
 * frame-by-frame way, which should not hold up the frames after it. */
static inline int zs_batch_size(int32_t f, int32_t frames) {
    int32_t n = f == 0 ? 1 : ZS_BATCH;
    return frames - f < n ? (int)(frames - f) : (int)n;
}

typedef int (*zs_frame2_fn)(const unsigned char* frame, int8_t swap, int32_t* d, int* at3, int64_t* bound);
typedef int32_t (*zs_integrate32_fn)(const int32_t* d, float* out, int m, int32_t r);

static inline __attribute__((always_inline)) int64_t zs_decode2_batched(const unsigned char* input, int32_t length,
                                                                        int8_t swap, float* output, int32_t expected,
                                                                        zs_frame2_fn frame,
                                                                        zs_integrate32_fn integrate) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    double running = 0.0;
    int32_t d[ZS_BATCH_ROOM];
    int32_t f = 0;
    while (f < frames && count < expected) {
        const int nb = zs_batch_size(f, frames);
        int start[ZS_BATCH + 1], at3[ZS_BATCH];
        int64_t bound[ZS_BATCH], total = 0;
        int n = 0;
        for (int j = 0; j < nb; j++) {
            start[j] = n;
            n += frame(input + 64 * (f + j), swap, d + n, &at3[j], &bound[j]);
            total += bound[j];
        }
        start[nb] = n;
        /* Defined values for what the integration reads past the end. */
        memset(d + n, 0, 8 * sizeof(int32_t));
        if (count > 0 && f > 0 && fabs(running) + (double)total <= 2147483647.0) {
            int64_t room = expected - count;
            running = (double)integrate(d, output + count, n < room ? n : (int)room, (int32_t)running);
        } else {
            for (int j = 0; j < nb && count + start[j] < expected; j++) {
                int nj = start[j + 1] - start[j];
                if (nj == 0) continue;
                ZsFrameOut fo;
                zs_place(&fo, output, count + start[j], expected, nj, f + j, at3[0]);
                if (!fo.anchor_first && fo.anchor_at < 0 && fabs(running) + (double)bound[j] <= 2147483647.0)
                    running = (double)integrate(d + start[j], fo.out, fo.m, (int32_t)running);
                else
                    running = zs_integrate2(d + start[j], &fo, x0, running);
            }
        }
        count += n;
        f += nb;
    }
    for (; f < frames; f++) count += zs_count2(input + 64 * f, swap);
    return count;
}

/* Steim-1 over batches of frames in the same way: 32-bit sums wrap alike
 * however they are grouped, so a batch without a restart at X0 is a single
 * running sum. */
typedef int (*zs_frame1_fn)(const unsigned char* frame, int8_t swap, int32_t* d, int* at3);

static inline __attribute__((always_inline)) int64_t zs_decode1_batched(const unsigned char* input, int32_t length,
                                                                        int8_t swap, float* output, int32_t expected,
                                                                        zs_frame1_fn frame,
                                                                        zs_integrate32_fn integrate) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    int32_t r = 0;
    int32_t d[ZS_BATCH_ROOM];
    int32_t f = 0;
    while (f < frames && count < expected) {
        const int nb = zs_batch_size(f, frames);
        int start[ZS_BATCH + 1], at3[ZS_BATCH];
        int n = 0;
        for (int j = 0; j < nb; j++) {
            start[j] = n;
            n += frame(input + 64 * (f + j), swap, d + n, &at3[j]);
        }
        start[nb] = n;
        memset(d + n, 0, 8 * sizeof(int32_t));
        if (count > 0 && f > 0) {
            int64_t room = expected - count;
            r = integrate(d, output + count, n < room ? n : (int)room, r);
        } else {
            for (int j = 0; j < nb && count + start[j] < expected; j++) {
                int nj = start[j + 1] - start[j];
                if (nj == 0) continue;
                ZsFrameOut fo;
                zs_place(&fo, output, count + start[j], expected, nj, f + j, at3[0]);
                if (fo.anchor_first || fo.anchor_at >= 0)
                    r = zs_integrate1_anchored(d + start[j], &fo, x0, r);
                else
                    r = integrate(d + start[j], fo.out, fo.m, r);
            }
        }
        count += n;
        f += nb;
    }
    for (; f < frames; f++) count += zs_count1(input + 64 * f, swap);
    return count;
}

#endif
