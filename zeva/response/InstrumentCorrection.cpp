#include "zeva/response/InstrumentCorrection.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <mutex>
#include <numbers>

#include <fftw3.h>
#include <fmt/core.h>

#include "zeva/platform/Data.hpp"

namespace zeva::response {

namespace {

// FFTW's planner is not thread-safe; plans are made one at a time.
std::mutex& plannerLock() {
    static std::mutex m;
    return m;
}

struct FFTWBuffer {
    explicit FFTWBuffer(size_t bytes) : p(fftw_malloc(bytes)) {}
    ~FFTWBuffer() { fftw_free(p); }
    FFTWBuffer(const FFTWBuffer&) = delete;
    FFTWBuffer& operator=(const FFTWBuffer&) = delete;
    void* p;
};

struct Plan {
    fftw_plan p = nullptr;
    ~Plan() {
        if (p) {
            std::lock_guard lock(plannerLock());
            fftw_destroy_plan(p);
        }
    }
};

double preFilterWeight(const std::array<double, 4>& c, double f) {
    if (f <= c[0] || f >= c[3]) return 0;
    if (f < c[1]) return 0.5 * (1 - std::cos(std::numbers::pi * (f - c[0]) / (c[1] - c[0])));
    if (f > c[2]) return 0.5 * (1 + std::cos(std::numbers::pi * (f - c[2]) / (c[3] - c[2])));
    return 1;
}

Ref<ZEVAUnit> motionUnit(Motion motion) {
    int order = motion == Motion::Displacement ? 0 : motion == Motion::Velocity ? 1 : 2;
    auto plain = [](int32_t base, int32_t exponent) {
        auto u = ZEVAUnit::createWithZEVAUnitBase(base);
        u->set_exponent(exponent);
        return u;
    };
    auto unit = ZEVAUnit::createWithZEVAUnitBase(ZEVAUnit::kComposite);
    auto elements = MutableArray::array();
    elements->addObject(plain(ZEVAUnit::kMeter, 1));
    if (order > 0) elements->addObject(plain(ZEVAUnit::kSecond, -order));
    unit->set_exponent(1);
    unit->set_elements(elements);
    unit->set_name(str(order == 0 ? "M" : order == 1 ? "M/S" : "M/S**2"));
    return unit;
}

}  // namespace

size_t fastLength(size_t n) {
    size_t best = SIZE_MAX;
    for (size_t a = 1; a < 2 * n + 2; a *= 2)
        for (size_t b = a; b < 2 * n + 2; b *= 3)
            for (size_t c = b; c < 2 * n + 2; c *= 5)
                if (c >= n && c < best) best = c;
    return std::max<size_t>(best, 1);
}

bool correctSamples(std::span<const double> samples, double rate, const ZEVAResponse& response,
                    const CorrectionOptions& options, std::vector<double>* out, std::vector<std::string>* notes,
                    std::string* error) {
    auto fail = [&](std::string why) {
        if (error) *error = std::move(why);
        return false;
    };
    if (!(rate > 0) || !std::isfinite(rate)) return fail("the seismogram has no sample rate");
    if (options.preFilter) {
        const auto& c = *options.preFilter;
        if (!(c[0] >= 0 && c[0] < c[1] && c[1] <= c[2] && c[2] < c[3]))
            return fail("pre-filter corners must rise: F1 < F2 <= F3 < F4");
    }
    if (options.waterLevelDb && !std::isfinite(*options.waterLevelDb)) return fail("water level is not a number");
    const size_t n = samples.size();
    out->assign(n, 0.0);
    if (n == 0) return true;

    const size_t length = fastLength(2 * n);
    const size_t bins = length / 2 + 1;
    FFTWBuffer real(sizeof(double) * length), spectrum(sizeof(fftw_complex) * bins);
    auto* x = static_cast<double*>(real.p);
    auto* X = static_cast<std::complex<double>*>(spectrum.p);
    Plan forward, inverse;
    {
        std::lock_guard lock(plannerLock());
        forward.p = fftw_plan_dft_r2c_1d(static_cast<int>(length), x, reinterpret_cast<fftw_complex*>(X), FFTW_ESTIMATE);
        inverse.p = fftw_plan_dft_c2r_1d(static_cast<int>(length), reinterpret_cast<fftw_complex*>(X), x, FFTW_ESTIMATE);
    }
    if (!forward.p || !inverse.p) return fail("FFTW cannot plan a transform of that length");

    // Mean and trend: the least-squares line through (i, x_i).
    double meanI = (static_cast<double>(n) - 1) / 2, meanX = 0;
    for (double v : samples) meanX += v;
    meanX /= static_cast<double>(n);
    double sxy = 0, sxx = 0;
    for (size_t i = 0; i < n; ++i) {
        double di = static_cast<double>(i) - meanI;
        sxy += di * (samples[i] - meanX), sxx += di * di;
    }
    double slope = sxx > 0 ? sxy / sxx : 0;
    size_t taper = n / 20;
    for (size_t i = 0; i < n; ++i) {
        double v = samples[i] - meanX - slope * (static_cast<double>(i) - meanI);
        size_t edge = std::min(i, n - 1 - i);
        if (edge < taper) v *= 0.5 * (1 - std::cos(std::numbers::pi * static_cast<double>(edge) / static_cast<double>(taper)));
        x[i] = v;
    }
    std::fill(x + n, x + length, 0.0);
    fftw_execute(forward.p);

    const double df = rate / static_cast<double>(length);
    size_t used = bins;
    if (options.preFilter) used = std::min(bins, static_cast<size_t>(std::floor((*options.preFilter)[3] / df)) + 1);
    std::vector<double> frequencies(used);
    for (size_t k = 0; k < used; ++k) frequencies[k] = static_cast<double>(k) * df;
    EvaluationOptions evaluation;
    evaluation.motion = options.output;
    evaluation.delay = options.delay;
    Evaluation h;
    if (!evaluate(response, frequencies, evaluation, &h, error)) return false;
    if (notes) notes->insert(notes->end(), h.notes.begin(), h.notes.end());

    double floor = 0;
    if (options.waterLevelDb) {
        double peak = 0;  // squared
        for (const auto& v : h.values) {
            double power = std::norm(v);
            if (std::isfinite(power)) peak = std::max(peak, power);
        }
        floor = std::sqrt(peak) * std::pow(10.0, -*options.waterLevelDb / 20);
    }
    const double scale = 1.0 / static_cast<double>(length);
    for (size_t k = 0; k < bins; ++k) {
        if (k >= used) {
            X[k] = 0;
            continue;
        }
        std::complex<double> r = h.values[k];
        double power = std::norm(r);
        if (power < floor * floor) {
            double amplitude = std::sqrt(power);
            r = amplitude > 0 ? r * (floor / amplitude) : std::complex<double>(floor, 0);
            power = floor * floor;
        }
        double weight = options.preFilter ? preFilterWeight(*options.preFilter, frequencies[k]) : 1.0;
        // Zero where the response is (or reaches) nothing and no water level holds it up.
        if (weight == 0 || !(power > 0) || !std::isfinite(power)) {
            X[k] = 0;
        } else {
            // X / r = X conj(r) / |r|^2
            double factor = weight * scale / power;
            std::complex<double> v = X[k];
            X[k] = {(v.real() * r.real() + v.imag() * r.imag()) * factor, (v.imag() * r.real() - v.real() * r.imag()) * factor};
        }
    }
    X[0] = 0;  // the mean is gone and a response at 0 Hz is no ground motion's
    fftw_execute(inverse.p);
    std::memcpy(out->data(), x, n * sizeof(double));
    return true;
}

Ref<ZEVALocalSeismogram> correctSeismogram(const ZEVALocalSeismogram& seismogram, const ZEVAResponse& response,
                                           const CorrectionOptions& options, std::vector<std::string>* notes,
                                           std::string* error) {
    // The exact values where the decode kept them (integer counts, 64-bit
    // floats), else the 32-bit floats.
    auto in = seismogram.samples();
    auto counts = seismogram.counts();
    auto doubles = seismogram.doubles();
    std::vector<double> samples, corrected;
    if (!counts.empty()) samples.assign(counts.begin(), counts.end());
    else if (!doubles.empty()) samples.assign(doubles.begin(), doubles.end());
    else samples.assign(in.begin(), in.end());
    double interval = seismogram.sampleInterval();
    if (!(interval > 0)) {
        if (error) *error = "the seismogram has no sample rate";
        return nullptr;
    }
    if (!correctSamples(samples, 1.0 / interval, response, options, &corrected, notes, error)) return nullptr;
    auto result = ZEVALocalSeismogram::alloc();
    result->set_id(seismogram._id());
    result->set_properties(seismogram._properties());
    result->set_begin_time(seismogram._begin_time());
    result->set_num_points(static_cast<int32_t>(corrected.size()));
    result->set_sampling_info(seismogram._sampling_info());
    result->set_channel_id(seismogram._channel_id());
    result->set_time_corrections(seismogram._time_corrections());
    result->set_sample_rate_history(seismogram._sample_rate_history());
    if (options.output != Motion::Default) result->set_y_unit(motionUnit(options.output));
    std::vector<float> values(corrected.begin(), corrected.end());
    result->setTheSeisAmps(Data::dataWithBytes(values.data(), values.size() * sizeof(float)));
    return result;
}

}  // namespace zeva::response
