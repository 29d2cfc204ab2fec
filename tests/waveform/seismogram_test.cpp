// Local seismograms read from a file that libmseed packs (two channels, a
// gap, Steim-1 and Steim-2 records in both word orders, a record that is
// not Steim), and their plot.
#include <gtest/gtest.h>

#include <cairo.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <unistd.h>

#include "steim_support.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace fs = std::filesystem;
using steimtest::pack;

namespace {

constexpr int64_t kStart = 1577836800000000;  // 2020-01-01T00:00:00Z in microseconds
constexpr int64_t kSecond = 1000000;

std::vector<int32_t> wave(int n, int seed) {
    std::vector<int32_t> s;
    for (int i = 0; i < n; i++) s.push_back(seed * 1000 + (i * 37 + seed) % 2001 - 1000);
    return s;
}

struct Piece {
    const char* channel;
    std::vector<int32_t> samples;
    int encoding;
    bool big;
    int64_t start;
};

// BHZ: 600 samples of Steim-1 (big-endian), 500 of Steim-2 (little-endian)
// 4 ms late, within half a sample; BHN between them; then BHZ again after a
// gap of 30 s, and a record of 32-bit integers on BHE.
std::vector<Piece> pieces() {
    return {{"BHZ", wave(600, 1), 10, true, kStart},
            {"BHN", wave(800, 2), 11, false, kStart + 4000},
            {"BHZ", wave(500, 3), 11, false, kStart + 6 * kSecond + 4000},
            {"BHZ", wave(400, 4), 11, true, kStart + 41 * kSecond},
            {"BHE", wave(300, 5), 3, true, kStart}};
}

std::vector<unsigned char> packedFile() {
    std::vector<unsigned char> bytes;
    for (const Piece& p : pieces()) {
        auto records = pack(p.samples, p.encoding, p.big, p.channel, p.start);
        bytes.insert(bytes.end(), records.begin(), records.end());
    }
    return bytes;
}

TEST(Seismograms, FromALibmseedPackedFile) {
    const std::vector<unsigned char> bytes = packedFile();
    zeva::miniseed::Seismograms got = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    EXPECT_TRUE(got.problems.empty());
    ASSERT_FALSE(got.notices.empty());
    for (const std::string& notice : got.notices) {  // one per record of 32-bit integers
        EXPECT_NE(notice.find("XX.ZEVA..BHE at byte"), std::string::npos) << notice;
        EXPECT_NE(notice.find("encoding 3 is not Steim-1 or Steim-2"), std::string::npos) << notice;
    }

    const auto p = pieces();
    auto join = [](std::vector<int32_t> a, const std::vector<int32_t>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    struct Expected {
        const char* id;
        const char* channel;
        std::vector<int32_t> samples;
        std::vector<std::pair<int, bool>> blocks;  // compression and word order of the first and last block
    } expected[] = {
        {"XX.ZEVA..BHZ 2020-01-01T00:00:00.0000Z", "BHZ", join(p[0].samples, p[2].samples), {{10, false}, {11, true}}},
        {"XX.ZEVA..BHN 2020-01-01T00:00:00.0040Z", "BHN", p[1].samples, {{11, true}, {11, true}}},
        {"XX.ZEVA..BHZ 2020-01-01T00:00:41.0000Z", "BHZ", p[3].samples, {{11, false}, {11, false}}},
        {"XX.ZEVA..BHE 2020-01-01T00:00:00.0000Z", "BHE", std::vector<int32_t>(300, 0), {{3, false}, {3, false}}},
    };
    ASSERT_EQ(got.seismograms.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); i++) {
        const auto& s = got.seismograms[i];
        const Expected& e = expected[i];
        EXPECT_EQ(zeva::textOf(s->_id()), e.id);
        EXPECT_EQ(zeva::textOf(s->_channel_id()->_channel_code()), e.channel);
        EXPECT_EQ(zeva::textOf(s->_channel_id()->_station_code()), "ZEVA");
        EXPECT_EQ(zeva::textOf(s->_channel_id()->_site_code()), "");
        EXPECT_EQ(zeva::textOf(s->_channel_id()->_network_id()->_network_code()), "XX");
        EXPECT_EQ(zeva::textOf(s->_begin_time()->_date_time()), std::string(e.id).substr(13));
        EXPECT_EQ(s->_num_points(), static_cast<int32_t>(e.samples.size())) << e.id;
        EXPECT_EQ(s->_sampling_info()->_numPoints(), 100);
        EXPECT_EQ(s->sampleInterval(), 0.01f);
        EXPECT_EQ(s->_y_unit()->_the_unit_base(), ZEVAUnit::kCount);
        std::vector<int32_t> samples(s->samples().begin(), s->samples().end());
        EXPECT_EQ(samples, e.samples) << e.id;
        auto blocks = s->blocks();
        ASSERT_TRUE(blocks && blocks->count() > 0);
        int32_t counted = 0;
        for (const auto& b : *blocks) counted += std::static_pointer_cast<ZEVAEncodedData>(b)->_num_points();
        EXPECT_EQ(counted, s->_num_points());
        auto first = blocks->objectAtIndexAs<ZEVAEncodedData>(0);
        auto last = blocks->objectAtIndexAs<ZEVAEncodedData>(blocks->count() - 1);
        EXPECT_EQ(std::make_pair(int{first->_compression()}, first->_byte_order()), e.blocks[0]) << e.id;
        EXPECT_EQ(std::make_pair(int{last->_compression()}, last->_byte_order()), e.blocks[1]) << e.id;
        EXPECT_TRUE(first->_compression() == 3 || first->compressedLength() % 64 == 0);  // whole Steim frames
    }
}

struct Image {
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface{nullptr, &cairo_surface_destroy};
    int width() const { return cairo_image_surface_get_width(surface.get()); }
    int height() const { return cairo_image_surface_get_height(surface.get()); }
    // Whether any pixel of column x between the rows is drawn in the trace's blue.
    bool traceIn(int x, int top, int bottom) const {
        const unsigned char* data = cairo_image_surface_get_data(surface.get());
        const int stride = cairo_image_surface_get_stride(surface.get());
        for (int y = top; y < bottom; y++) {
            uint32_t px = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
            int r = px >> 16 & 255, g = px >> 8 & 255, b = px & 255;
            if (b - r >= 60 && b - g >= 60) return true;
        }
        return false;
    }
};

TEST(Seismograms, PlotHasTracesWhereTheDataAreAndNoneInTheGap) {
    const std::vector<unsigned char> bytes = packedFile();
    auto got = zeva::miniseed::readSeismograms(bytes.data(), bytes.size());
    ASSERT_EQ(got.seismograms.size(), 4u);
    got.seismograms.pop_back();  // the undecoded channel
    std::vector<zeva::plot::Trace> traces;
    for (const auto& s : got.seismograms)
        traces.push_back({zeva::textOf(s->_channel_id()->_channel_code()), s->_begin_time()->epochTime(),
                          static_cast<double>(s->sampleInterval()), s->samples().data(), s->samples().size()});
    // Data spans per panel, in seconds after the start, and where none may be.
    struct Span {
        double from, to;
    };
    const std::vector<std::vector<Span>> data = {{{0.3, 10.7}}, {{0.3, 7.7}}, {{41.3, 44.7}}};
    const std::vector<std::vector<Span>> none = {{{11.5, 44.9}}, {{8.5, 44.9}}, {{0, 40.5}}};
    const fs::path png = fs::temp_directory_path() / ("zeva-plot-" + std::to_string(::getpid()) + ".png");
    // Narrow: envelopes per column; wide: lines through the samples.
    for (auto [w, h] : {std::pair{300, 320}, std::pair{1400, 500}}) {
        std::string error;
        ASSERT_TRUE(zeva::plot::drawPlot(traces, png.string(), w, h, &error)) << error;
        Image image;
        image.surface.reset(cairo_image_surface_create_from_png(png.c_str()));
        ASSERT_EQ(cairo_surface_status(image.surface.get()), CAIRO_STATUS_SUCCESS);
        EXPECT_EQ(image.width(), w);
        EXPECT_EQ(image.height(), h);
        zeva::plot::Layout l = zeva::plot::layout(traces, w, h);
        ASSERT_EQ(l.panels.size(), 3u);
        const double t0 = static_cast<double>(kStart) / 1e6;
        for (size_t p = 0; p < 3; p++) {
            const auto& a = l.panels[p];
            int top = static_cast<int>(a.top) + 1, bottom = static_cast<int>(a.top + a.height) - 1;
            for (const Span& s : data[p])
                for (int x = static_cast<int>(l.x(t0 + s.from)); x <= static_cast<int>(l.x(t0 + s.to)); x++)
                    ASSERT_TRUE(image.traceIn(x, top, bottom)) << w << " panel " << p << " column " << x;
            for (const Span& s : none[p])
                for (int x = static_cast<int>(l.x(t0 + s.from)); x <= static_cast<int>(l.x(t0 + s.to)); x++)
                    ASSERT_FALSE(image.traceIn(x, top, bottom)) << w << " panel " << p << " column " << x;
        }
    }
    fs::remove(png);

    // SVG by extension; anything else, no trace or a tiny size is refused.
    const fs::path svg = fs::temp_directory_path() / ("zeva-plot-" + std::to_string(::getpid()) + ".SVG");
    ASSERT_TRUE(zeva::plot::drawPlot(traces, svg.string(), 640, 400));
    std::ifstream in(svg);
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    EXPECT_EQ(text.rfind("<?xml", 0), 0u);
    EXPECT_NE(text.find("width=\"640pt\""), std::string::npos) << text.substr(0, 300);
    fs::remove(svg);
    struct Refused {
        std::string path;
        std::vector<zeva::plot::Trace> traces;
        int w, h;
        const char* reason;
    } refused[] = {{"plot.jpg", traces, 640, 400, "must end in .png or .svg"},
                   {"plot.png", {}, 640, 400, "nothing to plot"},
                   {"plot.png", traces, 100, 400, "is not drawn"},
                   {"/nonexistent/dir/plot.png", traces, 640, 400, "/nonexistent/dir/plot.png: "}};
    for (const Refused& r : refused) {
        std::string error;
        EXPECT_FALSE(zeva::plot::drawPlot(r.traces, r.path, r.w, r.h, &error)) << r.reason;
        EXPECT_NE(error.find(r.reason), std::string::npos) << error;
    }
}

}  // namespace
