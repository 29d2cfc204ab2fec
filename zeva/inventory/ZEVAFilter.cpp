#include "zeva/inventory/ZEVAFilter.hpp"

ZEVA_DEFINE_CLASS(ZEVAComplexNumber, KWOObject, ZEVA_PROP(ZEVAComplexNumber, real_part),
                  ZEVA_PROP(ZEVAComplexNumber, imaginary_part))

ZEVA_DEFINE_CLASS(ZEVAComplexNumberErrored, KWOObject, ZEVA_PROP(ZEVAComplexNumberErrored, real),
                  ZEVA_PROP(ZEVAComplexNumberErrored, real_error), ZEVA_PROP(ZEVAComplexNumberErrored, imaginary),
                  ZEVA_PROP(ZEVAComplexNumberErrored, imaginary_error))

ZEVA_DEFINE_CLASS(ZEVACoefficientErrored, KWOObject, ZEVA_PROP(ZEVACoefficientErrored, value),
                  ZEVA_PROP(ZEVACoefficientErrored, error))

ZEVA_DEFINE_CLASS(ZEVAPoleZeroFilter, KWOObject, ZEVA_PROP(ZEVAPoleZeroFilter, poles),
                  ZEVA_PROP(ZEVAPoleZeroFilter, zeros))

ZEVA_DEFINE_CLASS(ZEVACoefficientFilter, KWOObject, ZEVA_PROP(ZEVACoefficientFilter, numerator),
                  ZEVA_PROP(ZEVACoefficientFilter, denominator))

ZEVA_DEFINE_CLASS(ZEVAListFilter, KWOObject, ZEVA_PROP(ZEVAListFilter, float),
                  ZEVA_PROP(ZEVAListFilter, frequency_unit), ZEVA_PROP(ZEVAListFilter, amplitude),
                  ZEVA_PROP(ZEVAListFilter, ampliutde_error), ZEVA_PROP(ZEVAListFilter, phase),
                  ZEVA_PROP(ZEVAListFilter, phase_unit), ZEVA_PROP(ZEVAListFilter, phase_error))

std::string ZEVAComplexNumber::description() const {
    return zeva::format("%f %f\n", double{real_part_}, double{imaginary_part_});
}

std::string ZEVAComplexNumberErrored::description() const {
    return zeva::format("%f (%f) %f (%f)\n", double{real_}, double{real_error_}, double{imaginary_},
                        double{imaginary_error_});
}

std::string ZEVACoefficientErrored::description() const {
    return zeva::format("%f (%f)", double{value_}, double{error_});
}

namespace {
// A count line, then every element's own text with nothing between them.
std::string countedList(const char* countFormat, const zeva::Ref<zeva::Array>& list) {
    std::string text = zeva::localizedFormat(countFormat, list ? list->count() : size_t{0});
    if (list) {
        for (const auto& element : *list) text += element ? element->description() : "(null)";
    }
    return text;
}
}  // namespace

std::string ZEVAPoleZeroFilter::description() const {
    return "\n-------------\nZEVAPoleZeroFilter\n-------------" + countedList("\nzeros %d\n", zeros_) +
           countedList("\npoles %d\n", poles_);
}

std::string ZEVACoefficientFilter::description() const {
    return "\n-----------------------\nZEVACoefficientFilter\n-----------------------" +
           zeva::localizedFormat("\n%@", numerator_) + zeva::localizedFormat(" %@", denominator_);
}
