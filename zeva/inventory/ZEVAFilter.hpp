// The filters of a response stage and the numbers they are made of. The
// library stores, archives and prints them; it computes nothing from them.
#pragma once

#include "zeva/core/Accessors.hpp"
#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/time/ZEVAUnit.hpp"

class ZEVAComplexNumber : public KWOObject {
    ZEVA_OBJECT(ZEVAComplexNumber, KWOObject)
    ZEVA_SCALAR(float, real_part)
    ZEVA_SCALAR(float, imaginary_part)

    // "%f %f\n".
    std::string description() const override;
};

class ZEVAComplexNumberErrored : public KWOObject {
    ZEVA_OBJECT(ZEVAComplexNumberErrored, KWOObject)
    ZEVA_SCALAR(float, real)
    ZEVA_SCALAR(float, real_error)
    ZEVA_SCALAR(float, imaginary)
    ZEVA_SCALAR(float, imaginary_error)

    // "%f (%f) %f (%f)\n": real, its error, imaginary, its error.
    std::string description() const override;
};

class ZEVACoefficientErrored : public KWOObject {
    ZEVA_OBJECT(ZEVACoefficientErrored, KWOObject)
    ZEVA_SCALAR(float, value)
    ZEVA_SCALAR(float, error)

    // "%f (%f)", no line break.
    std::string description() const override;
};

// Poles and zeros: arrays of complex numbers (either class).
class ZEVAPoleZeroFilter : public KWOObject {
    ZEVA_OBJECT(ZEVAPoleZeroFilter, KWOObject)
    ZEVA_SHARED(zeva::Array, poles)
    ZEVA_SHARED(zeva::Array, zeros)

    // A banner, "\nzeros N\n" and the zeros, then "\npoles N\n" and the poles
    // (a missing list counts 0); each element by its own text.
    std::string description() const override;
};

class ZEVACoefficientFilter : public KWOObject {
    ZEVA_OBJECT(ZEVACoefficientFilter, KWOObject)
    ZEVA_SHARED(ZEVACoefficientErrored, numerator)
    ZEVA_SHARED(ZEVACoefficientErrored, denominator)

    // A banner, then numerator and denominator on one line.
    std::string description() const override;
};

// A response given as lists over frequencies (arrays of numbers, not looked
// into). "_ampliutde_error" is the field's name and archive key as spelled.
class ZEVAListFilter : public KWOObject {
    ZEVA_OBJECT(ZEVAListFilter, KWOObject)
    ZEVA_SHARED(zeva::Array, float)
    ZEVA_SHARED(ZEVAUnit, frequency_unit)
    ZEVA_SHARED(zeva::Array, amplitude)
    ZEVA_SHARED(zeva::Array, ampliutde_error)
    ZEVA_SHARED(zeva::Array, phase)
    ZEVA_SHARED(ZEVAUnit, phase_unit)
    ZEVA_SHARED(zeva::Array, phase_error)
};
