/* The portable decoding path: a frame's differences are first unpacked into
 * a small array by table (no branch on the word kind), then integrated in a
 * tight loop. Once the expected count is reached, later frames are only
 * counted. */
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

static int frame2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3, int64_t* bound) {
    uint32_t control = zs_read32(frame, swap);
    int n = 0;
    int64_t b = 0;
    *at3 = -1;
#pragma GCC unroll 15
    for (int k = 1; k < 16; k++) {
        uint32_t v;
        const ZsKind* kind = zs_kind2(frame + 4 * k, zs_code(control, k), swap, &v);
        if (k == 3 && kind->n) *at3 = n;
        int s = kind->sar[0];
#pragma GCC unroll 7
        for (int i = 0; i < 7; i++) d[n + i] = (int32_t)(v * kind->mul[i]) >> s;
        /* A 30-bit word (the only kind with one difference) is bounded far
         * better by its own difference than by 2^29. */
        int64_t first = d[n];
        b += kind->n == 1 ? (first < 0 ? -first : first) : kind->bound;
        n += kind->n;
    }
    *bound = b;
    return n;
}

int64_t zeva_steim1_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    int32_t r = 0;
    ZsUnpacked u[2];
    memset(u, 0, sizeof u);
    ZsUnpacked *cur = &u[0], *next = &u[1];
    int32_t f = 0;
    if (frames > 0 && expected > 0) cur->n = frame1(input, swap, cur->d, &cur->at3);
    for (; f < frames && count < expected; f++, zs_swap_units(&cur, &next)) {
        if (f + 1 < frames) next->n = frame1(input + 64 * (f + 1), swap, next->d, &next->at3);
        if (cur->n == 0) continue;
        ZsFrameOut fo;
        zs_place(&fo, output, count, expected, cur->n, f, cur->at3);
        if (fo.anchor_first || fo.anchor_at >= 0)
            r = zs_integrate1_anchored(cur->d, &fo, x0, r);
        else
            r = zs_integrate32(cur->d, fo.out, fo.m, r);
        count += cur->n;
    }
    for (; f < frames; f++) count += zs_count1(input + 64 * f, swap);
    return count;
}

int64_t zeva_steim2_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected) {
    if (length < 12) return 0;
    const int32_t x0 = (int32_t)zs_read32(input + 4, swap);
    const int32_t frames = length / 64;
    int64_t count = 0;
    double running = 0.0;
    ZsUnpacked u[2];
    memset(u, 0, sizeof u);
    ZsUnpacked *cur = &u[0], *next = &u[1];
    int32_t f = 0;
    if (frames > 0 && expected > 0) cur->n = frame2(input, swap, cur->d, &cur->at3, &cur->bound);
    for (; f < frames && count < expected; f++, zs_swap_units(&cur, &next)) {
        if (f + 1 < frames) next->n = frame2(input + 64 * (f + 1), swap, next->d, &next->at3, &next->bound);
        if (cur->n == 0) continue;
        ZsFrameOut fo;
        zs_place(&fo, output, count, expected, cur->n, f, cur->at3);
        /* Where no sample can leave the 32-bit range, 32-bit sums are exact. */
        if (!fo.anchor_first && fo.anchor_at < 0 && fabs(running) + (double)cur->bound <= 2147483647.0)
            running = (double)zs_integrate32(cur->d, fo.out, fo.m, (int32_t)running);
        else
            running = zs_integrate2(cur->d, &fo, x0, running);
        count += cur->n;
    }
    for (; f < frames; f++) count += zs_count2(input + 64 * f, swap);
    return count;
}
