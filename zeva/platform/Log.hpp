// The system log. Everything the library logs goes through systemLog, which
// writes one time-stamped line with the program's name to standard error.
// Tests and hosts may divert the lines with setLogSink.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "zeva/platform/Format.hpp"

namespace zeva {

using LogSink = std::function<void(std::string_view message)>;

void systemLog(std::string_view message);

// Installs a sink for log lines (an empty one restores standard error) and
// answers the previous sink.
LogSink setLogSink(LogSink sink);

template <class... Args>
void logFormat(std::string_view fmt, const Args&... args) {
    systemLog(format(fmt, args...));
}

}  // namespace zeva
