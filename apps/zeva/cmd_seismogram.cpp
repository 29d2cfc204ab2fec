#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <fmt/core.h>
#include <fmt/printf.h>

#include "command.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/response/InstrumentCorrection.hpp"
#include "zeva/waveform/MiniSEEDReader.hpp"
#include "zeva/waveform/WaveformPlot.hpp"

namespace {

constexpr const char* kName = "zeva seismogram";

// The name of the samples' unit ("M/S" after correction); empty for counts.
std::string unitName(const ZEVALocalSeismogram& s) {
    auto unit = s._y_unit();
    return unit && unit->_name() ? zeva::textOf(unit->_name()) : std::string();
}

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
    std::string unit = unitName(s);
    fmt::printf("%s  -  %s\n%zu samples%s, %g Hz, min %s, max %s, mean %.9g%s\n", channelName(s), s.shortDescription(),
                v.size(), from, rate, fmt::sprintf(form, low), fmt::sprintf(form, high),
                sum / static_cast<double>(v.size()), unit.empty() ? std::string() : " (" + unit + ")");
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
    if (std::string unit = unitName(s); !unit.empty()) t.unit = unit;
    t.samples = s.samples().data();
    t.count = s.samples().size();
    return t;
}

std::string codesOf(const ZEVAChannelID& id) {
    auto network = id._network_id();
    return fmt::format("{}.{}.{}.{}", network ? zeva::textOf(network->_network_code()) : "", zeva::textOf(id._station_code()),
                       zeva::textOf(id._site_code()), zeva::textOf(id._channel_code()));
}

// The response of the inventory's epoch of the seismogram's channel that
// holds its first sample; null with the reason otherwise.
zeva::Ref<ZEVAResponse> responseFor(const zeva::StationXMLInventory& inventory, const ZEVALocalSeismogram& s,
                                    std::string* why) {
    auto id = s._channel_id();
    if (!id) return *why = "the seismogram names no channel", nullptr;
    std::string codes = codesOf(*id);
    double t = s._begin_time() ? s._begin_time()->epochTime() : 0;
    for (size_t i = 0; i < inventory.channels->count(); ++i) {
        auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        if (!channel || !channel->_id() || codesOf(*channel->_id()) != codes) continue;
        auto range = channel->_effective_time();
        auto start = range ? range->_start_time() : nullptr, end = range ? range->_end_time() : nullptr;
        if ((start && t < start->epochTime()) || (end && t >= end->epochTime())) continue;
        auto instrumentation = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
        if (instrumentation && instrumentation->_the_response()) return instrumentation->_the_response();
    }
    *why = fmt::format("no response for {} at the seismogram's start in the inventory", codes);
    return nullptr;
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
    std::optional<std::string> inventoryPath;
    std::optional<zeva::response::CorrectionOptions> correction;
    zeva::response::CorrectionOptions asked;
    bool waterLevel = false, preFilter = false;
    std::string word;
    while (options.next(word)) {
        if (word == "--inventory")
            inventoryPath = options.value(word);
        else if (word == "--output") {
            std::string text = options.value(word);
            if (!zeva::response::parseMotion(text, &asked.output) || text == "def")
                throw zeva::cli::UsageError{"--output must be dis, vel or acc: " + text};
            correction = asked;
        } else if (word == "--water-level") {
            asked.waterLevelDb = options.number(word);
            waterLevel = true;
        } else if (word == "--pre-filt") {
            std::array<double, 4> corners;
            for (double& c : corners) c = options.number(word);
            if (!(corners[0] >= 0 && corners[0] < corners[1] && corners[1] <= corners[2] && corners[2] < corners[3]))
                throw zeva::cli::UsageError{"--pre-filt needs 0 <= F1 < F2 <= F3 < F4"};
            asked.preFilter = corners;
            preFilter = true;
        } else if (word == "--samples")
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
    if (inventoryPath.has_value() != correction.has_value())
        throw zeva::cli::UsageError{"--inventory and --output go together"};
    if ((waterLevel || preFilter) && !correction)
        throw zeva::cli::UsageError{"--water-level and --pre-filt need --inventory and --output"};
    if (correction) correction = asked;
    zeva::StationXMLInventory inventory;
    if (inventoryPath) {
        zeva::stationxml::Failure failure;
        if (!zeva::importStationXMLFile(*inventoryPath, &inventory, &failure)) {
            fmt::print(stderr, "{}: {}{}: {}\n", kName, *inventoryPath,
                       failure.line ? fmt::format(":{}", failure.line) : "", failure.message);
            return 1;
        }
    }

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
        for (auto s : read->seismograms) {
            if (correction) {
                std::string why;
                auto response = responseFor(inventory, *s, &why);
                std::vector<std::string> notes;
                auto corrected = response ? zeva::response::correctSeismogram(*s, *response, *correction, &notes, &why)
                                          : nullptr;
                std::fflush(stdout);
                for (const auto& n : notes) fmt::print(stderr, "{}: {}: {}\n", kName, path, n);
                if (!corrected) {
                    fmt::print(stderr, "{}: {}: {}: not corrected: {}\n", kName, path, channelName(*s), why);
                    status = 1;
                    continue;
                }
                s = corrected;
            }
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

ZEVA_COMMAND("seismogram", seismogram);
