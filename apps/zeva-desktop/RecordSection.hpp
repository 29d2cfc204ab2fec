// The selected event's waveforms as a record section.
//
// fetchSection asks a data centre's station service for the broadband
// vertical channels (BHZ, HHZ) within a ring of degrees around the
// epicentre, with their responses, keeps the nearest stations (one channel
// each), asks the dataselect service for each station's window (from the
// origin time to two minutes plus twenty seconds per degree after it),
// removes the response to velocity and answers the traces in distance
// order. A station whose data fail is named with its reason; the others
// still come. It runs on any thread and stops between stations when asked.
//
// RecordSectionView draws the traces: one row per station, time since the
// origin across, each trace scaled to its own peak, labelled with its codes
// and distance, the peak velocity written beside it.
#pragma once

#include <QString>
#include <QStringList>
#include <QWidget>

#include <atomic>
#include <functional>
#include <vector>

namespace zeva::desktop {

struct SectionRequest {
    QString service;  // a data centre's short name or a base URL
    double latitude = 0, longitude = 0, originTime = 0;  // degrees, epoch seconds
    double minDegrees = 0, maxDegrees = 30;
    int maxStations = 10;
};

struct SectionTrace {
    QString code;            // NET.STA.LOC.CHA
    double distance = 0;     // degrees from the epicentre
    double start = 0;        // seconds after the origin of the first sample
    double interval = 0;     // seconds between samples
    double peak = 0;         // largest absolute velocity, m/s
    std::vector<float> samples;  // m/s
};

struct SectionStation {
    QString code;  // NET.STA
    double latitude = 0, longitude = 0;
};

struct SectionResult {
    std::vector<SectionTrace> traces;  // nearest first
    std::vector<SectionStation> stations;  // every station the station service gave in the ring
    QStringList failures;              // "NET.STA: reason", nearest first
    QString error;                     // why nothing came (the station service failed)
    bool cancelled = false;
};

// The great-circle distance in degrees.
double distanceDegrees(double lat1, double lon1, double lat2, double lon2);
// Seconds of waveform asked for a station at `degrees` from the epicentre.
double windowSeconds(double degrees);

// progress(done, total) is called after each station.
SectionResult fetchSection(const SectionRequest& request, const std::atomic<bool>& cancel,
                           const std::function<void(int, int)>& progress);

class RecordSectionView : public QWidget {
    Q_OBJECT
public:
    explicit RecordSectionView(QWidget* parent = nullptr);
    void setSection(const SectionResult& section, const QString& title);
    const SectionResult& section() const { return section_; }
    // The label drawn beside trace i: "CODE  12.3°  peak 4.56e-06 m/s".
    QString traceLabel(size_t i) const;

protected:
    void paintEvent(QPaintEvent*) override;

private:
    SectionResult section_;
    QString title_;
};

}  // namespace zeva::desktop
