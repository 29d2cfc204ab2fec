#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVATime.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        // One line per model class.
        // time and units
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
