#include "MapView.hpp"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace zeva::desktop {

using zeva::map::Resolution;

namespace {

// Depth classes as seismologists colour them: shallow, intermediate, deep.
struct DepthClass {
    double below;
    const char* label;
    QRgb colour;
};
constexpr DepthClass kDepths[] = {
    {70, "0\u201370 km", qRgb(220, 40, 30)},
    {300, "70\u2013300 km", qRgb(240, 190, 20)},
    {1e9, "300+ km", qRgb(40, 90, 220)},
};
constexpr double kLegendMagnitudes[] = {5, 6, 7, 8, 9};

QColor levelColour(int level) {
    // Odd levels are land, even ones water (sea 0, lake 2, pond 4).
    return level % 2 == 1 ? MapView::landColour() : level == 0 ? MapView::seaColour() : QColor(190, 215, 240);
}

}  // namespace

MapView::MapView(QWidget* parent) : QWidget(parent), directory_(zeva::map::shorelineDirectory()) {
    setObjectName("map");
    setMouseTracking(true);
    setMinimumSize(240, 140);
    setToolTip({});
}

QColor MapView::landColour() { return {236, 228, 205}; }
QColor MapView::seaColour() { return {170, 205, 235}; }
QColor MapView::stationColour() { return {40, 160, 80}; }

double MapView::radiusFor(double magnitude) {
    if (!std::isfinite(magnitude)) return 3.0;
    return std::clamp(2.0 + (magnitude - 4.0) * 2.6, 3.0, 18.0);
}

QColor MapView::colourFor(double depthKm) {
    for (const auto& d : kDepths)
        if (depthKm < d.below) return QColor(d.colour);
    return QColor(kDepths[2].colour);
}

void MapView::setEvents(const QVector<MapEvent>& events) {
    events_ = events;
    if (selected_ >= events_.size()) selected_ = -1;
    update();
}

void MapView::setSelected(int index, const QString& caption) {
    selected_ = index >= 0 && index < events_.size() ? index : -1;
    caption_ = selected_ < 0 ? QString() : caption;
    update();
}

void MapView::setStations(const QVector<MapStation>& stations) {
    stations_ = stations;
    update();
}

void MapView::setNote(const QString& note) {
    note_ = note;
    update();
}

// ------------------------------------------------------------------ projection

QPointF MapView::toScreen(double lon, double lat) const {
    return {width() / 2.0 + (lon - centerLon_) / degreesPerPixel_, height() / 2.0 - (lat - centerLat_) / degreesPerPixel_};
}

QPointF MapView::toGeo(const QPointF& at) const {
    return {centerLon_ + (at.x() - width() / 2.0) * degreesPerPixel_,
            centerLat_ - (at.y() - height() / 2.0) * degreesPerPixel_};
}

void MapView::showWorld() {
    centerLon_ = centerLat_ = 0;
    degreesPerPixel_ = std::max(360.0 / std::max(1, width()), 180.0 / std::max(1, height()));
    fitted_ = true;
    update();
}

void MapView::clampView() {
    double world = std::max(360.0 / std::max(1, width()), 180.0 / std::max(1, height()));
    degreesPerPixel_ = std::clamp(degreesPerPixel_, world / 200.0, world);
    double halfW = width() / 2.0 * degreesPerPixel_, halfH = height() / 2.0 * degreesPerPixel_;
    centerLon_ = halfW >= 180 ? 0 : std::clamp(centerLon_, -180 + halfW, 180 - halfW);
    centerLat_ = halfH >= 90 ? 0 : std::clamp(centerLat_, -90 + halfH, 90 - halfH);
}

void MapView::zoomBy(double factor, const QPointF& about) {
    if (!(factor > 0)) return;
    QPointF geo = toGeo(about);
    degreesPerPixel_ /= factor;
    // Keep the point under the pointer where it is.
    centerLon_ = geo.x() - (about.x() - width() / 2.0) * degreesPerPixel_;
    centerLat_ = geo.y() + (about.y() - height() / 2.0) * degreesPerPixel_;
    fitted_ = false;
    clampView();
    update();
}

void MapView::panBy(const QPointF& pixels) {
    centerLon_ -= pixels.x() * degreesPerPixel_;
    centerLat_ += pixels.y() * degreesPerPixel_;
    fitted_ = false;
    clampView();
    update();
}

Resolution MapView::resolution() const {
    double span = width() * degreesPerPixel_;
    return span > 100 ? Resolution::Crude : span > 30 ? Resolution::Low : Resolution::Intermediate;
}

int MapView::eventAt(const QPointF& at) const {
    // Of the circles holding the point, the one whose centre is nearest, so
    // that a small event on a large one can be picked.
    int hit = -1;
    double nearest = 0;
    for (int i = 0; i < events_.size(); ++i) {
        double distance = QLineF(toScreen(events_[i].lon, events_[i].lat), at).length();
        if (distance <= std::max(radiusFor(events_[i].magnitude), 4.0) + 1.0 && (hit < 0 || distance < nearest)) {
            hit = i;
            nearest = distance;
        }
    }
    return hit;
}

int MapView::stationAt(const QPointF& at) const {
    for (int i = static_cast<int>(stations_.size()) - 1; i >= 0; --i)
        if (QLineF(toScreen(stations_[i].lon, stations_[i].lat), at).length() <= 7.0) return i;
    return -1;
}

// ------------------------------------------------------------------ data

const MapView::Layers* MapView::layers(Resolution resolution) {
    auto& slot = cache_[static_cast<int>(resolution)];
    if (!slot) {
        slot = std::make_unique<Layers>();
        std::string error;
        const auto& dir = directory_;
        slot->ok = zeva::map::loadLayer(dir, resolution, false, slot->shore, error);
        // Borders are a nicety: a map with coasts and no borders still serves.
        std::string borderError;
        if (slot->ok) zeva::map::loadLayer(dir, resolution, true, slot->borders, borderError);
        if (!slot->ok) slot->error = QString::fromStdString(error);
    }
    if (slot->ok) return slot.get();
    // A finer resolution missing falls back to the crude one.
    const Layers* crude = resolution == Resolution::Crude ? nullptr : layers(Resolution::Crude);
    coastlineMessage_ = (crude ? "Crude coastlines only: " : "No coastlines: ") + slot->error +
                        " (Debian package gmt-gshhg-low, or set ZEVA_GSHHG_DIR)";
    return crude;
}

// ------------------------------------------------------------------ painting

void MapView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), palette().color(QPalette::Window));
    QRectF world(toScreen(-180, 90), toScreen(180, -90));
    p.fillRect(world, seaColour());
    p.setClipRect(world.intersected(QRectF(rect())));
    coastlineMessage_.clear();
    if (const Layers* l = layers(resolution())) drawLand(p, *l);
    drawGrid(p);
    p.setRenderHint(QPainter::Antialiasing);
    drawStations(p);
    drawEvents(p);
    p.setClipping(false);
    drawLegend(p);
    drawTexts(p);
}

void MapView::drawLand(QPainter& p, const Layers& l) {
    QPointF topLeft = toGeo({0, 0}), bottomRight = toGeo({double(width()), double(height())});
    auto visible = [&](double west, double east, double south, double north) {
        return east >= topLeft.x() && west <= bottomRight.x() && north >= bottomRight.y() && south <= topLeft.y();
    };
    p.setPen(Qt::NoPen);
    QPolygonF polygon;
    for (const auto& area : l.shore.areas) {
        if (!visible(area.west, area.east, area.south, area.north)) continue;
        polygon.clear();
        for (const auto& pt : area.ring) polygon << toScreen(pt.lon, pt.lat);
        p.setBrush(levelColour(area.level));
        // A hair of outline of the fill's own colour closes the seams between bins.
        p.setPen(QPen(levelColour(area.level), 0.8));
        p.drawPolygon(polygon);
    }
    auto drawLines = [&](const std::vector<zeva::map::MapLine>& lines, const QPen& pen) {
        p.setPen(pen);
        for (const auto& line : lines) {
            polygon.clear();
            for (const auto& pt : line.points) polygon << toScreen(pt.lon, pt.lat);
            if (!polygon.boundingRect().intersects(QRectF(rect()))) continue;
            p.drawPolyline(polygon);
        }
    };
    drawLines(l.shore.lines, QPen(QColor(110, 110, 100), 0.8));

    // National borders only (level 1), not internal or maritime ones.
    p.setPen(QPen(QColor(150, 120, 130), 0.7, Qt::DashLine));
    for (const auto& line : l.borders.lines) {
        if (line.level != 1) continue;
        polygon.clear();
        for (const auto& pt : line.points) polygon << toScreen(pt.lon, pt.lat);
        if (polygon.boundingRect().intersects(QRectF(rect()))) p.drawPolyline(polygon);
    }
}

void MapView::drawGrid(QPainter& p) {
    double span = width() * degreesPerPixel_;
    double step = span > 200 ? 30 : span > 80 ? 15 : span > 30 ? 5 : span > 10 ? 2 : 1;
    p.setPen(QPen(QColor(255, 255, 255, 150), 0.7));
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    p.setFont(small);
    for (double lon = -180; lon <= 180; lon += step) {
        QPointF top = toScreen(lon, 90), bottom = toScreen(lon, -90);
        p.drawLine(top, bottom);
    }
    for (double lat = -90; lat <= 90; lat += step) p.drawLine(toScreen(-180, lat), toScreen(180, lat));
    p.setPen(QColor(70, 90, 110));
    QPointF origin = toScreen(-180, 90);
    for (double lon = -180 + step; lon < 180; lon += step) {
        double x = toScreen(lon, 0).x();
        if (x > 2 && x < width() - 20)
            p.drawText(QPointF(x + 2, std::max(origin.y(), 0.0) + small.pointSizeF() + 3), QString::number(lon) + "\u00b0");
    }
    for (double lat = -90 + step; lat < 90; lat += step) {
        double y = toScreen(0, lat).y();
        if (y > 12 && y < height() - 4) p.drawText(QPointF(std::max(origin.x(), 0.0) + 2, y - 2), QString::number(lat) + "\u00b0");
    }
}

void MapView::drawEvents(QPainter& p) {
    // Smaller events last so that they stay visible over large ones; the
    // selected one on top of all.
    QVector<int> order(events_.size());
    for (int i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return events_[a].magnitude > events_[b].magnitude; });
    for (int pass = 0; pass < 2; ++pass)
        for (int i : order) {
            if ((i == selected_) != (pass == 1)) continue;
            const auto& e = events_[i];
            QPointF c = toScreen(e.lon, e.lat);
            double r = radiusFor(e.magnitude);
            p.setBrush(colourFor(e.depthKm));
            p.setPen(QPen(QColor(40, 40, 40), 1.0));
            p.drawEllipse(c, r, r);
            if (e.isNew) {
                p.setBrush(Qt::NoBrush);
                p.setPen(QPen(QColor(200, 0, 160), 2.0));
                p.drawEllipse(c, r + 3, r + 3);
            }
            if (i == selected_) {
                p.setBrush(Qt::NoBrush);
                p.setPen(QPen(Qt::black, 2.0));
                p.drawEllipse(c, r + 5, r + 5);
                p.drawLine(c + QPointF(-r - 9, 0), c + QPointF(-r - 5, 0));
                p.drawLine(c + QPointF(r + 5, 0), c + QPointF(r + 9, 0));
            }
        }
}

void MapView::drawStations(QPainter& p) {
    p.setPen(QPen(QColor(30, 30, 30), 0.8));
    p.setBrush(stationColour());
    for (const auto& s : stations_) {
        QPointF c = toScreen(s.lon, s.lat);
        QPolygonF triangle;
        triangle << c + QPointF(0, -5) << c + QPointF(4.5, 3.5) << c + QPointF(-4.5, 3.5);
        p.drawPolygon(triangle);
    }
}

void MapView::drawLegend(QPainter& p) {
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    p.setFont(small);
    QFontMetrics fm(small);
    int line = fm.height() + 2;
    double biggest = radiusFor(kLegendMagnitudes[std::size(kLegendMagnitudes) - 1]);
    int w = 0;
    for (const auto& d : kDepths) w = std::max(w, fm.horizontalAdvance(d.label));
    w += 26;
    int magnitudeWidth = 0;
    for (double m : kLegendMagnitudes) magnitudeWidth += int(2 * radiusFor(m)) + 6;
    w = std::max(w, magnitudeWidth + 8);
    int h = line * (int(std::size(kDepths)) + 2) + int(2 * biggest) + 6;
    QRectF box(6, height() - h - 6, w, h);
    p.setPen(QColor(120, 120, 120));
    p.setBrush(QColor(255, 255, 255, 215));
    p.drawRect(box);
    double y = box.top() + 4;
    p.setPen(Qt::black);
    p.drawText(QPointF(box.left() + 6, y + fm.ascent()), "Depth");
    y += line;
    for (const auto& d : kDepths) {
        p.setPen(QPen(QColor(40, 40, 40), 1.0));
        p.setBrush(QColor(d.colour));
        p.drawEllipse(QPointF(box.left() + 12, y + line / 2.0), 5, 5);
        p.setPen(Qt::black);
        p.drawText(QPointF(box.left() + 24, y + fm.ascent()), d.label);
        y += line;
    }
    p.drawText(QPointF(box.left() + 6, y + fm.ascent()), "Magnitude");
    y += line;
    double x = box.left() + 6;
    for (double m : kLegendMagnitudes) {
        double r = radiusFor(m);
        p.setPen(QPen(QColor(40, 40, 40), 1.0));
        p.setBrush(Qt::white);
        p.drawEllipse(QPointF(x + r, y + biggest), r, r);
        p.setPen(Qt::black);
        QString label = QString::number(m, 'f', 0);
        p.drawText(QPointF(x + r - fm.horizontalAdvance(label) / 2.0, y + biggest + fm.ascent() / 2.5), label);
        x += 2 * r + 6;
    }
}

void MapView::drawTexts(QPainter& p) {
    p.setFont(font());
    QFontMetrics fm(font());
    auto banner = [&](const QString& text, bool right, int row) {
        if (text.isEmpty()) return;
        QString shown = fm.elidedText(text, Qt::ElideRight, width() - 16);
        int w = fm.horizontalAdvance(shown) + 10;
        QRectF box(right ? width() - w - 6 : 6, 6 + row * (fm.height() + 8), w, fm.height() + 4);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(255, 255, 255, 220));
        p.drawRect(box);
        p.setPen(Qt::black);
        p.drawText(box, Qt::AlignCenter, shown);
    };
    banner(caption_, false, 0);
    banner(note_, true, caption_.isEmpty() ? 0 : 1);
    if (!coastlineMessage_.isEmpty()) banner(coastlineMessage_, false, caption_.isEmpty() ? 1 : 2);
}

// ------------------------------------------------------------------ input

void MapView::resizeEvent(QResizeEvent*) {
    if (fitted_ || degreesPerPixel_ <= 0)
        showWorld();
    else
        clampView();
}

void MapView::wheelEvent(QWheelEvent* event) {
    double steps = event->angleDelta().y() / 120.0;
    if (steps != 0) zoomBy(std::pow(1.25, steps), event->position());
    event->accept();
}

void MapView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressAt_ = lastAt_ = event->position();
    dragging_ = false;
}

void MapView::mouseMoveEvent(QMouseEvent* event) {
    if (!(event->buttons() & Qt::LeftButton)) return;
    if (!dragging_ && QLineF(pressAt_, event->position()).length() < 4) return;
    dragging_ = true;
    panBy(event->position() - lastAt_);
    lastAt_ = event->position();
}

void MapView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    if (!dragging_) {
        int hit = eventAt(event->position());
        if (hit >= 0) emit eventClicked(hit);
    }
    dragging_ = false;
}

void MapView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (eventAt(event->position()) < 0) showWorld();
}

bool MapView::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* help = static_cast<QHelpEvent*>(event);
        int s = stationAt(help->pos());
        if (s >= 0)
            QToolTip::showText(help->globalPos(), stations_[s].code, this);
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

}  // namespace zeva::desktop
