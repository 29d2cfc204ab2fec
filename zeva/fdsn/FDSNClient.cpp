#include "zeva/fdsn/FDSNClient.hpp"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>

#include <curl/curl.h>
#include <fmt/core.h>

#include "zeva/fdsn/FDSNText.hpp"

#ifndef ZEVA_VERSION_TEXT
#define ZEVA_VERSION_TEXT "0"
#endif

namespace zeva::fdsn {

const std::vector<DataCentre>& dataCentres() {
    static const std::vector<DataCentre> table = {
        {"EARTHSCOPE", "https://service.earthscope.org", true, true, true},
        {"IRIS", "https://service.iris.edu", true, true, true},
        {"GFZ", "https://geofon.gfz.de", true, true, true},
        {"ORFEUS", "https://www.orfeus-eu.org", true, true, false},
        {"INGV", "https://webservices.ingv.it", true, true, true},
        {"RESIF", "https://ws.resif.fr", true, true, false},
        {"ETH", "https://eida.ethz.ch", true, true, true},
        {"NCEDC", "https://service.ncedc.org", true, true, true},
        {"SCEDC", "https://service.scedc.caltech.edu", true, true, true},
        {"GEONET", "https://service.geonet.org.nz", true, true, true},
        {"USGS", "https://earthquake.usgs.gov", false, false, true},
        {"EMSC", "https://www.seismicportal.eu", false, false, true},
    };
    return table;
}

const char* serviceName(Service service) {
    switch (service) {
    case Service::Station: return "station";
    case Service::Dataselect: return "dataselect";
    case Service::Event: return "event";
    }
    return "";
}

namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
        if (x != y) return false;
    }
    return true;
}

bool offers(const DataCentre& centre, Service service) {
    return service == Service::Station ? centre.station : service == Service::Dataselect ? centre.dataselect : centre.event;
}

}  // namespace

std::optional<std::string> queryURL(std::string_view nameOrURL, Service service, std::string* error) {
    auto fail = [&](std::string message) -> std::optional<std::string> {
        if (error) *error = std::move(message);
        return std::nullopt;
    };
    std::string base;
    if (nameOrURL.find("://") != std::string_view::npos) {
        if (!nameOrURL.starts_with("http://") && !nameOrURL.starts_with("https://"))
            return fail(fmt::format("not an http or https URL: {}", nameOrURL));
        for (char c : nameOrURL)
            if (static_cast<unsigned char>(c) <= ' ' || c == '?' || c == '#' || c == '"' || c == '\x7f')
                return fail(fmt::format("a base URL has no blanks, query or fragment: {}", nameOrURL));
        base = nameOrURL;
    } else {
        const DataCentre* found = nullptr;
        for (const auto& centre : dataCentres())
            if (equalsIgnoringCase(centre.name, nameOrURL)) found = &centre;
        if (!found) {
            std::string names;
            for (const auto& centre : dataCentres()) names += (names.empty() ? "" : ", ") + std::string(centre.name);
            return fail(fmt::format("unknown data centre '{}' (known: {}; or give a base URL)", nameOrURL, names));
        }
        if (!offers(*found, service))
            return fail(fmt::format("{} offers no fdsnws-{} service", found->name, serviceName(service)));
        base = found->base;
    }
    while (!base.empty() && base.back() == '/') base.pop_back();
    return base + "/fdsnws/" + serviceName(service) + "/1/query";
}

// ---- HTTP ------------------------------------------------------------------

namespace {

struct Transfer {
    std::string body;
    size_t maxBytes = 0;
    bool overCap = false;
    bool progress = false;
    bool progressShown = false;
};

size_t onBody(char* data, size_t size, size_t count, void* user) {
    auto* t = static_cast<Transfer*>(user);
    size_t n = size * count;
    if (t->body.size() + n > t->maxBytes) {
        t->overCap = true;
        return 0;
    }
    t->body.append(data, n);
    return n;
}

int onProgress(void* user, curl_off_t, curl_off_t now, curl_off_t, curl_off_t) {
    auto* t = static_cast<Transfer*>(user);
    if (t->progress && now > 0) {
        std::fprintf(stderr, "\rzeva: %.1f MB received", static_cast<double>(now) / 1e6);
        t->progressShown = true;
    }
    return 0;
}

const char* reasonPhrase(long status) {
    switch (status) {
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 413: return "Request Entity Too Large";
    case 414: return "Request-URI Too Long";
    case 500: return "Internal Server Error";
    case 503: return "Service Unavailable";
    default: return "";
    }
}

// The first lines of the service's explanation: up to four non-blank lines,
// control bytes dropped, each cut at 200 bytes.
std::string explanation(std::string_view body) {
    std::string out;
    int lines = 0;
    size_t at = 0;
    while (at < body.size() && lines < 4) {
        size_t end = body.find('\n', at);
        if (end == std::string_view::npos) end = body.size();
        std::string_view line = body.substr(at, end - at);
        at = end + 1;
        std::string clean;
        for (char c : line)
            if (static_cast<unsigned char>(c) >= ' ' || c == '\t') clean += c == '\t' ? ' ' : c;
        while (!clean.empty() && clean.back() == ' ') clean.pop_back();
        size_t start = clean.find_first_not_of(' ');
        if (start == std::string::npos) continue;
        clean = clean.substr(start, 200);
        out += (lines ? " / " : "") + clean;
        ++lines;
    }
    return out;
}

void initCurl() {
    static const bool done = [] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; }();
    (void)done;
}

}  // namespace

Reply fetch(const std::string& url, const std::optional<std::string>& body, const HTTPOptions& options) {
    initCurl();
    Reply reply;
    std::unique_ptr<CURL, void (*)(CURL*)> easy(curl_easy_init(), &curl_easy_cleanup);
    if (!easy) {
        reply.error = "libcurl could not start a transfer";
        return reply;
    }
    CURL* h = easy.get();
    Transfer transfer;
    transfer.maxBytes = options.maxBytes;
    transfer.progress = options.progress && ::isatty(2) == 1;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    static const std::string agent = std::string("zeva/") + ZEVA_VERSION_TEXT;
    curl_easy_setopt(h, CURLOPT_URL, url.c_str());
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(h, CURLOPT_MAXREDIRS, options.maxRedirects);
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT_MS, options.connectTimeoutMs);
    curl_easy_setopt(h, CURLOPT_TIMEOUT_MS, options.totalTimeoutMs);
    curl_easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options.maxBytes));
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_ACCEPT_ENCODING, "gzip");
    curl_easy_setopt(h, CURLOPT_USERAGENT, agent.c_str());
    curl_easy_setopt(h, CURLOPT_ERRORBUFFER, errorBuffer);
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(h, CURLOPT_XFERINFOFUNCTION, &onProgress);
    curl_easy_setopt(h, CURLOPT_XFERINFODATA, &transfer);
    curl_easy_setopt(h, CURLOPT_NOPROGRESS, transfer.progress ? 0L : 1L);
    struct curl_slist* headers = nullptr;
    if (body) {
        headers = curl_slist_append(headers, "Content-Type: text/plain");
        curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(h, CURLOPT_POSTFIELDS, body->data());
        curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    }
    CURLcode rc = curl_easy_perform(h);
    if (headers) curl_slist_free_all(headers);
    if (transfer.progressShown) std::fprintf(stderr, "\n");
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &reply.status);
    if (transfer.overCap || rc == CURLE_FILESIZE_EXCEEDED) {
        reply.error = fmt::format("the answer is larger than the cap of {} bytes", options.maxBytes);
        return reply;
    }
    if (rc == CURLE_OPERATION_TIMEDOUT) {
        reply.error = fmt::format("timed out ({})", errorBuffer[0] ? errorBuffer : curl_easy_strerror(rc));
        return reply;
    }
    if (rc != CURLE_OK) {
        reply.error = errorBuffer[0] ? std::string(errorBuffer) : std::string(curl_easy_strerror(rc));
        return reply;
    }
    if (reply.status == 200) {
        reply.body = std::move(transfer.body);
        return reply;
    }
    if (reply.status == 204) return reply;
    std::string why = explanation(transfer.body);
    const char* phrase = reasonPhrase(reply.status);
    reply.error = fmt::format("HTTP {}{}{}{}{}", reply.status, *phrase ? " " : "", phrase, why.empty() ? "" : ": ", why);
    return reply;
}

// ---- queries ---------------------------------------------------------------

std::string Query::timeText(double epochSeconds) {
    // Whole microseconds, then the calendar of the whole seconds; beyond
    // years 1 to 9999 the nearest end of that range.
    if (!(epochSeconds >= -62135596800.0)) epochSeconds = -62135596800.0;
    if (!(epochSeconds <= 253402300799.999999)) epochSeconds = 253402300799.999999;
    auto micros = static_cast<int64_t>(std::llround(epochSeconds * 1e6));
    int64_t seconds = micros >= 0 ? micros / 1'000'000 : -((-micros + 999'999) / 1'000'000);
    int64_t fraction = micros - seconds * 1'000'000;
    int64_t days = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
    int64_t rest = seconds - days * 86400;
    // Civil date from days since 1970-01-01 (proleptic Gregorian).
    int64_t z = days + 719468;
    int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    int64_t doe = z - era * 146097;
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t y = yoe + era * 400;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    int64_t mp = (5 * doy + 2) / 153;
    int64_t d = doy - (153 * mp + 2) / 5 + 1;
    int64_t m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
    return fmt::format("{:04d}-{:02d}-{:02d}T{:02d}:{:02d}:{:02d}.{:06d}", y, m, d, rest / 3600, rest / 60 % 60, rest % 60,
                       fraction);
}

void Query::addNumber(std::string name, double value) { add(std::move(name), fmt::format("{}", value)); }

std::string Query::text() const {
    std::string out;
    for (const auto& [name, value] : params_) {
        if (!out.empty()) out += '&';
        out += name;
        out += '=';
        for (unsigned char c : value) {
            bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                         c == '.' || c == '_' || c == '~' || c == '*' || c == ',' || c == ':';
            if (plain) out += static_cast<char>(c);
            else out += fmt::format("%{:02X}", c);
        }
    }
    return out;
}

void addArea(Query& query, const ZEVABoxArea* box, const ZEVAPointDistanceArea* ring) {
    auto degrees = [](float v) { return fmt::format("{}", v); };
    if (box) {
        query.add("minlatitude", degrees(box->_min_latitude()));
        query.add("maxlatitude", degrees(box->_max_latitude()));
        query.add("minlongitude", degrees(box->_min_longitude()));
        query.add("maxlongitude", degrees(box->_max_longitude()));
    }
    if (ring) {
        query.add("latitude", degrees(ring->_latitude()));
        query.add("longitude", degrees(ring->_longitude()));
        if (ring->_min_distance()) query.addNumber("minradius", ring->_min_distance()->value());
        if (ring->_max_distance()) query.addNumber("maxradius", ring->_max_distance()->value());
    }
}

namespace {

std::string codeOr(const Ref<String>& code, const char* absent) {
    const std::string& text = textOf(code);
    return text.empty() ? absent : text;
}

std::string lineFor(const ZEVAChannelID* id, const Ref<ZEVATime>& start, const Ref<ZEVATime>& end) {
    std::string network = id && id->_network_id() ? codeOr(id->_network_id()->_network_code(), "*") : "*";
    std::string location = id ? textOf(id->_site_code()) : "*";
    // Blanks and the empty location code are written "--".
    bool blank = location.find_first_not_of(' ') == std::string::npos;
    return fmt::format("{} {} {} {} {} {}\n", network, id ? codeOr(id->_station_code(), "*") : "*",
                       blank ? "--" : location, id ? codeOr(id->_channel_code(), "*") : "*",
                       Query::timeText(start ? start->epochTime() : 0), Query::timeText(end ? end->epochTime() : 0));
}

}  // namespace

std::string bulkLine(const ZEVARequestFilter& request) {
    return lineFor(request._channel_id().get(), request._start_time(), request._end_time());
}

std::string bulkBody(const std::vector<Ref<ZEVARequestFilter>>& requests) {
    std::string body;
    for (const auto& r : requests)
        if (r) body += bulkLine(*r);
    return body;
}

std::string bulkBody(const ZEVAGroupRequest& group) {
    std::string body;
    if (!group._channels()) return body;
    for (const auto& object : *group._channels()) {
        auto id = std::dynamic_pointer_cast<ZEVAChannelID>(object);
        if (id) body += lineFor(id.get(), group._start_time(), group._end_time());
    }
    return body;
}

// ---- the services ----------------------------------------------------------

namespace {

std::string withQuery(const std::string& url, const Query& query) {
    std::string text = query.text();
    return text.empty() ? url : url + "?" + text;
}

Outcome failed(std::string message) { return {false, false, std::move(message)}; }
Outcome noData(const char* what) { return {true, true, fmt::format("no data: the service has no {} for this query", what)}; }

// Keeps the network and station records while the model builder builds.
class RecordingBuilder : public stationxml::Builder {
public:
    RecordingBuilder(stationxml::Builder& model, StationRecords* records) : model_(model), records_(records) {}
    void network(const stationxml::Network& n) override {
        network_ = n.code;
        if (records_) records_->networks.push_back(n);
        model_.network(n);
    }
    void station(const stationxml::Station& s) override {
        if (records_) records_->stations.emplace_back(network_, s);
        model_.station(s);
    }
    void channel(const stationxml::Channel& c) override { model_.channel(c); }
    void notKept(std::string_view what) override { model_.notKept(what); }

private:
    stationxml::Builder& model_;
    StationRecords* records_;
    std::string network_;
};

}  // namespace

Outcome queryStations(const std::string& url, const Query& query, bool text, StationXMLInventory* into,
                      StationRecords* levelRecords, const HTTPOptions& options) {
    Reply reply = fetch(withQuery(url, query), std::nullopt, options);
    if (!reply.ok()) return failed(reply.error);
    if (reply.noData()) return noData("stations");
    stationxml::Failure failure;
    bool ok = importStationRecords(
        [&](stationxml::Builder& model, stationxml::Failure* why) {
            RecordingBuilder builder(model, levelRecords);
            return text ? fdsntext::readStationTable(reply.body, builder, why)
                        : stationxml::readMemory(reply.body.data(), reply.body.size(), builder, why);
        },
        into, &failure);
    if (!ok)
        return failed(failure.line ? fmt::format("the answer, line {}: {}", failure.line, failure.message)
                                   : "the answer: " + failure.message);
    return {true, false, ""};
}

Outcome queryWaveforms(const std::string& url, const Query* query, const std::string* body,
                       miniseed::Seismograms* into, const HTTPOptions& options) {
    Reply reply = body ? fetch(url, *body, options) : fetch(withQuery(url, query ? *query : Query()), std::nullopt, options);
    if (!reply.ok()) return failed(reply.error);
    if (reply.noData()) return noData("waveforms");
    // The blocks view the answer's bytes where they lie, kept alive with them.
    auto held = std::make_shared<std::string>(std::move(reply.body));
    std::shared_ptr<const unsigned char[]> bytes(held, reinterpret_cast<const unsigned char*>(held->data()));
    *into = miniseed::readSeismograms(std::move(bytes), held->size(), true);
    if (into->records == 0) return failed("the answer holds no miniSEED record");
    return {true, false, ""};
}

Outcome queryEvents(const std::string& url, const Query& query, bool text, quakeml::Catalogue* into,
                    const HTTPOptions& options) {
    Reply reply = fetch(withQuery(url, query), std::nullopt, options);
    if (!reply.ok()) return failed(reply.error);
    if (reply.noData()) return noData("events");
    if (text) {
        fdsntext::Failure failure;
        size_t before = into->origins->count();
        bool ok = fdsntext::readEventTable(reply.body, *into->origins, &failure);
        into->events += into->origins->count() - before;
        if (!ok) return failed(fmt::format("the answer, line {}: {}", failure.line, failure.message));
        return {true, false, ""};
    }
    quakeml::Failure failure;
    if (!quakeml::readMemory(reply.body.data(), reply.body.size(), into, &failure))
        return failed(failure.line ? fmt::format("the answer, line {}: {}", failure.line, failure.message)
                                   : "the answer: " + failure.message);
    return {true, false, ""};
}

}  // namespace zeva::fdsn
