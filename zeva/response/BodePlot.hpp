// A Bode plot of a response drawn with cairo: amplitude over frequency on
// log-log axes above the phase (degrees, linear) over the same logarithmic
// frequency axis, with the sensitivity frequency marked by a dashed line.
#pragma once

#include <complex>
#include <span>
#include <string>

namespace zeva::response {

struct Bode {
    std::string title;                              // shown above the plot
    std::string unit;                               // of the amplitude
    std::span<const double> frequencies;            // Hz, above 0, rising
    std::span<const std::complex<double>> values;   // one per frequency
    double markFrequency = 0;                       // 0: no mark
};

// PNG or SVG by the path's extension; false with the reason otherwise, for
// fewer than two positive frequencies, or a file that cannot be written.
bool drawBode(const Bode& bode, const std::string& path, int width, int height, std::string* error);

}  // namespace zeva::response
