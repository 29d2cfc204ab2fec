#include "zeva/response/ResponseEvaluation.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

#include <fmt/core.h>

#include "zeva/inventory/StationXML.hpp"
#include "zeva/platform/Number.hpp"

namespace zeva::response {

namespace {

using Complex = std::complex<double>;
constexpr double kTwoPi = 2 * std::numbers::pi;

std::string unitName(const Ref<ZEVAUnit>& unit) {
    if (!unit) return "?";
    auto name = unit->_name();
    return name ? textOf(name) : unit->description();
}

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// The motion a unit measures (0 displacement, 1 velocity, 2 acceleration)
// and its size in metres: false for anything but metres over seconds.
bool motionOf(const Ref<ZEVAUnit>& unit, int* order, double* metres) {
    if (!unit) return false;
    std::vector<Ref<ZEVAUnit>> factors;
    if (unit->_the_unit_base() == ZEVAUnit::kComposite && unit->_elements()) {
        for (size_t i = 0; i < unit->_elements()->count(); ++i)
            if (auto f = unit->_elements()->objectAtIndexAs<ZEVAUnit>(i)) factors.push_back(f);
    } else {
        factors.push_back(unit);
    }
    int metre = 0, second = 0;
    double scale = 1;
    for (const auto& f : factors) {
        if (f->_the_unit_base() == ZEVAUnit::kMeter) metre += f->_exponent(), scale *= std::pow(10.0, f->_power() * f->_exponent());
        else if (f->_the_unit_base() == ZEVAUnit::kSecond && f->_power() == 0) second += f->_exponent();
        else return false;
    }
    if (metre != 1 || second > 0 || second < -2) return false;
    *order = -second;
    *metres = scale;
    return true;
}

double rateOf(const Ref<ZEVASampling>& sampling) {
    if (!sampling || !sampling->_interval()) return 0;
    double seconds = sampling->_interval()->_value();
    return seconds > 0 ? sampling->_numPoints() / seconds : 0;
}

Ref<ZEVADecimation> decimationOf(const ZEVAStage& stage) {
    auto list = stage._the_decimation();
    return list && list->count() > 0 ? list->objectAtIndexAs<ZEVADecimation>(0) : nullptr;
}

double quantity(const Ref<ZEVAQuantity>& q) { return q ? q->_value() : 0; }

struct PoleZeros {
    std::vector<Complex> poles, zeros;
};

PoleZeros poleZerosOf(const ZEVAPoleZeroFilter& filter) {
    PoleZeros pz;
    auto fill = [](const Ref<Array>& list, std::vector<Complex>& into) {
        if (!list) return;
        for (size_t i = 0; i < list->count(); ++i) {
            auto item = list->objectAtIndex(i);
            if (auto e = std::dynamic_pointer_cast<ZEVAComplexNumberErrored>(item))
                into.emplace_back(e->_real(), e->_imaginary());
            else if (auto c = std::dynamic_pointer_cast<ZEVAComplexNumber>(item))
                into.emplace_back(c->_real_part(), c->_imaginary_part());
        }
    };
    fill(filter._poles(), pz.poles);
    fill(filter._zeros(), pz.zeros);
    return pz;
}

// Complex products written out: std::complex's operator* checks every
// product for infinities and NaNs through a library call, which dominates
// these loops. Values here are finite or the stage is meaningless anyway.
inline Complex mul(Complex a, Complex b) {
    return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

inline Complex divide(Complex a, Complex b) {
    double scale = std::max(std::fabs(b.real()), std::fabs(b.imag()));
    if (!(scale > 0) || !std::isfinite(scale)) return a / b;
    Complex bs(b.real() / scale, b.imag() / scale), as(a.real() / scale, a.imag() / scale);
    double norm = bs.real() * bs.real() + bs.imag() * bs.imag();
    return {(as.real() * bs.real() + as.imag() * bs.imag()) / norm, (as.imag() * bs.real() - as.real() * bs.imag()) / norm};
}

Complex rational(const PoleZeros& pz, Complex x) {
    Complex num = 1, den = 1;
    for (const auto& z : pz.zeros) num = mul(num, x - z);
    for (const auto& p : pz.poles) den = mul(den, x - p);
    return divide(num, den);
}

// Sum c_k x^k by Horner's rule, as four interleaved chains in x^4 (one
// chain waits on each multiply-add; four keep the processor busy).
Complex polynomial(const std::vector<double>& c, Complex x) {
    const size_t n = c.size();
    if (n < 8) {
        double re = 0, im = 0;
        for (size_t k = n; k-- > 0;) {
            double r = re * x.real() - im * x.imag() + c[k];
            im = re * x.imag() + im * x.real();
            re = r;
        }
        return {re, im};
    }
    const Complex x2 = mul(x, x), x3 = mul(x2, x), x4 = mul(x2, x2);
    const double yr = x4.real(), yi = x4.imag();
    double re[4] = {0, 0, 0, 0}, im[4] = {0, 0, 0, 0};
    size_t top = (n + 3) / 4;  // terms per chain
    for (size_t m = top; m-- > 0;) {
        for (size_t j = 0; j < 4; ++j) {
            size_t k = 4 * m + j;
            double add = k < n ? c[k] : 0.0;
            double r = re[j] * yr - im[j] * yi + add;
            im[j] = re[j] * yi + im[j] * yr;
            re[j] = r;
        }
    }
    Complex sum(re[0], im[0]);
    sum += mul(Complex(re[1], im[1]), x);
    sum += mul(Complex(re[2], im[2]), x2);
    sum += mul(Complex(re[3], im[3]), x3);
    return sum;
}

// A stage made ready for evaluation: what kind, and its numbers in double.
struct Prepared {
    enum Kind { Gain, Laplace, Digital, AnalogCoefficients, DigitalCoefficients, List } kind = Gain;
    double sScale = kTwoPi;  // s = i * sScale * f
    double a0 = 1, gain = 1;
    double inputRate = 0, delay = 0;  // delay: seconds the phase is advanced by
    PoleZeros pz;
    std::vector<double> numerator, denominator;
    bool firSymmetric = false;  // numerator is symmetric: evaluated as a cosine sum
    std::vector<double> cosineTerms;  // a_m of sum a_m cos(m w + phi), phi = w/2 when halfStep
    bool halfStep = false;
    double centre = 0;              // the symmetric FIR's delay in samples
    std::vector<double> listFrequency, listLogAmplitude, listPhase;  // phase unwrapped, radians
};

std::vector<double> coefficients(const ZEVAStage& stage, bool numerator) {
    std::vector<double> out;
    auto filters = stage._filters();
    if (!filters) return out;
    for (size_t i = 0; i < filters->count(); ++i)
        if (auto f = filters->objectAtIndexAs<ZEVACoefficientFilter>(i)) {
            auto c = numerator ? f->_numerator() : f->_denominator();
            if (c) out.push_back(c->_value());
        }
    return out;
}

void expandSymmetry(std::vector<double>& taps, int32_t type) {
    if (type == kTransferFIREven) {
        size_t n = taps.size();
        for (size_t k = n; k-- > 0;) taps.push_back(taps[k]);
    } else if (type == kTransferFIROdd && !taps.empty()) {
        size_t n = taps.size();
        for (size_t k = n - 1; k-- > 0;) taps.push_back(taps[k]);
    }
}

// rate: the sample rate the stages before this one deliver (0 when none
// decimates), the input rate of a digital stage that has no decimation.
bool prepare(const ZEVAStage& stage, size_t number, DelayPhase delayPhase, double rate, Prepared* p,
             std::vector<std::string>& notes, std::string* error) {
    auto fail = [&](const std::string& why) {
        if (error) *error = fmt::format("stage {}: {}", number, why);
        return false;
    };
    if (auto gain = stage._the_gain()) p->gain = gain->_gain_factor();
    auto decimation = decimationOf(stage);
    if (decimation) {
        p->inputRate = rateOf(decimation->_input_rate());
        p->delay = delayPhase == DelayPhase::Correction ? quantity(decimation->_correction_applied())
                   : delayPhase == DelayPhase::Estimated ? quantity(decimation->_estimated_delay())
                                                          : 0;
    } else {
        p->inputRate = rate;
    }
    auto filters = stage._filters();
    Ref<ZEVAPoleZeroFilter> pzFilter;
    Ref<ZEVAListFilter> listFilter;
    bool hasCoefficients = false;
    for (size_t i = 0; filters && i < filters->count(); ++i) {
        auto item = filters->objectAtIndex(i);
        if (auto f = std::dynamic_pointer_cast<ZEVAPoleZeroFilter>(item)) pzFilter = f;
        else if (auto l = std::dynamic_pointer_cast<ZEVAListFilter>(item)) listFilter = l;
        else if (std::dynamic_pointer_cast<ZEVACoefficientFilter>(item)) hasCoefficients = true;
    }
    if (auto norms = stage._the_normalization(); norms && norms->count() > 0)
        if (auto n = norms->objectAtIndexAs<ZEVANormalization>(0)) p->a0 = n->_ao_normalization_factor();

    int32_t type = stage._type();
    auto input = stage._input_units();
    std::string inputName = upper(unitName(input));
    bool digital = decimation || (input && input->_the_unit_base() == ZEVAUnit::kCount) || inputName == "COUNTS" ||
                   inputName == "COUNT";
    const char* why = decimation ? "the stage decimates" : "its input is counts";
    if (type == kTransferNone && (pzFilter || listFilter || hasCoefficients)) {
        // A restored stage: infer what the archive did not keep.
        if (listFilter) {
            type = kTransferResponseList;
        } else if (pzFilter) {
            if (digital) {
                type = kTransferDigitalZ;
                notes.push_back(fmt::format("stage {}: type not known (restored); poles and zeros taken as digital ({})", number, why));
            } else {
                double fn = 0;
                if (auto norms = stage._the_normalization(); norms && norms->count() > 0)
                    if (auto n = norms->objectAtIndexAs<ZEVANormalization>(0)) fn = n->_normalization_freq();
                PoleZeros pz = poleZerosOf(*pzFilter);
                double radians = std::abs(p->a0 * rational(pz, Complex(0, kTwoPi * fn)));
                double hertz = std::abs(p->a0 * rational(pz, Complex(0, fn)));
                bool radiansFit = std::fabs(radians - 1) < 0.02, hertzFit = std::fabs(hertz - 1) < 0.02;
                if (!radiansFit && !hertzFit)
                    return fail(fmt::format("type not known (restored) and A0 normalises the poles and zeros to 1 at {} Hz "
                                            "neither in rad/s nor in Hz; cannot tell the domain",
                                            fn));
                type = radiansFit ? kTransferLaplaceRadians : kTransferLaplaceHertz;
                notes.push_back(fmt::format("stage {}: type not known (restored); poles and zeros taken as Laplace in {} "
                                            "(A0 normalises them to 1 at {} Hz{})",
                                            number, radiansFit ? "rad/s" : "Hz", fn,
                                            radiansFit && hertzFit ? " in both; rad/s, the usual domain, taken" : ""));
            }
        } else if (digital) {
            std::vector<double> taps = coefficients(stage, true);
            bool denominators = !coefficients(stage, false).empty();
            type = kTransferDigital;
            const char* symmetry = "none";
            if (!denominators) {
                double sum = 0;
                for (double t : taps) sum += t;
                double last = taps.empty() ? 0 : taps.back();
                // The symmetry whose gain at 0 Hz comes closest to 1 (within 10 percent).
                double none = std::fabs(sum - 1), even = std::fabs(2 * sum - 1), odd = std::fabs(2 * sum - last - 1);
                double best = std::min({none, even, odd});
                if (best > 0.1) type = kTransferDigital;
                else if (best == none) type = kTransferFIRNone;
                else if (best == even) type = kTransferFIREven, symmetry = "even";
                else type = kTransferFIROdd, symmetry = "odd";
            }
            notes.push_back(fmt::format("stage {}: type not known (restored); coefficients taken as digital ({}), symmetry {}",
                                        number, why, symmetry));
        } else {
            type = kTransferAnalogRadians;
            notes.push_back(fmt::format("stage {}: type not known (restored); coefficients taken as analog in rad/s", number));
        }
    }

    switch (type) {
    case kTransferNone:
        p->kind = Prepared::Gain;
        return true;
    case kTransferLaplaceRadians:
    case kTransferLaplaceHertz:
    case kTransferDigitalZ:
        if (!pzFilter) return fail("poles and zeros type without a pole-zero filter");
        p->pz = poleZerosOf(*pzFilter);
        p->kind = type == kTransferDigitalZ ? Prepared::Digital : Prepared::Laplace;
        p->sScale = type == kTransferLaplaceHertz ? 1.0 : kTwoPi;
        break;
    case kTransferAnalogRadians:
    case kTransferAnalogHertz:
        p->kind = Prepared::AnalogCoefficients;
        p->sScale = type == kTransferAnalogHertz ? 1.0 : kTwoPi;
        p->numerator = coefficients(stage, true);
        p->denominator = coefficients(stage, false);
        if (p->numerator.empty()) p->numerator = {1.0};
        if (p->denominator.empty()) p->denominator = {1.0};
        return true;
    case kTransferDigital:
    case kTransferFIRNone:
    case kTransferFIREven:
    case kTransferFIROdd:
        p->kind = Prepared::DigitalCoefficients;
        p->numerator = coefficients(stage, true);
        p->denominator = coefficients(stage, false);
        if (p->numerator.empty() && p->denominator.empty()) {
            p->kind = Prepared::Gain;  // no coefficients at all: a gain (and decimation) only
            return true;
        }
        if (p->numerator.empty()) p->numerator = {1.0};
        expandSymmetry(p->numerator, type);
        p->firSymmetric = p->denominator.empty() && std::equal(p->numerator.begin(), p->numerator.end(), p->numerator.rbegin());
        if (p->firSymmetric) {
            const auto& h = p->numerator;
            size_t n = h.size();
            p->centre = (static_cast<double>(n) - 1) / 2;
            p->halfStep = n % 2 == 0;
            // Tap k lies (centre - k) samples from the centre: m whole steps
            // (odd length) or m and a half (even length).
            for (size_t m = 0; m < (n + 1) / 2; ++m) {
                size_t k = (n - 1) / 2 - m;  // odd: centre - m; even: the tap m + 1/2 before the centre
                p->cosineTerms.push_back(n % 2 == 1 && m == 0 ? h[k] : 2 * h[k]);
            }
        }
        break;
    case kTransferResponseList: {
        if (!listFilter) return fail("response list type without a list");
        auto f = listFilter->_float(), a = listFilter->_amplitude(), ph = listFilter->_phase();
        size_t n = f ? f->count() : 0;
        if (n == 0 || !a || !ph || a->count() != n || ph->count() != n)
            return fail("response list without parallel frequencies, amplitudes and phases");
        struct Row {
            double f, a, phase;
        };
        std::vector<Row> rows;
        auto value = [](const Ref<Array>& list, size_t i) {
            auto boxed = list->objectAtIndexAs<zeva::Number>(i);
            return boxed ? boxed->doubleValue() : std::nan("");
        };
        for (size_t i = 0; i < n; ++i) rows.push_back({value(f, i), value(a, i), value(ph, i) * std::numbers::pi / 180});
        std::stable_sort(rows.begin(), rows.end(), [](const Row& x, const Row& y) { return x.f < y.f; });
        for (const auto& r : rows)
            if (!(r.f > 0) || !(r.a > 0) || !std::isfinite(r.phase))
                return fail("response list with a frequency or amplitude not above 0");
        double previous = 0, offset = 0;
        for (size_t i = 0; i < rows.size(); ++i) {
            double phase = rows[i].phase + offset;
            if (i > 0) {
                while (phase - previous > std::numbers::pi) phase -= kTwoPi, offset -= kTwoPi;
                while (phase - previous < -std::numbers::pi) phase += kTwoPi, offset += kTwoPi;
            }
            previous = phase;
            p->listFrequency.push_back(std::log(rows[i].f));
            p->listLogAmplitude.push_back(std::log(rows[i].a));
            p->listPhase.push_back(phase);
        }
        p->kind = Prepared::List;
        return true;
    }
    case kTransferPolynomial:
        return fail("polynomial stages cannot be evaluated (their coefficients are not kept)");
    default:
        return fail(fmt::format("unknown transfer type {}", type));
    }
    if (p->kind == Prepared::Digital || p->kind == Prepared::DigitalCoefficients) {
        if (!(p->inputRate > 0)) return fail("digital stage without an input rate (no decimation in it or before it)");
    }
    return true;
}

// The stage's response at one frequency, without its gain.
Complex stageValue(const Prepared& p, double f, size_t* held) {
    switch (p.kind) {
    case Prepared::Gain:
        return 1;
    case Prepared::Laplace:
        return p.a0 * rational(p.pz, Complex(0, p.sScale * f));
    case Prepared::AnalogCoefficients: {
        Complex s(0, p.sScale * f);
        return divide(polynomial(p.numerator, s), polynomial(p.denominator, s));
    }
    case Prepared::Digital:
    case Prepared::DigitalCoefficients: {
        double w = kTwoPi * f / p.inputRate;
        Complex value;
        if (p.kind == Prepared::Digital) {
            value = p.a0 * rational(p.pz, std::polar(1.0, w));
        } else if (p.firSymmetric) {
            // A symmetric FIR is its centre delay times a real cosine sum,
            // sum a_m cos(m w + phi), summed by Clenshaw's recurrence.
            const auto& a = p.cosineTerms;
            double twoCos = 2 * std::cos(w), b1 = 0, b2 = 0;
            for (size_t m = a.size(); m-- > 1;) {
                double b0 = a[m] + twoCos * b1 - b2;
                b2 = b1, b1 = b0;
            }
            double b0 = a[0] + twoCos * b1 - b2;
            double phi = p.halfStep ? w / 2 : 0;
            double sum = b0 * std::cos(phi) - b1 * std::cos(phi - w);
            value = std::polar(sum, -w * p.centre);
        } else {
            Complex zInverse = std::polar(1.0, -w);
            value = polynomial(p.numerator, zInverse);
            if (!p.denominator.empty()) value = divide(value, polynomial(p.denominator, zInverse));
        }
        if (p.delay != 0) value = mul(value, std::polar(1.0, kTwoPi * f * p.delay));
        return value;
    }
    case Prepared::List: {
        if (!(f > 0)) f = std::exp(p.listFrequency.front()), ++*held;
        double x = std::log(f);
        const auto& xs = p.listFrequency;
        if (x <= xs.front() || x >= xs.back()) {
            if (x < xs.front() || x > xs.back()) ++*held;
            size_t i = x <= xs.front() ? 0 : xs.size() - 1;
            return std::polar(std::exp(p.listLogAmplitude[i]), p.listPhase[i]);
        }
        size_t i = static_cast<size_t>(std::upper_bound(xs.begin(), xs.end(), x) - xs.begin());
        double t = (x - xs[i - 1]) / (xs[i] - xs[i - 1]);
        double logA = p.listLogAmplitude[i - 1] + t * (p.listLogAmplitude[i] - p.listLogAmplitude[i - 1]);
        // Phase is linear in frequency, not in its logarithm.
        double f0 = std::exp(xs[i - 1]), f1 = std::exp(xs[i]);
        double u = (f - f0) / (f1 - f0);
        double phase = p.listPhase[i - 1] + u * (p.listPhase[i] - p.listPhase[i - 1]);
        return std::polar(std::exp(logA), phase);
    }
    }
    return 1;
}

// Clenshaw's recurrence b_k = h_k + 2 cos(w) b_(k+1) - b_(k+2) down to
// b_1 and b_2 for kBlock frequencies side by side, so the recurrences of
// different frequencies overlap instead of each waiting on its own previous
// step. Two builds of the same loop: plain, and with AVX2 and FMA for
// processors that have them (the 16 frequencies then stay in registers).
constexpr size_t kBlock = 16;

[[gnu::always_inline]] inline void clenshawBlock(const double* h, size_t n, const double* twoCos, double* b1,
                                                 double* b2) {
    using Lanes = double __attribute__((vector_size(32)));
    Lanes t[4], x1[4], x2[4];
    for (size_t q = 0; q < 4; ++q) {
        for (size_t j = 0; j < 4; ++j) t[q][j] = twoCos[4 * q + j];
        x1[q] = Lanes{0, 0, 0, 0}, x2[q] = x1[q];
    }
    for (size_t k = n; k-- > 1;) {
        const double c = h[k];
        for (size_t q = 0; q < 4; ++q) {
            Lanes x0 = c + t[q] * x1[q] - x2[q];
            x2[q] = x1[q], x1[q] = x0;
        }
    }
    for (size_t q = 0; q < 4; ++q)
        for (size_t j = 0; j < 4; ++j) b1[4 * q + j] = x1[q][j], b2[4 * q + j] = x2[q][j];
}

[[gnu::target("avx2,fma")]] void clenshawWide(const double* h, size_t n, const double* twoCos, double* b1, double* b2) {
    clenshawBlock(h, n, twoCos, b1, b2);
}

void clenshawPlain(const double* h, size_t n, const double* twoCos, double* b1, double* b2) {
    // Without wide registers: eight frequencies at a time in plain arrays.
    for (size_t half = 0; half < kBlock; half += 8) {
        double x1[8] = {}, x2[8] = {};
        for (size_t k = n; k-- > 1;) {
            const double c = h[k];
            for (size_t j = 0; j < 8; ++j) {
                double x0 = c + twoCos[half + j] * x1[j] - x2[j];
                x2[j] = x1[j], x1[j] = x0;
            }
        }
        for (size_t j = 0; j < 8; ++j) b1[half + j] = x1[j], b2[half + j] = x2[j];
    }
}

// e^(i a_j) for count angles: one sincos at the first angle and one for the
// step when the angles are evenly spaced (as on a linear grid), the others by
// rotation (a few rounding steps, far below what any caller can see); each
// angle on its own otherwise.
void phasors(const double* angle, size_t count, double* re, double* im) {
    const double step = count > 1 ? angle[1] - angle[0] : 0;
    bool even = count > 2;
    for (size_t j = 2; even && j < count; ++j)
        even = std::fabs(angle[j] - (angle[0] + static_cast<double>(j) * step)) <= 1e-13 * std::fabs(angle[j]);
    if (!even) {
        for (size_t j = 0; j < count; ++j) re[j] = std::cos(angle[j]), im[j] = std::sin(angle[j]);
        return;
    }
    const double cs = std::cos(step), ss = std::sin(step);
    re[0] = std::cos(angle[0]), im[0] = std::sin(angle[0]);
    for (size_t j = 1; j < count; ++j) {
        re[j] = re[j - 1] * cs - im[j - 1] * ss;
        im[j] = re[j - 1] * ss + im[j - 1] * cs;
    }
}

// An FIR (no denominator) at many frequencies at once, multiplied into
// *product: sum h_k cos(k w) = b_0 - b_1 cos(w) and sum h_k sin(k w) =
// b_1 sin(w) from Clenshaw's recurrence.
void firValues(const Prepared& p, std::span<const double> frequencies, std::vector<Complex>* product) {
    static const bool wide = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    const auto& h = p.numerator;
    for (size_t start = 0; start < frequencies.size(); start += kBlock) {
        const size_t count = std::min(kBlock, frequencies.size() - start);
        double w[kBlock] = {}, cw[kBlock] = {}, sw[kBlock] = {}, twoCos[kBlock] = {}, b1[kBlock], b2[kBlock];
        for (size_t j = 0; j < count; ++j) w[j] = kTwoPi * frequencies[start + j] / p.inputRate;
        phasors(w, count, cw, sw);
        for (size_t j = 0; j < count; ++j) twoCos[j] = 2 * cw[j];
        (wide ? clenshawWide : clenshawPlain)(h.data(), h.size(), twoCos, b1, b2);
        double dr[kBlock], di[kBlock];
        if (p.delay != 0) {
            double v[kBlock];
            for (size_t j = 0; j < count; ++j) v[j] = kTwoPi * frequencies[start + j] * p.delay;
            phasors(v, count, dr, di);
        }
        for (size_t j = 0; j < count; ++j) {
            double b0 = h[0] + twoCos[j] * b1[j] - b2[j];
            Complex value(b0 - b1[j] * cw[j], -b1[j] * sw[j]);
            if (p.delay != 0) value = mul(value, Complex(dr[j], di[j]));
            Complex& into = (*product)[start + j];
            into = mul(into, value);
        }
    }
}

// The FIR stages of one data logger recur in every channel it records, so
// a document's channel epochs evaluate the same taps at the same
// frequencies again and again. Each thread keeps the last few such results
// (grids of up to 4,096 frequencies, 64 of them: at most 4 MiB), found by
// a hash and confirmed by comparing taps, rate, delay and frequencies.
struct FIRMemo {
    uint64_t hash = 0;
    double rate = 0, delay = 0;
    std::vector<double> taps, frequencies;
    std::vector<Complex> values;
};

uint64_t firHash(const Prepared& p, std::span<const double> frequencies) {
    uint64_t h = 0x9e3779b97f4a7c15ULL;
    auto add = [&h](double v) {
        uint64_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        h = (h ^ bits) * 0x100000001b3ULL;
        h ^= h >> 29;
    };
    add(p.inputRate), add(p.delay), add(static_cast<double>(p.numerator.size()));
    for (double v : p.numerator) add(v);
    for (double v : frequencies) add(v);
    return h;
}

void firValuesRemembered(const Prepared& p, std::span<const double> frequencies, std::vector<Complex>* product) {
    constexpr size_t kLargestGrid = 4096, kEntries = 64;
    if (frequencies.size() > kLargestGrid) return firValues(p, frequencies, product);
    thread_local std::vector<FIRMemo> memo;
    thread_local size_t next = 0;
    const uint64_t hash = firHash(p, frequencies);
    const FIRMemo* found = nullptr;
    for (const auto& m : memo)
        if (m.hash == hash && m.rate == p.inputRate && m.delay == p.delay && m.taps == p.numerator &&
            std::equal(m.frequencies.begin(), m.frequencies.end(), frequencies.begin(), frequencies.end())) {
            found = &m;
            break;
        }
    if (!found) {
        FIRMemo entry{hash, p.inputRate, p.delay, p.numerator, {frequencies.begin(), frequencies.end()},
                      std::vector<Complex>(frequencies.size(), Complex(1, 0))};
        firValues(p, frequencies, &entry.values);
        if (memo.size() < kEntries) {
            memo.push_back(std::move(entry));
            found = &memo.back();
        } else {
            memo[next] = std::move(entry);
            found = &memo[next];
            next = (next + 1) % kEntries;
        }
    }
    for (size_t k = 0; k < frequencies.size(); ++k) (*product)[k] = mul((*product)[k], found->values[k]);
}

const char* motionUnit(int order) { return order == 0 ? "M" : order == 1 ? "M/S" : "M/S**2"; }

}  // namespace

bool parseMotion(std::string_view text, Motion* motion) {
    if (text == "dis") *motion = Motion::Displacement;
    else if (text == "vel") *motion = Motion::Velocity;
    else if (text == "acc") *motion = Motion::Acceleration;
    else if (text == "def") *motion = Motion::Default;
    else return false;
    return true;
}

bool evaluate(const ZEVAResponse& response, std::span<const double> frequencies, const EvaluationOptions& options,
              Evaluation* out, std::string* error) {
    auto stages = response._stages();
    size_t count = stages ? stages->count() : 0;
    size_t first = options.firstStage, last = options.lastStage == 0 ? count : options.lastStage;
    if (first < 1 || first > last || last > count) {
        if (error) *error = fmt::format("stages {} to {}: the response has {} stage(s)", first, last, count);
        return false;
    }
    std::vector<Prepared> prepared(last - first + 1);
    out->notes.clear();
    double rate = 0;
    for (size_t i = 1; i <= last; ++i) {
        auto stage = stages->objectAtIndexAs<ZEVAStage>(i - 1);
        if (!stage) {
            if (error) *error = fmt::format("stage {}: not a stage", i);
            return false;
        }
        auto decimation = decimationOf(*stage);
        if (i >= first && !prepare(*stage, i, options.delay, rate, &prepared[i - first], out->notes, error)) return false;
        if (decimation) {
            double in = rateOf(decimation->_input_rate());
            rate = decimation->_factor() > 0 ? in / decimation->_factor() : 0;
        }
    }
    auto firstStage = stages->objectAtIndexAs<ZEVAStage>(first - 1);
    auto lastStage = stages->objectAtIndexAs<ZEVAStage>(last - 1);
    std::string outputName = unitName(lastStage->_output_units());
    std::string inputName = unitName(firstStage->_input_units());
    int order = 0, target = 0;
    double metres = 1;
    if (options.motion != Motion::Default) {
        if (!motionOf(firstStage->_input_units(), &order, &metres)) {
            if (error) *error = fmt::format("input unit {} is not a ground motion in metres and seconds", inputName);
            return false;
        }
        target = options.motion == Motion::Displacement ? 0 : options.motion == Motion::Velocity ? 1 : 2;
        inputName = motionUnit(target);
    }
    out->unit = fmt::format("{}/({})", outputName, inputName);

    double gain = 1;
    for (const auto& p : prepared) gain *= p.gain;
    size_t held = 0;
    // FIR stages (with more than a few taps) first, for all frequencies at
    // once, into one product; the other stages one frequency at a time.
    out->values.assign(frequencies.size(), Complex(gain, 0));
    std::vector<bool> done(prepared.size(), false);
    for (size_t i = 0; i < prepared.size(); ++i) {
        const Prepared& p = prepared[i];
        if (p.kind == Prepared::DigitalCoefficients && p.denominator.empty() && p.numerator.size() >= 8)
            firValuesRemembered(p, frequencies, &out->values), done[i] = true;
    }
    for (size_t k = 0; k < frequencies.size(); ++k) {
        double f = frequencies[k];
        Complex value = out->values[k];
        for (size_t i = 0; i < prepared.size(); ++i)
            if (!done[i]) value = mul(value, stageValue(prepared[i], f, &held));
        if (options.motion != Motion::Default) {
            // Counts per unit of the input motion; the input motion is
            // (2*pi*i*f)^(order - target) times the target motion.
            value /= metres;
            int power = order - target;
            Complex iw(0, kTwoPi * f);
            for (int j = 0; j < power; ++j) value *= iw;
            for (int j = 0; j > power; --j) value /= iw;
        }
        out->values[k] = value;
    }
    if (held > 0)
        out->notes.push_back(fmt::format("{} frequenc{} outside a response list: its end value held", held,
                                         held == 1 ? "y" : "ies"));
    return true;
}

std::vector<std::string> check(const ZEVAResponse& response, double channelRate) {
    std::vector<std::string> warnings;
    auto stages = response._stages();
    size_t count = stages ? stages->count() : 0;
    if (count == 0) return warnings;
    for (size_t i = 1; i < count; ++i) {
        auto a = stages->objectAtIndexAs<ZEVAStage>(i - 1), b = stages->objectAtIndexAs<ZEVAStage>(i);
        if (!a || !b) continue;
        std::string out = upper(unitName(a->_output_units())), in = upper(unitName(b->_input_units()));
        if (out != in)
            warnings.push_back(fmt::format("stage {} output unit {} is not stage {} input unit {}", i, out, i + 1, in));
    }
    double rate = 0;
    for (size_t i = 0; i < count; ++i) {
        auto stage = stages->objectAtIndexAs<ZEVAStage>(i);
        auto d = stage ? decimationOf(*stage) : nullptr;
        if (!d) continue;
        double in = rateOf(d->_input_rate());
        if (rate > 0 && std::fabs(in - rate) > 1e-6 * rate)
            warnings.push_back(fmt::format("stage {} decimation input rate {:g} Hz, but the stage before gives {:g} Hz", i + 1, in, rate));
        rate = d->_factor() > 0 ? in / d->_factor() : 0;
    }
    if (channelRate > 0 && rate > 0 && std::fabs(rate - channelRate) > 1e-6 * channelRate)
        warnings.push_back(fmt::format("decimation ends at {:g} Hz, the channel samples at {:g} Hz", rate, channelRate));
    auto sensitivity = response._the_sensitivity();
    if (sensitivity) {
        double f = sensitivity->_frequency(), stated = sensitivity->_sensitivity_factor();
        Evaluation e;
        std::string error;
        if (!evaluate(response, std::span<const double>(&f, 1), {}, &e, &error)) {
            warnings.push_back("sensitivity not checked: " + error);
        } else {
            double computed = std::abs(e.values[0]);
            double difference = stated != 0 ? std::fabs(computed - stated) / std::fabs(stated) : INFINITY;
            if (!(difference <= 0.05))
                warnings.push_back(fmt::format("computed sensitivity {:.6g} differs from the stated {:.6g} at {:g} Hz by {:.1f} percent",
                                               computed, stated, f, difference * 100));
        }
    }
    return warnings;
}

std::vector<double> frequencyGrid(double min, double max, size_t n, bool logSpaced) {
    std::vector<double> f(n);
    for (size_t i = 0; i < n; ++i) {
        double t = n > 1 ? static_cast<double>(i) / static_cast<double>(n - 1) : 0;
        f[i] = logSpaced ? std::exp(std::log(min) + t * (std::log(max) - std::log(min))) : min + t * (max - min);
    }
    return f;
}

}  // namespace zeva::response
