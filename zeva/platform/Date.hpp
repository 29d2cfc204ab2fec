// An instant, as seconds since 1970-01-01T00:00:00 UTC with sub-second
// precision.
#pragma once

#include "zeva/platform/Object.hpp"

namespace zeva {

class Date : public Object {
public:
    // Seconds between 1970-01-01 and the archive epoch 2001-01-01 (UTC).
    static constexpr double kReferenceDateOffset = 978307200.0;

    Date() = default;
    explicit Date(double secondsSince1970) : seconds_(secondsSince1970) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Date> date();  // now
    static Ref<Date> dateWithTimeIntervalSince1970(double seconds) { return std::make_shared<Date>(seconds); }
    static Ref<Date> dateWithTimeIntervalSinceReferenceDate(double seconds) {
        return std::make_shared<Date>(seconds + kReferenceDateOffset);
    }

    double timeIntervalSince1970() const { return seconds_; }
    double timeIntervalSinceReferenceDate() const { return seconds_ - kReferenceDateOffset; }
    // -1, 0 or 1 as this instant is earlier than, equal to or later than the other.
    int compare(const Date& other) const;
    bool isEqualToDate(const Date& other) const { return seconds_ == other.seconds_; }

    // "2009-06-01 14:03:12 +0000" (UTC, whole seconds).
    std::string description() const override;
    // "2009-06-01T14:03:12.250000Z": UTC, to the microsecond (rounded), with
    // `digits` (0 to 6) of them shown, the rest cut off; for texts a host
    // prints from the instant itself.
    std::string isoText(int digits = 6) const { return isoText(seconds_, digits); }
    static std::string isoText(double secondsSince1970, int digits = 6);

private:
    double seconds_ = 0.0;
};

}  // namespace zeva
