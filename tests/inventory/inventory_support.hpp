// Helpers shared by the inventory tests.
#pragma once

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace zeva::test {

inline ObjectRef num(double v) { return Number::numberWithDouble(v); }
inline ObjectRef txt(const char* s) { return s ? str(s) : nullptr; }

// A new T (no init) with the fields given by key, set through its setters.
template <class T>
Ref<T> with(std::initializer_list<std::pair<const char*, ObjectRef>> fields) {
    auto object = T::alloc();
    for (const auto& [key, value] : fields) object->setValue_forKey(value, key);
    return object;
}

inline Ref<ZEVATime> timeAt(const char* text) { return with<ZEVATime>({{"_date_time", str(text)}}); }

}  // namespace zeva::test
