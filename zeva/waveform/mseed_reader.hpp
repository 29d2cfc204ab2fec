// A small reader of miniSEED (SEED 2) data records: enough of the fixed
// header and of blockette 1000 to find a record's Steim frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zeva::mseed {

struct Record {
    size_t offset = 0;            // of the record in the file
    int32_t length = 0;           // record length in bytes
    std::string source;           // NET.STA.LOC.CHA
    int32_t samples = 0;          // number of samples the header announces
    int encoding = 10;            // SEED data encoding; Steim-1 without blockette 1000
    bool header_big_endian = true;
    bool data_big_endian = true;  // word order of blockette 1000, else the header's
    int32_t data_offset = 0;      // of the first data byte within the record
    const unsigned char* data = nullptr;  // the data section: data_offset to the record's end
    int32_t data_length = 0;
};

// A stretch of the file that is not a readable record.
struct Problem {
    size_t offset = 0;
    std::string message;
};

struct Contents {
    std::vector<Record> records;  // pointing into the bytes given to readRecords
    std::vector<Problem> problems;
};

// Splits the bytes of a file into records. The record length comes from
// blockette 1000; without one it is the distance to the next record header
// (a power of two from 128 to 65536) or to the end of the file. Bytes that
// are not a readable record are reported and skipped up to the next place
// where a record header can start (a multiple of 64 bytes on).
Contents readRecords(const std::vector<unsigned char>& bytes);

// The swap flag the Steim decoders need for a record's frames on this machine.
int8_t steimSwapFlag(const Record& record);

}  // namespace zeva::mseed
