#include "zeva/platform/Files.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

bool writeFileAtomically(const std::string& path, const void* bytes, size_t length) {
    if (path.empty()) return false;
    std::string temp = path + ".XXXXXX";
    int fd = ::mkstemp(temp.data());
    if (fd < 0) return false;
    auto p = static_cast<const char*>(bytes);
    size_t done = 0;
    bool ok = true;
    while (done < length) {
        ssize_t n = ::write(fd, p + done, length - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            ok = false;
            break;
        }
        done += static_cast<size_t>(n);
    }
    // mkstemp makes the file private; give it the usual permissions.
    mode_t mask = ::umask(0);
    ::umask(mask);
    if (ok) ok = ::fchmod(fd, 0666 & ~mask) == 0;
    if (ok) ok = ::fsync(fd) == 0;
    if (::close(fd) != 0) ok = false;
    if (ok) ok = ::rename(temp.c_str(), path.c_str()) == 0;
    if (!ok) ::unlink(temp.c_str());
    return ok;
}

std::optional<std::vector<uint8_t>> readFile(const std::string& path, std::string* error) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        if (error) *error = std::strerror(errno);
        return std::nullopt;
    }
    std::vector<uint8_t> bytes;
    uint8_t buffer[65536];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.insert(bytes.end(), buffer, buffer + n);
    bool failed = std::ferror(f) != 0;
    int err = errno;
    std::fclose(f);
    if (failed) {
        if (error) *error = std::strerror(err);
        return std::nullopt;
    }
    return bytes;
}

}  // namespace zeva
