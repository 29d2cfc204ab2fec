#include "FeedLoading.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "zeva/fdsn/FDSNClient.hpp"
#include "zeva/fdsn/QuakeML.hpp"
#include "zeva/platform/Date.hpp"

namespace zeva::hosts {

namespace {

constexpr const char* kExampleName = "notable-earthquakes.csv";

void setURLs(NEIC_QueryController& controller, const std::vector<Ref<URL>>& urls) {
    auto list = MutableArray::array();
    for (const auto& u : urls) list->addObject(u);
    controller.setGsURLs(list);
}

bool startsWith(const std::string& text, std::string_view head) {
    return text.size() >= head.size() && std::equal(head.begin(), head.end(), text.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
           });
}

bool isSummaryHeader(const std::string& line) { return startsWith(line, "DateTime,") || startsWith(line, "time,"); }
bool isQuotedHeader(const std::string& line) { return startsWith(line, "Src,"); }

// Bytes no text feed holds: NUL and control characters other than tab and
// the line ends.
bool looksBinary(const std::string& line) {
    return std::any_of(line.begin(), line.end(), [](char c) {
        auto u = static_cast<unsigned char>(c);
        return u < 0x20 && c != '\t' && c != '\r' && c != '\n';
    });
}

// A number as a query writes it, whatever the user's locale.
std::string number(float value) {
    char text[32];
    auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return std::string(text, end);
}

// The past week of an FDSN event service, kept within the controller's limits.
bool loadFromService(NEIC_QueryController& controller, const FeedRequest& request, FeedOutcome* outcome) {
    controller.seismicOrigins()->removeAllObjects();
    std::string error;
    auto url = fdsn::queryURL(request.service, fdsn::Service::Event, &error);
    if (!url) {
        outcome->error = error;
        return false;
    }
    fdsn::Query query;
    query.addTime("starttime", Date::date()->timeIntervalSince1970() - 7 * 86400.0);
    query.add("minmagnitude", number(controller.minMagnitude()));
    query.add("maxmagnitude", number(controller.maxMagnitude()));
    query.add("orderby", "time");
    query.add("format", "xml");
    fdsn::HTTPOptions options;
    options.progress = request.progress;
    quakeml::Catalogue catalogue;
    auto answer = fdsn::queryEvents(*url, query, false, &catalogue, options);
    if (!answer.ok) {
        outcome->error = "the event service " + request.service + " could not be read: " + answer.message;
        return false;
    }
    auto kept = MutableArray::array();
    if (catalogue.origins)
        for (const auto& object : *catalogue.origins) {
            float m = std::static_pointer_cast<ZEVAOrigin>(object)->magnitude();
            if (controller.minMagnitude() <= m && m <= controller.maxMagnitude()) kept->addObject(object);
        }
    controller.setSeismicOrigins(kept);
    outcome->ok = true;
    return true;
}

}  // namespace

std::string serviceProblem(const std::string& service) {
    std::string error;
    return fdsn::queryURL(service, fdsn::Service::Event, &error) ? std::string() : error;
}

std::string sourceName(const URL& url) { return url.isFileURL() ? url.path() : url.absoluteString(); }

std::string noRowsReason(const std::string& source, const NEIC_QueryController::TextCounts& counts, bool quoted) {
    if (counts.timed > 0) return "";
    const std::string first = counts.head.substr(0, counts.head.find_first_of("\r\n"));
    const bool ownHeader = quoted ? isQuotedHeader(first) : isSummaryHeader(first);
    if (counts.bytes == 0) return source + " is empty";
    if (counts.lines == 0 && ownHeader) return "";
    if (looksBinary(counts.head))
        return source + " is not an event list: it holds binary data (a miniSEED or other data file?)";
    const size_t text = first.find_first_not_of(" \t\xEF\xBB\xBF");
    if (text != std::string::npos && first[text] == '<')
        return source + " is not an event list: it is XML or HTML (a StationXML file or a web page?)";
    std::string reason = "no event rows in " + source;
    if (!quoted && (isQuotedHeader(first) || first.find('"') != std::string::npos))
        return reason + ": is it the quoted-date layout? try --layout quoted";
    if (quoted && isSummaryHeader(first)) return reason + ": is it the summary layout? try --layout summary";
    return reason + (quoted ? ": no line has a quoted date in its fourth column"
                            : ": no line has 13 or more comma-separated fields with an ISO time first");
}

std::string examplePath() {
    namespace fs = std::filesystem;
    if (const char* dir = std::getenv("ZEVA_EXAMPLES_DIR")) return (fs::path(dir) / kExampleName).string();
    std::error_code ec;
    fs::path self = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        fs::path installed = self.parent_path().parent_path() / "share" / "zeva" / "examples" / kExampleName;
        if (fs::exists(installed)) return installed.string();
    }
    return (fs::path(ZEVA_SOURCE_EXAMPLES_DIR) / kExampleName).string();
}

Ref<URL> urlFromArgument(const std::string& text) {
    if (text.find("://") != std::string::npos) return URL::URLWithString(text);
    return URL::fileURLWithPath(text);
}

FeedOutcome loadEventFeed(NEIC_QueryController& controller, const FeedRequest& request,
                          const std::function<void(const std::string&)>& say) {
    FeedOutcome outcome;
    auto load = [&](const std::vector<Ref<URL>>& urls, bool quoted) {
        for (const auto& url : urls) {
            std::error_code ec;
            if (url && url->isFileURL() && std::filesystem::is_directory(url->path(), ec)) {
                outcome.ok = false;
                outcome.error = url->path() + " is a directory, not an event list";
                controller.seismicOrigins()->removeAllObjects();
                return false;
            }
        }
        setURLs(controller, urls);
        outcome.ok = quoted ? controller.loadNEIC_CSVvalues() : controller.loadNEIC_TextList();
        outcome.error = controller.lastLoadError();
        outcome.dropped = outcome.untimed = 0;
        if (!outcome.ok) return false;
        const auto& counts = controller.lastLoadCounts();
        std::vector<std::string> notes;
        for (size_t i = 0; i < counts.size() && i < urls.size(); ++i) {
            const std::string source = sourceName(*urls[i]);
            std::string reason = noRowsReason(source, counts[i], quoted);
            if (!reason.empty()) {
                outcome.ok = false;
                outcome.error = std::move(reason);
                controller.seismicOrigins()->removeAllObjects();
                return false;
            }
            const size_t dropped = counts[i].lines - counts[i].read, untimed = counts[i].read - counts[i].timed;
            outcome.dropped += dropped;
            outcome.untimed += untimed;
            if (dropped > 0)
                notes.push_back(std::to_string(dropped) + " of " + std::to_string(counts[i].lines) + " rows in " +
                                source + " could not be read and were left out");
            if (untimed > 0)
                notes.push_back(std::to_string(untimed) + " of " + std::to_string(counts[i].lines) + " rows in " +
                                source + " have no readable time");
        }
        for (const auto& note : notes) say(note);
        return true;
    };
    auto loadExample = [&] {
        outcome.usedExample = true;
        if (!load({URL::fileURLWithPath(examplePath())}, false)) say(outcome.error);
    };

    if (!request.service.empty()) {
        if (!loadFromService(controller, request, &outcome)) say(outcome.error);
    } else if (request.example) {
        loadExample();
    } else if (!request.urls.empty()) {
        if (!load(request.urls, request.quoted)) say(outcome.error);
    } else if (!load({URL::URLWithString(kLiveFeedURL)}, false)) {
        say("the live USGS feed could not be read: " + outcome.error);
        if (!request.liveOnly) {
            say("showing the bundled example instead");
            loadExample();
        }
    }
    return outcome;
}

}  // namespace zeva::hosts
