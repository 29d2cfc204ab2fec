// zeva events / link / message: the event-list controller on the command line.
#include <cmath>
#include <cstdint>
#include <optional>

#include <unistd.h>

#include <fmt/core.h>

#include "FeedLoading.hpp"
#include "command.hpp"
#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/FloatRange.hpp"
#include "zeva/platform/Log.hpp"

namespace {

using zeva::cli::Args;
using zeva::cli::Options;
using zeva::cli::UsageError;

struct Column {
    const char* id;
    const char* title;
    const char* sortName;  // --sort word, or null
};
constexpr Column kColumns[] = {
    {"1", "time", "time"},        {"2", "catalog", nullptr},  {"3", "latitude", "latitude"},
    {"4", "longitude", "longitude"}, {"5", "depth", "depth"}, {"6", "magnitude", "magnitude"},
    {"7", "contributor", nullptr}, {"8", "id", nullptr},       {"9", "region", "region"},
};

// A URL argument: a URL as written, or a local file path.
zeva::Ref<zeva::URL> urlFromArgument(const std::string& text) {
    auto url = zeva::hosts::urlFromArgument(text);
    if (!url) throw UsageError{(text.find("://") != std::string::npos ? "not a valid URL: " : "not a file path: ") + text};
    return url;
}

struct EventList {
    zeva::Ref<NEIC_QueryController> controller = NEIC_QueryController::create();
    zeva::MemoryTableView table;

    EventList() {
        for (const auto& c : kColumns) table.addTableColumn(c.id, c.title);
        table.setDataSource(controller.get());
        controller->setEventTableView(&table);
    }

    // Loads as asked; the loader's log line and what the load has to say
    // go to standard error.
    zeva::hosts::FeedOutcome load(const zeva::hosts::FeedRequest& request) {
        auto say = [](const std::string& line) { fmt::print(stderr, "zeva: {}\n", line); };
        auto previous = zeva::setLogSink([&](std::string_view line) { say(std::string(line)); });
        auto outcome = zeva::hosts::loadEventFeed(*controller, request, say);
        zeva::setLogSink(previous);
        return outcome;
    }
};

struct LoadOptions {
    std::vector<zeva::Ref<zeva::URL>> urls;
    bool quoted = false;
    bool example = false;
    bool live = false;
    std::string service;  // an FDSN event service instead of the feeds
    double minimum = 5.0, maximum = 19.0;  // the controller's own limits unless given
    std::string sort;
    bool descending = false;
    zeva::Ref<zeva::TableColumn> sortColumn;

    // Takes one of the shared options; false when the word is not one.
    bool take(const std::string& word, Options& o, EventList& list) {
        if (word == "--url") {
            urls.push_back(urlFromArgument(o.value(word)));
        } else if (word == "--layout") {
            std::string layout = o.value(word);
            if (layout != "summary" && layout != "quoted") throw UsageError{"--layout is summary or quoted"};
            quoted = layout == "quoted";
        } else if (word == "--min" || word == "--max") {
            // Beyond the float range a limit is an infinity: no limit.
            const double limit = o.number(word);
            if (std::isnan(limit)) throw UsageError{word + ": a magnitude limit must be a number, not nan"};
            if (word == "--min")
                list.controller->setMinMagnitude(zeva::floatFromDouble(minimum = limit));
            else
                list.controller->setMaxMagnitude(zeva::floatFromDouble(maximum = limit));
        } else if (word == "--sort") {
            sort = o.value(word);
        } else if (word == "--descending") {
            descending = true;
        } else if (word == "--example") {
            example = true;
        } else if (word == "--live") {
            live = true;
        } else if (word == "--service") {
            service = o.value(word);
            if (std::string problem = zeva::hosts::serviceProblem(service); !problem.empty())
                throw UsageError{"--service: " + problem};
        } else {
            return false;
        }
        return true;
    }

    // Loads as asked. Without URLs: the live feed, falling back to the
    // bundled example unless --live. Answers false (after saying why) when
    // nothing could be loaded.
    // The checks that need every option; before any load.
    void check(EventList& list) {
        if (example && (live || !urls.empty())) throw UsageError{"--example goes without --url and --live"};
        if (!service.empty() && (!urls.empty() || example || live || quoted))
            throw UsageError{"--service goes without --url, --layout, --example and --live"};
        if (minimum > maximum)
            throw UsageError{fmt::format("--min {} is above --max {}: no magnitude is within", minimum, maximum)};
        if (!sort.empty()) {
            for (const auto& c : kColumns)
                if (c.sortName && sort == c.sortName) sortColumn = list.table.tableColumnWithIdentifier(c.id);
            if (!sortColumn) throw UsageError{"--sort is one of time, latitude, longitude, depth, magnitude, region"};
        } else if (descending) {
            throw UsageError{"--descending goes with --sort"};
        }
    }

    // Loads and sorts as asked.
    bool load(EventList& list, bool* usedExample) {
        auto outcome = list.load({urls, quoted, example, live, service, isatty(STDERR_FILENO) != 0});
        *usedExample = outcome.usedExample;
        if (outcome.ok && sortColumn) {
            list.table.clickHeaderOfTableColumn(sortColumn);
            if (descending) list.table.clickHeaderOfTableColumn(sortColumn);
        }
        return outcome.ok;
    }
};

// The table with the row numbers `zeva link --row` takes in front.
void printTable(zeva::MemoryTableView& table) {
    const std::string text = table.tabSeparatedText();
    size_t row = 0;
    for (size_t start = 0, end; start < text.size(); start = end + 1) {
        end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        fmt::print("{}\t{}\n", row == 0 ? "row" : std::to_string(row), std::string_view(text).substr(start, end - start));
        row++;
    }
}

int events(const Args& args) {
    EventList list;
    LoadOptions load;
    std::optional<std::string> save;
    Options o(args);
    std::string word;
    while (o.next(word)) {
        if (load.take(word, o, list)) continue;
        if (word == "--save")
            zeva::cli::outputPath(*(save = o.value(word)), word);
        else
            throw UsageError{"unknown argument: " + word};
    }
    load.check(list);

    bool usedExample = false;
    if (!load.load(list, &usedExample)) return 1;
    if (usedExample)
        fmt::print("# example: {} well-known earthquakes bundled with zeva, not live data ({})\n",
                   list.table.numberOfRows(), zeva::hosts::examplePath());
    printTable(list.table);
    if (save && !zeva::archiveRootObjectToFile(list.controller->seismicOrigins(), *save)) {
        fmt::print(stderr, "zeva events: could not write {}\n", *save);
        return 1;
    }
    return 0;
}

// Hands URLs to standard output instead of the browser.
class PrintingOpener : public zeva::URLOpener {
public:
    bool openURL(const zeva::URL& url) override {
        fmt::print("{}\n", url.absoluteString());
        return true;
    }
};

int linkCommand(const Args& args) {
    if (args.empty()) throw UsageError{"which link: event, map, news or cmt"};
    std::string kind = args[0];
    using Op = bool (NEIC_QueryController::*)();
    Op op = kind == "event" ? &NEIC_QueryController::loadNeicEventPage
            : kind == "map" ? &NEIC_QueryController::openGoogleMaps
            : kind == "news" ? &NEIC_QueryController::googleNewsSearch
            : kind == "cmt"  ? &NEIC_QueryController::cmtSearch
                             : nullptr;
    if (!op) throw UsageError{"unknown link: " + kind};

    EventList list;
    LoadOptions load;
    long row = -1;
    bool print = false;
    Args rest(args.begin() + 1, args.end());
    Options o(rest);
    std::string word;
    while (o.next(word)) {
        if (load.take(word, o, list)) continue;
        if (word == "--row")
            row = o.integer(word);
        else if (word == "--print")
            print = true;
        else
            throw UsageError{"unknown argument: " + word};
    }
    if (row < 1) throw UsageError{"--row N is required: the row number zeva events shows, from 1"};
    load.check(list);
    bool usedExample = false;
    if (!load.load(list, &usedExample)) return 1;
    // A number beyond the table's row type is no row (a plain cast would wrap it).
    if (row - 1 > INT32_MAX || !list.table.selectRow(static_cast<int32_t>(row - 1))) {
        fmt::print(stderr, "zeva link: there is no row {} (the list has {})\n", row, list.table.numberOfRows());
        return 1;
    }
    if (print) list.controller->setURLOpener(std::make_shared<PrintingOpener>());
    if (!((*list.controller).*op)()) {
        fmt::print(stderr, "zeva link: the {} page could not be opened\n", kind);
        return 1;
    }
    return 0;
}

// The shared fetcher, keeping why the last fetch failed ("HTTP status 404",
// "Could not resolve host: ...", "timed out (...)").
class ExplainingFetcher : public zeva::URLFetcher {
public:
    zeva::FetchResult fetchText(const zeva::URL& url) override {
        auto result = zeva::sharedURLFetcher()->fetchText(url);
        lastError = result.ok() ? "" : result.error;
        return result;
    }
    std::string lastError;
};

int message(const Args& args) {
    if (args.empty()) throw UsageError{"which message: wcatwc, ptwc, bigquake or mtensor"};
    using Service = NEIC_QueryController::MessageService;
    struct Kind {
        const char* name;
        Service service;
        zeva::Ref<zeva::String> (NEIC_QueryController::*fetch)();
    };
    static const Kind kinds[] = {
        {"wcatwc", Service::WCATWC, &NEIC_QueryController::WCATWCMessage},
        {"ptwc", Service::PTWC, &NEIC_QueryController::PTWCMessage},
        {"bigquake", Service::BigQuake, &NEIC_QueryController::BigQuakeMessage},
        {"mtensor", Service::MTensor, &NEIC_QueryController::USGSMTensorMessage},
    };
    const Kind* kind = nullptr;
    for (const auto& k : kinds)
        if (args[0] == k.name) kind = &k;
    if (!kind) throw UsageError{"unknown message: " + args[0]};
    auto controller = NEIC_QueryController::create();
    Args rest(args.begin() + 1, args.end());
    Options o(rest);
    std::string word;
    while (o.next(word)) {
        if (word == "--base")
            controller->setMessageHost(kind->service, o.value(word));
        else
            throw UsageError{"unknown argument: " + word};
    }
    auto fetcher = std::make_shared<ExplainingFetcher>();
    controller->setURLFetcher(fetcher);
    auto text = ((*controller).*(kind->fetch))();
    if (!text) {
        fmt::print(stderr, "zeva message: the {} message could not be fetched from {}: {}\n", kind->name,
                   controller->messageHost(kind->service),
                   fetcher->lastError.empty() ? "the address is not a valid URL" : fetcher->lastError);
        return 1;
    }
    fmt::print("{}", text->str());
    if (!text->str().empty() && text->str().back() != '\n') fmt::print("\n");
    return 0;
}

}  // namespace

ZEVA_COMMAND("events", events);
ZEVA_COMMAND("link", linkCommand);
ZEVA_COMMAND("message", message);
