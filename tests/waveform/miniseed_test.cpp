// Seismograms read from miniSEED against libmseed, an independent
// implementation, on every shared real-data file; a file libmseed packs of
// two channels with a gap, both encodings and both word orders; its plot.
#include <gtest/gtest.h>

#include <cairo.h>
#include <libmseed.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>
#include <memory>
#include <tuple>

#include <fmt/core.h>
#include <unistd.h>

#include "steim_support.hpp"
#include "support/run_cli.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace fs = std::filesystem;
using namespace steimtest;

namespace {

// Our seismograms of every shared miniSEED file against the traces libmseed
// builds from the same records with its own decoding and its default joining
// (half a sample of tolerance): the same runs, codes and rates, the start to
// the microsecond (in the instant, and as `zeva seismogram` prints it), and
// the samples exactly, as integer counts and as the floats nearest to them.
TEST(MiniSEED, EverySharedFileMatchesLibmseed) {
    const fs::path data(ZEVA_SHARED_DATA_DIR);
    if (!fs::is_directory(data / "mseed")) GTEST_SKIP() << "no shared miniSEED data at " << data;
    std::vector<fs::path> paths;
    for (const char* dir : {"mseed", "fdsn", "response"})
        if (fs::is_directory(data / dir))
            for (const auto& entry : fs::directory_iterator(data / dir))
                if (entry.path().extension() != ".md" && (std::string(dir) == "mseed" || entry.path().extension() == ".mseed"))
                    paths.push_back(entry.path());
    int files = 0;
    size_t samples = 0;
    for (const fs::path& path : paths) {
        SCOPED_TRACE(path);
        files++;
        auto read = zeva::miniseed::readSeismogramsFromFile(path.string());
        ASSERT_TRUE(read);
        EXPECT_TRUE(read->problems.empty() && read->notices.empty());
        const std::string printed = zeva::test::runCliApart("seismogram " + path.string()).out;
        MSTraceGroup* group = nullptr;
        ASSERT_EQ(ms_readtraces(&group, path.c_str(), -1, -1.0, -1.0, 0, 1, 1, 0), MS_NOERROR);
        size_t i = 0, line = 0;
        for (MSTrace* t = group->traces; t; t = t->next, i++) {
            ASSERT_LT(i, read->seismograms.size());
            const auto& s = read->seismograms[i];
            EXPECT_EQ(zeva::textOf(s->_id()).substr(0, zeva::textOf(s->_id()).find(' ')),
                      fmt::format("{}.{}.{}.{}", t->network, t->station, t->location, t->channel)) << i;
            EXPECT_EQ(std::llround(s->_begin_time()->epochTime() * 1e6), t->starttime) << i;
            EXPECT_EQ(std::llround(s->_begin_time()->nsDate()->timeIntervalSince1970() * 1e6), t->starttime) << i;
            char iso[40];
            ms_hptime2isotimestr(t->starttime, iso, 1);
            line = printed.find(" samples from ", line);
            ASSERT_NE(line, std::string::npos) << printed;
            line += 14;
            EXPECT_EQ(printed.substr(line, printed.find('Z', line) - line), iso) << i;
            EXPECT_FLOAT_EQ(1.0f / s->sampleInterval(), static_cast<float>(t->samprate)) << i;
            ASSERT_EQ(t->sampletype, 'i') << i;
            ASSERT_EQ(static_cast<int64_t>(s->samples().size()), t->numsamples) << i;
            ASSERT_EQ(static_cast<int64_t>(s->counts().size()), t->numsamples) << i;
            const auto* want = static_cast<const int32_t*>(t->datasamples);
            for (size_t k = 0; k < s->counts().size(); k++) {
                ASSERT_EQ(s->counts()[k], want[k]) << i << " sample " << k;
                ASSERT_EQ(s->samples()[k], static_cast<float>(want[k])) << i << " sample " << k;
            }
            samples += s->samples().size();
        }
        EXPECT_EQ(i, read->seismograms.size());
        mst_freegroup(&group);
    }
    EXPECT_GE(files, 17);
    EXPECT_GE(samples, 77368u);
}

// Every encoding we decode, packed by libmseed in both word orders, reads
// back sample for sample: integers exactly as counts (beyond 2^24 too),
// 32-bit floats bit for bit, 64-bit floats exactly beside their floats.
TEST(MiniSEED, EveryEncodingInBothByteOrders) {
    std::vector<int32_t> ints = ramp(700, 3);
    ints[10] = 32767, ints[11] = -32768;
    // Beyond 2^24, in steps Steim-2's 30-bit differences can take.
    std::vector<int32_t> wide = ints;
    const int32_t large[] = {300000001, 600000003, 866584865,  600000005,  300000007,  16777217,
                           -16777217, -300000001, -600000003, -866584864, -600000000, -300000000};
    for (size_t k = 0; k < std::size(large); k++) wide.at(20 + k) = large[k];
    std::vector<int32_t> extreme = wide;
    extreme[40] = INT32_MAX, extreme[41] = INT32_MIN;
    std::vector<float> floats;
    std::vector<double> doubles;
    for (int i = 0; i < 700; i++) {
        floats.push_back(static_cast<float>(i) * 0.1f - 3.0f);
        doubles.push_back(static_cast<double>(i) * 0.1 - 1e-300 * i);
    }
    floats[5] = -3.4e38f, floats[6] = 1e-40f, doubles[5] = 1e300, doubles[6] = -2.5e-310;
    struct Row {
        int encoding;
        char type;
        void* samples;
    } rows[] = {{1, 'i', ints.data()},     {3, 'i', extreme.data()}, {10, 'i', wide.data()},
                {11, 'i', wide.data()},    {4, 'f', floats.data()},  {5, 'd', doubles.data()}};
    for (const Row& row : rows)
        for (bool big : {true, false}) {
            SCOPED_TRACE(fmt::format("encoding {}, {}-endian", row.encoding, big ? "big" : "little"));
            const auto bytes = packSamples(row.samples, 700, row.type, row.encoding, big);
            auto got = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
            ASSERT_EQ(got.seismograms.size(), 1u);
            EXPECT_TRUE(got.notices.empty() && got.problems.empty());
            const auto& s = got.seismograms[0];
            ASSERT_GT(s->blocks()->count(), 1u);
            ASSERT_EQ(s->samples().size(), 700u);
            EXPECT_EQ(s->counts().size(), row.type == 'i' ? 700u : 0u);
            EXPECT_EQ(s->doubles().size(), row.type == 'd' ? 700u : 0u);
            for (size_t k = 0; k < 700; k++) {
                double want = row.type == 'i'   ? static_cast<const int32_t*>(row.samples)[k]
                              : row.type == 'f' ? static_cast<const float*>(row.samples)[k]
                                                : static_cast<const double*>(row.samples)[k];
                ASSERT_EQ(s->samples()[k], static_cast<float>(want)) << k;
                if (row.type == 'i') {
                    ASSERT_EQ(s->counts()[k], want) << k;
                } else if (row.type == 'd') {
                    ASSERT_EQ(s->doubles()[k], want) << k;
                }
            }
        }
}

TEST(MiniSEED, PackedFileOfTwoChannelsWithAGap) {
    const std::vector<unsigned char> packed = packedFile();
    auto got = zeva::miniseed::readSeismograms(packed.data(), packed.size());
    // The id, and the compression and word order of the first and last block.
    const std::tuple<std::string, int, bool, int, bool> expected[] = {
        {"XX.ZEVA..BHZ 2020-01-01T00:00:00.0000Z", 10, false, 11, true},
        {"XX.ZEVA..BHN 2020-01-01T00:00:00.0040Z", 10, true, 10, true},
        {"XX.ZEVA..BHZ 2020-01-01T00:00:41.0000Z", 11, false, 11, false}};
    ASSERT_EQ(got.seismograms.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); i++) {
        const auto& s = got.seismograms[i];
        const auto& c = s->_channel_id();
        EXPECT_EQ(fmt::format("{}.{}.{}.{} {}", zeva::textOf(c->_network_id()->_network_code()),
                              zeva::textOf(c->_station_code()), zeva::textOf(c->_site_code()),
                              zeva::textOf(c->_channel_code()), zeva::textOf(s->_begin_time()->_date_time())),
                  std::get<0>(expected[i]));
        EXPECT_EQ(s->_y_unit()->_the_unit_base(), ZEVAUnit::kCount);
        auto first = s->blocks()->objectAtIndexAs<ZEVAEncodedData>(0);
        auto last = s->blocks()->objectAtIndexAs<ZEVAEncodedData>(s->blocks()->count() - 1);
        EXPECT_EQ(std::make_tuple(zeva::textOf(s->_id()), int{first->_compression()}, first->_byte_order(),
                                  int{last->_compression()}, last->_byte_order()),
                  expected[i]);
        EXPECT_EQ(first->compressedLength() % 64, 0);  // whole Steim frames
    }

    // A channel of an encoding we do not decode: kept as blocks, read as
    // zeros, named.
    const std::vector<unsigned char> bytes = packedFile(true);
    auto other = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    ASSERT_EQ(other.seismograms.size(), 4u);
    const auto& bhe = other.seismograms[3];
    EXPECT_EQ(std::vector<float>(bhe->samples().begin(), bhe->samples().end()), std::vector<float>(300, 0.0f));
    EXPECT_EQ(std::vector<int32_t>(bhe->counts().begin(), bhe->counts().end()), std::vector<int32_t>(300, 0));
    EXPECT_EQ(bhe->blocks()->objectAtIndexAs<ZEVAEncodedData>(0)->_compression(), 2);
    ASSERT_FALSE(other.notices.empty());
    for (const std::string& notice : other.notices)
        EXPECT_NE(notice.find("XX.ZEVA..BHE at byte"), std::string::npos) << notice;
}

// One panel per title, its traces by start; panels far apart in time get
// axes of their own, panels close together share one.
TEST(MiniSEED, PlotLayout) {
    const float samples[4] = {1, 2, 3, 4};
    auto trace = [&](const char* title, double start) {
        return zeva::plot::Trace{title, start, 1.0, samples, 4, "counts", ""};
    };
    const double year = 365.25 * 86400;
    const struct {
        std::vector<zeva::plot::Trace> traces;
        bool shared;
        std::vector<std::vector<size_t>> panels;
        std::vector<std::pair<double, double>> spans;
    } cases[] = {
        {{trace("A", 100), trace("B", 101), trace("A", 90)}, true, {{2, 0}, {1}}, {{90, 104}, {90, 104}}},
        {{trace("A", 0), trace("B", year), trace("C", 2 * year)}, false, {{0}, {1}, {2}},
         {{0, 3}, {year, year + 3}, {2 * year, 2 * year + 3}}},
    };
    for (const auto& k : cases) {
        const zeva::plot::Layout l = zeva::plot::layout(k.traces, 800, 600);
        EXPECT_EQ(l.sharedAxis, k.shared);
        ASSERT_EQ(l.panels.size(), k.panels.size());
        for (size_t i = 0; i < l.panels.size(); i++) {
            EXPECT_EQ(l.panels[i].traces, k.panels[i]) << i;
            EXPECT_EQ(std::pair(l.panels[i].begin, l.panels[i].end), k.spans[i]) << i;
            if (i > 0) {
                EXPECT_GT(l.panels[i].area.top, l.panels[i - 1].area.top + l.panels[i - 1].area.height);
            }
        }
    }
}

TEST(MiniSEED, PlotDrawsTheTraces) {
    const std::vector<unsigned char> bytes = packedFile(false);
    auto got = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    ASSERT_EQ(got.seismograms.size(), 3u);
    std::vector<zeva::plot::Trace> traces;
    for (const auto& s : got.seismograms)
        traces.push_back({zeva::textOf(s->_channel_id()->_channel_code()), s->_begin_time()->epochTime(),
                          static_cast<double>(s->sampleInterval()), s->samples().data(), s->samples().size(),
                          "counts", ""});
    // The first channel again, after a gap: drawn in its panel, the gap in pale red.
    zeva::plot::Trace later = traces[0];
    later.start = traces[0].end() + 100 * traces[0].interval;
    traces.push_back(later);
    const fs::path png = fs::temp_directory_path() / ("zeva-plot-" + std::to_string(::getpid()) + ".png");
    // Narrow: envelopes per column; wide: lines through the samples. Either
    // way some pixel is in the traces' blue.
    for (auto [w, h] : {std::pair{300, 320}, std::pair{1400, 500}}) {
        std::string error;
        ASSERT_TRUE(zeva::plot::drawPlot(traces, png.string(), w, h, &error)) << error;
        std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> image(
            cairo_image_surface_create_from_png(png.c_str()), &cairo_surface_destroy);
        ASSERT_EQ(cairo_surface_status(image.get()), CAIRO_STATUS_SUCCESS);
        EXPECT_EQ(std::pair(cairo_image_surface_get_width(image.get()), cairo_image_surface_get_height(image.get())),
                  std::pair(w, h));
        const auto* px = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(image.get()));
        const uint32_t* past = px + cairo_image_surface_get_stride(image.get()) / 4 * h;
        EXPECT_TRUE(std::any_of(px, past, [](uint32_t p) {
            return (p & 255) >= (p >> 16 & 255) + 60 && (p & 255) >= (p >> 8 & 255) + 60;
        })) << w;
        EXPECT_TRUE(std::any_of(px, past, [](uint32_t p) { return (p & 0xFFFFFF) == 0xFFD9D9; })) << "gap band " << w;
    }
    fs::remove(png);

    // SVG by extension, in any case; no trace, a tiny size or an unwritable path is refused.
    const fs::path svg = fs::temp_directory_path() / ("zeva-plot-" + std::to_string(::getpid()) + ".SVG");
    ASSERT_TRUE(zeva::plot::drawPlot(traces, svg.string(), 640, 400));
    const std::string text = zeva::test::readFile(svg.string());
    EXPECT_TRUE(text.starts_with("<?xml") && text.find("width=\"640pt\"") != std::string::npos) << text.substr(0, 300);
    fs::remove(svg);
    EXPECT_FALSE(zeva::plot::drawPlot({}, "plot.png", 640, 400));
    EXPECT_FALSE(zeva::plot::drawPlot(traces, "plot.png", 100, 400));
    EXPECT_FALSE(zeva::plot::drawPlot(traces, "/nonexistent/dir/plot.png", 640, 400));
}

}  // namespace
