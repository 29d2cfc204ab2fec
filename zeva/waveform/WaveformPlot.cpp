#include "zeva/waveform/WaveformPlot.hpp"

#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>

#include <fmt/core.h>

#include "zeva/platform/Date.hpp"

namespace zeva::plot {

namespace {

constexpr double kLeft = 84, kRight = 16, kTop = 8, kBottom = 44;  // margins around the panels
constexpr double kTitle = 16, kSpacing = 6;                         // above and below each trace area

struct Range {
    double lo = std::numeric_limits<double>::infinity();
    double hi = -std::numeric_limits<double>::infinity();
    bool empty() const { return !(lo <= hi); }
    void add(double v) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
    }
    void add(const Range& r) {
        if (!r.empty()) add(r.lo), add(r.hi);
    }
};

// Minimum and maximum of each pixel column of a trace area, from one pass
// over the samples; NaN samples are left out.
std::vector<Range> columnEnvelope(const Trace& t, const Layout& l, const Rect& area) {
    const int columns = std::max(1, static_cast<int>(area.width));
    std::vector<Range> env(static_cast<size_t>(columns));
    const double span = l.end - l.begin;
    size_t i = 0;
    for (int c = 0; c < columns && i < t.count; c++) {
        // Samples whose instant falls before the right edge of column c.
        const double edge = l.begin + span * (c + 1) / columns;
        double last = std::ceil((edge - t.start) / t.interval);
        size_t stop = last <= 0 ? 0 : last >= static_cast<double>(t.count) ? t.count : static_cast<size_t>(last);
        if (c == columns - 1) stop = t.count;
        Range& r = env[static_cast<size_t>(c)];
        for (; i < stop; i++) {
            const double v = t.samples[i];
            if (v == v) r.add(v);
        }
    }
    return env;
}

// A step of 1, 2 or 5 times a power of ten near span / wanted.
double niceStep(double span, double wanted) {
    double raw = span / wanted;
    double p = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0, 10.0})
        if (m * p >= raw) return m * p;
    return 10 * p;
}

// A time step: sub-second steps by 1-2-5, then whole seconds, minutes,
// hours and days that clocks divide into.
double timeStep(double span, double wanted) {
    static constexpr std::array<double, 17> steps = {1,    2,    5,    10,    15,    30,    60,    120,  300,
                                                     600,  900,  1800, 3600,  7200,  10800, 21600, 43200};
    double raw = span / wanted;
    if (raw < 1) return niceStep(span, wanted);
    for (double s : steps)
        if (s >= raw) return s;
    return 86400 * std::max(1.0, std::ceil(raw / 86400));
}

// The instant in UTC: the date, the time or both ("date", "time", "both"),
// with `digits` decimals of the second (to the microsecond at most).
std::string utcText(double seconds, const char* part, int digits) {
    const std::string iso = Date::isoText(seconds, digits);  // 2009-06-01T14:03:12.25Z
    const std::string_view p = part;
    if (iso.size() < 20 || iso[10] != 'T') return iso;
    if (p == "date") return iso.substr(0, 10);
    const std::string time = iso.substr(11, iso.size() - 12);
    return p == "time" ? time : iso.substr(0, 10) + " " + time;
}

// Decimals that ticks `step` seconds apart need: 0 for whole seconds.
int decimalsFor(double step) {
    if (step >= 1) return 0;
    return std::clamp(static_cast<int>(std::ceil(-std::log10(step) - 1e-9)), 1, 6);
}

void text(cairo_t* cr, double x, double y, const std::string& s, double align) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, s.c_str(), &e);
    cairo_move_to(cr, x - align * e.x_advance, y);
    cairo_show_text(cr, s.c_str());
}

void drawPanel(cairo_t* cr, const Trace& t, const Layout& l, const Rect& a, double timeTick) {
    std::vector<Range> env;
    Range all;
    if (t.count > 0 && t.samples && t.interval > 0) {
        env = columnEnvelope(t, l, a);
        for (const Range& r : env) all.add(r);
    }
    if (all.empty()) all = {-1, 1};
    if (all.hi - all.lo <= 1e-6 * std::abs(all.hi)) {
        const double w = std::max(1.0, 1e-3 * std::abs(all.hi));
        all = {all.lo - w, all.hi + w};
    }
    const double pad = (all.hi - all.lo) * 0.05;
    const double lo = all.lo - pad, hi = all.hi + pad;
    auto y = [&](double v) { return a.top + a.height * (hi - v) / (hi - lo); };

    // Grid, frame and axes.
    cairo_set_line_width(cr, 1);
    cairo_set_source_rgb(cr, 0.88, 0.88, 0.88);
    for (double s = std::ceil(l.begin / timeTick) * timeTick, k = 0; s <= l.end && k < 200; s += timeTick, k++) {
        double x = std::round(l.x(s)) + 0.5;
        cairo_move_to(cr, x, a.top), cairo_line_to(cr, x, a.top + a.height);
    }
    const double step = niceStep(hi - lo, 4);
    cairo_stroke(cr);
    cairo_set_font_size(cr, 10);
    for (double v = std::ceil(lo / step) * step, k = 0; v <= hi && k < 20; v += step, k++) {
        double yy = std::round(y(v)) + 0.5;
        cairo_set_source_rgb(cr, 0.88, 0.88, 0.88);
        cairo_move_to(cr, a.left, yy), cairo_line_to(cr, a.left + a.width, yy);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0, 0, 0);
        text(cr, a.left - 5, yy + 3.5, fmt::format("{:g}", std::abs(v) < step * 1e-6 ? 0.0 : v), 1.0);
    }
    cairo_set_source_rgb(cr, 0.55, 0.55, 0.55);
    cairo_rectangle(cr, a.left - 0.5, a.top - 0.5, a.width + 1, a.height + 1);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_save(cr);
    cairo_move_to(cr, 12, a.top + a.height / 2);
    cairo_rotate(cr, -M_PI / 2);
    text(cr, 0, 0, t.unit.c_str(), 0.5);
    cairo_restore(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, 12);
    text(cr, a.left, a.top - 4, t.title, 0);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    if (env.empty()) return;

    // The trace, inside its area.
    cairo_save(cr);
    cairo_rectangle(cr, a.left, a.top, a.width, a.height);
    cairo_clip(cr);
    cairo_set_source_rgb(cr, 0, 0, 0.7);
    const double columns = static_cast<double>(env.size());
    if (static_cast<double>(t.count) <= 2 * columns) {
        bool drawing = false;
        for (size_t i = 0; i < t.count; i++) {
            double v = t.samples[i];
            if (v != v) {
                drawing = false;
                continue;
            }
            double x = l.x(t.start + t.interval * static_cast<double>(i));
            (drawing ? cairo_line_to : cairo_move_to)(cr, x, y(v));
            drawing = true;
        }
        if (t.count == 1 && drawing) cairo_rel_line_to(cr, 1, 0);
    } else {
        // One vertical stroke per column from its minimum to its maximum,
        // stretched to meet the column before so the trace has no breaks.
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
        Range before;
        for (size_t c = 0; c < env.size(); c++) {
            Range r = env[c];
            if (r.empty()) {
                before = r;
                continue;
            }
            Range joined = r;
            if (!before.empty()) joined.add(std::clamp(r.lo, before.lo, before.hi));
            double x = a.left + static_cast<double>(c) + 0.5;
            double top = y(joined.hi), bottom = std::max(y(joined.lo), top + 1);
            cairo_move_to(cr, x, top), cairo_line_to(cr, x, bottom);
            before = r;
        }
    }
    cairo_stroke(cr);
    cairo_restore(cr);
}

void drawTimeAxis(cairo_t* cr, const Layout& l, double step) {
    if (l.panels.empty()) return;
    const Rect& last = l.panels.back();
    const int digits = decimalsFor(step);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_font_size(cr, 10);
    for (double s = std::ceil(l.begin / step) * step, k = 0; s <= l.end && k < 200; s += step, k++) {
        double x = std::round(l.x(s)) + 0.5;
        cairo_move_to(cr, x, last.top + last.height), cairo_line_to(cr, x, last.top + last.height + 4);
        cairo_stroke(cr);
        text(cr, x, last.top + last.height + 15, utcText(s, step >= 86400 ? "date" : "time", digits), 0.5);
    }
    text(cr, last.left, last.top + last.height + 32, "UTC from " + utcText(l.begin, "both", 6), 0);
}

}  // namespace

double Layout::x(double time) const {
    if (panels.empty() || !(end > begin)) return 0;
    const Rect& a = panels.front();
    return a.left + a.width * (time - begin) / (end - begin);
}

Layout layout(const std::vector<Trace>& traces, int width, int height) {
    Layout l;
    l.width = width;
    l.height = height;
    bool first = true;
    for (const Trace& t : traces) {
        if (!(std::isfinite(t.start) && std::isfinite(t.end()))) continue;
        l.begin = first ? t.start : std::min(l.begin, t.start);
        l.end = first ? t.end() : std::max(l.end, t.end());
        first = false;
    }
    if (!std::isfinite(l.begin) || !std::isfinite(l.end) || std::abs(l.begin) > 1e12) l.begin = 0, l.end = 1;
    if (!(l.end > l.begin)) l.end = l.begin + 1;
    const double n = static_cast<double>(std::max<size_t>(traces.size(), 1));
    const double slot = (height - kTop - kBottom) / n;
    for (size_t i = 0; i < traces.size(); i++)
        l.panels.push_back({kLeft, kTop + slot * static_cast<double>(i) + kTitle, std::max(1.0, width - kLeft - kRight),
                            std::max(1.0, slot - kTitle - kSpacing)});
    return l;
}

bool drawPlot(const std::vector<Trace>& traces, const std::string& path, int width, int height, std::string* error) {
    auto fail = [&](std::string why) {
        if (error) *error = std::move(why);
        return false;
    };
    std::string ext = path.size() >= 4 ? path.substr(path.size() - 4) : "";
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ext != ".png" && ext != ".svg") return fail(path + ": the image name must end in .png or .svg");
    if (traces.empty()) return fail("nothing to plot");
    if (width < 200 || height < 100 || width > 20000 || height > 20000)
        return fail(fmt::format("an image of {}x{} pixels is not drawn (200x100 to 20000x20000)", width, height));

    const Layout l = layout(traces, width, height);
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        ext == ".png" ? cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)
                      : cairo_svg_surface_create(path.c_str(), width, height),
        &cairo_surface_destroy);
    cairo_t* cr = cairo_create(surface.get());
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    const double step = timeStep(l.end - l.begin, std::max(2.0, l.panels.front().width / 110));
    for (size_t i = 0; i < traces.size(); i++) drawPanel(cr, traces[i], l, l.panels[i], step);
    drawTimeAxis(cr, l, step);
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    if (status == CAIRO_STATUS_SUCCESS) {
        if (ext == ".png") status = cairo_surface_write_to_png(surface.get(), path.c_str());
        cairo_surface_finish(surface.get());
        if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface.get());
    }
    if (status != CAIRO_STATUS_SUCCESS) return fail(path + ": " + cairo_status_to_string(status));
    return true;
}

}  // namespace zeva::plot
