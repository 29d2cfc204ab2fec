#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "zeva/platform/URL.hpp"

using namespace zeva;

TEST(URL, AcceptsAbsoluteURLsOnly) {
    const std::pair<const char*, bool> cases[] = {
        {"http://earthquake.usgs.gov/earthquakes/feed/v0.1/summary/1.0_week.csv", true},
        {"https://news.google.com/news?hl=en&q=earthquake+Alaska+++&btnG=Search+News", true},
        {"http://[::1]:8080/x", true},
        {"file:///tmp/a%20b.csv", true},
        {"http://example.org/?q=$(id);x='1'", true},  // sub-delimiters are legal URL text
        {"", false},
        {"earthquake.usgs.gov/feed.csv", false},
        {"http://", false},
        {"http:example.org", false},
        {"http://example.org/a b", false},
        {"http://example.org/%zz", false},
        {"http://example.org/100%", false},
        {"http://example.org:99999/", false},
        {"http://example.org/a#b#c", false},
        {"http://example.org/caf\xC3\xA9", false},
        {"file:relative/path", false},
    };
    for (const auto& [text, valid] : cases) EXPECT_EQ(URL::URLWithString(text) != nullptr, valid) << text;

    auto url = URL::URLWithString("HTTP://Earthquake.usgs.gov:8080/eventpage/us1234#summary");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "http");
    EXPECT_EQ(url->host(), "Earthquake.usgs.gov");
    EXPECT_EQ(url->path(), "/eventpage/us1234");
}

TEST(URL, PercentEscapes) {
    EXPECT_EQ(addPercentEscapes("http://h/q=Near coast \"x\"<y>{z}|^`\\"),
              "http://h/q=Near%20coast%20%22x%22%3Cy%3E%7Bz%7D%7C%5E%60%5C");
    EXPECT_EQ(addPercentEscapes("100% %41 %4 caf\xC3\xA9"), "100%25%20%41%20%254%20caf%C3%A9");
    EXPECT_EQ(addPercentEscapes("http://[::1]:8080/a?b[0]=1&c=d;e#f"), "http://[::1]:8080/a?b%5B0%5D=1&c=d;e#f");
    EXPECT_TRUE(URL::URLWithStringAddingPercentEscapes("http://news.google.com/news?q=Santiago de Chile"));
    EXPECT_FALSE(URL::URLWithStringAddingPercentEscapes("no scheme here"));
    EXPECT_EQ(URL::fileURLWithPath("/tmp/dir with space/a#b?.csv")->absoluteString(),
              "file:///tmp/dir%20with%20space/a%23b%3F.csv");
}

// A real HTTP server on loopback, serving on its own thread.
class Fetch : public ::testing::Test {
protected:
    static constexpr size_t kCap = 1000;
    static constexpr const char* kText = "first line\nsecond line\r\nthird";

    void SetUp() override {
        auto text = [](const std::string& body) {
            return [body](const httplib::Request&, httplib::Response& res) { res.set_content(body, "text/plain"); };
        };
        server_.Get("/text", text(kText));
        server_.Get("/bytes", text("caf\xE9 M\xC3\xA9xico \x80\xFF end"));
        server_.Get("/at-cap", text(std::string(kCap, 'a')));
        server_.Get("/over-cap", text(std::string(kCap + 1, 'a')));
        // No length announced: the cap has to stop the body as it arrives.
        server_.Get("/over-cap-chunked", [](const httplib::Request&, httplib::Response& res) {
            res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
                std::string chunk(300, 'b');
                for (int i = 0; i < 5; ++i) sink.write(chunk.data(), chunk.size());
                sink.done();
                return true;
            });
        });
        server_.Get("/missing", [](const httplib::Request&, httplib::Response& res) { res.status = 404; });
        server_.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            for (int i = 0; i < 300 && !stopping_; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
            res.set_content("too late", "text/plain");
        });
        server_.Get("/redirect", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/text"); });
        server_.Get("/loop", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/loop"); });
        server_.Get("/to-file", [](const httplib::Request&, httplib::Response& res) {
            res.set_redirect("file:///etc/hostname");
        });
        port_ = server_.bind_to_any_port("127.0.0.1");
        ASSERT_GT(port_, 0);
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        for (int i = 0; i < 500 && !server_.is_running(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
        ASSERT_TRUE(server_.is_running());
    }

    void TearDown() override {
        stopping_ = true;
        server_.stop();
        if (thread_.joinable()) thread_.join();
    }

    FetchResult fetch(const std::string& path, FetchLimits limits = {}) {
        auto url = URL::URLWithString("http://127.0.0.1:" + std::to_string(port_) + path);
        return url ? CurlURLFetcher(limits).fetchText(*url) : FetchResult{};
    }

    httplib::Server server_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    int port_ = -1;
};

TEST_F(Fetch, TextRedirectsAndBytesOutsideAscii) {
    for (const char* path : {"/text", "/redirect"}) {
        auto r = fetch(path);
        ASSERT_TRUE(r.ok()) << path << ": " << r.error;
        EXPECT_EQ(r.text->str(), kText);
        EXPECT_EQ(r.status, 200);
    }
    auto bytes = fetch("/bytes");
    ASSERT_TRUE(bytes.ok()) << bytes.error;
    EXPECT_EQ(bytes.text->str(), "caf\xE9 M\xC3\xA9xico \x80\xFF end");
}

TEST_F(Fetch, FailuresSayWhy) {
    FetchLimits limits;
    limits.maxBytes = kCap;
    limits.totalTimeoutMs = 300;
    struct Case {
        const char* path;
        const char* reason;
    };
    const Case cases[] = {
        {"/missing", "HTTP status 404"},
        {"/over-cap", "larger than 1000 bytes"},
        {"/over-cap-chunked", "larger than 1000 bytes"},
        {"/slow", "timed out"},
        {"/loop", ""},
        {"/to-file", ""},  // a web server cannot send the fetcher to a local file
    };
    for (const auto& c : cases) {
        auto r = fetch(c.path, limits);
        EXPECT_FALSE(r.ok()) << c.path;
        EXPECT_FALSE(r.error.empty()) << c.path;
        EXPECT_NE(r.error.find(c.reason), std::string::npos) << c.path << ": " << r.error;
    }
    auto atCap = fetch("/at-cap", limits);
    ASSERT_TRUE(atCap.ok()) << atCap.error;
    EXPECT_EQ(atCap.text->length(), kCap);
}

TEST(FetchFailure, RefusedConnection) {
    // A port that was free a moment ago: bind, read its number, close.
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), len), 0);
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len), 0);
    ::close(fd);
    auto r = CurlURLFetcher().fetchText(
        *URL::URLWithString("http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/feed.csv"));
    EXPECT_FALSE(r.ok());
    EXPECT_FALSE(r.error.empty());
}

TEST(FetchFile, LocalFiles) {
    auto dir = std::filesystem::temp_directory_path() / ("zeva-fetch-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "feed #1.csv", std::ios::binary) << "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n";
    auto r = CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "feed #1.csv").string()));
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.text->str(), "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n");
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "absent.csv").string())).ok());
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::URLWithString("ftp://example.org/feed.csv")).ok());
    std::filesystem::remove_all(dir);
}
