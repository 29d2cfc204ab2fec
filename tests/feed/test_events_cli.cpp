// The zeva events / link / message commands, run as a separate program.
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "feed/feed_support.hpp"
#include "zeva/platform/KeyedArchive.hpp"

using namespace feedtest;

namespace {

struct Run {
    int status;
    std::string out;
};

// Runs zeva with the arguments (shell words); env may put "env VAR=..." first.
Run run(const std::string& args, const std::string& env = "") {
    std::string cmd = env + ZEVA_CLI_PATH + " " + args;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return {-1, ""};
    std::string out;
    char buf[4096];
    while (size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    int status = ::pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1)
        out.push_back(text.substr(start, at - start));
    out.push_back(text.substr(start));
    return out;
}

// The rows of a printed table (each split into its cells) after the header;
// checks the header on the way.
std::vector<std::vector<std::string>> tableRows(const std::string& out, size_t skip = 0) {
    auto lines = split(out, '\n');
    EXPECT_EQ(lines.back(), "") << "the table ends with a line feed";
    lines.pop_back();
    std::vector<std::vector<std::string>> rows;
    if (lines.size() <= skip) {
        ADD_FAILURE() << "no header in: " << out;
        return rows;
    }
    EXPECT_EQ(lines[skip], "time\tcatalog\tlatitude\tlongitude\tdepth\tmagnitude\tcontributor\tid\tregion");
    for (size_t i = skip + 1; i < lines.size(); ++i) {
        rows.push_back(split(lines[i], '\t'));
        EXPECT_EQ(rows.back().size(), 9u) << lines[i];
    }
    return rows;
}

std::string examplePath() { return std::string(ZEVA_SOURCE_DIR) + "/examples/notable-earthquakes.csv"; }

// Identifiers of the example's rows within the default limits, in file order.
std::vector<std::string> exampleIds() {
    std::vector<std::string> ids;
    auto lines = split(readFile(examplePath()), '\n');
    for (size_t i = 1; i < lines.size(); ++i) {
        auto fields = split(lines[i], ',');
        if (fields.size() < 13) continue;
        double m = std::atof(fields[4].c_str());
        if (m >= 5.0 && m <= 19.0) ids.push_back(fields[11]);
    }
    return ids;
}

}  // namespace

TEST(EventsCli, ExampleTable) {
    auto r = run("events --example");
    ASSERT_EQ(r.status, 0) << r.out;
    ASSERT_TRUE(r.out.starts_with("# example")) << r.out;
    auto rows = tableRows(r.out, 1);
    auto ids = exampleIds();
    ASSERT_GE(ids.size(), 10u);
    ASSERT_EQ(rows.size(), ids.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i][7], ids[i]);
        EXPECT_EQ(rows[i][1], "PDE");
        EXPECT_EQ(rows[i][6], "USGS");
        EXPECT_TRUE(rows[i][0].ends_with("Z")) << rows[i][0];
    }
}

// Without a way to the live feed (here: a proxy that refuses, which libcurl
// takes from the environment) the command says why and shows the example.
TEST(EventsCli, LiveFeedFallsBackToTheExample) {
    const std::string proxy = "http://127.0.0.1:" + std::to_string(refusedPort());
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

TEST(EventsCli, SharedFeedFilesGiveOneRowPerKeptRow) {
    const std::string dir = sharedFeedDir();
    if (!std::filesystem::exists(dir)) GTEST_SKIP() << "shared USGS feed samples not found at " << dir;
    const std::pair<const char*, size_t> cases[] = {
        {"4.5_week.2015-05-01.csv", 38},          {"1.0_week.2016-01-07.csv", 22},
        {"significant_month.2024-05-23.csv", 4},  {"eqs7day-M1.2011-05-21.txt", 30},
        {"eqs7day-M1.2013-03-26.noheader.txt", 20},
    };
    for (const auto& [file, kept] : cases) {
        std::string path = dir + "/" + file;
        if (!std::filesystem::exists(path)) GTEST_SKIP() << "missing shared feed sample " << path;
        std::string layout = std::string(file).ends_with(".txt") ? " --layout quoted" : "";
        auto r = run("events --url " + path + layout);
        ASSERT_EQ(r.status, 0) << file;
        EXPECT_FALSE(r.out.starts_with("#")) << file;
        auto rows = tableRows(r.out);
        EXPECT_EQ(rows.size(), kept) << file;
        for (const auto& row : rows) EXPECT_GE(std::atof(row[5].c_str()), 5.0) << file;
    }
}

TEST(EventsCli, SortOrdersRows) {
    // Column index in the printed row, and whether it is compared as a number.
    const std::tuple<const char*, size_t, bool> cases[] = {
        {"time", 0, false}, {"latitude", 2, true}, {"longitude", 3, true}, {"depth", 4, true}, {"magnitude", 5, true},
    };
    const size_t count = exampleIds().size();
    for (const auto& [name, column, numeric] : cases) {
        for (bool descending : {false, true}) {
            auto r = run(std::string("events --example --sort ") + name + (descending ? " --descending" : ""));
            ASSERT_EQ(r.status, 0) << name;
            auto rows = tableRows(r.out, 1);
            ASSERT_EQ(rows.size(), count) << name;
            auto before = [&, column = column, numeric = numeric](const std::vector<std::string>& a,
                                                                  const std::vector<std::string>& b) {
                return numeric ? std::atof(a[column].c_str()) < std::atof(b[column].c_str()) : a[column] < b[column];
            };
            bool ordered = descending ? std::is_sorted(rows.rbegin(), rows.rend(), before)
                                      : std::is_sorted(rows.begin(), rows.end(), before);
            EXPECT_TRUE(ordered) << name << (descending ? " descending" : "") << "\n" << r.out;
            // A real reordering, not the file order by chance.
            EXPECT_FALSE(std::is_sorted(rows.begin(), rows.end(), before) &&
                         std::is_sorted(rows.rbegin(), rows.rend(), before));
        }
    }
}

TEST(EventsCli, SaveWritesTheOrigins) {
    auto path = std::filesystem::temp_directory_path() / ("zeva-events-" + std::to_string(::getpid()) + ".archive");
    auto r = run("events --example --sort magnitude --save " + path.string());
    ASSERT_EQ(r.status, 0) << r.out;
    auto rows = tableRows(r.out, 1);
    std::string error;
    auto root = zeva::unarchiveObjectWithFile(path.string(), &error);
    std::filesystem::remove(path);
    auto list = std::dynamic_pointer_cast<zeva::Array>(root);
    ASSERT_TRUE(list) << error;
    ASSERT_EQ(list->count(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        auto o = list->objectAtIndexAs<ZEVAOrigin>(i);
        ASSERT_TRUE(o) << i;
        // In the printed (sorted) order, with every value the table showed.
        EXPECT_EQ(text(o->_id()), rows[i][7]);
        EXPECT_EQ(text(o->timeString()), rows[i][0]);
        EXPECT_EQ(zeva::format("%5.2f", double{o->magnitude()}), rows[i][5]);
        EXPECT_EQ(text(o->shortFERegion()), rows[i][8]);
    }
}

TEST(EventsCli, FailedLoadsExitOne) {
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    server.serve("/good.csv", readFile(examplePath()));
    const std::string refused = "http://127.0.0.1:" + std::to_string(refusedPort()) + "/feed.csv";
    for (const std::string& args :
         {std::string("--url /nonexistent/zeva/feed.csv"), "--url " + server.url("/missing.csv"),
          "--url " + server.url("/good.csv") + " --url " + server.url("/missing.csv"), "--url " + refused,
          "--url " + server.url("/missing.csv") + " --layout quoted"}) {
        auto r = run("events " + args + " 2>&1");
        EXPECT_EQ(r.status, 1) << args;
        EXPECT_NE(r.out.find("Problem downloading USGS event list."), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("time\tcatalog"), std::string::npos) << "no table after a failure: " << r.out;
    }
    auto good = run("events --url " + server.url("/good.csv"));
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(tableRows(good.out).size(), exampleIds().size());
}

TEST(EventsCli, LinkPrintsTheURL) {
    auto table = tableRows(run("events --example").out, 1);
    ASSERT_GE(table.size(), 2u);
    auto trim = [](std::string s) { return s.erase(0, s.find_first_not_of(' ')); };
    const std::string lat = trim(table[1][2]), lon = trim(table[1][3]);
    const std::string example = " --url " + examplePath() + " --row 1 --print";
    auto map = run("link map" + example);
    EXPECT_EQ(map.status, 0);
    EXPECT_EQ(map.out, "http://maps.google.com/maps?ll=" + lat + "," + lon + "&q=" + lat + "," + lon +
                           "&spn=15,15&t=k&hl=en\n");
    auto event = run("link event" + example);
    EXPECT_EQ(event.out, "http://earthquake.usgs.gov/earthquakes/eventpage/" + table[1][7] + "#summary\n");
    auto news = run("link news" + example);
    EXPECT_TRUE(news.out.starts_with("http://news.google.com/news?hl=en&ned=us&q=earthquake+")) << news.out;
    auto cmt = run("link cmt" + example);
    EXPECT_TRUE(cmt.out.starts_with("http://www.globalcmt.org/cgi-bin/CMT2/form?itype=ymd&yr=")) << cmt.out;

    auto beyond = run("link map --url " + examplePath() + " --row " + std::to_string(table.size()) + " --print 2>/dev/null");
    EXPECT_EQ(beyond.status, 1);
    EXPECT_EQ(beyond.out, "");
    // A row number too large for the table's row type is no row either.
    auto huge = run("link map --url " + examplePath() + " --row 4294967296 --print 2>/dev/null");
    EXPECT_NE(huge.status, 0);
    EXPECT_EQ(huge.out, "");
}

TEST(EventsCli, MessageFromLoopback) {
    LoopbackServer server;
    ASSERT_TRUE(server.running());
    const std::string warning = "TSUNAMI MESSAGE NUMBER 2\nNWS PACIFIC TSUNAMI WARNING CENTER\n\nNO THREAT.\n";
    server.serve("/ptwc/wmsg", warning);
    server.serve("/neis/data_services/bigquake.html", "<html><body><p>M 7.8 Nepal</p></body></html>");
    auto r = run("message ptwc --base " + server.base());
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, warning);
    auto big = run("message bigquake --base " + server.base());
    EXPECT_EQ(big.status, 0);
    EXPECT_NE(big.out.find("M 7.8 Nepal"), std::string::npos);
    EXPECT_EQ(big.out.find("<p>"), std::string::npos);
    auto missing = run("message wcatwc --base " + server.base() + " 2>/dev/null");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "");
}
