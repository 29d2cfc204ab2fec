/* The reference decoders: one word at a time, exactly as the format is
 * described, with no shortcuts. The faster paths are tested against these. */
#include <string.h>

#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

/* Copies are swapped, never the caller's bytes. */
static int32_t read32(const unsigned char* p, int8_t swap) {
    int32_t v;
    memcpy(&v, p, 4);
    swap_4bytes(&v, swap);
    return v;
}

static int16_t read16(const unsigned char* p, int8_t swap) {
    int16_t v;
    memcpy(&v, p, 2);
    swap_2bytes(&v, swap);
    return v;
}

/* Running state shared by the steps of one call. `anchor` marks the
 * difference whose sample must equal X0: the first one decoded at all, and
 * the first one of word 3 of frame 0 (where the format puts it). */
typedef struct {
    int32_t x0;
    int64_t count;
    int32_t expected;
    float* output;
} Sink;

static void put1(Sink* s, int32_t* running, int32_t d, int anchor) {
    if (anchor || s->count == 0) *running = (int32_t)((uint32_t)s->x0 - (uint32_t)d);
    int32_t sample = (int32_t)((uint32_t)d + (uint32_t)*running);
    if (s->count < s->expected) s->output[s->count] = (float)sample;
    *running = sample;
    s->count++;
}

static void put2(Sink* s, double* running, int32_t d, int anchor) {
    if (anchor || s->count == 0) *running = (double)(int32_t)((uint32_t)s->x0 - (uint32_t)d);
    double sample = (double)d + *running;
    if (s->count < s->expected) s->output[s->count] = (float)sample;
    *running = sample;
    s->count++;
}

int64_t zeva_steim1_reference(const unsigned char* input, int32_t length, int8_t swap, float* output,
                              int32_t expected) {
    if (length < 12) return 0;
    Sink s = {read32(input + 4, swap), 0, expected, output};
    int32_t running = 0;
    int32_t frames = length / 64;
    for (int32_t f = 0; f < frames; f++) {
        const unsigned char* frame = input + 64 * f;
        uint32_t control = (uint32_t)read32(frame, swap);
        for (int k = 1; k < 16; k++) {
            const unsigned char* word = frame + 4 * k;
            int first = f == 0 && k == 3;
            switch ((control >> (30 - 2 * k)) & 3u) {
            case 1:
                for (int i = 0; i < 4; i++) put1(&s, &running, (int8_t)word[i], first && i == 0);
                break;
            case 2:
                put1(&s, &running, read16(word, swap), first);
                put1(&s, &running, read16(word + 2, swap), 0);
                break;
            case 3:
                put1(&s, &running, read32(word, swap), first);
                break;
            default:
                break;
            }
        }
    }
    return s.count;
}

/* Takes `n` fields of `width` bits from the most significant end of `value`
 * (already shifted past its sub-code), each sign-extended. */
static void fields2(Sink* s, double* running, uint32_t value, int n, int width, int first) {
    for (int i = 0; i < n; i++) {
        put2(s, running, (int32_t)value >> (32 - width), first && i == 0);
        value <<= width;
    }
}

int64_t zeva_steim2_reference(const unsigned char* input, int32_t length, int8_t swap, float* output,
                              int32_t expected) {
    if (length < 12) return 0;
    Sink s = {read32(input + 4, swap), 0, expected, output};
    double running = 0.0;
    int32_t frames = length / 64;
    for (int32_t f = 0; f < frames; f++) {
        const unsigned char* frame = input + 64 * f;
        uint32_t control = (uint32_t)read32(frame, swap);
        for (int k = 1; k < 16; k++) {
            const unsigned char* word = frame + 4 * k;
            int first = f == 0 && k == 3;
            unsigned code = (control >> (30 - 2 * k)) & 3u;
            if (code == 1) {
                for (int i = 0; i < 4; i++) put2(&s, &running, (int8_t)word[i], first && i == 0);
                continue;
            }
            if (code == 0) continue;
            uint32_t value = (uint32_t)read32(word, swap);
            unsigned dnib = value >> 30;
            if (code == 2) {
                switch (dnib) {
                case 1: fields2(&s, &running, value << 2, 1, 30, first); break;
                case 2: fields2(&s, &running, value << 2, 2, 15, first); break;
                case 3: fields2(&s, &running, value << 2, 3, 10, first); break;
                default: break; /* reserved: no samples */
                }
            } else {
                switch (dnib) {
                case 0: fields2(&s, &running, value << 2, 5, 6, first); break;
                case 1: fields2(&s, &running, value << 2, 6, 5, first); break;
                case 2: fields2(&s, &running, value << 4, 7, 4, first); break;
                default: break; /* reserved: no samples */
                }
            }
        }
    }
    return s.count;
}
