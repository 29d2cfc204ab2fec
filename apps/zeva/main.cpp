#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <locale.h>

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

bool Options::next(std::string& word) {
    if (pos_ >= args_.size()) return false;
    word = args_[pos_++];
    return true;
}

std::string Options::value(std::string_view option) {
    if (pos_ >= args_.size()) throw UsageError{fmt::format("{} needs a value", option)};
    return args_[pos_++];
}

double readNumber(const char* text, char** end) {
    static const locale_t c = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::strtod_l(text, end, c);
}

double Options::number(std::string_view option) {
    std::string text = value(option);
    char* end = nullptr;
    double v = readNumber(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw UsageError{fmt::format("{}: not a number: {}", option, text)};
    return v;
}

long Options::integer(std::string_view option) {
    std::string text = value(option);
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') throw UsageError{fmt::format("{}: not an integer: {}", option, text)};
    // strtol answers its limit for a number beyond it; say so rather than use it.
    if (errno == ERANGE) throw UsageError{fmt::format("{}: out of range: {}", option, text)};
    return v;
}

}  // namespace zeva::cli

namespace {

void printHelp(std::FILE* out) {
    fmt::print(out, "usage: zeva COMMAND [ARGS]\n\ncommands:\n");
    for (const auto& c : zeva::cli::commands())
        fmt::print(out, "  {:<10} {}\n", c.name, c.summary);
    fmt::print(out, "\n'zeva COMMAND --help' shows a command's arguments.\n");
}

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
    for (const auto& c : commands()) {
        if (c.name != name) continue;
        Args args(argv + 2, argv + argc);
        if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
            fmt::print("usage: zeva {} {}\n{}\n", c.name, c.usage, c.summary);
            return 0;
        }
        try {
            return c.run(args);
        } catch (const UsageError& e) {
            fmt::print(stderr, "zeva {}: {}\nusage: zeva {} {}\n", c.name, e.message, c.name, c.usage);
            return 2;
        } catch (const std::exception& e) {
            fmt::print(stderr, "zeva {}: {}\n", c.name, e.what());
            return 1;
        }
    }
    fmt::print(stderr, "zeva: unknown command '{}'\n", name);
    printHelp(stderr);
    return 2;
}
