// Seismograms read from miniSEED against libmseed, an independent
// implementation, on every shared real-data file; a file libmseed packs of
// two channels with a gap, both encodings and both word orders; its plot.
#include <gtest/gtest.h>

#include <cairo.h>
#include <libmseed.h>

#include <algorithm>
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

// Our seismograms of every shared file against the traces libmseed builds
// from the same records with its own decoding and its default joining (half
// a sample of tolerance): the same runs, codes, start times, rates and samples.
TEST(MiniSEED, EverySharedFileMatchesLibmseed) {
    const fs::path dir = fs::path(ZEVA_SHARED_DATA_DIR) / "mseed";
    if (!fs::is_directory(dir)) GTEST_SKIP() << "no shared miniSEED data at " << dir;
    int files = 0;
    size_t samples = 0;
    for (const auto& entry : fs::directory_iterator(dir)) {
        if (entry.path().extension() == ".md") continue;
        SCOPED_TRACE(entry.path());
        files++;
        auto read = zeva::miniseed::readSeismogramsFromFile(entry.path().string());
        ASSERT_TRUE(read);
        EXPECT_TRUE(read->problems.empty() && read->notices.empty());
        MSTraceGroup* group = nullptr;
        ASSERT_EQ(ms_readtraces(&group, entry.path().c_str(), -1, -1.0, -1.0, 0, 1, 1, 0), MS_NOERROR);
        size_t i = 0;
        for (MSTrace* t = group->traces; t; t = t->next, i++) {
            ASSERT_LT(i, read->seismograms.size());
            const auto& s = read->seismograms[i];
            EXPECT_EQ(zeva::textOf(s->_id()).substr(0, zeva::textOf(s->_id()).find(' ')),
                      fmt::format("{}.{}.{}.{}", t->network, t->station, t->location, t->channel)) << i;
            EXPECT_NEAR(s->_begin_time()->epochTime(), static_cast<double>(t->starttime) / 1e6, 1e-6) << i;
            EXPECT_FLOAT_EQ(1.0f / s->sampleInterval(), static_cast<float>(t->samprate)) << i;
            ASSERT_EQ(t->sampletype, 'i') << i;
            ASSERT_EQ(static_cast<int64_t>(s->samples().size()), t->numsamples) << i;
            for (int64_t k = 0; k < t->numsamples; k++)
                ASSERT_EQ(s->samples()[static_cast<size_t>(k)],
                          static_cast<float>(static_cast<const int32_t*>(t->datasamples)[k])) << i << " sample " << k;
            samples += s->samples().size();
        }
        EXPECT_EQ(i, read->seismograms.size());
        mst_freegroup(&group);
    }
    EXPECT_EQ(files, 17);
    EXPECT_EQ(samples, 77368u);
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

    // A channel of another encoding: kept as blocks, read as zeros, named.
    const std::vector<unsigned char> bytes = packedFile(true);
    auto other = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    ASSERT_EQ(other.seismograms.size(), 4u);
    const auto& bhe = other.seismograms[3];
    EXPECT_EQ(std::vector<float>(bhe->samples().begin(), bhe->samples().end()), std::vector<float>(300, 0.0f));
    EXPECT_EQ(bhe->blocks()->objectAtIndexAs<ZEVAEncodedData>(0)->_compression(), 3);
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
