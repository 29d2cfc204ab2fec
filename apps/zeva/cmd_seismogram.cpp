#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>
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

// NET.STA.LOC.CHA: the channel named in full, as summaries and plot titles name it.
std::string channelName(const ZEVALocalSeismogram& s) {
    auto id = s._channel_id();
    if (!id) return "?";
    auto network = id->_network_id();
    return fmt::format("{}.{}.{}.{}", network ? zeva::textOf(network->_network_code()) : "",
                       zeva::textOf(id->_station_code()), zeva::textOf(id->_site_code()),
                       zeva::textOf(id->_channel_code()));
}

// The summary line starts from the exact instant (to the microsecond), and
// the figures and samples are the exact values where the decode kept them:
// integer counts, 64-bit floats, else the 32-bit floats as stored.
void printSeismogram(const ZEVALocalSeismogram& s, bool samples) {
    std::span<const float> v = s.samples();
    std::span<const int32_t> counts = s.counts();
    std::span<const double> doubles = s.doubles();
    const double rate = 1.0 / static_cast<double>(s.sampleInterval());
    auto begin = s._begin_time();
    const std::string from =
        begin && begin->nsDate() ? " from " + zeva::Date::isoText(begin->epochTime()) : std::string();
    if (v.empty()) {
        fmt::printf("%s  -  %s\n0 samples%s, %g Hz\n", channelName(s), s.shortDescription(), from, rate);
        return;
    }
    auto value = [&](size_t i) -> double {
        return !counts.empty() ? counts[i] : !doubles.empty() ? doubles[i] : static_cast<double>(v[i]);
    };
    const char* form = !counts.empty() ? "%.0f" : !doubles.empty() ? "%.17g" : "%.9g";
    double low = value(0), high = low, sum = 0;
    for (size_t i = 0; i < v.size(); i++) {
        const double x = value(i);
        low = std::min(low, x), high = std::max(high, x), sum += x;
    }
    fmt::printf("%s  -  %s\n%zu samples%s, %g Hz, min %s, max %s, mean %.9g\n", channelName(s), s.shortDescription(),
                v.size(), from, rate,
                fmt::sprintf(form, low), fmt::sprintf(form, high), sum / static_cast<double>(v.size()));
    if (samples)
        for (size_t i = 0; i < v.size(); i++) fmt::printf("%s\n", fmt::sprintf(form, value(i)));
}

zeva::plot::Trace traceOf(const ZEVALocalSeismogram& s) {
    zeva::plot::Trace t;
    t.title = channelName(s);  // one panel per channel
    auto begin = s._begin_time();
    t.start = begin ? begin->epochTime() : 0.0;
    // The start as the summary line prints it, so both show the same instant.
    if (begin && begin->nsDate()) t.startText = zeva::Date::isoText(begin->epochTime());
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
        std::vector<std::string> channels;
        for (const auto& t : traces)
            if (std::find(channels.begin(), channels.end(), t.title) == channels.end()) channels.push_back(t.title);
        auto [w, h] = size.value_or(
            std::pair<int, int>{1200, static_cast<int>(std::min<size_t>(60 + 160 * channels.size(), 20000))});
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
