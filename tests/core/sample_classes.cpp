#include "sample_classes.hpp"

ZEVA_DEFINE_CLASS(TestThing, KWOObject,
                  zeva::prop("_weight", &TestThing::_weight, &TestThing::set_weight),
                  zeva::prop("_ratio", &TestThing::_ratio, &TestThing::set_ratio),
                  zeva::prop("_flag", &TestThing::_flag, &TestThing::set_flag),
                  zeva::prop("_count", &TestThing::_count, &TestThing::set_count),
                  zeva::prop("_small", &TestThing::_small, &TestThing::set_small),
                  zeva::propInt("_coded", &TestThing::_coded, &TestThing::set_coded),
                  zeva::prop("_label", &TestThing::_label, &TestThing::set_label),
                  zeva::prop("_shared_label", &TestThing::_shared_label, &TestThing::set_shared_label),
                  zeva::prop("_other", &TestThing::_other, &TestThing::set_other),
                  zeva::prop("_items", &TestThing::_items, &TestThing::set_items))

ZEVA_DEFINE_CLASS(TestChild, TestThing,
                  zeva::prop("_when", &TestChild::_when, &TestChild::set_when),
                  zeva::prop("_extras", &TestChild::_extras, &TestChild::set_extras),
                  zeva::notArchived(zeva::prop("_blob", &TestChild::_blob, &TestChild::set_blob)))

// Known to the unarchiver by name from the start, as a host's classes are.
[[maybe_unused]] static const bool kRegistered = (TestThing::staticClass(), TestChild::staticClass(), true);
