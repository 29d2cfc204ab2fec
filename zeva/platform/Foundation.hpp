// All of the platform layer's object types at once.
#pragma once

#include "zeva/platform/Coder.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Data.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/platform/Format.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Log.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/platform/Object.hpp"
#include "zeva/platform/Text.hpp"
