// The miniSEED record reader on damaged files, and `zeva steim` in both of
// its forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/wait.h>
#include <unistd.h>

#include "steim_support.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

std::vector<int32_t> ramp(int n) {
    std::vector<int32_t> s;
    for (int i = 0; i < n; i++) s.push_back((i * 37) % 1001 - 500);
    return s;
}

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
        for (const auto& r : c.records) {
            EXPECT_EQ(r.source(), "XX.ZEVA..BHZ");
            EXPECT_LE(r.data + r.data_length, bytes.data() + bytes.size());
        }
    }
}

struct CliRun {
    int status;
    std::string out, err;
};

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

CliRun cli(const std::string& arguments) {
    fs::path out = fs::temp_directory_path() / ("zeva-steim-out-" + std::to_string(::getpid()));
    fs::path err = fs::temp_directory_path() / ("zeva-steim-err-" + std::to_string(::getpid()));
    int status = std::system((std::string(ZEVA_CLI_PATH) + " steim " + arguments + " >" + out.string() + " 2>" +
                              err.string()).c_str());
    CliRun r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
    fs::remove(out);
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
    fs::path native = writeTemp("frames-native", f.bytes(swapFor(true) == 0));
    fs::path foreign = writeTemp("frames-foreign", f.bytes(swapFor(true) == 1));
    CliRun s2 = cli(native.string() + " --encoding 11 --samples 7");
    EXPECT_EQ(s2.status, 0);
    EXPECT_EQ(s2.out, "-3\n-1\n2\n-2\n16777216\n0\n0\n");  // 16777217 as its nearest float
    EXPECT_NE(s2.err.find("Lost values will be Padded with Zeros"), std::string::npos);
    EXPECT_EQ(cli(foreign.string() + " --samples 7 --swap --encoding 11").out, s2.out);
    EXPECT_EQ(cli(native.string() + " --encoding 10 --samples 3").out, "-3\n-1\n2\n");
    for (const char* bad : {"--encoding 12 --samples 3", "--samples 3", "--encoding 10", "--encoding 10 --samples -1",
                            "--encoding 10 --samples 3 extra"}) {
        CliRun r = cli(native.string() + " " + bad);
        EXPECT_EQ(r.status, 2) << bad;
        EXPECT_EQ(r.out, "") << bad;
    }
    EXPECT_EQ(cli("/nonexistent/file --encoding 10 --samples 1").status, 1);
    fs::remove(native);
    fs::remove(foreign);
}

TEST(SteimCommand, DecodesTheSteimRecordsOfAMiniseedFile) {
    std::vector<unsigned char> bytes = pack(ramp(1200), 10, false);
    std::vector<unsigned char> second = pack(ramp(300), 11, true);
    second[48 + 4] = 3;  // blockette 1000 says 32-bit integers: not Steim
    bytes.insert(bytes.end(), second.begin(), second.end());
    bytes.insert(bytes.end(), 64, 'z');
    fs::path p = writeTemp("records", bytes);
    CliRun r = cli("--mseed " + p.string());
    EXPECT_EQ(cli("--mseed " + p.string() + " --swap").status, 2);
    fs::remove(p);
    EXPECT_EQ(r.status, 0);
    std::string want;
    for (int32_t v : ramp(1200)) want += std::to_string(v) + "\n";
    EXPECT_EQ(r.out, want);
    EXPECT_NE(r.err.find("encoding 3 is not Steim, skipped"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("no miniSEED record header, skipped"), std::string::npos) << r.err;
}

}  // namespace
