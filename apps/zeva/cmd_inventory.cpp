// zeva inventory: channel epochs and their responses from StationXML files.
#include <fnmatch.h>

#include <algorithm>
#include <fstream>
#include <optional>

#include <fmt/core.h>

#include "command.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace {

using zeva::cli::UsageError;

std::string timeText(const zeva::Ref<ZEVATime>& time) { return time ? time->description() : ""; }

std::string channelName(const ZEVAChannel& channel) {
    return fmt::format("{}.{}.{}.{}", zeva::textOf(channel.network_code()), zeva::textOf(channel.station_code()),
                       zeva::textOf(channel.site_code()), zeva::textOf(channel.channel_code()));
}

// NET.STA.LOC.CHA, start, end, latitude, longitude, elevation, azimuth, dip,
// sample rate, sensitivity, its frequency, its input unit, stage count (-1
// for no response). Nothing here needs the stage objects, so the table is
// printed from a channel-level import.
void printRow(const ZEVAChannel& channel, const ZEVAInstrumentation& instrumentation, const std::string& inputUnit,
              int32_t stages) {
    auto range = channel._effective_time();
    auto site = channel._my_site();
    auto location = site ? site->_my_location() : nullptr;
    auto orientation = channel._an_orientation();
    auto sampling = channel._sampling_info();
    auto response = instrumentation._the_response();
    auto sensitivity = response ? response->_the_sensitivity() : nullptr;
    auto cell = [](bool present, auto value) { return present ? fmt::format("{}", value) : std::string(); };
    auto general = [](bool present, double value) { return present ? fmt::format("{:g}", value) : std::string(); };
    double rate = 0;
    if (sampling && sampling->_interval())
        rate = static_cast<double>(sampling->_numPoints()) / sampling->_interval()->value();
    fmt::print("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", channelName(channel),
               timeText(range ? range->_start_time() : nullptr), timeText(range ? range->_end_time() : nullptr),
               cell(location != nullptr, location ? location->latitude() : 0.0f),
               cell(location != nullptr, location ? location->longitude() : 0.0f),
               cell(location && location->_elevation(), location ? location->elevation() : 0.0),
               cell(orientation != nullptr, orientation ? orientation->_azimuth() : 0.0f),
               cell(orientation != nullptr, orientation ? orientation->_dip() : 0.0f),
               general(sampling && sampling->_interval(), rate),
               general(sensitivity != nullptr, sensitivity ? sensitivity->_sensitivity_factor() : 0.0),
               general(sensitivity != nullptr, sensitivity ? sensitivity->_frequency() : 0.0), inputUnit,
               cell(stages >= 0, stages));
}

constexpr const char* kHeader =
    "# channel\tstart\tend\tlatitude\tlongitude\televation_m\tazimuth\tdip\tsample_rate_hz\tsensitivity"
    "\tsensitivity_frequency_hz\tsensitivity_input_unit\tstages\n";

// A location code as the FDSN services compare them: blanks are no code, and
// "--" in a pattern stands for the empty code.
std::string locationKey(std::string code) {
    code.erase(std::remove(code.begin(), code.end(), ' '), code.end());
    return code == "--" ? "" : code;
}

// NET.STA.LOC.CHA against a pattern of the same four parts, each with the
// wildcards * and ?.
bool matches(const ZEVAChannel& channel, const std::vector<std::string>& pattern) {
    const std::string codes[] = {zeva::textOf(channel.network_code()), zeva::textOf(channel.station_code()),
                                 locationKey(zeva::textOf(channel.site_code())), zeva::textOf(channel.channel_code())};
    for (size_t i = 0; i < 4; ++i)
        if (::fnmatch(pattern[i].c_str(), codes[i].c_str(), 0) != 0) return false;
    return true;
}

std::vector<std::string> channelPattern(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t dot; (dot = text.find('.', start)) != std::string::npos; start = dot + 1)
        parts.push_back(text.substr(start, dot - start));
    parts.push_back(text.substr(start));
    if (parts.size() != 4)
        throw UsageError{"--channel takes NET.STA.LOC.CHA (an empty or -- location for none, * and ? as "
                         "wildcards): " + text};
    parts[2] = locationKey(parts[2]);
    return parts;
}

// A number with the digits the model holds (a float's, at most nine
// significant), never rounded away: 3.67e-08, not 0.000000.
std::string number(double value) { return fmt::format("{}", static_cast<float>(value)); }

std::string unitText(const zeva::Ref<ZEVAUnit>& unit) {
    std::string text = unit ? unit->description() : "";
    return text.empty() ? "?" : text;
}

const char* stageKind(int32_t type) {
    switch (type) {
        case zeva::kTransferNone: return "gain only";
        case zeva::kTransferLaplaceRadians: return "poles and zeros, Laplace (rad/s)";
        case zeva::kTransferLaplaceHertz: return "poles and zeros, Laplace (Hz)";
        case zeva::kTransferDigitalZ: return "poles and zeros, digital (z-transform)";
        case zeva::kTransferAnalogRadians: return "coefficients, analog (rad/s)";
        case zeva::kTransferAnalogHertz: return "coefficients, analog (Hz)";
        case zeva::kTransferDigital: return "coefficients, digital";
        case zeva::kTransferFIRNone: return "FIR, no symmetry";
        case zeva::kTransferFIREven: return "FIR, even symmetry (first half given)";
        case zeva::kTransferFIROdd: return "FIR, odd symmetry (first half and middle given)";
        case zeva::kTransferResponseList: return "response list";
        case zeva::kTransferPolynomial: return "polynomial (coefficients not kept)";
        default: return "unknown kind";
    }
}

std::string complexText(const zeva::ObjectRef& object) {
    if (auto e = std::dynamic_pointer_cast<ZEVAComplexNumberErrored>(object))
        return fmt::format("{} {:+}i", number(e->_real()), e->_imaginary());
    if (auto c = std::dynamic_pointer_cast<ZEVAComplexNumber>(object))
        return fmt::format("{} {:+}i", number(c->_real_part()), c->_imaginary_part());
    return "?";
}

void printFilter(const zeva::ObjectRef& object, std::vector<std::string>& numerators,
                 std::vector<std::string>& denominators) {
    if (auto pz = std::dynamic_pointer_cast<ZEVAPoleZeroFilter>(object)) {
        for (const char* what : {"zero", "pole"}) {
            auto list = what[0] == 'z' ? pz->_zeros() : pz->_poles();
            fmt::print("  {}s: {}\n", what, list ? list->count() : 0);
            if (list)
                for (const auto& c : *list) fmt::print("    {}\n", complexText(c));
        }
    } else if (auto cf = std::dynamic_pointer_cast<ZEVACoefficientFilter>(object)) {
        if (cf->_numerator()) numerators.push_back(number(cf->_numerator()->_value()));
        if (cf->_denominator()) denominators.push_back(number(cf->_denominator()->_value()));
    } else if (auto list = std::dynamic_pointer_cast<ZEVAListFilter>(object)) {
        fmt::print("  response list: {} frequencies\n", list->_float() ? list->_float()->count() : 0);
    }
}

// One channel epoch for people: the overall sensitivity, then each stage's
// kind, units, gain and numbers.
void printStages(const ZEVAChannel& channel, const ZEVAInstrumentation& instrumentation, const std::string& inputUnit) {
    auto range = channel._effective_time();
    fmt::print("=== {} {} - {}\n", channelName(channel), timeText(range ? range->_start_time() : nullptr),
               range && range->_end_time() ? timeText(range->_end_time()) : "(open)");
    auto response = instrumentation._the_response();
    auto sensitivity = response ? response->_the_sensitivity() : nullptr;
    if (sensitivity)
        fmt::print("overall sensitivity: {} at {} Hz, input unit {}\n", number(sensitivity->_sensitivity_factor()),
                   number(sensitivity->_frequency()), inputUnit.empty() ? "not given" : inputUnit);
    else
        fmt::print("overall sensitivity: none given\n");
    if (!response || !response->_stages()) return;
    int n = 0;
    for (const auto& object : *response->_stages()) {
        auto stage = std::dynamic_pointer_cast<ZEVAStage>(object);
        if (!stage) continue;
        fmt::print("stage {}: {}; {} to {}", ++n, stageKind(stage->_type()), unitText(stage->_input_units()),
                   unitText(stage->_output_units()));
        if (auto gain = stage->_the_gain())
            fmt::print("; gain {} at {} Hz", number(gain->_gain_factor()), number(gain->_frequency()));
        fmt::print("\n");
        if (auto norms = stage->_the_normalization())
            for (const auto& o : *norms)
                if (auto norm = std::dynamic_pointer_cast<ZEVANormalization>(o))
                    fmt::print("  normalization factor {} at {} Hz\n", number(norm->_ao_normalization_factor()),
                               number(norm->_normalization_freq()));
        std::vector<std::string> numerators, denominators;
        if (auto filters = stage->_filters())
            for (const auto& f : *filters) printFilter(f, numerators, denominators);
        for (const auto& [what, list] : {std::pair{"numerator", &numerators}, {"denominator", &denominators}})
            if (!list->empty()) {
                fmt::print("  {} coefficients: {}\n", what, list->size());
                for (const auto& c : *list) fmt::print("    {}\n", c);
            }
        if (auto decimations = stage->_the_decimation())
            for (const auto& o : *decimations)
                if (auto d = std::dynamic_pointer_cast<ZEVADecimation>(o)) {
                    auto rate = d->_input_rate();
                    double hz = rate && rate->_interval() && rate->_interval()->value() != 0
                                    ? rate->_numPoints() / rate->_interval()->value() : 0;
                    fmt::print("  decimation: input {} Hz, factor {}, offset {}, delay {} s, correction {} s\n",
                               number(hz), d->_factor(), d->_offset(),
                               number(d->_estimated_delay() ? d->_estimated_delay()->value() : 0),
                               number(d->_correction_applied() ? d->_correction_applied()->value() : 0));
                }
    }
}

// The model's own texts of one channel epoch.
void printEpoch(const ZEVAChannel& channel, const ZEVAInstrumentation& instrumentation) {
    auto range = channel._effective_time();
    fmt::print("=== {} {} - {}\n", channelName(channel), timeText(range ? range->_start_time() : nullptr),
               timeText(range ? range->_end_time() : nullptr));
    fmt::print("{}\n", channel.description());
    auto station = channel.getStation();
    fmt::print("{}\n", station ? station->description() : "(null)");
    auto response = instrumentation._the_response();
    if (response && response->_stages())
        for (const auto& stage : *response->_stages()) fmt::print("{}\n", stage->description());
}

// Why a file is no StationXML document before the parser's word on it: it
// is missing, a directory, empty, or does not start as XML does.
std::string notStationXML(const std::string& path) {
    if (std::string problem = zeva::cli::inputProblem(path); !problem.empty()) return problem;
    std::string head(256, '\0');
    std::ifstream in(path, std::ios::binary);
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    if (head.starts_with("\xEF\xBB\xBF")) head.erase(0, 3);
    const size_t text = head.find_first_not_of(" \t\r\n");
    if (text == std::string::npos || head[text] != '<') return path + " is not a StationXML file (not XML)";
    return "";
}

int inventory(const zeva::cli::Args& args) {
    std::vector<std::string> files;
    std::optional<std::string> only, save;
    std::vector<std::string> pattern;
    bool describe = false;
    zeva::cli::Options opts(args);
    std::string word;
    while (opts.next(word)) {
        if (word == "--channel") pattern = channelPattern(*(only = opts.value(word)));
        else if (word == "--save") zeva::cli::outputPath(*(save = opts.value(word)), word);
        else if (word == "--describe") describe = true;
        else if (word.size() > 1 && word[0] == '-') throw UsageError{"unknown option: " + word};
        else files.push_back(word);
    }
    if (files.empty()) throw UsageError{"expects one or more StationXML files"};
    if (describe && !only) throw UsageError{"--describe goes with --channel"};

    zeva::StationXMLInventory all;
    auto selected = zeva::MutableArray::array(), selectedInstrumentation = zeva::MutableArray::array();
    bool failed = false;
    bool header = false;
    for (const auto& file : files) {
        size_t first = all.channels->count(), notes = all.notKept.size();
        zeva::stationxml::Failure failure;
        if (std::string problem = notStationXML(file); !problem.empty()) {
            fmt::print(stderr, "zeva inventory: {}\n", problem);
            failed = true;
            continue;
        }
        // The table needs no stage objects; --channel and --save show and
        // keep the whole response.
        auto level = only || save ? zeva::StationXMLLevel::Response : zeva::StationXMLLevel::Channel;
        if (!zeva::importStationXMLFile(file, &all, &failure, level)) {
            if (failure.line > 0) fmt::print(stderr, "zeva inventory: {}:{}: {}\n", file, failure.line, failure.message);
            else fmt::print(stderr, "zeva inventory: {}: {}\n", file, failure.message);
            failed = true;
            continue;
        }
        if (all.notKept.size() > notes) {
            std::string list;
            for (size_t i = notes; i < all.notKept.size(); ++i) list += (i > notes ? ", " : "") + all.notKept[i];
            fmt::print(stderr, "zeva inventory: {}: {} kinds of element and attribute not kept in the model: {}\n",
                       file, all.notKept.size() - notes, list);
        }
        if (all.channels->count() == first) {
            fmt::print(stderr, "zeva inventory: {} holds no channel\n", file);
            failed = true;
        }
        for (size_t i = first; i < all.channels->count(); ++i) {
            auto channel = all.channels->objectAtIndexAs<ZEVAChannel>(i);
            auto instrumentation = all.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
            if (!only) {
                if (!header) fmt::print("{}", kHeader);
                header = true;
                printRow(*channel, *instrumentation, all.sensitivityInputUnits[i], all.stageCounts[i]);
                continue;
            }
            if (!matches(*channel, pattern)) continue;
            selected->addObject(channel);
            selectedInstrumentation->addObject(instrumentation);
            if (describe) printEpoch(*channel, *instrumentation);
            else printStages(*channel, *instrumentation, all.sensitivityInputUnits[i]);
        }
    }
    if (failed) return 1;
    if (only && selected->count() == 0) {
        fmt::print(stderr, "zeva inventory: no channel {} in the files\n", *only);
        return 1;
    }
    if (save) {
        auto root = zeva::MutableDictionary::dictionary();
        root->setObject_forKey(only ? selected : all.channels, "channels");
        root->setObject_forKey(only ? selectedInstrumentation : all.instrumentation, "instrumentation");
        if (!zeva::archiveRootObjectToFile(root, *save)) {
            fmt::print(stderr, "zeva inventory: could not write {}\n", *save);
            return 1;
        }
    }
    return 0;
}

}  // namespace

ZEVA_COMMAND("inventory", inventory);
