/* The decoding paths behind decodeSteimBuffer and decodeSteim2Buffer. Not
 * part of the public interface: tests and benchmarks compare the paths.
 *
 * Every path decodes the whole frames of `input` (length >= 0 bytes), writes
 * at most `expected` (>= 0) samples to `output` and returns the number of
 * differences found, counted whether or not they were written. Callers have
 * checked the pointers and signs. Steim-2's count warnings and zero padding
 * are the public function's business, not the paths'.
 *
 * The reference path follows the format word by word and is the definition
 * the other paths are tested against; the portable path is a faster
 * table-driven version in plain C; the AVX2 path needs a CPU with AVX2
 * (zeva_steim_cpu_has_avx2). All produce bit-identical output. */
#ifndef ZEVA_WAVEFORM_STEIM_PATHS_H
#define ZEVA_WAVEFORM_STEIM_PATHS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int64_t (*zeva_steim_path)(const unsigned char* input, int32_t length, int8_t swap, float* output,
                                   int32_t expected);

int64_t zeva_steim1_reference(const unsigned char* input, int32_t length, int8_t swap, float* output,
                              int32_t expected);
int64_t zeva_steim2_reference(const unsigned char* input, int32_t length, int8_t swap, float* output,
                              int32_t expected);

int64_t zeva_steim1_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected);
int64_t zeva_steim2_portable(const unsigned char* input, int32_t length, int8_t swap, float* output,
                             int32_t expected);

/* The differences of one 64-bit frame, in order, unpacked by the portable
 * path's tables into d (room for ZEVA_STEIM_FRAME_ROOM entries); *at3
 * receives the index of the first difference of word 3, or -1 when that word
 * holds none. Returns their number. For decoders that integrate the
 * differences themselves (into integers, say). */
#define ZEVA_STEIM_FRAME_ROOM 128
int zeva_steim1_frame_differences(const unsigned char* frame, int8_t swap, int32_t* d, int* at3);
int zeva_steim2_frame_differences(const unsigned char* frame, int8_t swap, int32_t* d, int* at3);

/* 1 when this build has the AVX2 path and the CPU runs it. */
int zeva_steim_cpu_has_avx2(void);
#if defined(__x86_64__) || defined(__i386__)
#define ZEVA_STEIM_HAVE_AVX2_PATH 1
int64_t zeva_steim1_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected);
int64_t zeva_steim2_avx2(const unsigned char* input, int32_t length, int8_t swap, float* output, int32_t expected);
/* The frame unpacking of the AVX2 path, as zeva_steim*_frame_differences
 * (same differences, same *at3); only where zeva_steim_cpu_has_avx2(). */
int zeva_steim1_frame_differences_avx2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3);
int zeva_steim2_frame_differences_avx2(const unsigned char* frame, int8_t swap, int32_t* d, int* at3);
#endif

/* The paths the public functions use on this machine. */
zeva_steim_path zeva_steim1_selected(void);
zeva_steim_path zeva_steim2_selected(void);

#ifdef __cplusplus
}
#endif

#endif
