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
std::vector<Range> columnEnvelope(const Trace& t, const Panel& p) {
    const Rect& area = p.area;
    const int columns = std::max(1, static_cast<int>(area.width));
    std::vector<Range> env(static_cast<size_t>(columns));
    const double span = p.end - p.begin;
    size_t i = 0;
    for (int c = 0; c < columns && i < t.count; c++) {
        // Samples whose instant falls before the right edge of column c.
        const double edge = p.begin + span * (c + 1) / columns;
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

// Text at x aligned by `align` (0 left, 0.5 centre, 1 right), moved along
// as far as needed to stay within 0 to `width` (when given): no label is
// cut off.
void text(cairo_t* cr, double x, double y, const std::string& s, double align, double width = 0) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, s.c_str(), &e);
    double left = x - align * e.x_advance;
    if (width > 0) left = std::max(2.0, std::min(left, width - 2 - e.x_advance));
    cairo_move_to(cr, left, y);
    cairo_show_text(cr, s.c_str());
}

bool usable(const Trace& t) { return t.count > 0 && t.samples && t.interval > 0 && std::isfinite(t.start); }

// A stretch between two traces of a panel longer than one and a half
// sample intervals is a gap.
bool gapBetween(const Trace& a, const Trace& b) { return b.start - a.end() > 1.5 * a.interval; }

void drawPanel(cairo_t* cr, const std::vector<Trace>& traces, const Panel& p, const Layout& l, double timeTick) {
    const Rect& a = p.area;
    std::vector<std::vector<Range>> envs(p.traces.size());
    Range all;
    for (size_t k = 0; k < p.traces.size(); k++) {
        const Trace& t = traces[p.traces[k]];
        if (!usable(t)) continue;
        envs[k] = columnEnvelope(t, p);
        for (const Range& r : envs[k]) all.add(r);
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
    for (double s = std::ceil(p.begin / timeTick) * timeTick, k = 0; s <= p.end && k < 200; s += timeTick, k++) {
        double x = std::round(p.x(s)) + 0.5;
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
        text(cr, a.left - 5, yy + 3.5, fmt::format("{:g}", std::abs(v) < step * 1e-6 ? 0.0 : v), 1.0, l.width);
    }
    cairo_set_source_rgb(cr, 0.55, 0.55, 0.55);
    cairo_rectangle(cr, a.left - 0.5, a.top - 0.5, a.width + 1, a.height + 1);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0, 0, 0);
    const Trace& first = traces[p.traces.front()];
    cairo_save(cr);
    cairo_move_to(cr, 12, a.top + a.height / 2);
    cairo_rotate(cr, -M_PI / 2);
    text(cr, 0, 0, first.unit, 0.5);
    cairo_restore(cr);
    if (!l.sharedAxis) {
        const std::string from = first.startText.empty() ? utcText(p.begin, "both", 6) : first.startText;
        text(cr, a.left + a.width, a.top - 4, "UTC from " + from, 1.0, l.width);
    }
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, 12);
    text(cr, a.left, a.top - 4, first.title, 0);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);

    cairo_save(cr);
    cairo_rectangle(cr, a.left, a.top, a.width, a.height);
    cairo_clip(cr);
    // Gaps: a pale red band (at least a pixel wide) with its word.
    cairo_set_font_size(cr, 10);
    for (size_t k = 1; k < p.traces.size(); k++) {
        const Trace &before = traces[p.traces[k - 1]], &after = traces[p.traces[k]];
        if (!usable(before) || !usable(after) || !gapBetween(before, after)) continue;
        const double x0 = p.x(before.end()), x1 = std::max(p.x(after.start), x0 + 1);
        cairo_set_source_rgb(cr, 1.0, 0.85, 0.85);
        cairo_rectangle(cr, x0, a.top, x1 - x0, a.height);
        cairo_fill(cr);
        cairo_set_source_rgb(cr, 0.75, 0, 0);
        text(cr, (x0 + x1) / 2, a.top + 11, "gap", 0.5, l.width);
    }

    // The traces, inside their area.
    cairo_set_source_rgb(cr, 0, 0, 0.7);
    for (size_t k = 0; k < p.traces.size(); k++) {
        const Trace& t = traces[p.traces[k]];
        const std::vector<Range>& env = envs[k];
        if (env.empty()) continue;
        const double columns = static_cast<double>(env.size());
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
        if (static_cast<double>(t.count) <= 2 * columns) {
            bool drawing = false;
            for (size_t i = 0; i < t.count; i++) {
                double v = t.samples[i];
                if (v != v) {
                    drawing = false;
                    continue;
                }
                double x = p.x(t.start + t.interval * static_cast<double>(i));
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
    }
    cairo_restore(cr);
}

// Ticks and labels under one panel; with `footer`, the first instant's text below them.
void drawTimeAxis(cairo_t* cr, const std::vector<Trace>& traces, const Panel& p, const Layout& l, double step,
                  bool footer) {
    const Rect& a = p.area;
    const int digits = decimalsFor(step);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_font_size(cr, 10);
    for (double s = std::ceil(p.begin / step) * step, k = 0; s <= p.end && k < 200; s += step, k++) {
        double x = std::round(p.x(s)) + 0.5;
        cairo_move_to(cr, x, a.top + a.height), cairo_line_to(cr, x, a.top + a.height + 4);
        cairo_stroke(cr);
        text(cr, x, a.top + a.height + 15, utcText(s, step >= 86400 ? "date" : "time", digits), 0.5, l.width);
    }
    if (!footer) return;
    // The earliest trace's own text of its first instant, as its caller prints it.
    const Trace* earliest = nullptr;
    for (const Trace& t : traces)
        if (usable(t) && (!earliest || t.start < earliest->start)) earliest = &t;
    const std::string from =
        earliest && !earliest->startText.empty() ? earliest->startText : utcText(p.begin, "both", 6);
    text(cr, a.left, a.top + a.height + 32, "UTC from " + from, 0, l.width);
}

}  // namespace

double Panel::x(double time) const {
    if (!(end > begin)) return area.left;
    return area.left + area.width * (time - begin) / (end - begin);
}

Layout layout(const std::vector<Trace>& traces, int width, int height) {
    constexpr double kAxisRow = 24;  // tick labels under a panel of its own time axis
    Layout l;
    l.width = width;
    l.height = height;
    // Panels by title, in order of first appearance; traces by start.
    std::vector<std::string> titles;
    for (size_t i = 0; i < traces.size(); i++) {
        size_t k = static_cast<size_t>(std::find(titles.begin(), titles.end(), traces[i].title) - titles.begin());
        if (k == titles.size()) titles.push_back(traces[i].title), l.panels.emplace_back();
        l.panels[k].traces.push_back(i);
    }
    double longest = 0, first = std::numeric_limits<double>::infinity(), last = -first;
    for (Panel& p : l.panels) {
        std::stable_sort(p.traces.begin(), p.traces.end(),
                         [&](size_t a, size_t b) { return traces[a].start < traces[b].start; });
        bool any = false;
        for (size_t i : p.traces) {
            const Trace& t = traces[i];
            if (!(std::isfinite(t.start) && std::isfinite(t.end()))) continue;
            p.begin = any ? std::min(p.begin, t.start) : t.start;
            p.end = any ? std::max(p.end, t.end()) : t.end();
            any = true;
        }
        if (!any || std::abs(p.begin) > 1e12 || std::abs(p.end) > 1e12) p.begin = 0, p.end = 1;
        if (!(p.end > p.begin)) p.end = p.begin + 1;
        longest = std::max(longest, p.end - p.begin);
        first = std::min(first, p.begin), last = std::max(last, p.end);
    }
    // Panels lying far apart in time (their union more than twice the
    // longest of them) each get an axis of their own.
    l.sharedAxis = last - first <= 2 * longest;
    if (l.sharedAxis)
        for (Panel& p : l.panels) p.begin = first, p.end = last;
    const double n = static_cast<double>(std::max<size_t>(l.panels.size(), 1));
    const double bottom = l.sharedAxis ? kBottom : 4;
    const double slot = (height - kTop - bottom) / n;
    const double below = l.sharedAxis ? kSpacing : kAxisRow + kSpacing;
    for (size_t i = 0; i < l.panels.size(); i++)
        l.panels[i].area = {kLeft, kTop + slot * static_cast<double>(i) + kTitle, std::max(1.0, width - kLeft - kRight),
                            std::max(1.0, slot - kTitle - below)};
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
    for (size_t i = 0; i < l.panels.size(); i++) {
        const Panel& p = l.panels[i];
        const double step = timeStep(p.end - p.begin, std::max(2.0, p.area.width / 110));
        drawPanel(cr, traces, p, l, step);
        if (!l.sharedAxis || i + 1 == l.panels.size()) drawTimeAxis(cr, traces, p, l, step, l.sharedAxis);
    }
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
