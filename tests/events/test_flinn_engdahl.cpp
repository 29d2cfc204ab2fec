// fe_lookup and fe_region, the indexed search held to the plain scan, and
// `zeva region`.
#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <random>
#include <string>
#include <tuple>

#include "support/run_cli.hpp"
#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_internal.hpp"
#include "zeva/events/flinn_engdahl_text.hpp"

namespace fe = zeva::fe;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const std::string kBlank(52, ' ');

std::pair<int, int> lookup(float lat, char lat_h, float lon, char lon_h, int entry = 0) {
    int geo = entry, seis = -99;
    fe_lookup(lat, lat_h, lon, lon_h, &geo, &seis);
    return {geo, seis};
}

TEST(FlinnEngdahlLookup, KnownPositions) {
    // what, latitude and letter, longitude and letter, region passed in, regions out
    const std::tuple<const char*, float, char, float, char, int, int, int> cases[] = {
        {"origin of the grid", 0.0f, ' ', 0.0f, ' ', 0, 561, 37},
        {"negative zeros count as north-east", -0.0f, ' ', -0.0f, ' ', 0, 561, 37},
        {"quadrant 4, row 0", -0.5f, ' ', 0.5f, ' ', 0, 409, 32},
        {"Tokyo", 35.7f, ' ', 139.7f, ' ', 0, 230, 19},
        {"Santiago", -33.5f, ' ', -70.6f, ' ', 0, 127, 8},
        {"south pole by letters", 90.0f, 'S', 200.0f, 'W', 0, 729, 50},
        {"10 S E is row 10 of block 4", 10.0f, 'S', 20.0f, 'E', 0, 575, 37},
        {"letters in lower case", 35.7f, 'n', 139.7f, 'e', 0, 230, 19},
        {"letters override signs", -35.7f, 'N', -139.7f, 'E', 0, 230, 19},
        {"200 E: last triple of row 10, block 1", 10.0f, ' ', 200.0f, ' ', 0, 615, 39},
        {"200 E: last triple of row 10, block 4", -10.0f, ' ', 200.0f, ' ', 0, 180, 13},
        {"200 W: last triple of row 10, block 2", 10.5f, ' ', -200.0f, ' ', 0, 611, 39},
        {"latitude beyond the rows", 95.0f, ' ', 0.0f, ' ', 0, 758, 0},
        {"one blank letter keeps 0", 35.7f, 'N', 139.7f, ' ', 0, 758, 0},
        {"one blank letter keeps 230", 10.0f, 'N', 10.0f, ' ', 230, 230, 19},
        {"letters swapped select nothing", 10.0f, 'E', 10.0f, 'N', 5, 5, fe::nsreg[5]},
        {"unknown letter", 10.0f, 'X', 10.0f, 'E', 0, 758, 0},
        {"no quadrant, entry past the map", 10.0f, 'N', 10.0f, ' ', 759, 758, 0},
        {"NaN latitude", kNaN, ' ', 10.0f, ' ', 230, 758, 0},
        {"NaN ignored when no quadrant", kNaN, 'N', kNaN, ' ', 230, 230, 19},
    };
    for (const auto& [what, lat, lat_h, lon, lon_h, entry, geo, seis] : cases)
        EXPECT_EQ(lookup(lat, lat_h, lon, lon_h, entry), std::make_pair(geo, seis)) << what;
    for (int j = -400; j <= 400; ++j) {  // the poles at every half-degree longitude
        EXPECT_EQ(lookup(90.0f, ' ', j * 0.5f, ' '), std::make_pair(633, 40)) << j * 0.5f;
        EXPECT_EQ(lookup(-90.0f, ' ', j * 0.5f, ' '), std::make_pair(729, 50)) << j * 0.5f;
    }

    int geo = 0, seis = 0;  // null outputs are allowed and not written
    fe_lookup(35.7f, ' ', 139.7f, ' ', nullptr, &seis);
    fe_lookup(35.7f, ' ', 139.7f, ' ', &geo, nullptr);
    EXPECT_EQ(std::make_pair(geo, seis), std::make_pair(230, 19));
}

// The indexed search behind fe_lookup answers exactly as the linear scan:
// every half-degree point, one step past each pole and 20 degrees past 180;
// random positions with every kind of hemisphere letter and entry value, some
// far beyond any table longitude; and arguments outside the blocks.
TEST(FlinnEngdahlSearch, FastPathEqualsTheLinearScan) {
    auto agree = [](float lat, char lat_h, float lon, char lon_h, int entry) {
        int geo = entry, seis = -1;
        fe_lookup(lat, lat_h, lon, lon_h, &geo, &seis);
        const int slow = fe::geographicRegion(lat, lat_h, lon, lon_h, entry, fe::searchLinear);
        return geo == slow && seis == fe::nsreg[slow];
    };
    for (int i = -181; i <= 181; ++i)
        for (int j = -400; j <= 400; ++j) ASSERT_TRUE(agree(i * 0.5f, ' ', j * 0.5f, ' ', 0)) << i * 0.5f << " " << j * 0.5f;

    std::mt19937 random(20240601);
    std::uniform_real_distribution<float> lat(-95.0f, 95.0f), lon(-400.0f, 400.0f);
    const char lat_letters[] = {' ', ' ', ' ', 'N', 'n', 'S', 's', 'X'};
    const char lon_letters[] = {' ', ' ', ' ', 'E', 'e', 'W', 'w', '?'};
    std::uniform_int_distribution<int> letter(0, 7), entry(-5, 800);
    for (int k = 0; k < 300000; ++k) {
        const float a = lat(random), b = lon(random) * (k % 16 ? 1.0f : 1e5f);
        const char ha = lat_letters[letter(random)], hb = lon_letters[letter(random)];
        const int e = entry(random);
        ASSERT_TRUE(agree(a, ha, b, hb, e)) << a << ha << " " << b << hb << " entry " << e;
    }

    for (int q = -1; q <= 6; ++q)
        for (int row : {-1, 0, 89, 90, 91})
            for (int col : {-1, 0, 179, 180, 32768})
                EXPECT_EQ(fe::searchIndexed(q, row, col), fe::searchLinear(q, row, col)) << q << " " << row << " " << col;
}

TEST(FlinnEngdahlRegion, NamesAndSeismicFill) {
    // geographic number, seismic number in and out, both names
    const std::tuple<int, int, int, const char*, const char*> cases[] = {
        {230, 0, 19, fe::greg[230], fe::sreg[19]},
        {230, -3, 19, fe::greg[230], fe::sreg[19]},
        {230, 5, 5, fe::greg[230], fe::sreg[5]},  // a positive seismic number is kept even if it disagrees
        {1, 0, 1, "Central Alaska, United States", "ALASKA - ALEUTIAN ISLANDS ARC"},
        {758, 0, 0, kBlank.c_str(), kBlank.c_str()},
        {758, 50, 50, kBlank.c_str(), "ANTARCTICA"},
        {-7, -7, -7, kBlank.c_str(), kBlank.c_str()},
        {100000, 51, 51, kBlank.c_str(), kBlank.c_str()},
    };
    for (const auto& [geo, seis_in, seis_out, want_geo_name, want_seis_name] : cases) {
        const char* geo_name = nullptr;
        const char* seis_name = nullptr;
        int seis = seis_in;
        fe_region(geo, &geo_name, &seis, &seis_name);
        ASSERT_TRUE(geo_name && seis_name) << geo;
        EXPECT_EQ(std::make_tuple(seis, std::string(geo_name), std::string(seis_name)),
                  std::make_tuple(seis_out, std::string(want_geo_name), std::string(want_seis_name)))
            << geo << "/" << seis_in;
    }
    fe_region(230, nullptr, nullptr, nullptr);  // nothing to write, nothing read
    const char* only = nullptr;
    fe_region(230, nullptr, nullptr, &only);
    EXPECT_EQ(only, fe::sreg[19]);

    EXPECT_EQ(zeva::feRegionText(1, 0), "Central Alaska, United States (ALASKA - ALEUTIAN ISLANDS ARC)");
}

TEST(FlinnEngdahlCommand, PrintsNumbersAndText) {
    const std::string cli = ZEVA_CLI_PATH;
    const std::tuple<const char*, std::string, int> cases[] = {  // arguments, output, exit status
        {"35.7 139.7", "230\t19\t" + zeva::feRegionText(230, 19) + "\n", 0},
        {"--hemispheres n e -35.7 -139.7", "230\t19\t" + zeva::feRegionText(230, 19) + "\n", 0},
        {"35.7", "", 2},
        {"35.7 139.7 --hemispheres X E", "", 2},
    };
    for (const auto& [args, out, status] : cases) {
        auto r = zeva::test::runCommand(cli + " region " + args + " 2>/dev/null");
        EXPECT_EQ(std::make_pair(r.out, r.status), std::make_pair(out, status)) << args;
    }
}

TEST(FlinnEngdahlGenerator, CommittedTablesMatchTheData) {
    const auto data = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "flinn-engdahl";
    if (!std::filesystem::exists(data / "boundaries.tsv")) GTEST_SKIP() << "no Flinn-Engdahl data in " << data;
    const std::string source = ZEVA_SOURCE_DIR;
    auto r = zeva::test::runCommand(std::string(ZEVA_PYTHON) + " " + source + "/scripts/gen_flinn_engdahl.py --data '" +
                                    data.string() + "' --output '" + source +
                                    "/zeva/events/flinn_engdahl_tables.cpp' --check 2>&1");
    EXPECT_EQ(r.status, 0) << r.out;
}

}  // namespace
