// Steim-1 and Steim-2 decoding speed: ours (the public functions and each
// decoding path) against libmseed's own decoders, on the same records in the
// same run. The records are libmseed-packed 4096-byte big-endian records of
// a generated signal (random walk, microseism-like sines, bursts and
// spikes), so that every word kind occurs in realistic proportions.
//
//   build/bench/bench_steim     (samples per second)
//   ZEVA_STEIM_CALLGRIND=ours11 valgrind --tool=callgrind --toggle-collect='*decode_all*' build/bench/bench_steim
//                               (instructions of ten passes over the records)
#include <benchmark/benchmark.h>

#include <libmseed.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "zeva/waveform/MiniSEEDRecords.hpp"
#include "zeva/waveform/steim.h"
#include "zeva/waveform/steim_paths.h"

extern "C" int msr_decode_steim1(int32_t* input, int inputlength, int samplecount, int32_t* output, int outputlength,
                                 char* srcname, int swapflag);
extern "C" int msr_decode_steim2(int32_t* input, int inputlength, int samplecount, int32_t* output, int outputlength,
                                 char* srcname, int swapflag);

namespace {

constexpr size_t kSamples = 1 << 20;

struct Dataset {
    std::vector<unsigned char> bytes;
    std::vector<zeva::miniseed::Record> records;
    int32_t most = 0;  // largest record's sample count
};

std::vector<int32_t> signal() {
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0, 4);
    std::vector<int32_t> s(kSamples);
    double walk = 0;
    double burst = 0;
    for (size_t i = 0; i < kSamples; i++) {
        walk += noise(rng);
        if (rng() % 20000 == 0) burst = 200000;  // an event, decaying
        burst *= 0.999;
        double v = walk + 300 * std::sin(i * 0.04) + burst * std::sin(i * 0.9);
        if (rng() % 5000 == 0) v += std::uniform_int_distribution<int>(-1 << 24, 1 << 24)(rng);
        s[i] = static_cast<int32_t>(v);
    }
    return s;
}

void collect(char* record, int length, void* sink) {
    auto* bytes = static_cast<std::vector<unsigned char>*>(sink);
    bytes->insert(bytes->end(), record, record + length);
}

const Dataset& dataset(int encoding) {
    static Dataset sets[2];
    Dataset& d = sets[encoding - 10];
    if (!d.records.empty()) return d;
    std::vector<int32_t> s = signal();
    MSRecord* msr = msr_init(nullptr);
    std::strcpy(msr->network, "XX");
    std::strcpy(msr->station, "BENCH");
    std::strcpy(msr->channel, "HHZ");
    msr->dataquality = 'D';
    msr->samprate = 100.0;
    msr->reclen = 4096;
    msr->encoding = static_cast<int8_t>(encoding);
    msr->byteorder = 1;
    msr->datasamples = s.data();
    msr->numsamples = static_cast<int64_t>(s.size());
    msr->sampletype = 'i';
    int64_t packed = 0;
    msr_pack(msr, collect, &d.bytes, &packed, 1, 0);
    msr->datasamples = nullptr;
    msr_free(&msr);
    d.records = zeva::miniseed::scanRecords(d.bytes.data(), d.bytes.size()).records;
    for (const auto& r : d.records) d.most = std::max(d.most, r.samples);
    return d;
}

using Decoder = int64_t (*)(const zeva::miniseed::Record& r, void* out);

template <int Encoding>
int64_t ours(const zeva::miniseed::Record& r, void* out) {
    (Encoding == 10 ? decodeSteimBuffer : decodeSteim2Buffer)(r.data, r.data_length, zeva::miniseed::swapFlagFor(r.little_endian),
                                                             static_cast<float*>(out), r.samples);
    return r.samples;
}

template <zeva_steim_path Path>
int64_t path(const zeva::miniseed::Record& r, void* out) {
    return Path(r.data, r.data_length, zeva::miniseed::swapFlagFor(r.little_endian), static_cast<float*>(out), r.samples);
}

template <int Encoding>
int64_t libmseed(const zeva::miniseed::Record& r, void* out) {
    char name[] = "bench";
    auto* words = reinterpret_cast<int32_t*>(const_cast<unsigned char*>(r.data));
    return (Encoding == 10 ? msr_decode_steim1 : msr_decode_steim2)(words, r.data_length, r.samples,
                                                                    static_cast<int32_t*>(out), r.samples, name,
                                                                    zeva::miniseed::swapFlagFor(r.little_endian));
}

// Every record once; kept out of line so that callgrind can count it alone.
__attribute__((noinline)) int64_t decode_all(Decoder decoder, const Dataset& d, void* out) {
    int64_t n = 0;
    for (const auto& r : d.records) n += decoder(r, out);
    return n;
}

void run(benchmark::State& state, int encoding, Decoder decoder) {
    const Dataset& d = dataset(encoding);
    std::vector<float> out(static_cast<size_t>(d.most));
    int64_t n = 0;
    for (auto _ : state) {
        n = decode_all(decoder, d, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    if (n != static_cast<int64_t>(kSamples)) state.SkipWithError("decoded the wrong number of samples");
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSamples));
    state.counters["bytes_per_sample"] = static_cast<double>(d.bytes.size()) / kSamples;
}

struct Entry {
    const char* name;
    int encoding;
    Decoder decoder;
};

std::vector<Entry> entries() {
    std::vector<Entry> e = {
        {"libmseed10", 10, libmseed<10>},
        {"ours10", 10, ours<10>},
        {"reference10", 10, path<zeva_steim1_reference>},
        {"portable10", 10, path<zeva_steim1_portable>},
        {"libmseed11", 11, libmseed<11>},
        {"ours11", 11, ours<11>},
        {"reference11", 11, path<zeva_steim2_reference>},
        {"portable11", 11, path<zeva_steim2_portable>},
    };
#ifdef ZEVA_STEIM_HAVE_AVX2_PATH
    if (zeva_steim_cpu_has_avx2()) {
        e.push_back({"avx2_10", 10, path<zeva_steim1_avx2>});
        e.push_back({"avx2_11", 11, path<zeva_steim2_avx2>});
    }
#endif
    return e;
}

}  // namespace

int main(int argc, char** argv) {
    // One decoder over every record ten times, for callgrind.
    if (const char* only = std::getenv("ZEVA_STEIM_CALLGRIND")) {
        for (const Entry& e : entries()) {
            if (e.name != std::string(only)) continue;
            const Dataset& d = dataset(e.encoding);
            std::vector<float> out(static_cast<size_t>(d.most));
            int64_t n = 0;
            for (int i = 0; i < 10; i++) n += decode_all(e.decoder, d, out.data());
            std::printf("%s: %lld samples decoded\n", e.name, static_cast<long long>(n));
            return 0;
        }
        std::fprintf(stderr, "unknown decoder %s\n", only);
        return 2;
    }
    for (const Entry& e : entries())
        benchmark::RegisterBenchmark(e.name, [e](benchmark::State& s) { run(s, e.encoding, e.decoder); })
            ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
