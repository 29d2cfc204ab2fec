#include "FeedLoading.hpp"

#include <cstdlib>
#include <filesystem>

namespace zeva::hosts {

namespace {

constexpr const char* kExampleName = "notable-earthquakes.csv";

void setURLs(NEIC_QueryController& controller, const std::vector<Ref<URL>>& urls) {
    auto list = MutableArray::array();
    for (const auto& u : urls) list->addObject(u);
    controller.setGsURLs(list);
}

}  // namespace

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
        setURLs(controller, urls);
        outcome.ok = quoted ? controller.loadNEIC_CSVvalues() : controller.loadNEIC_TextList();
        outcome.error = controller.lastLoadError();
        return outcome.ok;
    };
    auto loadExample = [&] {
        outcome.usedExample = true;
        if (!load({URL::fileURLWithPath(examplePath())}, false)) say(outcome.error);
    };

    if (request.example) {
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
