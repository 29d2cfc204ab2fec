// Response evaluation against closed forms, SciPy and the documents' own
// sensitivities; the checks on the shared documents; instrument correction.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <filesystem>
#include <fstream>
#include <map>
#include <numbers>
#include <set>
#include <sstream>

#include "support/run_cli.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/response/InstrumentCorrection.hpp"
#include "zeva/response/ResponseEvaluation.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"

namespace fs = std::filesystem;
using namespace zeva;
using namespace zeva::response;
using Complex = std::complex<double>;
constexpr double kPi = std::numbers::pi;

namespace {

Ref<ZEVAUnit> unit(const char* name, int32_t base = -1, int32_t exponent = 1) {
    auto u = ZEVAUnit::createWithZEVAUnitBase(base);
    u->set_exponent(exponent);
    u->set_name(str(name));
    return u;
}

Ref<ZEVAUnit> velocity() {
    auto u = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kComposite);
    u->set_elements(MutableArray::arrayWithObjects({unit("M", ZEVAUnit::kMeter), unit("S", ZEVAUnit::kSecond, -1)}));
    u->set_name(str("M/S"));
    return u;
}

struct StageSpec {
    int32_t type = kTransferNone;
    std::vector<Complex> zeros = {}, poles = {};
    float a0 = 1, normFreq = 1, gain = 1;
    std::vector<float> numerator = {}, denominator = {};
    double rate = 0;  // decimation input rate; 0: no decimation
    double delay = 0, correction = 0;
    std::vector<std::array<double, 3>> list = {};  // frequency, amplitude, phase (degrees)
};

Ref<ZEVAStage> makeStage(const StageSpec& s, const Ref<ZEVAUnit>& in, const Ref<ZEVAUnit>& out) {
    auto stage = ZEVAStage::alloc();
    stage->set_type(s.type);
    stage->set_input_units(in);
    stage->set_output_units(out);
    auto gain = ZEVAGain::alloc();
    gain->set_gain_factor(s.gain);
    stage->set_the_gain(gain);
    auto filters = MutableArray::array();
    if (!s.zeros.empty() || !s.poles.empty()) {
        auto list = [](const std::vector<Complex>& v) {
            auto a = MutableArray::array();
            for (auto c : v) {
                auto n = ZEVAComplexNumberErrored::alloc();
                n->set_real(static_cast<float>(c.real()));
                n->set_imaginary(static_cast<float>(c.imag()));
                a->addObject(n);
            }
            return a;
        };
        auto pz = ZEVAPoleZeroFilter::alloc();
        pz->set_zeros(list(s.zeros));
        pz->set_poles(list(s.poles));
        filters->addObject(pz);
        auto norm = ZEVANormalization::alloc();
        norm->set_ao_normalization_factor(s.a0);
        norm->set_normalization_freq(s.normFreq);
        stage->set_the_normalization(MutableArray::arrayWithObjects({norm}));
    }
    for (size_t i = 0; i < std::max(s.numerator.size(), s.denominator.size()); ++i) {
        auto c = ZEVACoefficientFilter::alloc();
        auto coefficient = [](float v) {
            auto e = ZEVACoefficientErrored::alloc();
            e->set_value(v);
            return e;
        };
        if (i < s.numerator.size()) c->set_numerator(coefficient(s.numerator[i]));
        if (i < s.denominator.size()) c->set_denominator(coefficient(s.denominator[i]));
        filters->addObject(c);
    }
    if (!s.list.empty()) {
        auto f = MutableArray::array(), a = MutableArray::array(), p = MutableArray::array();
        for (const auto& row : s.list) {
            f->addObject(Number::numberWithDouble(row[0]));
            a->addObject(Number::numberWithDouble(row[1]));
            p->addObject(Number::numberWithDouble(row[2]));
        }
        auto l = ZEVAListFilter::alloc();
        l->set_float(f);
        l->set_amplitude(a);
        l->set_phase(p);
        filters->addObject(l);
    }
    if (filters->count() > 0) stage->set_filters(filters);
    if (s.rate > 0) {
        auto d = ZEVADecimation::alloc();
        auto interval = ZEVAQuantity::create();
        interval->setTimeValue(1);
        auto sampling = ZEVASampling::alloc();
        sampling->set_numPoints(static_cast<int32_t>(s.rate));
        sampling->set_interval(interval);
        d->set_input_rate(sampling);
        d->set_factor(1);
        auto q = [](double v) {
            auto x = ZEVAQuantity::create();
            x->setTimeValue(v);
            return x;
        };
        d->set_estimated_delay(q(s.delay));
        d->set_correction_applied(q(s.correction));
        stage->set_the_decimation(MutableArray::arrayWithObjects({d}));
    }
    return stage;
}

Ref<ZEVAResponse> makeResponse(std::vector<Ref<ZEVAStage>> stages) {
    auto r = ZEVAResponse::alloc();
    std::vector<ObjectRef> items(stages.begin(), stages.end());
    r->set_stages(MutableArray::arrayWithObjects(std::move(items)));
    return r;
}

Ref<ZEVAResponse> single(const StageSpec& s) { return makeResponse({makeStage(s, velocity(), unit("V"))}); }

Complex at(const ZEVAResponse& r, double f, EvaluationOptions options = {}) {
    Evaluation e;
    std::string error;
    EXPECT_TRUE(evaluate(r, std::span<const double>(&f, 1), options, &e, &error)) << error;
    return e.values.empty() ? Complex(NAN, NAN) : e.values[0];
}

void expectNear(Complex got, Complex want, double relative = 1e-6) {
    EXPECT_LE(std::abs(got - want), relative * std::abs(want)) << "got " << got << ", want " << want;
}

std::vector<fs::path> sharedDocuments() {
    std::vector<fs::path> docs;
    for (const char* dir : {"stationxml", "response"}) {
        fs::path d = fs::path(ZEVA_SHARED_DATA_DIR) / dir;
        if (!fs::is_directory(d)) continue;
        for (const auto& e : fs::directory_iterator(d))
            if (e.path().extension() == ".xml") docs.push_back(e.path());
    }
    std::sort(docs.begin(), docs.end());
    return docs;
}

StationXMLInventory import(const fs::path& path) {
    StationXMLInventory inventory;
    stationxml::Failure failure;
    EXPECT_TRUE(importStationXMLFile(path.string(), &inventory, &failure)) << path << ": " << failure.message;
    return inventory;
}

std::string nameOf(const ZEVAChannel& c) {
    return textOf(c.network_code()) + "." + textOf(c.station_code()) + "." + textOf(c.site_code()) + "." +
           textOf(c.channel_code());
}

}  // namespace

// Stage kinds against their closed forms.
TEST(ResponseEvaluation, StageKindsMatchClosedForms) {
    const double w0 = 2 * kPi * 1.0, h = 0.707;
    Complex p1(-h * w0, w0 * std::sqrt(1 - h * h));
    const double fs = 100;
    struct Case {
        const char* name;
        StageSpec stage;
        EvaluationOptions options;
        std::function<Complex(double)> want;
        std::vector<double> frequencies = {0.013, 0.2, 1.0, 1.7, 2.0, 9.5};
    };
    std::vector<Case> cases = {
        {"single pole, rad/s", {.type = kTransferLaplaceRadians, .poles = {-2 * kPi}, .a0 = static_cast<float>(2 * kPi)}, {},
         [](double f) { return 1.0 / Complex(1, f); }},
        {"single pole, Hz", {.type = kTransferLaplaceHertz, .poles = {-1.0}, .a0 = 1, .gain = 3}, {},
         [](double f) { return 3.0 / Complex(1, f); }},
        {"2-pole seismometer", {.type = kTransferLaplaceRadians, .zeros = {0, 0}, .poles = {p1, std::conj(p1)}, .gain = 1500}, {},
         [&](double f) {
             Complex s(0, 2 * kPi * f);
             return 1500.0 * s * s / (s * s + 2 * h * w0 * s + w0 * w0);
         }},
        {"2-pole seismometer to displacement",
         {.type = kTransferLaplaceRadians, .zeros = {0, 0}, .poles = {p1, std::conj(p1)}},
         {.motion = Motion::Displacement},
         [&](double f) {
             Complex s(0, 2 * kPi * f);
             return s * s * s / (s * s + 2 * h * w0 * s + w0 * w0);
         }},
        {"2-pole seismometer to acceleration",
         {.type = kTransferLaplaceRadians, .zeros = {0, 0}, .poles = {p1, std::conj(p1)}},
         {.motion = Motion::Acceleration},
         [&](double f) {
             Complex s(0, 2 * kPi * f);
             return s / (s * s + 2 * h * w0 * s + w0 * w0);
         }},
        {"1-tap FIR", {.type = kTransferFIRNone, .gain = 2, .numerator = {0.25f}, .rate = fs}, {},
         [](double) { return Complex(0.5, 0); }},
        {"pure delay, filter phase", {.type = kTransferFIRNone, .numerator = {0, 0, 0, 1}, .rate = fs, .correction = 0.03},
         {.delay = DelayPhase::None}, [&](double f) { return std::polar(1.0, -2 * kPi * f * 3 / fs); }},
        {"pure delay, correction applied", {.type = kTransferFIRNone, .numerator = {0, 0, 0, 1}, .rate = fs, .correction = 0.03},
         {}, [](double) { return Complex(1, 0); }},
        {"pure delay, estimated delay", {.type = kTransferFIRNone, .numerator = {0, 0, 0, 1}, .rate = fs, .delay = 0.01, .correction = 0.03},
         {.delay = DelayPhase::Estimated}, [&](double f) { return std::polar(1.0, -2 * kPi * f * 0.02); }},
        {"FIR even symmetry", {.type = kTransferFIREven, .numerator = {0.125f, 0.375f}, .rate = fs}, {.delay = DelayPhase::None},
         [&](double f) {
             Complex z = std::polar(1.0, -2 * kPi * f / fs);
             return 0.125 + 0.375 * z + 0.375 * z * z + 0.125 * z * z * z;
         }},
        {"FIR odd symmetry", {.type = kTransferFIROdd, .numerator = {0.25f, 0.5f}, .rate = fs}, {.delay = DelayPhase::None},
         [&](double f) {
             Complex z = std::polar(1.0, -2 * kPi * f / fs);
             return 0.25 + 0.5 * z + 0.25 * z * z;
         }},
        {"digital IIR", {.type = kTransferDigital, .numerator = {1}, .denominator = {1, -0.5f}, .rate = fs}, {},
         [&](double f) { return 1.0 / (1.0 - 0.5 * std::polar(1.0, -2 * kPi * f / fs)); }},
        {"digital poles and zeros", {.type = kTransferDigitalZ, .zeros = {1.0}, .poles = {0.5}, .a0 = 2, .rate = fs}, {},
         [&](double f) {
             Complex z = std::polar(1.0, 2 * kPi * f / fs);
             return 2.0 * (z - 1.0) / (z - 0.5);
         }},
        {"analog coefficients, Hz", {.type = kTransferAnalogHertz, .numerator = {0, 1}, .denominator = {1, 1}}, {},
         [](double f) { return Complex(0, f) / Complex(1, f); }},
        {"response list, inside", {.type = kTransferResponseList, .list = {{1, 10, 0}, {100, 1000, -90}}}, {},
         [](double f) { return std::polar(10 * f, -90 * (f - 1) / 99 * kPi / 180); }, {1.0, 1.7, 20, 99.5}},
        {"response list, phase unwrapped across 180", {.type = kTransferResponseList, .list = {{1, 1, 170}, {3, 1, -170}}}, {},
         [](double f) { return std::polar(1.0, (170 + 20 * (f - 1) / 2) * kPi / 180); }, {1.0, 1.7, 2.0, 2.9}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto r = single(c.stage);
        for (double f : c.frequencies) expectNear(at(*r, f, c.options), c.want(f));
    }
}

// Long FIRs are evaluated many frequencies at a time (an evenly spaced grid
// by rotation); every value, in the blocks and in the last partial one,
// must be the direct sum's.
TEST(ResponseEvaluation, LongFIROnWholeGridsMatchesTheDirectSum) {
    const double fs = 40;
    std::vector<float> taps;
    for (int k = 0; k < 37; ++k) taps.push_back(static_cast<float>(std::exp(-0.1 * k) * std::cos(0.7 * k)));
    auto r = single({.type = kTransferFIRNone, .numerator = taps, .rate = fs, .correction = 0.125});
    const std::vector<double> linear = frequencyGrid(0, fs / 2, 1001, false), logs = frequencyGrid(1e-3, fs / 2, 999, true);
    for (const auto* grid : {&linear, &logs}) {
        Evaluation e;
        std::string error;
        ASSERT_TRUE(evaluate(*r, *grid, {}, &e, &error)) << error;
        ASSERT_EQ(e.values.size(), grid->size());
        for (size_t i = 0; i < grid->size(); ++i) {
            double f = (*grid)[i];
            Complex want = 0;
            for (size_t k = 0; k < taps.size(); ++k) want += double(taps[k]) * std::polar(1.0, -2 * kPi * f * double(k) / fs);
            want *= std::polar(1.0, 2 * kPi * f * 0.125);
            EXPECT_LE(std::abs(e.values[i] - want), 1e-12 * (std::abs(want) + 1)) << "at " << f << " Hz";
        }
    }
}

TEST(ResponseEvaluation, ResponseListHoldsItsEndsAndSaysSo) {
    auto r = single({.type = kTransferResponseList, .list = {{1, 10, -10}, {100, 1000, -90}}});
    std::vector<double> f = {0.1, 50, 500, 1000};
    Evaluation e;
    std::string error;
    ASSERT_TRUE(evaluate(*r, f, {}, &e, &error)) << error;
    expectNear(e.values[0], std::polar(10.0, -10 * kPi / 180));
    expectNear(e.values[3], std::polar(1000.0, -90 * kPi / 180));
    ASSERT_EQ(e.notes.size(), 1u);
    EXPECT_EQ(e.notes[0], "3 frequencies outside a response list: its end value held");
}

TEST(ResponseEvaluation, RefusalsSayWhy) {
    struct Case {
        Ref<ZEVAResponse> response;
        EvaluationOptions options;
        const char* reason;
    };
    auto two = makeResponse({makeStage({.type = kTransferLaplaceRadians, .poles = {-1.0}}, velocity(), unit("V")),
                             makeStage({.gain = 1000}, unit("V"), unit("COUNTS"))});
    std::vector<Case> cases = {
        {single({.type = kTransferPolynomial}), {}, "stage 1: polynomial stages cannot be evaluated"},
        {single({.type = kTransferFIRNone, .numerator = {1}}), {}, "stage 1: digital stage without an input rate"},
        {two, {.firstStage = 2, .lastStage = 3}, "stages 2 to 3: the response has 2 stage(s)"},
        {two, {.motion = Motion::Velocity, .firstStage = 2}, "input unit V is not a ground motion"},
        {single({.type = kTransferLaplaceRadians, .poles = {-1.0}}), {.firstStage = 0}, "stages 0 to 1"},
    };
    for (const auto& c : cases) {
        Evaluation e;
        std::string error;
        double f = 1;
        EXPECT_FALSE(evaluate(*c.response, std::span<const double>(&f, 1), c.options, &e, &error)) << c.reason;
        EXPECT_EQ(error.rfind(c.reason, 0), 0u) << error;
    }
    // The later stage alone, in its own units.
    Evaluation e;
    std::string error;
    double f = 1;
    ASSERT_TRUE(evaluate(*two, std::span<const double>(&f, 1), {.firstStage = 2}, &e, &error));
    EXPECT_EQ(e.unit, "COUNTS/(V)");
    EXPECT_EQ(e.values[0], Complex(1000, 0));
}

// A response read back from an archive has lost its stage types: the
// inference gives the imported values, or refuses when A0 cannot tell.
TEST(ResponseEvaluation, RestoredResponsesInferWhatTheArchiveLost) {
    const fs::path file = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml" / "DK.BSD..BHZ.xml";
    if (!fs::exists(file)) GTEST_SKIP() << "no shared document " << file;
    auto inventory = import(file);
    auto response = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)->_the_response();
    auto bytes = archivedDataWithRootObject(response);
    ASSERT_TRUE(bytes);
    auto restored = std::dynamic_pointer_cast<ZEVAResponse>(unarchiveObjectWithData(bytes->data(), bytes->size()));
    ASSERT_TRUE(restored);
    auto f = frequencyGrid(0.001, 20, 200, true);
    Evaluation original, back;
    std::string error;
    ASSERT_TRUE(evaluate(*response, f, {}, &original, &error)) << error;
    ASSERT_TRUE(evaluate(*restored, f, {}, &back, &error)) << error;
    std::string notes;
    for (const auto& n : back.notes) notes += n + "\n";
    SCOPED_TRACE(notes);
    for (size_t k = 0; k < f.size(); ++k) expectNear(back.values[k], original.values[k], 1e-9);
    EXPECT_NE(notes.find("stage 1: type not known (restored); poles and zeros taken as Laplace in rad/s"), std::string::npos) << notes;
    EXPECT_NE(notes.find("stage 4: type not known (restored); coefficients taken as digital (the stage decimates), symmetry even"),
              std::string::npos)
        << notes;

    // A0 of 1 at a frequency where neither domain gives 1: refused.
    auto vague = single({.poles = {-1.0}, .a0 = 1, .normFreq = 5});
    double one = 1;
    EXPECT_FALSE(evaluate(*vague, std::span<const double>(&one, 1), {}, &back, &error));
    EXPECT_NE(error.find("neither in rad/s nor in Hz; cannot tell the domain"), std::string::npos) << error;
}

// Every stage of every channel of every shared document against SciPy.
TEST(ResponseEvaluation, EveryStageOfEverySharedDocumentAgreesWithSciPy) {
    if (std::string(ZEVA_SCIPY_PYTHON).empty()) GTEST_SKIP() << "no Python with NumPy and SciPy";
    auto docs = sharedDocuments();
    if (docs.empty()) GTEST_SKIP() << "no shared StationXML documents";
    const std::string script = std::string(ZEVA_SOURCE_DIR) + "/tests/response/scipy_peer.py";
    size_t compared = 0;
    std::set<int32_t> kinds;
    for (const auto& doc : docs) {
        SCOPED_TRACE(doc.string());
        auto peer = test::runCommand(std::string(ZEVA_SCIPY_PYTHON) + " '" + script + "' '" + doc.string() + "'");
        ASSERT_EQ(peer.status, 0) << peer.out;
        auto inventory = import(doc);
        std::istringstream lines(peer.out);
        std::string line;
        std::map<std::pair<size_t, size_t>, std::vector<std::array<double, 3>>> rows;
        while (std::getline(lines, line)) {
            std::istringstream in(line);
            size_t c = 0, s = 0;
            std::string f;
            double re = 0, im = 0;
            in >> c >> s >> f;
            if (f == "skip") continue;
            in >> re >> im;
            rows[{c, s}].push_back({std::stod(f), re, im});
        }
        for (const auto& [key, values] : rows) {
            auto response = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(key.first)->_the_response();
            ASSERT_TRUE(response);
            std::vector<double> f;
            for (const auto& v : values) f.push_back(v[0]);
            Evaluation e;
            std::string error;
            EvaluationOptions options{.firstStage = key.second + 1, .lastStage = key.second + 1, .delay = DelayPhase::None};
            if (!evaluate(*response, f, options, &e, &error)) {
                // Only the generated document has stages SciPy takes and the library refuses.
                EXPECT_NE(doc.filename().string().find("random"), std::string::npos) << error;
                continue;
            }
            kinds.insert(response->_stages()->objectAtIndexAs<ZEVAStage>(key.second)->_type());
            for (size_t k = 0; k < f.size(); ++k) {
                Complex want(values[k][1], values[k][2]), got = e.values[k];
                if (!std::isfinite(std::abs(want)) || !(std::abs(want) > 1e-300)) continue;
                ++compared;
                EXPECT_LE(std::fabs(std::abs(got) / std::abs(want) - 1), 1e-6)
                    << "channel " << key.first << " stage " << key.second + 1 << " at " << f[k] << " Hz";
                double phase = std::remainder(std::arg(got) - std::arg(want), 2 * kPi) * 180 / kPi;
                EXPECT_LE(std::fabs(phase), 1e-4) << "channel " << key.first << " stage " << key.second + 1 << " at " << f[k];
            }
        }
    }
    // Every kind the shared documents hold was compared.
    for (int32_t kind : {kTransferNone, kTransferLaplaceRadians, kTransferLaplaceHertz, kTransferDigitalZ, kTransferDigital,
                         kTransferFIRNone, kTransferFIREven})
        EXPECT_TRUE(kinds.count(kind)) << "no stage of type " << kind << " compared";
    EXPECT_GT(compared, 10000u);
}

// Each complete channel gives its stated sensitivity, except where the
// document itself disagrees; the checks name those and the other faults.
TEST(ResponseEvaluation, SharedDocumentsReproduceTheirSensitivityOrTheCheckSaysWhy) {
    auto docs = sharedDocuments();
    if (docs.empty()) GTEST_SKIP() << "no shared StationXML documents";
    // Channel (or station, for all its channels) -> the start of the warning
    // expected of it; every other channel has none, so its computed
    // sensitivity is within 5 percent of the stated one.
    const std::map<std::string, std::string> expected = {
        // The stated value is the product of the nominal gains (1500 V/(m/s) at
        // 0.02 Hz); the sensor gives 1470 there and the digital high-pass of
        // stage 9 takes another 11 percent.
        {"DK.BSD..BHZ", "computed sensitivity 5.5582e+08 differs from the stated 6.35943e+08 at 0.02 Hz by 12.6 percent"},
        // A0 (70738) normalises the sensor's poles and zeros to 0.906, not 1,
        // at 0.02 Hz: the stated value follows the stage gain alone.
        {"IU.ANMO.00.BH1", "computed sensitivity 3.13271e+09 differs from the stated 3.45661e+09 at 0.02 Hz by 9.4 percent"},
        // The digitiser's stage gives 200 Hz for channels of 100, 20, 1 and 0.1 Hz.
        {"GR.FUR.  .", "decimation ends at 200 Hz, the channel samples at "},
        {"GR.WET.  .", "decimation ends at 200 Hz, the channel samples at "},
        // Stage 1 has no units at all.
        {"SG.MEMB..BDI", "stage 1 output unit ? is not stage 2 input unit V"},
    };
    std::set<std::string> seen;
    size_t reproduced = 0;
    for (const auto& doc : docs) {
        if (doc.filename().string().find("random") != std::string::npos) continue;  // generated values, no instrument
        auto inventory = import(doc);
        for (size_t i = 0; i < inventory.channels->count(); ++i) {
            auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
            auto response = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)->_the_response();
            std::string name = nameOf(*channel);
            SCOPED_TRACE(name);
            ASSERT_TRUE(response && response->_the_sensitivity());
            auto sampling = channel->_sampling_info();
            double rate = sampling->_numPoints() / sampling->_interval()->value();
            auto warnings = check(*response, rate);
            auto want = std::find_if(expected.begin(), expected.end(), [&](const auto& e) { return name.starts_with(e.first); });
            if (want == expected.end()) {
                EXPECT_TRUE(warnings.empty()) << warnings.front();
                ++reproduced;
            } else {
                seen.insert(want->first);
                EXPECT_NE(std::find_if(warnings.begin(), warnings.end(), [&](const std::string& w) { return w.starts_with(want->second); }),
                          warnings.end())
                    << (warnings.empty() ? "no warning" : warnings.front());
            }
        }
    }
    EXPECT_EQ(seen.size(), expected.size());
    EXPECT_GT(reproduced, 10u);
}

namespace {

const fs::path kULN = fs::path(ZEVA_SHARED_DATA_DIR) / "response";

Ref<ZEVAResponse> ulnResponse() {
    auto inventory = import(kULN / "IU_ULN_00_LH1.xml");
    return inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)->_the_response();
}

}  // namespace

// A wavelet of ground velocity, recorded through the real ULN response (by a
// plain DFT), corrected back within 0.1 percent of its peak.
TEST(InstrumentCorrection, SyntheticGroundMotionComesBackThroughARealResponse) {
    if (!fs::exists(kULN / "IU_ULN_00_LH1.xml")) GTEST_SKIP() << "no shared response data in " << kULN;
    auto response = ulnResponse();
    const size_t n = 4096, length = 2 * n;
    std::vector<double> ground(n), counts(n);
    for (size_t i = 0; i < n; ++i) {
        double t = static_cast<double>(i) - 2000.0;
        ground[i] = 1e-6 * std::exp(-(t / 300) * (t / 300)) * std::sin(2 * kPi * 0.03 * t);
    }
    std::vector<double> f(length / 2 + 1);
    for (size_t k = 0; k < f.size(); ++k) f[k] = static_cast<double>(k) / static_cast<double>(length);
    Evaluation h;
    std::string error;
    ASSERT_TRUE(evaluate(*response, f, {.motion = Motion::Velocity}, &h, &error)) << error;
    std::vector<Complex> twiddle(length);
    for (size_t j = 0; j < length; ++j) twiddle[j] = std::polar(1.0, -2 * kPi * static_cast<double>(j) / static_cast<double>(length));
    std::vector<Complex> spectrum(f.size());
    for (size_t k = 0; k < f.size(); ++k) {
        Complex sum = 0;
        for (size_t i = 0; i < n; ++i) sum += ground[i] * twiddle[(k * i) % length];
        spectrum[k] = sum * h.values[k];
    }
    for (size_t i = 0; i < n; ++i) {
        double sum = spectrum[0].real() + spectrum[length / 2].real() * ((i % 2) ? -1 : 1);
        for (size_t k = 1; k < length / 2; ++k) sum += 2 * (spectrum[k] * std::conj(twiddle[(k * i) % length])).real();
        counts[i] = sum / static_cast<double>(length);
    }
    std::vector<double> back;
    CorrectionOptions options{.output = Motion::Velocity, .waterLevelDb = std::nullopt,
                              .preFilter = std::array<double, 4>{0.002, 0.004, 0.15, 0.3}};
    ASSERT_TRUE(correctSamples(counts, 1.0, *response, options, &back, nullptr, &error)) << error;
    ASSERT_EQ(back.size(), n);
    double worst = 0;
    for (size_t i = 0; i < n; ++i) worst = std::max(worst, std::fabs(back[i] - ground[i]));
    EXPECT_LT(worst, 1e-3 * 1e-6);
}

// The shared three hours of IU.ULN.00.LH1 corrected to velocity: the command,
// and the library against SciPy's response and NumPy's transforms.
TEST(InstrumentCorrection, RealRecordingAgreesWithSciPyAndNumPy) {
    const fs::path mseed = kULN / "IU_ULN_00_LH1_2015-07-18T02.mseed", xml = kULN / "IU_ULN_00_LH1.xml";
    if (!fs::exists(mseed)) GTEST_SKIP() << "no shared response data in " << kULN;
    auto read = miniseed::readSeismogramsFromFile(mseed.string());
    ASSERT_TRUE(read && read->seismograms.size() == 1);
    auto seismogram = read->seismograms[0];
    auto inventory = import(xml);
    auto response = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)->_the_response();
    CorrectionOptions options{.output = Motion::Velocity, .waterLevelDb = 60.0,
                              .preFilter = std::array<double, 4>{0.005, 0.01, 0.3, 0.45}};
    std::string error;
    auto corrected = correctSeismogram(*seismogram, *response, options, nullptr, &error);
    ASSERT_TRUE(corrected) << error;
    EXPECT_EQ(textOf(corrected->_y_unit()->_name()), "M/S");
    EXPECT_EQ(corrected->_begin_time(), seismogram->_begin_time());
    auto got = corrected->samples();
    ASSERT_EQ(got.size(), seismogram->samples().size());

    if (std::string(ZEVA_SCIPY_PYTHON).empty()) GTEST_SKIP() << "no Python with NumPy and SciPy";
    fs::path samples = fs::temp_directory_path() / "zeva_response_uln_samples.txt";
    {
        std::ofstream out(samples);
        out.precision(9);
        for (float v : seismogram->samples()) out << v << "\n";
    }
    auto peer = test::runCommand(std::string(ZEVA_SCIPY_PYTHON) + " '" + ZEVA_SOURCE_DIR + "/tests/response/scipy_peer.py' correct '" +
                                 xml.string() + "' '" + samples.string() + "' 1 60 0.005 0.01 0.3 0.45 " +
                                 std::to_string(fastLength(2 * got.size())));
    fs::remove(samples);
    ASSERT_EQ(peer.status, 0) << peer.out.substr(0, 500);
    std::istringstream in(peer.out);
    std::vector<double> want;
    for (double v; in >> v;) want.push_back(v);
    ASSERT_EQ(want.size(), got.size());
    double peak = 0, worst = 0;
    for (size_t i = 0; i < got.size(); ++i) peak = std::max(peak, std::fabs(want[i])), worst = std::max(worst, std::fabs(got[i] - want[i]));
    EXPECT_GT(peak, 1e-9);   // a real signal in m/s, not counts
    EXPECT_LT(peak, 1e-3);
    EXPECT_LT(worst, 1e-5 * peak);
}

TEST(ResponseCommands, PrintPlotCorrectAndRefuse) {
    const std::string xml = (kULN / "IU_ULN_00_LH1.xml").string(), mseed = (kULN / "IU_ULN_00_LH1_2015-07-18T02.mseed").string();
    if (!fs::exists(xml)) GTEST_SKIP() << "no shared response data in " << kULN;
    const fs::path png = fs::temp_directory_path() / "zeva_response_bode.png";
    struct Case {
        std::string args;
        int status;
        std::vector<std::string> contains;
    };
    std::vector<Case> cases = {
        {"response '" + xml + "' --channel IU.ULN.00.LH1 --freqs 0.01 0.1 5 --plot '" + png.string() + "'", 0,
         {"# IU.ULN.00.LH1 2013-09-29T00:00:00.0000Z", "# frequency (Hz), amplitude (COUNTS/(M/S)), phase (degrees)\n1.000000e-02 "}},
        {"response '" + xml + "' --channel 'IU.*.*.LH?' --units acc --freqs 1 2 2 --linear --time 2015-07-18T02:27:33", 0,
         {"amplitude (COUNTS/(M/S**2))", "\n2.000000e+00 "}},
        {"response '" + xml + "' --channel IU.ULN.00.BHZ", 1, {}},
        {"response '" + xml + "' --channel IU.ULN.00", 2, {}},
        {"response '" + xml + "' --channel IU.ULN.00.LH1 --units m", 2, {}},
        {"response '" + xml + "' --channel IU.ULN.00.LH1 --stages 3-2", 2, {}},
        {"seismogram '" + mseed + "' --inventory '" + xml + "' --output vel --pre-filt 0.005 0.01 0.3 0.45", 0,
         {"10800 samples from 2015-07-18T02:27:33", ", 1 Hz, min ", "(M/S)\n"}},
        {"seismogram '" + mseed + "' --output vel", 2, {}},
        {"seismogram '" + mseed + "' --inventory '" + xml + "' --output vel --pre-filt 0.3 0.2 0.1 0.4", 2, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        auto run = test::runCli(c.args + " 2>&1");
        EXPECT_EQ(run.status, c.status) << run.out.substr(0, 400);
        for (const auto& piece : c.contains) EXPECT_NE(run.out.find(piece), std::string::npos) << run.out.substr(0, 400);
    }
    std::ifstream image(png, std::ios::binary);
    char magic[4] = {};
    image.read(magic, 4);
    EXPECT_EQ(std::string(magic + 1, 3), "PNG");
    fs::remove(png);
}
