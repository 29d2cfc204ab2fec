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
            compareRecord(r, what);
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

// A signal in which every word kind occurs: a random walk, two sines,
// spikes and large glitches. `limit` bounds the differences.
std::vector<int32_t> signal(size_t n, int32_t limit, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<int32_t> s(n);
    double walk = 0;
    for (size_t i = 0; i < n; i++) {
        walk += std::normal_distribution<double>(0, 3)(rng);
        double v = walk + 400 * std::sin(i * 0.05) + 20000 * std::sin(i * 0.0031);
        if (rng() % 97 == 0) v += std::uniform_int_distribution<int>(-60000, 60000)(rng);
        if (rng() % 1013 == 0) v += std::uniform_int_distribution<int32_t>(-limit, limit)(rng);
        s[i] = static_cast<int32_t>(v);
    }
    for (size_t i = 0; i < 20; i++) s[i] = static_cast<int32_t>(i % 3);  // the smallest words too
    return s;
}

void collect(char* record, int length, void* sink) {
    auto* bytes = static_cast<std::vector<unsigned char>*>(sink);
    bytes->insert(bytes->end(), record, record + length);
}

std::vector<unsigned char> pack(const std::vector<int32_t>& samples, int encoding, bool big_endian) {
    std::vector<unsigned char> bytes;
    MSRecord* msr = msr_init(nullptr);
    std::strcpy(msr->network, "XX");
    std::strcpy(msr->station, "ZEVA");
    std::strcpy(msr->channel, "BHZ");
    msr->dataquality = 'D';
    msr->starttime = ms_timestr2hptime(const_cast<char*>("2020-01-01T00:00:00"));
    msr->samprate = 100.0;
    msr->reclen = 512;
    msr->encoding = static_cast<int8_t>(encoding);
    msr->byteorder = big_endian ? 1 : 0;
    std::vector<int32_t> copy = samples;
    msr->datasamples = copy.data();
    msr->numsamples = static_cast<int64_t>(copy.size());
    msr->sampletype = 'i';
    int64_t packed = 0;
    int records = msr_pack(msr, collect, &bytes, &packed, 1, 0);
    EXPECT_GT(records, 0);
    EXPECT_EQ(packed, static_cast<int64_t>(samples.size()));
    msr->datasamples = nullptr;
    msr_free(&msr);
    return bytes;
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
