// A plot of waveforms, drawn with cairo: one panel per title (a channel),
// stacked, holding every trace of that title; the stretches between its
// traces are left empty and marked as gaps. The panels share one UTC time
// axis when their spans lie close together, and each gets its own when
// they lie far apart. Each panel has an amplitude axis labelled with its
// unit. A trace with more samples than its panel has pixel columns is drawn
// as the minimum/maximum envelope of each column, so drawing time grows with
// the samples only through one pass over them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zeva::plot {

struct Trace {
    std::string title;             // shown above the panel; traces with the same title share one
    double start = 0.0;            // first sample, seconds since 1970 (UTC)
    double interval = 0.0;         // seconds from one sample to the next
    const float* samples = nullptr;
    size_t count = 0;
    std::string unit = "counts";   // of the amplitude axis
    std::string startText;         // the first sample's time as the caller prints it, for the footer

    double end() const { return start + interval * static_cast<double>(count > 0 ? count - 1 : 0); }
};

struct Rect {
    double left = 0, top = 0, width = 0, height = 0;
};

// Where things go in an image of the given size: the panels in the order
// their titles first appear, each with the traces it holds, its area and
// the time span along its x axis.
struct Panel {
    std::vector<size_t> traces;      // indices, by start time
    Rect area;
    double begin = 0.0, end = 0.0;  // seconds since 1970 at the left and right edges

    // The x coordinate of an instant.
    double x(double time) const;
};

struct Layout {
    int width = 0, height = 0;
    bool sharedAxis = true;  // one time span for all panels, labelled once at the bottom
    std::vector<Panel> panels;
};

Layout layout(const std::vector<Trace>& traces, int width, int height);

// Draws the traces to a PNG or SVG file, chosen by the path's extension
// (.png or .svg, any case). Answers false with a reason when the extension
// is neither, there is no trace, the size is below 200x100, or the file
// cannot be written.
bool drawPlot(const std::vector<Trace>& traces, const std::string& path, int width, int height,
              std::string* error = nullptr);

}  // namespace zeva::plot
