// Flinn-Engdahl lookups per second: the plain block scan against the
// row-indexed search that fe_lookup uses, over two sets of positions.
//
//   uniform: spread evenly over the sphere's surface (every block and row).
//   seismic: clustered around active belts (circum-Pacific, Alpine-Himalayan,
//            mid-ocean ridges), where an event feed's origins actually fall.
#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_internal.hpp"

namespace {

struct Position {
    float latitude, longitude;
};

constexpr int kPositions = 4096;

std::vector<Position> uniformPositions() {
    std::mt19937 random(1995);
    std::uniform_real_distribution<double> unit(-1.0, 1.0), longitude(-180.0, 180.0);
    std::vector<Position> out;
    for (int i = 0; i < kPositions; ++i)
        out.push_back({static_cast<float>(std::asin(unit(random)) * 180.0 / std::numbers::pi),
                       static_cast<float>(longitude(random))});
    return out;
}

std::vector<Position> seismicPositions() {
    // Centres along the main belts; positions scatter a few degrees around them.
    static const Position centres[] = {
        {61.0f, -150.0f}, {52.0f, 175.0f},  {38.0f, -122.0f}, {19.0f, -99.0f},  {13.0f, -89.0f},
        {-5.0f, -80.0f},  {-20.0f, -70.0f}, {-33.5f, -70.6f}, {-56.0f, -27.0f}, {-38.0f, 176.0f},
        {-21.0f, -175.0f}, {-17.0f, 168.0f}, {-6.0f, 150.0f},  {-8.0f, 118.0f},  {1.0f, 98.0f},
        {14.0f, 121.0f},  {24.0f, 122.0f},  {35.7f, 139.7f},  {45.0f, 150.0f},  {28.0f, 85.0f},
        {36.0f, 70.0f},   {35.0f, 52.0f},   {38.0f, 38.0f},   {38.0f, 22.0f},   {42.0f, 13.0f},
        {0.0f, -25.0f},   {-35.0f, -15.0f}, {65.0f, -18.0f},  {-45.0f, 95.0f},  {-10.0f, 67.0f},
    };
    std::mt19937 random(2024);
    std::normal_distribution<float> scatter(0.0f, 3.0f);
    std::uniform_int_distribution<int> pick(0, sizeof centres / sizeof centres[0] - 1);
    std::vector<Position> out;
    for (int i = 0; i < kPositions; ++i) {
        const Position& c = centres[pick(random)];
        float lon = c.longitude + scatter(random);
        if (lon > 180.0f) lon -= 360.0f;
        if (lon < -180.0f) lon += 360.0f;
        out.push_back({std::fmax(-90.0f, std::fmin(90.0f, c.latitude + scatter(random))), lon});
    }
    return out;
}

const std::vector<Position>& positions(int set) {
    static const std::vector<Position> uniform = uniformPositions(), seismic = seismicPositions();
    return set == 0 ? uniform : seismic;
}

void run(benchmark::State& state, zeva::fe::BlockSearch search) {
    const auto& list = positions(static_cast<int>(state.range(0)));
    state.SetLabel(state.range(0) == 0 ? "uniform" : "seismic");
    size_t i = 0;
    for (auto _ : state) {
        const Position& p = list[i++ & (kPositions - 1)];
        benchmark::DoNotOptimize(zeva::fe::geographicRegion(p.latitude, ' ', p.longitude, ' ', 0, search));
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_LinearScan(benchmark::State& state) { run(state, zeva::fe::searchLinear); }
void BM_IndexedSearch(benchmark::State& state) { run(state, zeva::fe::searchIndexed); }

// The public entry point end to end: lookup, seismic region and both names.
void BM_FeLookupAndRegion(benchmark::State& state) {
    const auto& list = positions(static_cast<int>(state.range(0)));
    state.SetLabel(state.range(0) == 0 ? "uniform" : "seismic");
    size_t i = 0;
    for (auto _ : state) {
        const Position& p = list[i++ & (kPositions - 1)];
        int geographic = 0, seismic = 0;
        const char* geographic_name = nullptr;
        const char* seismic_name = nullptr;
        fe_lookup(p.latitude, ' ', p.longitude, ' ', &geographic, &seismic);
        fe_region(geographic, &geographic_name, &seismic, &seismic_name);
        benchmark::DoNotOptimize(geographic_name);
        benchmark::DoNotOptimize(seismic_name);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

}  // namespace

BENCHMARK(BM_LinearScan)->Arg(0)->Arg(1);
BENCHMARK(BM_IndexedSearch)->Arg(0)->Arg(1);
BENCHMARK(BM_FeLookupAndRegion)->Arg(0)->Arg(1);

BENCHMARK_MAIN();
