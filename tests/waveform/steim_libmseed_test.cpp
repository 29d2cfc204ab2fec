// The Steim decoders against libmseed, an independent decoder: every record
// of the shared real-data files, and records that libmseed's own packer
// makes from a generated signal in both encodings and byte orders.
#include <gtest/gtest.h>

#include <libmseed.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "steim_support.hpp"
#include "zeva/waveform/mseed_reader.hpp"

// Exported by libmseed 2.19 but not declared in its header.
extern "C" int msr_decode_steim1(int32_t* input, int inputlength, int samplecount, int32_t* output, int outputlength,
                                 char* srcname, int swapflag);
extern "C" int msr_decode_steim2(int32_t* input, int inputlength, int samplecount, int32_t* output, int outputlength,
                                 char* srcname, int swapflag);

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

const fs::path kData = fs::path(ZEVA_SHARED_DATA_DIR) / "mseed";

std::vector<unsigned char> slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// libmseed's decoding of a data section, into int32 samples.
std::vector<int32_t> libmseedDecode(int encoding, const unsigned char* data, int32_t length, int32_t samples,
                                    int8_t swap) {
    std::vector<int32_t> words((static_cast<size_t>(length) + 3) / 4);
    std::memcpy(words.data(), data, static_cast<size_t>(length));
    std::vector<int32_t> out(static_cast<size_t>(samples));
    char name[] = "zeva-test";
    int n = encoding == 10 ? msr_decode_steim1(words.data(), length, samples, out.data(), samples, name, swap)
                           : msr_decode_steim2(words.data(), length, samples, out.data(), samples, name, swap);
    EXPECT_EQ(n, samples) << "libmseed could not decode the record";
    return out;
}

// Decodes one record with our functions (every path, checked to agree) and
// compares each sample with the float nearest to libmseed's integer.
void compareRecord(const zeva::mseed::Record& r, const std::string& what) {
    ASSERT_TRUE(r.encoding == 10 || r.encoding == 11) << what;
    int8_t swap = zeva::mseed::steimSwapFlag(r);
    std::vector<unsigned char> section(r.data, r.data + r.data_length);
    Decoded ours = decode(r.encoding, section, swap, r.samples);
    std::vector<int32_t> theirs = libmseedDecode(r.encoding, r.data, r.data_length, r.samples, swap);
    for (int32_t i = 0; i < r.samples; i++)
        ASSERT_EQ(ours.samples[static_cast<size_t>(i)], static_cast<float>(theirs[static_cast<size_t>(i)]))
            << what << ", sample " << i;
    EXPECT_EQ(ours.warnings, "") << what;
}

TEST(SteimRealData, EveryRecordMatchesLibmseed) {
    if (!fs::is_directory(kData)) GTEST_SKIP() << "no shared miniSEED data at " << kData;
    int files = 0;
    int64_t samples = 0;
    for (const auto& entry : fs::directory_iterator(kData)) {
        if (entry.path().extension() == ".md") continue;
        files++;
        std::string name = entry.path().filename().string();
        std::vector<unsigned char> bytes = slurp(entry.path());
        zeva::mseed::Contents ours = zeva::mseed::readRecords(bytes);
        EXPECT_TRUE(ours.problems.empty()) << name << ": " << ours.problems.front().message;

        // libmseed reads the file on its own; records must correspond.
        MSFileParam* fp = nullptr;
        MSRecord* msr = nullptr;
        size_t index = 0;
        while (ms_readmsr_r(&fp, &msr, entry.path().c_str(), -1, nullptr, nullptr, 1, 1, 0) == MS_NOERROR) {
            std::string what = name + " record " + std::to_string(index);
            ASSERT_LT(index, ours.records.size()) << what;
            const zeva::mseed::Record& r = ours.records[index++];
            EXPECT_EQ(r.length, msr->reclen) << what;
            EXPECT_EQ(r.samples, msr->samplecnt) << what;
            EXPECT_EQ(r.encoding, msr->encoding) << what;
            ASSERT_EQ(msr->sampletype, 'i') << what;
            // libmseed found the frames on its own: this also checks where
            // our reader says they start and in which byte order.
            const int32_t* theirs = static_cast<const int32_t*>(msr->datasamples);
            std::vector<unsigned char> section(r.data, r.data + r.data_length);
            Decoded d = decode(r.encoding, section, zeva::mseed::steimSwapFlag(r), r.samples);
            for (int64_t i = 0; i < msr->numsamples; i++)
                ASSERT_EQ(d.samples[static_cast<size_t>(i)], static_cast<float>(theirs[i])) << what << " sample " << i;
            samples += msr->numsamples;
        }
        ms_readmsr_r(&fp, &msr, nullptr, 0, nullptr, nullptr, 0, 0, 0);
        EXPECT_EQ(index, ours.records.size()) << name;
    }
    EXPECT_EQ(files, 17);
    EXPECT_EQ(samples, 77368);
}

TEST(SteimRoundTrip, LibmseedPackedRecordsDecodeToTheSignal) {
    for (int encoding : {10, 11}) {
        // Steim-2 holds differences of at most 30 bits.
        std::vector<int32_t> s = signal(30000, encoding == 10 ? 1 << 30 : (1 << 28), 5u + encoding);
        for (bool big : {true, false}) {
            SCOPED_TRACE(std::to_string(encoding) + (big ? " big-endian" : " little-endian"));
            std::vector<unsigned char> bytes = pack(s, encoding, big);
            zeva::mseed::Contents c = zeva::mseed::readRecords(bytes);
            ASSERT_TRUE(c.problems.empty());
            std::vector<float> all;
            for (const auto& r : c.records) {
                EXPECT_EQ(r.encoding, encoding);
                EXPECT_EQ(r.data_big_endian, big);
                compareRecord(r, "record at " + std::to_string(r.offset));
                std::vector<unsigned char> section(r.data, r.data + r.data_length);
                Decoded d = decode(encoding, section, zeva::mseed::steimSwapFlag(r), r.samples);
                all.insert(all.end(), d.samples.begin(), d.samples.begin() + r.samples);
            }
            ASSERT_EQ(all.size(), s.size());
            for (size_t i = 0; i < s.size(); i++) ASSERT_EQ(all[i], static_cast<float>(s[i])) << "sample " << i;
        }
    }
}

}  // namespace
