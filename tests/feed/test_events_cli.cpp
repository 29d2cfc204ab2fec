// The zeva events / link / message commands, run as a separate program.
#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "feed/feed_support.hpp"
#include "zeva/platform/KeyedArchive.hpp"

using namespace feedtest;
using zeva::test::runCli;

namespace {

// The rows of a printed table (each split into its cells, the row number
// taken off) after the header, which comes after `skip` lines; checks the
// header and the row numbers on the way.
std::vector<std::vector<std::string>> tableRows(const std::string& out, size_t skip = 0) {
    auto lines = split(out, '\n');
    EXPECT_EQ(lines.back(), "") << "the table ends with a line feed";
    std::vector<std::vector<std::string>> rows;
    if (lines.size() <= skip + 1) {
        ADD_FAILURE() << "no header in: " << out;
        return rows;
    }
    EXPECT_EQ(lines[skip], "row\ttime\tcatalog\tlatitude\tlongitude\tdepth\tmagnitude\tcontributor\tid\tregion");
    for (size_t i = skip + 1; i + 1 < lines.size(); ++i) {
        rows.push_back(split(lines[i], '\t'));
        EXPECT_EQ(rows.back().size(), 10u) << lines[i];
        EXPECT_EQ(rows.back()[0], std::to_string(i - skip)) << lines[i];
        rows.back().erase(rows.back().begin());
    }
    return rows;
}

}  // namespace

// Without a way to the live feed (here: a proxy that refuses, which libcurl
// takes from the environment) the command says why and shows the example.
TEST(EventsCli, LiveFeedFallsBackToTheExample) {
    const std::string proxy = refusedBase();
    const std::string env = "env no_proxy= NO_PROXY= https_proxy=" + proxy + " HTTPS_PROXY=" + proxy + " ";
    auto r = zeva::test::runCliApart("events", env);
    const std::string& errors = r.err;
    EXPECT_EQ(r.status, 0) << errors;
    EXPECT_NE(errors.find("the live USGS feed could not be read: https://earthquake.usgs.gov/"), std::string::npos)
        << errors;
    EXPECT_NE(errors.find("bundled example"), std::string::npos) << errors;
    ASSERT_TRUE(r.out.starts_with("# example")) << r.out;
    EXPECT_EQ(tableRows(r.out, 1).size(), exampleIds().size());
}

// The example in file order, then sorted by magnitude (the event table's own
// tests hold every column's order) both ways; the ascending list is also
// saved as a keyed archive in the order shown.
TEST(EventsCli, ExampleSortAndSave) {
    auto rows = tableRows(runCli("events --example").out, 1);
    auto ids = exampleIds();
    ASSERT_GE(ids.size(), 10u);
    ASSERT_EQ(rows.size(), ids.size());
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i][1] + " " + rows[i][6] + " " + rows[i][7], "PDE USGS " + ids[i]);

    const auto archive = std::filesystem::temp_directory_path() / ("zeva-events-" + std::to_string(::getpid()));
    auto before = [](const auto& a, const auto& b) { return std::atof(a[5].c_str()) < std::atof(b[5].c_str()); };
    for (bool down : {true, false}) {
        rows = tableRows(
            runCli("events --example --sort magnitude" + (down ? " --descending" : " --save " + archive.string())).out, 1);
        ASSERT_EQ(rows.size(), ids.size()) << down;
        // Ordered the asked way and not the other: a real reordering.
        EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), before) != down) << down;
        EXPECT_TRUE(std::is_sorted(rows.rbegin(), rows.rend(), before) == down) << down;
    }
    std::string error;
    auto list = std::dynamic_pointer_cast<zeva::Array>(zeva::unarchiveObjectWithFile(archive.string(), &error));
    std::filesystem::remove(archive);
    ASSERT_TRUE(list) << error;
    ASSERT_EQ(list->count(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {  // the origins' own archive tests hold their fields
        auto o = list->objectAtIndexAs<ZEVAOrigin>(i);
        EXPECT_EQ(o ? text(o->_id()) : "not an origin", rows[i][7]) << i;
    }
}

// A failure in any URL (the loader's own tests hold the kinds): the log
// line, no table, exit 1. Limits beyond the float range are infinities.
TEST(EventsCli, FailedLoadsAndLimits) {
    auto r = runCli("events --url " + kExample + " --url /nonexistent/zeva/feed.csv 2>&1");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("Problem downloading USGS event list."), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("time\tcatalog"), std::string::npos) << "no table after a failure: " << r.out;
    auto all = runCli("events --min -1e40 --max 1e40 --url " + kExample);
    EXPECT_EQ(all.status, 0);
    EXPECT_EQ(tableRows(all.out).size(), exampleIds().size());
    EXPECT_EQ(tableRows(runCli("events --min 1e40 --max 1e40 --url " + kExample).out).size(), 0u);
}

// Sources that hold no event row: one line naming the source and the likely
// cause, no table, exit 1. A feed of its layout's header only is a feed of no
// event; rows that cannot be read are counted.
TEST(EventsCli, SourcesWithoutEventRows) {
    const auto dir = std::filesystem::temp_directory_path() / ("zeva-feeds-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir / "folder");
    const std::string summary = readFile(kExample);
    const std::string summaryHeader = summary.substr(0, summary.find('\n') + 1);
    const std::string quoted = "Src,Eqid,Version,Datetime,Lat,Lon,Magnitude,Depth,NST,Region\r\n"
                               "ak,1,B,\"Saturday, May 21, 2011 08:33:21 GMT\",65.3,-166.8,5.2,19.2,22,\"Alaska\"\r\n";
    const struct {
        const char* name;
        std::string body;
        const char* options;
        int status;
        const char* message;  // the start of standard error after the name
    } cases[] = {
        {"folder", "", "", 1, " is a directory"},
        {"empty.csv", "", "", 1, " is empty"},
        {"record.mseed", std::string("000001D \0\x01\x02", 11) + "BGLD", "", 1, " is not an event list: it holds binary"},
        {"station.xml", "<?xml version=\"1.0\"?>\n<FDSNStationXML/>\n", "", 1, " is not an event list: it is XML"},
        {"quoted.txt", quoted, "", 1, ": is it the quoted-date layout? try --layout quoted"},
        {"summary.csv", summary, "--layout quoted", 1, ": is it the summary layout? try --layout summary"},
        {"header.csv", summaryHeader, "", 0, ""},
        {"mixed.csv", summary + "one,short,line\n" + summary.substr(summary.find('\n') + 1) + "\n", "", 0,
         " could not be read and were left out"},
    };
    for (const auto& k : cases) {
        SCOPED_TRACE(k.name);
        const std::string path = (dir / k.name).string();
        if (std::string(k.name) != "folder") std::ofstream(path, std::ios::binary) << k.body;
        auto r = zeva::test::runCliApart(std::string("events --min -1 --url ") + path + " " + k.options);
        EXPECT_EQ(r.status, k.status) << r.err;
        if (k.status != 0) {
            EXPECT_EQ(r.out, "");
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
            EXPECT_TRUE(r.err.starts_with("zeva: ")) << r.err;
            EXPECT_NE(r.err.find(path + k.message), std::string::npos) << r.err;
        } else {
            EXPECT_EQ(tableRows(r.out).size(), *k.message ? 2 * exampleIds(-1).size() : 0u);
            EXPECT_EQ(r.err, *k.message ? "zeva: 1 of " + std::to_string(2 * exampleIds(-1e9, 1e9).size() + 1) +
                                              " rows in " + path + k.message + "\n"
                                        : "") << r.err;
        }
    }
    std::filesystem::remove_all(dir);
}

// Row N of link is row N of the table events prints with the same options.
TEST(EventsCli, LinkPrintsTheURL) {
    for (const char* sort : {"", " --sort magnitude --descending"}) {
        auto table = tableRows(runCli("events --url " + kExample + sort).out);
        ASSERT_GE(table.size(), 2u);
        auto trim = [](std::string s) { return s.erase(0, s.find_first_not_of(' ')); };
        const std::string lat = trim(table[1][2]), lon = trim(table[1][3]);
        auto r = runCli("link map --url " + kExample + sort + " --row 2 --print");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "http://maps.google.com/maps?ll=" + lat + "," + lon + "&q=" + lat + "," + lon +
                             "&spn=15,15&t=k&hl=en\n") << sort;
    }
    // Past the table, or too large for the table's row type: no row.
    for (const std::string& row : {std::to_string(exampleIds().size() + 1), std::string("4294967297")}) {
        auto none = runCli("link map --url " + kExample + " --row " + row + " --print 2>/dev/null");
        EXPECT_EQ(std::pair(none.status, none.out), std::pair(1, std::string())) << row;
    }
}

TEST(EventsCli, MessageFromLoopback) {
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    const std::string warning = "TSUNAMI MESSAGE NUMBER 2\nNWS PACIFIC TSUNAMI WARNING CENTER\n\nNO THREAT.\n";
    server.serve("/ptwc/wmsg", warning);
    auto r = runCli("message ptwc --base " + server.base());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, warning);
    // Why a fetch failed: the HTTP status, a refused connection.
    for (const auto& [base, reason] : {std::pair{server.base(), std::string("HTTP status 404")},
                                       {refusedBase(), std::string("onnect")}}) {
        auto missing = zeva::test::runCliApart("message wcatwc --base " + base);
        EXPECT_EQ(std::pair(missing.status, missing.out), std::pair(1, std::string()));
        EXPECT_TRUE(missing.err.starts_with("zeva message: the wcatwc message could not be fetched from " + base + ": "))
            << missing.err;
        EXPECT_NE(missing.err.find(reason), std::string::npos) << missing.err;
    }
}
