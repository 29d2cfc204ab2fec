// The zeva events / link / message commands, run as a separate program.
#include <algorithm>
#include <cstdlib>

#include "support/run_cli.hpp"
#include "feed/feed_support.hpp"
#include "zeva/platform/KeyedArchive.hpp"

using namespace feedtest;

namespace {

using Run = zeva::test::CliRun;

// Runs zeva with the arguments (shell words); env may put "env VAR=..." first.
Run run(const std::string& args, const std::string& env = "") { return zeva::test::runCli(args, env); }

// The rows of a printed table (each split into its cells) after the header,
// which comes after `skip` lines; checks the header on the way.
std::vector<std::vector<std::string>> tableRows(const std::string& out, size_t skip = 0) {
    auto lines = split(out, '\n');
    EXPECT_EQ(lines.back(), "") << "the table ends with a line feed";
    std::vector<std::vector<std::string>> rows;
    if (lines.size() <= skip + 1) {
        ADD_FAILURE() << "no header in: " << out;
        return rows;
    }
    EXPECT_EQ(lines[skip], "time\tcatalog\tlatitude\tlongitude\tdepth\tmagnitude\tcontributor\tid\tregion");
    for (size_t i = skip + 1; i + 1 < lines.size(); ++i) {
        rows.push_back(split(lines[i], '\t'));
        EXPECT_EQ(rows.back().size(), 9u) << lines[i];
    }
    return rows;
}

}  // namespace

// Without a way to the live feed (here: a proxy that refuses, which libcurl
// takes from the environment) the command says why and shows the example.
TEST(EventsCli, LiveFeedFallsBackToTheExample) {
    const std::string proxy = refusedBase();
    const std::string env = "env no_proxy= NO_PROXY= https_proxy=" + proxy + " HTTPS_PROXY=" + proxy + " ";
    auto err = std::filesystem::temp_directory_path() / ("zeva-events-err-" + std::to_string(::getpid()));
    auto r = run("events 2>" + err.string(), env);
    std::string errors = readFile(err.string());
    std::filesystem::remove(err);
    EXPECT_EQ(r.status, 0) << errors;
    EXPECT_NE(errors.find("the live USGS feed could not be read: https://earthquake.usgs.gov/"), std::string::npos)
        << errors;
    EXPECT_NE(errors.find("bundled example"), std::string::npos) << errors;
    ASSERT_TRUE(r.out.starts_with("# example")) << r.out;
    EXPECT_EQ(tableRows(r.out, 1).size(), exampleIds().size());

    auto live = run("events --live 2>/dev/null", env);
    EXPECT_EQ(live.status, 1);
    EXPECT_EQ(live.out, "");
}

// Local file paths as URLs, each shared file in its layout.
TEST(EventsCli, SharedFeedFilesGiveOneRowPerKeptRow) {
    for (const auto& f : kSharedFeeds) {
        std::string path = sharedFeedDir() + "/" + f.file;
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "missing shared feed sample " << path;
        auto r = run("events --url " + path + (f.quoted ? " --layout quoted" : ""));
        ASSERT_EQ(r.status, 0) << f.file;
        auto rows = tableRows(r.out);
        EXPECT_EQ(rows.size(), f.kept) << f.file;
        for (const auto& row : rows) EXPECT_GE(std::atof(row[5].c_str()), 5.0) << f.file;
    }
}

// The example in file order, then sorted through the header clicks by each
// column name, both ways; one sorted list is also saved as a keyed archive.
TEST(EventsCli, ExampleSortAndSave) {
    auto r = run("events --example");
    ASSERT_EQ(r.status, 0) << r.out;
    ASSERT_TRUE(r.out.starts_with("# example")) << r.out;
    auto rows = tableRows(r.out, 1);
    auto ids = exampleIds();
    ASSERT_GE(ids.size(), 10u);
    ASSERT_EQ(rows.size(), ids.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][1] + " " + rows[i][6] + " " + rows[i][7], "PDE USGS " + ids[i]);
        EXPECT_TRUE(rows[i][0].ends_with("Z")) << rows[i][0];
    }

    // Column index in the printed row, and whether it is compared as a number.
    const std::tuple<const char*, size_t, bool> cases[] = {
        {"time", 0, false}, {"latitude", 2, true}, {"longitude", 3, true}, {"depth", 4, true}, {"magnitude", 5, true},
    };
    const auto archive = std::filesystem::temp_directory_path() / ("zeva-events-" + std::to_string(::getpid()));
    std::vector<std::vector<std::string>> saved;
    for (const auto& [name, column, numeric] : cases) {
        auto before = [&, column = column, numeric = numeric](const auto& a, const auto& b) {
            return numeric ? std::atof(a[column].c_str()) < std::atof(b[column].c_str()) : a[column] < b[column];
        };
        for (bool descending : {false, true}) {
            r = run(std::string("events --example --sort ") + name + (descending ? " --descending" : "") +
                    (descending ? "" : " --save " + archive.string()));
            ASSERT_EQ(r.status, 0) << name;
            rows = tableRows(r.out, 1);
            ASSERT_EQ(rows.size(), ids.size()) << name;
            if (!descending) saved = rows;
            bool up = std::is_sorted(rows.begin(), rows.end(), before);
            bool down = std::is_sorted(rows.rbegin(), rows.rend(), before);
            // Ordered the asked way and not the other: a real reordering.
            EXPECT_TRUE(descending ? down && !up : up && !down) << name << (descending ? " descending\n" : "\n") << r.out;
        }
    }
    // The last saved list is the one sorted by magnitude, with every value the table showed.
    std::string error;
    auto list = std::dynamic_pointer_cast<zeva::Array>(zeva::unarchiveObjectWithFile(archive.string(), &error));
    std::filesystem::remove(archive);
    ASSERT_TRUE(list) << error;
    rows = saved;
    ASSERT_EQ(list->count(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        auto o = list->objectAtIndexAs<ZEVAOrigin>(i);
        ASSERT_TRUE(o) << i;
        EXPECT_EQ(text(o->timeString()) + " " + text(o->_id()) + " " + text(o->shortFERegion()),
                  rows[i][0] + " " + rows[i][7] + " " + rows[i][8]);
        EXPECT_EQ(zeva::format("%5.2f", double{o->magnitude()}), rows[i][5]);
    }
}

TEST(EventsCli, FailedLoadsExitOne) {
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    server.serve("/good.csv", readFile(kExample));
    for (const std::string& args :
         {std::string("--url /nonexistent/zeva/feed.csv"), "--url " + refusedBase() + "/feed.csv",
          "--url " + server.url("/good.csv") + " --url " + server.url("/missing.csv")}) {
        auto r = run("events " + args + " 2>&1");
        EXPECT_EQ(r.status, 1) << args;
        EXPECT_NE(r.out.find("Problem downloading USGS event list."), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("time\tcatalog"), std::string::npos) << "no table after a failure: " << r.out;
    }
    auto good = run("events --url " + server.url("/good.csv"));
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(tableRows(good.out).size(), exampleIds().size());
    // Limits beyond the float range are infinities: all rows, then none.
    good = run("events --min -1e40 --max 1e40 --url " + server.url("/good.csv"));
    EXPECT_EQ(tableRows(good.out).size(), exampleIds().size());
    EXPECT_EQ(tableRows(run("events --min 1e40 --url " + server.url("/good.csv")).out).size(), 0u);
}

TEST(EventsCli, LinkPrintsTheURL) {
    auto table = tableRows(run("events --example").out, 1);
    ASSERT_GE(table.size(), 2u);
    auto trim = [](std::string s) { return s.erase(0, s.find_first_not_of(' ')); };
    const std::string lat = trim(table[1][2]), lon = trim(table[1][3]);
    const std::string example = " --url " + kExample + " --row ";
    const std::pair<const char*, std::string> links[] = {
        {"map", "http://maps.google.com/maps?ll=" + lat + "," + lon + "&q=" + lat + "," + lon + "&spn=15,15&t=k&hl=en\n"},
        {"event", "http://earthquake.usgs.gov/earthquakes/eventpage/" + table[1][7] + "#summary\n"},
        {"news", "http://news.google.com/news?hl=en&ned=us&q=earthquake+"},
        {"cmt", "http://www.globalcmt.org/cgi-bin/CMT2/form?itype=ymd&yr="},
    };
    for (const auto& [link, url] : links) {
        auto r = run(std::string("link ") + link + example + "1 --print");
        EXPECT_EQ(r.status, 0) << link;
        EXPECT_TRUE(url.ends_with('\n') ? r.out == url : r.out.starts_with(url)) << r.out;
    }
    // Beyond the range of the option's integer type: a usage error, not the
    // type's limit taken as the row.
    EXPECT_EQ(run("link map" + example + "99999999999999999999 --print 2>/dev/null").status, 2);
    // Past the table, or too large for the table's row type: no row.
    for (const std::string& row : {std::to_string(table.size()), std::string("4294967296")}) {
        auto r = run("link map" + example + row + " --print 2>/dev/null");
        EXPECT_EQ(r.status, 1) << row;
        EXPECT_EQ(r.out, "") << row;
    }
}

TEST(EventsCli, MessageFromLoopback) {
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    const std::string warning = "TSUNAMI MESSAGE NUMBER 2\nNWS PACIFIC TSUNAMI WARNING CENTER\n\nNO THREAT.\n";
    server.serve("/ptwc/wmsg", warning);
    auto r = run("message ptwc --base " + server.base());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, warning);
    auto missing = run("message wcatwc --base " + server.base() + " 2>/dev/null");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "");
}
