#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include <unistd.h>

#include <fmt/core.h>

#include "command.hpp"

namespace zeva::cli {

namespace {
std::vector<Command>& table() {
    static std::vector<Command> t;
    return t;
}
}  // namespace

bool registerCommand(Command command) {
    table().push_back(std::move(command));
    return true;
}

const std::vector<Command>& commands() { return table(); }

}  // namespace zeva::cli

namespace {

struct CommandText {
    const char* name;
    const char* usage;    // arguments, as shown by COMMAND --help
    const char* summary;  // one line
};

constexpr CommandText kTexts[] = {
#define ZEVA_COMMAND_TEXT(name, usage, summary) {name, usage, summary},
#include "command_texts.def"
#undef ZEVA_COMMAND_TEXT
};

void printHelp(std::FILE* out) {
    fmt::print(out, "usage: zeva COMMAND [ARGS]\n\ncommands:\n");
    for (const auto& c : kTexts) fmt::print(out, "  {:<10} {}\n", c.name, c.summary);
    fmt::print(out, "\n'zeva COMMAND --help' shows a command's arguments.\n");
}

#ifdef ZEVA_CLI_LAUNCHER
// The folder of this executable, with its trailing slash; "" when unknown.
std::string ownFolder() {
    char path[4096];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) return "";
    std::string text(path, static_cast<size_t>(n));
    return text.substr(0, text.rfind('/') + 1);
}

// Runs `zeva-commands` with the same arguments in place of this process:
// beside this executable (the build tree), else where the installation puts
// it relative to the installed zeva. Returns only when neither can be run.
int handOver(const char* name, char** argv) {
    const std::string folder = ownFolder();
    const std::string candidates[] = {folder + "zeva-commands", folder + ZEVA_CLI_LIBEXEC_FROM_BIN "/zeva-commands"};
    int error = ENOENT;
    for (const auto& path : candidates) {
        ::execv(path.c_str(), argv);
        if (errno != ENOENT) error = errno;
    }
    fmt::print(stderr, "zeva {}: cannot run zeva-commands (looked for {} and {}): {}\n", name, candidates[0],
               candidates[1], std::strerror(error));
    return 1;
}
#endif

}  // namespace

int main(int argc, char** argv) {
    using namespace zeva::cli;
    // The user's locale, for the texts built with localizedFormat. Numbers on
    // the command line and in plain formats keep the point whatever it is.
    // Character classes stay those of C: texts are bytes here, and a
    // locale's own case mapping (Turkish dotted and dotless i) must not change
    // case-insensitive matching of ASCII words.
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_CTYPE, "C");
    if (argc < 2) {
        printHelp(stderr);
        return 2;
    }
    std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        printHelp(stdout);
        return 0;
    }
    for (const auto& text : kTexts) {
        if (text.name != name) continue;
        Args args(argv + 2, argv + argc);
        if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
            fmt::print("usage: zeva {} {}\n{}\n", text.name, text.usage, text.summary);
            return 0;
        }
        for (const auto& c : commands()) {
            if (c.name != name) continue;
            try {
                return c.run(args);
            } catch (const UsageError& e) {
                // One line: what is wrong, and where the arguments are told.
                fmt::print(stderr, "zeva {}: {} (zeva {} --help shows the arguments)\n", c.name, e.message, c.name);
                return 2;
            } catch (const std::exception& e) {
                fmt::print(stderr, "zeva {}: {}\n", c.name, e.what());
                return 1;
            }
        }
#ifdef ZEVA_CLI_LAUNCHER
        return handOver(text.name, argv);
#else
        fmt::print(stderr, "zeva {}: not built into this program\n", name);
        return 1;
#endif
    }
    fmt::print(stderr, "zeva: unknown command '{}' (zeva --help lists the commands)\n", name);
    return 2;
}
