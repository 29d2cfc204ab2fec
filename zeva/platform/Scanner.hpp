// A scanner reads a text from front to back. It has a location (a byte index
// into the text) that can be read and set, and scan operations that each
// first skip blanks and line ends (" \t\n\v\f\r"), then read from there.
// Setting the location skips nothing. A scan that fails leaves the location
// where it was before the scan (skipped blanks included) and its output alone.
#pragma once

#include <cstddef>
#include <string_view>

#include "zeva/platform/Object.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

class Scanner : public Object {
public:
    explicit Scanner(Ref<String> text) : text_(text ? text->copy() : str("")) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Scanner> scannerWithString(const Ref<String>& text) { return std::make_shared<Scanner>(text); }

    const Ref<String>& string() const { return text_; }

    size_t scanLocation() const { return location_; }
    // Throws std::out_of_range for a location past the end of the text (the
    // end itself is allowed), as moving past a truncated last row does.
    void setScanLocation(size_t location);

    // True when nothing but blanks and line ends is left.
    bool isAtEnd() const;

    // Takes the characters before the next character of the set (or to the
    // end of the text) and leaves the location on that character. Succeeds
    // only when at least one character was taken; into may be null.
    bool scanUpToCharactersFromSet_intoString(std::string_view set, Ref<String>* into);
    // The same with a text as the stop mark.
    bool scanUpToString_intoString(std::string_view stop, Ref<String>* into);
    // A decimal number: an optional sign, digits with an optional decimal
    // point, an optional exponent ("e-3"); the location moves behind it. With
    // no number there it fails and leaves value unchanged. Values beyond the
    // float range become infinities.
    bool scanFloat(float* value);
    bool scanDouble(double* value);

    std::string description() const override;

private:
    size_t skipped() const;

    Ref<String> text_;
    size_t location_ = 0;
};

}  // namespace zeva
