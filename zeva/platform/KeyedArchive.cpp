#include "zeva/platform/KeyedArchive.hpp"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <map>
#include <unordered_map>

#include <fmt/format.h>
#include <plist/plist.h>

#include "zeva/platform/Coder.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Data.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/platform/Files.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

namespace {

constexpr uint64_t kArchiveVersion = 100000;
// Deeper nesting than any model graph has; guards the stack against hostile files.
constexpr int kMaxDepth = 200;

struct PlistDeleter {
    void operator()(void* p) const { plist_free(static_cast<plist_t>(p)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

std::string stringValue(plist_t node) {
    char* s = nullptr;
    plist_get_string_val(node, &s);
    std::string out = s ? s : "";
    std::free(s);
    return out;
}

bool isType(plist_t node, plist_type type) { return node && plist_get_node_type(node) == type; }

// An object reference: a UID in a binary archive, {"CF$UID": n} in the XML
// form (which libplist's XML reader leaves as a dictionary).
bool uidValue(plist_t node, uint64_t& uid) {
    if (isType(node, PLIST_UID)) {
        plist_get_uid_val(node, &uid);
        return true;
    }
    if (isType(node, PLIST_DICT) && plist_dict_get_size(node) == 1) {
        plist_t n = plist_dict_get_item(node, "CF$UID");
        if (isType(n, PLIST_UINT)) {
            plist_get_uint_val(n, &uid);
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------- writing

class KeyedArchiver final : public Coder {
public:
    uint64_t encodeRoot(const ObjectRef& root) { return reference(root); }

    std::optional<std::vector<uint8_t>> finish(uint64_t rootUid, std::string* error) {
        if (!error_.empty()) {
            if (error) *error = error_;
            for (plist_t n : nodes_) plist_free(n);
            nodes_.clear();
            return std::nullopt;
        }
        PlistPtr top(plist_new_dict());
        plist_dict_set_item(top.get(), "$version", plist_new_uint(kArchiveVersion));
        plist_dict_set_item(top.get(), "$archiver", plist_new_string("NSKeyedArchiver"));
        plist_t rootRef = plist_new_dict();
        plist_dict_set_item(rootRef, "root", plist_new_uid(rootUid));
        plist_dict_set_item(top.get(), "$top", rootRef);
        plist_t objects = plist_new_array();
        for (plist_t n : nodes_) plist_array_append_item(objects, n);
        nodes_.clear();
        plist_dict_set_item(top.get(), "$objects", objects);

        char* bin = nullptr;
        uint32_t length = 0;
        plist_to_bin(top.get(), &bin, &length);
        if (!bin) {
            if (error) *error = "the property list could not be written";
            return std::nullopt;
        }
        std::vector<uint8_t> bytes(bin, bin + length);
        plist_to_bin_free(bin);
        return bytes;
    }

    ~KeyedArchiver() override {
        for (plist_t n : nodes_) plist_free(n);
    }

    void encodeFloat_forKey(float value, std::string_view key) override { set(key, plist_new_real(value)); }
    void encodeDouble_forKey(double value, std::string_view key) override { set(key, plist_new_real(value)); }
    void encodeBool_forKey(bool value, std::string_view key) override { set(key, plist_new_bool(value)); }
    void encodeInt_forKey(int32_t value, std::string_view key) override { set(key, integerNode(value)); }
    void encodeObject_forKey(const ObjectRef& value, std::string_view key) override {
        set(key, plist_new_uid(reference(value)));
    }

    // The archiver only writes.
    float decodeFloatForKey(std::string_view) override { return 0; }
    double decodeDoubleForKey(std::string_view) override { return 0; }
    bool decodeBoolForKey(std::string_view) override { return false; }
    int32_t decodeIntForKey(std::string_view) override { return 0; }
    ObjectRef decodeObjectForKey(std::string_view) override { return nullptr; }
    bool containsValueForKey(std::string_view) override { return false; }
    void failWithError(std::string message) override {
        if (error_.empty()) error_ = std::move(message);
    }

private:
    static plist_t integerNode(int64_t v) { return plist_new_uint(static_cast<uint64_t>(v)); }

    void set(std::string_view key, plist_t value) {
        if (!current_) {
            plist_free(value);
            return;
        }
        plist_dict_set_item(current_, std::string(key).c_str(), value);
    }

    uint64_t classReference(const Class& cls) {
        auto it = classUids_.find(cls.name());
        if (it != classUids_.end()) return it->second;
        plist_t dict = plist_new_dict();
        plist_t chain = plist_new_array();
        for (const auto& name : cls.classChain()) plist_array_append_item(chain, plist_new_string(name.c_str()));
        plist_dict_set_item(dict, "$classes", chain);
        plist_dict_set_item(dict, "$classname", plist_new_string(cls.name()));
        uint64_t uid = nodes_.size();
        nodes_.push_back(dict);
        classUids_.emplace(cls.name(), uid);
        return uid;
    }

    plist_t uidArray(const std::vector<ObjectRef>& items) {
        plist_t array = plist_new_array();
        for (const auto& item : items) plist_array_append_item(array, plist_new_uid(reference(item)));
        return array;
    }

    uint64_t reference(const ObjectRef& object) {
        if (!object) return 0;
        if (auto it = uids_.find(object.get()); it != uids_.end()) return it->second;
        // Held until the archive is done, so that no other object can take
        // this one's address and be mistaken for it.
        keepAlive_.push_back(object);
        uint64_t uid = nodes_.size();
        nodes_.push_back(nullptr);
        uids_.emplace(object.get(), uid);
        plist_t node = makeNode(object);
        nodes_[uid] = node ? node : plist_new_string("$null");
        return uid;
    }

    plist_t makeNode(const ObjectRef& object) {
        const Class& cls = object->objectClass();
        if (auto s = std::dynamic_pointer_cast<MutableString>(object)) {
            plist_t dict = plist_new_dict();
            plist_dict_set_item(dict, "NS.string", plist_new_string(s->c_str()));
            plist_dict_set_item(dict, "$class", plist_new_uid(classReference(cls)));
            return dict;
        }
        if (auto s = std::dynamic_pointer_cast<String>(object)) return plist_new_string(s->c_str());
        if (auto n = std::dynamic_pointer_cast<Number>(object)) {
            switch (n->kind()) {
                case Number::Kind::Bool: return plist_new_bool(n->boolValue());
                case Number::Kind::Float:
                case Number::Kind::Double: return plist_new_real(n->doubleValue());
                default: return integerNode(n->longLongValue());
            }
        }
        if (auto d = std::dynamic_pointer_cast<Data>(object))
            return plist_new_data(reinterpret_cast<const char*>(d->bytes()), d->length());
        if (auto d = std::dynamic_pointer_cast<Date>(object)) {
            plist_t dict = plist_new_dict();
            plist_dict_set_item(dict, "NS.time", plist_new_real(d->timeIntervalSinceReferenceDate()));
            plist_dict_set_item(dict, "$class", plist_new_uid(classReference(cls)));
            return dict;
        }
        if (auto a = std::dynamic_pointer_cast<Array>(object)) {
            plist_t dict = plist_new_dict();
            plist_dict_set_item(dict, "NS.objects", uidArray(a->objects()));
            plist_dict_set_item(dict, "$class", plist_new_uid(classReference(cls)));
            return dict;
        }
        if (auto d = std::dynamic_pointer_cast<Dictionary>(object)) {
            std::vector<ObjectRef> keys, values;
            for (const auto& [k, v] : d->entries()) {
                keys.push_back(str(k));
                values.push_back(v);
            }
            plist_t dict = plist_new_dict();
            plist_dict_set_item(dict, "NS.keys", uidArray(keys));
            plist_dict_set_item(dict, "NS.objects", uidArray(values));
            plist_dict_set_item(dict, "$class", plist_new_uid(classReference(cls)));
            return dict;
        }
        if (auto coding = dynamic_cast<const Coding*>(object.get())) {
            plist_t dict = plist_new_dict();
            plist_t saved = current_;
            current_ = dict;
            coding->encodeWithCoder(*this);
            current_ = saved;
            plist_dict_set_item(dict, "$class", plist_new_uid(classReference(cls)));
            return dict;
        }
        failWithError(fmt::format("objects of class {} cannot be archived", cls.name()));
        return nullptr;
    }

    std::vector<plist_t> nodes_{plist_new_string("$null")};
    std::unordered_map<const Object*, uint64_t> uids_;
    std::map<std::string, uint64_t, std::less<>> classUids_;
    std::vector<ObjectRef> keepAlive_;
    plist_t current_ = nullptr;
    std::string error_;
};

// ---------------------------------------------------------------- reading

class KeyedUnarchiver final : public Coder {
public:
    ObjectRef restore(const uint8_t* bytes, size_t length, std::string* error) {
        ObjectRef root = restoreRoot(bytes, length);
        if (!error_.empty()) {
            if (error) *error = error_;
            return nullptr;
        }
        return root;
    }

    void encodeFloat_forKey(float, std::string_view) override {}
    void encodeDouble_forKey(double, std::string_view) override {}
    void encodeBool_forKey(bool, std::string_view) override {}
    void encodeInt_forKey(int32_t, std::string_view) override {}
    void encodeObject_forKey(const ObjectRef&, std::string_view) override {}

    float decodeFloatForKey(std::string_view key) override { return static_cast<float>(decodeReal(key, "a float")); }
    double decodeDoubleForKey(std::string_view key) override { return decodeReal(key, "a double"); }

    bool decodeBoolForKey(std::string_view key) override {
        plist_t v = value(key);
        if (!v) return false;
        switch (plist_get_node_type(v)) {
            case PLIST_BOOLEAN: {
                uint8_t b = 0;
                plist_get_bool_val(v, &b);
                return b != 0;
            }
            case PLIST_UINT: return integerValue(v) != 0;
            case PLIST_REAL: return realValue(v) != 0.0;
            default: wrongType(key, "a bool"); return false;
        }
    }

    int32_t decodeIntForKey(std::string_view key) override {
        plist_t v = value(key);
        if (!v) return 0;
        switch (plist_get_node_type(v)) {
            case PLIST_UINT: {
                int64_t i = integerValue(v);
                if (i < INT32_MIN || i > INT32_MAX) {
                    failWithError(fmt::format("the integer under key \"{}\" does not fit in 32 bits", key));
                    return 0;
                }
                return static_cast<int32_t>(i);
            }
            case PLIST_BOOLEAN: return decodeBoolForKey(key) ? 1 : 0;
            case PLIST_REAL: {
                double d = realValue(v);
                if (!(d >= INT32_MIN && d <= INT32_MAX)) {
                    failWithError(fmt::format("the number under key \"{}\" does not fit in 32 bits", key));
                    return 0;
                }
                return static_cast<int32_t>(d);
            }
            default: wrongType(key, "an integer"); return 0;
        }
    }

    ObjectRef decodeObjectForKey(std::string_view key) override {
        plist_t v = value(key);
        if (!v) return nullptr;
        uint64_t uid = 0;
        if (!uidValue(v, uid)) {
            wrongType(key, "an object reference");
            return nullptr;
        }
        return object(uid);
    }

    bool containsValueForKey(std::string_view key) override { return value(key) != nullptr; }

    void failWithError(std::string message) override {
        if (error_.empty()) error_ = std::move(message);
    }

private:
    enum class State : uint8_t { Untouched, InProgress, Done };

    ObjectRef restoreRoot(const uint8_t* bytes, size_t length) {
        if (!bytes || length == 0) {
            failWithError("the archive is empty");
            return nullptr;
        }
        if (length > UINT32_MAX) {
            failWithError("the archive is too large");
            return nullptr;
        }
        plist_t parsed = nullptr;
        plist_from_memory(reinterpret_cast<const char*>(bytes), static_cast<uint32_t>(length), &parsed);
        plist_.reset(parsed);
        if (!parsed) {
            failWithError("not a property list");
            return nullptr;
        }
        plist_t archiver = plist_dict_get_item_safe(parsed, "$archiver");
        if (!isType(parsed, PLIST_DICT) || !isType(archiver, PLIST_STRING) ||
            stringValue(archiver) != "NSKeyedArchiver") {
            failWithError("not a keyed archive (no \"$archiver\" = \"NSKeyedArchiver\")");
            return nullptr;
        }
        objects_ = plist_dict_get_item(parsed, "$objects");
        plist_t top = plist_dict_get_item(parsed, "$top");
        if (!isType(objects_, PLIST_ARRAY) || !isType(top, PLIST_DICT)) {
            failWithError("the keyed archive has no \"$objects\" array or no \"$top\" dictionary");
            return nullptr;
        }
        count_ = plist_array_get_size(objects_);
        states_.assign(count_, State::Untouched);
        decoded_.assign(count_, nullptr);
        uint64_t uid = 0;
        if (!uidValue(plist_dict_get_item(top, "root"), uid)) {
            failWithError("the keyed archive has no root object reference");
            return nullptr;
        }
        return object(uid);
    }

    static plist_t plist_dict_get_item_safe(plist_t dict, const char* key) {
        return isType(dict, PLIST_DICT) ? plist_dict_get_item(dict, key) : nullptr;
    }

    plist_t value(std::string_view key) const {
        return current_ ? plist_dict_get_item(current_, std::string(key).c_str()) : nullptr;
    }

    void wrongType(std::string_view key, std::string_view expected) {
        failWithError(fmt::format("the value under key \"{}\" is not {}", key, expected));
    }

    static int64_t integerValue(plist_t v) {
        uint64_t u = 0;
        plist_get_uint_val(v, &u);
        return static_cast<int64_t>(u);
    }

    static double realValue(plist_t v) {
        double d = 0;
        plist_get_real_val(v, &d);
        return d;
    }

    double decodeReal(std::string_view key, std::string_view expected) {
        plist_t v = value(key);
        if (!v) return 0;
        switch (plist_get_node_type(v)) {
            case PLIST_REAL: return realValue(v);
            case PLIST_UINT: return static_cast<double>(integerValue(v));
            case PLIST_BOOLEAN: return decodeBoolForKey(key) ? 1 : 0;
            default: wrongType(key, expected); return 0;
        }
    }

    // The UIDs of an array under a key of a platform container.
    bool uidList(plist_t dict, const char* key, std::vector<uint64_t>& out) {
        plist_t array = plist_dict_get_item(dict, key);
        if (!array) return true;  // missing: empty
        if (!isType(array, PLIST_ARRAY)) return false;
        uint32_t n = plist_array_get_size(array);
        for (uint32_t i = 0; i < n; ++i) {
            uint64_t uid = 0;
            if (!uidValue(plist_array_get_item(array, i), uid)) return false;
            out.push_back(uid);
        }
        return true;
    }

    ObjectRef object(uint64_t uid) {
        if (!error_.empty() || uid == 0) return nullptr;
        if (uid >= count_) {
            failWithError(fmt::format("object reference {} lies outside the archive's {} objects", uid, count_));
            return nullptr;
        }
        switch (states_[uid]) {
            case State::Done: return decoded_[uid];
            case State::InProgress:
                failWithError(fmt::format("object {} refers back to itself (a reference cycle)", uid));
                return nullptr;
            case State::Untouched: break;
        }
        if (depth_ >= kMaxDepth) {
            failWithError("objects are nested too deeply");
            return nullptr;
        }
        states_[uid] = State::InProgress;
        ++depth_;
        ObjectRef made = build(uid, plist_array_get_item(objects_, static_cast<uint32_t>(uid)));
        --depth_;
        states_[uid] = State::Done;
        decoded_[uid] = error_.empty() ? made : nullptr;
        return decoded_[uid];
    }

    ObjectRef build(uint64_t uid, plist_t node) {
        switch (plist_get_node_type(node)) {
            case PLIST_STRING: return str(stringValue(node));
            case PLIST_UINT: {
                int64_t i = integerValue(node);
                if (i >= INT32_MIN && i <= INT32_MAX) return Number::numberWithLong(static_cast<int32_t>(i));
                return Number::numberWithLongLong(i);
            }
            case PLIST_REAL: return Number::numberWithDouble(realValue(node));
            case PLIST_BOOLEAN: {
                uint8_t b = 0;
                plist_get_bool_val(node, &b);
                return Number::numberWithBool(b != 0);
            }
            case PLIST_DATA: {
                char* bytes = nullptr;
                uint64_t length = 0;
                plist_get_data_val(node, &bytes, &length);
                auto data = Data::dataWithBytes(bytes, length);
                std::free(bytes);
                return data;
            }
            case PLIST_DICT: return buildFromDictionary(uid, node);
            default:
                failWithError(fmt::format("object {} is of a kind a keyed archive does not hold", uid));
                return nullptr;
        }
    }

    std::string classNameOf(uint64_t uid, plist_t node) {
        uint64_t classUid = 0;
        uidValue(plist_dict_get_item(node, "$class"), classUid);
        plist_t cls = classUid > 0 && classUid < count_ ? plist_array_get_item(objects_, static_cast<uint32_t>(classUid))
                                                        : nullptr;
        plist_t name = plist_dict_get_item_safe(cls, "$classname");
        if (!isType(name, PLIST_STRING)) {
            failWithError(fmt::format("object {} has no valid \"$class\"", uid));
            return {};
        }
        return stringValue(name);
    }

    ObjectRef buildFromDictionary(uint64_t uid, plist_t node) {
        std::string name = classNameOf(uid, node);
        if (name.empty()) return nullptr;
        auto malformed = [&]() -> ObjectRef {
            failWithError(fmt::format("object {} of class {} is malformed", uid, name));
            return nullptr;
        };

        if (name == "NSString" || name == "NSMutableString") {
            plist_t s = plist_dict_get_item(node, "NS.string");
            std::string text;
            if (isType(s, PLIST_STRING)) {
                text = stringValue(s);
            } else if (plist_t b = plist_dict_get_item(node, "NS.bytes"); isType(b, PLIST_DATA)) {
                char* bytes = nullptr;
                uint64_t length = 0;
                plist_get_data_val(b, &bytes, &length);
                text.assign(bytes ? bytes : "", bytes ? length : 0);
                std::free(bytes);
            } else {
                return malformed();
            }
            if (name == "NSString") return str(text);
            return mstr(text);
        }
        if (name == "NSArray" || name == "NSMutableArray") {
            std::vector<uint64_t> uids;
            if (!uidList(node, "NS.objects", uids)) return malformed();
            std::vector<ObjectRef> items;
            for (uint64_t u : uids) items.push_back(object(u));
            if (name == "NSArray") return std::make_shared<Array>(std::move(items));
            return std::make_shared<MutableArray>(std::move(items));
        }
        if (name == "NSDictionary" || name == "NSMutableDictionary") {
            std::vector<uint64_t> keys, values;
            if (!uidList(node, "NS.keys", keys) || !uidList(node, "NS.objects", values) || keys.size() != values.size())
                return malformed();
            Dictionary::Storage entries;
            for (size_t i = 0; i < keys.size(); ++i) {
                auto key = std::dynamic_pointer_cast<String>(object(keys[i]));
                if (!error_.empty()) return nullptr;
                if (!key) {
                    failWithError(fmt::format("dictionary {} has a key that is not a text", uid));
                    return nullptr;
                }
                entries.insert_or_assign(key->str(), object(values[i]));
            }
            if (name == "NSDictionary") return std::make_shared<Dictionary>(std::move(entries));
            return std::make_shared<MutableDictionary>(std::move(entries));
        }
        if (name == "NSDate") {
            plist_t t = plist_dict_get_item(node, "NS.time");
            if (isType(t, PLIST_REAL)) return Date::dateWithTimeIntervalSinceReferenceDate(realValue(t));
            if (isType(t, PLIST_UINT))
                return Date::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(integerValue(t)));
            return malformed();
        }
        if (name == "NSData" || name == "NSMutableData") {
            plist_t d = plist_dict_get_item(node, "NS.data");
            if (!isType(d, PLIST_DATA)) return malformed();
            return build(uid, d);
        }

        const Class* cls = Class::named(name);
        ObjectRef made = cls ? cls->alloc() : nullptr;
        auto coding = dynamic_cast<Coding*>(made.get());
        if (!coding) {
            failWithError(fmt::format("the archive holds an object of class {}, which zeva does not know", name));
            return nullptr;
        }
        plist_t saved = current_;
        current_ = node;
        coding->initWithCoder(*this);
        current_ = saved;
        return made;
    }

    PlistPtr plist_;
    plist_t objects_ = nullptr;
    uint32_t count_ = 0;
    std::vector<State> states_;
    std::vector<ObjectRef> decoded_;
    plist_t current_ = nullptr;
    int depth_ = 0;
    std::string error_;
};

}  // namespace

std::optional<std::vector<uint8_t>> archivedDataWithRootObject(const ObjectRef& root, std::string* error) {
    KeyedArchiver archiver;
    uint64_t uid = archiver.encodeRoot(root);
    return archiver.finish(uid, error);
}

bool archiveRootObjectToFile(const ObjectRef& root, const std::string& path) {
    auto bytes = archivedDataWithRootObject(root);
    return bytes && writeFileAtomically(path, bytes->data(), bytes->size());
}

ObjectRef unarchiveObjectWithData(const uint8_t* bytes, size_t length, std::string* error) {
    KeyedUnarchiver unarchiver;
    return unarchiver.restore(bytes, length, error);
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
