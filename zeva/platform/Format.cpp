#include "zeva/platform/Format.hpp"

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

}  // namespace zeva::detail
