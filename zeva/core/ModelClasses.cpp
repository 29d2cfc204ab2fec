#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        // One line per model class.
        (void)KWOObject::staticClass();
        (void)ZEVATime::staticClass();
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
