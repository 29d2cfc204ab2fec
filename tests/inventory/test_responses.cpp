// Responses, stages, filters, instrumentation and hardware.
#include <gtest/gtest.h>

#include <functional>

#include "inventory_support.hpp"
#include "support/archive_helpers.hpp"
#include "support/locale_helpers.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/platform/Number.hpp"

using namespace zeva;

namespace {

template <class T, class... Setters>
Ref<T> made(Setters... setters) {
    auto object = T::create();
    (setters(*object), ...);
    return object;
}

Ref<ZEVAComplexNumber> complex(float re, float im) {
    return made<ZEVAComplexNumber>([=](auto& c) { c.set_real_part(re); }, [=](auto& c) { c.set_imaginary_part(im); });
}

Ref<ZEVAComplexNumberErrored> errored(float re, float reErr, float im, float imErr) {
    return made<ZEVAComplexNumberErrored>([=](auto& c) { c.set_real(re); }, [=](auto& c) { c.set_real_error(reErr); },
                                          [=](auto& c) { c.set_imaginary(im); },
                                          [=](auto& c) { c.set_imaginary_error(imErr); });
}

Ref<ZEVACoefficientErrored> coefficient(float value) {
    return made<ZEVACoefficientErrored>([=](auto& c) { c.set_value(value); });
}

Ref<ZEVAUnit> unit(const char* name) {
    auto u = ZEVAUnit::alloc();
    u->set_name(str(name));
    return u;
}

Ref<ZEVAGain> gain() {
    return made<ZEVAGain>([](auto& g) { g.set_gain_factor(2.5f); }, [](auto& g) { g.set_frequency(1.0f); });
}

Ref<ZEVANormalization> normalization() {
    return made<ZEVANormalization>([](auto& n) { n.set_ao_normalization_factor(3.5f); },
                                   [](auto& n) { n.set_normalization_freq(0.02f); });
}

Ref<ZEVADecimation> decimation(int32_t factor) {
    auto delay = ZEVAQuantity::alloc();
    delay->set_value(0.5);
    return made<ZEVADecimation>([=](auto& d) { d.set_factor(factor); }, [=](auto& d) { d.set_estimated_delay(delay); },
                                [](auto& d) { d.set_input_rate(ZEVASampling::create()); });
}

Ref<ZEVAPoleZeroFilter> poleZero(std::vector<ObjectRef> zeros, std::vector<ObjectRef> poles) {
    auto f = ZEVAPoleZeroFilter::create();
    f->set_zeros(Array::arrayWithObjects(std::move(zeros)));
    f->set_poles(Array::arrayWithObjects(std::move(poles)));
    return f;
}

Ref<ZEVACoefficientFilter> coefficientFilter() {
    return made<ZEVACoefficientFilter>([](auto& f) { f.set_numerator(coefficient(1)); },
                                       [](auto& f) { f.set_denominator(coefficient(0.5f)); });
}

Ref<ZEVAStage> stage(int32_t type, std::vector<ObjectRef> filters) {
    auto s = made<ZEVAStage>([=](auto& st) { st.set_type(type); }, [](auto& st) { st.set_input_units(unit("M/S")); },
                             [](auto& st) { st.set_output_units(unit("COUNTS")); },
                             [](auto& st) { st.set_the_gain(gain()); });
    s->set_filters(Array::arrayWithObjects(std::move(filters)));
    return s;
}

const std::string kPoleZeroBanner = "\n-------------\nZEVAPoleZeroFilter\n-------------";
const std::string kStageHead = "\n-------------\nZEVAStage\n-------------\nTransfer Type: 3\nInput Units: M/S\n"
                               "Output Units: COUNTS\nZEVAGain: 2.500000 Frequency: 1.000000";
const std::string kCoefficients = "\n-----------------------\nZEVACoefficientFilter\n-----------------------"
                                  "\n1.000000 (0.000000) 0.500000 (0.000000)";
const std::string kDecimation = "\n-----------------\nZEVADecimation\n-----------------\nInput Rate: ZEVASampling: "
                                "Time Interval = 1.000000  / Npts = 20\nFactor: 4\nOffset: 0\nEstimated Delay: "
                                "0.500000 (null)\nCorrection Applied: (null)";

}  // namespace

TEST(Responses, TextForms) {
    const std::string pole = "-0.037000 (0.001000) 0.037000 (0.001000)\n";
    const std::pair<std::function<std::string()>, std::string> cases[] = {
        {[] { return complex(-0.037f, 0.037f)->description(); }, "-0.037000 0.037000\n"},
        {[] { return errored(-0.037f, 0.001f, 0.037f, 0.001f)->description(); }, pole},
        {[] { return coefficient(1)->description(); }, "1.000000 (0.000000)"},
        {[] { return gain()->description(); }, "ZEVAGain: 2.500000 Frequency: 1.000000"},
        {[] { return normalization()->description(); }, "ZEVANormalization: 3.500000 Frequency: 0.020000"},
        {[] { return decimation(4)->description(); }, kDecimation},
        {[] { return ZEVADecimation::create()->description(); },
         "\n-----------------\nZEVADecimation\n-----------------\nInput Rate: (null)\nFactor: 0\nOffset: 0\n"
         "Estimated Delay: (null)\nCorrection Applied: (null)"},
        {[] { return poleZero({complex(0, 0), errored(-0.037f, 0.001f, 0.037f, 0.001f)}, {})->description(); },
         kPoleZeroBanner + "\nzeros 2\n0.000000 0.000000\n" + pole + "\npoles 0\n"},
        {[] { return ZEVAPoleZeroFilter::create()->description(); }, kPoleZeroBanner + "\nzeros 0\n\npoles 0\n"},
        {[] { return poleZero({complex(1, 0)}, {complex(2, 0), str("not a number")})->description(); },
         kPoleZeroBanner + "\nzeros 1\n1.000000 0.000000\n\npoles 2\n2.000000 0.000000\nnot a number"},
        {[] { return coefficientFilter()->description(); }, kCoefficients},
        {[] { return ZEVACoefficientFilter::create()->description(); },
         "\n-----------------------\nZEVACoefficientFilter\n-----------------------\n(null) (null)"},
        {[] { return stage(3, {})->description(); }, kStageHead},
        {[] { return ZEVAStage::create()->description(); },
         "\n-------------\nZEVAStage\n-------------\nTransfer Type: 0\nInput Units: (null)\nOutput Units: (null)\n"
         "(null)"},
        {[] { return stage(3, {poleZero({}, {}), coefficientFilter()})->description(); },
         kStageHead + "\nNumber of Filters: 2\n\n" + kPoleZeroBanner + "\nzeros 0\n\npoles 0\n\n" + kCoefficients},
        {[] {
             auto s = stage(3, {});
             s->set_the_normalization(Array::arrayWithObjects({normalization()}));
             s->set_the_decimation(Array::arrayWithObjects({decimation(4)}));
             return s->description();
         },
         kStageHead + "\nNumber of Normalizers: 1\n\nZEVANormalization: 3.500000 Frequency: 0.020000" +
             "\nNumber of Decimators: 1\n\n" + kDecimation},
    };
    for (size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first(), cases[i].second) << "row " << i;

    // The classes without a text of their own show the default.
    const ObjectRef plain[] = {ZEVAResponse::create(),   ZEVASensitivity::create(),     ZEVACalibration::create(),
                               ZEVAListFilter::create(), ZEVAInstrumentation::create(), ZEVASeismicHardware::create(),
                               ZEVAClock::create(),      ZEVASensor::create(),          ZEVADataAcqSys::create()};
    for (const auto& o : plain) EXPECT_EQ(o->description().rfind(std::string("<") + o->className() + ": 0x", 0), 0u);
}

TEST(Responses, OnlyTheLocalizedPiecesFollowTheLocale) {
    test::ScopedLocale german("de_DE.UTF-8");
    if (!german.active()) GTEST_SKIP() << "de_DE.UTF-8 is not available and could not be generated";
    auto s = stage(1024, {});
    s->set_the_decimation(Array::arrayWithObjects({decimation(2048)}));
    const std::string text = s->description();
    for (const char* piece : {"\nTransfer Type: 1.024\n", "\nFactor: 2.048\n", "ZEVAGain: 2.500000 Frequency: 1.000000",
                              "Time Interval = 1.000000 ", "Estimated Delay: 0.500000 (null)"})
        EXPECT_NE(text.find(piece), std::string::npos) << piece << " in " << text;
}

TEST(Responses, SettersShareEveryMember) {
    const std::vector<ObjectRef> samples = {
        MutableArray::array(), unit("M"),           gain(),  ZEVASampling::create(), ZEVAQuantity::create(),
        ZEVASensitivity::create(), test::timeAt("2009-06-01T14:03:12.2500Z"), coefficient(1),
        ZEVAResponse::create(), ZEVATimeRange::create(), ZEVAClock::create(), ZEVASensor::create(),
        ZEVADataAcqSys::create()};
    const Ref<KWOObject> objects[] = {
        ZEVAResponse::create(),       ZEVAStage::create(),           ZEVADecimation::create(),
        ZEVACalibration::create(),    ZEVAPoleZeroFilter::create(),  ZEVACoefficientFilter::create(),
        ZEVAListFilter::create(),     ZEVAInstrumentation::create(), ZEVAClock::create(),
        ZEVASensor::create(),         ZEVADataAcqSys::create()};
    for (const auto& o : objects) test::expectOwnership(o, {}, samples);
}

TEST(Responses, InstrumentationRoundTrip) {
    auto numbers = [](std::initializer_list<double> values) {
        std::vector<ObjectRef> v;
        for (double x : values) v.push_back(Number::numberWithDouble(x));
        return Array::arrayWithObjects(std::move(v));
    };
    auto list = ZEVAListFilter::create();
    list->set_float(numbers({0.1f, 1.0f}));
    list->set_frequency_unit(unit("HZ"));
    list->set_amplitude(numbers({1.0f, 0.9f}));
    list->set_ampliutde_error(numbers({0.01f, 0.02f}));
    list->set_phase(numbers({0.0f, -45.0f}));
    list->set_phase_unit(unit("DEGREES"));
    list->set_phase_error(numbers({0.5f, 0.6f}));
    auto first = stage(3, {poleZero({complex(0, 0)}, {errored(-0.037f, 0.001f, 0.037f, 0.001f)}), coefficientFilter()});
    first->set_the_normalization(Array::arrayWithObjects({normalization(), normalization()}));
    auto second = stage(0, {list});
    second->set_the_decimation(Array::arrayWithObjects({decimation(4)}));
    auto response = made<ZEVAResponse>([](auto& r) {
        r.set_the_sensitivity(made<ZEVASensitivity>([](auto& s) { s.set_sensitivity_factor(6.3e8f); },
                                                    [](auto& s) { s.set_frequency(0.2f); }));
    });
    response->set_stages(Array::arrayWithObjects({first, second}));
    auto hardware = [](ZEVASeismicHardware& h) {
        h.set_id_number(-17);
        h.set_manufacturer(str("Maker"));
        h.set_serial_number(str("SN-1"));
        h.set_model(str("M1"));
    };
    auto kit = made<ZEVAInstrumentation>(
        [&](auto& k) { k.set_the_response(response); },
        [](auto& k) {
            k.set_effective_time(ZEVATimeRange::alloc());
            k._effective_time()->set_start_time(test::timeAt("2009-06-01T14:03:12.2500Z"));
        },
        [&](auto& k) { k.set_the_clock(made<ZEVAClock>(hardware, [](auto& c) { c.set_type(str("GPS")); })); },
        [&](auto& k) {
            k.set_the_sensor(made<ZEVASensor>(hardware, [](auto& s) { s.set_nominal_high_freq(50); },
                                              [](auto& s) { s.set_nominal_low_freq(0.01f); }));
        },
        [&](auto& k) { k.set_das(made<ZEVADataAcqSys>(hardware, [](auto& d) { d.set_style(2); })); });

    auto back = test::roundTrip<ZEVAInstrumentation>(kit);
    ASSERT_TRUE(back && back->_the_response() && back->_the_clock() && back->_the_sensor() && back->_das());
    EXPECT_EQ(back->_effective_time()->description(), kit->_effective_time()->description());
    for (Ref<ZEVASeismicHardware> h : {Ref<ZEVASeismicHardware>(back->_the_clock()),
                                       Ref<ZEVASeismicHardware>(back->_the_sensor()), Ref<ZEVASeismicHardware>(back->_das())}) {
        EXPECT_EQ(h->_id_number(), -17);
        EXPECT_EQ(textOf(h->_manufacturer()) + textOf(h->_serial_number()) + textOf(h->_model()), "MakerSN-1M1");
    }
    EXPECT_EQ(textOf(back->_the_clock()->_type()), "GPS");
    EXPECT_FLOAT_EQ(back->_the_sensor()->_nominal_high_freq(), 50);
    EXPECT_FLOAT_EQ(back->_the_sensor()->_nominal_low_freq(), 0.01f);
    EXPECT_EQ(back->_das()->_style(), 2);
    EXPECT_FLOAT_EQ(back->_the_response()->_the_sensitivity()->_sensitivity_factor(), 6.3e8f);
    EXPECT_FLOAT_EQ(back->_the_response()->_the_sensitivity()->_frequency(), 0.2f);

    // Stages come back whole but for the type, which is not archived.
    auto stages = back->_the_response()->_stages();
    ASSERT_TRUE(stages && stages->count() == 2);
    auto firstBack = stages->objectAtIndexAs<ZEVAStage>(0);
    auto secondBack = stages->objectAtIndexAs<ZEVAStage>(1);
    ASSERT_TRUE(firstBack && secondBack);
    EXPECT_EQ(firstBack->_type(), 0);
    first->set_type(0);
    EXPECT_EQ(firstBack->description(), first->description());
    auto withoutListFilter = [](const std::string& text) { return text.substr(0, text.rfind("<ZEVAListFilter: ")); };
    EXPECT_EQ(withoutListFilter(secondBack->description()), withoutListFilter(second->description()));
    auto listBack = secondBack->_filters()->objectAtIndexAs<ZEVAListFilter>(0);
    ASSERT_TRUE(listBack);
    for (auto [mine, theirs] : {std::pair{listBack->_float(), list->_float()}, {listBack->_amplitude(), list->_amplitude()},
                                {listBack->_ampliutde_error(), list->_ampliutde_error()},
                                {listBack->_phase(), list->_phase()}, {listBack->_phase_error(), list->_phase_error()}})
        EXPECT_EQ(mine->description(), theirs->description());
    EXPECT_EQ(listBack->_frequency_unit()->description() + listBack->_phase_unit()->description(), "HZDEGREES");

    EXPECT_EQ(test::plistlibCheck(kit, R"PY(
keys = {}
mine = ('ZEVAInstrumentation', 'ZEVAResponse', 'ZEVASensitivity', 'ZEVAStage', 'ZEVAGain', 'ZEVANormalization',
        'ZEVADecimation', 'ZEVAPoleZeroFilter', 'ZEVACoefficientFilter', 'ZEVAListFilter', 'ZEVAComplexNumber',
        'ZEVAComplexNumberErrored', 'ZEVACoefficientErrored', 'ZEVAClock', 'ZEVASensor', 'ZEVADataAcqSys')
def show(v):  # '@' marks a boxed number
    if not isinstance(v, plistlib.UID): return repr(round(v, 3))
    v = deref(v)
    return 'null' if v == '$null' else type(v).__name__ if isinstance(v, (dict, str)) else '@' + repr(v)
for o in objs:
    if isinstance(o, dict) and '$class' in o and classname(o) in mine:
        keys.setdefault(classname(o), set()).add(' '.join(k + '=' + show(o[k]) for k in o if k != '$class'))
for name in sorted(keys): print(name, *sorted(keys[name]), sep=' | ')
)PY"),
              "ZEVAClock | _id_number=@-17 _manufacturer=str _serial_number=str _model=str _type=str\n"
              "ZEVACoefficientErrored | _value=0.5 _error=0.0 | _value=1.0 _error=0.0\n"
              "ZEVACoefficientFilter | _numerator=dict _denominator=dict\n"
              "ZEVAComplexNumber | _real_part=0.0 _imaginary_part=0.0\n"
              "ZEVAComplexNumberErrored | _real=-0.037 _real_error=0.001 _imaginary=0.037 _imaginary_error=0.001\n"
              "ZEVADataAcqSys | _id_number=@-17 _manufacturer=str _serial_number=str _model=str _style=@2\n"
              "ZEVADecimation | _input_rate=dict _factor=@4 _offset=@0 _estimated_delay=dict _correction_applied=null\n"
              "ZEVAGain | _gain_factor=2.5 _frequency=1.0\n"
              "ZEVAInstrumentation | _the_response=dict _effective_time=dict _the_clock=dict _the_sensor=dict _das=dict\n"
              "ZEVAListFilter | _float=dict _frequency_unit=dict _amplitude=dict _ampliutde_error=dict _phase=dict "
              "_phase_unit=dict _phase_error=dict\n"
              "ZEVANormalization | _ao_normalization_factor=3.5 _normalization_freq=0.02\n"
              "ZEVAPoleZeroFilter | _poles=dict _zeros=dict\n"
              "ZEVAResponse | _the_sensitivity=dict _stages=dict\n"
              "ZEVASensitivity | _sensitivity_factor=630000000.0 _frequency=0.2\n"
              "ZEVASensor | _id_number=@-17 _manufacturer=str _serial_number=str _model=str _nominal_high_freq=50.0 "
              "_nominal_low_freq=0.01\n"
              "ZEVAStage | _input_units=dict _output_units=dict _the_normalization=dict _the_gain=dict "
              "_the_decimation=null _filters=dict | _input_units=dict _output_units=dict _the_normalization=null "
              "_the_gain=dict _the_decimation=dict _filters=dict\n");
}
