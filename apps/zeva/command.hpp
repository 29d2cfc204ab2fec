// The zeva command line: each subcommand is one file in this folder that
// registers itself with ZEVA_COMMAND. main() dispatches on the first word.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zeva::cli {

using Args = std::vector<std::string>;

struct Command {
    std::string name;     // the word after "zeva"
    std::string usage;    // arguments, as shown by --help
    std::string summary;  // one line
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
#define ZEVA_COMMAND(...) \
    static const bool ZEVA_CLI_CONCAT(zeva_command_registered_, __LINE__) = \
        ::zeva::cli::registerCommand(::zeva::cli::Command{__VA_ARGS__})
