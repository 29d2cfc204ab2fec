#include "zeva/waveform/mseed_reader.hpp"

#include <bit>

#include <fmt/core.h>

namespace zeva::mseed {

namespace {

constexpr size_t kFixedHeader = 48;
constexpr size_t kStep = 64;  // records start at multiples of this in a file

uint16_t read16(const unsigned char* p, bool big) {
    return big ? static_cast<uint16_t>(p[0] << 8 | p[1]) : static_cast<uint16_t>(p[1] << 8 | p[0]);
}

// The header's byte order is the one under which the start time's year and
// day of the year are plausible.
bool plausibleTime(const unsigned char* h, bool big) {
    uint16_t year = read16(h + 20, big);
    uint16_t day = read16(h + 22, big);
    return year >= 1900 && year <= 2100 && day >= 1 && day <= 366;
}

// Sequence number of digits (or spaces) and a data-quality indicator.
bool looksLikeHeader(const unsigned char* h, size_t available, bool* big) {
    if (available < kFixedHeader) return false;
    for (int i = 0; i < 6; i++)
        if (!((h[i] >= '0' && h[i] <= '9') || h[i] == ' ' || h[i] == 0)) return false;
    if (h[6] != 'D' && h[6] != 'R' && h[6] != 'Q' && h[6] != 'M') return false;
    if (plausibleTime(h, true)) {
        *big = true;
        return true;
    }
    if (plausibleTime(h, false)) {
        *big = false;
        return true;
    }
    return false;
}

std::string field(const unsigned char* p, size_t n) {
    std::string s(reinterpret_cast<const char*>(p), n);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\0')) s.pop_back();
    size_t start = s.find_first_not_of(' ');
    return start == std::string::npos ? std::string() : s.substr(start);
}

// Reads the record at `offset`; on failure returns the reason.
std::string readOne(const std::vector<unsigned char>& bytes, size_t offset, Record& r) {
    const unsigned char* h = bytes.data() + offset;
    size_t available = bytes.size() - offset;
    bool big = true;
    if (!looksLikeHeader(h, available, &big)) return "no miniSEED record header";
    r = Record{};
    r.offset = offset;
    r.header_big_endian = big;
    r.data_big_endian = big;
    r.source = fmt::format("{}.{}.{}.{}", field(h + 18, 2), field(h + 8, 5), field(h + 13, 2), field(h + 15, 3));
    r.samples = read16(h + 30, big);
    r.data_offset = read16(h + 44, big);

    // Blockettes: a chain of (type, offset of the next) from byte 46.
    int length_power = 0;
    size_t next = read16(h + 46, big);
    for (int guard = 0; next != 0 && guard < 64; guard++) {
        if (next < kFixedHeader || next + 4 > available) return fmt::format("blockette at byte {} lies outside the record", next);
        uint16_t type = read16(h + next, big);
        if (type == 1000) {
            if (next + 8 > available) return "blockette 1000 is cut off";
            r.encoding = h[next + 4];
            r.data_big_endian = h[next + 5] == 1;
            length_power = h[next + 6];
        }
        size_t following = read16(h + next + 2, big);
        if (following != 0 && following <= next) break;
        next = following;
    }

    if (length_power) {
        if (length_power < 7 || length_power > 16) return fmt::format("record length 2^{} is not supported", length_power);
        r.length = 1 << length_power;
    } else {
        // The next record header, or the end of the file, closes the record.
        for (int p = 7; p <= 16 && !r.length; p++) {
            size_t end = offset + (size_t{1} << p);
            bool ignored;
            if (end == bytes.size() || (end < bytes.size() && looksLikeHeader(bytes.data() + end, bytes.size() - end, &ignored)))
                r.length = 1 << p;
        }
        if (!r.length) return "no blockette 1000 and no record length found";
    }
    if (static_cast<size_t>(r.length) > available)
        return fmt::format("record of {} bytes runs past the end of the file", r.length);
    if (r.data_offset < static_cast<int32_t>(kFixedHeader) || r.data_offset >= r.length)
        return fmt::format("data offset {} lies outside the record", r.data_offset);
    r.data = h + r.data_offset;
    r.data_length = r.length - r.data_offset;
    return {};
}

}  // namespace

Contents readRecords(const std::vector<unsigned char>& bytes) {
    Contents c;
    size_t offset = 0;
    while (offset < bytes.size()) {
        Record r;
        std::string why = readOne(bytes, offset, r);
        if (why.empty()) {
            c.records.push_back(r);
            offset += static_cast<size_t>(r.length);
            continue;
        }
        c.problems.push_back({offset, why});
        // Skip to the next place a header can start and looks like one.
        size_t resume = offset + kStep;
        bool ignored;
        while (resume < bytes.size() && !looksLikeHeader(bytes.data() + resume, bytes.size() - resume, &ignored))
            resume += kStep;
        offset = resume;
    }
    return c;
}

int8_t steimSwapFlag(const Record& record) {
    bool host_big = std::endian::native == std::endian::big;
    return record.data_big_endian == host_big ? 0 : 1;
}

}  // namespace zeva::mseed
