// The option scanner and the checks of values shared by the commands.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <regex>

#include <locale.h>

#include <fmt/core.h>

#include "command.hpp"

namespace zeva::cli {

bool Options::next(std::string& word) {
    if (pos_ >= args_.size()) return false;
    word = args_[pos_++];
    return true;
}

std::string Options::value(std::string_view option) {
    if (pos_ >= args_.size()) throw UsageError{fmt::format("{} needs a value", option)};
    return args_[pos_++];
}

double readNumber(const char* text, char** end) {
    static const locale_t c = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return ::strtod_l(text, end, c);
}

double Options::number(std::string_view option) {
    std::string text = value(option);
    char* end = nullptr;
    double v = readNumber(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw UsageError{fmt::format("{}: not a number: {}", option, text)};
    return v;
}

long Options::integer(std::string_view option) {
    std::string text = value(option);
    char* end = nullptr;
    errno = 0;
    long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') throw UsageError{fmt::format("{}: not an integer: {}", option, text)};
    // strtol answers its limit for a number beyond it; say so rather than use it.
    if (errno == ERANGE) throw UsageError{fmt::format("{}: out of range: {}", option, text)};
    return v;
}

double finite(double value, std::string_view what) {
    if (!std::isfinite(value)) throw UsageError{fmt::format("{}: {} is not a finite number", what, value)};
    return value;
}

double latitude(double value, std::string_view what) {
    if (!(finite(value, what) >= -90 && value <= 90))
        throw UsageError{fmt::format("{}: {} is outside -90 to 90 degrees", what, value)};
    return value;
}

double longitude(double value, std::string_view what) {
    if (!(finite(value, what) >= -180 && value <= 180))
        throw UsageError{fmt::format("{}: {} is outside -180 to 180 degrees", what, value)};
    return value;
}

void utcTimeText(const std::string& text, std::string_view what) {
    static const std::regex iso(R"((\d{4}-\d{2}-\d{2}(?:[T ]\d{2}:\d{2}(?::\d{2}(?:\.\d+)?)?)?)(.*))");
    static const std::regex ordinal(R"((\d{7}T\d{6}(?:\.\d+)?)(.*))");
    static const std::regex offset(R"([+-]\d{2}(?::?\d{2})?)");
    std::smatch m;
    // No time text is longer; a longer one is not matched (nor backtracked over).
    constexpr size_t kLongest = 64;
    if (text.size() > kLongest || (!std::regex_match(text, m, iso) && !std::regex_match(text, m, ordinal)))
        throw UsageError{fmt::format("{}: not a time: '{}' (expected 2009-06-01T14:03:12.2500Z, 2009-06-01 14:03:12 "
                                     "or 2009152T140312, in UTC)",
                                     what, text)};
    const std::string rest = m[2];
    if (rest.empty() || rest == "Z") return;
    if (std::regex_match(rest, offset))
        throw UsageError{fmt::format("{}: '{}' gives a UTC offset ({}); offsets are not converted: give the time in "
                                     "UTC, ending in Z",
                                     what, text, rest)};
    throw UsageError{fmt::format("{}: unexpected '{}' after the time in '{}'", what, rest, text)};
}

std::string inputProblem(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::file_status status = fs::status(path, ec);
    if (!fs::exists(status)) return "there is no file " + path;
    if (fs::is_directory(status)) return path + " is a directory, not a file";
    if (fs::is_regular_file(status) && fs::file_size(path, ec) == 0 && !ec) return path + " is empty";
    if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
        return "";
    }
    return fmt::format("{} cannot be opened: {}", path, std::strerror(errno));
}

void outputPath(const std::string& path, std::string_view what, std::vector<std::string_view> extensions) {
    namespace fs = std::filesystem;
    if (path.empty()) throw UsageError{fmt::format("{} needs a file name, not an empty text", what)};
    std::error_code ec;
    if (fs::is_directory(path, ec)) throw UsageError{fmt::format("{}: {} is a directory", what, path)};
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty() && !fs::is_directory(parent, ec))
        throw UsageError{fmt::format("{}: {}: there is no folder {}", what, path, parent.string())};
    if (extensions.empty()) return;
    std::string ext = fs::path(path).extension().string();
    for (auto& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (std::find(extensions.begin(), extensions.end(), ext) == extensions.end()) {
        std::string list;
        for (auto e : extensions) list += (list.empty() ? "" : " or ") + std::string(e);
        throw UsageError{fmt::format("{}: {}: the name must end in {}", what, path, list)};
    }
}

}  // namespace zeva::cli
