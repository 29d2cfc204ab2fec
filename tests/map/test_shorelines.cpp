// The binned shoreline and border reader: the Debian GSHHG files at three
// resolutions against places whose land or water nobody disputes, a bin
// built by hand whose closing along the sides is known, and tables that
// disagree with themselves.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "zeva/map/Shorelines.hpp"

using namespace zeva::map;

namespace {

bool haveFiles() {
    return std::filesystem::exists(shorelineFile(shorelineDirectory(), Resolution::Crude, false));
}

TEST(Shorelines, KnownPlacesAtEveryResolution) {
    if (!haveFiles()) GTEST_SKIP() << "no GSHHG files in " << shorelineDirectory() << " (Debian: gmt-gshhg-low)";
    // name, longitude, latitude, level (0 sea, 1 land, 2 lake)
    const std::tuple<const char*, double, double, int> places[] = {
        {"Sahara", 10, 25, 1},         {"Siberia", 100, 62, 1},      {"Amazonia", -55, -10, 1},
        {"Australia", 134, -25, 1},    {"Canada", -100, 55, 1},      {"Kansas", -98, 38, 1},
        {"Greenland", -40, 75, 1},     {"East Antarctica", 0, -85, 1}, {"West Antarctica", -100, -80, 1},    {"mid-Pacific", -150, 0, 0},
        {"mid-Atlantic", -30, 0, 0},   {"Indian Ocean", 80, -30, 0}, {"Southern Ocean", -100, -60, 0},
        {"Arctic Ocean", 0, 88, 0},    {"Caspian Sea", 50.5, 42, 2}, {"Lake Victoria", 33, -1, 2},
        {"Tasman Sea", 160, -40, 0},
    };
    for (auto resolution : {Resolution::Crude, Resolution::Low, Resolution::Intermediate}) {
        MapLayer shore, borders;
        std::string error;
        ASSERT_TRUE(loadLayer(shorelineDirectory(), resolution, false, shore, error)) << error;
        ASSERT_TRUE(loadLayer(shorelineDirectory(), resolution, true, borders, error)) << error;
        for (const auto& [name, lon, lat, level] : places)
            EXPECT_EQ(shore.levelAt(lon, lat), level) << name << " at resolution " << int(resolution);
        // Borders are lines only, within the globe.
        EXPECT_GT(borders.lines.size(), 1000u);
        EXPECT_TRUE(borders.areas.empty());
        for (const auto& line : borders.lines)
            for (const auto& p : line.points) ASSERT_TRUE(p.lon >= -180 && p.lon <= 180 && p.lat >= -90 && p.lat <= 90);
        EXPECT_EQ(shore.binDegrees, resolution == Resolution::Crude ? 20.0 : resolution == Resolution::Low ? 10.0 : 5.0);
    }
}

// One crude layer of 162 bins, all sea but bin 0 (0 to 20 east, 70 to 90
// north), crossed by a land piece from the middle of its east side to the
// middle of its south side, land to the left of the way it runs: the land is
// the south-east corner's triangle.
BinnedTables oneCoast() {
    BinnedTables t;
    t.binMinutes = 1200;
    t.binsAcross = 18;
    t.binsDown = 9;
    t.binFirstSegment.assign(162, 1);
    t.binSegmentCount.assign(162, 0);
    t.binNodeLevels.assign(162, 0);
    t.binFirstSegment[0] = 0;
    t.binSegmentCount[0] = 1;
    // Two points, level 1, leaving through the south side, entering through the east.
    t.segmentInfo = {(2 << 9) | (1 << 6) | (0 << 3) | 1};
    t.segmentAntarctic = {0};
    t.segmentFirstPoint = {0};
    t.pointLon = {int16_t(-1), int16_t(32767)};  // 65535 read unsigned, and half
    t.pointLat = {32767, 0};
    return t;
}

TEST(Shorelines, ClosesAPieceAlongTheBinSides) {
    MapLayer layer;
    std::string error;
    ASSERT_TRUE(decodeShorelines(oneCoast(), layer, error)) << error;
    EXPECT_EQ(layer.levelAt(18, 72), 1);   // near the south-east corner
    EXPECT_EQ(layer.levelAt(2, 88), 0);    // near the north-west corner
    EXPECT_EQ(layer.levelAt(-170, 0), 0);  // another bin
    ASSERT_EQ(layer.lines.size(), 1u);
    EXPECT_DOUBLE_EQ(layer.lines[0].points[0].lon, 20.0);

    // A bin no shoreline crosses takes its corners' level.
    auto inland = oneCoast();
    inland.binNodeLevels[100] = 01111;
    ASSERT_TRUE(decodeShorelines(inland, layer, error)) << error;
    EXPECT_EQ(layer.levelAt(-150, -20), 1);  // row 5, column 10: 160 to 140 west, 30 to 10 south
}

TEST(Shorelines, TablesThatDisagreeAreRefused) {
    // what is changed, and the first words of the reason
    const std::pair<void (*)(BinnedTables&), const char*> cases[] = {
        {[](BinnedTables& t) { t.binMinutes = 0; }, "the bin size (0 minutes)"},
        {[](BinnedTables& t) { t.binMinutes = 700; }, "the bin size (700 minutes)"},
        {[](BinnedTables& t) { t.binsDown = 10; }, "the bin size (1200 minutes)"},
        {[](BinnedTables& t) { t.binSegmentCount.pop_back(); }, "the bin tables do not hold 162"},
        {[](BinnedTables& t) { t.binSegmentCount[0] = 2; }, "bin 0 names segments outside"},
        {[](BinnedTables& t) { t.binFirstSegment[0] = -1; }, "bin 0 names segments outside"},
        {[](BinnedTables& t) { t.binSegmentCount[5] = -3; }, "bin 5 names segments outside"},
        {[](BinnedTables& t) { t.segmentFirstPoint[0] = 1; }, "segment 0 names points outside"},
        {[](BinnedTables& t) { t.segmentInfo[0] |= 3 << 9; }, "segment 0 names points outside"},
        {[](BinnedTables& t) { t.segmentInfo[0] = -1; }, "segment 0 names points outside"},
        {[](BinnedTables& t) { t.pointLat.pop_back(); }, "the longitude and latitude tables"},
        {[](BinnedTables& t) { t.segmentFirstPoint.push_back(0); }, "the segment and bin tables"},
    };
    for (const auto& [change, reason] : cases) {
        auto t = oneCoast();
        change(t);
        MapLayer layer;
        layer.lines.resize(3);
        std::string error;
        EXPECT_FALSE(decodeShorelines(t, layer, error)) << reason;
        EXPECT_EQ(error.rfind(reason, 0), 0u) << error;
        EXPECT_TRUE(layer.lines.empty() && layer.areas.empty());
    }
}

TEST(Shorelines, UnreadableFilesNameTheFile) {
    auto dir = std::filesystem::temp_directory_path() / "zeva-shorelines-test";
    std::filesystem::create_directories(dir);
    const std::string text = (dir / "binned_GSHHS_c.nc").string();
    std::ofstream(text) << "not netCDF\n";
    MapLayer layer;
    std::string error;
    EXPECT_FALSE(loadLayer(dir.string(), Resolution::Crude, false, layer, error));
    EXPECT_EQ(error.rfind(text + ": ", 0), 0u) << error;
    EXPECT_FALSE(loadLayer(dir.string(), Resolution::Low, true, layer, error));
    EXPECT_EQ(error, (dir / "binned_border_l.nc").string() + ": no such file");
    // A shoreline file read as borders lacks the border variables.
    if (haveFiles()) {
        BinnedTables t;
        auto path = shorelineFile(shorelineDirectory(), Resolution::Crude, false);
        EXPECT_FALSE(readBinnedTables(path, true, t, error));
        EXPECT_EQ(error, path + ": not a binned border file: it has no one-dimensional variable N_points_for_a_segment");
    }
    std::filesystem::remove_all(dir);
}

}  // namespace
