#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "support/run_cli.hpp"

using zeva::test::runCliApart;
using zeva::test::runCommand;

namespace {

// The heavy libraries as the dynamic loader names the files it maps.
constexpr const char* kHeavy[] = {"libcurl", "libcairo", "libicu", "libxml2"};

}  // namespace

// The dynamic loader's own account (LD_DEBUG=files lists every file it maps,
// also after the launcher hands a command on): the light commands map none
// of the network, drawing or XML libraries, a command that needs the whole
// library does.
TEST(CliStartup, LightCommandsMapNoHeavyLibrary) {
    struct Case {
        const char* args;
        bool heavy;
    } cases[] = {
        {"--help", false},
        {"region 0 0", false},
        {"time --help", false},
        {"time 2009-06-01T14:03:12Z", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args);
        const auto run = runCliApart(c.args, "LD_DEBUG=files ");
        EXPECT_EQ(run.status, 0) << run.err;
        ASSERT_NE(run.err.find("libc.so"), std::string::npos) << "no loader report:\n" << run.err;
        bool any = false;
        for (const char* library : kHeavy) {
            const bool mapped = run.err.find(library) != std::string::npos;
            EXPECT_FALSE(mapped && !c.heavy) << library;
            any = any || mapped;
        }
        EXPECT_EQ(any, c.heavy);
    }
}

// A zeva without zeva-commands beside it (nor installed) still lists and
// explains the commands and runs region; any other command fails in one line
// with status 1, not with a usage error or a crash.
TEST(CliStartup, LauncherAloneAnswersWhatItHolds) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / ("zeva-launcher-alone-" + std::to_string(::getpid()));
    fs::create_directories(folder / "bin");
    const fs::path alone = folder / "bin" / "zeva";
    fs::copy_file(ZEVA_CLI_PATH, alone, fs::copy_options::overwrite_existing);
    const auto run = [&](const std::string& args) {
        return runCommand("'" + alone.string() + "' " + args + " 2>&1");
    };

    const auto help = run("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out, runCliApart("--help").out);
    const auto usage = run("inventory --help");
    EXPECT_EQ(usage.status, 0);
    EXPECT_EQ(usage.out, runCliApart("inventory --help").out);
    const auto region = run("region 0 0");
    EXPECT_EQ(region.status, 0);
    EXPECT_EQ(region.out, runCliApart("region 0 0").out);

    const auto missing = run("time 2009-06-01T14:03:12Z");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out.rfind("zeva time: cannot run zeva-commands", 0), 0u) << missing.out;
    EXPECT_EQ(missing.out.find('\n'), missing.out.size() - 1) << missing.out;
    fs::remove_all(folder);
}
