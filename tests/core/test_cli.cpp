#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "sample_classes.hpp"
#include "support/run_cli.hpp"

using zeva::test::runCli;

TEST(Cli, DescribePrintsTheRestoredRoot) {
    auto path = std::filesystem::temp_directory_path() / "zeva-cli-describe.archive";
    auto items = zeva::MutableArray::array();
    items->addObject(zeva::str("alpha"));
    items->addObject(zeva::Number::numberWithLong(5));
    ASSERT_TRUE(zeva::archiveRootObjectToFile(items, path.string()));
    auto r = runCli("describe " + path.string());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "(\n    alpha,\n    5\n)\n");
    std::filesystem::remove(path);
}

TEST(Cli, DescribeRefusesAnUnreadableArchiveWithOneLine) {
    auto r = runCli("describe /dev/null 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
    EXPECT_NE(r.out.find("/dev/null"), std::string::npos);
    EXPECT_EQ(runCli("nosuchcommand 2>/dev/null").status, 2);
    EXPECT_EQ(runCli("--help").status, 0);
}
