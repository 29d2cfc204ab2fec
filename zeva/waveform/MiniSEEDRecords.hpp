// The records of a miniSEED (SEED 2) file, found and parsed by libmseed with
// data unpacking off: where each record's data section lies, its encoding,
// word order, sample count, rate, start time and codes. The samples are
// decoded by our own decoders (steim.h), never by libmseed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zeva::miniseed {

struct Record {
    size_t offset = 0;   // of the record in the bytes scanned
    int32_t length = 0;  // record length in bytes
    std::string network, station, location, channel;
    char quality = 'D';  // data quality indicator
    int64_t start = 0;    // first sample, microseconds since 1970 (UTC)
    double rate = 0.0;    // samples per second; 0 for records without samples
    int32_t samples = 0;  // number of samples the header announces
    int encoding = 0;     // SEED data encoding; Steim-1 for records without blockette 1000
    bool little_endian = false;           // word order of the data section
    const unsigned char* data = nullptr;  // the data section, inside the bytes scanned
    int32_t data_length = 0;              // whole 64-byte frames for Steim; all of it otherwise

    bool isSteim() const { return encoding == 10 || encoding == 11; }
    std::string source() const;  // "NET.STA.LOC.CHA"
    // Microseconds from one sample to the next; 0 without a rate.
    double interval() const { return rate > 0 ? 1e6 / rate : 0.0; }
};

// A stretch of bytes that holds no readable record.
struct Problem {
    size_t offset = 0;
    size_t length = 0;
    std::string message;
};

struct Contents {
    std::vector<Record> records;    // in file order, pointing into the bytes scanned
    std::vector<Problem> problems;  // in file order
};

// Splits bytes into records. A record's length comes from blockette 1000 or
// from the next record header; the last record of a file without blockette
// 1000 runs to the end. Bytes that are no readable record (no header, a
// record cut off by the end, a data offset outside the record, a header
// libmseed rejects) are reported and skipped up to the next byte where a
// record header can be read; adjacent skips are one problem, named by its
// first reason. The bytes are only read.
Contents scanRecords(const unsigned char* bytes, size_t length);

// The swap flag the Steim decoders need for a data section in the given word
// order on this machine: 1 exactly when it differs from the machine's order.
int8_t swapFlagFor(bool little_endian);

}  // namespace zeva::miniseed
