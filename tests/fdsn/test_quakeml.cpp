// QuakeML import: every shared document against an independent reading with
// Python's ElementTree, the command's table of the same files, and hostile
// or broken documents.
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/run_cli.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/QuakeML.hpp"

namespace fs = std::filesystem;
using namespace zeva;
using test::split;

namespace {

// Per event with an origin: epoch seconds, latitude, longitude, depth in
// metres ('' without), then "value type" per magnitude, the preferred first.
const char* kExpected = R"PY(
import sys, xml.etree.ElementTree as ET
from datetime import datetime, timezone
def local(e): return e.tag.rsplit('}', 1)[-1]
def kids(e, name): return [] if e is None else [c for c in e if local(c) == name]
def kid(e, name): return (kids(e, name) or [None])[0]
def text(e, *path):
    for name in path: e = kid(e, name)
    return '' if e is None else (e.text or '').strip()
def epoch(s):
    d = datetime.fromisoformat(s.replace('Z', '+00:00'))
    return repr((d if d.tzinfo else d.replace(tzinfo=timezone.utc)).timestamp())
root = ET.parse(sys.argv[1]).getroot()
for event in root.iter():
    if local(event) != 'event': continue
    origins = kids(event, 'origin')
    if not origins: continue
    pref = text(event, 'preferredOriginID')
    o = ([x for x in origins if x.get('publicID') == pref] or origins)[0]
    mags = [m for m in kids(event, 'magnitude') if text(m, 'mag', 'value')]
    pm = text(event, 'preferredMagnitudeID')
    mags = [m for m in mags if m.get('publicID') == pm] + [m for m in mags if m.get('publicID') != pm]
    print('\t'.join([epoch(text(o, 'time', 'value')), text(o, 'latitude', 'value'), text(o, 'longitude', 'value'),
                     text(o, 'depth', 'value')] + ['%s %s' % (text(m, 'mag', 'value'), text(m, 'type')) for m in mags]))
)PY";

class QuakeMLTest : public ::testing::Test {
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
    const fs::path dir_ = fs::temp_directory_path() / ("zeva-quakeml-" + std::to_string(::getpid()));
};

TEST_F(QuakeMLTest, EverySharedDocumentMatchesAnIndependentReading) {
    const fs::path documents = fs::path(ZEVA_SHARED_DATA_DIR) / "quakeml";
    if (!fs::is_directory(documents)) GTEST_SKIP() << "no shared QuakeML documents in " << documents;
    const fs::path script = write("expected.py", kExpected);
    int files = 0, events = 0;
    for (const auto& entry : fs::directory_iterator(documents)) {
        if (entry.path().extension() != ".xml") continue;
        ++files;
        const std::string file = entry.path().string();
        SCOPED_TRACE(file);
        auto expected = test::runCommand(std::string(ZEVA_PYTHON) + " '" + script.string() + "' '" + file + "'");
        ASSERT_EQ(expected.status, 0) << expected.out;
        auto want = split(expected.out, '\n');
        want.pop_back();

        quakeml::Catalogue catalogue;
        quakeml::Failure failure;
        ASSERT_TRUE(quakeml::readFile(file, &catalogue, &failure)) << failure.line << ": " << failure.message;
        ASSERT_EQ(catalogue.origins->count(), want.size());
        EXPECT_EQ(catalogue.events - catalogue.eventsWithoutOrigin, want.size());
        for (size_t i = 0; i < want.size(); ++i) {
            auto w = split(want[i], '\t');
            auto origin = catalogue.origins->objectAtIndexAs<ZEVAOrigin>(i);
            ++events;
            // Exact to the microsecond, as the document writes it.
            EXPECT_NEAR(origin->originTime()->epochTime(), std::stod(w[0]), 1e-6) << want[i];
            EXPECT_FLOAT_EQ(origin->latitude(), std::stof(w[1]));
            EXPECT_FLOAT_EQ(origin->longitude(), std::stof(w[2]));
            EXPECT_NEAR(origin->depthValue(), w[3].empty() ? 0.0 : std::stod(w[3]) / 1000.0, 1e-6);
            auto magnitudes = origin->_magnitudes();
            ASSERT_EQ(magnitudes ? magnitudes->count() : 0, w.size() - 4);
            for (size_t m = 4; m < w.size(); ++m) {
                auto magnitude = magnitudes->objectAtIndexAs<ZEVAMagnitude>(m - 4);
                auto parts = split(w[m], ' ');
                EXPECT_FLOAT_EQ(magnitude->magnitude(), std::stof(parts[0]));
                EXPECT_EQ(textOf(magnitude->type()), parts[1]);
            }
            EXPECT_TRUE(origin->FERegion() != nullptr);
        }
        // The command prints the same events, one row each, under the header.
        auto table = test::runCli("quakes '" + file + "' 2>/dev/null");
        EXPECT_EQ(table.status, 0);
        EXPECT_EQ(split(table.out, '\n').size(), want.size() + 2);
    }
    EXPECT_EQ(files, 7);
    EXPECT_GE(events, 12);
}

TEST_F(QuakeMLTest, ServiceAttributesGiveCatalogueContributorAndIdentifier) {
    const fs::path documents = fs::path(ZEVA_SHARED_DATA_DIR) / "quakeml";
    if (!fs::is_directory(documents)) GTEST_SKIP() << "no shared QuakeML documents in " << documents;
    struct Case {
        const char* file;
        const char* catalog;
        const char* contributor;
        const char* id;
        const char* magnitudeContributor;
    };
    const Case cases[] = {
        {"iris_fdsnws_events_by_time.xml", "ISC", "ISC", "958596", "JMA"},
        {"usgs_event.xml", "ci", "ci", "ci37285320", "CI"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        quakeml::Catalogue catalogue;
        quakeml::Failure failure;
        ASSERT_TRUE(quakeml::readFile((documents / c.file).string(), &catalogue, &failure)) << failure.message;
        auto origin = catalogue.origins->objectAtIndexAs<ZEVAOrigin>(0);
        EXPECT_EQ(textOf(origin->_catalog()), c.catalog);
        EXPECT_EQ(textOf(origin->_contributor()), c.contributor);
        EXPECT_EQ(textOf(origin->_id()), c.id);
        EXPECT_EQ(textOf(origin->_magnitudes()->objectAtIndexAs<ZEVAMagnitude>(0)->contributor()),
                  c.magnitudeContributor);
    }
}

TEST_F(QuakeMLTest, HostileAndBrokenDocumentsFailWithElementAndLine) {
    const std::string head =
        "<?xml version=\"1.0\"?>\n<q:quakeml xmlns:q=\"http://quakeml.org/xmlns/quakeml/1.2\" "
        "xmlns=\"http://quakeml.org/xmlns/bed/1.2\">\n<eventParameters publicID=\"p\">\n";
    const std::string origin = "<origin publicID=\"o\"><time><value>2001-01-07T01:04:31.5Z</value></time>\n";
    struct Case {
        std::string document;
        int line;
        const char* message;
    };
    const Case cases[] = {
        {"<?xml version=\"1.0\"?>\n<!DOCTYPE q [<!ENTITY a \"aaaa\">]>\n<q/>", 2, "document type declarations"},
        {"<?xml version=\"1.0\"?>\n<FDSNStationXML/>", 2, "not a QuakeML document: the root element is FDSNStationXML"},
        {head + "<event>" + origin + "<latitude><value>north</value></latitude>\n</origin></event>", 5,
         "origin/latitude/value: not a number: 'north'"},
        {head + "<event>" + origin + "<latitude><value>91</value></latitude>\n</origin></event>", 5,
         "origin/latitude/value: out of range"},
        {head + "<event><origin publicID=\"o\"><time><value>yesterday</value></time>", 4,
         "origin/time/value: not a time: 'yesterday'"},
        {head + "<event>\n" + origin + "<longitude><value>1</value></longitude></origin></event></eventParameters></q:quakeml>",
         5, "origin o: no latitude/value"},
        {head + "<event>" + origin + "<latitude><value>1", 5, "not well-formed XML"},
        {head + "<event><magnitude><mag><value>4..5</value></mag></magnitude>", 4, "magnitude/mag/value: not a number"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.document);
        for (bool fromFile : {false, true}) {
            quakeml::Catalogue catalogue;
            quakeml::Failure failure;
            bool ok = fromFile ? quakeml::readFile(write("doc.xml", c.document).string(), &catalogue, &failure)
                               : quakeml::readMemory(c.document.data(), c.document.size(), &catalogue, &failure);
            EXPECT_FALSE(ok);
            EXPECT_EQ(failure.line, c.line) << failure.message;
            EXPECT_NE(failure.message.find(c.message), std::string::npos) << failure.message;
        }
    }
    // The command says so with the file and line, and fails.
    auto run = test::runCliApart("quakes '" + write("bad.xml", cases[2].document).string() + "'");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("bad.xml:5: origin/latitude/value"), std::string::npos) << run.err;
}

}  // namespace
