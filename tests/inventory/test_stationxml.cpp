// StationXML import: the shared real documents against an independent
// reading with Python's ElementTree, the model mapping of a generated
// document in every schema version with and without the namespace, hostile
// documents, and the command's archive.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
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
using zeva::test::runCli;
using zeva::test::runCommand;

namespace {

const fs::path kDocuments = fs::path(ZEVA_SHARED_DATA_DIR) / "stationxml";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> out;
    std::string item;
    std::istringstream in(text);
    while (std::getline(in, item, separator)) out.push_back(item);
    if (!text.empty() && text.back() == separator) out.emplace_back();
    return out;
}

class StationXMLTest : public ::testing::Test {
protected:
    void SetUp() override {
        zeva::registerModelClasses();
        dir_ = fs::temp_directory_path() / ("zeva-stationxml-" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    fs::path write(const std::string& name, const std::string& text) {
        fs::path path = dir_ / name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    fs::path dir_;
};

// Per channel epoch, in document order, as ElementTree reads it: the
// thirteen table cells (times as epoch seconds, numbers as written) and the
// stages in number order as poles/zeros/coefficient filters.
const char* kExpectedTable = R"PY(
import sys, xml.etree.ElementTree as ET
from datetime import datetime, timezone
def local(e): return e.tag.rsplit('}', 1)[-1]
def kids(e, name): return [] if e is None else [c for c in e if local(c) == name]
def kid(e, name):
    k = kids(e, name)
    return k[0] if k else None
def text(e, name):
    k = kid(e, name)
    return (k.text or '').strip() if k is not None else ''
def epoch(s):
    if not s: return ''
    d = datetime.fromisoformat(s)
    if d.tzinfo is None: d = d.replace(tzinfo=timezone.utc)
    return repr(d.timestamp())
root = ET.parse(sys.argv[1]).getroot()
for net in kids(root, 'Network'):
    for sta in kids(net, 'Station'):
        for ch in kids(sta, 'Channel'):
            resp = kid(ch, 'Response')
            sens = kid(resp, 'InstrumentSensitivity')
            stages = sorted(kids(resp, 'Stage'), key=lambda s: int(s.get('number')))
            shape = []
            for st in stages:
                pz, cf, fir = kid(st, 'PolesZeros'), kid(st, 'Coefficients'), kid(st, 'FIR')
                coefficients = max(len(kids(cf, 'Numerator')), len(kids(cf, 'Denominator'))) + len(kids(fir, 'NumeratorCoefficient'))
                shape.append('%d/%d/%d' % (len(kids(pz, 'Pole')), len(kids(pz, 'Zero')), coefficients))
            print('\t'.join([
                '.'.join([net.get('code'), sta.get('code'), ch.get('locationCode'), ch.get('code')]),
                epoch(ch.get('startDate')), epoch(ch.get('endDate')),
                text(ch, 'Latitude'), text(ch, 'Longitude'), text(ch, 'Elevation'),
                text(ch, 'Azimuth'), text(ch, 'Dip'), text(ch, 'SampleRate'),
                text(sens, 'Value'), text(sens, 'Frequency'), text(kid(sens, 'InputUnits'), 'Name'),
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
        if (stage->_filters())
            for (const auto& filter : *stage->_filters()) {
                if (auto pz = std::dynamic_pointer_cast<ZEVAPoleZeroFilter>(filter)) {
                    poles += pz->_poles() ? pz->_poles()->count() : 0;
                    zeros += pz->_zeros() ? pz->_zeros()->count() : 0;
                }
                if (std::dynamic_pointer_cast<ZEVACoefficientFilter>(filter)) ++coefficients;
            }
        out += (out.empty() ? "" : " ") + std::to_string(poles) + "/" + std::to_string(zeros) + "/" +
               std::to_string(coefficients);
    }
    return out;
}

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

bool close(const std::string& table, const std::string& document, double relative) {
    if (table.empty() || document.empty()) return table.empty() && document.empty();
    double a = std::stod(table), b = std::stod(document);
    return std::fabs(a - b) <= relative * std::max(1.0, std::fabs(b));
}

double instantOf(const std::string& text) {
    double seconds = NAN;
    zeva::stationxml::parseInstant(text, &seconds);
    return seconds;
}

TEST_F(StationXMLTest, EverySharedDocumentMatchesAnIndependentReading) {
    if (!fs::is_directory(kDocuments)) GTEST_SKIP() << "no shared StationXML documents in " << kDocuments;
    int documents = 0;
    for (const auto& entry : fs::directory_iterator(kDocuments)) {
        if (entry.path().extension() != ".xml") continue;
        ++documents;
        const std::string file = entry.path().string();
        SCOPED_TRACE(file);
        fs::path script = write("expected.py", kExpectedTable);
        auto expected = runCommand(std::string(ZEVA_PYTHON) + " '" + script.string() + "' '" + file + "'");
        ASSERT_EQ(expected.status, 0) << expected.out;
        auto table = runCli("inventory '" + file + "' 2>/dev/null");
        ASSERT_EQ(table.status, 0);
        zeva::StationXMLInventory inventory;
        zeva::stationxml::Failure failure;
        ASSERT_TRUE(zeva::importStationXMLFile(file, &inventory, &failure)) << failure.line << ": " << failure.message;

        auto want = split(expected.out, '\n'), got = split(table.out, '\n');
        ASSERT_EQ(got.size(), want.size());
        ASSERT_EQ(inventory.channels->count() + 1, want.size());  // both end in a line break
        for (size_t i = 0; i + 1 < want.size(); ++i) {
            auto w = split(want[i], '\t'), g = split(got[i], '\t');
            ASSERT_EQ(w.size(), 14u) << want[i];
            ASSERT_EQ(g.size(), 13u) << got[i];
            EXPECT_EQ(g[0], w[0]);
            for (int t : {1, 2}) {
                if (w[t].empty()) EXPECT_EQ(g[t], "") << w[0];
                else EXPECT_NEAR(instantOf(g[t]), std::stod(w[t]), 1e-3) << w[0] << " " << g[t];
            }
            // Positions and angles are 32-bit floats, rates and sensitivities
            // print with six digits.
            for (int n = 3; n <= 10; ++n) EXPECT_TRUE(close(g[n], w[n], 1e-5)) << w[0] << " cell " << n << ": " << g[n] << " vs " << w[n];
            EXPECT_EQ(g[11], w[11]);
            EXPECT_EQ(g[12], w[12]);
            auto instrumentation = inventory.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(i);
            EXPECT_EQ(stageShape(*instrumentation), w[13]) << w[0];
        }
    }
    EXPECT_GE(documents, 7);
}

// A document that exercises each kind of stage, two positions of one
// location code, units with prefixes and powers, and errors on numbers.
std::string generatedDocument(const std::string& version, bool withNamespace) {
    std::string ns = withNamespace ? " xmlns=\"http://www.fdsn.org/xml/station/1\"" : "";
    auto channel = [](const char* code, const char* start, const char* end, const char* latitude,
                      const std::string& response) {
        return std::string("<Channel code=\"") + code + "\" locationCode=\"00\" startDate=\"" + start + "\"" +
               (end[0] ? std::string(" endDate=\"") + end + "\"" : "") + "><Latitude>" + latitude +
               "</Latitude><Longitude>-106.5</Longitude><Elevation>1671</Elevation><Depth>145</Depth>"
               "<Azimuth>90</Azimuth><Dip>0</Dip><SampleRate>0.1</SampleRate>"
               "<Sensor><Type>STS-2</Type><Description>broadband</Description><SerialNumber>42</SerialNumber></Sensor>"
               "<DataLogger><Manufacturer>Quanterra</Manufacturer><Model>Q330</Model></DataLogger>" +
               response + "</Channel>";
    };
    auto units = [](const char* in, const char* out) {
        return std::string("<InputUnits><Name>") + in + "</Name></InputUnits><OutputUnits><Name>" + out +
               "</Name></OutputUnits>";
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
    return "<?xml version=\"1.0\"?>\n<FDSNStationXML" + ns + " schemaVersion=\"" + version + "\">\n" +
           "<Source>test</Source><Network code=\"XX\" startDate=\"2000-01-01T00:00:00\"><Description>net</Description>"
           "<Operator><Agency>Agency A</Agency></Operator>"
           "<Station code=\"STA\" startDate=\"2001-01-01T00:00:00Z\"><Latitude>35</Latitude><Longitude>-106</Longitude>"
           "<Elevation>1800</Elevation><Site><Name>Somewhere</Name></Site>\n" +
           channel("BHZ", "2010-01-01T00:00:00", "2012-06-01T00:00:00.5", "34.9", response) + "\n" +
           channel("BHN", "2005-01-01T00:00:00", "2011-01-01T00:00:00", "34.9", "") + "\n" +
           channel("BHZ", "2012-06-01T00:00:00", "", "34.8", "") + "\n</Station></Network></FDSNStationXML>\n";
}

TEST_F(StationXMLTest, MapsEveryKindOfStageInEverySchemaVersionWithOrWithoutNamespace) {
    for (std::string version : {"1.0", "1.1", "1.2"})
        for (bool withNamespace : {true, false}) {
            SCOPED_TRACE(version + (withNamespace ? " with namespace" : " without namespace"));
            std::string doc = generatedDocument(version, withNamespace);
            zeva::StationXMLInventory inv;
            zeva::stationxml::Failure failure;
            ASSERT_TRUE(zeva::importStationXMLMemory(doc.data(), doc.size(), &inv, &failure)) << failure.message;
            ASSERT_EQ(inv.channels->count(), 3u);
            auto bhz = inv.channels->objectAtIndexAs<ZEVAChannel>(0), bhn = inv.channels->objectAtIndexAs<ZEVAChannel>(1),
                 moved = inv.channels->objectAtIndexAs<ZEVAChannel>(2);

            // One site per location code and position, spanning its channels;
            // identifiers share the network's identifier.
            EXPECT_EQ(bhz->_my_site(), bhn->_my_site());
            EXPECT_NE(bhz->_my_site(), moved->_my_site());
            auto span = bhz->_my_site()->_effective_time();
            EXPECT_EQ(span->_start_time()->description(), "2005-01-01T00:00:00.0000Z");
            EXPECT_EQ(span->_end_time()->description(), "2012-06-01T00:00:00.5000Z");
            EXPECT_EQ(bhz->_my_site()->_id()->_begin_time(), span->_start_time());
            EXPECT_EQ(moved->_my_site()->_effective_time()->_end_time(), nullptr);
            auto station = bhz->getStation();
            EXPECT_EQ(station->_id()->_network_id(), bhz->_id()->_network_id());
            EXPECT_EQ(zeva::textOf(station->_my_network()->_owner()) + "|" + zeva::textOf(station->_name()),
                      "Agency A|Somewhere");
            EXPECT_FLOAT_EQ(bhz->_my_site()->_my_location()->depth(), 145.0);
            EXPECT_EQ(bhz->_sampling_info()->_numPoints(), 1);  // 0.1 Hz: one point in ten seconds
            EXPECT_DOUBLE_EQ(bhz->_sampling_info()->_interval()->value(), 10.0);

            auto instrumentation = inv.instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0);
            EXPECT_EQ(instrumentation->_effective_time(), bhz->_effective_time());
            EXPECT_EQ(zeva::textOf(instrumentation->_the_sensor()->_model()) + "|" +
                          zeva::textOf(instrumentation->_the_sensor()->_serial_number()) + "|" +
                          zeva::textOf(instrumentation->_das()->_manufacturer()),
                      "STS-2|42|Quanterra");
            auto stages = instrumentation->_the_response()->_stages();
            ASSERT_EQ(stages->count(), 5u);
            auto stage = [&](size_t i) { return stages->objectAtIndexAs<ZEVAStage>(i); };
            // Stage-number order, each kind with its code.
            const int32_t types[] = {zeva::kTransferLaplaceHertz, zeva::kTransferDigital, zeva::kTransferFIREven,
                                     zeva::kTransferResponseList, zeva::kTransferPolynomial};
            for (size_t i = 0; i < 5; ++i) EXPECT_EQ(stage(i)->_type(), types[i]) << i;

            // Units: the document's text, with the unit model's bases.
            auto input = stage(0)->_input_units();
            EXPECT_EQ(input->description(), "M/S/S");
            EXPECT_EQ(input->_the_unit_base(), ZEVAUnit::kComposite);
            ASSERT_EQ(input->_elements()->count(), 2u);
            auto second = input->_elements()->objectAtIndexAs<ZEVAUnit>(1);
            EXPECT_EQ(second->_the_unit_base(), ZEVAUnit::kSecond);
            EXPECT_EQ(second->_exponent(), -2);
            EXPECT_EQ(stage(0)->_output_units()->_the_unit_base(), -1);  // volts have no base
            EXPECT_EQ(stage(1)->_output_units()->_the_unit_base(), ZEVAUnit::kCount);
            EXPECT_EQ(stage(1)->_input_units(), stage(0)->_output_units());  // one object per unit text

            auto pz = stage(0)->_filters()->objectAtIndexAs<ZEVAPoleZeroFilter>(0);
            auto zero = pz->_zeros()->objectAtIndexAs<ZEVAComplexNumberErrored>(0);
            EXPECT_FLOAT_EQ(zero->_real_error(), 0.5f);
            EXPECT_FLOAT_EQ(zero->_imaginary(), 1.0f);
            auto pole = pz->_poles()->objectAtIndexAs<ZEVAComplexNumberErrored>(0);
            EXPECT_FLOAT_EQ(pole->_imaginary_error(), 0.125f);
            EXPECT_FLOAT_EQ(stage(0)->_the_normalization()->objectAtIndexAs<ZEVANormalization>(0)->_ao_normalization_factor(), 70738.0f);
            EXPECT_FLOAT_EQ(stage(0)->_the_gain()->_gain_factor(), 2060.3f);

            // One coefficient filter per numerator, and one for the extra denominator.
            auto cf = stage(1)->_filters();
            ASSERT_EQ(cf->count(), 2u);
            EXPECT_FLOAT_EQ(cf->objectAtIndexAs<ZEVACoefficientFilter>(0)->_denominator()->_value(), 2.0f);
            EXPECT_EQ(cf->objectAtIndexAs<ZEVACoefficientFilter>(1)->_numerator(), nullptr);
            EXPECT_EQ(stage(2)->_filters()->count(), 2u);
            auto decimation = stage(2)->_the_decimation()->objectAtIndexAs<ZEVADecimation>(0);
            EXPECT_EQ(std::make_tuple(decimation->_factor(), decimation->_offset(), decimation->_input_rate()->_numPoints()),
                      std::make_tuple(4, 1, 40));
            EXPECT_DOUBLE_EQ(decimation->_estimated_delay()->value(), 0.05);
            EXPECT_EQ(decimation->_correction_applied()->_the_units()->_the_unit_base(), ZEVAUnit::kSecond);

            auto list = stage(3)->_filters()->objectAtIndexAs<ZEVAListFilter>(0);
            EXPECT_EQ(list->_amplitude()->description(), "(\n    2\n)");
            EXPECT_EQ(list->_ampliutde_error()->description(), "(\n    0.5\n)");
            EXPECT_EQ(list->_phase_unit()->description(), "Degrees");
            EXPECT_EQ(stage(4)->_filters(), nullptr);

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
    const std::string close = "</Station></Network></FDSNStationXML>\n";
    std::string laughs = head + "<!DOCTYPE lolz [\n<!ENTITY lol \"lol\">\n";
    for (int i = 2; i <= 9; ++i) {
        laughs += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int k = 0; k < 10; ++k) laughs += "&lol" + (i > 2 ? std::to_string(i - 1) : std::string()) + ";";
        laughs += "\">\n";
    }
    laughs += "]>\n<FDSNStationXML schemaVersion=\"1.0\"><Source>&lol9;</Source></FDSNStationXML>\n";
    struct Case {
        const char* name;
        std::string text;
        int line;
        const char* message;
    };
    const Case cases[] = {
        {"billion laughs", laughs, 2, "document type declarations are refused"},
        {"external entity",
         head + "<!DOCTYPE r [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>\n<FDSNStationXML schemaVersion=\"1.0\">"
                "<Source>&x;</Source></FDSNStationXML>",
         2, "document type declarations are refused"},
        {"not XML", "station list, not XML\n", 1, "not well-formed XML"},
        {"cut short", open + station, 4, "not well-formed XML"},
        {"other root", head + "<quakeml>\n</quakeml>", 2, "not a StationXML document"},
        {"other namespace", head + "<FDSNStationXML xmlns=\"urn:other\" schemaVersion=\"1.0\"/>", 2,
         "not a StationXML document"},
        {"schema 2", head + "<FDSNStationXML schemaVersion=\"2.0\"/>", 2, "schema version 2.0"},
        {"not a number", open + station + "<Channel code=\"BHZ\" locationCode=\"\">\n<Latitude>north</Latitude></Channel>" + close,
         6, "Latitude: not a number: 'north'"},
        {"station without position", open + "<Station code=\"A\">\n<Latitude>1</Latitude>\n</Station></Network></FDSNStationXML>",
         4, "Station A: missing Longitude"},
        {"negative stage number",
         open + station + "<Channel code=\"BHZ\" locationCode=\"\"><Latitude>1</Latitude><Longitude>2</Longitude>"
                          "<Elevation>3</Elevation><Depth>0</Depth><Response>\n<Stage number=\"-1\"/></Response></Channel>" + close,
         6, "negative count -1"},
        {"unknown transfer type",
         open + station + "<Channel code=\"BHZ\" locationCode=\"\"><Latitude>1</Latitude><Longitude>2</Longitude>"
                          "<Elevation>3</Elevation><Depth>0</Depth><Response>\n<Stage number=\"1\"><PolesZeros>"
                          "<InputUnits><Name>M</Name></InputUnits><OutputUnits><Name>V</Name></OutputUnits>"
                          "<PzTransferFunctionType>SOMETHING</PzTransferFunctionType></PolesZeros></Stage></Response></Channel>" + close,
         6, "unknown PzTransferFunctionType 'SOMETHING'"},
    };
    fs::path good = write("good.xml", generatedDocument("1.1", true));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        fs::path path = write("bad.xml", c.text);
        zeva::StationXMLInventory inv;
        zeva::stationxml::Failure failure;
        EXPECT_FALSE(zeva::importStationXMLFile(path.string(), &inv, &failure));
        EXPECT_EQ(failure.line, c.line);
        EXPECT_NE(failure.message.find(c.message), std::string::npos) << failure.message;
        EXPECT_EQ(inv.channels->count(), 0u);
        EXPECT_FALSE(zeva::importStationXMLMemory(c.text.data(), c.text.size(), &inv, &failure));
        EXPECT_EQ(failure.line, c.line);

        // The command names the file and line on one line, exits 1 and
        // saves nothing, even beside a good document.
        fs::path archive = dir_ / "out.archive";
        auto run = runCli("inventory '" + good.string() + "' '" + path.string() + "' --save '" + archive.string() +
                          "' 2>&1 >/dev/null | grep -v 'not kept'");
        EXPECT_EQ(run.out, "zeva inventory: " + path.string() + ":" + std::to_string(c.line) + ": " +
                               failure.message + "\n");
        EXPECT_FALSE(fs::exists(archive));
        EXPECT_EQ(runCli("inventory '" + path.string() + "' 2>/dev/null").status, 1);
    }
    auto missing = runCli("inventory '" + (dir_ / "absent.xml").string() + "' 2>&1");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "zeva inventory: " + (dir_ / "absent.xml").string() + ": No such file or directory\n");
}

TEST_F(StationXMLTest, SavedArchiveRestoresWithSharedObjects) {
    fs::path doc = write("doc.xml", generatedDocument("1.2", true));
    fs::path archive = dir_ / "inventory.archive";
    auto channelText = runCli("inventory '" + doc.string() + "' --channel XX.STA.00.BHZ --save '" + archive.string() +
                              "' 2>/dev/null");
    ASSERT_EQ(channelText.status, 0);
    // Two epochs of XX.STA.00.BHZ; the first with its five stages.
    EXPECT_EQ(count(channelText.out, "=== XX.STA.00.BHZ"), 2u);
    EXPECT_EQ(count(channelText.out, "\nZEVAStage\n"), 5u);
    EXPECT_NE(channelText.out.find("Agency A"), std::string::npos);  // the station's network owner

    std::string error;
    auto root = std::dynamic_pointer_cast<zeva::Dictionary>(zeva::unarchiveObjectWithFile(archive.string(), &error));
    ASSERT_TRUE(root) << error;
    auto channels = root->objectForKeyAs<zeva::Array>("channels");
    auto instrumentation = root->objectForKeyAs<zeva::Array>("instrumentation");
    ASSERT_EQ(channels->count(), 3u);
    ASSERT_EQ(instrumentation->count(), 3u);
    auto first = channels->objectAtIndexAs<ZEVAChannel>(0), second = channels->objectAtIndexAs<ZEVAChannel>(1);
    EXPECT_EQ(first->_my_site(), second->_my_site());
    EXPECT_EQ(first->getStation()->_id()->_network_id(), first->_id()->_network_id());
    EXPECT_EQ(zeva::textOf(first->network_code()), "XX");
    EXPECT_EQ(instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)->_effective_time(), first->_effective_time());
    EXPECT_EQ(stageShape(*instrumentation->objectAtIndexAs<ZEVAInstrumentation>(0)), "1/1/0 0/0/2 0/0/2 0/0/0 0/0/0");

    EXPECT_EQ(runCli("inventory '" + doc.string() + "' --channel XX.STA.00.LHZ 2>/dev/null").status, 1);
}

}  // namespace
