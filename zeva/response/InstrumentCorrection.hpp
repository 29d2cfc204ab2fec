// Instrument correction in the frequency domain: the response of the
// recording instrument removed from a seismogram, leaving ground motion.
//
// Steps: the least-squares line (mean and trend) removed; both ends tapered
// with a half-cosine over 5 percent of the length each; zero padding to at
// least twice the length (a size FFTW transforms fast); forward real
// transform; division by the response evaluated at every bin, with its
// amplitude held up to the water level (the largest amplitude over the
// bins, lowered by the given decibels; phase kept); the optional cosine
// pre-filter (0 below F1 and above F4, 1 from F2 to F3, half-cosine ramps
// between); inverse transform; padding cut. Bins above F4 are never
// evaluated, so a pre-filter saves work as well.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zeva/response/ResponseEvaluation.hpp"
#include "zeva/waveform/ZEVALocalSeismogram.hpp"

namespace zeva::response {

struct CorrectionOptions {
    Motion output = Motion::Velocity;                // Default keeps the response's input unit
    std::optional<double> waterLevelDb = 60.0;       // none: plain division
    std::optional<std::array<double, 4>> preFilter;  // F1 < F2 <= F3 < F4, Hz
    DelayPhase delay = DelayPhase::Correction;
};

// Corrects samples taken at `rate` Hz; *out gets as many samples, in metres,
// m/s or m/s^2 (or the response's input unit). False with the reason when
// the response cannot be evaluated or the options make no sense.
bool correctSamples(std::span<const double> samples, double rate, const ZEVAResponse& response,
                    const CorrectionOptions& options, std::vector<double>* out, std::vector<std::string>* notes,
                    std::string* error);

// Corrects the seismogram's exact values (its integer counts or 64-bit
// floats) where it has them, else its 32-bit floats. A seismogram like the input (channel, begin time, sampling, properties)
// holding the corrected samples as floats, its y unit the ground motion's
// (a composite of metres and seconds: M, M/S or M/S**2).
Ref<ZEVALocalSeismogram> correctSeismogram(const ZEVALocalSeismogram& seismogram, const ZEVAResponse& response,
                                           const CorrectionOptions& options, std::vector<std::string>* notes,
                                           std::string* error);

// The smallest 2^a 3^b 5^c not below n.
size_t fastLength(size_t n);

}  // namespace zeva::response
