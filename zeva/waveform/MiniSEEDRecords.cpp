#include "zeva/waveform/MiniSEEDRecords.hpp"

#include <libmseed.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <mutex>

#include <fmt/core.h>

namespace zeva::miniseed {

namespace {

constexpr int kFixedHeader = 48;     // bytes of the fixed section of a data header

// libmseed's own messages ("Error: msr_unpack(...): ...") are not for
// users: every stretch it rejects is reported by the scanner, in its words,
// with its place in the file. They are dropped rather than printed.
void dropLibraryMessage(char*) {}

// libmseed's parser, owning its record structure.
class Parser {
public:
    Parser() {
        static std::once_flag quiet;
        std::call_once(quiet, [] { ms_loginit(dropLibraryMessage, nullptr, dropLibraryMessage, nullptr); });
    }
    ~Parser() { msr_free(&msr_); }
    // MS_NOERROR or libmseed's error code. libmseed only reads the record.
    int parse(const unsigned char* record, int length) {
        return msr_parse(const_cast<char*>(reinterpret_cast<const char*>(record)), length, &msr_, length, 0, 0);
    }
    const MSRecord& record() const { return *msr_; }

private:
    MSRecord* msr_ = nullptr;
};

// Byte order of a fixed header by its year field (bytes 20-21), for records
// whose data order no blockette gives.
bool headerIsLittleEndian(const unsigned char* record) {
    int big = record[20] << 8 | record[21];
    return !(big >= 1900 && big <= 2500);
}

}  // namespace

std::string Record::source() const { return network + "." + station + "." + location + "." + channel; }

int8_t swapFlagFor(bool little_endian) { return (std::endian::native == std::endian::little) != little_endian; }

Contents scanRecords(const unsigned char* bytes, size_t length) {
    Contents c;
    auto problem = [&](size_t offset, size_t n, std::string message) {
        if (!c.problems.empty()) {
            Problem& last = c.problems.back();
            if (last.offset + last.length == offset) {
                last.length += n;
                return;
            }
        }
        c.problems.push_back({offset, n, std::move(message)});
    };
    Parser parser;
    size_t offset = 0;
    while (offset < length) {
        const size_t left = length - offset;
        const unsigned char* at = bytes + offset;
        const int window = static_cast<int>(std::min<size_t>(left, MAXRECLEN));
        // Byte 6 is the quality indicator of every data record header.
        const bool indicator = left >= static_cast<size_t>(kFixedHeader) &&
                               (at[6] == 'D' || at[6] == 'R' || at[6] == 'Q' || at[6] == 'M');
        int reclen = indicator ? ms_detect(reinterpret_cast<const char*>(at), window) : -1;
        if (reclen < 0) {
            problem(offset, 1, "no miniSEED record header");
            offset += 1;
            continue;
        }
        if (reclen == 0) {
            // A header without blockette 1000 and no header after it: the
            // record runs to the end.
            if (left > static_cast<size_t>(MAXRECLEN)) {
                problem(offset, 1, "a record header without a record length");
                offset += 1;
                continue;
            }
            reclen = static_cast<int>(left);
        }
        if (reclen > MAXRECLEN || static_cast<size_t>(reclen) > left) {
            problem(offset, 1, fmt::format("a record of {} bytes runs past the end ({} bytes left)", reclen, left));
            offset += 1;
            continue;
        }
        if (int r = parser.parse(at, reclen); r != MS_NOERROR) {
            problem(offset, 1, fmt::format("unreadable record header ({})", ms_errorstr(r)));
            offset += 1;
            continue;
        }
        const MSRecord& msr = parser.record();
        const int data_offset = msr.fsdh ? msr.fsdh->data_offset : 0;
        // A record with samples needs data bytes after its header.
        if (data_offset < kFixedHeader || data_offset > reclen || (msr.samplecnt > 0 && data_offset == reclen)) {
            problem(offset, static_cast<size_t>(reclen),
                    fmt::format("data offset {} outside the record of {} bytes", data_offset, reclen));
            offset += static_cast<size_t>(reclen);
            continue;
        }
        Record r;
        r.offset = offset;
        r.length = reclen;
        r.network = msr.network;
        r.station = msr.station;
        r.location = msr.location;
        r.channel = msr.channel;
        r.quality = msr.dataquality;
        r.start = msr.starttime;
        r.rate = msr.samprate > 0 && msr.samplecnt > 0 ? msr.samprate : 0.0;
        r.samples = static_cast<int32_t>(std::clamp<int64_t>(msr.samplecnt, 0, INT32_MAX));
        r.encoding = msr.encoding >= 0 ? msr.encoding : 10;
        r.little_endian = msr.byteorder >= 0 ? msr.byteorder == 0 : headerIsLittleEndian(at);
        r.data = at + data_offset;
        r.data_length = reclen - data_offset;
        if (r.isSteim()) r.data_length -= r.data_length % 64;
        c.records.push_back(std::move(r));
        offset += static_cast<size_t>(reclen);
    }
    return c;
}

}  // namespace zeva::miniseed
