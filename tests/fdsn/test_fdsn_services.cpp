// The three web services against a loopback data centre serving the shared
// answers: the queries zeva sends (parameters, POST body lines, headers),
// the commands' output against the same answers read from files, and the
// statuses and broken transfers a data centre may answer with.
#include <chrono>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/loopback_server.hpp"
#include "support/run_cli.hpp"
#include "zeva/core/ModelClasses.hpp"
#include "zeva/fdsn/FDSNClient.hpp"

namespace fs = std::filesystem;
using namespace zeva;
using test::runCliApart, test::split;

namespace {

const fs::path kData = fs::path(ZEVA_SHARED_DATA_DIR);

// What the last request carried.
struct Seen {
    std::mutex lock;
    std::string method, path, body, userAgent, acceptEncoding;
    std::multimap<std::string, std::string> params;
};

// Serves BASE/MODE/fdsnws/SERVICE/1/query: "ok" answers with the shared
// answers, the other modes as a troubled data centre would.
class DataCentre {
public:
    DataCentre()
        : server_([this](httplib::Server& s) {
              auto handle = [this](const httplib::Request& req, httplib::Response& res) { answer(req, res); };
              s.Get(R"(/(\w+)/fdsnws/(\w+)/1/query)", handle);
              s.Post(R"(/(\w+)/fdsnws/(\w+)/1/query)", handle);
          }) {}

    std::string base(const std::string& mode) const { return server_.url("/" + mode); }
    bool running() const { return server_.running(); }
    Seen seen;

private:
    void answer(const httplib::Request& req, httplib::Response& res) {
        {
            std::lock_guard<std::mutex> hold(seen.lock);
            seen.method = req.method, seen.path = req.path, seen.body = req.body;
            seen.params = {req.params.begin(), req.params.end()};
            seen.userAgent = req.get_header_value("User-Agent");
            seen.acceptEncoding = req.get_header_value("Accept-Encoding");
        }
        const std::string mode = req.matches[1], service = req.matches[2];
        const bool text = req.get_param_value("format") == "text";
        if (mode == "nodata") {
            res.status = 204;
        } else if (mode == "bad" || mode == "toolarge" || mode == "unavailable" || mode == "denied") {
            res.status = mode == "bad" ? 400 : mode == "toolarge" ? 413 : mode == "unavailable" ? 503 : 403;
            res.set_content(std::to_string(res.status) + ": the service says no\n\nRequest details: " + req.path +
                                "\nUsage details are available from the service's home page\nmore\nand more\n",
                            "text/plain");
        } else if (mode == "slow") {
            std::this_thread::sleep_for(std::chrono::milliseconds(1500));
            res.set_content("late", "text/plain");
        } else if (mode == "cut") {
            auto body = std::make_shared<std::string>(test::readFile((kData / "quakeml" / "usgs_event.xml").string()));
            res.set_content_provider(body->size(), "application/xml",
                                     [body](size_t offset, size_t, httplib::DataSink& sink) {
                                         if (offset > 0) return false;  // half, then the connection drops
                                         sink.write(body->data(), body->size() / 2);
                                         return true;
                                     });
        } else if (mode == "redirect") {
            res.status = 302;
            res.set_header("Location", "ftp://127.0.0.1/elsewhere");
        } else {
            std::string file = service == "station"    ? (text ? "fdsn/channel_level_fdsn.txt" : "fdsn/AU.MEEK.xml")
                               : service == "event"    ? (text ? "fdsn/event_text_isc.txt"
                                                               : "quakeml/iris_fdsnws_events_by_time.xml")
                               : req.method == "POST" ? "fdsn/bulk.mseed"
                               : req.get_param_value("channel").find_first_of("*?") != std::string::npos
                                   ? "fdsn/dataselect_example_mixed_wildcards.mseed"
                                   : "fdsn/dataselect_example.mseed";
            res.set_content(test::readFile((kData / file).string()),
                            service == "dataselect" ? "application/vnd.fdsn.mseed" : "text/plain");
        }
    }

    test::LoopbackServer server_;
};

class ServicesTest : public ::testing::Test {
protected:
    void SetUp() override {
        registerModelClasses();
        if (!fs::is_directory(kData / "fdsn") || !fs::is_directory(kData / "quakeml"))
            GTEST_SKIP() << "no shared FDSN answers in " << kData;
        ASSERT_TRUE(centre_.running());
    }
    std::map<std::string, std::string> params() {
        std::lock_guard<std::mutex> hold(centre_.seen.lock);
        std::map<std::string, std::string> out;
        for (const auto& [k, v] : centre_.seen.params) out[k] += (out.count(k) && !out[k].empty() ? "," : "") + v;
        return out;
    }
    DataCentre centre_;
};

TEST_F(ServicesTest, QueriesCarryTheServicesParametersAndAnswersReadAsTheFilesDo) {
    const std::string ok = "--service " + centre_.base("ok");
    struct Case {
        std::string args;                           // after zeva
        std::map<std::string, std::string> params;  // as the data centre received them
        std::string sameAs;                         // the command whose output must match
    };
    const std::string meek = (kData / "fdsn" / "AU.MEEK.xml").string();
    const std::string events = (kData / "quakeml" / "iris_fdsnws_events_by_time.xml").string();
    const Case cases[] = {
        {"stations " + ok + " --network AU --station 'ME*' --location -- --channel 'SH?' --start 2003-06-25 "
                            "--end '2008-05-12 00:00:00.000001' --box -30 -20 110 120",
         {{"network", "AU"}, {"station", "ME*"}, {"location", "--"}, {"channel", "SH?"},
          {"starttime", "2003-06-25T00:00:00.000000"}, {"endtime", "2008-05-12T00:00:00.000001"},
          {"minlatitude", "-30"}, {"maxlatitude", "-20"}, {"minlongitude", "110"}, {"maxlongitude", "120"},
          {"level", "channel"}, {"format", "xml"}},
         "inventory '" + meek + "'"},
        {"stations " + ok + " --around 60.5 -142.25 0 12.5 --level channel --format text --start 2009152T140312",
         {{"latitude", "60.5"}, {"longitude", "-142.25"}, {"minradius", "0"}, {"maxradius", "12.5"},
          {"starttime", "2009-06-01T14:03:12.000000"}, {"level", "channel"}, {"format", "text"}},
         ""},
        {"waveforms " + ok + " IU.ANMO..BHZ 2010-02-27T06:30:00 2010-02-27T06:40:00.250001",
         {{"network", "IU"}, {"station", "ANMO"}, {"location", "--"}, {"channel", "BHZ"},
          {"starttime", "2010-02-27T06:30:00.000000"}, {"endtime", "2010-02-27T06:40:00.250001"}},
         "seismogram '" + (kData / "fdsn" / "dataselect_example.mseed").string() + "'"},
        {"waveforms " + ok + " 'IU.A*.*.B?H' 2010-02-27T06:30:00 2010-02-27T06:31:00 --samples",
         {{"network", "IU"}, {"station", "A*"}, {"location", "*"}, {"channel", "B?H"},
          {"starttime", "2010-02-27T06:30:00.000000"}, {"endtime", "2010-02-27T06:31:00.000000"}},
         "seismogram --samples '" + (kData / "fdsn" / "dataselect_example_mixed_wildcards.mseed").string() + "'"},
        {"quakes " + ok + " --start 2001-01-07 --end 2001-01-08 --min 1.5 --max 9 --mindepth 0 --maxdepth 100.5 "
                          "--orderby magnitude --limit 3",
         {{"starttime", "2001-01-07T00:00:00.000000"}, {"endtime", "2001-01-08T00:00:00.000000"},
          {"minmagnitude", "1.5"}, {"maxmagnitude", "9"}, {"mindepth", "0"}, {"maxdepth", "100.5"},
          {"orderby", "magnitude"}, {"limit", "3"}, {"format", "xml"}},
         "quakes '" + events + "'"},
        {"quakes " + ok + " --format text --around 2 93 0 10",
         {{"latitude", "2"}, {"longitude", "93"}, {"minradius", "0"}, {"maxradius", "10"}, {"format", "text"}}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        auto run = runCliApart(c.args);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(params(), c.params);
        {
            std::lock_guard<std::mutex> hold(centre_.seen.lock);
            EXPECT_TRUE(centre_.seen.userAgent.starts_with("zeva/")) << centre_.seen.userAgent;
            EXPECT_NE(centre_.seen.acceptEncoding.find("gzip"), std::string::npos);
        }
        if (!c.sameAs.empty()) {
            auto local = runCliApart(c.sameAs);
            ASSERT_EQ(local.status, 0) << local.err;
            EXPECT_EQ(run.out, local.out);
        } else {
            EXPECT_GE(split(run.out, '\n').size(), 3u) << run.out;
        }
    }
}

TEST_F(ServicesTest, TheEventListComesFromAnEventService) {
    auto run = runCliApart("events --min 1.7 --service " + centre_.base("ok"));
    ASSERT_EQ(run.status, 0) << run.err;
    auto sent = params();
    EXPECT_EQ(sent["minmagnitude"], "1.7");
    EXPECT_EQ(sent["format"], "xml");
    double start = 0;
    ASSERT_TRUE(stationxml::parseInstant(sent["starttime"], &start)) << sent["starttime"];
    EXPECT_NEAR(Date::date()->timeIntervalSince1970() - start, 7 * 86400.0, 600.0);
    // The service's events above the limit, in the table of `zeva quakes`.
    auto all = runCliApart("quakes '" + (kData / "quakeml" / "iris_fdsnws_events_by_time.xml").string() + "'");
    // Both tables number their own rows: compared without the numbers.
    auto cells = [](const std::string& line) { return line.substr(line.find('\t') + 1); };
    auto rows = split(all.out, '\n'), got = split(run.out, '\n');
    ASSERT_EQ(got.size(), 4u) << run.out;
    EXPECT_EQ(std::vector<std::string>({cells(got[0]), cells(got[1]), cells(got[2])}),
              std::vector<std::string>({cells(rows[0]), cells(rows[2]), cells(rows[3])}));
    EXPECT_EQ(got[1].substr(0, 2), "1\t");
    EXPECT_EQ(runCliApart("events --example --service " + centre_.base("ok")).status, 2);
    EXPECT_EQ(runCliApart("events --service " + centre_.base("unavailable")).status, 1);
    // link loads the same list, so its row 1 is the table's row 1.
    auto link = runCliApart("link event --print --row 1 --min 1.7 --service " + centre_.base("ok"));
    ASSERT_EQ(link.status, 0) << link.err;
    EXPECT_NE(link.out.find(split(got[1], '\t')[8]), std::string::npos) << link.out << got[1];
}

TEST_F(ServicesTest, SeveralChannelsGoAsOneBulkRequest) {
    auto run = runCliApart("waveforms --service " + centre_.base("ok") +
                           " IU.ANMO.00.BHZ 2010-02-27T06:30:00 2010-02-27T06:31:00 "
                           "'GR.FUR..LH?' 2010-02-27T06:30:00.5 2010-02-27T06:31:00.000001 --samples");
    ASSERT_EQ(run.status, 0) << run.err;
    {
        std::lock_guard<std::mutex> hold(centre_.seen.lock);
        EXPECT_EQ(centre_.seen.method, "POST");
        EXPECT_EQ(centre_.seen.body,
                  "IU ANMO 00 BHZ 2010-02-27T06:30:00.000000 2010-02-27T06:31:00.000000\n"
                  "GR FUR -- LH? 2010-02-27T06:30:00.500000 2010-02-27T06:31:00.000001\n");
    }
    auto local = runCliApart("seismogram --samples '" + (kData / "fdsn" / "bulk.mseed").string() + "'");
    EXPECT_EQ(run.out, local.out);

    // A group request gives one line per channel over its one window.
    auto group = ZEVAGroupRequest::create();
    auto network = ZEVANetworkID::create();
    network->set_network_code(str("IU"));
    auto channels = MutableArray::array();
    for (const char* code : {"BHZ", "BH1"}) {
        auto id = ZEVAChannelID::create();
        id->set_network_id(network);
        id->set_station_code(str("ANMO"));
        id->set_site_code(str("10"));
        id->set_channel_code(str(code));
        channels->addObject(id);
    }
    group->set_channels(channels);
    auto start = ZEVATime::create(), end = ZEVATime::create();
    start->setEpochTime(1267252200.25), end->setEpochTime(1267252260);
    group->set_start_time(start), group->set_end_time(end);
    EXPECT_EQ(fdsn::bulkBody(*group), "IU ANMO 10 BHZ 2010-02-27T06:30:00.250000 2010-02-27T06:31:00.000000\n"
                                      "IU ANMO 10 BH1 2010-02-27T06:30:00.250000 2010-02-27T06:31:00.000000\n");
}

TEST_F(ServicesTest, StatusesAndBrokenTransfers) {
    struct Case {
        const char* mode;
        int status;
        const char* says;  // in standard error
    };
    const Case cases[] = {
        {"nodata", 0, "no data"},
        {"bad", 1, "HTTP 400 Bad Request: 400: the service says no / Request details: /bad/fdsnws/"},
        {"denied", 1, "HTTP 403 Forbidden: 403: the service says no"},
        {"toolarge", 1, "HTTP 413 Request Entity Too Large: 413: the service says no"},
        {"unavailable", 1, "HTTP 503 Service Unavailable: 503: the service says no"},
        {"cut", 1, "zeva quakes: "},
        {"redirect", 1, "zeva quakes: "},
        {"missing", 1, "HTTP 404"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode);
        std::string base = c.mode == std::string("missing") ? centre_.base("ok") + "/nothing" : centre_.base(c.mode);
        auto run = runCliApart("quakes --service " + base);
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
        EXPECT_EQ(split(run.err, '\n').size(), 2u) << run.err;  // one line
        if (c.status == 0) {
            EXPECT_EQ(run.out, "");
        }
    }
    // The explanation is cut to its first lines.
    auto bad = runCliApart("stations --service " + centre_.base("bad"));
    EXPECT_EQ(bad.err.find("and more"), std::string::npos) << bad.err;

    // Time-outs and the size cap, through the library's limits.
    fdsn::HTTPOptions quick;
    quick.totalTimeoutMs = 300;
    auto slow = fdsn::fetch(centre_.base("slow") + "/fdsnws/event/1/query", std::nullopt, quick);
    EXPECT_NE(slow.error.find("timed out"), std::string::npos) << slow.error;
    fdsn::HTTPOptions small;
    small.maxBytes = 1000;
    auto big = fdsn::fetch(centre_.base("ok") + "/fdsnws/event/1/query", std::nullopt, small);
    EXPECT_NE(big.error.find("larger than the cap of 1000 bytes"), std::string::npos) << big.error;
    EXPECT_TRUE(big.body.empty());
}

TEST_F(ServicesTest, UsageErrorsAndTheDataCentreTable) {
    const std::string ok = "--service " + centre_.base("ok");
    const std::pair<std::string, const char*> usage[] = {
        {"stations --service NOWHERE", "unknown data centre 'NOWHERE'"},
        {"stations", "--service NAME|URL is required"},
        {"stations --service ftp://example.org", "not an http or https URL"},
        {"waveforms --service USGS IU.ANMO..BHZ 2010-01-01 2010-01-02", "USGS offers no fdsnws-dataselect"},
        {"waveforms " + ok + " IU.ANMO.BHZ 2010-01-01 2010-01-02", "a channel is NET.STA.LOC.CHA"},
        {"waveforms " + ok + " IU.ANMO..BHZ 2010-01-02 2010-01-01", "the end comes after the start"},
        {"waveforms " + ok + " IU.ANMO..BHZ 2010-01-01", "triples"},
        {"quakes " + ok + " --box 10 0 0 10", "--box is MINLAT MAXLAT MINLON MAXLON"},
        {"quakes " + ok + " --box 0 10 0 10 --around 0 0 0 10", "exclude each other"},
        {"quakes " + ok + " --start yesterday", "--start: not a time: yesterday"},
        {"quakes " + ok + " --end 123456-01-01", "--end: not a time: 123456-01-01"},
        {"waveforms " + ok + " IU.ANMO..BHZ 2009400T000000 2010-01-01", "START: not a time: 2009400T000000"},
        {"quakes " + ok + " --orderby depth", "--orderby is time or magnitude"},
        {"quakes " + ok + " --limit 0", "--limit is a count from 1"},
        {"quakes x.xml --min 3", "the query options go with --service"},
        {"stations " + ok + " --format text --level response", "--level response needs --format xml"},
    };
    for (const auto& [args, says] : usage) {
        SCOPED_TRACE(args);
        auto run = runCliApart(args);
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find(says), std::string::npos) << run.err;
    }
    std::string error;
    EXPECT_EQ(fdsn::queryURL("iris", fdsn::Service::Event, &error), "https://service.iris.edu/fdsnws/event/1/query");
    EXPECT_EQ(fdsn::queryURL("http://host:8080/base/", fdsn::Service::Station, &error),
              "http://host:8080/base/fdsnws/station/1/query");
    for (const auto& centre : fdsn::dataCentres()) {
        SCOPED_TRACE(centre.name);
        EXPECT_TRUE(std::string(centre.base).starts_with("https://"));
        EXPECT_TRUE(centre.event || centre.station);
    }
}

}  // namespace
