// Keyed-archive speed on the origin list of a real USGS week feed (1,088
// rows) and on lists ten and a hundred times as long (the file loaded 10 and
// 100 times, so every origin is its own object graph). Beside ours, in the
// same run, libplist's own binary parse and binary write of the same bytes:
// no reader can be faster than parsing its file, no writer than writing it.
// libplist 2.2 grows faster than linearly (ten times the file takes about 60
// times as long to parse and 300 times as long to write), so it runs at 1x
// and 10x only; at 100x it would take many minutes.
//
//   build/bench/bench_keyed_archive
//
// After the runs a summary gives the ratios of processor time (other
// processes on a shared machine inflate the wall time): unarchive / bare
// parse, archive / bare write, and the growth from 1x to 100x of ours. The
// restored graph, like libplist's parsed tree, is freed outside the timed
// part: freeing is the host's business when it lets go of what it read.
#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <malloc.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/URL.hpp"

namespace {

const std::string kFeed = std::string(ZEVA_SHARED_DATA_DIR) + "/usgs-feed/1.0_week.2016-01-07.csv";
constexpr int kScales[] = {1, 10, 100};

struct Workload {
    zeva::ObjectRef origins;
    std::vector<uint8_t> bytes;
    plist_t tree = nullptr;
};

// The feed loaded `times` times into one origin list, with its archive.
const Workload& workload(int times) {
    static std::map<int, Workload> loads;
    Workload& w = loads[times];
    if (w.origins) return w;
    auto controller = NEIC_QueryController::create();
    auto urls = zeva::MutableArray::array();
    for (int i = 0; i < times; ++i) urls->addObject(zeva::URL::fileURLWithPath(kFeed));
    controller->setGsURLs(urls);
    controller->setMinMagnitude(-INFINITY);
    controller->setMaxMagnitude(INFINITY);
    if (!controller->loadNEIC_TextList()) return w;
    w.origins = controller->seismicOrigins();
    w.bytes = *zeva::archivedDataWithRootObject(w.origins);
    // One restore before timing, so that every size runs on a heap that has
    // held its objects once (as the archive above warmed the writer's).
    (void)zeva::unarchiveObjectWithData(w.bytes.data(), w.bytes.size());
    if (times <= 10)
        plist_from_bin(reinterpret_cast<const char*>(w.bytes.data()), static_cast<uint32_t>(w.bytes.size()), &w.tree);
    return w;
}

bool ready(benchmark::State& state, const Workload& w, bool tree = false) {
    if (w.origins && (w.tree || !tree)) return true;
    state.SkipWithError("the shared feed file could not be loaded");
    return false;
}

void archive(benchmark::State& state, int times) {
    const Workload& w = workload(times);
    if (!ready(state, w)) return;
    for (auto _ : state) benchmark::DoNotOptimize(zeva::archivedDataWithRootObject(w.origins));
    state.counters["origins"] = static_cast<double>(static_cast<zeva::Array&>(*w.origins).count());
    state.counters["bytes"] = static_cast<double>(w.bytes.size());
}

void unarchive(benchmark::State& state, int times) {
    const Workload& w = workload(times);
    if (!ready(state, w)) return;
    for (auto _ : state) {
        zeva::ObjectRef back = zeva::unarchiveObjectWithData(w.bytes.data(), w.bytes.size());
        if (!back) state.SkipWithError("the archive did not restore");
        benchmark::DoNotOptimize(back);
        state.PauseTiming();
        back.reset();
        state.ResumeTiming();
    }
}

void libplistParse(benchmark::State& state, int times) {
    const Workload& w = workload(times);
    if (!ready(state, w, true)) return;
    for (auto _ : state) {
        plist_t tree = nullptr;
        plist_from_bin(reinterpret_cast<const char*>(w.bytes.data()), static_cast<uint32_t>(w.bytes.size()), &tree);
        benchmark::DoNotOptimize(tree);
        state.PauseTiming();
        plist_free(tree);
        state.ResumeTiming();
    }
}

void libplistWrite(benchmark::State& state, int times) {
    const Workload& w = workload(times);
    if (!ready(state, w, true)) return;
    for (auto _ : state) {
        char* bin = nullptr;
        uint32_t length = 0;
        plist_to_bin(w.tree, &bin, &length);
        benchmark::DoNotOptimize(bin);
        plist_to_bin_free(bin);
    }
}

// Keeps each run's time per iteration for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> seconds;

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.iterations > 0)
                seconds[r.run_name.function_name] = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit);
        ConsoleReporter::ReportRuns(runs);
    }
};

std::string name(const char* what, int times) { return std::string(what) + "/x" + std::to_string(times); }

}  // namespace

int main(int argc, char** argv) {
    if (!std::filesystem::exists(kFeed)) {
        std::printf("skipped: the shared feed file %s is missing\n", kFeed.c_str());
        return 0;
    }
    // Keeps freed memory in the process between iterations. Otherwise glibc
    // hands the large heaps of the 100x runs back to the system after each
    // one and the next faults every page in again, while the 1x runs reuse
    // theirs: the growth would measure the kernel, not the archive code.
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);  // the largest it takes
    for (int times : kScales) {
        auto* a = benchmark::RegisterBenchmark(name("archive", times).c_str(), archive, times);
        a->Unit(benchmark::kMillisecond);
        if (times <= 10)
            benchmark::RegisterBenchmark(name("libplist_write", times).c_str(), libplistWrite, times)
                ->Unit(benchmark::kMillisecond);
        auto* u = benchmark::RegisterBenchmark(name("unarchive", times).c_str(), unarchive, times);
        u->Unit(benchmark::kMillisecond);
        if (times == 100) {
            a->Iterations(3);
            u->Iterations(3);
        }
        if (times <= 10)
            benchmark::RegisterBenchmark(name("libplist_parse", times).c_str(), libplistParse, times)
                ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    auto& s = reporter.seconds;
    auto ratio = [&](const std::string& a, const std::string& b) {
        return s.count(a) && s.count(b) && s[b] > 0 ? s[a] / s[b] : NAN;
    };
    std::printf("\n%-8s %14s %14s\n", "origins", "unarchive/parse", "archive/write");
    for (int times : {1, 10})
        std::printf("x%-7d %14.2f %14.2f\n", times, ratio(name("unarchive", times), name("libplist_parse", times)),
                    ratio(name("archive", times), name("libplist_write", times)));
    std::printf("growth x1 -> x100: unarchive %.1fx, archive %.1fx (goals: unarchive/parse <= 3, archive/write <= 2, "
                "growth <= 120)\n",
                ratio(name("unarchive", 100), name("unarchive", 1)), ratio(name("archive", 100), name("archive", 1)));
    return 0;
}
