// Writes the seed archives of archive_fuzz into a folder: one archive per
// model class named on the command line (a new object with its defaults), and
// a few graphs that reach the reader's other paths: shared members, composite
// units, an origin list, every platform value kind, nesting (40 and 600
// deep), a stage holding itself in its filter list.
//
//   archive_seeds DIR CLASS...
#include <cstdio>
#include <string>

#include "zeva/core/KWOObject.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/inventory/ZEVAResponse.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Data.hpp"
#include "zeva/platform/Date.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Number.hpp"
#include "zeva/time/ZEVAQuantity.hpp"

namespace {

using zeva::ObjectRef;

bool save(const std::string& dir, const std::string& name, const ObjectRef& root) {
    if (zeva::archiveRootObjectToFile(root, dir + "/" + name + ".archive")) return true;
    std::fprintf(stderr, "archive_seeds: cannot save %s\n", name.c_str());
    return false;
}

ObjectRef originList() {
    auto list = zeva::MutableArray::array();
    for (int i = 0; i < 3; i++) {
        auto o = ZEVAOrigin::create();
        o->set_id(zeva::str("us" + std::to_string(i)));
        o->set_catalog(zeva::str("PDE"));
        o->setOriginTime(zeva::Date::dateWithTimeIntervalSince1970(1.3e9 + i * 1000.25));
        o->setLatitude(-33.5f + i);
        o->setLongitude(-70.25f);
        o->setDepth(10.0f * i);
        o->addMagnitude_Type_Contrib(5.5f + i, zeva::str("Mw"), zeva::str("us"));
        o->addMagnitude_Type_Contrib(5.1f, zeva::str("mb"), zeva::str("Sismológico"));
        o->setFERegion();
        list->addObject(o);
    }
    return list;
}

ObjectRef sharedUnit() {
    auto unit = ZEVAUnit::create();
    unit->makeDegrees();
    auto a = ZEVAQuantity::create();
    a->set_the_units(unit);
    auto b = ZEVAQuantity::create();
    b->set_the_units(unit);
    return zeva::Array::arrayWithObjects({a, b, unit});
}

ObjectRef platformValues() {
    auto dict = zeva::MutableDictionary::dictionary();
    dict->setObject_forKey(zeva::str("text"), "string");
    dict->setObject_forKey(zeva::MutableString::stringWithString("mutable"), "mutable");
    dict->setObject_forKey(zeva::Date::dateWithTimeIntervalSince1970(-1e9 + 0.5), "date");
    dict->setObject_forKey(zeva::Data::dataWithBytes("\x00\x01\xff", 3), "data");
    dict->setObject_forKey(zeva::Number::numberWithBool(true), "bool");
    dict->setObject_forKey(zeva::Number::numberWithShort(-32768), "short");
    dict->setObject_forKey(zeva::Number::numberWithLong(-2147483647 - 1), "long");
    dict->setObject_forKey(zeva::Number::numberWithLongLong(INT64_MIN), "longlong");
    dict->setObject_forKey(zeva::Number::numberWithFloat(1.5f), "float");
    dict->setObject_forKey(zeva::Number::numberWithDouble(-0.0), "double");
    dict->setObject_forKey(zeva::Array::arrayWithObjects({}), "empty");
    return dict;
}

// A stage holding itself in its filter list: a cycle the description must end.
ObjectRef stageCycle() {
    auto stage = ZEVAStage::create();
    auto filters = zeva::MutableArray::array();
    filters->addObject(stage);
    stage->set_filters(filters);
    return stage;
}

ObjectRef nested(int depth) {
    ObjectRef inner = zeva::str("bottom");
    for (int i = 0; i < depth; i++) inner = zeva::Array::arrayWithObjects({inner});
    return inner;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: archive_seeds DIR CLASS...\n");
        return 2;
    }
    std::string dir = argv[1];
    bool ok = true;
    for (int i = 2; i < argc; i++) {
        const zeva::Class* cls = zeva::Class::named(argv[i]);
        auto object = std::dynamic_pointer_cast<KWOObject>(cls ? cls->alloc() : nullptr);
        if (!object) {
            std::fprintf(stderr, "archive_seeds: %s is not a registered model class\n", argv[i]);
            ok = false;
            continue;
        }
        object->init();
        ok &= save(dir, argv[i], object);
    }
    ok &= save(dir, "origin-list", originList());
    ok &= save(dir, "shared-unit", sharedUnit());
    ok &= save(dir, "platform-values", platformValues());
    ok &= save(dir, "nested", nested(40));
    ok &= save(dir, "nested-deep", nested(600));
    auto cycle = std::static_pointer_cast<ZEVAStage>(stageCycle());
    ok &= save(dir, "stage-cycle", cycle);
    cycle->set_filters(nullptr);
    return ok ? 0 : 1;
}
