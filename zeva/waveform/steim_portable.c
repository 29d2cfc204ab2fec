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

static void place(ZsFrameOut* fo, float* output, int64_t count, int32_t expected, int n, int32_t f, int at3) {
    int64_t room = expected - count;
    fo->out = output + count;
    fo->m = n < room ? n : (int)room;
    fo->anchor_first = count == 0;
    fo->anchor_at = f == 0 ? at3 : -1;
}

int64_t zeva_steim1_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected) {
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
            r = zs_integrate32(d, fo.out, fo.m, r);
        count += n;
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
    int32_t d[ZS_FRAME_ROOM];
    int32_t f = 0;
    for (; f < frames && count < expected; f++) {
        int at3;
        int64_t bound;
        int n = frame2(input + 64 * f, swap, d, &at3, &bound);
        if (n == 0) continue;
        ZsFrameOut fo;
        place(&fo, output, count, expected, n, f, at3);
        /* Where no sample can leave the 32-bit range, 32-bit sums are exact. */
        if (!fo.anchor_first && fo.anchor_at < 0 && fabs(running) + (double)bound <= 2147483647.0)
            running = (double)zs_integrate32(d, fo.out, fo.m, (int32_t)running);
        else
            running = zs_integrate2(d, &fo, x0, running);
        count += n;
    }
    for (; f < frames; f++) count += zs_count2(input + 64 * f, swap);
    return count;
}
