// Helpers shared by the feed tests: a recording browser, a log capture and
// a few builders; the loopback HTTP server comes from the shared support.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/loopback_server.hpp"
#include "support/run_cli.hpp"

#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/Log.hpp"
#include "zeva/platform/TableView.hpp"
#include "zeva/platform/URLOpener.hpp"

namespace feedtest {

using zeva::test::LoopbackServer;
using zeva::test::refusedBase;

// Collects log lines while alive.
struct LogCapture {
    LogCapture() { previous_ = zeva::setLogSink([this](std::string_view line) { lines.emplace_back(line); }); }
    ~LogCapture() { zeva::setLogSink(previous_); }
    std::vector<std::string> lines;
    zeva::LogSink previous_;
};

// Sets TZ while alive, so that results cannot depend on the host's zone.
struct ScopedTZ {
    explicit ScopedTZ(const char* zone) {
        if (const char* was = std::getenv("TZ")) saved_ = was;
        ::setenv("TZ", zone, 1), ::tzset();
    }
    ~ScopedTZ() { saved_ ? ::setenv("TZ", saved_->c_str(), 1) : ::unsetenv("TZ"), ::tzset(); }
    std::optional<std::string> saved_;
};

// A browser that writes down what it was asked to open.
struct RecordingOpener : zeva::URLOpener {
    bool openURL(const zeva::URL& url) override {
        opened.push_back(url.absoluteString());
        return answer;
    }
    bool answer = true;
    std::vector<std::string> opened;
};

inline zeva::Ref<ZEVAOrigin> originAt(const NEIC_QueryController& c, size_t i) {
    return c.getSeismicOriginsPointer()->objectAtIndexAs<ZEVAOrigin>(i);
}

inline std::string text(const zeva::Ref<zeva::String>& s) { return s ? s->str() : "(null)"; }

struct OriginRow {
    const char* id;
    double time;
    float lat, lon, depth, mag;
    const char* region;  // none when null
};

// A PDE origin contributed by USGS, with one Mw magnitude.
inline zeva::Ref<ZEVAOrigin> origin(const OriginRow& r) {
    auto o = ZEVAOrigin::create();
    o->set_catalog(zeva::str("PDE"));
    o->set_contributor(zeva::str("USGS"));
    o->set_id(zeva::str(r.id));
    o->setOriginTime(zeva::Date::dateWithTimeIntervalSince1970(r.time));
    o->setLatitude(r.lat);
    o->setLongitude(r.lon);
    o->setDepth(r.depth);
    o->addMagnitude_Type_Contrib(r.mag, zeva::str("Mw"), o->_contributor());
    if (r.region) o->setFlinnEngdahlString(zeva::str(r.region));
    return o;
}

using zeva::test::readFile;
using zeva::test::split;

inline const std::string kExample = std::string(ZEVA_SOURCE_DIR) + "/examples/notable-earthquakes.csv";

// Identifiers of the example's rows with a magnitude within the limits, in file order.
inline std::vector<std::string> exampleIds(double minimum = 5.0, double maximum = 19.0) {
    std::vector<std::string> ids;
    auto lines = split(readFile(kExample), '\n');
    for (size_t i = 1; i < lines.size(); ++i) {
        auto fields = split(lines[i], ',');
        if (fields.size() < 13) continue;
        double m = std::atof(fields[4].c_str());
        if (m >= minimum && m <= maximum) ids.push_back(fields[11]);
    }
    return ids;
}

// A table with the nine columns of the event list, wired to the controller.
struct EventTable {
    zeva::MemoryTableView table;
    std::vector<zeva::Ref<zeva::TableColumn>> columns;  // columns[k] has identifier k + 1

    explicit EventTable(NEIC_QueryController& c) {
        for (int k = 1; k <= 9; ++k) columns.push_back(table.addTableColumn(std::to_string(k)));
        table.setDataSource(&c);
        c.setEventTableView(&table);
    }
    const zeva::Ref<zeva::TableColumn>& column(int n) const { return columns.at(static_cast<size_t>(n - 1)); }
};

}  // namespace feedtest
