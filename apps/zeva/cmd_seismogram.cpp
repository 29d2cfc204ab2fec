#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <fmt/printf.h>

#include "command.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace {

constexpr const char* kName = "zeva seismogram";

void printSeismogram(const ZEVALocalSeismogram& s, bool samples) {
    std::span<const float> v = s.samples();
    const double rate = 1.0 / static_cast<double>(s.sampleInterval());
    if (v.empty()) {
        fmt::printf("%s\n0 samples, %g Hz\n", s.shortDescription(), rate);
        return;
    }
    double low = v[0], high = v[0], sum = 0;
    for (float x : v) low = std::min<double>(low, x), high = std::max<double>(high, x), sum += x;
    fmt::printf("%s\n%zu samples, %g Hz, min %.9g, max %.9g, mean %.9g\n", s.shortDescription(), v.size(), rate, low,
                high, sum / static_cast<double>(v.size()));
    if (samples)
        for (float x : v) fmt::printf("%.9g\n", static_cast<double>(x));
}

zeva::plot::Trace traceOf(const ZEVALocalSeismogram& s) {
    zeva::plot::Trace t;
    auto channel = s._channel_id();
    t.title = channel ? zeva::textOf(channel->_channel_code()) : "";
    auto begin = s._begin_time();
    t.start = begin ? begin->epochTime() : 0.0;
    t.interval = static_cast<double>(s.sampleInterval());
    t.samples = s.samples().data();
    t.count = s.samples().size();
    return t;
}

// "WIDTHxHEIGHT".
std::pair<int, int> parseSize(const std::string& text) {
    int w = 0, h = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%dx%d%c", &w, &h, &tail) != 2 || w < 200 || h < 100 || w > 20000 || h > 20000)
        throw zeva::cli::UsageError{"--size must be WIDTHxHEIGHT, from 200x100 to 20000x20000: " + text};
    return {w, h};
}

int seismogram(const zeva::cli::Args& args) {
    zeva::cli::Options options(args);
    std::vector<std::string> files;
    std::optional<std::string> save, plot;
    std::optional<std::pair<int, int>> size;
    bool samples = false;
    std::string word;
    while (options.next(word)) {
        if (word == "--samples")
            samples = true;
        else if (word == "--save")
            zeva::cli::outputPath(*(save = options.value(word)), word);
        else if (word == "--plot")
            zeva::cli::outputPath(*(plot = options.value(word)), word, {".png", ".svg"});
        else if (word == "--size")
            size = parseSize(options.value(word));
        else if (word.starts_with("--"))
            throw zeva::cli::UsageError{fmt::format("unexpected argument: {}", word)};
        else
            files.push_back(word);
    }
    if (files.empty()) throw zeva::cli::UsageError{"expects one or more miniSEED files"};

    int status = 0;
    std::vector<zeva::Ref<ZEVALocalSeismogram>> all;
    for (const std::string& path : files) {
        if (std::string problem = zeva::cli::inputProblem(path); !problem.empty()) {
            fmt::print(stderr, "{}: {}\n", kName, problem);
            status = 1;
            continue;
        }
        std::string error;
        auto read = zeva::miniseed::readSeismogramsFromFile(path, true, &error);
        if (!read) {
            fmt::print(stderr, "{}: cannot read {}: {}\n", kName, path, error);
            status = 1;
            continue;
        }
        std::fflush(stdout);
        if (read->records == 0) {
            fmt::print(stderr, "{}: {} is not a miniSEED file: no record found\n", kName, path);
            status = 1;
            continue;
        }
        for (const auto& p : read->problems)
            fmt::print(stderr, "{}: {}: bytes {} to {}: {}, skipped\n", kName, path, p.offset, p.offset + p.length,
                       p.message);
        for (const auto& n : read->notices) fmt::print(stderr, "{}: {}: {}\n", kName, path, n);
        for (const auto& s : read->seismograms) {
            printSeismogram(*s, samples);
            all.push_back(s);
        }
    }
    std::fflush(stdout);
    if (save && !all.empty()) {
        std::vector<zeva::ObjectRef> items(all.begin(), all.end());
        if (!zeva::archiveRootObjectToFile(zeva::Array::arrayWithObjects(std::move(items)), *save)) {
            fmt::print(stderr, "{}: cannot write {}\n", kName, *save);
            status = 1;
        }
    }
    if (plot && !all.empty()) {
        std::vector<zeva::plot::Trace> traces;
        for (const auto& s : all) traces.push_back(traceOf(*s));
        auto [w, h] = size.value_or(std::pair<int, int>{1200, static_cast<int>(std::min<size_t>(60 + 160 * all.size(), 20000))});
        std::string error;
        if (!zeva::plot::drawPlot(traces, *plot, w, h, &error)) {
            fmt::print(stderr, "{}: {}\n", kName, error);
            status = 1;
        }
    }
    return status;
}

}  // namespace

ZEVA_COMMAND("seismogram", "FILE... [--samples] [--save ARCHIVE] [--plot IMAGE] [--size WIDTHxHEIGHT]",
             "read miniSEED files into seismograms: a summary of each, its samples, an archive, a PNG or SVG plot",
             seismogram);
