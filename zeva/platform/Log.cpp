#include "zeva/platform/Log.hpp"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>

#include <unistd.h>

namespace zeva {

namespace {
std::mutex& logMutex() {
    static std::mutex m;
    return m;
}
LogSink& currentSink() {
    static LogSink sink;
    return sink;
}

void writeToStandardError(std::string_view message) {
    using namespace std::chrono;
    auto now = system_clock::now();
    std::time_t t = system_clock::to_time_t(now);
    auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm tm{};
    localtime_r(&t, &tm);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &tm);
    std::fprintf(stderr, "%s.%03d %s[%d] %.*s\n", stamp, static_cast<int>(ms), program_invocation_short_name,
                 static_cast<int>(::getpid()), static_cast<int>(message.size()), message.data());
}
}  // namespace

void systemLog(std::string_view message) {
    LogSink sink;
    {
        std::lock_guard lock(logMutex());
        sink = currentSink();
    }
    if (sink)
        sink(message);
    else
        writeToStandardError(message);
}

LogSink setLogSink(LogSink sink) {
    std::lock_guard lock(logMutex());
    LogSink previous = std::move(currentSink());
    currentSink() = std::move(sink);
    return previous;
}

}  // namespace zeva
