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
};

struct FeedOutcome {
    bool ok = false;           // something was loaded
    bool usedExample = false;  // the rows are the bundled example's
    std::string error;         // why the last load failed ("" when it did not)
};

// Loads the controller's list as asked. Each thing worth telling the user
// (why a load failed, that the example is shown instead) goes to say, as it
// happens, one sentence without a final full stop.
FeedOutcome loadEventFeed(NEIC_QueryController& controller, const FeedRequest& request,
                          const std::function<void(const std::string&)>& say);

}  // namespace zeva::hosts
