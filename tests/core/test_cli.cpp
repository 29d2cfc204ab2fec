#include <cstdio>
#include <filesystem>

#include <gtest/gtest.h>

#include "sample_classes.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/Description.hpp"
#include "support/run_cli.hpp"

using zeva::test::runCli;

// Texts nest with their indentation; a cycle ends at the object met again on
// its path; a text that would be gigabytes long (100,000 nested arrays, all
// indentation) is refused in one line.
TEST(Cli, DescribePrintsTheRestoredRoot) {
    auto stage = ZEVAStage::alloc();
    stage->set_filters(zeva::Array::arrayWithObjects({stage}));
    zeva::ObjectRef deep = zeva::str("bottom");
    for (int i = 0; i < 100000; ++i) deep = zeva::Array::arrayWithObjects({deep});
    auto dict = zeva::MutableDictionary::dictionary();
    dict->setObject_forKey(zeva::str("v\nw"), "k");
    struct Case {
        const char* name;
        zeva::ObjectRef root;
        int status;
        std::string out;
    } cases[] = {
        {"nested", zeva::Array::arrayWithObjects({zeva::str("alpha"), zeva::Number::numberWithLong(5),
                                                  zeva::Array::arrayWithObjects({zeva::str("beta"), dict})}),
         0, "(\n    alpha,\n    5,\n    (\n        beta,\n        {\n            k = v\n            w;\n        }\n    )\n)\n"},
        {"stage in its own filter list", stage, 0,
         "\n-------------\nZEVAStage\n-------------\nTransfer Type: 0\nInput Units: (null)\nOutput Units: (null)\n"
         "(null)\nNumber of Filters: 1\n\n<ZEVAStage: cycle>\n"},
        {"100,000 nested arrays", deep, 1, "longer than " + std::to_string(zeva::kDescriptionLimit) + " bytes"},
    };
    auto path = std::filesystem::temp_directory_path() / "zeva-cli-describe.archive";
    for (const auto& c : cases) {
        ASSERT_TRUE(zeva::archiveRootObjectToFile(c.root, path.string())) << c.name;
        auto r = runCli("describe " + path.string() + " 2>&1");
        EXPECT_EQ(r.status, c.status) << c.name;
        if (c.status == 0) EXPECT_EQ(r.out, c.out) << c.name;
        else EXPECT_TRUE(r.out.find(c.out) != std::string::npos && std::count(r.out.begin(), r.out.end(), '\n') == 1)
            << c.name << ": " << r.out;
    }
    stage->set_filters(nullptr);
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
