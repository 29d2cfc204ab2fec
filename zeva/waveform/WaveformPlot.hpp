// A plot of waveforms, drawn with cairo: one panel per trace, stacked, all
// on one UTC time axis, each with an amplitude axis named by its unit (counts unless told) and the
// channel code as its title. A trace with more samples than its panel has
// pixel columns is drawn as the minimum/maximum envelope of each column, so
// drawing time grows with the samples only through one pass over them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zeva::plot {

struct Trace {
    std::string title;             // shown above the panel
    double start = 0.0;            // first sample, seconds since 1970 (UTC)
    double interval = 0.0;         // seconds from one sample to the next
    const float* samples = nullptr;
    size_t count = 0;
    std::string unit = "counts";   // names the amplitude axis

    double end() const { return start + interval * static_cast<double>(count > 0 ? count - 1 : 0); }
};

struct Rect {
    double left = 0, top = 0, width = 0, height = 0;
};

// Where things go in an image of the given size: the area of each panel's
// trace, and the time span shared by all panels along the x axis.
struct Layout {
    int width = 0, height = 0;
    double begin = 0.0, end = 0.0;  // seconds since 1970 at the left and right edges of the trace areas
    std::vector<Rect> panels;        // one per trace, top to bottom

    // The x coordinate of an instant.
    double x(double time) const;
};

Layout layout(const std::vector<Trace>& traces, int width, int height);

// Draws the traces to a PNG or SVG file, chosen by the path's extension
// (.png or .svg, any case). Answers false with a reason when the extension
// is neither, there is no trace, the size is below 200x100, or the file
// cannot be written.
bool drawPlot(const std::vector<Trace>& traces, const std::string& path, int width, int height,
              std::string* error = nullptr);

}  // namespace zeva::plot
