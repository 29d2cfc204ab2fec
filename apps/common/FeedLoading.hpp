// Loading the event list as both hosts (the command line and the desktop
// window) do it: the live USGS week feed by default, falling back to the
// bundled example when the feed cannot be read; or the bundled example; or
// feeds the user names.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "zeva/feed/NEIC_QueryController.hpp"

namespace zeva::hosts {

// The current USGS feed of the past week's earthquakes of magnitude 1 and up.
inline constexpr const char* kLiveFeedURL = "https://earthquake.usgs.gov/earthquakes/feed/v1.0/summary/1.0_week.csv";

// The bundled example: in $ZEVA_EXAMPLES_DIR when set, beside an installed
// program (../share/zeva/examples), else in the source tree.
std::string examplePath();

// A URL as written (when it holds "://") or a local file path; null when it
// is neither.
Ref<URL> urlFromArgument(const std::string& text);

// What to load. With no URLs and not the example: the live feed, falling
// back to the example unless liveOnly.
struct FeedRequest {
    std::vector<Ref<URL>> urls;
    bool quoted = false;  // the URLs are in the quoted-date layout
    bool example = false;
    bool liveOnly = false;
    // An FDSN event service (a data centre's short name or a base URL): the
    // past week's events within the controller's magnitude limits, as QuakeML.
    // Goes alone, without URLs or the example; a failure never falls back.
    std::string service;
    bool progress = false;  // show the bytes received on a terminal
};

struct FeedOutcome {
    bool ok = false;           // something was loaded
    bool usedExample = false;  // the rows are the bundled example's
    std::string error;         // why the last load failed ("" when it did not)
    size_t dropped = 0;        // data lines of the loaded texts that were left out
    size_t untimed = 0;        // rows kept although their time could not be read
};

// Why a fetched text gave no event although it was meant to be a feed,
// naming the source and the likely cause ("no event rows in FILE: is it the
// quoted-date layout? try --layout quoted"); "" when it is a feed. A feed
// with its layout's header and no data line is a feed of no event.
std::string noRowsReason(const std::string& source, const NEIC_QueryController::TextCounts& counts, bool quoted);

// The name of a source as the user gave it: a file URL's path, else the URL.
std::string sourceName(const URL& url);

// Whether a service name or URL can be asked at all; the reason when not.
std::string serviceProblem(const std::string& service);

// Loads the controller's list as asked. Each thing worth telling the user
// (why a load failed, that a source held no event row, how many rows were
// dropped, that the example is shown instead) goes to say, as it happens,
// one sentence without a final full stop. A source that yields no event row
// fails the load as a failed fetch does: the list is emptied, ok is false.
FeedOutcome loadEventFeed(NEIC_QueryController& controller, const FeedRequest& request,
                          const std::function<void(const std::string&)>& say);

}  // namespace zeva::hosts
