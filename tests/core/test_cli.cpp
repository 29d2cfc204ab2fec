#include <cstdio>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "sample_classes.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/Description.hpp"
#include "support/run_cli.hpp"

using zeva::test::runCli;
using zeva::test::runCliApart;

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
    EXPECT_EQ(runCli("--help").status, 0);
}

// Malformed command lines: exit 2 before any work, nothing on standard
// output, one line on standard error naming the command, the option and the
// problem.
TEST(Cli, BadCommandLines) {
    const std::pair<const char*, const char*> cases[] = {
        {"nosuchcommand", "zeva: unknown command 'nosuchcommand'"},
        {"origin --lat 200", "zeva origin: --lat: 200 is outside -90 to 90 degrees"},
        {"origin --lat -91", "zeva origin: --lat: -91 is outside -90 to 90 degrees"},
        {"origin --lat nan", "zeva origin: --lat: nan is not a finite number"},
        {"origin --lat 1e40", "zeva origin: --lat: 1e+40 is outside -90 to 90 degrees"},
        {"origin --lon 180.5", "zeva origin: --lon: 180.5 is outside -180 to 180 degrees"},
        {"origin --depth inf", "zeva origin: --depth: inf is not a finite number"},
        {"origin --mag -nan", "zeva origin: --mag: -nan is not a finite number"},
        {"origin --time nonsense", "zeva origin: --time: not a time: 'nonsense'"},
        {"origin --time 2011-03-11T05:46:24.12+09:00", "zeva origin: --time: '2011-03-11T05:46:24.12+09:00' gives a UTC offset (+09:00)"},
        {"origin --save ''", "zeva origin: --save needs a file name"},
        {"region 95 0", "zeva region: latitude: 95 is outside -90 to 90 degrees"},
        {"region 0 -1e40", "zeva region: longitude: -1e+40 is outside -180 to 180 degrees"},
        {"region 0 inf", "zeva region: longitude: inf is not a finite number"},
        {"region 10 x", "zeva region: longitude: not a number: x"},
        {"time '2009-06-01T14:03:12.25 garbage'", "zeva time: time: unexpected ' garbage' after the time"},
        {"time 2009-06-01T14:03:12.25-0300", "zeva time: time: '2009-06-01T14:03:12.25-0300' gives a UTC offset (-0300)"},
        {"time 2003366T000000", "zeva time: not a date and time of the calendar: 2003366T000000"},
        {"events --min nan --example", "zeva events: --min: a magnitude limit must be a number, not nan"},
        {"events --min 7 --max 5 --example", "zeva events: --min 7 is above --max 5"},
        {"events --min 20 --example", "zeva events: --min 20 is above --max 19"},
        {"events --example --save /", "zeva events: --save: / is a directory"},
        {"events --example --save /nonexistent-zeva/list", "zeva events: --save: /nonexistent-zeva/list: there is no folder"},
        {"events --example --descending", "zeva events: --descending goes with --sort"},
        {"link map --example --row 0", "zeva link: --row N is required: the row number zeva events shows, from 1"},
        {"link map --example --row 99999999999999999999", "zeva link: --row: out of range"},
        {"inventory x.xml --describe", "zeva inventory: --describe goes with --channel"},
        {"inventory x.xml --channel GR.FUR", "zeva inventory: --channel takes NET.STA.LOC.CHA"},
        {"inventory x.xml --save ''", "zeva inventory: --save needs a file name"},
        {"steim --mseed", "zeva steim: --mseed needs a value"},
        {"seismogram x.mseed --plot x.jpg", "zeva seismogram: --plot: x.jpg: the name must end in .png or .svg"},
        {"seismogram x.mseed --save /", "zeva seismogram: --save: / is a directory"},
        {"describe", "zeva describe: expects one archive file"},
    };
    for (const auto& [args, message] : cases) {
        auto r = runCliApart(args);
        EXPECT_EQ(r.status, 2) << args;
        EXPECT_EQ(r.out, "") << args;
        EXPECT_TRUE(r.err.starts_with(message)) << args << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
}

// Each reader of files, through its command, given what is not its kind of
// file: exit 1 and one line naming the file and the problem in a user's
// words, before any parser's own text.
TEST(Cli, BadInputFilesPerReader) {
    namespace fs = std::filesystem;
    const fs::path dir = fs::temp_directory_path() / ("zeva-cli-inputs-" + std::to_string(::getpid()));
    fs::create_directories(dir / "folder");
    std::string binary = "\x7f" "ELF";
    for (int i = 0; i < 4096; ++i) binary += static_cast<char>(i * 7919 % 251);
    const std::pair<const char*, std::string> files[] = {
        {"empty", ""}, {"random.bin", binary}, {"list.csv", "time,latitude,longitude\n2020-01-01T00:00:00Z,1,2\n"}};
    for (const auto& [name, body] : files) std::ofstream(dir / name, std::ios::binary) << body;
    const struct {
        const char* command;
        const char* folder;
        const char* empty;
        const char* binary;
        const char* text;
    } readers[] = {
        {"describe", " is a directory", " is empty", " is not a keyed archive", " is not a keyed archive"},
        {"inventory", " is a directory", " is empty", " is not a StationXML file", " is not a StationXML file"},
        {"steim --mseed", " is a directory", " is empty", " is not a miniSEED file", " is not a miniSEED file"},
        {"seismogram", " is a directory", " is empty", " is not a miniSEED file", " is not a miniSEED file"},
    };
    for (const auto& reader : readers) {
        const std::pair<const char*, const char*> inputs[] = {
            {"folder", reader.folder}, {"empty", reader.empty}, {"random.bin", reader.binary}, {"list.csv", reader.text},
            {"missing", nullptr}};
        for (const auto& [name, problem] : inputs) {
            const std::string path = (dir / name).string();
            auto r = runCliApart(std::string(reader.command) + " " + path);
            const std::string expected = problem ? path + problem : "there is no file " + path;
            EXPECT_EQ(r.status, 1) << reader.command << " " << name;
            EXPECT_EQ(r.out, "") << reader.command << " " << name;
            EXPECT_NE(r.err.find(expected), std::string::npos) << reader.command << " " << name << "\n" << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        }
    }
    fs::remove_all(dir);
}
