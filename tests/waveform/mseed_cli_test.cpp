// The miniSEED record scanner on damaged files, `zeva steim` in both of its
// forms, and `zeva seismogram`.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fmt/core.h>

#include <malloc.h>
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

// What the reader keeps per byte of input, in its worst cases: records of
// the smallest length (128 bytes) each starting a seismogram of its own, and
// 4096-byte records of the densest Steim-2 (seven differences a word) in one
// seismogram, each sample a float and an exact count. The README promises at
// most 40 bytes per input byte; the heap in use (glibc's count, which a
// sanitizer's allocator leaves at rest) grows by no more.
TEST(MseedReader, MemoryPerInputByteInTheWorstCases) {
    std::vector<int32_t> dense;
    for (int i = 0; i < 60000; i++) dense.push_back((i * 5) % 8 - 4);
    for (int reclen : {128, 4096}) {
        MSRecord* msr = msr_init(nullptr);
        std::strcpy(msr->network, "XX"), std::strcpy(msr->station, "ZEVA"), std::strcpy(msr->channel, "BHZ");
        msr->dataquality = 'D', msr->samprate = 100.0, msr->reclen = reclen, msr->encoding = 11, msr->byteorder = 1;
        msr->datasamples = dense.data(), msr->numsamples = static_cast<int64_t>(dense.size()), msr->sampletype = 'i';
        std::vector<unsigned char> bytes;
        int64_t packed = 0;
        msr_pack(msr, [](char* r, int n, void* out) { static_cast<std::vector<unsigned char>*>(out)->insert(
                          static_cast<std::vector<unsigned char>*>(out)->end(), r, r + n); },
                 &bytes, &packed, 1, 0);
        msr->datasamples = nullptr;
        msr_free(&msr);
        if (reclen == 128)  // every other record on channel BHA: one seismogram per record
            for (size_t at = 0; at + 128 <= bytes.size(); at += 256) bytes[at + 17] = 'A';
        const auto inUse = [] { const auto m = mallinfo2(); return m.uordblks + m.hblkhd; };
        const size_t before = inUse();
        auto read = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
        const size_t grown = inUse() - std::min(inUse(), before);
        EXPECT_EQ(read.seismograms.size(), reclen == 128 ? bytes.size() / 128 : 1u);
        EXPECT_LE(grown, 40 * bytes.size()) << reclen;
    }
}

// Every input a fuzzer crashed on, read from a buffer of exactly its size
// (so that the sanitizer build sees a read past it): each is refused where
// it is damaged, with its reason naming the blockette, and never reaches
// libmseed's parser with a blockette chain it would follow out of the record
// (the good records beside the damaged one are read).
TEST(MseedReader, InputsFuzzersCrashedOn) {
    std::vector<fs::path> inputs;
    for (const auto& e : fs::directory_iterator(fs::path(ZEVA_SOURCE_DIR) / "fuzz/crashers/mseed"))
        inputs.push_back(e.path());
    const fs::path hostile = fs::path(ZEVA_SHARED_DATA_DIR) / "hostile/mseed-blockette-past-record.bin";
    if (fs::exists(hostile)) inputs.push_back(hostile);
    else std::fprintf(stderr, "no %s; only the committed crashers are read\n", hostile.c_str());
    ASSERT_FALSE(inputs.empty());
    for (const fs::path& input : inputs) {
        const std::string text = zeva::test::readFile(input);
        std::vector<unsigned char> bytes(text.begin(), text.end());
        auto read = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
        ASSERT_FALSE(read.problems.empty()) << input;
        bool named = false;
        for (const auto& p : read.problems) named = named || p.message.find("blockette") != std::string::npos;
        // A refusal right after skipped bytes is told as part of that skip (the
        // hostile file's, and the short blockette 2000 after a good record).
        EXPECT_TRUE(named || input == hostile || read.records > 0) << input;
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
        ASSERT_EQ(s->counts().size(), s->samples().size());
        const auto [low, high] = std::minmax_element(s->counts().begin(), s->counts().end());
        double sum = 0;
        for (int32_t v : s->counts()) sum += v;
        // The channel in full before the model's own short text.
        const std::string name = "XX.ZEVA." + zeva::textOf(s->_channel_id()->_site_code()) + "." +
                                 zeva::textOf(s->_channel_id()->_channel_code());
        want += fmt::format("{}  -  {}\n{} samples from {}, 100 Hz, min {}, max {}, mean {:.9g}\n", name,
                            s->shortDescription(),
                            s->samples().size(), zeva::Date::isoText(s->_begin_time()->epochTime()), *low, *high,
                            sum / static_cast<double>(s->samples().size()));
        for (int32_t v : s->counts()) want += fmt::format("{}\n", v);
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
