// Runs shell command lines, the built zeva command line in particular, and
// collects their standard output.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace zeva::test {

struct CliRun {
    int status;  // exit status, -1 when it did not exit normally
    std::string out;
};

inline CliRun runCommand(const std::string& commandLine) {
    std::string out;
    FILE* p = ::popen(commandLine.c_str(), "r");
    if (!p) return {-1, out};
    char buf[4096];
    while (size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    int status = ::pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

// zeva with args appended as shell words (they may redirect, "2>&1"); env
// goes first ("TZ=UTC ").
inline CliRun runCli(const std::string& args, const std::string& env = "") {
    return runCommand(env + "'" + ZEVA_CLI_PATH + "' " + args);
}

}  // namespace zeva::test
