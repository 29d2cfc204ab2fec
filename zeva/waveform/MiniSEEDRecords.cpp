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

// Bytes a blockette of the given type takes, its 4-byte type and link
// included, as libmseed copies it; 4 for types it does not copy.
int blocketteLength(unsigned type) {
    switch (type) {
    case 100: return 12;
    case 200: return 52;
    case 201: case 300: case 310: return 60;
    case 320: return 64;
    case 390: return 28;
    case 395: case 400: return 16;
    case 405: return 6;
    case 500: return 200;
    case 1000: case 1001: return 8;
    case 2000: return 16;  // at least; its own length field says how much more
    default: return 4;
    }
}

// libmseed 2.19 follows a record's blockette chain and copies each blockette
// it knows without checking that it lies inside the record: a chain that
// points near the end makes it read past the bytes it was given. So the
// chain is checked here, before libmseed sees the record, rather than
// handing libmseed a padded copy of every record: every blockette must lie
// wholly inside the record and each link must lead forward. The header's
// byte order is chosen as libmseed chooses it: the machine's order when the
// start's year (1900-2100) and day (1-366) read right in it, else the other.
// Empty when the chain fits; otherwise what is wrong.
std::string blocketteChainProblem(const unsigned char* record, int length) {
    const bool native = std::endian::native == std::endian::little;
    auto read16 = [&](int at, bool little) {
        return little ? unsigned(record[at] | record[at + 1] << 8) : unsigned(record[at] << 8 | record[at + 1]);
    };
    auto valid = [&](bool little) {
        const unsigned year = read16(20, little), day = read16(22, little);
        return year >= 1900 && year <= 2100 && day >= 1 && day <= 366;
    };
    const bool little = valid(native) ? native : !native;
    unsigned at = read16(46, little);
    while (at != 0 && at < static_cast<unsigned>(length)) {
        if (at + 4 > static_cast<unsigned>(length))
            return fmt::format("a blockette at byte {} runs past the record of {} bytes", at, length);
        const unsigned type = read16(static_cast<int>(at), little), next = read16(static_cast<int>(at) + 2, little);
        unsigned size = static_cast<unsigned>(blocketteLength(type));
        if (type == 2000) {
            // libmseed copies the length the blockette claims and then reads
            // its fixed fields: a claim shorter than those makes it read past
            // its own copy, so such a blockette is refused.
            if (at + 6 > static_cast<unsigned>(length))
                return fmt::format("blockette 2000 at byte {} runs past the record of {} bytes", at, length);
            const unsigned claimed = read16(static_cast<int>(at) + 4, little);
            if (claimed < size)
                return fmt::format("blockette 2000 at byte {} claims {} bytes, fewer than its fixed {}", at, claimed,
                                   size);
            size = claimed;
        }
        if (at + size > static_cast<unsigned>(length))
            return fmt::format("blockette {} at byte {} ({} bytes) runs past the record of {} bytes", type, at, size,
                               length);
        if (next != 0 && next <= at)
            return fmt::format("the blockette chain leads back from byte {} to {}", at, next);
        at = next;
    }
    return {};
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
        if (std::string chain = blocketteChainProblem(at, reclen); !chain.empty()) {
            problem(offset, 1, "unreadable record header (" + chain + ")");
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
