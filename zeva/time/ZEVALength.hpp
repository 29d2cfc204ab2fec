// ZEVALength: a quantity that is a length. It adds nothing to ZEVAQuantity;
// it exists so that archives name lengths by their own class.
#pragma once

#include "zeva/time/ZEVAQuantity.hpp"

class ZEVALength : public ZEVAQuantity {
    ZEVA_OBJECT(ZEVALength, ZEVAQuantity)
};
