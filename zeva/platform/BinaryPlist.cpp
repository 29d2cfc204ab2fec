#include "zeva/platform/BinaryPlist.hpp"

#include <algorithm>
#include <cstring>

#include "zeva/platform/Text.hpp"

namespace zeva {

namespace {

constexpr size_t kHeaderSize = 8;
constexpr size_t kTrailerSize = 32;

uint64_t bigEndian(const uint8_t* p, unsigned width) {
    // The widths offsets and references come in, read whole.
    switch (width) {
        case 1: return p[0];
        case 2: return uint64_t{p[0]} << 8 | p[1];
        case 4: {
            uint32_t v;
            std::memcpy(&v, p, 4);
            return __builtin_bswap32(v);
        }
        case 8: {
            uint64_t v;
            std::memcpy(&v, p, 8);
            return __builtin_bswap64(v);
        }
        default: {
            uint64_t v = 0;
            for (unsigned i = 0; i < width; ++i) v = (v << 8) | p[i];
            return v;
        }
    }
}

bool isAscii(const char* bytes, size_t length) {
    return std::all_of(bytes, bytes + length, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

bool BinaryPlist::isBinary(const uint8_t* bytes, size_t length) {
    return bytes && length >= 7 && std::memcmp(bytes, "bplist0", 7) == 0;
}

bool BinaryPlist::open(const uint8_t* bytes, size_t length, std::string* error) {
    auto fail = [&](const char* reason) {
        if (error) *error = reason;
        return false;
    };
    if (!isBinary(bytes, length) || length < kHeaderSize || bytes[7] != '0')
        return fail("not a binary property list of version 00");
    if (length < kHeaderSize + kTrailerSize + 1) return fail("the binary property list is truncated");
    const uint8_t* trailer = bytes + length - kTrailerSize;
    offsetWidth_ = trailer[6];
    refWidth_ = trailer[7];
    count_ = bigEndian(trailer + 8, 8);
    top_ = bigEndian(trailer + 16, 8);
    tableOffset_ = bigEndian(trailer + 24, 8);
    const uint64_t tableEnd = length - kTrailerSize;
    if (offsetWidth_ < 1 || offsetWidth_ > 8 || refWidth_ < 1 || refWidth_ > 8)
        return fail("the binary property list has a malformed trailer");
    if (count_ == 0 || top_ >= count_ || tableOffset_ <= kHeaderSize || tableOffset_ > tableEnd ||
        count_ > (tableEnd - tableOffset_) / offsetWidth_)
        return fail("the binary property list's object table lies outside the file");
    bytes_ = bytes;
    objectsEnd_ = tableOffset_;
    return true;
}

uint64_t BinaryPlist::offset(uint64_t index) const {
    return bigEndian(bytes_ + tableOffset_ + index * offsetWidth_, offsetWidth_);
}

BinaryPlist::Value BinaryPlist::object(uint64_t index) const {
    Value v;
    if (!bytes_ || index >= count_) return v;
    const uint64_t at = offset(index);
    if (at < kHeaderSize || at >= objectsEnd_) return v;
    const uint8_t* p = bytes_ + at;
    uint64_t avail = objectsEnd_ - at;  // >= 1
    const uint8_t marker = p[0];
    const unsigned low = marker & 0x0F;
    auto fixed = [&](Type type, unsigned width) {
        if (avail < 1 + uint64_t{width}) return v;
        Value out;
        out.type = type;
        out.width = static_cast<uint8_t>(width);
        out.payload = p + 1;
        return out;
    };
    // The element count of a variable-length object: the marker's low nibble,
    // or an integer object after it when the nibble is 0xF.
    auto counted = [&](Type type, uint64_t elementSize, bool wide) {
        uint64_t header = 1;
        uint64_t n = low;
        if (low == 0x0F) {
            if (avail < 2 || (p[1] & 0xF0) != 0x10 || (p[1] & 0x0F) > 3) return v;
            unsigned width = 1u << (p[1] & 0x0F);
            if (avail < 2 + uint64_t{width}) return v;
            n = bigEndian(p + 2, width);
            header = 2 + width;
        }
        if (n > (avail - header) / elementSize) return v;
        Value out;
        out.type = type;
        out.wide = wide;
        out.count = n;
        out.payload = p + header;
        return out;
    };
    switch (marker >> 4) {
        case 0x0:
            if (low == 0x0) v.type = Type::Null;
            else if (low == 0x8 || low == 0x9) {
                v.type = Type::Bool;
                v.flag = low == 0x9;
            }
            return v;
        case 0x1: return low <= 4 ? fixed(Type::Int, 1u << low) : v;
        case 0x2: return low == 2 || low == 3 ? fixed(Type::Real, 1u << low) : v;
        case 0x3: return low == 3 ? fixed(Type::Date, 8) : v;
        case 0x4: return counted(Type::Data, 1, false);
        case 0x5: return counted(Type::String, 1, false);
        case 0x6: return counted(Type::String, 2, true);
        case 0x8: return low < 8 ? fixed(Type::Uid, low + 1) : v;
        case 0xA: return counted(Type::Array, refWidth_, false);
        case 0xB:
        case 0xC: return counted(Type::Set, refWidth_, false);
        case 0xD: return counted(Type::Dict, 2 * uint64_t{refWidth_}, false);
        default: return v;
    }
}

uint64_t BinaryPlist::reference(const Value& container, uint64_t i) const {
    uint64_t n = container.count;
    switch (container.type) {
        case Type::Array:
        case Type::Set: break;
        case Type::Dict: n *= 2; break;
        default: return UINT64_MAX;
    }
    if (i >= n) return UINT64_MAX;
    return bigEndian(container.payload + i * refWidth_, refWidth_);
}

int64_t BinaryPlist::integer(const Value& v) {
    if (v.type != Type::Int) return 0;
    // Eight bytes and more are signed; the low half of a 16-byte integer
    // carries values past INT64_MAX as their two's complement.
    if (v.width == 16) return static_cast<int64_t>(bigEndian(v.payload + 8, 8));
    return static_cast<int64_t>(bigEndian(v.payload, v.width));
}

uint64_t BinaryPlist::uid(const Value& v) { return v.type == Type::Uid ? bigEndian(v.payload, v.width) : 0; }

double BinaryPlist::real(const Value& v) {
    if (v.type != Type::Real && v.type != Type::Date) return 0;
    if (v.width == 4) {
        uint32_t bits = static_cast<uint32_t>(bigEndian(v.payload, 4));
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }
    uint64_t bits = bigEndian(v.payload, 8);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

std::string BinaryPlist::text(const Value& v) {
    if (v.type != Type::String) return {};
    if (!v.wide) {
        // The one-byte form is ASCII; a byte beyond it reads as its Latin-1
        // character, so that the text is valid UTF-8 and saves back the same.
        const char* bytes = reinterpret_cast<const char*>(v.payload);
        if (isAscii(bytes, v.count)) return std::string(bytes, v.count);
        std::string out;
        out.reserve(2 * v.count);
        for (uint64_t i = 0; i < v.count; ++i) appendUtf8(out, v.payload[i]);
        return out;
    }
    std::string out;
    out.reserve(v.count);
    for (uint64_t i = 0; i < v.count; ++i) {
        uint32_t c = static_cast<uint32_t>(bigEndian(v.payload + 2 * i, 2));
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < v.count) {
            uint32_t next = static_cast<uint32_t>(bigEndian(v.payload + 2 * i + 2, 2));
            if (next >= 0xDC00 && next < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
                ++i;
            } else {
                c = 0xFFFD;
            }
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        appendUtf8(out, c);
    }
    return out;
}

bool BinaryPlist::textEquals(const Value& v, std::string_view key) {
    if (v.type != Type::String) return false;
    // A one-byte text equals an ASCII key byte for byte; any other key is
    // compared with the text read as UTF-8 (one-byte texts beyond ASCII are Latin-1).
    if (v.wide || !isAscii(key.data(), key.size())) return text(v) == key;
    return v.count == key.size() && std::memcmp(v.payload, key.data(), key.size()) == 0;
}

BinaryPlist::Value BinaryPlist::lookup(const Value& dict, std::string_view key, uint64_t* hint) const {
    if (dict.type != Type::Dict || dict.count == 0) return {};
    const uint64_t n = dict.count;
    uint64_t start = hint && *hint < n ? *hint : 0;
    for (uint64_t k = 0; k < n; ++k) {
        uint64_t i = start + k < n ? start + k : start + k - n;
        if (textEquals(object(reference(dict, i)), key)) {
            if (hint) *hint = i + 1;
            return object(reference(dict, n + i));
        }
    }
    return {};
}

}  // namespace zeva

namespace zeva {

namespace {

unsigned widthFor(uint64_t v) {
    if (v <= 0xFF) return 1;
    if (v <= 0xFFFF) return 2;
    if (v <= 0xFFFFFFFF) return 4;
    return 8;
}

void putBigEndian(std::vector<uint8_t>& out, uint64_t v, unsigned width) {
    for (unsigned i = width; i-- > 0;) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

unsigned log2Width(unsigned width) { return width == 1 ? 0 : width == 2 ? 1 : width == 4 ? 2 : 3; }

// The next code point of UTF-8 text; a malformed sequence reads as U+FFFD.
uint32_t nextCodePoint(std::string_view s, size_t& i) {
    const auto b = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
    uint8_t lead = b(i++);
    if (lead < 0x80) return lead;
    int more = lead >= 0xF0 ? (lead < 0xF5 ? 3 : -1) : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : -1;
    if (more < 0 || i + static_cast<size_t>(more) > s.size()) return 0xFFFD;
    uint32_t c = lead & (0x3F >> more);
    for (int k = 0; k < more; ++k) {
        if ((b(i) & 0xC0) != 0x80) return 0xFFFD;
        c = (c << 6) | (b(i++) & 0x3F);
    }
    static const uint32_t least[] = {0, 0x80, 0x800, 0x10000};
    if (c < least[more] || c > 0x10FFFF || (c >= 0xD800 && c < 0xE000)) return 0xFFFD;
    return c;
}

}  // namespace

void BinaryPlistWriter::putCount(std::vector<uint8_t>& out, uint8_t type, uint64_t count) {
    if (count < 15) {
        out.push_back(static_cast<uint8_t>(type << 4 | count));
        return;
    }
    out.push_back(static_cast<uint8_t>(type << 4 | 0x0F));
    unsigned width = widthFor(count);
    out.push_back(static_cast<uint8_t>(0x10 | log2Width(width)));
    putBigEndian(out, count, width);
}

BinaryPlistWriter::Index BinaryPlistWriter::addScalar(uint64_t begin) {
    entries_.push_back({Kind::Scalar, begin, scalars_.size() - begin});
    return entries_.size() - 1;
}

BinaryPlistWriter::Index BinaryPlistWriter::string(std::string_view utf8) {
    if (auto it = strings_.find(utf8); it != strings_.end()) return it->second;
    uint64_t begin = scalars_.size();
    bool ascii = true;
    for (char c : utf8) ascii = ascii && static_cast<uint8_t>(c) < 0x80;
    if (ascii) {
        putCount(scalars_, 0x5, utf8.size());
        scalars_.insert(scalars_.end(), utf8.begin(), utf8.end());
    } else {
        std::vector<uint16_t> units;
        for (size_t i = 0; i < utf8.size();) {
            uint32_t c = nextCodePoint(utf8, i);
            if (c >= 0x10000) {
                units.push_back(static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10)));
                units.push_back(static_cast<uint16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
            } else {
                units.push_back(static_cast<uint16_t>(c));
            }
        }
        putCount(scalars_, 0x6, units.size());
        for (uint16_t u : units) putBigEndian(scalars_, u, 2);
    }
    Index index = addScalar(begin);
    strings_.emplace(std::string(utf8), index);
    return index;
}

BinaryPlistWriter::Index BinaryPlistWriter::integer(int64_t value) {
    auto [it, added] = integers_.try_emplace(value, entries_.size());
    if (!added) return it->second;
    uint64_t begin = scalars_.size();
    // Non-negative values in the fewest of 1, 2 or 4 bytes; the rest signed in 8.
    unsigned width = value < 0 ? 8 : widthFor(static_cast<uint64_t>(value));
    scalars_.push_back(static_cast<uint8_t>(0x10 | log2Width(width)));
    putBigEndian(scalars_, static_cast<uint64_t>(value), width);
    return addScalar(begin);
}

BinaryPlistWriter::Index BinaryPlistWriter::real(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    auto [it, added] = reals_.try_emplace(bits, entries_.size());
    if (!added) return it->second;
    uint64_t begin = scalars_.size();
    scalars_.push_back(0x23);
    putBigEndian(scalars_, bits, 8);
    return addScalar(begin);
}

BinaryPlistWriter::Index BinaryPlistWriter::boolean(bool value) {
    Index& known = booleans_[value ? 1 : 0];
    if (known != UINT64_MAX) return known;
    uint64_t begin = scalars_.size();
    scalars_.push_back(value ? 0x09 : 0x08);
    return known = addScalar(begin);
}

BinaryPlistWriter::Index BinaryPlistWriter::uid(uint64_t value) {
    // An archive's UIDs count up from 0, about as fast as its entries: a
    // table by value, not a hash map (which takes the odd far one).
    if (value < 16 * entries_.size() + (1u << 20)) {
        if (value >= uids_.size()) uids_.resize(std::max<size_t>(value + 1, 2 * uids_.size()), kNoIndex);
        if (uids_[value] != kNoIndex) return uids_[value];
        uids_[value] = entries_.size();
    } else if (auto [it, added] = largeUids_.try_emplace(value, entries_.size()); !added) {
        return it->second;
    }
    uint64_t begin = scalars_.size();
    unsigned width = widthFor(value);
    scalars_.push_back(static_cast<uint8_t>(0x80 | (width - 1)));
    putBigEndian(scalars_, value, width);
    return addScalar(begin);
}

BinaryPlistWriter::Index BinaryPlistWriter::data(const uint8_t* bytes, size_t length) {
    uint64_t begin = scalars_.size();
    putCount(scalars_, 0x4, length);
    if (length) scalars_.insert(scalars_.end(), bytes, bytes + length);
    return addScalar(begin);
}

BinaryPlistWriter::Index BinaryPlistWriter::array(const std::vector<Index>& items) {
    entries_.push_back({Kind::Array, refs_.size(), items.size()});
    refs_.insert(refs_.end(), items.begin(), items.end());
    return entries_.size() - 1;
}

BinaryPlistWriter::Index BinaryPlistWriter::dict(const std::vector<std::pair<Index, Index>>& entries) {
    entries_.push_back({Kind::Dict, refs_.size(), 2 * entries.size()});
    for (const auto& e : entries) refs_.push_back(e.first);
    for (const auto& e : entries) refs_.push_back(e.second);
    return entries_.size() - 1;
}

std::vector<uint8_t> BinaryPlistWriter::finish(Index top) {
    const uint64_t count = entries_.size();
    const unsigned refWidth = widthFor(count ? count - 1 : 0);
    std::vector<uint8_t> out;
    out.reserve(8 + scalars_.size() + refs_.size() * refWidth + count * 6 + 32);
    out.insert(out.end(), {'b', 'p', 'l', 'i', 's', 't', '0', '0'});
    std::vector<uint64_t> offsets(count);
    for (uint64_t i = 0; i < count; ++i) {
        offsets[i] = out.size();
        const Entry& e = entries_[i];
        if (e.kind == Kind::Scalar) {
            out.insert(out.end(), scalars_.begin() + static_cast<ptrdiff_t>(e.begin),
                       scalars_.begin() + static_cast<ptrdiff_t>(e.begin + e.size));
            continue;
        }
        putCount(out, e.kind == Kind::Array ? 0xA : 0xD, e.kind == Kind::Array ? e.size : e.size / 2);
        for (uint64_t k = 0; k < e.size; ++k) putBigEndian(out, refs_[e.begin + k], refWidth);
    }
    const uint64_t tableOffset = out.size();
    const unsigned offsetWidth = widthFor(tableOffset);
    for (uint64_t o : offsets) putBigEndian(out, o, offsetWidth);
    out.insert(out.end(), 6, 0);
    out.push_back(static_cast<uint8_t>(offsetWidth));
    out.push_back(static_cast<uint8_t>(refWidth));
    putBigEndian(out, count, 8);
    putBigEndian(out, top, 8);
    putBigEndian(out, tableOffset, 8);
    return out;
}

}  // namespace zeva
