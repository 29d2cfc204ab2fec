#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "sample_classes.hpp"

namespace {
struct Run {
    int status;
    std::string out;
};

Run run(const std::string& args) {
    std::string cmd = std::string(ZEVA_CLI_PATH) + " " + args;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return {-1, ""};
    std::string out;
    char buf[4096];
    while (size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    int status = ::pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}
}  // namespace

TEST(Cli, DescribePrintsTheRestoredRoot) {
    auto path = std::filesystem::temp_directory_path() / "zeva-cli-describe.archive";
    auto items = zeva::MutableArray::array();
    items->addObject(zeva::str("alpha"));
    items->addObject(zeva::Number::numberWithLong(5));
    ASSERT_TRUE(zeva::archiveRootObjectToFile(items, path.string()));
    auto r = run("describe " + path.string());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "(\n    alpha,\n    5\n)\n");
    std::filesystem::remove(path);
}

TEST(Cli, DescribeRefusesAnUnreadableArchiveWithOneLine) {
    auto r = run("describe /dev/null 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
    EXPECT_NE(r.out.find("/dev/null"), std::string::npos);
    EXPECT_EQ(run("nosuchcommand 2>/dev/null").status, 2);
    EXPECT_EQ(run("--help").status, 0);
}
