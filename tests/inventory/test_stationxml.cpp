// StationXML import: the shared real documents against an independent
// reading with Python's ElementTree, the model mapping of a generated
// document in the newest and an old schema version, hostile
// documents, and the command's archive.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ranges>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/run_cli.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"
#include "zeva/inventory/ZEVAFilter.hpp"
#include "zeva/inventory/ZEVAInstrumentation.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace fs = std::filesystem;
using namespace zeva;
using test::runCli, test::split;

namespace {

class StationXMLTest : public ::testing::Test {
protected:
    void SetUp() override {
        registerModelClasses();
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    fs::path write(const std::string& name, const std::string& text) {
        std::ofstream(dir_ / name, std::ios::binary) << text;
        return dir_ / name;
    }
    const fs::path dir_ = fs::temp_directory_path() / ("zeva-stationxml-" + std::to_string(::getpid()));
};

// Per channel epoch, in document order, as ElementTree reads it: the
// thirteen table cells (times as epoch seconds, numbers as written) and the
// stages in number order as poles/zeros/coefficient filters.
const char* kExpectedTable = R"PY(
import sys, xml.etree.ElementTree as ET
from datetime import datetime, timezone
def local(e): return e.tag.rsplit('}', 1)[-1]
def kids(e, name): return [] if e is None else [c for c in e if local(c) == name]
def kid(e, name): return (kids(e, name) or [None])[0]
def text(e, name): return '' if kid(e, name) is None else (kid(e, name).text or '').strip()
def epoch(s):
    if not s: return ''
    d = datetime.fromisoformat(s)
    return repr((d if d.tzinfo else d.replace(tzinfo=timezone.utc)).timestamp())
for net in kids(ET.parse(sys.argv[1]).getroot(), 'Network'):
    for sta in kids(net, 'Station'):
        for ch in kids(sta, 'Channel'):
            resp = kid(ch, 'Response')
            sens = kid(resp, 'InstrumentSensitivity')
            stages = sorted(kids(resp, 'Stage'), key=lambda s: int(s.get('number')))
            shape = []
            for st in stages:
                pz, cf, fir = kid(st, 'PolesZeros'), kid(st, 'Coefficients'), kid(st, 'FIR')
                n = max(len(kids(cf, 'Numerator')), len(kids(cf, 'Denominator')))
                n += len(kids(fir, 'NumeratorCoefficient'))
                shape.append('%d/%d/%d' % (len(kids(pz, 'Pole')), len(kids(pz, 'Zero')), n))
            print('\t'.join(['.'.join([net.get('code'), sta.get('code'), ch.get('locationCode'), ch.get('code')]),
                epoch(ch.get('startDate')), epoch(ch.get('endDate'))] +
                [text(ch, k) for k in ('Latitude', 'Longitude', 'Elevation', 'Azimuth', 'Dip', 'SampleRate')] +
                [text(sens, 'Value'), text(sens, 'Frequency'), text(kid(sens, 'InputUnits'), 'Name'),
                str(len(stages)) if resp is not None else '', ' '.join(shape)]))
)PY";

// The same stage shape read from the model.
std::string stageShape(const ZEVAInstrumentation& instrumentation) {
    std::string out;
    auto response = instrumentation._the_response();
    if (!response || !response->_stages()) return out;
    for (const auto& object : *response->_stages()) {
        auto stage = std::static_pointer_cast<ZEVAStage>(object);
        size_t poles = 0, zeros = 0, coefficients = 0;
        auto filters = stage->_filters() ? stage->_filters() : MutableArray::array();
        for (const auto& filter : *filters) {
            if (auto pz = std::dynamic_pointer_cast<ZEVAPoleZeroFilter>(filter)) {
                poles += pz->_poles() ? pz->_poles()->count() : 0;
                zeros += pz->_zeros() ? pz->_zeros()->count() : 0;
            }
            coefficients += std::dynamic_pointer_cast<ZEVACoefficientFilter>(filter) != nullptr;
        }
        out += format(out.empty() ? "%zu/%zu/%zu" : " %zu/%zu/%zu", poles, zeros, coefficients);
    }
    return out;
}

TEST_F(StationXMLTest, EverySharedDocumentMatchesAnIndependentReading) {
    const fs::path documents = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml";
    if (!fs::is_directory(documents)) GTEST_SKIP() << "no shared StationXML documents in " << documents;
    const fs::path script = write("expected.py", kExpectedTable);
    int count = 0;
    for (const auto& entry : fs::directory_iterator(documents)) {
        if (entry.path().extension() != ".xml") continue;
        ++count;
        const std::string file = entry.path().string();
        SCOPED_TRACE(file);
        auto expected = test::runCommand(std::string(ZEVA_PYTHON) + " '" + script.string() + "' '" + file + "'");
        ASSERT_EQ(expected.status, 0) << expected.out;
        auto table = runCli("inventory '" + file + "' 2>/dev/null");
        ASSERT_EQ(table.status, 0);
        StationXMLInventory inventory;
        stationxml::Failure failure;
        ASSERT_TRUE(importStationXMLFile(file, &inventory, &failure)) << failure.line << ": " << failure.message;

        auto want = split(expected.out, '\n'), got = split(table.out, '\n');
        ASSERT_EQ(inventory.channels->count() + 1, want.size());  // both end in a line break
        ASSERT_TRUE(got[0].starts_with("# channel\tstart\tend\t")) << got[0];
        got.erase(got.begin());  // the header names the columns
        ASSERT_EQ(got.size(), want.size());
        for (size_t i = 0; i + 1 < want.size(); ++i) {
            auto w = split(want[i], '\t'), g = split(got[i], '\t');
            ASSERT_EQ(std::make_pair(w.size(), g.size()), std::make_pair(size_t{14}, size_t{13})) << got[i];
            EXPECT_EQ(g[0] + " " + g[11] + " " + g[12], w[0] + " " + w[11] + " " + w[12]);
            for (int t : {1, 2}) {
                double seconds = NAN;
                stationxml::parseInstant(g[t], &seconds);
                if (w[t].empty()) EXPECT_EQ(g[t], "") << w[0];
                else EXPECT_NEAR(seconds, std::stod(w[t]), 1e-3) << w[0] << " " << g[t];
            }
            // Positions and angles are 32-bit floats, rates and sensitivities
            // print with six digits: both empty, or within 1e-5 relative.
            for (int n = 3; n <= 10; ++n)
                EXPECT_TRUE(g[n].empty() || w[n].empty() ? g[n] == w[n]
                            : std::fabs(std::stod(g[n]) - std::stod(w[n])) <= 1e-5 * std::max(1.0, std::fabs(std::stod(w[n]))))
                    << w[0] << " cell " << n << ": " << g[n];
            EXPECT_EQ(stageShape(*inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)), w[13]) << w[0];
        }
    }
    EXPECT_GE(count, 7);
}

// The channel table comes from a channel-level import, --save takes the full
// response: both print the same table and name the same things not kept, and
// the two levels agree on every channel's stage count and sensitivity.
TEST_F(StationXMLTest, ChannelLevelGivesTheTableOfTheFullResponse) {
    const fs::path documents = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml";
    if (!fs::is_directory(documents)) GTEST_SKIP() << "no shared StationXML documents in " << documents;
    int count = 0;
    for (const auto& entry : fs::directory_iterator(documents)) {
        if (entry.path().extension() != ".xml") continue;
        ++count;
        const std::string file = entry.path().string();
        SCOPED_TRACE(file);
        auto table = runCli("inventory '" + file + "' 2>&1");
        auto full = runCli("inventory '" + file + "' --save '" + (dir_ / "all.archive").string() + "' 2>&1");
        EXPECT_EQ(table.status, 0);
        EXPECT_EQ(table.out, full.out);

        StationXMLInventory channels, responses;
        stationxml::Failure failure;
        ASSERT_TRUE(importStationXMLFile(file, &channels, &failure, StationXMLLevel::Channel)) << failure.message;
        ASSERT_TRUE(importStationXMLFile(file, &responses, &failure, StationXMLLevel::Response)) << failure.message;
        ASSERT_EQ(channels.channels->count(), responses.channels->count());
        EXPECT_EQ(channels.notKept, responses.notKept);
        EXPECT_EQ(channels.stageCounts, responses.stageCounts);
        EXPECT_EQ(channels.sensitivityInputUnits, responses.sensitivityInputUnits);
        for (size_t i = 0; i < channels.channels->count(); ++i) {
            auto light = channels.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)->_the_response();
            auto whole = responses.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i)->_the_response();
            ASSERT_EQ(light == nullptr, whole == nullptr);
            EXPECT_EQ(channels.stageCounts[i], whole ? static_cast<int32_t>(whole->_stages()->count()) : -1);
            if (!whole) continue;
            EXPECT_EQ(light->_stages(), nullptr);
            auto a = light->_the_sensitivity(), b = whole->_the_sensitivity();
            ASSERT_EQ(a == nullptr, b == nullptr);
            if (a) {
                EXPECT_EQ(std::make_pair(a->_sensitivity_factor(), a->_frequency()),
                          std::make_pair(b->_sensitivity_factor(), b->_frequency()));
            }
        }
    }
    EXPECT_GE(count, 7);
}

// A document that exercises each kind of stage, two positions of one
// location code, units with prefixes and powers, and errors on numbers.
std::string generatedDocument(const std::string& version, bool withNamespace) {
    auto channel = [](const char* code, const char* start, const char* end, const char* latitude,
                      const std::string& response) {
        return format("<Channel code=\"%s\" locationCode=\"00\" startDate=\"%s\"%s><Latitude>%s</Latitude>", code,
                      start, *end ? format(" endDate=\"%s\"", end) : "", latitude) +
               "<Longitude>-106.5</Longitude><Elevation>1671</Elevation><Depth>145</Depth>"
               "<Azimuth>90</Azimuth><Dip>0</Dip><SampleRate>0.1</SampleRate>"
               "<Sensor><Type>STS-2</Type><Description>broadband</Description><SerialNumber>42</SerialNumber></Sensor>"
               "<DataLogger><Manufacturer>Quanterra</Manufacturer><Model>Q330</Model></DataLogger>" +
               response + "</Channel>";
    };
    auto units = [](const char* in, const char* out) {
        return format("<InputUnits><Name>%s</Name></InputUnits><OutputUnits><Name>%s</Name></OutputUnits>", in, out);
    };
    std::string response =
        "<Response><InstrumentSensitivity><Value>6e9</Value><Frequency>0.5</Frequency>" + units("NM/S**2", "COUNTS") +
        "</InstrumentSensitivity>"
        "<Stage number=\"3\"><FIR>" + units("COUNTS", "COUNTS") +
        "<Symmetry>EVEN</Symmetry><NumeratorCoefficient i=\"1\">0.25</NumeratorCoefficient>"
        "<NumeratorCoefficient i=\"2\">0.5</NumeratorCoefficient></FIR>"
        "<Decimation><InputSampleRate>40</InputSampleRate><Factor>4</Factor><Offset>1</Offset>"
        "<Delay>0.05</Delay><Correction>0.04</Correction></Decimation></Stage>"
        "<Stage number=\"1\"><PolesZeros>" + units("M/S/S", "V") +
        "<PzTransferFunctionType>LAPLACE (HERTZ)</PzTransferFunctionType>"
        "<NormalizationFactor>70738</NormalizationFactor><NormalizationFrequency>0.02</NormalizationFrequency>"
        "<Zero number=\"0\"><Real plusError=\"0.5\" minusError=\"0.25\">0</Real><Imaginary>1</Imaginary></Zero>"
        "<Pole number=\"1\"><Real>-0.037</Real><Imaginary minusError=\"0.125\">0.037</Imaginary></Pole></PolesZeros>"
        "<StageGain><Value>2060.3</Value><Frequency>0.02</Frequency></StageGain></Stage>"
        "<Stage number=\"2\"><Coefficients>" + units("V", "COUNTS") +
        "<CfTransferFunctionType>DIGITAL</CfTransferFunctionType><Numerator>1</Numerator>"
        "<Denominator>2</Denominator><Denominator>3</Denominator></Coefficients></Stage>"
        "<Stage number=\"4\"><ResponseList>" + units("COUNTS", "COUNTS") +
        "<ResponseListElement><Frequency>1</Frequency><Amplitude plusError=\"0.5\">2</Amplitude>"
        "<Phase>45</Phase></ResponseListElement></ResponseList></Stage>"
        "<Stage number=\"5\"><Polynomial>" + units("PA", "V") +
        "<ApproximationType>MACLAURIN</ApproximationType><Coefficient>1</Coefficient></Polynomial></Stage>"
        "</Response>";
    return format("<?xml version=\"1.0\"?>\n<FDSNStationXML%s schemaVersion=\"%s\">\n",
                  withNamespace ? " xmlns=\"http://www.fdsn.org/xml/station/1\"" : "", version) +
           "<Source>test</Source><Network code=\"XX\" startDate=\"2000-01-01T00:00:00\"><Description>net</Description>"
           "<Operator><Agency>Agency A</Agency></Operator>"
           "<Station code=\"STA\" startDate=\"2001-01-01T00:00:00Z\"><Latitude>35</Latitude><Longitude>-106</Longitude>"
           "<Elevation>1800</Elevation><Site><Name>Somewhere</Name></Site>\n" +
           channel("BHZ", "2010-01-01T00:00:00", "2012-06-01T00:00:00.5", "34.9", response) + "\n" +
           channel("BHN", "2005-01-01T00:00:00", "2011-01-01T00:00:00", "34.9", "") + "\n" +
           channel("BHZ", "2012-06-01T00:00:00", "", "34.8", "") + "\n</Station></Network></FDSNStationXML>\n";
}

// The newest schema version with the namespace and an old one without.
TEST_F(StationXMLTest, MapsEveryKindOfStageWithOrWithoutNamespace) {
    for (const auto& [version, withNamespace] : {std::pair<std::string, bool>{"1.2", true}, {"1.0", false}}) {
        SCOPED_TRACE(version + (withNamespace ? " with namespace" : " without namespace"));
        std::string doc = generatedDocument(version, withNamespace);
        StationXMLInventory inv;
        stationxml::Failure failure;
        ASSERT_TRUE(importStationXMLMemory(doc.data(), doc.size(), &inv, &failure)) << failure.message;
        ASSERT_EQ(inv.channels->count(), 3u);
        auto channel = [&](size_t i) { return inv.channels->objectAtIndexAs<ZEVAChannel>(i); };
        auto kit = inv.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0);
        auto stages = kit->_the_response()->_stages();
        ASSERT_EQ(stages->count(), 5u);
        auto stage = [&](size_t i) { return stages->objectAtIndexAs<ZEVAStage>(i); };
        auto site = channel(0)->_my_site();
        auto station = channel(0)->getStation();
        auto pz = stage(0)->_filters()->objectAtIndexAs<ZEVAPoleZeroFilter>(0);
        auto zero = pz->_zeros()->objectAtIndexAs<ZEVAComplexNumberErrored>(0);
        auto pole = pz->_poles()->objectAtIndexAs<ZEVAComplexNumberErrored>(0);
        auto cf = stage(1)->_filters();
        auto decimation = stage(2)->_the_decimation()->objectAtIndexAs<ZEVADecimation>(0);
        auto list = stage(3)->_filters()->objectAtIndexAs<ZEVAListFilter>(0);
        auto input = stage(0)->_input_units();
        auto normalization = stage(0)->_the_normalization()->objectAtIndexAs<ZEVANormalization>(0);

        // One site per location code and position, spanning its channels;
        // one identifier per network, one object per unit text.
        const std::pair<const char*, bool> links[] = {
            {"BHZ and BHN share a site", site == channel(1)->_my_site()},
            {"the moved BHZ has a site of its own", site != channel(2)->_my_site()},
            {"site identifier begins with its span",
             site->_id()->_begin_time() == site->_effective_time()->_start_time()},
            {"open site", channel(2)->_my_site()->_effective_time()->_end_time() == nullptr},
            {"network identifier", station->_id()->_network_id() == channel(0)->_id()->_network_id()},
            {"instrumentation epoch", kit->_effective_time() == channel(0)->_effective_time()},
            {"unit objects", stage(1)->_input_units() == stage(0)->_output_units()},
            {"no filters for a polynomial", stage(4)->_filters() == nullptr},
            {"extra denominator", cf->count() == 2 && !cf->objectAtIndexAs<ZEVACoefficientFilter>(1)->_numerator()},
        };
        for (const auto& [what, holds] : links) EXPECT_TRUE(holds) << what;
        const std::pair<std::string, std::string> values[] = {
            {site->_effective_time()->description(),
             "Start:2005-01-01T00:00:00.0000Z End:2012-06-01T00:00:00.5000Z"},
            {textOf(kit->_the_sensor()->_model()) + "|" + textOf(kit->_the_sensor()->_serial_number()) + "|" +
                 textOf(kit->_das()->_manufacturer()),
             "STS-2|42|Quanterra"},
            // 0.1 Hz: one point in ten seconds.
            {format("%g %d %g", site->_my_location()->depth(), channel(0)->_sampling_info()->_numPoints(),
                    channel(0)->_sampling_info()->_interval()->value()),
             "145 1 10"},
            {format("%d %d %d %d %d", stage(0)->_type(), stage(1)->_type(), stage(2)->_type(), stage(3)->_type(),
                    stage(4)->_type()),
             format("%d %d %d %d %d", kTransferLaplaceHertz, kTransferDigital, kTransferFIREven,
                    kTransferResponseList, kTransferPolynomial)},
            // The document's unit text with the unit model's bases; volts have none.
            {format("%s %d %zu %d %d %d %d", input->description(), input->_the_unit_base(),
                    input->_elements()->count(), input->_elements()->objectAtIndexAs<ZEVAUnit>(1)->_the_unit_base(),
                    input->_elements()->objectAtIndexAs<ZEVAUnit>(1)->_exponent(),
                    stage(0)->_output_units()->_the_unit_base(), stage(1)->_output_units()->_the_unit_base()),
             format("M/S/S %d 2 %d -2 -1 %d", ZEVAUnit::kComposite, ZEVAUnit::kSecond, ZEVAUnit::kCount)},
            {format("%g %g %g %g %g", zero->_real_error(), zero->_imaginary(), pole->_imaginary_error(),
                    normalization->_ao_normalization_factor(),
                    stage(0)->_the_gain()->_gain_factor()),
             "0.5 1 0.125 70738 2060.3"},
            {format("%g %zu", cf->objectAtIndexAs<ZEVACoefficientFilter>(0)->_denominator()->_value(),
                    stage(2)->_filters()->count()),
             "2 2"},
            {format("%d %d %d %g %d", decimation->_factor(), decimation->_offset(),
                    decimation->_input_rate()->_numPoints(), decimation->_estimated_delay()->value(),
                    decimation->_correction_applied()->_the_units()->_the_unit_base()),
             format("4 1 40 0.05 %d", ZEVAUnit::kSecond)},
            {list->_amplitude()->description() + list->_ampliutde_error()->description() +
                 list->_phase_unit()->description(),
             "(\n    2\n)(\n    0.5\n)Degrees"},
        };
        for (const auto& [got, want] : values) EXPECT_EQ(got, want);
        // What has no place is named, once.
        for (const char* what : {"Polynomial stages (coefficients and bounds)", "Polynomial/Coefficient",
                                 "Sensor/Description", "FDSNStationXML/Source"})
            EXPECT_EQ(std::count(inv.notKept.begin(), inv.notKept.end(), what), 1) << what;
    }
}

TEST_F(StationXMLTest, HostileAndBrokenDocumentsAreRefusedWithTheirLine) {
    const std::string head = "<?xml version=\"1.0\"?>\n";
    const std::string open = head + "<FDSNStationXML schemaVersion=\"1.1\">\n<Network code=\"XX\">\n";
    const std::string station = "<Station code=\"A\"><Latitude>1</Latitude><Longitude>2</Longitude><Elevation>3</Elevation>\n";
    const std::string channel = "<Channel code=\"BHZ\" locationCode=\"\"><Latitude>1</Latitude><Longitude>2</Longitude>"
                                "<Elevation>3</Elevation><Depth>0</Depth><Response>\n";
    const std::string end = "</Station></Network></FDSNStationXML>\n", close = "</Response></Channel>" + end;
    std::string laughs = head + "<!DOCTYPE lolz [\n<!ENTITY lol \"lol\">\n";
    for (int i = 2; i <= 9; ++i) {
        laughs += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) laughs += "&lol" + (i > 2 ? std::to_string(i - 1) : std::string()) + ";";
        laughs += "\">\n";
    }
    laughs += "]>\n<FDSNStationXML schemaVersion=\"1.0\"><Source>&lol9;</Source></FDSNStationXML>\n";
    const std::tuple<const char*, std::string, int, const char*> cases[] = {  // what, document, line, message
        {"billion laughs", laughs, 2, "document type declarations are refused"},
        {"not XML", "station list, not XML\n", 1, "not well-formed XML"},
        {"other root", head + "<quakeml>\n</quakeml>", 2, "not a StationXML document"},
        {"schema 2", head + "<FDSNStationXML schemaVersion=\"2.0\"/>", 2, "schema version 2.0"},
        {"not a number",
         open + station + "<Channel code=\"BHZ\" locationCode=\"\">\n<Latitude>north</Latitude></Channel>" + end,
         6, "Latitude: not a number: 'north'"},
        {"number beyond a float",
         open + station + "<Channel code=\"BHZ\" locationCode=\"\">\n<Latitude>-1e300</Latitude></Channel>" + end,
         6, "Latitude: out of range: '-1e300'"},
        {"station without position", open + "<Station code=\"A\">\n<Latitude>1</Latitude>\n</Station></Network></FDSNStationXML>",
         4, "Station A: missing Longitude"},
        {"negative stage number", open + station + channel + "<Stage number=\"-1\"/>" + close, 6, "negative count -1"},
        {"unknown transfer type",
         open + station + channel + "<Stage number=\"1\"><PolesZeros><InputUnits><Name>M</Name></InputUnits>"
                                    "<OutputUnits><Name>V</Name></OutputUnits><PzTransferFunctionType>SOMETHING"
                                    "</PzTransferFunctionType></PolesZeros></Stage>" + close,
         6, "Stage 1: unknown PzTransferFunctionType 'SOMETHING'"},
    };
    for (const auto& [what, text, line, message] : cases)
        for (auto level : {StationXMLLevel::Response, StationXMLLevel::Channel}) {
            SCOPED_TRACE(std::string(what) + (level == StationXMLLevel::Channel ? ", channel level" : ""));
            StationXMLInventory inv;
            stationxml::Failure failure;
            EXPECT_FALSE(importStationXMLMemory(text.data(), text.size(), &inv, &failure, level));
            EXPECT_EQ(failure.line, line);
            EXPECT_NE(failure.message.find(message), std::string::npos) << failure.message;
            EXPECT_EQ(inv.channels->count(), 0u);
        }
    // The command names the file and line on one line, exits 1 and saves
    // nothing, even beside a good document.
    const fs::path good = write("good.xml", generatedDocument("1.1", true)), archive = dir_ / "out.archive";
    const auto& [what, text, line, message] = cases[std::size(cases) - 1];
    const fs::path bad = write("bad.xml", text);
    auto run = test::runCommand("{ '" ZEVA_CLI_PATH "' inventory '" + bad.string() + "' '" + good.string() + "' --save '" +
                                archive.string() + "' 2>&1 >/dev/null; echo $?; } | grep -v 'not kept'");
    EXPECT_EQ(run.out, format("zeva inventory: %s:%d: %s\n1\n", bad.string(), line, message));
    EXPECT_FALSE(fs::exists(archive));
}

// --channel picks epochs as the FDSN services do (wildcards; "--" or nothing
// for a blank location code), shown stage by stage for people or with
// --describe as the model's texts; --save keeps what was picked, with its
// instrumentation (the archive's own tests hold that sharing survives).
TEST_F(StationXMLTest, ChannelChoiceAndSavedArchive) {
    const fs::path doc = write("doc.xml", generatedDocument("1.2", true)), archive = dir_ / "inventory.archive";
    auto printed = runCli("inventory '" + doc.string() + "' --channel XX.STA.00.BHZ --describe --save '" +
                          archive.string() + "' 2>/dev/null");
    ASSERT_EQ(printed.status, 0);
    // Two epochs of XX.STA.00.BHZ, the first with its five stages, and the station's network owner.
    auto count = [](const std::string& text, std::string_view what) {
        return std::max<long>(0, std::ranges::distance(text | std::views::split(what)) - 1);
    };
    EXPECT_EQ(std::make_tuple(count(printed.out, "=== XX.STA.00.BHZ"), count(printed.out, "\nZEVAStage\n"),
                              count(printed.out, "Agency A") > 0),
              std::make_tuple(2, 5, true));

    std::string error;
    auto root = std::dynamic_pointer_cast<Dictionary>(unarchiveObjectWithFile(archive.string(), &error));
    ASSERT_TRUE(root) << error;
    auto channels = root->objectForKeyAs<Array>("channels");
    auto instrumentation = root->objectForKeyAs<Array>("instrumentation");
    ASSERT_TRUE(channels && instrumentation && channels->count() == 2 && instrumentation->count() == 2);
    EXPECT_EQ(textOf(channels->objectAtIndexAs<ZEVAChannel>(0)->network_code()) + " " +
                  stageShape(*instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)),
              "XX 1/1/0 0/0/2 0/0/2 0/0/0 0/0/0");

    // The view for people: sensitivity with unit and frequency, each stage
    // by kind with its units, gain and numbers.
    auto view = runCli("inventory '" + doc.string() + "' --channel 'XX.STA.*.BHZ' 2>/dev/null");
    EXPECT_EQ(view.status, 0);
    for (const char* line : {"overall sensitivity: 6000000000 at 0.5 Hz, input unit NM/S**2\n",
                             "stage 1: poles and zeros, Laplace (Hz); M/S/S to V; gain 2060.3 at 0.02 Hz\n"
                             "  normalization factor 70738 at 0.02 Hz\n  zeros: 1\n    0 +1i\n  poles: 1\n"
                             "    -0.037 +0.037i\n",
                             "; V to COUNTS", "  denominator coefficients: 2\n    2\n    3\n",
                             "stage 3: FIR, even symmetry (first half given); COUNTS to COUNTS",
                             "  numerator coefficients: 2\n    0.25\n    0.5\n",
                             "  decimation: input 40 Hz, factor 4, offset 1, delay 0.05 s, correction 0.04 s\n",
                             "stage 4: response list", "stage 5: polynomial"})
        EXPECT_EQ(count(view.out, line), 1) << line << "\n" << view.out;

    // Location codes and wildcards; the shared document has blank codes and
    // FIR coefficients far below a unit.
    const std::string shared = std::string(ZEVA_SHARED_DATA_DIR) + "/stationxml/";
    if (!fs::exists(shared + "BW_GR_misc.xml") || !fs::exists(shared + "IU_ANMO_BH.xml"))
        GTEST_SKIP() << "no shared StationXML documents in " << shared;
    const std::tuple<std::string, std::string, long> picks[] = {
        {"BW_GR_misc.xml", "GR.FUR..HHZ", 1}, {"BW_GR_misc.xml", "GR.FUR.--.HHZ", 1},
        {"BW_GR_misc.xml", "GR.FUR.*.?H?", 12}, {"BW_GR_misc.xml", "GR.FUR.00.HHZ", 0},
        {"IU_ANMO_BH.xml", "IU.ANMO.00.BHZ", 1},
    };
    for (const auto& [file, pattern, epochs] : picks) {
        auto r = runCli("inventory '" + shared + file + "' --channel '" + pattern + "' 2>/dev/null");
        EXPECT_EQ(std::make_pair(r.status, count(r.out, "=== ")), std::make_pair(epochs ? 0 : 1, epochs)) << pattern;
        if (file == "IU_ANMO_BH.xml") {
            EXPECT_EQ(count(r.out, "\n    3.67488e-08\n"), 1) << r.out;
        }
    }
}

}  // namespace
