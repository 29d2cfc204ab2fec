// The zeva command line: each subcommand is one file in this folder that
// registers itself with ZEVA_COMMAND; its usage and summary are in
// command_texts.def. main() dispatches on the first word.
//
// Two programs share main(): `zeva`, a launcher that links only the C and
// C++ runtimes and holds the commands that need nothing else (region), and
// `zeva-commands`, which holds every command with the whole library (network,
// drawing, XML). The launcher answers --help and COMMAND --help itself and
// hands any other command to zeva-commands by exec, so a light command never
// loads the libraries behind the heavy ones.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zeva::cli {

using Args = std::vector<std::string>;

struct Command {
    std::string name;                     // the word after "zeva"
    std::function<int(const Args&)> run;  // gets the words after the name; returns the exit status
};

// Adds a command to the table; used through ZEVA_COMMAND.
bool registerCommand(Command command);
const std::vector<Command>& commands();

// Thrown by option parsing for a malformed command line; main() prints the
// message and the command's usage and exits 2.
struct UsageError {
    std::string message;
};

// strtod in the C locale, whatever locale the user chose: "35.7" is 35.7.
double readNumber(const char* text, char** end);

// Checks of values given on the command line; each throws a UsageError
// naming `what` (the option or argument) and the value.
// A finite number: NaN and the infinities are refused.
double finite(double value, std::string_view what);
// Degrees north, -90 to 90; degrees east, -180 to 180 (not wrapped: a
// longitude beyond is more likely a mistyped number than a second turn).
double latitude(double value, std::string_view what);
double longitude(double value, std::string_view what);
// A time in UTC as the commands take it: 2009-06-01T14:03:12.2500Z,
// 2009-06-01 14:03:12 (seconds and fraction optional, Z optional) or
// 2009152T140312. Anything after the time but the Z is refused, a UTC
// offset ("+05:00") too: it is not converted.
void utcTimeText(const std::string& text, std::string_view what);
// A file the command will write, checked before any input is read: a name,
// not a directory, in a folder that exists; `extensions` (".png ...", any
// case), when given, lists the endings it may have.
void outputPath(const std::string& path, std::string_view what, std::vector<std::string_view> extensions = {});

// Why a file cannot be read as an input, in a user's words ("there is no
// file X", "X is a directory", "X is empty"); "" when it can be opened and
// holds something.
std::string inputProblem(const std::string& path);

// Small option scanner shared by the commands: "--name value" and "--flag".
class Options {
public:
    explicit Options(const Args& args) : args_(args) {}
    // Next positional argument or option name; false at the end.
    bool next(std::string& word);
    // The value after the option just read; a UsageError when missing.
    std::string value(std::string_view option);
    double number(std::string_view option);
    long integer(std::string_view option);

private:
    const Args& args_;
    size_t pos_ = 0;
};

}  // namespace zeva::cli

#define ZEVA_CLI_CONCAT2(a, b) a##b
#define ZEVA_CLI_CONCAT(a, b) ZEVA_CLI_CONCAT2(a, b)
#define ZEVA_COMMAND(name, run) \
    static const bool ZEVA_CLI_CONCAT(zeva_command_registered_, __LINE__) = \
        ::zeva::cli::registerCommand(::zeva::cli::Command{name, run})
