// Clients of the FDSN web services of data centres: fdsnws-station,
// fdsnws-dataselect and fdsnws-event (version 1).
//
// A service is named by a data centre's short name from the built-in table
// (dataCentres()) or by a base URL (http or https); the query goes to
// BASE/fdsnws/SERVICE/1/query.
//
// HTTP as the services use it: 200 carries the data; 204 means no data (an
// empty result with a one-line message); any other status is an error whose
// message names the status and carries the first lines of the service's own
// explanation. Answers may come gzip-compressed; the user agent is
// "zeva/VERSION"; connect and total time-outs and a size cap apply;
// redirects are followed to http and https only. With `progress`, the bytes
// received are shown on standard error while it is a terminal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zeva/events/ZEVAArea.hpp"
#include "zeva/fdsn/QuakeML.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/ZEVARequestFilter.hpp"

namespace zeva::fdsn {

struct DataCentre {
    const char* name;  // short name, matched without regard to case
    const char* base;  // base URL, without the /fdsnws/ path
    bool station, dataselect, event;
};
const std::vector<DataCentre>& dataCentres();

enum class Service { Station, Dataselect, Event };
const char* serviceName(Service service);  // "station", "dataselect", "event"

// The query URL of a service: NAME from the table or an http(s) base URL.
// nullopt with the reason for an unknown name, a URL of another scheme, or
// a data centre that does not offer the service.
std::optional<std::string> queryURL(std::string_view nameOrURL, Service service, std::string* error);

struct HTTPOptions {
    long connectTimeoutMs = 15'000;
    long totalTimeoutMs = 600'000;
    size_t maxBytes = size_t{1} << 30;
    long maxRedirects = 8;
    bool progress = false;
};

struct Reply {
    long status = 0;        // the last response's status; 0 when none came
    std::string body;       // the (decompressed) body
    std::string error;      // why it failed; "" for 200 and 204
    bool ok() const { return error.empty(); }
    bool noData() const { return error.empty() && status == 204; }
};

// GET the URL, or POST `body` to it (text/plain) when body is given.
Reply fetch(const std::string& url, const std::optional<std::string>& body, const HTTPOptions& options);

// Query parameters in the order added; values percent-encoded.
class Query {
public:
    void add(std::string name, std::string value) { params_.emplace_back(std::move(name), std::move(value)); }
    void addTime(std::string name, double epochSeconds) { add(std::move(name), timeText(epochSeconds)); }
    void addNumber(std::string name, double value);
    std::string text() const;  // "a=1&b=2"
    const std::vector<std::pair<std::string, std::string>>& params() const { return params_; }
    // "2012-04-11T08:38:37.250000": UTC to the microsecond.
    static std::string timeText(double epochSeconds);

private:
    std::vector<std::pair<std::string, std::string>> params_;
};

// The area parameters of a query: a box or a ring of degrees around a point.
void addArea(Query& query, const ZEVABoxArea* box, const ZEVAPointDistanceArea* ring);

// One line of a dataselect POST body: "NET STA LOC CHA START END", an empty
// location written "--".
std::string bulkLine(const ZEVARequestFilter& request);
// The body for a list of requests, or for every channel of a group request.
std::string bulkBody(const std::vector<Ref<ZEVARequestFilter>>& requests);
std::string bulkBody(const ZEVAGroupRequest& group);

// What a service call gives: the result, or a message. `noData` (204) is
// success with an empty result.
struct Outcome {
    bool ok = false;
    bool noData = false;
    std::string message;  // the error, or the no-data line
};

// fdsnws-station: the channels (and at station or network level the bare
// records through *levelRecords when given) of the answer, xml or text.
struct StationRecords {
    std::vector<std::pair<std::string, stationxml::Station>> stations;  // network code, station
    std::vector<stationxml::Network> networks;
};
Outcome queryStations(const std::string& url, const Query& query, bool text, StationXMLInventory* into,
                      StationRecords* levelRecords, const HTTPOptions& options);

// fdsnws-dataselect: one request by GET (query) or many by POST (body).
Outcome queryWaveforms(const std::string& url, const Query* query, const std::string* body,
                       miniseed::Seismograms* into, const HTTPOptions& options);

// fdsnws-event: QuakeML or the 13-column text.
Outcome queryEvents(const std::string& url, const Query& query, bool text, quakeml::Catalogue* into,
                    const HTTPOptions& options);

}  // namespace zeva::fdsn
