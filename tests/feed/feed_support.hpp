// Helpers shared by the feed tests: a loopback HTTP server, a recording
// browser, a log capture and a few builders.
#pragma once

#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/Log.hpp"
#include "zeva/platform/TableView.hpp"
#include "zeva/platform/URLOpener.hpp"

namespace feedtest {

// A real HTTP server on 127.0.0.1 that serves texts by path, answers 404
// for anything else, and serves "/slow" only after the test ends.
class LoopbackServer {
public:
    LoopbackServer() {
        server_.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            for (int i = 0; i < 500 && !stopping_; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
            res.set_content("too late", "text/plain");
        });
        server_.Get(R"(/.*)", [this](const httplib::Request& req, httplib::Response& res) {
            auto at = texts_.find(req.path);
            if (at == texts_.end()) res.status = 404;
            else res.set_content(at->second, "text/plain");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        if (port_ > 0) thread_ = std::thread([this] { server_.listen_after_bind(); });
        for (int i = 0; i < 500 && !server_.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    ~LoopbackServer() {
        stopping_ = true;
        server_.stop();
        if (thread_.joinable()) thread_.join();
    }

    bool running() const { return port_ > 0 && server_.is_running(); }
    // Serves the text at the path; call before the first request.
    void serve(const std::string& path, std::string body) { texts_[path] = std::move(body); }
    std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }
    std::string url(const std::string& path) const { return base() + path; }

private:
    httplib::Server server_;
    std::thread thread_;
    std::map<std::string, std::string> texts_;
    std::atomic<bool> stopping_{false};
    int port_ = -1;
};

// A loopback URL on which nothing listens (its port was free a moment ago).
inline std::string refusedBase() {
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = -1;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&addr), len) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    if (fd >= 0) ::close(fd);
    return "http://127.0.0.1:" + std::to_string(port);
}

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
