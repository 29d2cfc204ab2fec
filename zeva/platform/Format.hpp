// printf-style formats as the model's texts are written, through fmt's
// printf implementation. "%@" places an object's description, "(null)" for a
// null reference. Arguments beyond the format's placeholders are ignored; a
// placeholder without an argument or of the wrong kind throws fmt::format_error.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include <fmt/printf.h>

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
        return value ? value->description() : std::string("(null)");
    } else if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
        return value ? std::string(value) : std::string("(null)");
    } else {
        return (value);
    }
}

}  // namespace detail

template <class... Args>
std::string format(std::string_view format, const Args&... args) {
    return fmt::sprintf(detail::printfFormat(format), detail::formatArgument(args)...);
}

}  // namespace zeva
