// printf-style formats as the model's texts are written. "%@" places an
// object's description (see Description.hpp), "(null)" for a null reference. Arguments beyond the
// format's placeholders are ignored; a placeholder without an argument or of
// the wrong kind throws fmt::format_error.
//
// format() is locale-independent (fmt's printf implementation): numbers
// always have a point and no grouping. localizedFormat() takes the same
// formats but writes numbers by the process's current C locale (LC_NUMERIC):
// its decimal separator, and its digit grouping for %d, %i and %u. The
// library never changes the locale; in the C locale both give the same text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include <fmt/printf.h>

#include "zeva/platform/Description.hpp"
#include "zeva/platform/Object.hpp"

namespace zeva {

namespace detail {

template <class T>
struct is_object_ref : std::false_type {};
template <class T>
struct is_object_ref<std::shared_ptr<T>> : std::is_base_of<Object, T> {};

// "%@" becomes "%s"; "%%" is left alone.
std::string printfFormat(std::string_view format);

template <class T>
decltype(auto) formatArgument(const T& value) {
    if constexpr (is_object_ref<T>::value) {
        return value ? placedDescription(value) : std::string("(null)");
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return value ? std::string(value) : std::string("(null)");
    } else {
        return (value);
    }
}

// One argument of localizedFormat, reduced to what printf can take.
using LocalizedArgument = std::variant<long long, unsigned long long, double, std::string, const void*>;

template <class T>
LocalizedArgument localizedArgument(const T& value) {
    if constexpr (is_object_ref<T>::value || std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return formatArgument(value);
    } else if constexpr (std::is_convertible_v<T, std::string_view>) {
        return std::string(std::string_view(value));
    } else if constexpr (std::is_floating_point_v<T>) {
        return static_cast<double>(value);
    } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
        return static_cast<long long>(value);
    } else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
        return static_cast<unsigned long long>(value);
    } else {
        static_assert(std::is_pointer_v<T>, "localizedFormat cannot place this argument");
        return static_cast<const void*>(value);
    }
}

std::string localizedPrintf(std::string_view format, const std::vector<LocalizedArgument>& args);

}  // namespace detail

template <class... Args>
std::string format(std::string_view format, const Args&... args) {
    return fmt::sprintf(detail::printfFormat(format), detail::formatArgument(args)...);
}

template <class... Args>
std::string localizedFormat(std::string_view format, const Args&... args) {
    return detail::localizedPrintf(format, {detail::localizedArgument(args)...});
}

}  // namespace zeva
