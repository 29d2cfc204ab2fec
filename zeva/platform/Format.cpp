#include "zeva/platform/Format.hpp"

#include <cstdio>

namespace zeva::detail {

std::string printfFormat(std::string_view format) {
    std::string out;
    out.reserve(format.size());
    for (size_t i = 0; i < format.size(); ++i) {
        char c = format[i];
        out += c;
        if (c != '%' || i + 1 >= format.size()) continue;
        char next = format[i + 1];
        if (next == '%') {
            out += '%';
            ++i;
        } else if (next == '@') {
            out += 's';
            ++i;
        }
    }
    return out;
}

namespace {

// One conversion through the C library, so that LC_NUMERIC applies. `piece`
// is one complete conversion ("%'.2f", say) built by localizedPrintf from checked parts.
template <class T>
void appendConversion(std::string& out, const std::string& piece, T value) {
    char small[128];
    int n = std::snprintf(small, sizeof small, piece.c_str(), value);
    if (n < 0) throw fmt::format_error("invalid format string");
    if (static_cast<size_t>(n) < sizeof small) {
        out.append(small, static_cast<size_t>(n));
        return;
    }
    std::string big(static_cast<size_t>(n) + 1, '\0');
    std::snprintf(big.data(), big.size(), piece.c_str(), value);
    out.append(big.data(), static_cast<size_t>(n));
}

class ArgumentList {
public:
    explicit ArgumentList(const std::vector<LocalizedArgument>& args) : args_(args) {}

    const LocalizedArgument& next() {
        if (pos_ >= args_.size()) throw fmt::format_error("argument not found");
        return args_[pos_++];
    }
    long long integer() {
        const auto& a = next();
        if (auto* v = std::get_if<long long>(&a)) return *v;
        if (auto* v = std::get_if<unsigned long long>(&a)) return static_cast<long long>(*v);
        if (auto* v = std::get_if<double>(&a)) return static_cast<long long>(*v);
        throw fmt::format_error("invalid format specifier: a number is needed");
    }
    double real() {
        const auto& a = next();
        if (auto* v = std::get_if<double>(&a)) return *v;
        if (auto* v = std::get_if<long long>(&a)) return static_cast<double>(*v);
        if (auto* v = std::get_if<unsigned long long>(&a)) return static_cast<double>(*v);
        throw fmt::format_error("invalid format specifier: a number is needed");
    }
    const std::string& text() {
        const auto& a = next();
        if (auto* v = std::get_if<std::string>(&a)) return *v;
        throw fmt::format_error("invalid format specifier: a text is needed");
    }
    const void* pointer() {
        const auto& a = next();
        if (auto* v = std::get_if<const void*>(&a)) return *v;
        throw fmt::format_error("invalid format specifier: a pointer is needed");
    }

private:
    const std::vector<LocalizedArgument>& args_;
    size_t pos_ = 0;
};

bool isOneOf(char c, std::string_view set) { return c != '\0' && set.find(c) != std::string_view::npos; }

}  // namespace

std::string localizedPrintf(std::string_view format, const std::vector<LocalizedArgument>& args) {
    ArgumentList list(args);
    std::string out;
    out.reserve(format.size() + 16);
    const size_t n = format.size();
    auto at = [&](size_t i) { return i < n ? format[i] : '\0'; };
    for (size_t i = 0; i < n; ++i) {
        if (format[i] != '%') {
            out += format[i];
            continue;
        }
        size_t j = i + 1;
        if (at(j) == '%') {
            out += '%';
            i = j;
            continue;
        }
        std::string piece = "%";
        while (isOneOf(at(j), "-+ #0")) piece += format[j++];
        if (at(j) == '*') {
            piece += std::to_string(list.integer());
            ++j;
        } else {
            while (isOneOf(at(j), "0123456789")) piece += format[j++];
        }
        if (at(j) == '.') {
            ++j;
            if (at(j) == '*') {
                long long precision = list.integer();
                if (precision >= 0) piece += "." + std::to_string(precision);
                ++j;
            } else {
                piece += '.';
                while (isOneOf(at(j), "0123456789")) piece += format[j++];
            }
        }
        // Length modifiers: the arguments already come at full width, except
        // that h and hh narrow an integer as printf would.
        int narrow = 0;
        while (isOneOf(at(j), "hlLqjzt")) {
            if (format[j] == 'h') ++narrow;
            ++j;
        }
        const char conversion = at(j);
        switch (conversion) {
            case 'd':
            case 'i': {
                long long v = list.integer();
                if (narrow == 1) v = static_cast<short>(v);
                if (narrow >= 2) v = static_cast<signed char>(v);
                appendConversion(out, piece.insert(1, "'") + "lld", v);
                break;
            }
            case 'u':
            case 'o':
            case 'x':
            case 'X': {
                auto v = static_cast<unsigned long long>(list.integer());
                if (narrow == 1) v = static_cast<unsigned short>(v);
                if (narrow >= 2) v = static_cast<unsigned char>(v);
                if (conversion == 'u') piece.insert(1, "'");
                appendConversion(out, piece + "ll" + conversion, v);
                break;
            }
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                appendConversion(out, piece + conversion, list.real());
                break;
            case 'c':
                appendConversion(out, piece + 'c', static_cast<int>(list.integer()));
                break;
            case 's':
            case '@': {
                const std::string& text = list.text();
                if (piece == "%")
                    out += text;
                else
                    appendConversion(out, piece + 's', text.c_str());
                break;
            }
            case 'p':
                appendConversion(out, piece + 'p', list.pointer());
                break;
            default:
                throw fmt::format_error("invalid format string");
        }
        i = j;
    }
    return out;
}

}  // namespace zeva::detail
