// The services' text tables: station tables build the same channels as a
// StationXML document of the same stations; event tables against an
// independent reading; broken rows fail with line and column.
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/run_cli.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/fdsn/FDSNText.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"

namespace fs = std::filesystem;
using namespace zeva;
using test::split;

namespace {

std::string trimmed(const std::string& s) {
    size_t a = s.find_first_not_of(' '), b = s.find_last_not_of(' ');
    return a == std::string::npos ? "" : s.substr(a, b - a + 1);
}

// The StationXML document a station service would answer for the rows of a
// channel-level text table.
std::string stationXMLOf(const std::string& table) {
    std::string xml = "<?xml version=\"1.0\"?>\n<FDSNStationXML xmlns=\"http://www.fdsn.org/xml/station/1\" "
                      "schemaVersion=\"1.1\"><Source>test</Source><Created>2020-01-01T00:00:00</Created>\n";
    std::string network, station;
    for (const auto& line : split(table, '\n')) {
        if (line.empty() || line[0] == '#') continue;
        auto f = split(line, '|');
        if (f[0] != network) {
            if (!station.empty()) xml += "</Station>";
            if (!network.empty()) xml += "</Network>\n";
            xml += "<Network code=\"" + f[0] + "\">";
            network = f[0], station.clear();
        }
        if (f[1] != station) {
            if (!station.empty()) xml += "</Station>";
            xml += "<Station code=\"" + f[1] + "\"><Latitude>" + f[4] + "</Latitude><Longitude>" + f[5] +
                   "</Longitude><Elevation>" + f[6] + "</Elevation><Site><Name>x</Name></Site>";
            station = f[1];
        }
        xml += "<Channel code=\"" + f[3] + "\" locationCode=\"" + f[2] + "\" startDate=\"" + f[15] + "\"" +
               (f[16].empty() ? "" : " endDate=\"" + f[16] + "\"") + "><Latitude>" + f[4] + "</Latitude><Longitude>" +
               f[5] + "</Longitude><Elevation>" + f[6] + "</Elevation><Depth>" + f[7] + "</Depth><Azimuth>" + f[8] +
               "</Azimuth><Dip>" + f[9] + "</Dip><SampleRate>" + f[14] +
               "</SampleRate><Response><InstrumentSensitivity><Value>" + f[11] + "</Value><Frequency>" + f[12] +
               "</Frequency><InputUnits><Name>" + f[13] + "</Name></InputUnits><OutputUnits><Name>COUNTS</Name>"
               "</OutputUnits></InstrumentSensitivity></Response></Channel>\n";
    }
    return xml + "</Station></Network></FDSNStationXML>\n";
}

// What a channel epoch of the model says, for comparing two imports.
std::string channelSummary(const ZEVAChannel& c, const ZEVAInstrumentation& i, const std::string& unit) {
    auto range = c._effective_time();
    auto site = c._my_site();
    auto location = site->_my_location();
    auto sensitivity = i._the_response() ? i._the_response()->_the_sensitivity() : nullptr;
    auto station = c.getStation();
    return format("%s.%s.[%s].%s %.6f %.6f %s %s | %g %g %g %g | %g %g | %d/%g | %g %g %s | station %s site %s",
                  textOf(c.network_code()).c_str(), textOf(c.station_code()).c_str(), textOf(c.site_code()).c_str(),
                  textOf(c.channel_code()).c_str(), range->_start_time()->epochTime(),
                  range->_end_time() ? range->_end_time()->epochTime() : -1.0,
                  range->_start_time()->description().c_str(),
                  range->_end_time() ? range->_end_time()->description().c_str() : "open", location->latitude(),
                  location->longitude(), location->elevation(), location->depth(), c._an_orientation()->_azimuth(),
                  c._an_orientation()->_dip(), c._sampling_info()->_numPoints(),
                  c._sampling_info()->_interval()->value(), sensitivity ? sensitivity->_sensitivity_factor() : -1.0,
                  sensitivity ? sensitivity->_frequency() : -1.0, unit.c_str(),
                  station ? station->shortDescription().c_str() : "none", textOf(site->getCode()).c_str());
}

std::vector<std::string> summaries(const StationXMLInventory& inventory) {
    std::vector<std::string> out;
    for (size_t i = 0; i < inventory.channels->count(); ++i)
        out.push_back(channelSummary(*inventory.channels->objectAtIndexAs<ZEVAChannel>(i),
                                     *inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i),
                                     inventory.sensitivityInputUnits[i]));
    return out;
}

bool importTable(const std::string& text, StationXMLInventory* into, stationxml::Failure* failure) {
    return importStationRecords(
        [&](stationxml::Builder& builder, stationxml::Failure* why) {
            return fdsntext::readStationTable(text, builder, why);
        },
        into, failure);
}

TEST(FDSNText, StationTablesBuildTheChannelsOfTheSameStationXML) {
    registerModelClasses();
    const fs::path folder = fs::path(ZEVA_SHARED_DATA_DIR) / "fdsn";
    if (!fs::is_directory(folder)) GTEST_SKIP() << "no shared FDSN answers in " << folder;
    int tables = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (entry.path().extension() != ".txt" || name.starts_with("event")) continue;
        ++tables;
        SCOPED_TRACE(name);
        // The document is written from the rows with the fields as they stand,
        // padding stripped (a location of blanks stays as written).
        std::string text = test::readFile(entry.path().string()), cleaned;
        for (const auto& line : split(text, '\n')) {
            if (line.empty()) continue;
            auto f = split(line, '|');
            for (size_t i = 0; i < f.size(); ++i) cleaned += (i ? "|" : "") + (i == 2 ? f[i] : trimmed(f[i]));
            cleaned += '\n';
        }
        StationXMLInventory fromText, fromXML;
        stationxml::Failure failure;
        ASSERT_TRUE(importTable(text, &fromText, &failure)) << failure.line << ": " << failure.message;
        std::string xml = stationXMLOf(cleaned);
        ASSERT_TRUE(importStationXMLMemory(xml.data(), xml.size(), &fromXML, &failure))
            << failure.line << ": " << failure.message << "\n" << xml;
        EXPECT_EQ(fromText.channels->count(), split(cleaned, '\n').size() - 2);
        EXPECT_EQ(summaries(fromText), summaries(fromXML));
    }
    EXPECT_EQ(tables, 4);
}

TEST(FDSNText, StationAndNetworkLevelRowsAndBrokenRows) {
    registerModelClasses();
    struct Recorder : stationxml::Builder {
        std::string seen;
        void network(const stationxml::Network& n) override { seen += "N" + n.code + ":" + n.description + " "; }
        void station(const stationxml::Station& s) override {
            seen += format("S%s@%g,%g,%g:%s ", s.code.c_str(), s.latitude.value, s.longitude.value,
                           s.elevation.value, s.siteName.c_str());
        }
        void channel(const stationxml::Channel& c) override { seen += "C" + c.code + " "; }
    };
    struct Case {
        std::string table;
        const char* seen;  // records handed over, or null for a failure
        int line;
        const char* message;
    };
    const std::string header = "#Network|Station|Latitude|Longitude|Elevation|SiteName|StartTime|EndTime\n";
    const Case cases[] = {
        {"#Network|Description|StartTime|EndTime|TotalStations\nIU|Global Seismograph|1988-01-01T00:00:00||150\n",
         "NIU:Global Seismograph ", 0, ""},
        {header + "IU|ANMO|34.9459|-106.4572|1850.0|Albuquerque, New Mexico, USA|2002-11-19T21:07:00|\n"
                  "IU|COLA|64.8736|-147.8616|200.0|College Outpost|1996-06-25T00:00:00|\n",
         "NIU: SANMO@34.9459,-106.457,1850:Albuquerque, New Mexico, USA SCOLA@64.8736,-147.862,200:College Outpost ",
         0, ""},
        {header + "IU|ANMO|34.9|-106.4|1850.0|x|2002-11-19T21:07:00\n", nullptr, 2, "7 columns"},
        {header + "\nIU|ANMO|north|-106.4|1850.0|x|2002-11-19T21:07:00|\n", nullptr, 3, "Latitude: not a number"},
        {header + "IU|ANMO|95|-106.4|1850.0|x|2002-11-19T21:07:00|\n", nullptr, 2, "Latitude: out of range"},
        {header + "IU|ANMO|34.9|-106.4|1850.0|x|2002-13-19T21:07:00|\n", nullptr, 2, "StartTime: not a time"},
        {header, nullptr, 1, "no rows"},
        {"AK|BAGL|  |LHZ|60.4|-142.0|1470.0|0.0|0.0|-90.0|s|1|1|M/S|-1|2013-01-01T00:00:00|\n", nullptr, 1,
         "SampleRate: negative"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.table);
        Recorder recorder;
        stationxml::Failure failure;
        bool ok = fdsntext::readStationTable(c.table, recorder, &failure);
        EXPECT_EQ(ok, c.seen != nullptr) << failure.message;
        if (c.seen) EXPECT_EQ(recorder.seen, c.seen);
        else {
            EXPECT_EQ(failure.line, c.line);
            EXPECT_NE(failure.message.find(c.message), std::string::npos) << failure.message;
        }
    }
}

TEST(FDSNText, EventTableRowsBecomeOrigins) {
    registerModelClasses();
    const fs::path file = fs::path(ZEVA_SHARED_DATA_DIR) / "fdsn" / "event_text_isc.txt";
    if (!fs::exists(file)) GTEST_SKIP() << "no shared event table " << file;
    const std::string text = test::readFile(file.string());
    auto origins = MutableArray::array();
    fdsntext::Failure failure;
    ASSERT_TRUE(fdsntext::readEventTable(text, *origins, &failure)) << failure.line << ": " << failure.message;
    // Times read independently by Python's datetime.
    auto epochs = test::runCommand(std::string(ZEVA_PYTHON) +
                                   " -c \"import sys\nfrom datetime import datetime, timezone\n"
                                   "for l in open(sys.argv[1]):\n"
                                   "  f = l.split('|')\n"
                                   "  if len(f) == 13 and not l.startswith('#'):\n"
                                   "    print(repr(datetime.fromisoformat(f[1]).replace(tzinfo=timezone.utc).timestamp()))\" '" +
                                   file.string() + "'");
    ASSERT_EQ(epochs.status, 0);
    auto times = split(epochs.out, '\n');
    size_t row = 0;
    for (const auto& line : split(text, '\n')) {
        if (line.empty() || line[0] == '#') continue;
        SCOPED_TRACE(line);
        auto f = split(line, '|');
        ASSERT_LT(row, origins->count());
        auto origin = origins->objectAtIndexAs<ZEVAOrigin>(row);
        EXPECT_EQ(textOf(origin->_id()), f[0]);
        EXPECT_NEAR(origin->originTime()->epochTime(), std::stod(times[row]), 1e-6);
        EXPECT_FLOAT_EQ(origin->latitude(), std::stof(f[2]));
        EXPECT_FLOAT_EQ(origin->longitude(), std::stof(f[3]));
        EXPECT_NEAR(origin->depthValue(), std::stod(f[4]), 1e-4);
        EXPECT_EQ(textOf(origin->_catalog()), f[6].empty() ? f[5] : f[6]);
        EXPECT_EQ(textOf(origin->_contributor()), f[7].empty() ? f[5] : f[7]);
        ASSERT_TRUE(origin->_magnitudes());
        auto magnitude = origin->_magnitudes()->objectAtIndexAs<ZEVAMagnitude>(0);
        EXPECT_FLOAT_EQ(magnitude->magnitude(), std::stof(f[10]));
        EXPECT_EQ(textOf(magnitude->type()), f[9]);
        EXPECT_EQ(textOf(magnitude->contributor()), f[11].empty() ? textOf(origin->_contributor()) : f[11]);
        EXPECT_TRUE(origin->FERegion());
        ++row;
    }
    EXPECT_EQ(row, origins->count());
    EXPECT_EQ(row, 2u);

    struct Broken {
        std::string table;
        int line;
        const char* message;
    };
    const Broken broken[] = {
        {"1|2012-04-11T08:38:37|2.2|93.0|26.3|ISC||ISC||MW|8.6|GCMT\n", 1, "12 columns"},
        {"#h\n1|2012-04-11T08:38:37|2.2|93.0|deep|ISC||ISC||MW|8.6|GCMT|X\n", 2, "Depth/km: not a number"},
        {"1||2.2|93.0|26.3|ISC||ISC||MW|8.6|GCMT|X\n", 1, "Time: empty"},
        {"1|2012-04-11T08:38:37|2.2|193.0|26.3|ISC||ISC||MW|8.6|GCMT|X\n", 1, "Longitude: out of range"},
        {"1|2012-04-11T08:38:37|2.2|93.0|26.3|ISC||ISC||MW|big|GCMT|X\n", 1, "Magnitude: not a number"},
    };
    for (const auto& b : broken) {
        SCOPED_TRACE(b.table);
        auto none = MutableArray::array();
        EXPECT_FALSE(fdsntext::readEventTable(b.table, *none, &failure));
        EXPECT_EQ(failure.line, b.line);
        EXPECT_NE(failure.message.find(b.message), std::string::npos) << failure.message;
    }
}

}  // namespace
