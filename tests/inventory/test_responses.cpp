// Responses, stages, filters, instrumentation and hardware.
#include <gtest/gtest.h>

#include "inventory_support.hpp"
#include "support/archive_helpers.hpp"
#include "support/locale_helpers.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"

using namespace zeva;
using test::num, test::with;

namespace {

ObjectRef list(std::vector<ObjectRef> items) { return Array::arrayWithObjects(std::move(items)); }
Ref<ZEVAUnit> unit(const char* name) { return with<ZEVAUnit>({{"_name", str(name)}}); }
ObjectRef complex(double re, double im) {
    return with<ZEVAComplexNumber>({{"_real_part", num(re)}, {"_imaginary_part", num(im)}});
}
ObjectRef pole() {
    return with<ZEVAComplexNumberErrored>(
        {{"_real", num(-0.037)}, {"_real_error", num(0.001)}, {"_imaginary", num(0.037)}, {"_imaginary_error", num(0.001)}});
}
ObjectRef coefficient(double v) { return with<ZEVACoefficientErrored>({{"_value", num(v)}}); }
ObjectRef gain() { return with<ZEVAGain>({{"_gain_factor", num(2.5)}, {"_frequency", num(1)}}); }
ObjectRef normalization() {
    return with<ZEVANormalization>({{"_ao_normalization_factor", num(3.5)}, {"_normalization_freq", num(0.02)}});
}
ObjectRef decimation(double factor) {
    return with<ZEVADecimation>({{"_input_rate", ZEVASampling::create()}, {"_factor", num(factor)},
                                 {"_estimated_delay", with<ZEVAQuantity>({{"_value", num(0.5)}})}});
}
ObjectRef poleZero(std::vector<ObjectRef> zeros, std::vector<ObjectRef> poles) {
    return with<ZEVAPoleZeroFilter>({{"_zeros", list(std::move(zeros))}, {"_poles", list(std::move(poles))}});
}
ObjectRef coefficients() {
    return with<ZEVACoefficientFilter>({{"_numerator", coefficient(1)}, {"_denominator", coefficient(0.5)}});
}
// A stage of type 3 from M/S to COUNTS with a gain and the given lists.
Ref<ZEVAStage> stage(ObjectRef normalizations, ObjectRef decimations, ObjectRef filters) {
    return with<ZEVAStage>({{"_type", num(3)}, {"_input_units", unit("M/S")}, {"_output_units", unit("COUNTS")},
                            {"_the_gain", gain()}, {"_the_normalization", normalizations},
                            {"_the_decimation", decimations}, {"_filters", filters}});
}

const std::string kPoleZero = "\n-------------\nZEVAPoleZeroFilter\n-------------";
const std::string kStage = "\n-------------\nZEVAStage\n-------------\nTransfer Type: 3\nInput Units: M/S\n"
                           "Output Units: COUNTS\nZEVAGain: 2.500000 Frequency: 1.000000";
const std::string kCoefficients = "\n-----------------------\nZEVACoefficientFilter\n-----------------------"
                                  "\n1.000000 (0.000000) 0.500000 (0.000000)";
const std::string kDecimationBanner = "\n-----------------\nZEVADecimation\n-----------------";
const std::string kDecimation = kDecimationBanner + "\nInput Rate: ZEVASampling: Time Interval = 1.000000  / Npts = 20"
                                "\nFactor: 4\nOffset: 0\nEstimated Delay: 0.500000 (null)\nCorrection Applied: (null)";

}  // namespace

// The members' texts as a stage prints them, and those of a pole with its
// errors and of filters with absent or foreign entries.
TEST(Responses, TextForms) {
    const std::pair<ObjectRef, std::string> cases[] = {
        {pole(), "-0.037000 (0.001000) 0.037000 (0.001000)\n"},
        {ZEVAPoleZeroFilter::create(), kPoleZero + "\nzeros 0\n\npoles 0\n"},
        {poleZero({complex(1, 0)}, {complex(2, 0), str("other")}),
         kPoleZero + "\nzeros 1\n1.000000 0.000000\n\npoles 2\n2.000000 0.000000\nother"},
        {stage(list({}), nullptr, list({})), kStage},
        {stage(nullptr, nullptr, list({poleZero({}, {}), coefficients()})),
         kStage + "\nNumber of Filters: 2\n\n" + kPoleZero + "\nzeros 0\n\npoles 0\n\n" + kCoefficients},
        {stage(list({normalization()}), list({decimation(4)}), nullptr),
         kStage + "\nNumber of Normalizers: 1\n\nZEVANormalization: 3.500000 Frequency: 0.020000" +
             "\nNumber of Decimators: 1\n\n" + kDecimation},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first->description(), cases[i].second) << "row " << i;
}

TEST(Responses, OnlyTheLocalizedPiecesFollowTheLocale) {
    test::ScopedLocale german("de_DE.UTF-8");
    if (!german.active()) GTEST_SKIP() << "de_DE.UTF-8 is not available and could not be generated";
    auto s = stage(nullptr, list({decimation(2048)}), nullptr);
    s->set_type(1024);
    const std::string text = s->description();
    for (const char* piece : {"\nTransfer Type: 1.024\n", "\nFactor: 2.048\n", "ZEVAGain: 2.500000 Frequency: 1.000000",
                              "Time Interval = 1.000000 ", "Estimated Delay: 0.500000 (null)"})
        EXPECT_NE(text.find(piece), std::string::npos) << piece << " in " << text;
}

// A whole instrumentation comes back (saving again gives the same bytes), in
// this archive layout.
TEST(Responses, InstrumentationRoundTripAndLayout) {
    auto numbers = [](double a, double b) { return list({num(a), num(b)}); };
    auto listFilter = with<ZEVAListFilter>({{"_float", numbers(0.1, 1)}, {"_frequency_unit", unit("HZ")},
        {"_amplitude", numbers(1, 0.9)}, {"_ampliutde_error", numbers(0.01, 0.02)}, {"_phase", numbers(0, -45)},
        {"_phase_unit", unit("DEGREES")}, {"_phase_error", numbers(0.5, 0.6)}});
    auto first = stage(list({normalization(), normalization()}), nullptr,
                       list({poleZero({complex(0, 0)}, {pole()}), coefficients()}));
    auto second = stage(nullptr, list({decimation(4)}), list({listFilter}));
    auto hardware = [](auto made, const char* key, ObjectRef value) {
        for (auto [k, v] : {std::pair<const char*, ObjectRef>{"_id_number", num(-17)}, {"_manufacturer", str("Maker")},
                            {"_serial_number", str("SN-1")}, {"_model", str("M1")}, {key, value}})
            made->setValue_forKey(v, k);
        return made;
    };
    auto kit = with<ZEVAInstrumentation>({
        {"_the_response", with<ZEVAResponse>({{"_stages", list({first, second})},
            {"_the_sensitivity", with<ZEVASensitivity>({{"_sensitivity_factor", num(6.3e8)}, {"_frequency", num(0.2)}})}})},
        {"_effective_time", with<ZEVATimeRange>({{"_start_time", test::timeAt("2009-06-01T14:03:12.2500Z")}})},
        {"_the_clock", hardware(ZEVAClock::create(), "_type", str("GPS"))},
        {"_the_sensor", hardware(with<ZEVASensor>({{"_nominal_low_freq", num(0.01)}}), "_nominal_high_freq", num(50))},
        {"_das", hardware(ZEVADataAcqSys::create(), "_style", num(2))}});

    EXPECT_EQ(archivedDataWithRootObject(test::roundTrip<ZEVAInstrumentation>(kit)), archivedDataWithRootObject(kit));
    EXPECT_EQ(test::plistlibCheck(kit, R"PY(
def show(v):  # '@' marks a boxed number
    if not isinstance(v, plistlib.UID): return repr(round(v, 3))
    v = deref(v)
    return 'null' if v == '$null' else type(v).__name__ if isinstance(v, (dict, str)) else '@' + repr(v)
keys = {}
for o in objs:
    if isinstance(o, dict) and '$class' in o and classname(o) in ('ZEVADecimation', 'ZEVAInstrumentation',
            'ZEVAListFilter', 'ZEVAPoleZeroFilter', 'ZEVASensor', 'ZEVAStage'):
        keys.setdefault(classname(o), set()).add(' '.join(k + '=' + show(o[k]) for k in o if k != '$class'))
for name in sorted(keys): print(name, *sorted(keys[name]), sep=' | ')
)PY"),
              "ZEVADecimation | _input_rate=dict _factor=@4 _offset=@0 _estimated_delay=dict _correction_applied=null\n"
              "ZEVAInstrumentation | _the_response=dict _effective_time=dict _the_clock=dict _the_sensor=dict _das=dict\n"
              "ZEVAListFilter | _float=dict _frequency_unit=dict _amplitude=dict _ampliutde_error=dict _phase=dict "
              "_phase_unit=dict _phase_error=dict\n"
              "ZEVAPoleZeroFilter | _poles=dict _zeros=dict\n"
              "ZEVASensor | _id_number=@-17 _manufacturer=str _serial_number=str _model=str _nominal_high_freq=50.0 "
              "_nominal_low_freq=0.01\n"
              "ZEVAStage | _input_units=dict _output_units=dict _the_normalization=dict _the_gain=dict "
              "_the_decimation=null _filters=dict | _input_units=dict _output_units=dict _the_normalization=null "
              "_the_gain=dict _the_decimation=dict _filters=dict\n");
}
