// Reading a large miniSEED file into decoded seismograms, against libmseed
// reading and unpacking the same file in the same run, and plotting it.
// The file holds ten million samples of a generated signal (random walk,
// microseism-like sines, decaying bursts, spikes) that libmseed packs into
// 4096-byte big-endian Steim-2 records of three channels.
//
//   build/bench/bench_seismogram
//
// All times are CPU times of the process (user and system: on a virtual
// machine the page faults of fresh memory are a large part of a read).
// "vs_libmseed" is the CPU time libmseed takes to read the file into decoded
// traces (ms_readtraces) divided by ours to read it into decoded seismograms
// (higher is faster); run the libmseed benchmark in the same run for it.
// libmseed's record-by-record loop into one reused buffer, which keeps no
// samples, is shown beside it. The plot benchmarks draw the decoded
// seismograms of the file, read once beforehand, at 1200 pixels wide;
// "of_0.2s" is the plot's CPU time as a share of 0.2 s.
#include <benchmark/benchmark.h>

#include <libmseed.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <time.h>
#include <unistd.h>

#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace fs = std::filesystem;

namespace {

constexpr int64_t kSamples = 10'000'000;
constexpr int kChannels = 3;

void collect(char* record, int length, void* sink) {
    std::fwrite(record, 1, static_cast<size_t>(length), static_cast<std::FILE*>(sink));
}

// The file, written once per run and removed at exit.
struct File {
    fs::path path = fs::temp_directory_path() / ("zeva-bench-seismogram-" + std::to_string(::getpid()) + ".mseed");
    File() {
        std::FILE* out = std::fopen(path.c_str(), "wb");
        std::mt19937 rng(1);
        std::normal_distribution<double> noise(0, 4);
        for (int c = 0; c < kChannels; c++) {
            std::vector<int32_t> s(static_cast<size_t>(kSamples / kChannels + (c < kSamples % kChannels)));
            double walk = 0, burst = 0;
            for (size_t i = 0; i < s.size(); i++) {
                walk += noise(rng);
                if (rng() % 20000 == 0) burst = 200000;
                burst *= 0.999;
                double v = walk + 300 * std::sin(i * 0.04) + burst * std::sin(i * 0.9);
                if (rng() % 5000 == 0) v += std::uniform_int_distribution<int>(-1 << 24, 1 << 24)(rng);
                s[i] = static_cast<int32_t>(v);
            }
            MSRecord* msr = msr_init(nullptr);
            std::strcpy(msr->network, "XX");
            std::strcpy(msr->station, "BENCH");
            std::strcpy(msr->channel, c == 0 ? "HHZ" : c == 1 ? "HHN" : "HHE");
            msr->dataquality = 'D';
            msr->starttime = ms_time2hptime(2024, 1, 0, 0, 0, 0);
            msr->samprate = 100.0;
            msr->reclen = 4096;
            msr->encoding = DE_STEIM2;
            msr->byteorder = 1;
            msr->datasamples = s.data();
            msr->numsamples = static_cast<int64_t>(s.size());
            msr->sampletype = 'i';
            int64_t packed = 0;
            msr_pack(msr, collect, out, &packed, 1, 0);
            msr->datasamples = nullptr;
            msr_free(&msr);
        }
        std::fclose(out);
    }
    ~File() { fs::remove(path); }
};

const File& file() {
    static File f;
    return f;
}

double libmseedSeconds = 0;  // CPU time per pass, from the libmseed benchmark of this run

double cpuSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// libmseed's own reading into decoded traces, joined as ours are (half a
// sample of tolerance): the same result, decoded seismograms in memory.
int64_t libmseedTraces(const std::string& path) {
    MSTraceGroup* group = nullptr;
    int64_t n = 0;
    if (ms_readtraces(&group, path.c_str(), 0, -1.0, -1.0, 0, 1, 1, 0) == MS_NOERROR)
        for (MSTrace* t = group->traces; t; t = t->next) n += t->numsamples;
    mst_freegroup(&group);
    return n;
}

// libmseed reading and unpacking record by record into one reused buffer,
// keeping nothing.
int64_t libmseedRead(const std::string& path) {
    MSFileParam* fp = nullptr;
    MSRecord* msr = nullptr;
    int64_t n = 0;
    int64_t check = 0;
    while (ms_readmsr_r(&fp, &msr, path.c_str(), 0, nullptr, nullptr, 1, 1, 0) == MS_NOERROR) {
        n += msr->numsamples;
        check += static_cast<const int32_t*>(msr->datasamples)[msr->numsamples - 1];
    }
    ms_readmsr_r(&fp, &msr, nullptr, 0, nullptr, nullptr, 0, 0, 0);
    benchmark::DoNotOptimize(check);
    return n;
}

int64_t oursRead(const std::string& path) {
    auto read = zeva::miniseed::readSeismogramsFromFile(path);
    int64_t n = 0;
    for (const auto& s : read->seismograms) n += static_cast<int64_t>(s->samples().size());
    return n;
}

template <class F>
double timed(benchmark::State& state, F&& pass) {
    double seconds = 0;
    int64_t n = 0;
    for (auto _ : state) {
        const double t0 = cpuSeconds();
        n = pass();
        seconds += cpuSeconds() - t0;
    }
    if (n != kSamples) state.SkipWithError("read the wrong number of samples");
    state.SetItemsProcessed(state.iterations() * kSamples);
    return seconds / static_cast<double>(state.iterations());
}

void BM_libmseed_read_unpack_records(benchmark::State& state) {
    const std::string path = file().path;
    timed(state, [&] { return libmseedRead(path); });
    state.counters["MB"] = static_cast<double>(fs::file_size(path)) / 1e6;
}

void BM_libmseed_read_traces(benchmark::State& state) {
    const std::string path = file().path;
    libmseedSeconds = timed(state, [&] { return libmseedTraces(path); });
}

void BM_zeva_read_decode(benchmark::State& state) {
    const std::string path = file().path;
    double ours = timed(state, [&] { return oursRead(path); });
    if (libmseedSeconds > 0) state.counters["vs_libmseed"] = libmseedSeconds / ours;
}

void plot(benchmark::State& state, const char* ext) {
    const std::string image = (fs::temp_directory_path() / ("zeva-bench-plot-" + std::to_string(::getpid()))).string() + ext;
    auto read = zeva::miniseed::readSeismogramsFromFile(file().path);
    std::vector<zeva::plot::Trace> traces;
    for (const auto& s : read->seismograms)
        traces.push_back({zeva::textOf(s->_channel_id()->_channel_code()), s->_begin_time()->epochTime(),
                          static_cast<double>(s->sampleInterval()), s->samples().data(), s->samples().size(),
                          "counts", ""});
    double seconds = 0;
    for (auto _ : state) {
        const double t0 = cpuSeconds();
        if (!zeva::plot::drawPlot(traces, image, 1200, 60 + 160 * static_cast<int>(traces.size())))
            state.SkipWithError("the plot was not drawn");
        seconds += cpuSeconds() - t0;
    }
    fs::remove(image);
    state.SetItemsProcessed(state.iterations() * kSamples);
    state.counters["of_0.2s"] = seconds / static_cast<double>(state.iterations()) / 0.2;
}

void BM_zeva_plot_png(benchmark::State& state) { plot(state, ".png"); }
void BM_zeva_plot_svg(benchmark::State& state) { plot(state, ".svg"); }

}  // namespace

BENCHMARK(BM_libmseed_read_unpack_records)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_libmseed_read_traces)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_zeva_read_decode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_zeva_plot_png)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_zeva_plot_svg)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
