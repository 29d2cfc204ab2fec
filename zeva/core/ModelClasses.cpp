#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        (void)KWOObject::staticClass();
        registerTimeClasses();
        registerEventClasses();
        registerInventoryClasses();
        registerWaveformClasses();
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
