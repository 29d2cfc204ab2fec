// Texts. A null text (a null Ref<String>) is distinct from an empty one.
// String is immutable; MutableString can change. A setter that copies takes
// copy(), an immutable snapshot (the same object when it already is one); a
// setter that shares keeps the caller's object, so its later changes show.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zeva/platform/FloatRange.hpp"
#include "zeva/platform/Object.hpp"

namespace zeva {

// Appends the UTF-8 form of a Unicode scalar value (below 0x110000, not a
// surrogate).
void appendUtf8(std::string& out, uint32_t code);

class MutableString;
class Array;

class String : public Object {
public:
    String() = default;
    explicit String(std::string text) : text_(std::move(text)) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<String> stringWithString(std::string_view text);

    const std::string& str() const { return text_; }
    const char* c_str() const { return text_.c_str(); }
    size_t length() const { return text_.size(); }
    std::string description() const override { return text_; }

    // An immutable snapshot: this object itself when it is immutable.
    virtual Ref<String> copy() const;
    Ref<MutableString> mutableCopy() const;

    bool isEqualToString(const String& other) const { return text_ == other.text_; }
    bool hasPrefix(std::string_view prefix) const;
    // Leading number of the text after blanks, 0 when there is none.
    int32_t intValue() const;
    double doubleValue() const;
    // Beyond the float range ("1e40"): the infinity of the number's sign.
    float floatValue() const { return floatFromDouble(doubleValue()); }

    Ref<String> uppercaseString() const;
    Ref<String> substringFromIndex(size_t from) const;
    Ref<String> substringToIndex(size_t to) const;
    Ref<String> substringWithRange(size_t location, size_t length) const;
    // Index of the first occurrence, or npos.
    size_t rangeOfString(std::string_view needle, bool caseInsensitive = false) const;
    Ref<Array> componentsSeparatedByString(std::string_view separator) const;
    Ref<String> stringByReplacingOccurrencesOfString_withString(std::string_view target,
                                                                std::string_view replacement) const;

protected:
    std::string text_;
};

class MutableString : public String {
public:
    using String::String;

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<MutableString> stringWithString(std::string_view text);

    Ref<String> copy() const override;
    void setString(std::string_view text) { text_ = text; }
    void appendString(std::string_view text) { text_ += text; }
    // Replaces every occurrence; answers how many were replaced.
    size_t replaceOccurrencesOfString_withString(std::string_view target, std::string_view replacement,
                                                 bool caseInsensitive = false);
};

// Shorthands for literal texts.
inline Ref<String> str(std::string_view text) { return String::stringWithString(text); }
inline Ref<MutableString> mstr(std::string_view text) { return MutableString::stringWithString(text); }

// The copying text setter of the model: nothing when given the text already
// held, otherwise an immutable snapshot of the new text (null stays null).
inline void setCopiedText(Ref<String>& field, const Ref<String>& value) {
    if (value != field) field = value ? value->copy() : nullptr;
}

// The std::string behind a text, "" for null.
inline const std::string& textOf(const Ref<String>& s) {
    static const std::string empty;
    return s ? s->str() : empty;
}

}  // namespace zeva
