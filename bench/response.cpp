// Response evaluation and instrument correction, each against a floor
// measured in the same run:
//
//   import         the import of the 20 MB StationXML document bench_stationxml
//                  builds (the same construction: 1,000 stations filled with
//                  the shared documents' channel epochs)
//   evaluate_all   every channel epoch of that document evaluated at 1,000
//                  log-spaced frequencies (1 mHz to the channel's Nyquist);
//                  x_import: its time over the import's (goal: at most 1)
//   broadband      IU.ANMO.00.BHZ (poles and zeros, digitiser gain, three FIR
//                  stages) at 1,000 frequencies, a grid its FIR stages were
//                  not evaluated at before; of_1ms: its time over 1 ms
//   fftw_day       FFTW's forward and inverse real transforms (plans made
//                  with FFTW_ESTIMATE, as the correction does) of the padded
//                  length of a day of 100 Hz samples
//   correct_day    that day (a random walk) corrected to velocity through
//                  IU.ANMO.00.BHZ's response, no pre-filter, so every bin is
//                  evaluated; x_fftw: its time over fftw_day's (goal: 3)
//
// Times are the thread's processor time.
#include <benchmark/benchmark.h>

#include <fftw3.h>

#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/response/InstrumentCorrection.hpp"
#include "zeva/response/ResponseEvaluation.hpp"

namespace {

namespace fs = std::filesystem;

double now() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

std::string readWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The document of bench_stationxml: 1,000 stations of about 20 KB each.
std::string buildDocument() {
    std::vector<std::string> templates;
    const fs::path dir = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml";
    for (const char* name : {"IU_ANMO_BH.xml", "DK.BSD..BHZ.xml", "G_CAN__LHZ.xml", "BW_GR_misc.xml",
                             "IRIS_single_channel_with_response.xml"}) {
        std::string text = readWhole(dir / name);
        for (size_t at = text.find("<Channel "); at != std::string::npos; at = text.find("<Channel ", at + 1)) {
            size_t end = text.find("</Channel>", at);
            if (end == std::string::npos) break;
            std::string channel = text.substr(at, end + 10 - at);
            bool ascii = true;
            for (unsigned char c : channel) ascii = ascii && c < 0x80;
            if (ascii) templates.push_back(std::move(channel));
        }
    }
    if (templates.empty()) return {};
    std::string doc = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<FDSNStationXML xmlns=\"http://www.fdsn.org/xml/station/1\" schemaVersion=\"1.1\">\n"
                      " <Source>zeva benchmark</Source>\n <Created>2024-01-01T00:00:00</Created>\n";
    size_t next = 0;
    char buffer[512];
    for (int s = 0; s < 1000; ++s) {
        if (s % 50 == 0) {
            if (s > 0) doc += " </Network>\n";
            std::snprintf(buffer, sizeof buffer, " <Network code=\"N%d\" startDate=\"1990-01-01T00:00:00\">\n", s / 50);
            doc += buffer;
        }
        size_t stationStart = doc.size();
        std::snprintf(buffer, sizeof buffer,
                      "  <Station code=\"S%04d\" startDate=\"2000-01-01T00:00:00\">\n"
                      "   <Latitude>10.0</Latitude>\n   <Longitude>20.0</Longitude>\n"
                      "   <Elevation>100.0</Elevation>\n   <Site><Name>Station %d</Name></Site>\n",
                      s, s);
        doc += buffer;
        while (doc.size() - stationStart < 20000) {
            doc += "   " + templates[next++ % templates.size()] + "\n";
        }
        doc += "  </Station>\n";
    }
    doc += " </Network>\n</FDSNStationXML>\n";
    return doc;
}

const std::string& document() {
    static const std::string doc = buildDocument();
    return doc;
}

double gImportSeconds = 0, gFFTWSeconds = 0;
constexpr size_t kDay = 100 * 86400;

zeva::StationXMLInventory importDocument(benchmark::State& state) {
    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    if (!zeva::importStationXMLMemory(document().data(), document().size(), &inventory, &failure))
        state.SkipWithError(failure.message.c_str());
    return inventory;
}

void import(benchmark::State& state) {
    if (document().empty()) return state.SkipWithError("no shared StationXML documents");
    double total = 0;
    for (auto _ : state) {
        double start = now();
        auto inventory = importDocument(state);
        benchmark::DoNotOptimize(inventory.channels->count());
        total += now() - start;
    }
    gImportSeconds = total / static_cast<double>(state.iterations());
    state.counters["MB"] = static_cast<double>(document().size()) / 1e6;
}

void evaluateAll(benchmark::State& state) {
    if (document().empty()) return state.SkipWithError("no shared StationXML documents");
    auto inventory = importDocument(state);
    size_t n = inventory.channels->count();
    std::vector<std::vector<double>> grids(n);
    for (size_t i = 0; i < n; ++i) {
        auto sampling = inventory.channels->objectAtIndexAs<ZEVAChannel>(i)->_sampling_info();
        double rate = sampling ? sampling->_numPoints() / sampling->_interval()->value() : 20;
        grids[i] = zeva::response::frequencyGrid(1e-3, rate / 2, 1000, true);
    }
    double total = 0;
    size_t evaluated = 0;
    for (auto _ : state) {
        double start = now();
        evaluated = 0;
        for (size_t i = 0; i < n; ++i) {
            auto response = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)->_the_response();
            zeva::response::Evaluation e;
            std::string error;
            if (response && zeva::response::evaluate(*response, grids[i], {}, &e, &error)) ++evaluated;
        }
        total += now() - start;
    }
    state.counters["epochs"] = static_cast<double>(evaluated);
    if (gImportSeconds > 0) state.counters["x_import"] = total / static_cast<double>(state.iterations()) / gImportSeconds;
}

zeva::Ref<ZEVAResponse> broadbandResponse() {
    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    fs::path path = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml" / "IU_ANMO_BH.xml";
    if (!zeva::importStationXMLFile(path.string(), &inventory, &failure)) return nullptr;
    for (size_t i = 0; i < inventory.channels->count(); ++i) {
        auto c = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        if (zeva::textOf(c->site_code()) == "00" && zeva::textOf(c->channel_code()) == "BHZ")
            return inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)->_the_response();
    }
    return nullptr;
}

void broadband(benchmark::State& state) {
    auto response = broadbandResponse();
    if (!response) return state.SkipWithError("no IU.ANMO.00.BHZ in the shared documents");
    // More grids than evaluation remembers FIR results for, so that every
    // iteration computes its FIR stages afresh.
    std::vector<std::vector<double>> grids;
    for (int g = 0; g < 100; ++g) grids.push_back(zeva::response::frequencyGrid(1e-3 * (1 + 1e-6 * g), 20, 1000, true));
    double total = 0;
    size_t next = 0;
    for (auto _ : state) {
        const auto& f = grids[next++ % grids.size()];
        double start = now();
        zeva::response::Evaluation e;
        std::string error;
        benchmark::DoNotOptimize(zeva::response::evaluate(*response, f, {}, &e, &error));
        total += now() - start;
    }
    state.counters["of_1ms"] = total / static_cast<double>(state.iterations()) / 1e-3;
}

void fftwDay(benchmark::State& state) {
    size_t length = zeva::response::fastLength(2 * kDay);
    double* x = static_cast<double*>(fftw_malloc(sizeof(double) * length));
    auto* X = static_cast<fftw_complex*>(fftw_malloc(sizeof(fftw_complex) * (length / 2 + 1)));
    std::fill(x, x + length, 1.0);
    double total = 0;
    for (auto _ : state) {
        double start = now();
        fftw_plan forward = fftw_plan_dft_r2c_1d(static_cast<int>(length), x, X, FFTW_ESTIMATE);
        fftw_plan inverse = fftw_plan_dft_c2r_1d(static_cast<int>(length), X, x, FFTW_ESTIMATE);
        fftw_execute(forward);
        fftw_execute(inverse);
        fftw_destroy_plan(forward);
        fftw_destroy_plan(inverse);
        total += now() - start;
    }
    fftw_free(x);
    fftw_free(X);
    gFFTWSeconds = total / static_cast<double>(state.iterations());
    state.counters["length"] = static_cast<double>(length);
}

void correctDay(benchmark::State& state) {
    auto response = broadbandResponse();
    if (!response) return state.SkipWithError("no IU.ANMO.00.BHZ in the shared documents");
    std::vector<double> samples(kDay);
    std::mt19937 random(7);
    std::normal_distribution<double> step(0, 100);
    double v = 0;
    for (double& s : samples) s = v += step(random);
    zeva::response::CorrectionOptions options;
    std::vector<double> out;
    double total = 0;
    for (auto _ : state) {
        double start = now();
        std::string error;
        if (!zeva::response::correctSamples(samples, 100, *response, options, &out, nullptr, &error))
            state.SkipWithError(error.c_str());
        total += now() - start;
    }
    if (gFFTWSeconds > 0) state.counters["x_fftw"] = total / static_cast<double>(state.iterations()) / gFFTWSeconds;
}

}  // namespace

BENCHMARK(import)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(evaluateAll)->Name("evaluate_all")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(broadband)->Unit(benchmark::kMicrosecond);
BENCHMARK(fftwDay)->Name("fftw_day")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(correctDay)->Name("correct_day")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK_MAIN();
