// QuakeML import into origins against libxml2's bare streaming pass over
// the same bytes.
//
// The catalogue: 10,000 events taken in turn from the shared QuakeML 1.2
// documents (each with its identifiers made unique), some 30 MB.
//
//   stream   xmlTextReader over the bytes, every node visited, nothing kept
//            (the floor: the same reader and options the import uses)
//   import   the whole import: reader, origins, magnitudes, regions
//
// Counter x_stream: the benchmark's processor time over the stream pass's
// of the same run. Goal: import within 2x.
#include <benchmark/benchmark.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <libxml/xmlreader.h>

#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/QuakeML.hpp"

namespace {

constexpr int kEvents = 10000;

std::string readWhole(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Every <event> element of the shared 1.2 documents that has an origin.
std::vector<std::string> eventTemplates() {
    std::vector<std::string> out;
    const std::filesystem::path dir = std::filesystem::path(ZEVA_SHARED_DATA_DIR) / "quakeml";
    // The documents with full origins (uncertainties, quality, creation
    // info), as services answer them: about 3 KB an event.
    for (const char* name : {"usgs_event.xml", "qml-example-1.2-RC3.xml", "quakeml_1.2_origin.xml"}) {
        std::string text = readWhole(dir / name);
        for (size_t at = text.find("<event"); at != std::string::npos; at = text.find("<event", at + 1)) {
            if (text.compare(at, 7, "<event ") != 0 && text.compare(at, 7, "<event>") != 0) continue;
            size_t end = text.find("</event>", at);
            if (end == std::string::npos) break;
            std::string event = text.substr(at, end + 8 - at);
            if (event.find("<origin") != std::string::npos) out.push_back(std::move(event));
        }
    }
    return out;
}

std::string buildCatalogue() {
    std::vector<std::string> templates = eventTemplates();
    if (templates.empty()) return {};
    std::string doc =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<q:quakeml xmlns:q=\"http://quakeml.org/xmlns/quakeml/1.2\" xmlns=\"http://quakeml.org/xmlns/bed/1.2\" "
        "xmlns:iris=\"http://service.iris.edu/fdsnws/event/1/\" xmlns:catalog=\"http://anss.org/xmlns/catalog/0.1\">\n"
        "<eventParameters publicID=\"smi:zeva/benchmark\">\n";
    for (int i = 0; i < kEvents; ++i) {
        std::string event = templates[static_cast<size_t>(i) % templates.size()];
        // Unique identifiers: every publicID and reference gets the event's number.
        std::string tag = "/bench" + std::to_string(i);
        for (const char* mark : {"publicID=\"", "<preferredOriginID>", "<preferredMagnitudeID>", "<originID>"}) {
            size_t length = std::char_traits<char>::length(mark);
            for (size_t at = event.find(mark); at != std::string::npos; at = event.find(mark, at + 1)) {
                size_t close = event.find_first_of("\"<", at + length);
                if (close != std::string::npos) event.insert(close, tag);
            }
        }
        doc += event;
        doc += '\n';
    }
    doc += "</eventParameters>\n</q:quakeml>\n";
    return doc;
}

const std::string& catalogue() {
    static const std::string doc = buildCatalogue();
    return doc;
}

double gStreamSeconds = 0;

double cpuNow() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

bool haveCatalogue(benchmark::State& state) {
    if (!catalogue().empty()) return true;
    state.SkipWithError("no shared QuakeML documents to build the catalogue from");
    return false;
}

void finish(benchmark::State& state, double total) {
    double mean = total / static_cast<double>(state.iterations());
    if (gStreamSeconds > 0) state.counters["x_stream"] = mean / gStreamSeconds;
    state.counters["MB"] = static_cast<double>(catalogue().size()) / 1e6;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * catalogue().size()));
}

void stream(benchmark::State& state) {
    if (!haveCatalogue(state)) return;
    const std::string& doc = catalogue();
    double total = 0;
    for (auto _ : state) {
        double start = cpuNow();
        xmlTextReaderPtr reader =
            xmlReaderForMemory(doc.data(), static_cast<int>(doc.size()), nullptr, nullptr,
                               XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT);
        int nodes = 0;
        while (xmlTextReaderRead(reader) == 1) ++nodes;
        xmlFreeTextReader(reader);
        benchmark::DoNotOptimize(nodes);
        total += cpuNow() - start;
    }
    gStreamSeconds = total / static_cast<double>(state.iterations());
    finish(state, total);
}

void import(benchmark::State& state) {
    if (!haveCatalogue(state)) return;
    zeva::registerModelClasses();
    double total = 0;
    size_t origins = 0;
    for (auto _ : state) {
        double start = cpuNow();
        {
            zeva::quakeml::Catalogue read;
            zeva::quakeml::Failure failure;
            if (!zeva::quakeml::readMemory(catalogue().data(), catalogue().size(), &read, &failure))
                state.SkipWithError(failure.message.c_str());
            origins = read.origins->count();
            total += cpuNow() - start;
            state.PauseTiming();  // releasing the origins is not part of the import
        }
        state.ResumeTiming();
    }
    state.counters["origins"] = static_cast<double>(origins);
    finish(state, total);
}

// Writes the catalogue for the whole-process comparison in the README.
void write(benchmark::State& state) {
    if (!haveCatalogue(state)) return;
    const char* path = std::getenv("ZEVA_BENCH_QUAKEML_OUT");
    for (auto _ : state)
        if (path) std::ofstream(path, std::ios::binary) << catalogue();
}

}  // namespace

BENCHMARK(stream)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(import)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(write)->Iterations(1);

BENCHMARK_MAIN();
