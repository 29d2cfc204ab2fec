#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "support/loopback_server.hpp"
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

// A loopback server with the texts above, a chunked body past the cap and
// redirects; fetches give up after 300 ms or kCap bytes.
class Fetch : public ::testing::Test {
protected:
    static constexpr size_t kCap = 1000;
    static inline const std::map<std::string, std::string> kTexts = {
        {"/text", "first line\nsecond line\r\nthird"}, {"/bytes", "caf\xE9 M\xC3\xA9xico \x80\xFF end"},
        {"/at-cap", std::string(kCap, 'a')}, {"/over-cap", std::string(kCap + 1, 'a')}};

    void SetUp() override {
        ASSERT_TRUE(server_.running());
        for (const auto& [path, text] : kTexts) server_.serve(path, text);
    }

    FetchResult fetch(const std::string& path, const std::string& base = "") {
        FetchLimits limits;
        limits.maxBytes = kCap;
        limits.totalTimeoutMs = 300;
        auto url = URL::URLWithString((base.empty() ? server_.base() : base) + path);
        return url ? CurlURLFetcher(limits).fetchText(*url) : FetchResult{};
    }

    test::LoopbackServer server_{[](httplib::Server& s) {
        // No length announced: the cap has to stop the body as it arrives.
        s.Get("/over-cap-chunked", [](const httplib::Request&, httplib::Response& res) {
            res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
                for (int i = 0; i < 5; ++i) sink.write(std::string(300, 'b').data(), 300);
                sink.done();
                return true;
            });
        });
        for (auto [from, to] : {std::pair{"/redirect", "/text"}, {"/loop", "/loop"}, {"/to-file", "file:///etc/hostname"}})
            s.Get(from, [to = std::string(to)](const httplib::Request&, httplib::Response& res) { res.set_redirect(to); });
    }};
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
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"/missing", "HTTP status 404", ""},
        {"/over-cap", "larger than 1000 bytes", ""},
        {"/over-cap-chunked", "larger than 1000 bytes", ""},
        {"/slow", "timed out", ""},
        {"/loop", "", ""},
        {"/to-file", "", ""},  // a web server cannot send the fetcher to a local file
        {"/feed.csv", "", test::refusedBase()},
    };
    for (const auto& [path, reason, base] : cases) {
        auto r = fetch(path, base);
        EXPECT_FALSE(r.ok()) << path;
        EXPECT_FALSE(r.error.empty()) << path;
        EXPECT_NE(r.error.find(reason), std::string::npos) << path << ": " << r.error;
    }
}

TEST(FetchFile, LocalFiles) {
    auto dir = std::filesystem::temp_directory_path() / ("zeva-fetch-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::ofstream(dir / "feed #1.csv", std::ios::binary) << "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n";
    auto r = CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "feed #1.csv").string()));
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::fileURLWithPath((dir / "absent.csv").string())).ok());
    std::filesystem::remove_all(dir);
    EXPECT_EQ(r.ok() ? r.text->str() : r.error, "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n");
    EXPECT_FALSE(CurlURLFetcher().fetchText(*URL::URLWithString("ftp://example.org/feed.csv")).ok());
}
