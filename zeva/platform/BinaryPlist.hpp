// Read access to a binary property list ("bplist00") in place, without
// building a tree: objects are addressed by their index in the file's object
// table and read straight from the bytes. A value that the file refers to
// many times is read where it lies, never copied per reference, so a small
// file cannot stand for a huge tree. Every access is bounds-checked; a
// malformed object reads as Type::Invalid.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zeva {

class BinaryPlist {
public:
    enum class Type : uint8_t { Invalid, Null, Bool, Int, Real, Date, Data, String, Uid, Array, Set, Dict };

    // One object: its type and where its payload lies. `count` is the byte
    // count of data, the character count of a text (`wide`: UTF-16), the
    // element count of an array or set and the pair count of a dictionary.
    struct Value {
        Type type = Type::Invalid;
        bool wide = false;
        bool flag = false;        // a bool's value
        uint8_t width = 0;        // bytes of an integer, real, date or UID
        uint64_t count = 0;
        const uint8_t* payload = nullptr;
    };

    // True when the bytes start with the binary header (any version "bplist0?").
    static bool isBinary(const uint8_t* bytes, size_t length);

    // Checks the header, trailer and offset table. False with a one-line
    // reason when they are not sound. The bytes must outlive this reader.
    bool open(const uint8_t* bytes, size_t length, std::string* error);

    uint64_t objectCount() const { return count_; }
    uint64_t topObject() const { return top_; }

    // The object at an index of the object table (Invalid outside it).
    Value object(uint64_t index) const;
    // The i-th object reference of an array or set; of a dictionary, keys
    // are 0..count-1 and values count..2*count-1. UINT64_MAX when out of range.
    uint64_t reference(const Value& container, uint64_t i) const;

    // Values of scalars (zero or empty for another type). Integers of 16
    // bytes keep their low 64 bits; a real's or date's value is a double
    // (dates in seconds since 2001-01-01).
    static int64_t integer(const Value& v);
    static uint64_t uid(const Value& v);
    static double real(const Value& v);
    // The text as UTF-8 (UTF-16 converted; lone surrogates become U+FFFD).
    static std::string text(const Value& v);
    // Whether a text equals the given UTF-8 key, without copying ASCII texts.
    static bool textEquals(const Value& v, std::string_view key);

    // The value under a key of a dictionary (Invalid when absent). `hint`
    // names the pair to try first and is advanced past a match, so that keys
    // read in stored order are found at once.
    Value lookup(const Value& dict, std::string_view key, uint64_t* hint = nullptr) const;

private:
    uint64_t offset(uint64_t index) const;

    const uint8_t* bytes_ = nullptr;
    uint64_t objectsEnd_ = 0;  // the offset table starts here
    uint64_t count_ = 0;
    uint64_t top_ = 0;
    uint64_t tableOffset_ = 0;
    unsigned offsetWidth_ = 0;
    unsigned refWidth_ = 0;
};

// Writes a binary property list ("bplist00"). Objects are added bottom-up
// and named by the index each call answers; a container lists indexes of
// objects added before or after it. Texts, integers, reals, booleans and UIDs
// are stored once per distinct value, as Foundation's writer does.
class BinaryPlistWriter {
public:
    using Index = uint64_t;

    Index string(std::string_view utf8);
    Index integer(int64_t value);
    Index real(double value);
    Index boolean(bool value);
    Index uid(uint64_t value);
    Index data(const uint8_t* bytes, size_t length);
    Index array(const std::vector<Index>& items);
    // Keys (texts) and values, pairwise.
    Index dict(const std::vector<std::pair<Index, Index>>& entries);

    // The whole file with `top` as its top object.
    std::vector<uint8_t> finish(Index top);

private:
    enum class Kind : uint8_t { Scalar, Array, Dict };
    struct Entry {
        Kind kind;
        uint64_t begin;  // into scalars_ or refs_
        uint64_t size;   // bytes, or references
    };

    struct TextHash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };

    // Adds the scalar whose bytes were appended to scalars_ from `begin` on.
    Index addScalar(uint64_t begin);
    static void putCount(std::vector<uint8_t>& out, uint8_t type, uint64_t count);

    std::vector<Entry> entries_;
    std::vector<uint8_t> scalars_;
    std::vector<Index> refs_;
    std::unordered_map<std::string, Index, TextHash, std::equal_to<>> strings_;
    std::unordered_map<int64_t, Index> integers_;
    std::unordered_map<uint64_t, Index> reals_;  // by bit pattern
    static constexpr Index kNoIndex = UINT64_MAX;
    std::vector<Index> uids_;  // by value
    std::unordered_map<uint64_t, Index> largeUids_;
    Index booleans_[2] = {UINT64_MAX, UINT64_MAX};
};

}  // namespace zeva
