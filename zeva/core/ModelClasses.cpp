#include "zeva/core/ModelClasses.hpp"

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVASampling.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace zeva {

void registerModelClasses() {
    static const bool registered = [] {
        // One line per model class.
        (void)KWOObject::staticClass();
        (void)ZEVAUnit::staticClass();
        (void)ZEVAQuantity::staticClass();
        (void)ZEVALength::staticClass();
        (void)ZEVASampling::staticClass();
        (void)ZEVASamplingRange::staticClass();
        return true;
    }();
    (void)registered;
}

}  // namespace zeva
