// Runs shell command lines, the built zeva command line in particular, and
// collects their standard output; reads and splits texts.
#pragma once

#include <sys/wait.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zeva::test {

struct CliRun {
    int status;  // exit status, -1 when it did not exit normally
    std::string out, err;  // err: only from runCliApart
};

inline CliRun runCommand(const std::string& commandLine) {
    std::string out;
    FILE* p = ::popen(commandLine.c_str(), "r");
    if (!p) return {-1, out, {}};
    char buf[4096];
    while (size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    int status = ::pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out, {}};
}

#ifdef ZEVA_CLI_PATH
// zeva with args appended as shell words (they may redirect, "2>&1"); env
// goes first ("TZ=UTC ").
inline CliRun runCli(const std::string& args, const std::string& env = "") {
    return runCommand(env + "'" + ZEVA_CLI_PATH + "' " + args);
}
#endif

inline std::string readFile(const std::string& path) {
    std::stringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

#ifdef ZEVA_CLI_PATH
// As runCli, with the standard error collected apart.
inline CliRun runCliApart(const std::string& args, const std::string& env = "") {
    const auto err = std::filesystem::temp_directory_path() / ("zeva-cli-err-" + std::to_string(::getpid()));
    auto run = runCli(args + " 2>'" + err.string() + "'", env);
    run.err = readFile(err.string());
    std::filesystem::remove(err);
    return run;
}
#endif

// The pieces between separators; a text ending in one ends in "".
inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> out;
    size_t start = 0;
    for (size_t at; (at = text.find(separator, start)) != std::string::npos; start = at + 1)
        out.push_back(text.substr(start, at - start));
    out.push_back(text.substr(start));
    return out;
}

}  // namespace zeva::test
