#include "zeva/time/ZEVASamplingRange.hpp"

ZEVA_DEFINE_CLASS(ZEVASamplingRange, KWOObject,
                  zeva::prop("_min", &ZEVASamplingRange::_min, &ZEVASamplingRange::set_min),
                  zeva::prop("_max", &ZEVASamplingRange::_max, &ZEVASamplingRange::set_max))

std::string ZEVASamplingRange::description() const {
    return zeva::format("ZEVASamplingRange:%@ To %@", min_, max_);
}

void ZEVASamplingRange::set_min(const zeva::Ref<ZEVASampling>& v) {
    if (v == min_) return;
    min_ = v;
}

void ZEVASamplingRange::set_max(const zeva::Ref<ZEVASampling>& v) {
    if (v == max_) return;
    max_ = v;
}
