// The miniSEED record scanner on damaged files, `zeva steim` in both of its
// forms, and `zeva seismogram`.
#include <gtest/gtest.h>

#include <filesystem>

#include <fmt/core.h>

#include <unistd.h>

#include "steim_support.hpp"
#include "support/run_cli.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

// Damage done to three 512-byte records: the records read afterwards and
// part of the one problem reported. Nothing read may lie outside the bytes.
TEST(MseedReader, ReportsDamageAndSkips) {
    struct {
        void (*apply)(std::vector<unsigned char>& bytes);
        size_t records;
        const char* problem;
    } cases[] = {
        {[](std::vector<unsigned char>& b) { b.resize(b.size() - 100); }, 2, "past the end"},
        {[](std::vector<unsigned char>& b) { b.insert(b.begin(), 128, 'x'); }, 3, "no miniSEED record header"},
        // Bytes 44-45: the second record's data offset, big-endian.
        {[](std::vector<unsigned char>& b) { b[512 + 44] = 2, b[512 + 45] = 0; }, 2, "data offset 512"},
        {[](std::vector<unsigned char>& b) { b[1024 + 48 + 6] = 30; }, 2, "1073741824 bytes"}};
    for (const auto& damage : cases) {
        std::vector<unsigned char> bytes = pack(ramp(1500), 11, true);
        ASSERT_GE(bytes.size(), 3u * 512);
        bytes.resize(3 * 512);
        damage.apply(bytes);
        zeva::miniseed::Contents c = zeva::miniseed::scanRecords(bytes.data(), bytes.size());
        EXPECT_EQ(c.records.size(), damage.records) << damage.problem;
        ASSERT_EQ(c.problems.size(), 1u) << damage.problem;
        EXPECT_NE(c.problems[0].message.find(damage.problem), std::string::npos) << c.problems[0].message;
        for (const auto& r : c.records) EXPECT_LE(r.data + r.data_length, bytes.data() + bytes.size());
    }
}

using zeva::test::CliRun;
using zeva::test::runCliApart;

TEST(SteimCommand, FramesAndMiniseedFiles) {
    Frames f;
    f.frame().x0(-3).add(bytes4(1, 2, 3, -4)).add(steim2(2, 1, 30, {16777219}));
    fs::path native = writeTemp("frames-native", f.bytes(swapFor(true) == 0));
    CliRun s2 = runCliApart("steim " + native.string() + " --encoding 11 --samples 7");
    EXPECT_EQ(s2.status, 0);
    EXPECT_EQ(s2.out, "-3\n-1\n2\n-2\n16777216\n0\n0\n");  // 16777217 as its nearest float
    EXPECT_NE(s2.err.find("Lost values will be Padded with Zeros"), std::string::npos);
    EXPECT_EQ(runCliApart("steim " + native.string() + " --encoding 12 --samples 3").status, 2);

    std::vector<unsigned char> bytes = pack(ramp(1200), 10, false);
    std::vector<unsigned char> second = pack(ramp(300), 11, true);
    second[48 + 4] = 3;  // blockette 1000 says 32-bit integers: not Steim
    bytes.insert(bytes.end(), second.begin(), second.end());
    fs::path records = writeTemp("records", bytes);
    CliRun r = runCliApart("steim --mseed " + records.string());
    EXPECT_EQ(r.status, 0);
    std::string want;
    for (int32_t v : ramp(1200)) want += std::to_string(v) + "\n";
    EXPECT_EQ(r.out, want);
    EXPECT_NE(r.err.find("encoding 3 is not Steim, skipped"), std::string::npos) << r.err;
    for (const fs::path& p : {native, records}) fs::remove(p);
}

TEST(SeismogramCommand, SummariesSamplesArchiveAndPlot) {
    const std::vector<unsigned char> bytes = packedFile();
    fs::path file = writeTemp("seismograms", bytes), archive = writeTemp("seismograms-archive", {});
    fs::path image = fs::temp_directory_path() / ("zeva-seismogram-" + std::to_string(::getpid()) + ".png");
    CliRun r = runCliApart("seismogram " + file.string() + " --samples --save " + archive.string() + " --plot " +
                           image.string() + " --size 640x360");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    auto read = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    std::string want;
    for (const auto& s : read.seismograms) {
        double low = 1e9, high = -1e9, sum = 0;
        for (float v : s->samples()) low = std::min<double>(low, v), high = std::max<double>(high, v), sum += v;
        want += fmt::format("{}\n{} samples, 100 Hz, min {:.9g}, max {:.9g}, mean {:.9g}\n", s->shortDescription(),
                            s->samples().size(), low, high, sum / static_cast<double>(s->samples().size()));
        for (float v : s->samples()) want += fmt::format("{:.9g}\n", v);
    }
    EXPECT_EQ(r.out, want);

    auto saved = std::dynamic_pointer_cast<zeva::Array>(zeva::unarchiveObjectWithFile(archive.string()));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->count(), 3u);
    EXPECT_TRUE(saved->objectAtIndexAs<ZEVALocalSeismogram>(2));
    EXPECT_EQ(zeva::test::readFile(image).substr(12, 12), std::string("IHDR\0\0\x02\x80\0\0\x01\x68", 12));  // 640 by 360
    for (const fs::path& p : {file, archive, image}) fs::remove(p);
}

TEST(SeismogramCommand, MissingAndDamagedFiles) {
    std::vector<unsigned char> bytes = packedFile();
    std::vector<unsigned char> damaged(bytes.begin(), bytes.begin() + 512);
    damaged.insert(damaged.end(), 200, 'x');                              // not a record
    damaged.insert(damaged.end(), bytes.begin() + 512, bytes.end() - 100);  // the last record cut short
    fs::path part = writeTemp("damaged", damaged);
    struct Row {
        std::string args;
        int status;
        std::vector<std::string> errors;
    } rows[] = {
        {"/nonexistent/file.mseed", 1, {"zeva seismogram: there is no file /nonexistent/file.mseed\n"}},
        {part.string(), 0, {"bytes 512 to 712: no miniSEED record header, skipped", "runs past the end"}},
        {part.string() + " --plot plot.gif", 2, {"must end in .png or .svg"}},
    };
    for (const Row& row : rows) {
        CliRun r = runCliApart("seismogram " + row.args);
        EXPECT_EQ(r.status, row.status) << row.args << "\n" << r.err;
        for (const std::string& e : row.errors) EXPECT_NE(r.err.find(e), std::string::npos) << row.args << "\n" << r.err;
    }
    fs::remove(part);
}

}  // namespace
