#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_internal.hpp"
#include "zeva/events/flinn_engdahl_text.hpp"

namespace fe = zeva::fe;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
const std::string kBlank(52, ' ');

struct Triple {
    int row, start, region;
};

std::vector<Triple> block(int q) {
    std::vector<Triple> out;
    for (int i = fe::ind[q]; i < fe::ind[q] + fe::num[q]; ++i) out.push_back({fe::lln[i][0], fe::lln[i][1], fe::lln[i][2]});
    return out;
}

// Region of the last triple of a latitude row, found from the raw block.
int lastOfRow(int q, int row) {
    int region = 0;
    for (const Triple& t : block(q))
        if (t.row == row) region = t.region;
    return region;
}

std::pair<int, int> lookup(float lat, char lat_h, float lon, char lon_h, int entry = 0) {
    int geo = entry, seis = -99;
    fe_lookup(lat, lat_h, lon, lon_h, &geo, &seis);
    return {geo, seis};
}

std::string run(const std::string& command, int* status) {
    std::string out;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    char buffer[512];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    int raw = pclose(pipe);
    *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return out;
}

// ---------------------------------------------------------------- tables

TEST(FlinnEngdahlTables, BlocksSitAtTheirEntriesWithZeroGaps) {
    EXPECT_EQ(fe::date, 1995);
    const std::array<int, 5> ind{0, 0, 1919, 3535, 4747}, num{0, 1914, 1579, 1161, 1304};
    const std::array<int, 5> gap_after{0, 5, 37, 51, 9};
    int total = 0;
    for (int q = 0; q <= 4; ++q) {
        EXPECT_EQ(fe::ind[q], ind[q]) << q;
        EXPECT_EQ(fe::num[q], num[q]) << q;
        total += fe::num[q];
    }
    EXPECT_EQ(total, 5958);
    for (int q = 1; q <= 4; ++q) {
        const int end = fe::ind[q] + fe::num[q];
        const int next = q < 4 ? fe::ind[q + 1] : fe::lln_size;
        EXPECT_EQ(next - end, gap_after[q]) << "quadrant " << q;
        for (int i = end; i < next; ++i)
            EXPECT_TRUE(fe::lln[i][0] == 0 && fe::lln[i][1] == 0 && fe::lln[i][2] == 0) << "entry " << i;
    }
}

TEST(FlinnEngdahlTables, EveryBlockHasTheRowStructureTheSearchNeeds) {
    const std::array<int, 5> pole{0, 633, 633, 729, 729};
    for (int q = 1; q <= 4; ++q) {
        SCOPED_TRACE("quadrant " + std::to_string(q));
        const std::vector<Triple> b = block(q);
        std::vector<std::vector<Triple>> rows(91);
        int previous_row = 0;
        for (const Triple& t : b) {
            ASSERT_GE(t.row, previous_row);
            ASSERT_LE(t.row, 90);
            previous_row = t.row;
            rows[t.row].push_back(t);
            EXPECT_TRUE(t.start >= 0 && t.start <= 180 && t.region >= 1 && t.region <= fe::nn);
        }
        for (int r = 0; r <= 90; ++r) {
            const auto& row = rows[r];
            ASSERT_FALSE(row.empty()) << "row " << r;
            for (size_t k = 1; k < row.size(); ++k) {
                EXPECT_LT(row[k - 1].start, row[k].start) << "row " << r;
                EXPECT_NE(row[k - 1].region, row[k].region) << "row " << r;
            }
            if (r < 90) {
                EXPECT_EQ(row.front().start, 0) << "row " << r;
            }
        }
        ASSERT_EQ(rows[90].size(), 1u);
        EXPECT_EQ(rows[90][0].start, 180);
        EXPECT_EQ(rows[90][0].region, pole[q]);
        EXPECT_EQ(rows[89].back().region, pole[q]);

        // The row index used by the fast search agrees with the triples.
        for (int r = 0; r <= 90; ++r) {
            const int first = fe::row_start[q][r];
            EXPECT_EQ(fe::lln[first][0], r);
            EXPECT_TRUE(first == fe::ind[q] || fe::lln[first - 1][0] == r - 1) << "row " << r;
            EXPECT_EQ(fe::row_start[q][r + 1] - first, static_cast<int>(rows[r].size())) << "row " << r;
        }
        EXPECT_EQ(fe::row_start[q][91], fe::ind[q] + fe::num[q]);
    }
}

TEST(FlinnEngdahlTables, AllRegionsButTheThreeRetiredOnesOccur) {
    std::set<int> used;
    for (int q = 1; q <= 4; ++q)
        for (const Triple& t : block(q)) used.insert(t.region);
    std::vector<int> missing, marked;
    for (int g = 1; g <= fe::nn; ++g) {
        if (!used.count(g)) missing.push_back(g);
        if (std::strstr(fe::greg[g], "(REGION NOT IN USE)")) marked.push_back(g);
    }
    EXPECT_EQ(missing, (std::vector<int>{172, 299, 550}));
    EXPECT_EQ(marked, missing);
}

TEST(FlinnEngdahlTables, SeismicMapCoversEveryRegionAndIsNotMonotonic) {
    EXPECT_EQ(fe::nsreg[0], 0);
    EXPECT_EQ(fe::nsreg[fe::not_found], 0);
    std::set<int> seen;
    bool descends = false;
    for (int g = 1; g <= fe::nn; ++g) {
        ASSERT_TRUE(fe::nsreg[g] >= 1 && fe::nsreg[g] <= 50) << g;
        seen.insert(fe::nsreg[g]);
        if (g > 1 && fe::nsreg[g] < fe::nsreg[g - 1]) descends = true;
    }
    EXPECT_EQ(seen.size(), 50u);
    EXPECT_TRUE(descends);
}

TEST(FlinnEngdahlTables, NameListsAndTheBlankName) {
    EXPECT_EQ(std::string(fe::blank_name), kBlank);
    EXPECT_EQ(fe::greg[0], fe::blank_name);
    EXPECT_EQ(fe::sreg[0], fe::blank_name);
    EXPECT_STREQ(fe::greg[1], "Central Alaska, United States");
    EXPECT_STREQ(fe::greg[122], "Near coast of northern Chile");
    EXPECT_STREQ(fe::greg[181], "Fiji Islands region");
    EXPECT_STREQ(fe::greg[757], "Galapagos Triple Junction region");
    EXPECT_STREQ(fe::sreg[1], "ALASKA - ALEUTIAN ISLANDS ARC");
    EXPECT_STREQ(fe::sreg[50], "ANTARCTICA");

    auto check = [](const char* const* names, int count, bool capitals) -> size_t {
        size_t longest = 0;
        for (int k = 1; k <= count; ++k) {
            const std::string name = names[k];
            SCOPED_TRACE(std::to_string(k) + " " + name);
            if (name.empty()) {
                ADD_FAILURE() << "empty name";
                continue;
            }
            EXPECT_NE(name.front(), ' ');
            EXPECT_NE(name.back(), ' ');
            EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](char c) { return c >= 32 && c < 127; }));
            if (capitals) {
                EXPECT_TRUE(std::none_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; }));
            }
            longest = std::max(longest, name.size());
        }
        return longest;
    };
    // The blank name is at least as wide as any real name.
    EXPECT_LE(check(fe::greg, fe::nn, false), kBlank.size());
    EXPECT_EQ(check(fe::sreg, fe::seismic_count, true), 47u);
}

// ---------------------------------------------------------------- fe_lookup

struct LookupCase {
    const char* what;
    float lat;
    char lat_h;
    float lon;
    char lon_h;
    int entry;
    int geo, seis;
};

TEST(FlinnEngdahlLookup, KnownPositions) {
    const LookupCase cases[] = {
        {"origin of the grid", 0.0f, ' ', 0.0f, ' ', 0, 561, 37},
        {"quadrant 4, row 0", -0.5f, ' ', 0.5f, ' ', 0, 409, 32},
        {"Tokyo", 35.7f, ' ', 139.7f, ' ', 0, 230, 19},
        {"Tokyo, entry ignored", 35.7f, ' ', 139.7f, ' ', 12, 230, 19},
        {"Santiago", -33.5f, ' ', -70.6f, ' ', 0, 127, 8},
        {"negative zeros count as north-east", -0.0f, ' ', -0.0f, ' ', 0, 561, 37},
        {"Tokyo by letters", 35.7f, 'N', 139.7f, 'E', 0, 230, 19},
        {"letters in lower case", 35.7f, 'n', 139.7f, 'e', 0, 230, 19},
        {"letters override signs", -35.7f, 'N', -139.7f, 'E', 0, 230, 19},
        {"Santiago by letters", 33.5f, 'S', 70.6f, 'w', 0, 127, 8},
        {"latitude beyond the rows", 95.0f, ' ', 0.0f, ' ', 0, 758, 0},
        {"latitude beyond the rows, south", -91.0f, ' ', 10.0f, ' ', 7, 758, 0},
        {"huge latitude", -1e30f, ' ', 10.0f, ' ', 0, 758, 0},
        {"one blank letter keeps 0", 35.7f, 'N', 139.7f, ' ', 0, 758, 0},
        {"one blank letter keeps 230", 10.0f, 'N', 10.0f, ' ', 230, 230, 19},
        {"blank and letter keep 230", 10.0f, ' ', 10.0f, 'E', 230, 230, 19},
        {"letters swapped select nothing", 10.0f, 'E', 10.0f, 'N', 5, 5, fe::nsreg[5]},
        {"unknown letter", 10.0f, 'X', 10.0f, 'E', 0, 758, 0},
        {"NUL letters", 10.0f, '\0', 10.0f, '\0', 0, 758, 0},
        {"no quadrant, negative entry", 10.0f, 'N', 10.0f, ' ', -4, 758, 0},
        {"no quadrant, entry 758", 10.0f, 'N', 10.0f, ' ', 758, 758, 0},
        {"no quadrant, entry past the map", 10.0f, 'N', 10.0f, ' ', 759, 758, 0},
        {"no quadrant, entry far past the map", 10.0f, 'N', 10.0f, ' ', 1 << 30, 758, 0},
        {"NaN latitude", kNaN, ' ', 10.0f, ' ', 230, 758, 0},
        {"NaN longitude", 10.0f, ' ', kNaN, ' ', 230, 758, 0},
        {"infinite longitude", 10.0f, ' ', kInf, ' ', 0, 758, 0},
        {"infinite latitude by letters", -kInf, 'S', 10.0f, 'E', 0, 758, 0},
        {"NaN ignored when no quadrant", kNaN, 'N', kNaN, ' ', 230, 230, 19},
    };
    for (const LookupCase& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(lookup(c.lat, c.lat_h, c.lon, c.lon_h, c.entry), std::make_pair(c.geo, c.seis));
    }
}

TEST(FlinnEngdahlLookup, PolesHoldAtEveryLongitude) {
    std::vector<float> longitudes{-200.0f, 200.0f, 359.9f, -359.9f, 1e20f};
    for (int k = -360; k <= 360; ++k) longitudes.push_back(k * 0.5f);
    for (float lon : longitudes) {
        EXPECT_EQ(lookup(90.0f, ' ', lon, ' '), std::make_pair(633, 40)) << lon;
        EXPECT_EQ(lookup(-90.0f, ' ', lon, ' '), std::make_pair(729, 50)) << lon;
        EXPECT_EQ(lookup(90.0f, 'S', lon, 'W'), std::make_pair(729, 50)) << lon;
    }
}

TEST(FlinnEngdahlLookup, LettersSelectTheSameBlockAsSigns) {
    const float lats[] = {0.0f, 0.5f, 10.0f, 44.9f, 89.99f};
    const float lons[] = {0.0f, 0.25f, 20.0f, 123.4f, 179.9f, 180.0f};
    for (float lat : lats)
        for (float lon : lons)
            for (int ns = 0; ns < 2; ++ns)
                for (int ew = 0; ew < 2; ++ew) {
                    const float signed_lat = ns ? -lat : lat, signed_lon = ew ? -lon : lon;
                    // Negative zero counts as north/east, so only non-zero magnitudes flip the block.
                    if ((ns && lat == 0.0f) || (ew && lon == 0.0f)) continue;
                    const auto by_sign = lookup(signed_lat, ' ', signed_lon, ' ');
                    const char lat_h = ns ? 'S' : 'N', lon_h = ew ? 'W' : 'E';
                    EXPECT_EQ(lookup(lat, lat_h, lon, lon_h), by_sign) << signed_lat << " " << signed_lon;
                    EXPECT_EQ(lookup(-lat, lat_h, -lon, lon_h), by_sign) << signed_lat << " " << signed_lon;
                    EXPECT_EQ(lookup(lat, static_cast<char>(lat_h + 32), lon, static_cast<char>(lon_h + 32)),
                              by_sign);
                }
    // The worked case: 10 with S and E searches row 10 of the south-east block.
    EXPECT_EQ(lookup(10.0f, 'S', 20.0f, 'E'), lookup(-10.0f, ' ', 20.0f, ' '));
}

TEST(FlinnEngdahlLookup, LongitudesBeyond180TakeTheRowsLastTriple) {
    struct {
        float lat, lon;
        int quadrant, row;
    } cases[] = {
        {10.0f, 200.0f, 1, 10}, {-10.0f, 200.0f, 4, 10},  {10.5f, -200.0f, 2, 10},
        {-45.2f, 1e9f, 4, 45},  {60.0f, 180.0f, 1, 60},   {60.0f, -180.0f, 2, 60},
        {-3.0f, -180.0f, 3, 3}, {0.0f, 359.99f, 1, 0},
    };
    for (const auto& c : cases) {
        const int region = lastOfRow(c.quadrant, c.row);
        EXPECT_EQ(lookup(c.lat, ' ', c.lon, ' '), std::make_pair(region, static_cast<int>(fe::nsreg[region])))
            << c.lat << " " << c.lon;
    }
}

TEST(FlinnEngdahlLookup, WholeDegreesTruncateTheMagnitude) {
    const std::pair<float, int> cases[] = {{45.99f, 45}, {-45.99f, 45}, {-0.5f, 0}, {-0.0f, 0}, {180.0f, 180},
                                           {359.9f, 359}, {32767.5f, 32767}, {1e30f, 32768}, {-kInf, 32768}};
    for (const auto& [value, degrees] : cases) EXPECT_EQ(fe::wholeDegrees(value), degrees) << value;
}

TEST(FlinnEngdahlLookup, NullOutputsAreNotWritten) {
    int seis = 0;
    fe_lookup(35.7f, ' ', 139.7f, ' ', nullptr, &seis);
    EXPECT_EQ(seis, 19);
    int geo = 0;
    fe_lookup(35.7f, ' ', 139.7f, ' ', &geo, nullptr);
    EXPECT_EQ(geo, 230);
    fe_lookup(35.7f, 'N', 139.7f, ' ', nullptr, &seis);  // no quadrant, nothing passed in
    EXPECT_EQ(seis, 0);
}

// ------------------------------------------------ fast search vs the scan

TEST(FlinnEngdahlSearch, IndexedEqualsLinearOnEveryWholeDegree) {
    std::vector<int> lons;
    for (int lon = -2; lon <= 200; ++lon) lons.push_back(lon);
    for (int lon : {359, 360, 1000, 32767, 32768}) lons.push_back(lon);
    int compared = 0;
    for (int q = -1; q <= 6; ++q)
        for (int lat = -2; lat <= 95; ++lat)
            for (int lon : lons) {
                ASSERT_EQ(fe::searchIndexed(q, lat, lon), fe::searchLinear(q, lat, lon))
                    << "quadrant " << q << " lat " << lat << " lon " << lon;
                ++compared;
            }
    EXPECT_GT(compared, 100000);
    // Sanity of the reference itself on the worked examples.
    EXPECT_EQ(fe::searchLinear(1, 35, 139), 230);
    EXPECT_EQ(fe::searchLinear(4, 0, 0), 409);
    EXPECT_EQ(fe::searchLinear(1, 91, 0), 0);
    EXPECT_EQ(fe::searchLinear(0, 10, 10), 0);
}

TEST(FlinnEngdahlSearch, LookupEqualsLinearScanOverTheHalfDegreeGlobe) {
    for (int i = -181; i <= 181; ++i)  // one step past each pole
        for (int j = -400; j <= 400; ++j) {
            const float lat = i * 0.5f, lon = j * 0.5f;
            const auto fast = lookup(lat, ' ', lon, ' ');
            const int slow = fe::geographicRegion(lat, ' ', lon, ' ', 0, fe::searchLinear);
            ASSERT_EQ(fast.first, slow) << lat << " " << lon;
            ASSERT_EQ(fast.second, fe::nsreg[slow]) << lat << " " << lon;
        }
}

TEST(FlinnEngdahlSearch, LookupEqualsLinearScanAtRandomPositions) {
    std::mt19937 random(20240601);
    std::uniform_real_distribution<float> lat(-95.0f, 95.0f), lon(-400.0f, 400.0f);
    const char lat_letters[] = {' ', ' ', ' ', 'N', 'n', 'S', 's', 'X'};
    const char lon_letters[] = {' ', ' ', ' ', 'E', 'e', 'W', 'w', '?'};
    std::uniform_int_distribution<int> letter(0, 7), entry(-5, 800);
    for (int k = 0; k < 300000; ++k) {
        const float a = lat(random), b = lon(random);
        const char ha = lat_letters[letter(random)], hb = lon_letters[letter(random)];
        const int e = entry(random);
        int geo = e, seis = -1;
        fe_lookup(a, ha, b, hb, &geo, &seis);
        const int slow = fe::geographicRegion(a, ha, b, hb, e, fe::searchLinear);
        ASSERT_EQ(geo, slow) << a << ha << " " << b << hb << " entry " << e;
        ASSERT_EQ(seis, fe::nsreg[slow]);
    }
}

// ---------------------------------------------------------------- fe_region

TEST(FlinnEngdahlRegion, NamesAndSeismicFill) {
    struct {
        int geo, seis_in, seis_out;
        const char* geo_name;
        const char* seis_name;
    } cases[] = {
        {230, 0, 19, fe::greg[230], fe::sreg[19]},
        {230, -3, 19, fe::greg[230], fe::sreg[19]},
        {230, 5, 5, fe::greg[230], fe::sreg[5]},  // a positive seismic number is kept even if it disagrees
        {1, 0, 1, "Central Alaska, United States", "ALASKA - ALEUTIAN ISLANDS ARC"},
        {758, 0, 0, kBlank.c_str(), kBlank.c_str()},
        {758, 50, 50, kBlank.c_str(), "ANTARCTICA"},
        {0, 0, 0, kBlank.c_str(), kBlank.c_str()},
        {-7, -7, -7, kBlank.c_str(), kBlank.c_str()},
        {100000, 51, 51, kBlank.c_str(), kBlank.c_str()},
        {757, 0, fe::nsreg[757], "Galapagos Triple Junction region", fe::sreg[fe::nsreg[757]]},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.geo) + "/" + std::to_string(c.seis_in));
        const char* geo_name = nullptr;
        const char* seis_name = nullptr;
        int seis = c.seis_in;
        fe_region(c.geo, &geo_name, &seis, &seis_name);
        EXPECT_EQ(seis, c.seis_out);
        ASSERT_TRUE(geo_name && seis_name);
        EXPECT_STREQ(geo_name, c.geo_name);
        EXPECT_STREQ(seis_name, c.seis_name);
    }
}

TEST(FlinnEngdahlRegion, OutsideEveryRowGivesTwoBlankNames) {
    auto [geo, seis] = lookup(95.0f, ' ', 0.0f, ' ');
    const char* geo_name = nullptr;
    const char* seis_name = nullptr;
    fe_region(geo, &geo_name, &seis, &seis_name);
    EXPECT_EQ(geo_name, fe::blank_name);
    EXPECT_EQ(seis_name, fe::blank_name);
    EXPECT_EQ(seis, 0);
    fe_region(230, nullptr, nullptr, nullptr);  // nothing to write, nothing read
    const char* only = nullptr;
    fe_region(230, nullptr, nullptr, &only);
    EXPECT_EQ(only, fe::sreg[19]);
}

TEST(FlinnEngdahlRegion, RegionTextJoinsBothNames) {
    EXPECT_EQ(zeva::feRegionText(1, 1), "Central Alaska, United States (ALASKA - ALEUTIAN ISLANDS ARC)");
    EXPECT_EQ(zeva::feRegionText(230, 0), std::string(fe::greg[230]) + " (" + fe::sreg[19] + ")");
    EXPECT_EQ(zeva::feRegionText(758, 0), kBlank + " (" + kBlank + ")");
}

// ---------------------------------------------------------------- zeva region

TEST(FlinnEngdahlCommand, PrintsNumbersAndText) {
    const std::string cli = ZEVA_CLI_PATH;
    struct {
        const char* args;
        std::string out;
        int status;
    } cases[] = {
        {"35.7 139.7", "230\t19\t" + zeva::feRegionText(230, 19) + "\n", 0},
        {"0 0", "561\t37\t" + zeva::feRegionText(561, 37) + "\n", 0},
        {"-33.5 -70.6", "127\t8\t" + zeva::feRegionText(127, 8) + "\n", 0},
        {"35.7 139.7 --hemispheres S W", "632\t39\t" + zeva::feRegionText(632, 39) + "\n", 0},
        {"--hemispheres n e -35.7 -139.7", "230\t19\t" + zeva::feRegionText(230, 19) + "\n", 0},
        {"95 0", "758\t0\t" + kBlank + " (" + kBlank + ")\n", 0},
        {"10 -1e40", "758\t0\t" + kBlank + " (" + kBlank + ")\n", 0},
        {"35.7", "", 2},
        {"35.7 139.7 1", "", 2},
        {"north 139.7", "", 2},
        {"35.7 139.7 --hemispheres X E", "", 2},
        {"35.7 139.7 --hemispheres N", "", 2},
        {"35.7 139.7 --wrap", "", 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        int status = -1;
        EXPECT_EQ(run(cli + " region " + c.args + " 2>/dev/null", &status), c.out);
        EXPECT_EQ(status, c.status);
    }
}

// ---------------------------------------------------------------- generator

std::filesystem::path dataDir() { return std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "flinn-engdahl"; }

std::string generatorCommand(const std::filesystem::path& data, const std::string& mode) {
    return std::string(ZEVA_PYTHON) + " " + ZEVA_SOURCE_DIR + "/scripts/gen_flinn_engdahl.py --data '" +
           data.string() + "' --output '" + ZEVA_SOURCE_DIR + "/zeva/events/flinn_engdahl_tables.cpp' " + mode +
           " 2>&1";
}

TEST(FlinnEngdahlGenerator, CommittedTablesMatchTheData) {
    if (!std::filesystem::exists(dataDir() / "boundaries.tsv")) GTEST_SKIP() << "no Flinn-Engdahl data in " << dataDir();
    int status = -1;
    const std::string out = run(generatorCommand(dataDir(), "--check"), &status);
    EXPECT_EQ(status, 0) << out;
}

}  // namespace
