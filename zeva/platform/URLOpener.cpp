#include "zeva/platform/URLOpener.hpp"

#include "zeva/platform/SharedService.hpp"

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

Ref<URLOpener> sharedURLOpener() { return SharedService<URLOpener, ExternalURLOpener>::get(); }

Ref<URLOpener> setSharedURLOpener(Ref<URLOpener> opener) {
    return SharedService<URLOpener, ExternalURLOpener>::set(std::move(opener));
}

}  // namespace zeva
