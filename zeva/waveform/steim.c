/* The public Steim entry points: argument checks, the choice of decoding
 * path, and Steim-2's sample-count warnings. */
#include <inttypes.h>
#include <stdio.h>

#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

void swap_2bytes(void* value, int8_t swap) {
    if (swap != 1 || !value) return;
    unsigned char* b = (unsigned char*)value;
    unsigned char t = b[0];
    b[0] = b[1];
    b[1] = t;
}

void swap_4bytes(void* value, int8_t swap) {
    if (swap != 1 || !value) return;
    unsigned char* b = (unsigned char*)value;
    unsigned char t = b[0];
    b[0] = b[3];
    b[3] = t;
    t = b[1];
    b[1] = b[2];
    b[2] = t;
}

int zeva_steim_cpu_has_avx2(void) {
#if defined(ZEVA_STEIM_HAVE_AVX2_PATH) && (defined(__GNUC__) || defined(__clang__))
    /* Both are cheap reads of what the runtime learnt at start-up (the
     * first call also covers use from other start-up code); no state of
     * our own, so concurrent calls are safe. */
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") ? 1 : 0;
#else
    return 0;
#endif
}

zeva_steim_path zeva_steim1_selected(void) {
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    if (zeva_steim_cpu_has_avx2()) return zeva_steim1_avx2;
#endif
    return zeva_steim1_portable;
}

zeva_steim_path zeva_steim2_selected(void) {
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    if (zeva_steim_cpu_has_avx2()) return zeva_steim2_avx2;
#endif
    return zeva_steim2_portable;
}

void decodeSteimBuffer(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    if ((!input && length > 0) || (!output && expected > 0)) return;
    if (length < 0) length = 0;
    if (expected < 0) expected = 0;
    zeva_steim1_selected()(input, length, swap, output, expected);
}

void decodeSteim2Buffer(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected) {
    if ((!input && length > 0) || (!output && expected > 0)) return;
    if (length < 0) length = 0;
    if (expected < 0) expected = 0;
    int64_t found = zeva_steim2_selected()(input, length, swap, output, expected);
    if (found > expected) {
        fprintf(stderr, "!!! WARNING !!!  Steim Decompression Sample Count Error.");
        fprintf(stderr, "Expected %" PRId32 ", found %" PRId64 " samples... Extra values will be Truncated\n",
                expected, found);
    } else if (found < expected) {
        fprintf(stderr, "!!! WARNING !!!  Steim2 Decompression Sample Count Error at Sample: %" PRId32 "\n",
                expected);
        fprintf(stderr, "Expected %" PRId32 ", found %" PRId64 " samples... Lost values will be Padded with Zeros\n",
                expected, found);
        for (int64_t i = found; i < expected; i++) output[i] = 0.0f;
    }
}
