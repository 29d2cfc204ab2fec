// The Steim decoders against libmseed, an independent implementation: every
// record of the shared real-data files, and records that libmseed's own
// packer makes from a generated signal in both encodings and byte orders.
#include <gtest/gtest.h>

#include <libmseed.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <fmt/core.h>

#include "steim_support.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/MiniSEEDRecords.hpp"

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

// Our decoding (every path, checked to agree) of a record's samples.
std::vector<float> samplesOf(const zeva::miniseed::Record& r) {
    Decoded d = decode(r.encoding, {r.data, r.data + r.data_length}, zeva::miniseed::swapFlagFor(r.little_endian), r.samples);
    EXPECT_EQ(d.warnings, "");
    return {d.samples.begin(), d.samples.begin() + r.samples};
}

// Our seismograms of a file against the traces libmseed builds from the
// same records with its own decoding and its default joining (half a sample
// of tolerance): the same runs, start times and samples.
void expectSeismogramsMatchLibmseedTraces(const fs::path& path, const std::vector<unsigned char>& bytes) {
    const std::string name = path.filename().string();
    auto ours = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    EXPECT_TRUE(ours.problems.empty() && ours.notices.empty()) << name;
    MSTraceGroup* group = nullptr;
    ASSERT_EQ(ms_readtraces(&group, path.c_str(), -1, -1.0, -1.0, 0, 1, 1, 0), MS_NOERROR);
    size_t i = 0;
    for (MSTrace* t = group->traces; t; t = t->next, i++) {
        ASSERT_LT(i, ours.seismograms.size()) << name;
        const auto& s = ours.seismograms[i];
        std::string what = name + " trace " + std::to_string(i);
        EXPECT_EQ(zeva::textOf(s->_id()).substr(0, zeva::textOf(s->_id()).find(' ')),
                  fmt::format("{}.{}.{}.{}", t->network, t->station, t->location, t->channel)) << what;
        EXPECT_NEAR(s->_begin_time()->epochTime(), static_cast<double>(t->starttime) / 1e6, 1e-6) << what;
        EXPECT_FLOAT_EQ(1.0f / s->sampleInterval(), static_cast<float>(t->samprate)) << what;
        ASSERT_EQ(t->sampletype, 'i') << what;
        ASSERT_EQ(static_cast<int64_t>(s->samples().size()), t->numsamples) << what;
        for (int64_t k = 0; k < t->numsamples; k++)
            ASSERT_EQ(s->samples()[static_cast<size_t>(k)], static_cast<float>(static_cast<const int32_t*>(t->datasamples)[k]))
                << what << " sample " << k;
    }
    EXPECT_EQ(i, ours.seismograms.size()) << name;
    mst_freegroup(&group);
}

TEST(SteimRealData, EveryRecordMatchesLibmseed) {
    const fs::path dir = fs::path(ZEVA_SHARED_DATA_DIR) / "mseed";
    if (!fs::is_directory(dir)) GTEST_SKIP() << "no shared miniSEED data at " << dir;
    int files = 0;
    int64_t samples = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        if (entry.path().extension() == ".md") continue;
        files++;
        std::string name = entry.path().filename().string();
        std::ifstream in(entry.path(), std::ios::binary);
        std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        zeva::miniseed::Contents ours = zeva::miniseed::scanRecords(bytes.data(), bytes.size());
        EXPECT_TRUE(ours.problems.empty()) << name << ": " << ours.problems.front().message;
        // libmseed reads the file on its own and finds the frames itself, so
        // this also checks where our reader says they start and their order.
        MSFileParam* fp = nullptr;
        MSRecord* msr = nullptr;
        size_t index = 0;
        while (ms_readmsr_r(&fp, &msr, entry.path().c_str(), -1, nullptr, nullptr, 1, 1, 0) == MS_NOERROR) {
            std::string what = name + " record " + std::to_string(index);
            ASSERT_LT(index, ours.records.size()) << what;
            const zeva::miniseed::Record& r = ours.records[index++];
            EXPECT_EQ(r.length, msr->reclen) << what;
            EXPECT_EQ(r.samples, msr->samplecnt) << what;
            EXPECT_EQ(r.encoding, msr->encoding) << what;
            ASSERT_EQ(msr->sampletype, 'i') << what;
            ASSERT_EQ(msr->numsamples, r.samples) << what;
            std::vector<float> d = samplesOf(r);
            for (int64_t i = 0; i < msr->numsamples; i++)
                ASSERT_EQ(d[i], static_cast<float>(static_cast<const int32_t*>(msr->datasamples)[i])) << what << " " << i;
            samples += msr->numsamples;
        }
        ms_readmsr_r(&fp, &msr, nullptr, 0, nullptr, nullptr, 0, 0, 0);
        EXPECT_EQ(index, ours.records.size()) << name;
        expectSeismogramsMatchLibmseedTraces(entry.path(), bytes);
    }
    EXPECT_EQ(files, 17);
    EXPECT_EQ(samples, 77368);
}

// A signal in which every word kind occurs: a random walk, two sines, spikes
// and large glitches up to `limit`, packed by libmseed and decoded back by us
// and by libmseed.
TEST(SteimRoundTrip, LibmseedPackedRecordsDecodeToTheSignal) {
    for (int encoding : {10, 11}) {
        std::mt19937 rng(5u + encoding);
        int32_t limit = encoding == 10 ? 1 << 30 : 1 << 28;  // Steim-2 differences hold 30 bits
        std::vector<int32_t> s(30000);
        double walk = 0;
        for (size_t i = 0; i < s.size(); i++) {
            walk += std::normal_distribution<double>(0, 3)(rng);
            double v = walk + 400 * std::sin(i * 0.05) + 20000 * std::sin(i * 0.0031);
            if (rng() % 97 == 0) v += std::uniform_int_distribution<int>(-60000, 60000)(rng);
            if (rng() % 1013 == 0) v += std::uniform_int_distribution<int32_t>(-limit, limit)(rng);
            s[i] = i < 20 ? static_cast<int32_t>(i % 3) : static_cast<int32_t>(v);  // the smallest words too
        }
        for (bool big : {true, false}) {
            std::vector<unsigned char> bytes = pack(s, encoding, big);
            zeva::miniseed::Contents c = zeva::miniseed::scanRecords(bytes.data(), bytes.size());
            ASSERT_TRUE(c.problems.empty());
            std::vector<float> all;
            for (const auto& r : c.records) {
                EXPECT_EQ(r.encoding, encoding);
                EXPECT_EQ(r.little_endian, !big);
                std::vector<float> d = samplesOf(r);
                // libmseed's own decoders on the same record agree sample for sample.
                MSRecord* msr = nullptr;
                ASSERT_EQ(msr_parse(reinterpret_cast<char*>(bytes.data() + r.offset), r.length, &msr, r.length, 1, 0),
                          MS_NOERROR);
                ASSERT_EQ(msr->numsamples, static_cast<int64_t>(d.size()));
                for (size_t i = 0; i < d.size(); i++)
                    ASSERT_EQ(d[i], static_cast<float>(static_cast<const int32_t*>(msr->datasamples)[i])) << i;
                msr_free(&msr);
                all.insert(all.end(), d.begin(), d.end());
            }
            ASSERT_EQ(all.size(), s.size());
            for (size_t i = 0; i < s.size(); i++)
                ASSERT_EQ(all[i], static_cast<float>(s[i])) << encoding << (big ? " big" : " little") << " " << i;
        }
    }
}

}  // namespace
