// Decoding of one block of samples in any of the SEED data encodings we
// read: 16- and 32-bit integers (codes 1 and 3), 32- and 64-bit IEEE floats
// (4 and 5), Steim-1 and Steim-2 (10 and 11), in either word order.
//
// Samples come out as doubles, which hold every 32-bit integer, float and
// double exactly, so one decode gives both the 32-bit float a seismogram's
// sample buffer keeps and the exact value beside it. Steim-1 adds in 32-bit
// integers (wrapping), Steim-2 in double precision, as the float decoders of
// steim.h do: the float of each sample is the one they write.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeva::waveform {

// Whether `code` is one of the six encodings above.
bool isDecodable(int code);
// Whether its samples are integers (1, 3, 10, 11).
bool isIntegerEncoding(int code);
// The most samples `length` bytes of the encoding can hold: a Steim frame
// holds at most 105 (seven 4-bit differences in each of 15 words), an
// uncompressed sample its width; an unknown encoding counts one per byte.
size_t capacityOf(int code, size_t length);

// Decodes the block into out[0, asked). Returns the number of samples the
// bytes hold (for Steim, the differences found, which may be more or fewer
// than asked; for the others, length / width), of which at most `asked` are
// written. Reads no byte at or past `length`. Unknown codes decode nothing.
int64_t decodeBlock(int code, const unsigned char* bytes, size_t length, bool little_endian, double* out,
                    size_t asked);

// Steim-1 or Steim-2 (code 10 or 11) straight into 32-bit integers, the
// common case, with no doubles between. *wide is set when a Steim-2 running
// value left the 32-bit range: the integers written are then not the
// samples, and the block must be decoded as doubles. Other codes decode
// nothing.
int64_t decodeSteimCounts(int code, const unsigned char* bytes, size_t length, bool little_endian, int32_t* out,
                          size_t asked, bool* wide);

}  // namespace zeva::waveform
