// Helpers shared by the feed tests: a recording browser, a log capture and
// a few builders; the loopback HTTP server comes from the shared support.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/loopback_server.hpp"

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
    explicit ScopedTZ(const char* zone) : had_(std::getenv("TZ") != nullptr), saved_(had_ ? std::getenv("TZ") : "") {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTZ() {
        had_ ? ::setenv("TZ", saved_.c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }
    bool had_;
    std::string saved_;
};

// A browser that writes down what it was asked to open.
struct RecordingOpener : zeva::URLOpener {
    explicit RecordingOpener(bool answers = true) : answer(answers) {}
    bool openURL(const zeva::URL& url) override {
        opened.push_back(url.absoluteString());
        return answer;
    }
    bool answer;
    std::vector<std::string> opened;
};

inline zeva::Ref<ZEVAOrigin> originAt(const NEIC_QueryController& c, size_t i) {
    return c.getSeismicOriginsPointer()->objectAtIndexAs<ZEVAOrigin>(i);
}

inline std::string text(const zeva::Ref<zeva::String>& s) { return s ? s->str() : "(null)"; }

inline std::string sharedFeedDir() { return std::string(ZEVA_SHARED_DATA_DIR) + "/usgs-feed"; }

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1)
        out.push_back(text.substr(start, at - start));
    out.push_back(text.substr(start));
    return out;
}

inline const std::string kExample = std::string(ZEVA_SOURCE_DIR) + "/examples/notable-earthquakes.csv";

// Identifiers of the example's rows with a magnitude within the limits, in file order.
inline std::vector<std::string> exampleIds(double minimum = 5.0, double maximum = 19.0) {
    std::vector<std::string> ids;
    auto lines = split(readFile(kExample), '\n');
    for (size_t i = 1; i < lines.size(); ++i) {
        auto fields = split(lines[i], ',');
        double m = fields.size() < 13 ? 0 : std::atof(fields[4].c_str());
        if (m >= minimum && m <= maximum) ids.push_back(fields[11]);
    }
    return ids;
}

// The shared USGS files, the layout each is in, and the rows the README
// counts with the default limits 5.0 to 19.0.
struct SharedFeed {
    const char* file;
    bool quoted;
    size_t kept;
};
inline constexpr SharedFeed kSharedFeeds[] = {
    {"4.5_week.2015-05-01.csv", false, 38},  {"1.0_week.2016-01-07.csv", false, 22},
    {"significant_month.2024-05-23.csv", false, 4}, {"eqs7day-M1.2011-05-21.txt", true, 30},
    {"eqs7day-M1.2013-03-26.noheader.txt", true, 20},
};

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
