// zeva response: a channel's instrument response evaluated over frequency,
// its consistency checks, and a Bode plot.
#include <fnmatch.h>

#include <cmath>
#include <optional>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/response/BodePlot.hpp"
#include "zeva/response/ResponseEvaluation.hpp"

namespace {

using zeva::cli::UsageError;
namespace rsp = zeva::response;

std::string channelName(const ZEVAChannel& channel) {
    return fmt::format("{}.{}.{}.{}", zeva::textOf(channel.network_code()), zeva::textOf(channel.station_code()),
                       zeva::textOf(channel.site_code()), zeva::textOf(channel.channel_code()));
}

std::string timeText(const zeva::Ref<ZEVATime>& time) { return time ? time->description() : "-"; }

// NET.STA.LOC.CHA with the services' wildcards (* and ?) in each code; "--"
// stands for the empty location code.
std::vector<std::string> splitPattern(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t dot = text.find('.', start);
        parts.push_back(text.substr(start, dot == std::string::npos ? std::string::npos : dot - start));
        if (dot == std::string::npos) break;
        start = dot + 1;
    }
    if (parts.size() != 4) throw UsageError{"--channel must be NET.STA.LOC.CHA: " + text};
    if (parts[2] == "--") parts[2].clear();
    return parts;
}

bool matches(const std::vector<std::string>& pattern, const ZEVAChannel& channel) {
    std::string codes[4] = {zeva::textOf(channel.network_code()), zeva::textOf(channel.station_code()),
                            zeva::textOf(channel.site_code()), zeva::textOf(channel.channel_code())};
    for (int i = 0; i < 4; ++i)
        if (pattern[i] != codes[i] && fnmatch(pattern[i].c_str(), codes[i].c_str(), 0) != 0) return false;
    return true;
}

bool covers(const ZEVAChannel& channel, double t) {
    auto range = channel._effective_time();
    if (!range) return true;
    auto start = range->_start_time(), end = range->_end_time();
    return (!start || start->epochTime() <= t) && (!end || t < end->epochTime());
}

double channelRate(const ZEVAChannel& channel) {
    auto sampling = channel._sampling_info();
    if (!sampling || !sampling->_interval() || !(sampling->_interval()->value() > 0)) return 0;
    return sampling->_numPoints() / sampling->_interval()->value();
}

std::pair<size_t, size_t> parseStages(const std::string& text) {
    size_t a = 0, b = 0;
    char dash = 0, tail = 0;
    int n = std::sscanf(text.c_str(), "%zu%c%zu%c", &a, &dash, &b, &tail);
    if (n == 1) return {a, a};
    if (n != 3 || dash != '-' || a < 1 || b < a) throw UsageError{"--stages must be A-B with 1 <= A <= B: " + text};
    return {a, b};
}

int response(const zeva::cli::Args& args) {
    zeva::cli::Options options(args);
    std::string file, channelText, plot;
    std::optional<double> at;
    double fmin = 0.001, fmax = 0;
    long count = 200;
    bool linear = false;
    rsp::EvaluationOptions evaluation;
    std::string word;
    while (options.next(word)) {
        if (word == "--channel") channelText = options.value(word);
        else if (word == "--time") {
            std::string text = options.value(word);
            double t = 0;
            if (!zeva::stationxml::parseInstant(text, &t)) throw UsageError{"--time: not a time: " + text};
            at = t;
        } else if (word == "--freqs") {
            fmin = options.number(word);
            fmax = options.number(word);
            count = options.integer(word);
            if (!(fmin > 0) || !(fmax > fmin) || count < 2 || count > 1000000)
                throw UsageError{"--freqs needs 0 < MIN < MAX and 2 <= N <= 1000000"};
        } else if (word == "--linear") linear = true;
        else if (word == "--units") {
            std::string text = options.value(word);
            if (!rsp::parseMotion(text, &evaluation.motion)) throw UsageError{"--units must be dis, vel, acc or def: " + text};
        } else if (word == "--stages") {
            auto [a, b] = parseStages(options.value(word));
            evaluation.firstStage = a, evaluation.lastStage = b;
        } else if (word == "--delay") {
            std::string text = options.value(word);
            if (text == "correction") evaluation.delay = rsp::DelayPhase::Correction;
            else if (text == "estimated") evaluation.delay = rsp::DelayPhase::Estimated;
            else if (text == "none") evaluation.delay = rsp::DelayPhase::None;
            else throw UsageError{"--delay must be correction, estimated or none: " + text};
        } else if (word == "--plot") plot = options.value(word);
        else if (word.starts_with("--")) throw UsageError{"unknown option: " + word};
        else if (file.empty()) file = word;
        else throw UsageError{"expects one StationXML file"};
    }
    if (file.empty()) throw UsageError{"expects a StationXML file"};
    if (channelText.empty()) throw UsageError{"--channel NET.STA.LOC.CHA is required"};
    auto pattern = splitPattern(channelText);

    zeva::StationXMLInventory inventory;
    zeva::stationxml::Failure failure;
    if (!zeva::importStationXMLFile(file, &inventory, &failure)) {
        fmt::print(stderr, "zeva response: {}{}: {}\n", file, failure.line ? fmt::format(":{}", failure.line) : "",
                   failure.message);
        return 1;
    }
    std::vector<size_t> chosen;
    for (size_t i = 0; i < inventory.channels->count(); ++i) {
        auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        if (channel && matches(pattern, *channel) && (!at || covers(*channel, *at))) chosen.push_back(i);
    }
    if (chosen.empty()) {
        fmt::print(stderr, "zeva response: {}: no channel epoch matches {}{}\n", file, channelText, at ? " at that time" : "");
        return 1;
    }
    int status = 0;
    size_t plotted = 0;
    for (size_t i : chosen) {
        auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        auto instrumentation = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
        auto range = channel->_effective_time();
        std::string name = channelName(*channel);
        fmt::print("# {} {} {}\n", name, timeText(range ? range->_start_time() : nullptr),
                   timeText(range ? range->_end_time() : nullptr));
        auto response = instrumentation ? instrumentation->_the_response() : nullptr;
        if (!response) {
            fmt::print(stderr, "zeva response: {}: no response\n", name);
            status = 1;
            continue;
        }
        double rate = channelRate(*channel);
        double top = fmax > 0 ? fmax : (rate > 0 ? rate / 2 : 10);
        double bottom = fmax > 0 ? fmin : std::min(fmin, top / 10);
        auto frequencies = rsp::frequencyGrid(bottom, top, static_cast<size_t>(count), !linear);
        rsp::Evaluation result;
        std::string error;
        if (!rsp::evaluate(*response, frequencies, evaluation, &result, &error)) {
            fmt::print(stderr, "zeva response: {}: {}\n", name, error);
            status = 1;
            continue;
        }
        fmt::print("# frequency (Hz), amplitude ({}), phase (degrees)\n", result.unit);
        for (size_t k = 0; k < frequencies.size(); ++k)
            fmt::print("{:.6e} {:.9e} {:.6f}\n", frequencies[k], std::abs(result.values[k]),
                       std::arg(result.values[k]) * 180 / M_PI);
        for (const auto& note : result.notes) fmt::print("# note: {}\n", note);
        for (const auto& warning : rsp::check(*response, rate)) fmt::print("# warning: {}\n", warning);
        if (!plot.empty()) {
            std::string path = plot;
            if (chosen.size() > 1) {
                size_t dot = plot.rfind('.');
                path = fmt::format("{}-{}{}", plot.substr(0, dot), plotted, dot == std::string::npos ? "" : plot.substr(dot));
            }
            rsp::Bode bode{name, result.unit, frequencies, result.values,
                           response->_the_sensitivity() ? response->_the_sensitivity()->_frequency() : 0.0};
            if (!rsp::drawBode(bode, path, 900, 700, &error)) {
                fmt::print(stderr, "zeva response: {}\n", error);
                status = 1;
            }
            ++plotted;
        }
    }
    return status;
}

}  // namespace

ZEVA_COMMAND("response", response);
