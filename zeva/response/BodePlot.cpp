#include "zeva/response/BodePlot.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

#include <cairo-svg.h>
#include <cairo.h>
#include <fmt/core.h>

namespace zeva::response {

namespace {

struct Axes {
    double left, top, width, height;
    double x0, x1, y0, y1;  // data range (log10 where the axis is logarithmic)
    double x(double v) const { return left + (v - x0) / (x1 - x0) * width; }
    double y(double v) const { return top + height - (v - y0) / (y1 - y0) * height; }
};

void label(cairo_t* cr, double x, double y, const std::string& text, double alignX) {
    cairo_text_extents_t e;
    cairo_text_extents(cr, text.c_str(), &e);
    cairo_move_to(cr, x - e.width * alignX - e.x_bearing, y);
    cairo_show_text(cr, text.c_str());
}

void frame(cairo_t* cr, const Axes& a, bool logY, double yStep, const std::string& yName, bool xLabels) {
    cairo_set_line_width(cr, 1);
    cairo_set_font_size(cr, 11);
    for (double d = std::ceil(a.x0); d <= a.x1 + 1e-9; d += 1) {
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        cairo_move_to(cr, a.x(d), a.top);
        cairo_line_to(cr, a.x(d), a.top + a.height);
        cairo_stroke(cr);
        if (xLabels) {
            cairo_set_source_rgb(cr, 0, 0, 0);
            label(cr, a.x(d), a.top + a.height + 15, fmt::format("{:g}", std::pow(10.0, d)), 0.5);
        }
    }
    for (double v = std::ceil(a.y0 / yStep) * yStep; v <= a.y1 + 1e-9; v += yStep) {
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        cairo_move_to(cr, a.left, a.y(v));
        cairo_line_to(cr, a.left + a.width, a.y(v));
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0, 0, 0);
        label(cr, a.left - 6, a.y(v) + 4, logY ? fmt::format("1e{:g}", v) : fmt::format("{:g}", v), 1);
    }
    cairo_set_source_rgb(cr, 0.4, 0.4, 0.4);
    cairo_rectangle(cr, a.left, a.top, a.width, a.height);
    cairo_stroke(cr);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_save(cr);
    cairo_move_to(cr, 14, a.top + a.height / 2);
    cairo_rotate(cr, -std::numbers::pi / 2);
    label(cr, 0, 0, yName, 0.5);
    cairo_restore(cr);
}

void curve(cairo_t* cr, const Axes& a, const std::vector<double>& xs, const std::vector<double>& ys) {
    cairo_save(cr);
    cairo_rectangle(cr, a.left, a.top, a.width, a.height);
    cairo_clip(cr);
    cairo_set_source_rgb(cr, 0.1, 0.3, 0.7);
    cairo_set_line_width(cr, 1.5);
    bool drawing = false;
    for (size_t i = 0; i < xs.size(); ++i) {
        if (!std::isfinite(ys[i])) {
            drawing = false;
            continue;
        }
        if (drawing) cairo_line_to(cr, a.x(xs[i]), a.y(ys[i]));
        else cairo_move_to(cr, a.x(xs[i]), a.y(ys[i]));
        drawing = true;
    }
    cairo_stroke(cr);
    cairo_restore(cr);
}

}  // namespace

bool drawBode(const Bode& bode, const std::string& path, int width, int height, std::string* error) {
    auto fail = [&](std::string why) {
        if (error) *error = std::move(why);
        return false;
    };
    std::string ext = path.size() >= 4 ? path.substr(path.size() - 4) : "";
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ext != ".png" && ext != ".svg") return fail(path + ": the image name must end in .png or .svg");
    if (width < 200 || height < 200 || width > 20000 || height > 20000)
        return fail(fmt::format("an image of {}x{} pixels is not drawn (200x200 to 20000x20000)", width, height));
    std::vector<double> xs, amplitude, phase;
    for (size_t i = 0; i < bode.frequencies.size() && i < bode.values.size(); ++i) {
        if (!(bode.frequencies[i] > 0)) continue;
        xs.push_back(std::log10(bode.frequencies[i]));
        double a = std::abs(bode.values[i]);
        amplitude.push_back(a > 0 ? std::log10(a) : NAN);
        phase.push_back(std::arg(bode.values[i]) * 180 / std::numbers::pi);
    }
    if (xs.size() < 2 || xs.front() >= xs.back()) return fail("a Bode plot needs at least two rising frequencies above 0");
    double lowA = INFINITY, highA = -INFINITY;
    for (double a : amplitude)
        if (std::isfinite(a)) lowA = std::min(lowA, a), highA = std::max(highA, a);
    if (!std::isfinite(lowA)) lowA = -1, highA = 1;
    lowA = std::floor(lowA), highA = std::max(std::ceil(highA), lowA + 1);

    const double left = 80, right = 20, top = 34, bottom = 40, gap = 30;
    const double panel = (height - top - bottom - gap) / 2;
    Axes amp{left, top, width - left - right, panel, xs.front(), xs.back(), lowA, highA};
    Axes ph{left, top + panel + gap, width - left - right, panel, xs.front(), xs.back(), -180, 180};

    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        ext == ".png" ? cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)
                      : cairo_svg_surface_create(path.c_str(), width, height),
        &cairo_surface_destroy);
    cairo_t* cr = cairo_create(surface.get());
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(cr, 13);
    cairo_set_source_rgb(cr, 0, 0, 0);
    label(cr, width / 2.0, 20, bode.title, 0.5);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    double decades = highA - lowA;
    frame(cr, amp, true, decades > 12 ? std::ceil(decades / 12) : 1, "amplitude (" + bode.unit + ")", false);
    frame(cr, ph, false, 90, "phase (degrees)", true);
    cairo_set_source_rgb(cr, 0, 0, 0);
    label(cr, left + amp.width / 2, height - 6, "frequency (Hz)", 0.5);
    curve(cr, amp, xs, amplitude);
    curve(cr, ph, xs, phase);
    if (bode.markFrequency > 0) {
        double m = std::log10(bode.markFrequency);
        if (m >= xs.front() && m <= xs.back()) {
            cairo_set_source_rgb(cr, 0.8, 0.1, 0.1);
            double dash = 4;
            cairo_set_dash(cr, &dash, 1, 0);
            for (const Axes* a : {&amp, &ph}) {
                cairo_move_to(cr, a->x(m), a->top);
                cairo_line_to(cr, a->x(m), a->top + a->height);
            }
            cairo_stroke(cr);
            cairo_set_dash(cr, nullptr, 0, 0);
            label(cr, amp.x(m) + 4, amp.top + 12, fmt::format("{:g} Hz", bode.markFrequency), 0);
        }
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

}  // namespace zeva::response
