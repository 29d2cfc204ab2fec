#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        // One line per model class.
        (void)KWOObject::staticClass();
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
