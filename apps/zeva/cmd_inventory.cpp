// zeva inventory: channel epochs and their responses from StationXML files.
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
// sample rate, sensitivity, its frequency, its input unit, stage count.
void printRow(const ZEVAChannel& channel, const ZEVAInstrumentation& instrumentation, const std::string& inputUnit) {
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
               cell(response && response->_stages(), response && response->_stages() ? response->_stages()->count() : 0));
}

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

int inventory(const zeva::cli::Args& args) {
    std::vector<std::string> files;
    std::string only, save;
    zeva::cli::Options opts(args);
    std::string word;
    while (opts.next(word)) {
        if (word == "--channel") only = opts.value(word);
        else if (word == "--save") save = opts.value(word);
        else if (word.size() > 1 && word[0] == '-') throw UsageError{"unknown option: " + word};
        else files.push_back(word);
    }
    if (files.empty()) throw UsageError{"expects one or more StationXML files"};

    zeva::StationXMLInventory all;
    bool failed = false;
    for (const auto& file : files) {
        size_t first = all.channels->count(), notes = all.notKept.size();
        zeva::stationxml::Failure failure;
        if (!zeva::importStationXMLFile(file, &all, &failure)) {
            if (failure.line > 0) fmt::print(stderr, "zeva inventory: {}:{}: {}\n", file, failure.line, failure.message);
            else fmt::print(stderr, "zeva inventory: {}: {}\n", file, failure.message);
            failed = true;
            continue;
        }
        if (all.notKept.size() > notes) {
            std::string list;
            for (size_t i = notes; i < all.notKept.size(); ++i) list += (i > notes ? ", " : "") + all.notKept[i];
            fmt::print(stderr, "zeva inventory: {}: not kept in the model: {}\n", file, list);
        }
        for (size_t i = first; i < all.channels->count(); ++i) {
            auto channel = all.channels->objectAtIndexAs<ZEVAChannel>(i);
            auto instrumentation = all.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
            if (only.empty()) printRow(*channel, *instrumentation, all.sensitivityInputUnits[i]);
            else if (channelName(*channel) == only) printEpoch(*channel, *instrumentation);
        }
    }
    if (failed) return 1;
    if (!only.empty()) {
        bool found = false;
        for (const auto& object : *all.channels)
            found = found || channelName(static_cast<const ZEVAChannel&>(*object)) == only;
        if (!found) {
            fmt::print(stderr, "zeva inventory: no channel {} in the files\n", only);
            return 1;
        }
    }
    if (!save.empty()) {
        auto root = zeva::MutableDictionary::dictionary();
        root->setObject_forKey(all.channels, "channels");
        root->setObject_forKey(all.instrumentation, "instrumentation");
        if (!zeva::archiveRootObjectToFile(root, save)) {
            fmt::print(stderr, "zeva inventory: could not write {}\n", save);
            return 1;
        }
    }
    return 0;
}

}  // namespace

ZEVA_COMMAND("inventory", "FILE... [--channel NET.STA.LOC.CHA] [--save ARCHIVE]",
             "read StationXML files: one line per channel epoch, one channel's responses, or an archive", inventory);
