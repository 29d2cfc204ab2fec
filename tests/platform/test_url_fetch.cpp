#include <gtest/gtest.h>
#include <sys/socket.h>
#include <netinet/in.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "LoopbackServer.hpp"
#include "zeva/platform/URL.hpp"

using namespace zeva;

namespace {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

struct TempDir {
    std::filesystem::path path;
    TempDir() {
        path = std::filesystem::temp_directory_path() /
               ("zeva-fetch-" + std::to_string(::getpid()) + "-" +
                std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        std::filesystem::create_directories(path);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

}  // namespace

TEST(URL, AcceptsAbsoluteURLsAndRejectsMalformedOnes) {
    struct Case {
        const char* text;
        bool valid;
    };
    const Case cases[] = {
        {"http://earthquake.usgs.gov/earthquakes/feed/v0.1/summary/1.0_week.csv", true},
        {"https://news.google.com/news?hl=en&ned=us&q=earthquake+Central+Alaska+++&btnG=Search+News", true},
        {"http://127.0.0.1:8080/x", true},
        {"http://[::1]:80/", true},
        {"file:///tmp/a%20b.csv", true},
        {"mailto:someone@example.org", true},
        {"http://example.org/?q=$(id);x='1'", true},  // sub-delimiters are legal URL text
        {"", false},
        {"earthquake.usgs.gov/feed.csv", false},  // no scheme
        {"1http://example.org/", false},
        {"http://", false},
        {"http:///path", false},
        {"http:example.org", false},
        {"http://example.org/a b", false},
        {"http://example.org/\"q\"", false},
        {"http://example.org/%zz", false},
        {"http://example.org/100%", false},
        {"http://example.org:99999/", false},
        {"http://example.org:8a/", false},
        {"http://exa mple.org/", false},
        {"http://example.org/a#b#c", false},
        {"http://example.org/caf\xC3\xA9", false},
        {"http://example.org/\n", false},
        {"file:relative/path", false},
        {"mailto:", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(URL::URLWithString(c.text) != nullptr, c.valid) << c.text;
    }
    EXPECT_EQ(URL::URLWithString(Ref<String>()), nullptr);
}

TEST(URL, Parts) {
    auto url = URL::URLWithString("HTTP://Earthquake.usgs.gov:8080/earthquakes/eventpage/us1234#summary");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->scheme(), "http");
    EXPECT_EQ(url->host(), "Earthquake.usgs.gov");
    EXPECT_EQ(url->path(), "/earthquakes/eventpage/us1234");
    EXPECT_EQ(url->description(), "HTTP://Earthquake.usgs.gov:8080/earthquakes/eventpage/us1234#summary");
    auto bare = URL::URLWithString("https://example.org?q=1");
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->path(), "/");
    EXPECT_EQ(bare->host(), "example.org");
}

TEST(URL, PercentEscapesWhatAURLDoesNotAccept) {
    EXPECT_EQ(addPercentEscapes("http://h/news?q=earthquake+Near coast \"x\"<y>{z}|^`\\"),
              "http://h/news?q=earthquake+Near%20coast%20%22x%22%3Cy%3E%7Bz%7D%7C%5E%60%5C");
    EXPECT_EQ(addPercentEscapes("100% %41 %4"), "100%25%20%41%20%254");
    EXPECT_EQ(addPercentEscapes("caf\xC3\xA9\t"), "caf%C3%A9%09");
    EXPECT_EQ(addPercentEscapes("http://h/a?b=c&d=e;f#g"), "http://h/a?b=c&d=e;f#g");
    EXPECT_EQ(addPercentEscapes("http://[::1]:8080/a?b[0]=1"), "http://[::1]:8080/a?b%5B0%5D=1");
    EXPECT_TRUE(URL::URLWithStringAddingPercentEscapes("http://[::1]:8080/a?b[0]=1"));

    auto url = URL::URLWithStringAddingPercentEscapes("http://news.google.com/news?q=earthquake+Santiago de Chile");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), "http://news.google.com/news?q=earthquake+Santiago%20de%20Chile");
    // Escaping cannot make up for a missing scheme.
    EXPECT_EQ(URL::URLWithStringAddingPercentEscapes("no scheme here"), nullptr);
}

TEST(URL, FileURLsForLocalPaths) {
    auto url = URL::fileURLWithPath("/tmp/dir with space/a#b?.csv");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->absoluteString(), "file:///tmp/dir%20with%20space/a%23b%3F.csv");
    EXPECT_TRUE(url->isFileURL());
    EXPECT_EQ(url->path(), "/tmp/dir%20with%20space/a%23b%3F.csv");

    auto relative = URL::fileURLWithPath("feed.csv");
    ASSERT_TRUE(relative);
    EXPECT_EQ(relative->path().front(), '/');
    EXPECT_EQ(URL::fileURLWithPath(""), nullptr);
}

class Fetch : public ::testing::Test {
protected:
    static constexpr size_t kCap = 1000;

    void SetUp() override {
        auto& r = server_.routes();
        r.Get("/text", [](const httplib::Request&, httplib::Response& res) {
            res.set_content("first line\nsecond line\r\nthird", "text/plain");
        });
        r.Get("/empty", [](const httplib::Request&, httplib::Response& res) { res.set_content("", "text/plain"); });
        r.Get("/bytes", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string("caf\xE9 M\xC3\xA9xico \x80\xFF end"), "text/plain");
        });
        r.Get("/missing", [](const httplib::Request&, httplib::Response& res) {
            res.status = 404;
            res.set_content("not here", "text/plain");
        });
        r.Get("/broken", [](const httplib::Request&, httplib::Response& res) { res.status = 503; });
        r.Get("/slow", [this](const httplib::Request&, httplib::Response& res) {
            for (int i = 0; i < 300 && !server_.stopping(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            res.set_content("too late", "text/plain");
        });
        r.Get("/at-cap", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string(kCap, 'a'), "text/plain");
        });
        r.Get("/over-cap", [](const httplib::Request&, httplib::Response& res) {
            res.set_content(std::string(kCap + 1, 'a'), "text/plain");
        });
        // No length announced: the cap has to stop the body as it arrives.
        r.Get("/over-cap-chunked", [](const httplib::Request&, httplib::Response& res) {
            res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
                std::string chunk(300, 'b');
                for (int i = 0; i < 5; ++i) sink.write(chunk.data(), chunk.size());
                sink.done();
                return true;
            });
        });
        r.Get("/redirect", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/text"); });
        r.Get("/redirect-twice", [](const httplib::Request&, httplib::Response& res) {
            res.set_redirect("/redirect", 301);
        });
        r.Get("/loop", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/loop"); });
        r.Get("/to-file", [](const httplib::Request&, httplib::Response& res) {
            res.set_redirect("file:///etc/hostname");
        });
        ASSERT_TRUE(server_.start());
    }

    FetchResult fetch(const std::string& path, FetchLimits limits = {}) {
        auto url = URL::URLWithString(server_.url(path));
        EXPECT_TRUE(url);
        if (!url) return {};
        CurlURLFetcher fetcher(limits);
        return fetcher.fetchText(*url);
    }

    static FetchLimits capped() {
        FetchLimits l;
        l.maxBytes = kCap;
        return l;
    }

    test::LoopbackServer server_;
};

TEST_F(Fetch, TextComesBackByteForByte) {
    auto r = fetch("/text");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.text->str(), "first line\nsecond line\r\nthird");
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.error, "");

    auto empty = fetch("/empty");
    ASSERT_TRUE(empty.ok()) << empty.error;
    EXPECT_EQ(empty.text->str(), "");
}

TEST_F(Fetch, BytesOutsideAsciiAreKept) {
    auto r = fetch("/bytes");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.text->str(), std::string("caf\xE9 M\xC3\xA9xico \x80\xFF end"));
}

TEST_F(Fetch, FollowsRedirectsButNotToFiles) {
    for (const char* path : {"/redirect", "/redirect-twice"}) {
        auto r = fetch(path);
        ASSERT_TRUE(r.ok()) << path << ": " << r.error;
        EXPECT_EQ(r.text->str(), "first line\nsecond line\r\nthird");
        EXPECT_EQ(r.status, 200);
    }
    auto loop = fetch("/loop");
    EXPECT_FALSE(loop.ok());
    EXPECT_FALSE(loop.error.empty());

    auto toFile = fetch("/to-file");
    EXPECT_FALSE(toFile.ok());
    EXPECT_FALSE(toFile.error.empty());
}

TEST_F(Fetch, HttpErrorStatusIsAFailure) {
    auto r = fetch("/missing");
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.status, 404);
    EXPECT_NE(r.error.find("404"), std::string::npos) << r.error;

    auto unavailable = fetch("/broken");
    EXPECT_FALSE(unavailable.ok());
    EXPECT_EQ(unavailable.status, 503);
}

TEST_F(Fetch, SizeCap) {
    auto atCap = fetch("/at-cap", capped());
    ASSERT_TRUE(atCap.ok()) << atCap.error;
    EXPECT_EQ(atCap.text->length(), kCap);

    for (const char* path : {"/over-cap", "/over-cap-chunked"}) {
        auto r = fetch(path, capped());
        EXPECT_FALSE(r.ok()) << path;
        EXPECT_NE(r.error.find("larger than 1000 bytes"), std::string::npos) << path << ": " << r.error;
    }
}

TEST_F(Fetch, SlowReplyTimesOut) {
    FetchLimits limits;
    limits.totalTimeoutMs = 300;
    auto start = std::chrono::steady_clock::now();
    auto r = fetch("/slow", limits);
    auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_FALSE(r.ok());
    EXPECT_NE(r.error.find("timed out"), std::string::npos) << r.error;
    EXPECT_LT(elapsed, std::chrono::seconds(2));
}

TEST_F(Fetch, ServesTheSharedFeedFilesUnchanged) {
    const std::filesystem::path dir = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "usgs-feed";
    if (!std::filesystem::exists(dir / "4.5_week.2015-05-01.csv")) GTEST_SKIP() << "no shared feed data in " << dir;
    test::LoopbackServer feeds;
    for (const char* name : {"4.5_week.2015-05-01.csv", "eqs7day-M1.2011-05-21.txt"}) {
        std::string body = readFile(dir / name);
        feeds.routes().Get(std::string("/") + name, [body](const httplib::Request&, httplib::Response& res) {
            res.set_content(body, "text/csv");
        });
    }
    ASSERT_TRUE(feeds.start());
    for (const char* name : {"4.5_week.2015-05-01.csv", "eqs7day-M1.2011-05-21.txt"}) {
        auto url = URL::URLWithString(feeds.url(std::string("/") + name));
        ASSERT_TRUE(url);
        auto r = CurlURLFetcher().fetchText(*url);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.text->str(), readFile(dir / name)) << name;
    }
}

TEST(FetchFailure, RefusedConnection) {
    // A port that was just free: bind, read the number, close.
    int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    socklen_t len = sizeof addr;
    ASSERT_EQ(::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len), 0);
    ::close(fd);

    auto url = URL::URLWithString("http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/feed.csv");
    ASSERT_TRUE(url);
    auto r = CurlURLFetcher().fetchText(*url);
    EXPECT_FALSE(r.ok());
    EXPECT_EQ(r.status, 0);
    EXPECT_FALSE(r.error.empty());
}

TEST(FetchFailure, UnsupportedScheme) {
    auto url = URL::URLWithString("ftp://example.org/feed.csv");
    ASSERT_TRUE(url);
    auto r = CurlURLFetcher().fetchText(*url);
    EXPECT_FALSE(r.ok());
    EXPECT_NE(r.error.find("ftp"), std::string::npos) << r.error;
}

TEST(FetchFile, ReadsLocalFilesAndFailsOnMissingOnes) {
    TempDir tmp;
    auto path = tmp.path / "feed #1.csv";
    std::ofstream(path, std::ios::binary) << "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n\xC3\xA9\n";
    auto url = URL::fileURLWithPath(path.string());
    ASSERT_TRUE(url);
    auto r = CurlURLFetcher().fetchText(*url);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.text->str(), "time,latitude\n2012-10-10T12:34:56.789+00:00,1.5\n\xC3\xA9\n");
    EXPECT_EQ(r.status, 0);

    FetchLimits small;
    small.maxBytes = 10;
    auto capped = CurlURLFetcher(small).fetchText(*url);
    EXPECT_FALSE(capped.ok());
    EXPECT_NE(capped.error.find("larger than 10 bytes"), std::string::npos) << capped.error;

    auto missing = CurlURLFetcher().fetchText(*URL::fileURLWithPath((tmp.path / "absent.csv").string()));
    EXPECT_FALSE(missing.ok());
    EXPECT_FALSE(missing.error.empty());
}

namespace {

class CannedFetcher : public URLFetcher {
public:
    FetchResult fetchText(const URL& url) override {
        asked.push_back(url.absoluteString());
        return FetchResult{str("canned"), "", 200};
    }
    std::vector<std::string> asked;
};

}  // namespace

TEST(SharedFetcher, CanBeReplacedAndRestored) {
    auto canned = std::make_shared<CannedFetcher>();
    auto previous = setSharedURLFetcher(canned);
    ASSERT_TRUE(previous);
    EXPECT_TRUE(std::dynamic_pointer_cast<CurlURLFetcher>(previous));
    auto text = stringWithContentsOfURL(*URL::URLWithString("http://example.org/x"));
    ASSERT_TRUE(text);
    EXPECT_EQ(text->str(), "canned");
    EXPECT_EQ(canned->asked, std::vector<std::string>{"http://example.org/x"});
    EXPECT_EQ(setSharedURLFetcher(previous), canned);
    EXPECT_EQ(sharedURLFetcher(), previous);
}
