#include "zeva/time/ZEVALength.hpp"

ZEVA_DEFINE_CLASS(ZEVALength, ZEVAQuantity)
