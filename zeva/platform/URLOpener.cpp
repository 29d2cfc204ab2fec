#include "zeva/platform/URLOpener.hpp"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <mutex>
#include <vector>

extern char** environ;

namespace zeva {

bool ExternalURLOpener::openURL(const URL& url) {
    if (url.scheme() != "http" && url.scheme() != "https") return false;
    // A valid URL starts with its scheme, so the program never mistakes it
    // for an option.
    std::string program = program_;
    std::string argument = url.absoluteString();
    std::vector<char*> argv{program.data(), argument.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawnp(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        // A host that ignores SIGCHLD has its children reaped for it: the
        // program ran, its status is unknown.
        if (errno == ECHILD) return true;
        if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

namespace {

std::mutex& openerMutex() {
    static std::mutex m;
    return m;
}

Ref<URLOpener>& installedOpener() {
    static Ref<URLOpener> opener;
    return opener;
}

}  // namespace

Ref<URLOpener> sharedURLOpener() {
    std::lock_guard<std::mutex> lock(openerMutex());
    auto& o = installedOpener();
    if (!o) o = std::make_shared<ExternalURLOpener>();
    return o;
}

Ref<URLOpener> setSharedURLOpener(Ref<URLOpener> opener) {
    std::lock_guard<std::mutex> lock(openerMutex());
    auto& o = installedOpener();
    Ref<URLOpener> previous = o ? o : std::make_shared<ExternalURLOpener>();
    o = std::move(opener);
    return previous;
}

}  // namespace zeva
