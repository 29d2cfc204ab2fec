// A map of the event list: land, lakes and national borders from the GSHHG
// files in a plain latitude-longitude (equirectangular) projection with a
// grid; each event a circle sized by magnitude and coloured by depth, with a
// legend for both; stations as triangles named on hover. The wheel zooms
// about the pointer, dragging pans, a double click shows the world again; a
// click on an event reports it. Crude coastlines serve the world, low and
// intermediate ones a closer view. Without the GSHHG files the map draws
// grid and events and says what is missing.
#pragma once

#include <QString>
#include <QVector>
#include <QWidget>

#include <map>
#include <memory>

#include "zeva/map/Shorelines.hpp"

namespace zeva::desktop {

struct MapEvent {
    double lon = 0, lat = 0;
    double depthKm = 0;
    double magnitude = 0;
    bool isNew = false;  // marked until the user has seen it
};

struct MapStation {
    double lon = 0, lat = 0;
    QString code;  // NET.STA
};

class MapView : public QWidget {
    Q_OBJECT
public:
    explicit MapView(QWidget* parent = nullptr);

    // The events in table order; index i is row i.
    void setEvents(const QVector<MapEvent>& events);
    // -1: none.
    void setSelected(int index, const QString& caption = {});
    void setStations(const QVector<MapStation>& stations);
    // A line written in the map's top corner (what list is shown).
    void setNote(const QString& note);

    int selected() const { return selected_; }
    const QVector<MapEvent>& events() const { return events_; }
    const QVector<MapStation>& stations() const { return stations_; }
    QString note() const { return note_; }
    QString caption() const { return caption_; }
    // Why no coastlines (or only crude ones) were drawn last; empty when
    // those of the view's resolution were.
    QString coastlineMessage() const { return coastlineMessage_; }
    zeva::map::Resolution resolution() const;

    // The projection: widget pixels from degrees and back.
    QPointF toScreen(double lon, double lat) const;
    QPointF toGeo(const QPointF& at) const;
    // The event under a widget point, or -1; of overlapping circles the one
    // whose centre is nearest.
    int eventAt(const QPointF& at) const;
    // The station whose triangle holds a widget point, or -1.
    int stationAt(const QPointF& at) const;
    // Circle radius in pixels for a magnitude, and colour for a depth.
    static double radiusFor(double magnitude);
    static QColor colourFor(double depthKm);

    void zoomBy(double factor, const QPointF& about);
    void panBy(const QPointF& pixels);
    void showWorld();

    static QColor landColour();
    static QColor seaColour();
    static QColor stationColour();

signals:
    void eventClicked(int index);

protected:
    void paintEvent(QPaintEvent*) override;
    void resizeEvent(QResizeEvent*) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct Layers {
        zeva::map::MapLayer shore, borders;
        bool ok = false;
        QString error;
    };
    const Layers* layers(zeva::map::Resolution resolution);
    void clampView();
    void drawLand(QPainter& p, const Layers& l);
    void drawGrid(QPainter& p);
    void drawEvents(QPainter& p);
    void drawStations(QPainter& p);
    void drawLegend(QPainter& p);
    void drawTexts(QPainter& p);

    QVector<MapEvent> events_;
    QVector<MapStation> stations_;
    int selected_ = -1;
    QString caption_, note_, coastlineMessage_;
    std::string directory_;  // of the shoreline files, as it was on construction
    std::map<int, std::unique_ptr<Layers>> cache_;
    double centerLon_ = 0, centerLat_ = 0;
    double degreesPerPixel_ = 1;
    bool fitted_ = false;  // showing the whole world; refitted on resize
    QPointF pressAt_, lastAt_;
    bool dragging_ = false;
};

}  // namespace zeva::desktop
