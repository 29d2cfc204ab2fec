/* Steim-1 and Steim-2 decompression (SEED data encodings 10 and 11) into
 * 32-bit float samples, and in-place byte swapping.
 *
 * The input is a sequence of 64-byte frames; bytes after the last whole
 * frame are ignored. Every 32-bit word (and every 16-bit Steim-1
 * difference) is read in the machine's byte order, or reversed when `swap`
 * is exactly 1. The first sample decoded equals the forward integration
 * constant X0 (bytes 4 to 7).
 *
 * Both decoders write at most `expected` samples to `output` and never read
 * past `length` bytes of `input`, which they leave unchanged. Steim-1 says
 * nothing when it finds more or fewer samples than expected. Steim-2 warns
 * on standard error when the count differs, and pads a short result with
 * zeros up to `expected`. A buffer shorter than 12 bytes has no frame. A
 * negative length or count counts as 0. A null input with a positive length,
 * or a null output with a positive count, makes the call do nothing. */
#ifndef ZEVA_WAVEFORM_STEIM_H
#define ZEVA_WAVEFORM_STEIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void decodeSteimBuffer(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected);
void decodeSteim2Buffer(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected);

/* Reverse the bytes of a 16-bit or 32-bit value in place when `swap` is
 * exactly 1; any other flag leaves the value untouched. */
void swap_2bytes(void* value, int8_t swap);
void swap_4bytes(void* value, int8_t swap);

#ifdef __cplusplus
}
#endif

#endif
