#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "zeva/platform/URLOpener.hpp"

using namespace zeva;

namespace {

// A stand-in browser: a script that appends each argument as a line to a
// file and exits with a given status.
struct FakeBrowser {
    explicit FakeBrowser(int exitStatus = 0)
        : dir(std::filesystem::temp_directory_path() / ("zeva-open-" + std::to_string(::getpid()) + "-" +
                                                        std::to_string(exitStatus))),
          program((dir / "browser").string()) {
        std::filesystem::create_directories(dir);
        std::ofstream(program) << "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done >> '"
                               << (dir / "args").string() << "'\nexit " << exitStatus << "\n";
        ::chmod(program.c_str(), 0755);
    }
    ~FakeBrowser() { std::filesystem::remove_all(dir); }
    std::filesystem::path dir;
    std::string program;
    std::string arguments() const {
        std::ostringstream s;
        s << std::ifstream(dir / "args").rdbuf();
        return s.str();
    }
};

}  // namespace

TEST(ExternalURLOpener, PassesTheURLAsOneArgumentWithoutAShellAndAnswersFailure) {
    FakeBrowser browser;
    // Legal URL text that a shell would run, creating files.
    const std::string pwned = (browser.dir / "pwned").string();
    const std::string tricky = "http://example.org/?q=$(touch$IFS" + pwned + "1)&r=;touch$IFS" + pwned + "2;&x='a'";
    auto url = URL::URLWithString(tricky);
    ASSERT_TRUE(url) << tricky;
    EXPECT_TRUE(ExternalURLOpener(browser.program).openURL(*url));
    // Only web pages are handed over.
    for (const char* text : {"file:///etc/passwd", "javascript:alert(1)"})
        EXPECT_FALSE(ExternalURLOpener(browser.program).openURL(*URL::URLWithString(text))) << text;
    EXPECT_EQ(browser.arguments(), tricky + "\n");
    EXPECT_FALSE(std::filesystem::exists(pwned + "1"));
    EXPECT_FALSE(std::filesystem::exists(pwned + "2"));

    // A browser that fails, or none at all, answers NO.
    FakeBrowser failing(3);
    EXPECT_FALSE(ExternalURLOpener(failing.program).openURL(*url));
    EXPECT_EQ(failing.arguments(), tricky + "\n");  // it did run
    EXPECT_FALSE(ExternalURLOpener("/nonexistent/zeva-no-such-browser").openURL(*url));
}
