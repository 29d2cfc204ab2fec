#include "RecordSection.hpp"

#include <QPainter>
#include <QPaintEvent>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>

#include "zeva/fdsn/FDSNClient.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAChannelID.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/platform/Text.hpp"
#include "zeva/response/InstrumentCorrection.hpp"

namespace zeva::desktop {

namespace {

QString codesOf(const ZEVAChannel& channel) {
    return QString::fromStdString(textOf(channel.network_code()) + "." + textOf(channel.station_code()) + "." +
                                  textOf(channel.site_code()) + "." + textOf(channel.channel_code()));
}

struct Candidate {
    Ref<ZEVAChannel> channel;
    Ref<ZEVAResponse> response;
    QString station;  // NET.STA
    double distance = 0;
};

// One trace of a station's answer: the samples of the requested channel in
// velocity, or the reason there are none.
bool traceOf(const Candidate& c, const miniseed::Seismograms& read, double originTime, SectionTrace* trace,
             QString* why) {
    const QString codes = codesOf(*c.channel);
    Ref<ZEVALocalSeismogram> first;
    for (const auto& s : read.seismograms) {
        auto id = s ? s->_channel_id() : nullptr;
        auto network = id ? id->_network_id() : nullptr;
        if (id && QString::fromStdString(textOf(network ? network->_network_code() : nullptr) + "." +
                                         textOf(id->_station_code()) + "." + textOf(id->_site_code()) + "." +
                                         textOf(id->_channel_code())) == codes) {
            first = s;
            break;
        }
    }
    if (!first) return *why = "the answer holds no data of " + codes, false;
    const double interval = first->sampleInterval();
    if (!(interval > 0) || first->samples().empty())
        return *why = "the answer's samples of " + codes + " cannot be read", false;
    std::vector<double> counts(first->samples().begin(), first->samples().end());
    const double rate = 1.0 / interval;
    response::CorrectionOptions options;
    options.output = response::Motion::Velocity;
    options.preFilter = std::array<double, 4>{0.01, 0.02, 0.4 * rate, 0.45 * rate};
    std::vector<double> velocity;
    std::string error;
    if (!response::correctSamples(counts, rate, *c.response, options, &velocity, nullptr, &error))
        return *why = "the response cannot be removed: " + QString::fromStdString(error), false;
    trace->code = codes;
    trace->distance = c.distance;
    trace->interval = interval;
    trace->start = (first->_begin_time() ? first->_begin_time()->epochTime() : originTime) - originTime;
    trace->samples.assign(velocity.begin(), velocity.end());
    trace->peak = 0;
    for (double v : velocity) trace->peak = std::max(trace->peak, std::abs(v));
    return true;
}

}  // namespace

double distanceDegrees(double lat1, double lon1, double lat2, double lon2) {
    constexpr double rad = std::numbers::pi / 180;
    const double a = std::sin((lat2 - lat1) * rad / 2), b = std::sin((lon2 - lon1) * rad / 2);
    const double h = a * a + std::cos(lat1 * rad) * std::cos(lat2 * rad) * b * b;
    return 2 * std::asin(std::sqrt(std::clamp(h, 0.0, 1.0))) / rad;
}

double windowSeconds(double degrees) { return 120 + 20 * std::max(0.0, degrees); }

SectionResult fetchSection(const SectionRequest& request, const std::atomic<bool>& cancel,
                           const std::function<void(int, int)>& progress) {
    SectionResult result;
    std::string error;
    const std::string service = request.service.toStdString();
    auto stationURL = fdsn::queryURL(service, fdsn::Service::Station, &error);
    auto dataURL = stationURL ? fdsn::queryURL(service, fdsn::Service::Dataselect, &error) : std::nullopt;
    if (!dataURL) return result.error = QString::fromStdString(error), result;

    fdsn::HTTPOptions http;
    http.connectTimeoutMs = 10'000;
    http.totalTimeoutMs = 120'000;
    const double end = request.originTime + windowSeconds(request.maxDegrees);
    fdsn::Query query;
    query.addNumber("latitude", request.latitude);
    query.addNumber("longitude", request.longitude);
    query.addNumber("minradius", request.minDegrees);
    query.addNumber("maxradius", request.maxDegrees);
    query.add("channel", "BHZ,HHZ");
    query.addTime("starttime", request.originTime);
    query.addTime("endtime", end);
    query.add("level", "response");
    query.add("format", "xml");
    StationXMLInventory inventory;
    auto outcome = fdsn::queryStations(*stationURL, query, false, &inventory, nullptr, http);
    if (outcome.noData) return result.error = "No station with broadband vertical channels in the distance range", result;
    if (!outcome.ok) {
        // An HTTP status is the service's answer; anything else means it was
        // never reached (no network, refused, timed out).
        const bool answered = outcome.message.rfind("HTTP ", 0) == 0 || outcome.message.rfind("the answer", 0) == 0;
        result.error = (answered ? "The station service failed: " : "The station service cannot be reached: ") +
                       QString::fromStdString(outcome.message);
        return result;
    }

    // One channel per station (BHZ before HHZ, the first epoch with a
    // response and a position in the ring), nearest first.
    std::map<QString, Candidate> byStation;
    for (size_t i = 0; i < inventory.channels->count(); ++i) {
        auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        auto instrumentation = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
        if (!channel || !instrumentation || !instrumentation->_the_response()) continue;
        const QString code = QString::fromStdString(textOf(channel->channel_code()));
        if (code != "BHZ" && code != "HHZ") continue;
        Candidate c{channel, instrumentation->_the_response(),
                    QString::fromStdString(textOf(channel->network_code()) + "." + textOf(channel->station_code())),
                    distanceDegrees(request.latitude, request.longitude, channel->latitude(), channel->longitude())};
        if (c.distance < request.minDegrees || c.distance > request.maxDegrees) continue;
        auto at = byStation.find(c.station);
        if (at == byStation.end() || (code == "BHZ" && textOf(at->second.channel->channel_code()) != "BHZ"))
            byStation[c.station] = c;
    }
    std::vector<Candidate> chosen;
    for (auto& [station, c] : byStation) {
        chosen.push_back(c);
        result.stations.push_back({station, c.channel->latitude(), c.channel->longitude()});
    }
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](const Candidate& a, const Candidate& b) { return a.distance < b.distance; });
    if (chosen.size() > size_t(std::max(0, request.maxStations))) chosen.resize(size_t(std::max(0, request.maxStations)));
    if (chosen.empty()) return result.error = "No broadband vertical channel with a response in the distance range", result;

    int done = 0;
    if (progress) progress(0, int(chosen.size()));
    for (const auto& c : chosen) {
        if (cancel) return result.cancelled = true, result;
        fdsn::Query q;
        q.add("network", textOf(c.channel->network_code()));
        q.add("station", textOf(c.channel->station_code()));
        q.add("location", textOf(c.channel->site_code()).empty() ? "--" : textOf(c.channel->site_code()));
        q.add("channel", textOf(c.channel->channel_code()));
        q.addTime("starttime", request.originTime);
        q.addTime("endtime", request.originTime + windowSeconds(c.distance));
        miniseed::Seismograms read;
        auto got = fdsn::queryWaveforms(*dataURL, &q, nullptr, &read, http);
        QString why;
        SectionTrace trace;
        if (!got.ok) why = QString::fromStdString(got.message);
        else if (got.noData) why = "no data" + (got.message.empty() ? QString() : ": " + QString::fromStdString(got.message));
        if (why.isEmpty() && traceOf(c, read, request.originTime, &trace, &why)) result.traces.push_back(std::move(trace));
        else result.failures << c.station + QString(" (%1\u00b0): ").arg(c.distance, 0, 'f', 1) + why;
        if (progress) progress(++done, int(chosen.size()));
    }
    return result;
}

RecordSectionView::RecordSectionView(QWidget* parent) : QWidget(parent) {
    setAutoFillBackground(true);
}

void RecordSectionView::setSection(const SectionResult& section, const QString& title) {
    section_ = section;
    title_ = title;
    update();
}

QString RecordSectionView::traceLabel(size_t i) const {
    if (i >= section_.traces.size()) return {};
    const auto& t = section_.traces[i];
    return QString("%1  %2\u00b0  peak %3 m/s").arg(t.code).arg(t.distance, 0, 'f', 1).arg(t.peak, 0, 'e', 2);
}

void RecordSectionView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), palette().color(QPalette::Base));
    p.setPen(palette().color(QPalette::Text));
    const QFontMetrics fm = p.fontMetrics();
    const int top = fm.height() + 6, bottom = height() - fm.height() - 10, labelWidth = 260;
    p.drawText(4, fm.ascent() + 2, title_);
    const auto& traces = section_.traces;
    int listed = int(section_.failures.size());
    const int rowsBottom = bottom - listed * fm.height();
    if (traces.empty() || rowsBottom <= top) {
        int y = top + fm.ascent();
        for (const auto& f : section_.failures) p.drawText(4, y, f), y += fm.height();
        return;
    }
    double t1 = 1;
    for (const auto& t : traces) t1 = std::max(t1, t.start + t.interval * double(t.samples.size()));
    const int x0 = 8, x1 = std::max(x0 + 50, width() - labelWidth);
    auto xOf = [&](double seconds) { return x0 + (x1 - x0) * std::clamp(seconds / t1, 0.0, 1.0); };
    // Time axis with ticks every round number of seconds.
    p.drawLine(x0, rowsBottom, x1, rowsBottom);
    const double step = t1 > 1200 ? 300 : t1 > 600 ? 120 : t1 > 240 ? 60 : 30;
    for (double s = 0; s <= t1; s += step) {
        int x = int(xOf(s));
        p.drawLine(x, rowsBottom, x, rowsBottom + 4);
        p.drawText(x + 2, rowsBottom + fm.ascent() + 4, QString::number(s, 'f', 0));
    }
    p.drawText(x1 - fm.horizontalAdvance("s since origin"), rowsBottom - 4, "s since origin");
    const double row = double(rowsBottom - top) / double(traces.size());
    for (size_t i = 0; i < traces.size(); ++i) {
        const auto& t = traces[i];
        const double mid = top + row * (double(i) + 0.5), half = row * 0.45;
        QPolygonF line;
        // At most a few points per pixel column: the extremes of each column.
        const size_t n = t.samples.size();
        const size_t perColumn = std::max<size_t>(1, n / size_t(std::max(1, x1 - x0)));
        for (size_t k = 0; k < n; k += perColumn) {
            float lo = t.samples[k], hi = lo;
            for (size_t j = k; j < std::min(n, k + perColumn); ++j) lo = std::min(lo, t.samples[j]), hi = std::max(hi, t.samples[j]);
            const double x = xOf(t.start + t.interval * double(k));
            const double scale = t.peak > 0 ? half / t.peak : 0;
            line << QPointF(x, mid - hi * scale);
            if (perColumn > 1) line << QPointF(x, mid - lo * scale);
        }
        p.setPen(QPen(palette().color(QPalette::Text), 0));
        p.drawPolyline(line);
        p.drawText(x1 + 6, int(mid + fm.ascent() / 2.0), traceLabel(i));
    }
    int y = rowsBottom + fm.height() + 6 + fm.ascent();
    for (const auto& f : section_.failures) p.drawText(4, y, "Failed: " + f), y += fm.height();
}

}  // namespace zeva::desktop
