#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "zeva/platform/URLOpener.hpp"

using namespace zeva;

namespace {

// A stand-in browser: a script that writes each argument on a line of its
// own to a file and exits with a given status.
class FakeBrowser {
public:
    explicit FakeBrowser(int exitStatus = 0) {
        dir_ = std::filesystem::temp_directory_path() /
               ("zeva-open-" + std::to_string(::getpid()) + "-" +
                std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        std::filesystem::create_directories(dir_);
        script_ = dir_ / "browser";
        std::ofstream(script_) << "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done >> '"
                               << (dir_ / "args").string() << "'\nexit " << exitStatus << "\n";
        ::chmod(script_.c_str(), 0755);
    }
    ~FakeBrowser() {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    std::string program() const { return script_.string(); }
    std::string arguments() const {
        std::ifstream in(dir_ / "args");
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }
    const std::filesystem::path& dir() const { return dir_; }

private:
    std::filesystem::path dir_, script_;
};

}  // namespace

TEST(ExternalURLOpener, PassesTheURLAsOneArgumentWithoutAShell) {
    FakeBrowser browser;
    ExternalURLOpener opener(browser.program());
    // Shell syntax is legal URL text; it must reach the program untouched.
    // Through a shell, each of these would create a file.
    const std::string pwned = (browser.dir() / "pwned").string();
    const std::string tricky =
        "http://example.org/?q=$(touch$IFS" + pwned + "1)&r=;touch$IFS" + pwned + "2;&x='a'";
    auto url = URL::URLWithString(tricky);
    ASSERT_TRUE(url) << tricky;
    EXPECT_TRUE(opener.openURL(*url));
    EXPECT_EQ(browser.arguments(), tricky + "\n");
    EXPECT_FALSE(std::filesystem::exists(pwned + "1"));
    EXPECT_FALSE(std::filesystem::exists(pwned + "2"));

    auto https = URL::URLWithString("https://www.google.com/maps?ll=-33.457,-70.600&q=-33.457,-70.600&spn=15,15");
    EXPECT_TRUE(opener.openURL(*https));
    EXPECT_EQ(browser.arguments(), tricky + "\n" + https->absoluteString() + "\n");
}

TEST(ExternalURLOpener, AnswersFailure) {
    FakeBrowser failing(3);
    auto url = URL::URLWithString("http://example.org/");
    EXPECT_FALSE(ExternalURLOpener(failing.program()).openURL(*url));
    EXPECT_EQ(failing.arguments(), "http://example.org/\n");  // it did run

    EXPECT_FALSE(ExternalURLOpener("/nonexistent/zeva-no-such-browser").openURL(*url));

    // Only web pages are handed over.
    FakeBrowser browser;
    for (const char* text : {"file:///etc/passwd", "mailto:someone@example.org", "javascript:alert(1)"}) {
        auto other = URL::URLWithString(text);
        ASSERT_TRUE(other) << text;
        EXPECT_FALSE(ExternalURLOpener(browser.program()).openURL(*other)) << text;
    }
    EXPECT_EQ(browser.arguments(), "");
}

namespace {

class RecordingOpener : public URLOpener {
public:
    bool openURL(const URL& url) override {
        opened.push_back(url.absoluteString());
        return true;
    }
    std::vector<std::string> opened;
};

}  // namespace

TEST(SharedURLOpener, CanBeReplacedAndRestored) {
    auto recorder = std::make_shared<RecordingOpener>();
    auto previous = setSharedURLOpener(recorder);
    ASSERT_TRUE(std::dynamic_pointer_cast<ExternalURLOpener>(previous));
    EXPECT_EQ(std::dynamic_pointer_cast<ExternalURLOpener>(previous)->program(), "xdg-open");
    EXPECT_TRUE(sharedURLOpener()->openURL(*URL::URLWithString("http://example.org/a")));
    EXPECT_EQ(recorder->opened, std::vector<std::string>{"http://example.org/a"});
    setSharedURLOpener(nullptr);  // back to the default
    EXPECT_TRUE(std::dynamic_pointer_cast<ExternalURLOpener>(sharedURLOpener()));
}
