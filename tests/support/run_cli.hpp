// Runs the built zeva command line and collects its standard output.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace zeva::test {

struct CliRun {
    int status;  // exit status, -1 when it did not exit normally
    std::string out;
};

// args is appended to the program path as a shell command line, so it may
// redirect ("2>&1").
inline CliRun runCli(const std::string& args) {
    std::string out;
    FILE* p = ::popen((std::string(ZEVA_CLI_PATH) + " " + args).c_str(), "r");
    if (!p) return {-1, out};
    char buf[4096];
    while (size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    int status = ::pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

}  // namespace zeva::test
