// ZEVAUnit: a unit of measure. A base unit given by its code, scaled by a
// power of ten, raised to an exponent and multiplied by a factor; a composite
// unit (code 8) is the product of its element units. A unit with a name is
// known by that name alone: the name is its whole text form.
#pragma once

#include <cstdint>
#include <string>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Text.hpp"

class ZEVAUnit : public KWOObject {
    ZEVA_OBJECT(ZEVAUnit, KWOObject)

public:
    // Base unit codes. 1 and 3 to 6 are valid codes without a name of their own.
    static constexpr int32_t kMeter = 0;
    static constexpr int32_t kSecond = 2;
    static constexpr int32_t kCount = 7;
    static constexpr int32_t kComposite = 8;

    // Unnamed metre: name and elements null, code 0, power 0, factor 0, exponent 0.
    void init() override;
    // A plain unit of the given base: no elements (an empty array), the empty
    // name, power 0, factor 1.0, exponent 0.
    void initWithZEVAUnitBase(int32_t base);
    // alloc + initWithZEVAUnitBase.
    static zeva::Ref<ZEVAUnit> createWithZEVAUnitBase(int32_t base);

    // The name when there is one (even an empty one); otherwise
    // "[METER (x10^power)]^exponent" and the like for the named codes, and
    // "None" for every other code.
    std::string description() const override;

    int32_t _the_unit_base() const { return the_unit_base_; }
    void set_the_unit_base(int32_t v) { the_unit_base_ = v; }
    zeva::Ref<zeva::Array> _elements() const { return elements_; }
    void set_elements(const zeva::Ref<zeva::Array>& v);  // shared
    int32_t _power() const { return power_; }
    void set_power(int32_t v) { power_ = v; }
    zeva::Ref<zeva::String> _name() const { return name_; }
    void set_name(const zeva::Ref<zeva::String>& v);  // copied as given
    double _multi_factor() const { return multi_factor_; }
    void set_multi_factor(double v) { multi_factor_ = v; }
    int32_t _exponent() const { return exponent_; }
    void set_exponent(int32_t v) { exponent_ = v; }

    int32_t the_unit_base() const { return the_unit_base_; }
    int32_t power() const { return power_; }
    zeva::Ref<zeva::String> name() const { return name_; }
    double multi_factor() const { return multi_factor_; }
    int32_t exponent() const { return exponent_; }

    void setTheUnitBase(int32_t v) { set_the_unit_base(v); }
    void setPower(int32_t v) { power_ = v; }
    void setMultiFactor(double v) { multi_factor_ = v; }
    void setExponent(int32_t v) { exponent_ = v; }
    // Stores the name upper-cased ("Seconds" becomes SECONDS); null clears it.
    void setName(const zeva::Ref<zeva::String>& v);

    // Turns the unit into radians: a composite of metre over metre named
    // "Radians". Power, exponent and factor stay as they are.
    void makeRadians();
    // Radians with the factor 180/pi, named "Degrees".
    void makeDegrees();

private:
    int32_t the_unit_base_ = 0;
    zeva::Ref<zeva::Array> elements_;
    int32_t power_ = 0;
    zeva::Ref<zeva::String> name_;
    double multi_factor_ = 0.0;
    int32_t exponent_ = 0;
};
