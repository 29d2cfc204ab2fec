// StationXML import against libxml2's bare streaming pass over the same
// bytes, and the archive round trip of the imported inventory.
//
// The document: 1,000 stations in 20 networks, each filled with channel
// epochs (full responses: poles and zeros, FIR coefficients, decimations,
// gains) taken from the shared real documents until it holds some 20 KB, so
// about 20 MB in all.
//
//   stream     xmlTextReader over the bytes, every node visited, nothing kept
//              (the floor: the same reader and options the import uses)
//   records    the StationXML reader filling its plain records, no model
//   import     the whole import: reader and model
//   archive    the imported inventory written as a keyed archive
//   restore    that archive read back
//   memory     one import from a file, with the heap the model holds and the
//              growth of the peak resident size during the import
//
// Counters: x_stream is the benchmark's processor time over the stream
// pass's of the same run; x_import the same over the import's.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <ctime>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <libxml/xmlreader.h>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace {

constexpr int kStations = 1000;
constexpr int kStationsPerNetwork = 50;
constexpr size_t kStationBytes = 20000;

std::string readWhole(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Every <Channel> element of the shared documents, as text, that is plain
// ASCII (so it reads the same under any declared encoding).
std::vector<std::string> channelTemplates() {
    std::vector<std::string> out;
    const std::filesystem::path dir = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "stationxml";
    for (const char* name : {"IU_ANMO_BH.xml", "DK.BSD..BHZ.xml", "G_CAN__LHZ.xml", "BW_GR_misc.xml",
                             "IRIS_single_channel_with_response.xml"}) {
        std::string text = readWhole(dir / name);
        for (size_t at = text.find("<Channel "); at != std::string::npos; at = text.find("<Channel ", at + 1)) {
            size_t end = text.find("</Channel>", at);
            if (end == std::string::npos) break;
            std::string channel = text.substr(at, end + 10 - at);
            bool ascii = true;
            for (unsigned char c : channel) ascii = ascii && c < 0x80;
            if (ascii) out.push_back(std::move(channel));
        }
    }
    return out;
}

std::string buildDocument() {
    std::vector<std::string> templates = channelTemplates();
    if (templates.empty()) return {};
    std::string doc =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<FDSNStationXML xmlns=\"http://www.fdsn.org/xml/station/1\" "
        "xmlns:iris=\"http://www.fdsn.org/xml/station/1/iris\" schemaVersion=\"1.1\">\n"
        " <Source>zeva benchmark</Source>\n <Created>2024-01-01T00:00:00</Created>\n";
    size_t next = 0;
    char buffer[512];
    for (int s = 0; s < kStations; ++s) {
        if (s % kStationsPerNetwork == 0) {
            if (s > 0) doc += " </Network>\n";
            std::snprintf(buffer, sizeof buffer,
                          " <Network code=\"N%d\" startDate=\"1990-01-01T00:00:00\">\n"
                          "  <Description>Benchmark network %d</Description>\n",
                          s / kStationsPerNetwork, s / kStationsPerNetwork);
            doc += buffer;
        }
        size_t stationStart = doc.size();
        std::snprintf(buffer, sizeof buffer,
                      "  <Station code=\"S%04d\" startDate=\"2000-01-01T00:00:00\">\n"
                      "   <Latitude>%.4f</Latitude>\n   <Longitude>%.4f</Longitude>\n"
                      "   <Elevation>%d.0</Elevation>\n   <Site><Name>Station %d</Name></Site>\n",
                      s, -60.0 + (s % 120), -170.0 + (s % 340), 100 + s % 2000, s);
        doc += buffer;
        while (doc.size() - stationStart < kStationBytes) {
            doc += "   ";
            doc += templates[next++ % templates.size()];
            doc += '\n';
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

double gStreamSeconds = 0, gImportSeconds = 0;

// Ratios are taken of the thread's processor time, which other processes on
// a shared machine disturb far less than the wall clock.
struct Clock {
    using time_point = double;
    static double now() {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
    }
};
double since(double start) { return Clock::now() - start; }

void setRatios(benchmark::State& state, double totalSeconds) {
    double mean = totalSeconds / static_cast<double>(state.iterations());
    if (gStreamSeconds > 0) state.counters["x_stream"] = mean / gStreamSeconds;
    if (gImportSeconds > 0) state.counters["x_import"] = mean / gImportSeconds;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document().size()));
}

bool haveDocument(benchmark::State& state) {
    if (!document().empty()) return true;
    state.SkipWithError("no shared StationXML documents to build the benchmark document from");
    return false;
}

void stream(benchmark::State& state) {
    if (!haveDocument(state)) return;
    const std::string& doc = document();
    double total = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        xmlTextReaderPtr reader =
            xmlReaderForMemory(doc.data(), static_cast<int>(doc.size()), nullptr, nullptr,
                               XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT);
        int nodes = 0;
        while (xmlTextReaderRead(reader) == 1) ++nodes;
        xmlFreeTextReader(reader);
        benchmark::DoNotOptimize(nodes);
        total += since(start);
    }
    gStreamSeconds = total / static_cast<double>(state.iterations());
    setRatios(state, total);
}

struct CountingBuilder : zeva::stationxml::Builder {
    size_t channels = 0, stages = 0;
    void network(const zeva::stationxml::Network&) override {}
    void station(const zeva::stationxml::Station&) override {}
    void channel(const zeva::stationxml::Channel& c) override {
        ++channels;
        stages += c.response.stages.size();
    }
};

void records(benchmark::State& state) {
    if (!haveDocument(state)) return;
    double total = 0;
    size_t channels = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        CountingBuilder builder;
        zeva::stationxml::Failure failure;
        if (!zeva::stationxml::readMemory(document().data(), document().size(), builder, &failure))
            state.SkipWithError(failure.message.c_str());
        channels = builder.channels;
        total += since(start);
    }
    state.counters["channels"] = static_cast<double>(channels);
    setRatios(state, total);
}

zeva::StationXMLInventory importOnce(benchmark::State& state) {
    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    if (!zeva::importStationXMLMemory(document().data(), document().size(), &inventory, &failure))
        state.SkipWithError(failure.message.c_str());
    return inventory;
}

void import(benchmark::State& state) {
    if (!haveDocument(state)) return;
    double total = 0;
    size_t channels = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        {
            zeva::StationXMLInventory inventory = importOnce(state);
            channels = inventory.channels->count();
            total += since(start);
            state.PauseTiming();  // releasing the model is not part of the import
        }
        state.ResumeTiming();
    }
    gImportSeconds = total / static_cast<double>(state.iterations());
    state.counters["channels"] = static_cast<double>(channels);
    setRatios(state, total);
}

zeva::Ref<zeva::MutableDictionary> archiveRoot(const zeva::StationXMLInventory& inventory) {
    auto root = zeva::MutableDictionary::dictionary();
    root->setObject_forKey(inventory.channels, "channels");
    root->setObject_forKey(inventory.instrumentation, "instrumentation");
    return root;
}

void archive(benchmark::State& state) {
    if (!haveDocument(state)) return;
    auto root = archiveRoot(importOnce(state));
    double total = 0;
    size_t bytes = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        auto data = zeva::archivedDataWithRootObject(root);
        bytes = data ? data->size() : 0;
        total += since(start);
    }
    state.counters["archive_MB"] = static_cast<double>(bytes) / 1e6;
    setRatios(state, total);
}

void restore(benchmark::State& state) {
    if (!haveDocument(state)) return;
    auto data = zeva::archivedDataWithRootObject(archiveRoot(importOnce(state)));
    if (!data) return state.SkipWithError("could not archive the inventory");
    double total = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        {
            std::string error;
            auto root = zeva::unarchiveObjectWithData(data->data(), data->size(), &error);
            if (!root) state.SkipWithError(error.c_str());
            total += since(start);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    setRatios(state, total);
}

long statusKilobytes(const char* field) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind(field, 0) == 0) return std::stol(line.substr(std::string(field).size()));
    return 0;
}

void memory(benchmark::State& state) {
    if (!haveDocument(state)) return;
    auto path = std::filesystem::temp_directory_path() / "zeva-bench-stationxml.xml";
    std::ofstream(path, std::ios::binary) << document();
    for (auto _ : state) {
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak resident size starts again from now
        long rssBefore = statusKilobytes("VmRSS:");
        size_t heapBefore = mallinfo2().uordblks;
        zeva::StationXMLInventory inventory;
        zeva::stationxml::Failure failure;
        if (!zeva::importStationXMLFile(path.string(), &inventory, &failure)) state.SkipWithError(failure.message.c_str());
        double model = static_cast<double>(mallinfo2().uordblks - heapBefore) / 1e6;
        double peak = static_cast<double>(statusKilobytes("VmHWM:") - rssBefore) / 1e3;
        state.counters["model_MB"] = model;
        state.counters["peak_growth_MB"] = peak;
        state.counters["document_MB"] = static_cast<double>(document().size()) / 1e6;
    }
    std::filesystem::remove(path);
}

}  // namespace

// The floor first: the other benchmarks read its time.
BENCHMARK(stream)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(records)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(import)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(archive)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(restore)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(memory)->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) {
    zeva::registerModelClasses();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
