// ZEVASamplingRange: the least and the greatest sampling of something that
// can sample at several rates. Both members start null.
#pragma once

#include <string>

#include "zeva/core/KWOObject.hpp"
#include "zeva/time/ZEVASampling.hpp"

class ZEVASamplingRange : public KWOObject {
    ZEVA_OBJECT(ZEVASamplingRange, KWOObject)

public:
    // "ZEVASamplingRange:%@ To %@".
    std::string description() const override;

    zeva::Ref<ZEVASampling> _min() const { return min_; }
    void set_min(const zeva::Ref<ZEVASampling>& v);  // shared
    zeva::Ref<ZEVASampling> _max() const { return max_; }
    void set_max(const zeva::Ref<ZEVASampling>& v);  // shared

private:
    zeva::Ref<ZEVASampling> min_;
    zeva::Ref<ZEVASampling> max_;
};
