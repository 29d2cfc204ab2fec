#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "zeva/platform/URL.hpp"

using namespace zeva;

TEST(URL, AcceptsAbsoluteURLsOnly) {
    const std::pair<const char*, bool> cases[] = {
        {"https://news.google.com/news?hl=en&q=earthquake+Alaska+++&btnG=Search+News", true},
        {"http://[::1]:8080/x", true}, {"file:///tmp/a%20b.csv", true},
        {"http://example.org/?q=$(id);x='1'", true},  // sub-delimiters are legal URL text
        {"", false}, {"earthquake.usgs.gov/feed.csv", false}, {"http://", false}, {"http:example.org", false},
        {"http://example.org/a b", false}, {"http://example.org/%zz", false}, {"http://example.org/100%", false},
        {"http://example.org:99999/", false}, {"http://example.org/a#b#c", false},
        {"http://example.org/caf\xC3\xA9", false}, {"file:relative/path", false},
    };
    for (const auto& [text, valid] : cases) EXPECT_EQ(URL::URLWithString(text) != nullptr, valid) << text;

    auto url = URL::URLWithString("HTTP://Earthquake.usgs.gov:8080/eventpage/us1234#summary");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme() + " " + url->host() + " " + url->path(), "http Earthquake.usgs.gov /eventpage/us1234");
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
    static inline const std::map<std::string, std::string> kTexts = {
        {"/text", "first line\nsecond line\r\nthird"}, {"/bytes", "caf\xE9 M\xC3\xA9xico \x80\xFF end"},
        {"/at-cap", std::string(kCap, 'a')}, {"/over-cap", std::string(kCap + 1, 'a')}};

    void SetUp() override {
        server_.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            for (int i = 0; i < 300 && !stopping_; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
            res.set_content("too late", "text/plain");
        });
        // No length announced: the cap has to stop the body as it arrives.
        server_.Get("/over-cap-chunked", [](const httplib::Request&, httplib::Response& res) {
            res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
                for (int i = 0; i < 5; ++i) sink.write(std::string(300, 'b').data(), 300);
                sink.done();
                return true;
            });
        });
        const std::map<std::string, std::string> redirects = {
            {"/redirect", "/text"}, {"/loop", "/loop"}, {"/to-file", "file:///etc/hostname"}};
        server_.Get(R"(/.*)", [redirects](const httplib::Request& req, httplib::Response& res) {
            if (auto t = kTexts.find(req.path); t != kTexts.end()) res.set_content(t->second, "text/plain");
            else if (auto r = redirects.find(req.path); r != redirects.end()) res.set_redirect(r->second);
            else res.status = 404;
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

    FetchResult fetch(const std::string& path, int port = 0) {
        FetchLimits limits;
        limits.maxBytes = kCap;
        limits.totalTimeoutMs = 300;
        auto url = URL::URLWithString("http://127.0.0.1:" + std::to_string(port ? port : port_) + path);
        return url ? CurlURLFetcher(limits).fetchText(*url) : FetchResult{};
    }

    httplib::Server server_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    int port_ = -1;
};

TEST_F(Fetch, TextRedirectsAndBytesOutsideAscii) {
    for (const char* path : {"/text", "/redirect", "/bytes", "/at-cap"}) {
        auto r = fetch(path);
        ASSERT_TRUE(r.ok()) << path << ": " << r.error;
        EXPECT_EQ(r.text->str(), kTexts.at(path == std::string("/redirect") ? "/text" : path));
        EXPECT_EQ(r.status, 200);
    }
}

TEST_F(Fetch, FailuresSayWhy) {
    // A port bound but not listening refuses connections.
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), len), 0);
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len), 0);
    const std::tuple<const char*, const char*, int> cases[] = {
        {"/missing", "HTTP status 404", 0},
        {"/over-cap", "larger than 1000 bytes", 0},
        {"/over-cap-chunked", "larger than 1000 bytes", 0},
        {"/slow", "timed out", 0},
        {"/loop", "", 0},
        {"/to-file", "", 0},  // a web server cannot send the fetcher to a local file
        {"/feed.csv", "", ntohs(addr.sin_port)},
    };
    for (const auto& [path, reason, port] : cases) {
        auto r = fetch(path, port);
        EXPECT_FALSE(r.ok()) << path;
        EXPECT_FALSE(r.error.empty()) << path;
        EXPECT_NE(r.error.find(reason), std::string::npos) << path << ": " << r.error;
    }
    ::close(fd);
}

TEST(FetchFile, LocalFiles) {
    auto dir = std::filesystem::temp_directory_path() / ("zeva-fetch-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "feed #1.csv", std::ios::binary) << "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n";
    auto r = CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "feed #1.csv").string()));
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "absent.csv").string())).ok());
    std::filesystem::remove_all(dir);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.text->str(), "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n");
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::URLWithString("ftp://example.org/feed.csv")).ok());
}
