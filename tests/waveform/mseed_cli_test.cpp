// The miniSEED record reader on damaged files, and `zeva steim` in both of
// its forms.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

#include "steim_support.hpp"
#include "zeva/waveform/mseed_reader.hpp"

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

std::vector<int32_t> ramp(int n) {
    std::vector<int32_t> s(static_cast<size_t>(n));
    for (int i = 0; i < n; i++) s[static_cast<size_t>(i)] = (i * 37) % 1001 - 500;
    return s;
}

struct Damage {
    const char* name;
    void (*apply)(std::vector<unsigned char>& bytes);  // three 512-byte records to start with
    size_t records;                                    // read afterwards
    const char* problem;                               // part of the one problem reported
};

class ReaderDamage : public testing::TestWithParam<Damage> {};

TEST_P(ReaderDamage, ReportsAndSkips) {
    const Damage& d = GetParam();
    std::vector<unsigned char> bytes = pack(ramp(1500), 11, true);
    ASSERT_GE(bytes.size(), 3u * 512);
    bytes.resize(3 * 512);
    d.apply(bytes);
    zeva::mseed::Contents c = zeva::mseed::readRecords(bytes);
    EXPECT_EQ(c.records.size(), d.records);
    ASSERT_EQ(c.problems.size(), 1u);
    EXPECT_NE(c.problems[0].message.find(d.problem), std::string::npos) << c.problems[0].message;
    for (const auto& r : c.records) {
        EXPECT_EQ(r.source, "XX.ZEVA..BHZ");
        EXPECT_LE(r.data + r.data_length, bytes.data() + bytes.size());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, ReaderDamage,
    testing::Values(
        Damage{"cut_short", [](std::vector<unsigned char>& b) { b.resize(b.size() - 100); }, 2, "past the end"},
        Damage{"garbage_first", [](std::vector<unsigned char>& b) { b.insert(b.begin(), 128, 'x'); }, 3,
               "no miniSEED record header"},
        Damage{"data_offset_outside",
               [](std::vector<unsigned char>& b) {
                   b[512 + 44] = 0x02;  // 512 + 44: data offset of the second record, big-endian
                   b[512 + 45] = 0x00;
               },
               2, "data offset 512"},
        Damage{"odd_record_length", [](std::vector<unsigned char>& b) { b[1024 + 48 + 6] = 30; }, 2, "2^30"}),
    [](const testing::TestParamInfo<Damage>& i) { return std::string(i.param.name); });

struct CliRun {
    int status;
    std::string out, err;
};

CliRun cli(const std::string& arguments) {
    fs::path err = fs::temp_directory_path() / ("zeva-steim-err-" + std::to_string(::getpid()));
    std::string command = std::string(ZEVA_CLI_PATH) + " steim " + arguments + " 2>" + err.string();
    CliRun r{};
    FILE* p = ::popen(command.c_str(), "r");
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, p)) > 0) r.out.append(buffer, n);
    int status = ::pclose(p);
    r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream e(err);
    std::stringstream ss;
    ss << e.rdbuf();
    r.err = ss.str();
    fs::remove(err);
    return r;
}

fs::path writeTemp(const std::string& name, const std::vector<unsigned char>& bytes) {
    fs::path p = fs::temp_directory_path() / (name + "-" + std::to_string(::getpid()));
    std::ofstream(p, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                              static_cast<std::streamsize>(bytes.size()));
    return p;
}

TEST(SteimCommand, DecodesFramesOfAFile) {
    Frames f;
    f.frame().x0(-3).add(bytes4(1, 2, 3, -4)).add(steim2(2, 1, 30, {16777219}));
    fs::path little = writeTemp("frames-le", f.bytes(false));
    fs::path big = writeTemp("frames-be", f.bytes(true));
    const std::string native = swapFor(true) ? little.string() : big.string();
    const std::string foreign = swapFor(true) ? big.string() : little.string();

    CliRun s2 = cli(native + " --encoding 11 --samples 7");
    EXPECT_EQ(s2.status, 0);
    EXPECT_EQ(s2.out, "-3\n-1\n2\n-2\n16777216\n0\n0\n");  // 16777217 as its nearest float
    EXPECT_NE(s2.err.find("Lost values will be Padded with Zeros"), std::string::npos);
    CliRun swapped = cli(foreign + " --samples 7 --swap --encoding 11");
    EXPECT_EQ(swapped.out, s2.out);
    EXPECT_EQ(cli(native + " --encoding 10 --samples 3").out, "-3\n-1\n2\n");

    for (const char* bad : {"--encoding 12 --samples 3", "--samples 3", "--encoding 10", "--encoding 10 --samples -1",
                            "--encoding 10 --samples 3 extra"}) {
        CliRun r = cli(native + " " + bad);
        EXPECT_EQ(r.status, 2) << bad;
        EXPECT_EQ(r.out, "") << bad;
    }
    EXPECT_EQ(cli("/nonexistent/file --encoding 10 --samples 1").status, 1);
    fs::remove(little);
    fs::remove(big);
}

TEST(SteimCommand, DecodesTheSteimRecordsOfAMiniseedFile) {
    std::vector<int32_t> samples = ramp(1200);
    std::vector<unsigned char> bytes = pack(samples, 10, false);
    std::vector<unsigned char> second = pack(ramp(300), 11, true);
    second[48 + 4] = 3;  // blockette 1000 says 32-bit integers: not Steim
    bytes.insert(bytes.end(), second.begin(), second.end());
    bytes.insert(bytes.end(), 64, 'z');
    fs::path p = writeTemp("records", bytes);
    CliRun r = cli("--mseed " + p.string());
    fs::remove(p);
    EXPECT_EQ(r.status, 0);
    std::string want;
    for (int32_t v : samples) want += std::to_string(v) + "\n";
    EXPECT_EQ(r.out, want);
    EXPECT_NE(r.err.find("encoding 3 is not Steim, skipped"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("no miniSEED record header, skipped"), std::string::npos) << r.err;
    EXPECT_EQ(cli("--mseed " + p.string() + " --swap").status, 2);
}

}  // namespace
