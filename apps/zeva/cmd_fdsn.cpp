// zeva stations / waveforms / quakes: the FDSN web services of data centres,
// and QuakeML files.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <fmt/printf.h>

#include "command.hpp"
#include "zeva/fdsn/FDSNClient.hpp"
#include "zeva/fdsn/QuakeML.hpp"
#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/TableView.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace {

using zeva::cli::Args;
using zeva::cli::Options;
using zeva::cli::UsageError;
namespace fdsn = zeva::fdsn;

// ---- shared option handling ----------------------------------------------

// A time in the forms `zeva time` takes, to the microsecond: ISO
// ("2009-06-01T14:03:12.250001Z"), spaced ("2009-06-01 14:03:12") or year
// and day of the year ("2009152T140312").
double timeArgument(const std::string& option, const std::string& original) {
    std::string text = original;
    double seconds = 0;
    if (text.size() > 10 && text[10] == ' ') text[10] = 'T';
    // Years 1 to 9999, as the services write them.
    auto inRange = [](double t) { return t >= -62135596800.0 && t < 253402300800.0; };
    if (zeva::stationxml::parseInstant(text, &seconds) && inRange(seconds)) return seconds;
    bool ordinal = text.size() >= 14 && text[7] == 'T';
    for (size_t i = 0; ordinal && i < 14; ++i)
        if (i != 7 && !std::isdigit(static_cast<unsigned char>(text[i]))) ordinal = false;
    if (ordinal) {
        int year = std::stoi(text.substr(0, 4)), dayOfYear = std::stoi(text.substr(4, 3));
        std::string iso = fmt::format("{:04d}-01-01T{}:{}:{}{}", year, text.substr(8, 2), text.substr(10, 2),
                                      text.substr(12, 2), text.substr(14));
        double thisYear = 0, nextYear = 0;
        if (zeva::stationxml::parseInstant(fmt::format("{:04d}-01-01", year), &thisYear) &&
            zeva::stationxml::parseInstant(fmt::format("{:04d}-01-01", year + 1), &nextYear) &&
            zeva::stationxml::parseInstant(iso, &seconds) && dayOfYear >= 1 &&
            dayOfYear <= (nextYear - thisYear) / 86400)
            if (inRange(seconds + (dayOfYear - 1) * 86400.0)) return seconds + (dayOfYear - 1) * 86400.0;
    }
    throw UsageError{fmt::format("{}: not a time: {} (expected 2009-06-01T14:03:12.250000Z, 2009-06-01 14:03:12 "
                                 "or 2009152T140312)",
                                 option, original)};
}

struct Area {
    zeva::Ref<ZEVABoxArea> box;
    zeva::Ref<ZEVAPointDistanceArea> ring;

    bool take(const std::string& word, Options& o) {
        if (word == "--box") {
            double minLat = o.number(word), maxLat = o.number(word), minLon = o.number(word), maxLon = o.number(word);
            if (minLat < -90 || maxLat > 90 || minLat > maxLat || minLon < -180 || maxLon > 180 || minLon > maxLon)
                throw UsageError{"--box is MINLAT MAXLAT MINLON MAXLON, latitudes within -90..90, longitudes within "
                                 "-180..180, each minimum below its maximum"};
            box = ZEVABoxArea::create();
            box->set_min_latitude(static_cast<float>(minLat));
            box->set_max_latitude(static_cast<float>(maxLat));
            box->set_min_longitude(static_cast<float>(minLon));
            box->set_max_longitude(static_cast<float>(maxLon));
        } else if (word == "--around") {
            double lat = o.number(word), lon = o.number(word), minDeg = o.number(word), maxDeg = o.number(word);
            if (std::abs(lat) > 90 || std::abs(lon) > 180 || minDeg < 0 || maxDeg > 180 || minDeg > maxDeg)
                throw UsageError{"--around is LAT LON MINDEG MAXDEG, distances in degrees from 0 to 180"};
            ring = ZEVAPointDistanceArea::create();
            ring->set_latitude(static_cast<float>(lat));
            ring->set_longitude(static_cast<float>(lon));
            auto degrees = [](double v) {
                auto q = ZEVAQuantity::create();
                q->set_value(v);
                return q;
            };
            ring->set_min_distance(degrees(minDeg));
            ring->set_max_distance(degrees(maxDeg));
        } else {
            return false;
        }
        if (box && ring) throw UsageError{"--box and --around exclude each other"};
        return true;
    }
};

std::string serviceURL(const std::string& service, fdsn::Service which) {
    std::string error;
    auto url = fdsn::queryURL(service, which, &error);
    if (!url) throw UsageError{error};
    return *url;
}

fdsn::HTTPOptions httpOptions() {
    fdsn::HTTPOptions options;
    options.progress = true;
    return options;
}

// Says what came back; the status of the command.
int report(const char* name, const fdsn::Outcome& outcome) {
    if (!outcome.ok) {
        fmt::print(stderr, "zeva {}: {}\n", name, outcome.message);
        return 1;
    }
    if (outcome.noData) fmt::print(stderr, "zeva {}: {}\n", name, outcome.message);
    return 0;
}

// ---- zeva stations -------------------------------------------------------

std::string timeText(const zeva::Ref<ZEVATime>& time) { return time ? time->description() : ""; }

std::string channelName(const ZEVAChannel& channel) {
    return fmt::format("{}.{}.{}.{}", zeva::textOf(channel.network_code()), zeva::textOf(channel.station_code()),
                       zeva::textOf(channel.site_code()), zeva::textOf(channel.channel_code()));
}

// The columns of `zeva inventory`: NET.STA.LOC.CHA, start, end, latitude,
// longitude, elevation, azimuth, dip, sample rate, sensitivity, its
// frequency, its input unit, stage count.
void printChannel(const ZEVAChannel& channel, const ZEVAInstrumentation& instrumentation, const std::string& inputUnit) {
    auto range = channel._effective_time();
    auto site = channel._my_site();
    auto location = site ? site->_my_location() : nullptr;
    auto orientation = channel._an_orientation();
    auto sampling = channel._sampling_info();
    auto response = instrumentation._the_response();
    auto sensitivity = response ? response->_the_sensitivity() : nullptr;
    auto cell = [](bool present, auto value) { return present ? fmt::format("{}", value) : std::string(); };
    auto general = [](bool present, double value) { return present ? fmt::format("{:g}", value) : std::string(); };
    double rate = 0;
    if (sampling && sampling->_interval())
        rate = static_cast<double>(sampling->_numPoints()) / sampling->_interval()->value();
    fmt::print("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", channelName(channel),
               timeText(range ? range->_start_time() : nullptr), timeText(range ? range->_end_time() : nullptr),
               cell(location != nullptr, location ? location->latitude() : 0.0f),
               cell(location != nullptr, location ? location->longitude() : 0.0f),
               cell(location && location->_elevation(), location ? location->elevation() : 0.0),
               cell(orientation != nullptr, orientation ? orientation->_azimuth() : 0.0f),
               cell(orientation != nullptr, orientation ? orientation->_dip() : 0.0f),
               general(sampling && sampling->_interval(), rate),
               general(sensitivity != nullptr, sensitivity ? sensitivity->_sensitivity_factor() : 0.0),
               general(sensitivity != nullptr, sensitivity ? sensitivity->_frequency() : 0.0), inputUnit,
               cell(response && response->_stages(), response && response->_stages() ? response->_stages()->count() : 0));
}

std::string instantText(const zeva::stationxml::Instant& instant) {
    return instant.present ? fdsn::Query::timeText(instant.seconds) : "";
}

int stations(const Args& args) {
    std::string service, level = "channel", format = "xml", save;
    fdsn::Query query;
    Area area;
    std::optional<double> start, end;
    Options o(args);
    std::string word;
    while (o.next(word)) {
        if (area.take(word, o)) continue;
        if (word == "--service") service = o.value(word);
        else if (word == "--network") query.add("network", o.value(word));
        else if (word == "--station") query.add("station", o.value(word));
        else if (word == "--location") query.add("location", o.value(word));
        else if (word == "--channel") query.add("channel", o.value(word));
        else if (word == "--start") start = timeArgument(word, o.value(word));
        else if (word == "--end") end = timeArgument(word, o.value(word));
        else if (word == "--level") level = o.value(word);
        else if (word == "--format") format = o.value(word);
        else if (word == "--save") save = o.value(word);
        else throw UsageError{"unknown argument: " + word};
    }
    if (service.empty()) throw UsageError{"--service NAME|URL is required"};
    if (level != "network" && level != "station" && level != "channel" && level != "response")
        throw UsageError{"--level is network, station, channel or response"};
    if (format != "xml" && format != "text") throw UsageError{"--format is xml or text"};
    if (format == "text" && level == "response") throw UsageError{"--level response needs --format xml"};
    if (start && end && *end < *start) throw UsageError{"--end comes before --start"};
    std::string url = serviceURL(service, fdsn::Service::Station);
    if (start) query.addTime("starttime", *start);
    if (end) query.addTime("endtime", *end);
    fdsn::addArea(query, area.box.get(), area.ring.get());
    query.add("level", level);
    query.add("format", format);

    zeva::StationXMLInventory inventory;
    fdsn::StationRecords records;
    auto outcome = fdsn::queryStations(url, query, format == "text", &inventory, &records, httpOptions());
    if (int status = report("stations", outcome); status != 0 || outcome.noData) return status;
    if (level == "network") {
        for (const auto& n : records.networks)
            fmt::print("{}\t{}\t{}\t{}\n", n.code, instantText(n.start), instantText(n.end), n.description);
    } else if (level == "station") {
        for (const auto& [network, s] : records.stations)
            fmt::print("{}.{}\t{}\t{}\t{}\t{}\t{}\t{}\n", network, s.code, instantText(s.start), instantText(s.end),
                       s.latitude.value, s.longitude.value, s.elevation.value, s.siteName);
    } else {
        // The commented header of `zeva inventory`'s table.
        if (inventory.channels->count() > 0)
            fmt::print("# channel\tstart\tend\tlatitude\tlongitude\televation_m\tazimuth\tdip\tsample_rate_hz"
                       "\tsensitivity\tsensitivity_frequency_hz\tsensitivity_input_unit\tstages\n");
        for (size_t i = 0; i < inventory.channels->count(); ++i)
            printChannel(*inventory.channels->objectAtIndexAs<ZEVAChannel>(i),
                         *inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i),
                         inventory.sensitivityInputUnits[i]);
    }
    if (!save.empty()) {
        auto root = zeva::MutableDictionary::dictionary();
        root->setObject_forKey(inventory.channels, "channels");
        root->setObject_forKey(inventory.instrumentation, "instrumentation");
        if (!zeva::archiveRootObjectToFile(root, save)) {
            fmt::print(stderr, "zeva stations: could not write {}\n", save);
            return 1;
        }
    }
    return 0;
}

// ---- zeva waveforms ------------------------------------------------------

// NET.STA.LOC.CHA, as `zeva seismogram` names a channel.
std::string fullChannelName(const ZEVALocalSeismogram& s) {
    auto id = s._channel_id();
    if (!id) return "?";
    auto network = id->_network_id();
    return fmt::format("{}.{}.{}.{}", network ? zeva::textOf(network->_network_code()) : "",
                       zeva::textOf(id->_station_code()), zeva::textOf(id->_site_code()),
                       zeva::textOf(id->_channel_code()));
}

// As `zeva seismogram` prints one: the summary from the exact instant, the
// figures and samples from the exact values where the decode kept them.
void printSeismogram(const ZEVALocalSeismogram& s, bool samples) {
    std::span<const float> v = s.samples();
    std::span<const int32_t> counts = s.counts();
    std::span<const double> doubles = s.doubles();
    const double rate = 1.0 / static_cast<double>(s.sampleInterval());
    auto begin = s._begin_time();
    const std::string from =
        begin && begin->nsDate() ? " from " + zeva::Date::isoText(begin->epochTime()) : std::string();
    if (v.empty()) {
        fmt::printf("%s  -  %s\n0 samples%s, %g Hz\n", fullChannelName(s), s.shortDescription(), from, rate);
        return;
    }
    auto value = [&](size_t i) -> double {
        return !counts.empty() ? counts[i] : !doubles.empty() ? doubles[i] : static_cast<double>(v[i]);
    };
    const char* form = !counts.empty() ? "%.0f" : !doubles.empty() ? "%.17g" : "%.9g";
    double low = value(0), high = low, sum = 0;
    for (size_t i = 0; i < v.size(); i++) {
        const double x = value(i);
        low = std::min(low, x), high = std::max(high, x), sum += x;
    }
    fmt::printf("%s  -  %s\n%zu samples%s, %g Hz, min %s, max %s, mean %.9g\n", fullChannelName(s),
                s.shortDescription(), v.size(), from, rate,
                fmt::sprintf(form, low), fmt::sprintf(form, high), sum / static_cast<double>(v.size()));
    if (samples)
        for (size_t i = 0; i < v.size(); i++) fmt::printf("%s\n", fmt::sprintf(form, value(i)));
}

// "NET.STA.LOC.CHA" (LOC may be empty or "--") with its window.
zeva::Ref<ZEVARequestFilter> requestOf(const std::string& channel, double start, double end) {
    std::vector<std::string> codes;
    for (size_t from = 0;;) {
        size_t dot = channel.find('.', from);
        codes.push_back(channel.substr(from, dot == std::string::npos ? std::string::npos : dot - from));
        if (dot == std::string::npos) break;
        from = dot + 1;
    }
    if (codes.size() != 4 || codes[0].empty() || codes[1].empty() || codes[3].empty())
        throw UsageError{"a channel is NET.STA.LOC.CHA (LOC may be empty): " + channel};
    for (const auto& code : codes)
        for (char c : code)
            if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '*' || c == '?' || c == '-' || c == '_'))
                throw UsageError{"a code holds letters, digits and the wildcards * and ?: " + channel};
    if (end <= start) throw UsageError{"the end comes after the start: " + channel};
    auto network = ZEVANetworkID::create();
    network->set_network_code(zeva::str(codes[0]));
    auto id = ZEVAChannelID::create();
    id->set_network_id(network);
    id->set_station_code(zeva::str(codes[1]));
    id->set_site_code(zeva::str(codes[2] == "--" ? "" : codes[2]));
    id->set_channel_code(zeva::str(codes[3]));
    auto time = [](double seconds) {
        auto t = ZEVATime::create();
        t->setNsDate(zeva::Date::dateWithTimeIntervalSince1970(seconds));
        t->setEpochTime(seconds);
        return t;
    };
    auto request = ZEVARequestFilter::create();
    request->set_channel_id(id);
    request->set_start_time(time(start));
    request->set_end_time(time(end));
    return request;
}

int waveforms(const Args& args) {
    std::string service;
    std::optional<std::string> save, plot;
    bool samples = false;
    std::vector<std::string> positional;
    Options o(args);
    std::string word;
    while (o.next(word)) {
        if (word == "--service") service = o.value(word);
        else if (word == "--samples") samples = true;
        else if (word == "--save") save = o.value(word);
        else if (word == "--plot") plot = o.value(word);
        else if (word.starts_with("--")) throw UsageError{"unknown argument: " + word};
        else positional.push_back(word);
    }
    if (service.empty()) throw UsageError{"--service NAME|URL is required"};
    if (positional.empty() || positional.size() % 3 != 0)
        throw UsageError{"expects one or more NET.STA.LOC.CHA START END triples"};
    std::vector<zeva::Ref<ZEVARequestFilter>> requests;
    for (size_t i = 0; i < positional.size(); i += 3)
        requests.push_back(requestOf(positional[i], timeArgument("START", positional[i + 1]),
                                     timeArgument("END", positional[i + 2])));
    std::string url = serviceURL(service, fdsn::Service::Dataselect);

    zeva::miniseed::Seismograms read;
    fdsn::Outcome outcome;
    if (requests.size() == 1) {
        // One channel: a GET with the codes as the service spells them.
        const auto& id = requests[0]->_channel_id();
        fdsn::Query query;
        query.add("network", zeva::textOf(id->_network_id()->_network_code()));
        query.add("station", zeva::textOf(id->_station_code()));
        query.add("location", zeva::textOf(id->_site_code()).empty() ? "--" : zeva::textOf(id->_site_code()));
        query.add("channel", zeva::textOf(id->_channel_code()));
        query.addTime("starttime", requests[0]->_start_time()->epochTime());
        query.addTime("endtime", requests[0]->_end_time()->epochTime());
        outcome = fdsn::queryWaveforms(url, &query, nullptr, &read, httpOptions());
    } else {
        std::string body = fdsn::bulkBody(requests);
        outcome = fdsn::queryWaveforms(url, nullptr, &body, &read, httpOptions());
    }
    if (int status = report("waveforms", outcome); status != 0 || outcome.noData) return status;
    for (const auto& p : read.problems)
        fmt::print(stderr, "zeva waveforms: the answer, bytes {} to {}: {}, skipped\n", p.offset, p.offset + p.length,
                   p.message);
    for (const auto& n : read.notices) fmt::print(stderr, "zeva waveforms: {}\n", n);
    for (const auto& s : read.seismograms) printSeismogram(*s, samples);
    std::fflush(stdout);
    int status = 0;
    if (save && !read.seismograms.empty()) {
        std::vector<zeva::ObjectRef> items(read.seismograms.begin(), read.seismograms.end());
        if (!zeva::archiveRootObjectToFile(zeva::Array::arrayWithObjects(std::move(items)), *save)) {
            fmt::print(stderr, "zeva waveforms: cannot write {}\n", *save);
            status = 1;
        }
    }
    if (plot && !read.seismograms.empty()) {
        std::vector<zeva::plot::Trace> traces;
        for (const auto& s : read.seismograms) {
            zeva::plot::Trace t;
            auto channel = s->_channel_id();
            t.title = channel ? zeva::textOf(channel->_channel_code()) : "";
            t.start = s->_begin_time() ? s->_begin_time()->epochTime() : 0.0;
            t.interval = static_cast<double>(s->sampleInterval());
            t.samples = s->samples().data();
            t.count = s->samples().size();
            traces.push_back(t);
        }
        std::string error;
        int height = static_cast<int>(std::min<size_t>(60 + 160 * traces.size(), 20000));
        if (!zeva::plot::drawPlot(traces, *plot, 1200, height, &error)) {
            fmt::print(stderr, "zeva waveforms: {}\n", error);
            status = 1;
        }
    }
    return status;
}

// ---- zeva quakes ---------------------------------------------------------

// The nine-column table of `zeva events`.
void printEvents(const zeva::Ref<zeva::MutableArray>& origins) {
    static constexpr const char* kColumns[][2] = {{"1", "time"},      {"2", "catalog"},   {"3", "latitude"},
                                                  {"4", "longitude"}, {"5", "depth"},     {"6", "magnitude"},
                                                  {"7", "contributor"}, {"8", "id"},      {"9", "region"}};
    auto controller = NEIC_QueryController::create();
    zeva::MemoryTableView table;
    for (const auto& c : kColumns) table.addTableColumn(c[0], c[1]);
    table.setDataSource(controller.get());
    controller->setEventTableView(&table);
    controller->setSeismicOrigins(origins);
    // Numbered rows, as `zeva events` prints them.
    const std::string text = table.tabSeparatedText();
    size_t row = 0;
    for (size_t start = 0, end; start < text.size(); start = end + 1, row++) {
        end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        fmt::print("{}\t{}\n", row == 0 ? "row" : std::to_string(row), std::string_view(text).substr(start, end - start));
    }
}

int quakes(const Args& args) {
    std::string service, format = "xml", save, orderby;
    std::vector<std::string> files;
    fdsn::Query query;
    Area area;
    std::optional<double> start, end;
    bool queryOptions = false;
    Options o(args);
    std::string word;
    while (o.next(word)) {
        if (area.take(word, o)) {
            queryOptions = true;
            continue;
        }
        bool isQuery = true;
        if (word == "--service") service = o.value(word), isQuery = false;
        else if (word == "--start") start = timeArgument(word, o.value(word));
        else if (word == "--end") end = timeArgument(word, o.value(word));
        else if (word == "--min") query.addNumber("minmagnitude", o.number(word));
        else if (word == "--max") query.addNumber("maxmagnitude", o.number(word));
        else if (word == "--mindepth") query.addNumber("mindepth", o.number(word));
        else if (word == "--maxdepth") query.addNumber("maxdepth", o.number(word));
        else if (word == "--orderby") orderby = o.value(word);
        else if (word == "--limit") {
            long limit = o.integer(word);
            if (limit < 1) throw UsageError{"--limit is a count from 1"};
            query.add("limit", std::to_string(limit));
        } else if (word == "--format") format = o.value(word);
        else if (word == "--save") save = o.value(word), isQuery = false;
        else if (word.starts_with("--")) throw UsageError{"unknown argument: " + word};
        else files.push_back(word), isQuery = false;
        queryOptions = queryOptions || isQuery;
    }
    if (service.empty() == files.empty()) throw UsageError{"give either --service NAME|URL or QuakeML files"};
    if (!files.empty() && queryOptions) throw UsageError{"the query options go with --service, not with files"};
    if (format != "xml" && format != "text") throw UsageError{"--format is xml or text"};
    if (!orderby.empty() && orderby != "time" && orderby != "magnitude")
        throw UsageError{"--orderby is time or magnitude"};
    if (start && end && *end < *start) throw UsageError{"--end comes before --start"};

    zeva::quakeml::Catalogue catalogue;
    int status = 0;
    if (!files.empty()) {
        for (const auto& file : files) {
            zeva::quakeml::Failure failure;
            if (!zeva::quakeml::readFile(file, &catalogue, &failure)) {
                if (failure.line) fmt::print(stderr, "zeva quakes: {}:{}: {}\n", file, failure.line, failure.message);
                else fmt::print(stderr, "zeva quakes: {}: {}\n", file, failure.message);
                status = 1;
            }
        }
    } else {
        std::string url = serviceURL(service, fdsn::Service::Event);
        fdsn::Query full;
        if (start) full.addTime("starttime", *start);
        if (end) full.addTime("endtime", *end);
        fdsn::addArea(full, area.box.get(), area.ring.get());
        for (const auto& [name, value] : query.params()) full.add(name, value);
        if (!orderby.empty()) full.add("orderby", orderby);
        full.add("format", format);
        auto outcome = fdsn::queryEvents(url, full, format == "text", &catalogue, httpOptions());
        status = report("quakes", outcome);
        if (outcome.noData) return 0;
    }
    if (catalogue.eventsWithoutOrigin)
        fmt::print(stderr, "zeva quakes: {} event(s) without an origin left out\n", catalogue.eventsWithoutOrigin);
    printEvents(catalogue.origins);
    if (!save.empty() && !zeva::archiveRootObjectToFile(catalogue.origins, save)) {
        fmt::print(stderr, "zeva quakes: could not write {}\n", save);
        return 1;
    }
    return status;
}

}  // namespace

ZEVA_COMMAND("stations", stations);
ZEVA_COMMAND("waveforms", waveforms);
ZEVA_COMMAND("quakes", quakes);
