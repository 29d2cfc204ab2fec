#include "zeva/fdsn/FDSNText.hpp"

#include <charconv>
#include <cmath>
#include <vector>

#include <fmt/core.h>

#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/platform/Date.hpp"

namespace zeva::fdsntext {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
std::string_view trim(std::string_view t) {
    while (!t.empty() && isBlank(t.front())) t.remove_prefix(1);
    while (!t.empty() && isBlank(t.back())) t.remove_suffix(1);
    return t;
}

struct Stop {
    int line;
    std::string message;
};

// Walks the rows of a table: each data row split at '|' (fields untrimmed).
class Rows {
public:
    explicit Rows(std::string_view text) : text_(text) {}
    bool next(std::vector<std::string_view>& fields) {
        while (at_ < text_.size()) {
            size_t end = text_.find('\n', at_);
            if (end == std::string_view::npos) end = text_.size();
            std::string_view row = text_.substr(at_, end - at_);
            at_ = end + 1;
            ++line_;
            if (!row.empty() && row.back() == '\r') row.remove_suffix(1);
            if (trim(row).empty() || trim(row).front() == '#') continue;
            fields.clear();
            for (size_t from = 0;;) {
                size_t bar = row.find('|', from);
                fields.push_back(row.substr(from, bar == std::string_view::npos ? std::string_view::npos : bar - from));
                if (bar == std::string_view::npos) break;
                from = bar + 1;
            }
            return true;
        }
        return false;
    }
    int line() const { return line_; }
    [[noreturn]] void fail(std::string message) const { throw Stop{line_, std::move(message)}; }

    double number(std::string_view field, const char* column) const {
        std::string_view t = trim(field);
        if (t.size() > 1 && t[0] == '+' && t[1] != '-') t.remove_prefix(1);
        double value = 0;
        auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
        if (t.empty() || ec != std::errc() || end != t.data() + t.size() || !std::isfinite(value))
            fail(fmt::format("{}: not a number: '{}'", column, std::string(trim(field))));
        return value;
    }
    stationxml::Measure measure(std::string_view field, const char* column) const {
        stationxml::Measure m;
        if (trim(field).empty()) return m;
        m.value = number(field, column);
        m.present = true;
        return m;
    }
    stationxml::Instant instant(std::string_view field, const char* column) const {
        stationxml::Instant i;
        std::string_view t = trim(field);
        if (t.empty()) return i;
        if (!stationxml::parseInstant(t, &i.seconds)) fail(fmt::format("{}: not a time: '{}'", column, std::string(t)));
        i.present = true;
        return i;
    }

private:
    std::string_view text_;
    size_t at_ = 0;
    int line_ = 0;
};

void checkLatitude(const Rows& rows, double v) {
    if (std::fabs(v) > 90) rows.fail(fmt::format("Latitude: out of range: {}", v));
}
void checkLongitude(const Rows& rows, double v) {
    if (std::fabs(v) > 180) rows.fail(fmt::format("Longitude: out of range: {}", v));
}

}  // namespace

bool readStationTable(std::string_view text, stationxml::Builder& builder, stationxml::Failure* failure) {
    Rows rows(text);
    std::vector<std::string_view> f;
    std::string network, station;
    bool any = false;
    try {
        while (rows.next(f)) {
            any = true;
            std::string net(trim(f[0]));
            if (net.empty()) rows.fail("Network: empty");
            if (f.size() == 5) {  // Network|Description|StartTime|EndTime|TotalStations
                stationxml::Network n;
                n.line = rows.line();
                n.code = net;
                n.description = trim(f[1]);
                n.start = rows.instant(f[2], "StartTime");
                n.end = rows.instant(f[3], "EndTime");
                builder.network(n);
                network = net, station.clear();
                continue;
            }
            if (f.size() != 8 && f.size() != 17)
                rows.fail(fmt::format("{} columns: a station table has 5, 8 or 17", f.size()));
            if (net != network) {
                stationxml::Network n;
                n.line = rows.line();
                n.code = net;
                builder.network(n);
                network = net, station.clear();
            }
            std::string sta(trim(f[1]));
            if (sta.empty()) rows.fail("Station: empty");
            if (f.size() == 8) {  // Network|Station|Latitude|Longitude|Elevation|SiteName|StartTime|EndTime
                stationxml::Station s;
                s.line = rows.line();
                s.code = sta;
                s.latitude = rows.measure(f[2], "Latitude");
                s.longitude = rows.measure(f[3], "Longitude");
                s.elevation = rows.measure(f[4], "Elevation");
                checkLatitude(rows, s.latitude.value);
                checkLongitude(rows, s.longitude.value);
                s.siteName = trim(f[5]);
                s.start = rows.instant(f[6], "StartTime");
                s.end = rows.instant(f[7], "EndTime");
                builder.station(s);
                station = sta;
                continue;
            }
            // Network|Station|Location|Channel|Latitude|Longitude|Elevation|Depth|Azimuth|Dip|
            // SensorDescription|Scale|ScaleFreq|ScaleUnits|SampleRate|StartTime|EndTime
            stationxml::Channel c;
            c.line = rows.line();
            c.locationCode = f[2];
            c.code = trim(f[3]);
            if (c.code.empty()) rows.fail("Channel: empty");
            c.latitude = rows.measure(f[4], "Latitude");
            c.longitude = rows.measure(f[5], "Longitude");
            c.elevation = rows.measure(f[6], "Elevation");
            c.depth = rows.measure(f[7], "Depth");
            checkLatitude(rows, c.latitude.value);
            checkLongitude(rows, c.longitude.value);
            c.azimuth = rows.measure(f[8], "Azimuth");
            c.dip = rows.measure(f[9], "Dip");
            std::string_view sensor = trim(f[10]);
            if (!sensor.empty()) c.sensor.present = true, c.sensor.description = sensor;
            stationxml::Measure scale = rows.measure(f[11], "Scale");
            stationxml::Measure scaleFrequency = rows.measure(f[12], "ScaleFreq");
            if (scale.present) {
                c.response.present = true;
                c.response.hasSensitivity = true;
                c.response.sensitivity = scale;
                c.response.sensitivityFrequency = scaleFrequency;
                std::string_view units = trim(f[13]);
                if (!units.empty()) c.response.sensitivityInput = {std::string(units), "", true};
            }
            c.sampleRate = rows.measure(f[14], "SampleRate");
            if (c.sampleRate.present && c.sampleRate.value < 0) rows.fail("SampleRate: negative");
            c.start = rows.instant(f[15], "StartTime");
            c.end = rows.instant(f[16], "EndTime");
            if (!c.start.present) rows.fail("StartTime: empty");
            if (sta != station) {
                stationxml::Station s;
                s.line = rows.line();
                s.code = sta;
                s.latitude = c.latitude, s.longitude = c.longitude, s.elevation = c.elevation;
                s.start = c.start;
                builder.station(s);
                station = sta;
            }
            builder.channel(c);
        }
        if (!any) rows.fail("no rows");
    } catch (Stop& stop) {
        if (failure) *failure = {stop.line, std::move(stop.message)};
        return false;
    }
    return true;
}

bool readEventTable(std::string_view text, MutableArray& origins, Failure* failure) {
    Rows rows(text);
    std::vector<std::string_view> f;
    auto textOrNull = [](std::string_view t) { return t.empty() ? nullptr : str(std::string(t)); };
    try {
        while (rows.next(f)) {
            if (f.size() != 13) rows.fail(fmt::format("{} columns: an event table has 13", f.size()));
            auto origin = ZEVAOrigin::create();
            origin->set_id(textOrNull(trim(f[0])));
            stationxml::Instant time = rows.instant(f[1], "Time");
            if (!time.present) rows.fail("Time: empty");
            origin->setOriginTime(Date::dateWithTimeIntervalSince1970(time.seconds));
            double latitude = rows.number(f[2], "Latitude"), longitude = rows.number(f[3], "Longitude");
            checkLatitude(rows, latitude);
            checkLongitude(rows, longitude);
            origin->setLatitude(static_cast<float>(latitude));
            origin->setLongitude(static_cast<float>(longitude));
            stationxml::Measure depth = rows.measure(f[4], "Depth/km");
            origin->setDepth(depth.present ? static_cast<float>(depth.value) : 0.0f);
            std::string_view author = trim(f[5]), catalog = trim(f[6]), contributor = trim(f[7]);
            origin->set_catalog(textOrNull(catalog.empty() ? author : catalog));
            origin->set_contributor(textOrNull(contributor.empty() ? author : contributor));
            stationxml::Measure magnitude = rows.measure(f[10], "Magnitude");
            if (magnitude.present) {
                std::string_view by = trim(f[11]);
                origin->addMagnitude_Type_Contrib(static_cast<float>(magnitude.value), textOrNull(trim(f[9])),
                                                  by.empty() ? origin->_contributor() : textOrNull(by));
            }
            origin->setFERegion();
            origins.addObject(origin);
        }
    } catch (Stop& stop) {
        if (failure) *failure = {stop.line, std::move(stop.message)};
        return false;
    }
    return true;
}

}  // namespace zeva::fdsntext
