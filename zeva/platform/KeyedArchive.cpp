#include "zeva/platform/KeyedArchive.hpp"

#include <cfloat>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <plist/plist.h>

#include "zeva/platform/BinaryPlist.hpp"
#include "zeva/platform/Coder.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Data.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/platform/Files.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

struct ContainerFiller {
    static void fill(Array& array, std::vector<ObjectRef> items) { array.items_ = std::move(items); }
    static void fill(Dictionary& dict, Dictionary::Storage entries) { dict.entries_ = std::move(entries); }
};

namespace {

constexpr uint64_t kArchiveVersion = 100000;
// Keyed archives are flat (objects refer to each other by index), so their
// XML never nests deeply; the XML parser's tree is freed recursively, which
// bounds what may be handed to it.
constexpr int kMaxXmlNesting = 256;

// The kinds of stored object the archive's own layout knows.
enum class Kind : uint8_t {
    Model,
    String,
    MutableString,
    Number,
    Data,
    Date,
    Array,
    MutableArray,
    Dictionary,
    MutableDictionary,
    Unknown,
};

Kind platformKind(std::string_view name) {
    static const std::map<std::string, Kind, std::less<>> kinds{
        {"NSString", Kind::String},          {"NSMutableString", Kind::MutableString},
        {"NSData", Kind::Data},              {"NSMutableData", Kind::Data},
        {"NSDate", Kind::Date},              {"NSArray", Kind::Array},
        {"NSMutableArray", Kind::MutableArray}, {"NSDictionary", Kind::Dictionary},
        {"NSMutableDictionary", Kind::MutableDictionary},
    };
    auto it = kinds.find(name);
    return it == kinds.end() ? Kind::Model : it->second;
}

// ---------------------------------------------------------------- writing

// The number given to each object, by address: open addressing in one flat
// table, since an archive of a large inventory numbers millions of objects
// and a node per entry would cost an allocation and a cache miss each.
class ObjectNumbers {
public:
    // The number of the object, and whether it was added with `next`.
    std::pair<uint64_t, bool> find_or_add(const Object* object, uint64_t next) {
        if (2 * (size_ + 1) > slots_.size()) grow();
        for (size_t i = slot(object);; i = (i + 1) & (slots_.size() - 1)) {
            if (slots_[i].object == object) return {slots_[i].number, false};
            if (!slots_[i].object) {
                slots_[i] = {object, next};
                ++size_;
                return {next, true};
            }
        }
    }

private:
    struct Slot {
        const Object* object = nullptr;
        uint64_t number = 0;
    };

    size_t slot(const Object* object) const {
        // Fibonacci hashing: addresses differ mostly in their middle bits.
        return static_cast<size_t>((reinterpret_cast<uintptr_t>(object) * 0x9E3779B97F4A7C15ull) >> shift_);
    }

    void grow() {
        std::vector<Slot> old = std::move(slots_);
        slots_.assign(old.empty() ? 1024 : 2 * old.size(), Slot{});
        shift_ = 64 - static_cast<unsigned>(std::countr_zero(slots_.size()));
        for (const Slot& s : old)
            if (s.object)
                for (size_t i = slot(s.object);; i = (i + 1) & (slots_.size() - 1))
                    if (!slots_[i].object) {
                        slots_[i] = s;
                        break;
                    }
    }

    std::vector<Slot> slots_;
    size_t size_ = 0;
    unsigned shift_ = 64;
};

// A coder that only writes: every decode call answers nothing.
class WritingCoder : public Coder {
public:
    float decodeFloatForKey(std::string_view) override { return 0; }
    double decodeDoubleForKey(std::string_view) override { return 0; }
    bool decodeBoolForKey(std::string_view) override { return false; }
    int32_t decodeIntForKey(std::string_view) override { return 0; }
    ObjectRef decodeObjectForKey(std::string_view) override { return nullptr; }
    bool containsValueForKey(std::string_view) override { return false; }
};

// Objects are numbered when first reached and written from a work list, so
// a graph nested however deeply never recurses on the machine stack.
class KeyedArchiver final : public WritingCoder {
public:
    using Index = BinaryPlistWriter::Index;

    std::optional<std::vector<uint8_t>> archive(const ObjectRef& root, std::string* error) {
        entries_.push_back(out_.string("$null"));
        uint64_t rootUid = reference(root);
        for (size_t i = 0; i < pending_.size() && error_.empty(); ++i) {
            auto [uid, object] = pending_[i];
            entries_[uid] = makeEntry(*object);
        }
        if (!error_.empty()) {
            if (error) *error = error_;
            return std::nullopt;
        }
        Index objects = out_.array(entries_);
        Index top = out_.dict({{out_.string("root"), out_.uid(rootUid)}});
        Index file = out_.dict({{out_.string("$version"), out_.integer(kArchiveVersion)},
                                {out_.string("$archiver"), out_.string("NSKeyedArchiver")},
                                {out_.string("$top"), top},
                                {out_.string("$objects"), objects}});
        return out_.finish(file);
    }

    void encodeFloat_forKey(float value, std::string_view key) override { set(key, out_.real(value)); }
    void encodeDouble_forKey(double value, std::string_view key) override { set(key, out_.real(value)); }
    void encodeBool_forKey(bool value, std::string_view key) override { set(key, out_.boolean(value)); }
    void encodeInt_forKey(int32_t value, std::string_view key) override { set(key, out_.integer(value)); }
    void encodeObject_forKey(const ObjectRef& value, std::string_view key) override {
        set(key, out_.uid(reference(value)));
    }

    void failWithError(std::string message) override {
        if (error_.empty()) error_ = std::move(message);
    }

private:
    void set(std::string_view key, Index value) {
        if (encoding_) fields_.emplace_back(out_.string(key), value);
    }

    // The stored kind of an object's class, worked out once per class.
    Kind kindOf(const Class& cls) {
        auto [it, added] = kinds_.try_emplace(&cls, Kind::Unknown);
        if (!added) return it->second;
        const std::pair<const Class*, Kind> order[] = {
            {&MutableString::staticClass(), Kind::MutableString},
            {&String::staticClass(), Kind::String},
            {&Number::staticClass(), Kind::Number},
            {&Data::staticClass(), Kind::Data},
            {&Date::staticClass(), Kind::Date},
            {&Array::staticClass(), Kind::Array},
            {&Dictionary::staticClass(), Kind::Dictionary},
        };
        it->second = Kind::Model;
        for (const auto& [base, kind] : order)
            if (cls.isSubclassOfClass(*base)) {
                it->second = kind;
                break;
            }
        return it->second;
    }

    // The entry {"$classname", "$classes"} of a class, written once.
    uint64_t classReference(const Class& cls) {
        auto [it, added] = classUids_.try_emplace(&cls, entries_.size());
        if (!added) return it->second;
        std::vector<Index> chain;
        for (const Class* c = &cls; c; c = c->superclass()) chain.push_back(out_.string(c->name()));
        Index chainIndex = out_.array(chain);
        entries_.push_back(out_.dict({{out_.string("$classes"), chainIndex},
                                      {out_.string("$classname"), out_.string(cls.name())}}));
        return it->second;
    }

    // The object's number, given when it is first reached; its contents are
    // written later from the work list.
    uint64_t reference(const ObjectRef& object) {
        if (!object) return 0;
        auto [number, added] = uids_.find_or_add(object.get(), entries_.size());
        if (!added) return number;
        // Held until the archive is done, so that no other object can take
        // this one's address and be mistaken for it.
        keepAlive_.push_back(object);
        entries_.push_back(0);
        pending_.emplace_back(number, object.get());
        return number;
    }

    Index uidArray(const std::vector<ObjectRef>& items) {
        std::vector<Index> uids;
        uids.reserve(items.size());
        for (const auto& item : items) uids.push_back(out_.uid(reference(item)));
        return out_.array(uids);
    }

    Index classed(const Class& cls, std::vector<std::pair<Index, Index>> fields) {
        fields.emplace_back(out_.string("$class"), out_.uid(classReference(cls)));
        return out_.dict(fields);
    }

    Index makeEntry(const Object& object) {
        const Class& cls = object.objectClass();
        switch (kindOf(cls)) {
            case Kind::MutableString:
                return classed(cls, {{out_.string("NS.string"), out_.string(static_cast<const String&>(object).str())}});
            case Kind::String: return out_.string(static_cast<const String&>(object).str());
            case Kind::Number: {
                const auto& n = static_cast<const Number&>(object);
                switch (n.kind()) {
                    case Number::Kind::Bool: return out_.boolean(n.boolValue());
                    case Number::Kind::Float:
                    case Number::Kind::Double: return out_.real(n.doubleValue());
                    default: return out_.integer(n.longLongValue());
                }
            }
            case Kind::Data: {
                const auto& d = static_cast<const Data&>(object);
                return out_.data(d.bytes(), d.length());
            }
            case Kind::Date:
                return classed(cls, {{out_.string("NS.time"),
                                      out_.real(static_cast<const Date&>(object).timeIntervalSinceReferenceDate())}});
            case Kind::Array:
                return classed(cls, {{out_.string("NS.objects"), uidArray(static_cast<const Array&>(object).objects())}});
            case Kind::Dictionary: {
                std::vector<Index> keys, values;
                for (const auto& [k, v] : static_cast<const Dictionary&>(object).entries()) {
                    keys.push_back(out_.uid(reference(str(k))));
                    values.push_back(out_.uid(reference(v)));
                }
                Index keyArray = out_.array(keys);
                Index valueArray = out_.array(values);
                return classed(cls, {{out_.string("NS.keys"), keyArray}, {out_.string("NS.objects"), valueArray}});
            }
            default: break;
        }
        if (auto coding = dynamic_cast<const Coding*>(&object)) {
            fields_.clear();
            encoding_ = true;
            coding->encodeWithCoder(*this);
            encoding_ = false;
            return classed(cls, std::move(fields_));
        }
        failWithError(fmt::format("objects of class {} cannot be archived", cls.name()));
        return 0;
    }

    BinaryPlistWriter out_;
    std::vector<Index> entries_;  // by UID: the entry's index in the file
    std::vector<std::pair<uint64_t, const Object*>> pending_;
    ObjectNumbers uids_;
    std::unordered_map<const Class*, uint64_t> classUids_;
    std::unordered_map<const Class*, Kind> kinds_;
    std::vector<ObjectRef> keepAlive_;
    std::vector<std::pair<Index, Index>> fields_;  // of the model object being written
    bool encoding_ = false;
    std::string error_;
};

// ---------------------------------------------------------------- reading

// The deepest nesting of <array> and <dict> elements in an XML text. Counts
// generously (markup inside comments counts too), never too little.
int xmlNesting(const uint8_t* bytes, size_t length) {
    int depth = 0, deepest = 0;
    auto starts = [&](size_t at, const char* word) {
        size_t n = std::strlen(word);
        return at + n <= length && std::memcmp(bytes + at, word, n) == 0;
    };
    for (size_t i = 0; i < length; ++i) {
        if (bytes[i] != '<') continue;
        if (starts(i + 1, "array") || starts(i + 1, "dict")) {
            size_t close = i + 1;
            while (close < length && bytes[close] != '>') ++close;
            if (close < length && bytes[close - 1] == '/') continue;  // <array/>
            deepest = std::max(deepest, ++depth);
        } else if (starts(i + 1, "/array") || starts(i + 1, "/dict")) {
            if (depth > 0) --depth;
        }
    }
    return deepest;
}

// Collects the objects a model object encodes, with their keys.
class MemberCollector final : public WritingCoder {
public:
    std::vector<std::pair<std::string, ObjectRef>> found;

    void encodeFloat_forKey(float, std::string_view) override {}
    void encodeDouble_forKey(double, std::string_view) override {}
    void encodeBool_forKey(bool, std::string_view) override {}
    void encodeInt_forKey(int32_t, std::string_view) override {}
    void encodeObject_forKey(const ObjectRef& value, std::string_view key) override {
        if (value) found.emplace_back(std::string(key), value);
    }
    void failWithError(std::string) override {}
};

// Restores objects without recursion: a work list visits every object a
// stored object refers to before that object's own fields are read, so each
// object's initWithCoder sees finished members. A model object or container
// is allocated and registered before its members are visited, so a member
// that refers back to it (a cycle) finds it, as in Foundation.
//
// Errors are kept per object and reach the archive only when an object that
// is read holds one: an object that no class asks for cannot fail the archive.
class KeyedUnarchiver final : public Coder {
public:
    ObjectRef restore(const uint8_t* bytes, size_t length, std::string* error) {
        ObjectRef root = restoreRoot(bytes, length);
        if (!error_.empty()) {
            if (error) *error = error_;
            breakCycles(nullptr);
            return nullptr;
        }
        return root;
    }

    void encodeFloat_forKey(float, std::string_view) override {}
    void encodeDouble_forKey(double, std::string_view) override {}
    void encodeBool_forKey(bool, std::string_view) override {}
    void encodeInt_forKey(int32_t, std::string_view) override {}
    void encodeObject_forKey(const ObjectRef&, std::string_view) override {}

    float decodeFloatForKey(std::string_view key) override {
        double d = decodeReal(key, "a float");
        // A finite number beyond the float range is refused (a conversion
        // would be undefined); infinities and NaN are floats too.
        if (std::isfinite(d) && std::fabs(d) > FLT_MAX) {
            failWithError(fmt::format("the number under key \"{}\" ({}) does not fit in a float", key, d));
            return 0;
        }
        return static_cast<float>(d);
    }
    double decodeDoubleForKey(std::string_view key) override { return decodeReal(key, "a double"); }

    bool decodeBoolForKey(std::string_view key) override {
        Value v = value(key);
        switch (v.type) {
            case Type::Invalid: return false;
            case Type::Bool: return v.flag;
            case Type::Int: return BinaryPlist::integer(v) != 0;
            case Type::Real: return BinaryPlist::real(v) != 0.0;
            default: wrongType(key, "a bool"); return false;
        }
    }

    int32_t decodeIntForKey(std::string_view key) override {
        Value v = value(key);
        switch (v.type) {
            case Type::Invalid: return 0;
            case Type::Int: {
                int64_t i = BinaryPlist::integer(v);
                if (i < INT32_MIN || i > INT32_MAX) {
                    failWithError(fmt::format("the integer under key \"{}\" does not fit in 32 bits", key));
                    return 0;
                }
                return static_cast<int32_t>(i);
            }
            case Type::Bool: return v.flag ? 1 : 0;
            case Type::Real: {
                double d = BinaryPlist::real(v);
                if (!(d > double{INT32_MIN} - 1 && d < double{INT32_MAX} + 1)) {
                    failWithError(fmt::format("the number under key \"{}\" does not fit in 32 bits", key));
                    return 0;
                }
                return static_cast<int32_t>(d);
            }
            default: wrongType(key, "an integer"); return 0;
        }
    }

    ObjectRef decodeObjectForKey(std::string_view key) override {
        Value v = value(key);
        if (v.type == Type::Invalid) return nullptr;
        uint64_t uid = 0;
        if (!uidOf(v, uid)) {
            wrongType(key, "an object reference");
            return nullptr;
        }
        return objectFor(uid);
    }

    bool containsValueForKey(std::string_view key) override { return value(key).type != Type::Invalid; }

    // An error of the object being read.
    void failWithError(std::string message) override {
        if (objectError_.empty()) objectError_ = std::move(message);
    }

private:
    using Value = BinaryPlist::Value;
    using Type = BinaryPlist::Type;

    enum class State : uint8_t { Untouched, Open, Done };
    enum Flag : uint8_t { Failed = 1, ReadWhileOpen = 2 };

    struct ClassInfo {
        Kind kind = Kind::Unknown;
        const Class* cls = nullptr;
        std::string name;
    };

    ObjectRef restoreRoot(const uint8_t* bytes, size_t length) {
        if (!bytes || length == 0) return archiveFailure("the archive is empty");
        if (!BinaryPlist::isBinary(bytes, length) && !convertXml(bytes, length)) return nullptr;
        std::string reason;
        if (!plist_.open(converted_.empty() ? bytes : converted_.data(),
                         converted_.empty() ? length : converted_.size(), &reason))
            return archiveFailure("not a property list: " + reason);

        Value top = plist_.object(plist_.topObject());
        if (!BinaryPlist::textEquals(plist_.lookup(top, "$archiver"), "NSKeyedArchiver"))
            return archiveFailure("not a keyed archive (no \"$archiver\" = \"NSKeyedArchiver\")");
        Value objects = plist_.lookup(top, "$objects");
        Value topRefs = plist_.lookup(top, "$top");
        if (objects.type != Type::Array || topRefs.type != Type::Dict)
            return archiveFailure("the keyed archive has no \"$objects\" array or no \"$top\" dictionary");
        count_ = objects.count;
        // Each entry takes at least one byte of the file, so these tables
        // grow with the file's size.
        refs_.resize(count_);
        for (uint64_t i = 0; i < count_; ++i) refs_[i] = plist_.reference(objects, i);
        states_.assign(count_, State::Untouched);
        flags_.assign(count_, 0);
        decoded_.assign(count_, nullptr);
        // Every member an object lists is looked at once per object that
        // lists it; a file whose entries share one long list many times is refused
        // rather than read in time out of proportion to its size.
        budget_ = 16 * static_cast<int64_t>(std::min<size_t>(length, size_t{1} << 40)) + 4096;
        // Generous for equal texts that the writer stored once, tight enough
        // that memory stays in proportion to the file.
        copyBudget_ = 16 * static_cast<uint64_t>(std::min<size_t>(length, size_t{1} << 40)) + (size_t{1} << 20);
        uint64_t root = 0;
        if (!uidOf(plist_.lookup(topRefs, "root"), root)) return archiveFailure("the keyed archive has no root object reference");
        if (root == 0) return archiveFailure("the archive's root object is null");
        root_ = root;
        if (root < count_) visit(root);
        objectError_.clear();
        ObjectRef made = objectFor(root);
        if (!objectError_.empty()) archiveFailure(objectError_);
        if (error_.empty() && !cyclic_.empty()) breakCycles(made);
        return error_.empty() ? made : nullptr;
    }

    ObjectRef archiveFailure(std::string message) {
        if (error_.empty()) error_ = std::move(message);
        return nullptr;
    }

    // XML goes through libplist's reader and is read as the binary form.
    bool convertXml(const uint8_t* bytes, size_t length) {
        if (length > UINT32_MAX) return archiveFailure("the archive is too large"), false;
        if (xmlNesting(bytes, length) > kMaxXmlNesting) return archiveFailure("the XML property list nests too deeply"), false;
        // XML has no NUL character, and libplist's XML reader would keep one
        // inside a text that the rest of libplist then takes for its end.
        if (std::memchr(bytes, 0, length)) return archiveFailure("the XML property list holds a NUL byte"), false;
        plist_t parsed = nullptr;
        plist_from_xml(reinterpret_cast<const char*>(bytes), static_cast<uint32_t>(length), &parsed);
        if (!parsed) return archiveFailure("not a property list"), false;
        char* bin = nullptr;
        uint32_t binLength = 0;
        plist_to_bin(parsed, &bin, &binLength);
        plist_free(parsed);
        if (!bin) return archiveFailure("not a property list"), false;
        converted_.assign(bin, bin + binLength);
        plist_to_bin_free(bin);
        return true;
    }

    Value entry(uint64_t uid) const { return plist_.object(refs_[uid]); }

    // An object reference: a UID in a binary archive, {"CF$UID": n} in the
    // XML form (which stays a dictionary when read).
    bool uidOf(const Value& v, uint64_t& uid) const {
        if (v.type == Type::Uid) {
            uid = BinaryPlist::uid(v);
            return true;
        }
        if (v.type == Type::Dict && v.count == 1) {
            Value n = plist_.lookup(v, "CF$UID");
            if (n.type == Type::Int && BinaryPlist::integer(n) >= 0) {
                uid = static_cast<uint64_t>(BinaryPlist::integer(n));
                return true;
            }
        }
        return false;
    }

    Value value(std::string_view key) { return plist_.lookup(current_, key, &hint_); }

    void wrongType(std::string_view key, std::string_view expected) {
        failWithError(fmt::format("the value under key \"{}\" is not {}", key, expected));
    }

    double decodeReal(std::string_view key, std::string_view expected) {
        Value v = value(key);
        switch (v.type) {
            case Type::Invalid: return 0;
            case Type::Real: return BinaryPlist::real(v);
            case Type::Int: return static_cast<double>(BinaryPlist::integer(v));
            case Type::Bool: return v.flag ? 1 : 0;
            default: wrongType(key, expected); return 0;
        }
    }

    // The class an object's "$class" names, resolved once per class entry.
    const ClassInfo* classOf(const Value& node) {
        uint64_t classUid = 0;
        if (!uidOf(plist_.lookup(node, "$class"), classUid) || classUid == 0 || classUid >= count_) return nullptr;
        if (auto it = classes_.find(classUid); it != classes_.end()) return it->second.name.empty() ? nullptr : &it->second;
        ClassInfo& info = classes_[classUid];
        // A class entry is no object: reading one as an object fails.
        if (states_[classUid] == State::Untouched) {
            states_[classUid] = State::Done;
            flags_[classUid] |= Failed;
            failures_[classUid] = fmt::format("object {} is a class description, not an object", classUid);
        }
        Value name = plist_.lookup(entry(classUid), "$classname");
        if (name.type != Type::String) return nullptr;
        info.name = BinaryPlist::text(name);
        if (info.name.empty()) return nullptr;
        info.kind = platformKind(info.name);
        if (info.kind == Kind::Model) {
            info.cls = Class::named(info.name);
            if (!info.cls) info.kind = Kind::Unknown;
        }
        return &info;
    }

    // The finished (or, inside a cycle, allocated) object with that number;
    // null with an error of the reading object when it cannot be had.
    ObjectRef objectFor(uint64_t uid) {
        if (uid == 0) return nullptr;
        if (uid >= count_) {
            failWithError(fmt::format("object reference {} lies outside the archive's {} objects", uid, count_));
            return nullptr;
        }
        switch (states_[uid]) {
            case State::Open:
                // A reference back to an object still being read: a cycle
                // (see breakCycles).
                if (!(flags_[uid] & ReadWhileOpen)) cyclic_.push_back(decoded_[uid]);
                flags_[uid] |= ReadWhileOpen;
                return decoded_[uid];
            case State::Done:
                if (flags_[uid] & Failed) {
                    failWithError(failures_[uid]);
                    return nullptr;
                }
                return decoded_[uid];
            case State::Untouched:
                // Everything an object refers to is visited before it is read,
                // so only plain values come here.
                if (!isContainerOrModel(uid)) {
                    open(uid);
                    return objectFor(uid);
                }
                failWithError(fmt::format("object {} is read before it was restored", uid));
                return nullptr;
        }
        return nullptr;
    }

    bool isContainerOrModel(uint64_t uid) {
        Value node = entry(uid);
        if (node.type != Type::Dict) return false;
        const ClassInfo* info = classOf(node);
        return info && (info->kind == Kind::Model || info->kind == Kind::Array || info->kind == Kind::MutableArray ||
                        info->kind == Kind::Dictionary || info->kind == Kind::MutableDictionary);
    }

    // Records an object's failure; fatal at once when the object was already
    // handed out (a member in a cycle holds it) or is the root.
    void failObject(uint64_t uid, std::string message) {
        if ((flags_[uid] & ReadWhileOpen) || uid == root_) archiveFailure(message);
        flags_[uid] |= Failed;
        failures_[uid] = std::move(message);
        decoded_[uid] = nullptr;
        states_[uid] = State::Done;
    }

    void visit(uint64_t root) {
        work_.push_back(root << 1);
        while (!work_.empty() && error_.empty()) {
            uint64_t item = work_.back();
            work_.pop_back();
            uint64_t uid = item >> 1;
            if (item & 1) close(uid);
            else if (states_[uid] == State::Untouched) open(uid);
        }
    }

    // Pushes what an object refers to, so it is visited before the object closes.
    void pushMembers(const Value& refs) {
        if (!spend(refs.count)) return;
        if (refs.type == Type::Dict) {
            // A model object: every value of its dictionary that is a reference.
            for (uint64_t i = 0; i < refs.count; ++i) pushIfNew(plist_.object(plist_.reference(refs, refs.count + i)));
        } else if (refs.type == Type::Array) {
            for (uint64_t i = 0; i < refs.count; ++i) pushIfNew(plist_.object(plist_.reference(refs, i)));
        }
    }

    bool spend(uint64_t members) {
        budget_ -= static_cast<int64_t>(std::min<uint64_t>(members, INT32_MAX));
        if (budget_ >= 0) return true;
        archiveFailure("the archive lists its objects' members more often than its size allows");
        return false;
    }

    void pushIfNew(const Value& v) {
        uint64_t uid = 0;
        if (uidOf(v, uid) && uid > 0 && uid < count_ && states_[uid] == State::Untouched) work_.push_back(uid << 1);
    }

    // Makes a plain value at once; allocates a model object or container,
    // registers it and schedules its members before its closing.
    void open(uint64_t uid) {
        Value node = entry(uid);
        if (node.type != Type::Dict) {
            states_[uid] = State::Done;
            if (ObjectRef made = copiedPlainValue(node)) decoded_[uid] = std::move(made);
            else failObject(uid, fmt::format("object {} is of a kind a keyed archive does not hold", uid));
            return;
        }
        const ClassInfo* info = classOf(node);
        if (!info) {
            states_[uid] = State::Done;
            failObject(uid, fmt::format("object {} has no valid \"$class\"", uid));
            return;
        }
        ObjectRef made;
        switch (info->kind) {
            case Kind::String:
            case Kind::MutableString:
            case Kind::Data:
            case Kind::Date:
            case Kind::Number:
                states_[uid] = State::Done;
                if ((made = classedValue(node, info->kind))) decoded_[uid] = std::move(made);
                else failObject(uid, fmt::format("object {} of class {} is malformed", uid, info->name));
                return;
            case Kind::Unknown:
                failObject(uid, fmt::format("the archive holds an object of class {}, which zeva does not know", info->name));
                return;
            case Kind::Array: made = std::make_shared<Array>(); break;
            case Kind::MutableArray: made = std::make_shared<MutableArray>(); break;
            case Kind::Dictionary: made = std::make_shared<Dictionary>(); break;
            case Kind::MutableDictionary: made = std::make_shared<MutableDictionary>(); break;
            case Kind::Model:
                made = info->cls->alloc();
                if (!dynamic_cast<Coding*>(made.get())) {
                    failObject(uid, fmt::format("the archive holds an object of class {}, which zeva does not know",
                                                info->name));
                    return;
                }
                break;
        }
        decoded_[uid] = std::move(made);
        states_[uid] = State::Open;
        work_.push_back(uid << 1 | 1);
        if (info->kind == Kind::Model) {
            pushMembers(node);
        } else {
            pushMembers(plist_.lookup(node, "NS.objects"));
            pushMembers(plist_.lookup(node, "NS.keys"));
        }
    }

    // Reads a model object's fields or fills a container, its members done.
    void close(uint64_t uid) {
        if (states_[uid] != State::Open) return;
        Value node = entry(uid);
        const ClassInfo* info = classOf(node);
        objectError_.clear();
        Object* made = decoded_[uid].get();
        if (info->kind == Kind::Model) {
            current_ = node;
            hint_ = 0;
            dynamic_cast<Coding*>(made)->initWithCoder(*this);
            current_ = {};
        } else if (info->kind == Kind::Array || info->kind == Kind::MutableArray) {
            std::vector<ObjectRef> items;
            if (readUids(plist_.lookup(node, "NS.objects"), uidsA_) && !closesImmutableCycle(uid, info->kind, uidsA_))
                for (uint64_t u : uidsA_) items.push_back(objectFor(u));
            else if (objectError_.empty())
                failWithError(fmt::format("object {} of class {} is malformed", uid, info->name));
            ContainerFiller::fill(static_cast<Array&>(*made), std::move(items));
        } else {
            Dictionary::Storage entries;
            if (readUids(plist_.lookup(node, "NS.keys"), uidsA_) && readUids(plist_.lookup(node, "NS.objects"), uidsB_) &&
                uidsA_.size() == uidsB_.size() && !closesImmutableCycle(uid, info->kind, uidsB_)) {
                for (size_t i = 0; i < uidsA_.size() && objectError_.empty(); ++i) {
                    ObjectRef key = objectFor(uidsA_[i]);
                    if (!objectError_.empty()) break;
                    if (!key || !key->isKindOfClass(String::staticClass())) {
                        failWithError(fmt::format("dictionary {} has a key that is not a text", uid));
                        break;
                    }
                    entries.insert_or_assign(static_cast<const String&>(*key).str(), objectFor(uidsB_[i]));
                }
            } else if (objectError_.empty()) {
                failWithError(fmt::format("object {} of class {} is malformed", uid, info->name));
            }
            ContainerFiller::fill(static_cast<Dictionary&>(*made), std::move(entries));
        }
        states_[uid] = State::Done;
        if (!objectError_.empty()) failObject(uid, std::move(objectError_));
        objectError_.clear();
    }

    // An immutable array or dictionary whose member is an immutable container
    // still being read closes a cycle of containers that nothing could ever
    // change, so no host could break it to free it: such archives are refused.
    // (A cycle through a model object or a mutable container restores; the
    // host breaks it there.)
    bool closesImmutableCycle(uint64_t uid, Kind kind, const std::vector<uint64_t>& members) {
        if (kind != Kind::Array && kind != Kind::Dictionary) return false;
        for (uint64_t u : members) {
            if (u == 0 || u >= count_ || states_[u] != State::Open) continue;
            const ClassInfo* member = classOf(entry(u));
            if (member && (member->kind == Kind::Array || member->kind == Kind::Dictionary)) {
                failWithError(fmt::format("object {} closes a cycle of immutable containers, which could never be freed", uid));
                return true;
            }
        }
        return false;
    }

    // Breaks the cycles that nobody else could: every cycle passes through
    // an object that was referred to while it was being read, and each such
    // object lets go of its references. After a failure (no root) that is
    // every cycle made so far; after a success, those the restored graph does
    // not reach (objects read under a key that no class keeps). Cycles the
    // graph reaches are the host's.
    void breakCycles(const ObjectRef& root) {
        // Every object walked stays alive until the end, so that no address
        // is reused (a model object may archive values it makes for the occasion).
        std::unordered_set<const Object*> reached;
        std::vector<ObjectRef> walked;
        if (root) {
            walked.push_back(root);
            reached.insert(root.get());
        }
        for (size_t next = 0; next < walked.size(); ++next)
            for (auto& member : archivedMembers(*walked[next]))
                if (reached.insert(member.second.get()).second) walked.push_back(std::move(member.second));
        for (const ObjectRef& made : cyclic_)
            if (!reached.count(made.get())) letGo(*made);
        cyclic_.clear();
    }

    // Lets go of every reference the object holds: a container is emptied, a
    // model object read again from an empty dictionary (every member null).
    void letGo(Object& made) {
        if (auto* array = dynamic_cast<Array*>(&made)) {
            ContainerFiller::fill(*array, {});
        } else if (auto* dict = dynamic_cast<Dictionary*>(&made)) {
            ContainerFiller::fill(*dict, {});
        } else if (auto* coding = dynamic_cast<Coding*>(&made)) {
            current_ = {};
            coding->initWithCoder(*this);
        }
    }

    // The UIDs of a container's array; a missing array is empty.
    bool readUids(const Value& array, std::vector<uint64_t>& out) {
        out.clear();
        if (array.type == Type::Invalid) return true;
        if (array.type != Type::Array || !spend(array.count)) return false;
        out.reserve(array.count);
        for (uint64_t i = 0; i < array.count; ++i) {
            uint64_t uid = 0;
            if (!uidOf(plist_.object(plist_.reference(array, i)), uid)) return false;
            out.push_back(uid);
        }
        return true;
    }

    // Each entry of "$objects" is its own object, as in the graph that was
    // saved, even where several name the same bytes of the file; the bytes
    // so copied count against what the file's size allows, so that a small
    // file cannot stand for a huge graph.
    bool copying(uint64_t bytes) {
        copiedBytes_ += bytes;
        if (copiedBytes_ <= copyBudget_) return true;
        archiveFailure("the archive's texts and data copy more bytes than its size allows");
        return false;
    }

    ObjectRef copiedPlainValue(const Value& v) {
        const uint64_t bytes = v.type == Type::Data || v.type == Type::String ? v.count * (v.wide ? 3 : 1) : 0;
        return copying(bytes) ? plainValue(v) : nullptr;
    }

    // A value stored as a plain property-list value: texts, numbers, data and
    // dates (the forms GNUstep writes for the last).
    static ObjectRef plainValue(const Value& v) {
        switch (v.type) {
            case Type::String: return std::make_shared<String>(BinaryPlist::text(v));
            case Type::Int: {
                int64_t i = BinaryPlist::integer(v);
                if (i >= INT32_MIN && i <= INT32_MAX) return Number::numberWithLong(static_cast<int32_t>(i));
                return Number::numberWithLongLong(i);
            }
            case Type::Real: return Number::numberWithDouble(BinaryPlist::real(v));
            case Type::Bool: return Number::numberWithBool(v.flag);
            case Type::Data: return Data::dataWithBytes(v.payload, v.count);
            case Type::Date: return Date::dateWithTimeIntervalSinceReferenceDate(BinaryPlist::real(v));
            default: return nullptr;
        }
    }

    // Texts, dates and data stored as dictionaries of their class; null when malformed.
    ObjectRef classedValue(const Value& node, Kind kind) {
        switch (kind) {
            case Kind::String:
            case Kind::MutableString: {
                Value s = plist_.lookup(node, "NS.string");
                std::string text;
                if (s.type == Type::String) {
                    text = BinaryPlist::text(s);
                } else if (Value b = plist_.lookup(node, "NS.bytes"); b.type == Type::Data) {
                    text.assign(reinterpret_cast<const char*>(b.payload), b.count);
                } else {
                    return nullptr;
                }
                if (!copying(text.size())) return nullptr;
                if (kind == Kind::String) return std::make_shared<String>(std::move(text));
                return std::make_shared<MutableString>(std::move(text));
            }
            case Kind::Date: {
                Value t = plist_.lookup(node, "NS.time");
                if (t.type == Type::Real) return Date::dateWithTimeIntervalSinceReferenceDate(BinaryPlist::real(t));
                if (t.type == Type::Int)
                    return Date::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(BinaryPlist::integer(t)));
                return nullptr;
            }
            case Kind::Data: {
                Value d = plist_.lookup(node, "NS.data");
                return d.type == Type::Data ? copiedPlainValue(d) : nullptr;
            }
            default: return nullptr;
        }
    }

    BinaryPlist plist_;
    std::vector<uint8_t> converted_;  // the binary form of an XML archive
    uint64_t count_ = 0;
    uint64_t root_ = 0;
    std::vector<uint64_t> refs_;  // $objects entries as object-table indexes
    std::vector<State> states_;
    std::vector<uint8_t> flags_;
    std::vector<ObjectRef> decoded_;
    std::vector<ObjectRef> cyclic_;  // objects referred to while being read
    std::unordered_map<uint64_t, std::string> failures_;
    std::unordered_map<uint64_t, ClassInfo> classes_;
    std::vector<uint64_t> work_;  // uid << 1, plus 1 for an object's closing
    std::vector<uint64_t> uidsA_, uidsB_;
    Value current_;
    uint64_t hint_ = 0;
    int64_t budget_ = 0;
    uint64_t copiedBytes_ = 0, copyBudget_ = 0;
    std::string objectError_;
    std::string error_;
};

}  // namespace

std::optional<std::vector<uint8_t>> archivedDataWithRootObject(const ObjectRef& root, std::string* error) {
    KeyedArchiver archiver;
    return archiver.archive(root, error);
}

bool archiveRootObjectToFile(const ObjectRef& root, const std::string& path) {
    auto bytes = archivedDataWithRootObject(root);
    return bytes && writeFileAtomically(path, bytes->data(), bytes->size());
}

ObjectRef unarchiveObjectWithData(const uint8_t* bytes, size_t length, std::string* error) {
    KeyedUnarchiver unarchiver;
    return unarchiver.restore(bytes, length, error);
}

std::vector<std::pair<std::string, ObjectRef>> archivedMembers(const Object& object) {
    std::vector<std::pair<std::string, ObjectRef>> members;
    if (auto* array = dynamic_cast<const Array*>(&object)) {
        for (const ObjectRef& item : *array)
            if (item) members.emplace_back("", item);
    } else if (auto* dict = dynamic_cast<const Dictionary*>(&object)) {
        for (const auto& [key, value] : dict->entries())
            if (value) members.emplace_back(key, value);
    } else if (auto* coding = dynamic_cast<const Coding*>(&object)) {
        MemberCollector collector;
        coding->encodeWithCoder(collector);
        members = std::move(collector.found);
    }
    return members;
}

void releaseGraph(const ObjectRef& root) {
    if (!root) return;
    std::unordered_set<const Object*> reached{root.get()};
    std::vector<ObjectRef> walked{root};
    for (size_t next = 0; next < walked.size(); ++next)
        for (auto& member : archivedMembers(*walked[next]))
            if (reached.insert(member.second.get()).second) walked.push_back(std::move(member.second));
    for (const ObjectRef& o : walked) {
        if (auto* array = dynamic_cast<Array*>(o.get())) {
            ContainerFiller::fill(*array, {});
        } else if (auto* dict = dynamic_cast<Dictionary*>(o.get())) {
            ContainerFiller::fill(*dict, {});
        } else {
            for (const Class* c = &o->objectClass(); c; c = c->superclass())
                for (const Property& p : c->properties())
                    if (p.kind == CoderKind::Object && p.set) p.set(*o, nullptr);
        }
    }
}

ObjectRef unarchiveObjectWithFile(const std::string& path, std::string* error) {
    std::string reason;
    auto bytes = readFile(path, &reason);
    if (!bytes) {
        if (error) *error = path + ": " + reason;
        return nullptr;
    }
    ObjectRef root = unarchiveObjectWithData(bytes->data(), bytes->size(), &reason);
    if (!root && error) *error = path + ": " + reason;
    return root;
}

}  // namespace zeva
