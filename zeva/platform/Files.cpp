#include "zeva/platform/Files.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

namespace {

// A new file beside `path` under a name no other file has, made with the
// usual permissions (0666 less the process's umask, applied by the kernel
// as for any new file: the umask itself is never read or changed, which
// would race with other threads creating files). -1 when none can be made.
int createTemporary(const std::string& path, std::string& temp) {
    static const char kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    thread_local std::mt19937_64 random{std::random_device{}()};
    for (int attempt = 0; attempt < 100; ++attempt) {
        temp = path + ".";
        uint64_t bits = random();
        for (int i = 0; i < 8; ++i, bits >>= 6) temp += kDigits[bits % 62];
        int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

}  // namespace

bool writeFileAtomically(const std::string& path, const void* bytes, size_t length) {
    if (path.empty()) return false;
    std::string temp;
    int fd = createTemporary(path, temp);
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
