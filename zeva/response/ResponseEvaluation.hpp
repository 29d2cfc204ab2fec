// Evaluation of an instrument response (ZEVAResponse) at any list of
// frequencies, in double precision, and the consistency checks users run on
// station metadata.
//
// Stage kinds, by the stage's transfer type code (StationXML.hpp):
//   1, 2  poles and zeros in s = 2*pi*i*f (rad/s) or s = i*f (Hz), times A0
//   3     poles and zeros in z = exp(2*pi*i*f/fs), fs the stage's input rate
//   4, 5  analog coefficients: sum b_k s^k / sum a_k s^k, s as for 1 and 2
//   6     digital coefficients: sum b_k z^-k / sum a_k z^-k (no denominator: 1)
//   7-9   FIR, with even (8) or odd (9) symmetry expanded from the first half
//   10    response list: amplitude interpolated log-log, phase (unwrapped)
//         linearly in frequency; outside the list the end values are held
//         and a note says how many frequencies were
//   11    polynomial: refused (its coefficients are not kept)
//   0     a gain only, unless the stage has filters (see restored below)
// Every stage contributes its gain factor (1 when the stage has none).
//
// Decimation delays: a digital stage's own phase carries the filter's delay.
// By default the phase is advanced by the correction the data centre applied
// (the time stamps of the data already have it taken out), so the response
// is that of the data as delivered. DelayPhase::Estimated advances it by the
// estimated delay instead, DelayPhase::None leaves the filter's own phase.
//
// Restored responses: archives do not keep a stage's type code, so a stage
// read back from an archive has type 0 with its filters. Evaluation then
// infers the kind and says what it assumed in the notes: a pole-zero filter
// is digital when the stage decimates or its input is counts, otherwise
// Laplace in rad/s or Hz,
// whichever makes A0 normalise the stage to 1 at its normalisation frequency
// (rad/s when both do, refused when neither does); coefficients are digital on the same
// condition, with the FIR symmetry whose taps sum closest to 1 (none when
// none comes within 10 percent), and analog in rad/s otherwise.
#pragma once

#include <complex>
#include <span>
#include <string>
#include <vector>

#include "zeva/inventory/ZEVAResponse.hpp"

namespace zeva::response {

// The ground motion a response is expressed against.
enum class Motion { Default, Displacement, Velocity, Acceleration };
enum class DelayPhase { Correction, Estimated, None };

struct EvaluationOptions {
    Motion motion = Motion::Default;  // Default: the first stage's input unit
    size_t firstStage = 1;            // 1-based, inclusive
    size_t lastStage = 0;             // 0: up to the last stage
    DelayPhase delay = DelayPhase::Correction;
};

struct Evaluation {
    std::vector<std::complex<double>> values;  // one per frequency
    std::string unit;                          // "COUNTS/(M/S)" and the like
    std::vector<std::string> notes;            // assumptions made on the way
};

// Parses "dis", "vel", "acc" or "def"; false for anything else.
bool parseMotion(std::string_view text, Motion* motion);

// False with the reason in *error when a stage cannot be evaluated (a
// polynomial, a restored pole-zero stage whose domain cannot be told, a
// digital stage without an input rate), the stage range is empty or beyond
// the response, or a conversion to ground motion is asked of a response
// whose input is not a motion in metres and seconds.
bool evaluate(const ZEVAResponse& response, std::span<const double> frequencies, const EvaluationOptions& options,
              Evaluation* out, std::string* error);

// Warnings about a response, none fatal: the computed sensitivity (stage
// gains and evaluated amplitude at the stated sensitivity frequency) more
// than 5 percent from the stated one; stage units that do not chain; a
// decimation chain whose rates do not follow one another or end at another
// rate than the channel's (channelRate 0: not checked).
std::vector<std::string> check(const ZEVAResponse& response, double channelRate);

// Frequencies from min to max: n of them, log-spaced or linear.
std::vector<double> frequencyGrid(double min, double max, size_t n, bool logSpaced);

}  // namespace zeva::response
