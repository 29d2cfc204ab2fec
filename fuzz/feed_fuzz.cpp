// Feeds arbitrary text to both loaders of the event-list controller (the
// summary layout and the quoted-date layout) through a fetcher that answers
// every URL with the input, then reads every cell of the event table, sorts
// by every column and builds the four pages about the first event.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/Log.hpp"
#include "zeva/platform/TableView.hpp"

namespace {

class InputFetcher : public zeva::URLFetcher {
public:
    explicit InputFetcher(std::string text) : text_(std::move(text)) {}
    zeva::FetchResult fetchText(const zeva::URL&) override { return {zeva::str(text_), "", 200}; }

private:
    std::string text_;
};

class NoBrowser : public zeva::URLOpener {
public:
    bool openURL(const zeva::URL& url) override { return !url.absoluteString().empty(); }
};

void exercise(NEIC_QueryController& controller, bool loaded) {
    zeva::MemoryTableView table;
    for (int column = 1; column <= 9; column++) table.addTableColumn(std::to_string(column));
    table.setDataSource(&controller);
    controller.setEventTableView(&table);
    int32_t rows = controller.numberOfRowsInTableView(&table);
    if (!loaded && rows != 0) std::abort();  // a failed load leaves no list
    for (const auto& column : table.tableColumns()) {
        for (int32_t row = 0; row < rows; row++) (void)table.cellText(row, column);
        table.clickHeaderOfTableColumn(column);
        table.clickHeaderOfTableColumn(column);
    }
    if (rows > 0 && table.selectRow(0)) {
        controller.loadNeicEventPage();
        controller.openGoogleMaps();
        controller.googleNewsSearch();
        controller.cmtSearch();
    }
    controller.setEventTableView(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    zeva::setLogSink([](std::string_view) {});  // the failure line, once per failed load
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    for (bool quoted : {false, true}) {
        auto controller = NEIC_QueryController::create();
        controller->setURLFetcher(std::make_shared<InputFetcher>(text));
        controller->setURLOpener(std::make_shared<NoBrowser>());
        controller->setMinMagnitude(-1e30f);
        controller->setMaxMagnitude(1e30f);
        bool loaded = quoted ? controller->loadNEIC_CSVvalues() : controller->loadNEIC_TextList();
        exercise(*controller, loaded);
    }
    return 0;
}
