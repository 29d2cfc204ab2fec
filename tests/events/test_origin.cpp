#include <cmath>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/archive_helpers.hpp"
#include "support/model_fields.hpp"
#include "support/run_cli.hpp"
#include "zeva/events/ZEVAArea.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/events/flinn_engdahl.h"
#include "zeva/events/flinn_engdahl_text.hpp"
#include "zeva/time/ZEVALength.hpp"
#include "zeva/time/ZEVASamplingRange.hpp"
#include "zeva/time/ZEVATimeRange.hpp"

using namespace zeva;

namespace {
Ref<ZEVAOrigin> origin(float lat, float lon, double depth, float mag) {
    auto o = ZEVAOrigin::create();
    o->set_catalog(str("PDE"));
    o->set_contributor(str("USGS"));
    o->setLatitude(lat);
    o->setLongitude(lon);
    o->setDepth(static_cast<float>(depth));
    o->addMagnitude_Type_Contrib(mag, str("mb"), str("USGS"));
    return o;
}
}  // namespace

TEST(ZEVAMagnitude, Description) {
    auto m = ZEVAMagnitude::create();
    EXPECT_EQ(m->description(), " 0.00 (null) (null)");
    m->set_value(5.3f);
    m->set_type(str("Mw"));
    m->set_contributor(str("GCMT"));
    EXPECT_EQ(m->description(), " 5.30 Mw GCMT");
}

// Texts are copied where listed, every other member is shared; and every
// field, set through its class's declaration, comes back from the archive
// (the restored object saves to the very same bytes).
TEST(EventAndTimeClasses, SettersHoldAsDeclaredAndEveryFieldComesBack) {
    auto time = ZEVATime::create();  // in the ISO form, which a restore keeps
    time->setNsDate(Date::dateWithTimeIntervalSince1970(1243864992.25));
    auto range = ZEVATimeRange::create();
    range->set_start_time(time), range->set_end_time(time);
    const std::vector<ObjectRef> samples = {time, range, ZEVALocation::create(),
        ZEVAOrientation::create(), ZEVAQuantity::create(), ZEVAUnit::create(), ZEVASampling::create(),
        ZEVAFlinnEngdahlRegion::create(), MutableArray::array(), Date::date()};
    const std::pair<Ref<KWOObject>, std::set<std::string>> cases[] = {
        {ZEVAUnit::create(), {"_name"}}, {ZEVATime::create(), {"_date_time"}}, {ZEVATimeCorrection::create(), {}},
        {ZEVAQuantity::create(), {}}, {ZEVALength::create(), {}}, {ZEVASampling::create(), {}},
        {ZEVASamplingRange::create(), {}}, {ZEVATimeRange::create(), {}}, {ZEVALocation::create(), {}},
        {ZEVAOrientation::create(), {}}, {ZEVAOrientationRange::create(), {}}, {ZEVABoxArea::create(), {}},
        {ZEVAPointDistanceArea::create(), {}}, {ZEVAFlinnEngdahlRegion::create(), {}},
        {ZEVAEventAttribute::create(), {"_name"}}, {ZEVAMagnitude::create(), {"_type", "_contributor"}},
        {ZEVAOrigin::create(), {"_id", "_catalog", "_contributor", "flinnEngdahlString"}},
    };
    for (const auto& [object, copied] : cases) test::expectHeldAndRestored(object, copied, samples);
}

TEST(ZEVAOrigin, NewOriginOwnsTimeAndLocation) {
    auto o = ZEVAOrigin::create();
    auto location = o->_my_location();
    ASSERT_TRUE(o->_origin_time() && location);
    EXPECT_EQ(std::make_tuple(o->depthValue(), o->magnitude(), o->FERegion(), o->shortFERegion()),
              std::make_tuple(1.0, 0.0f, nullptr, nullptr));  // no magnitude list: 0
    o->setDepth(33.0f);
    EXPECT_EQ(o->_my_location(), location) << "convenience setters write into the existing location";
    EXPECT_EQ(o->depthValue(), 33.0);
}

TEST(ZEVAOrigin, MagnitudesKeepOrderAndMatchTypeExactly) {
    auto o = ZEVAOrigin::create();
    o->addMagnitude_Type_Contrib(5.1f, str("mb"), str("USGS"));
    auto first = o->_magnitudes();
    o->addMagnitude_Type_Contrib(5.4f, str("Mw"), str("GCMT"));
    o->addMagnitude_Type_Contrib(6.0f, str("mb"), str("ISC"));
    EXPECT_NE(o->_magnitudes(), first) << "each addition installs a new, longer list";
    EXPECT_EQ(first->count(), 1u);
    ASSERT_EQ(o->_magnitudes()->count(), 3u);
    EXPECT_EQ(o->magnitude(), 5.1f);
    EXPECT_EQ(o->magnitudeOfType(str("mb")), 5.1f);
    EXPECT_EQ(o->magnitudeOfType(str("Mw")), 5.4f);
    EXPECT_EQ(o->magnitudeOfType(str("MW")), -12345.0f);
    EXPECT_EQ(o->magnitudeOfType(str("ML")), -12345.0f);
    o->addMagnitude_Type_Contrib(4.2f, nullptr, str("X"));
    EXPECT_EQ(o->magnitudeOfType(nullptr), -12345.0f) << "a null type matches no entry, not even an untyped one";

    auto empty = ZEVAOrigin::create();
    EXPECT_EQ(empty->magnitudeOfType(str("mb")), -12345.0f);
    empty->set_magnitudes(MutableArray::array());
    EXPECT_EQ(empty->magnitude(), -12345.0f) << "an empty list answers the no-magnitude mark";
}

TEST(ZEVAOrigin, RegionFromTheEpicentre) {
    auto o = origin(35.7f, 139.7f, 10, 5);
    o->setFERegion();
    EXPECT_EQ(std::make_pair(o->myGreg(), o->mySreg()), std::make_pair(230, 19));
    const char* g = nullptr;
    fe_region(230, &g, nullptr, nullptr);
    EXPECT_EQ(textOf(o->flinnEngdahlString()), feRegionText(230, 19));
    EXPECT_EQ(textOf(o->shortFERegion()), std::string(g) + " ");
    EXPECT_EQ(textOf(o->FERegion()), textOf(o->flinnEngdahlString()));
    EXPECT_NE(o->FERegion(), o->flinnEngdahlString()) << "FERegion answers a new text";
    // The region is only recomputed on request.
    o->setLatitude(0);
    o->setLongitude(0);
    EXPECT_EQ(o->myGreg(), 230);
    o->setFERegion();
    EXPECT_EQ(std::make_pair(o->myGreg(), o->mySreg()), std::make_pair(561, 37));

    auto plain = ZEVAOrigin::create();
    plain->setFlinnEngdahlString(str("Somewhere"));
    EXPECT_EQ(textOf(plain->shortFERegion()), "Somewhere");
}

TEST(ZEVAOrigin, ComparisonsByColumn) {
    using Cmp = int (ZEVAOrigin::*)(const ZEVAOrigin&) const;
    struct Case {
        const char* name;
        Cmp cmp;
        float lat, lon, depth, mag;  // left; right is built from the right* values
        float rlat, rlon, rdepth, rmag;
        int want;
    };
    const float nan = std::nanf("");
    // One row per column where only that column differs; the shared
    // number comparison's equal and NaN answers once.
    Case cases[] = {
        {"mag less", &ZEVAOrigin::compareMagnitudes, 0, 0, 10, 4.9f, 0, 0, 10, 5.0f, -1},
        {"mag nan", &ZEVAOrigin::compareMagnitudes, 0, 0, 10, nan, 0, 0, 10, 4.9f, 0},
        {"depth greater", &ZEVAOrigin::compareDepths, 0, 0, 600, 5, 0, 0, -1, 5, 1},
        {"lat negative first", &ZEVAOrigin::compareLatitudes, -33.5f, 0, 0, 5, 12, 0, 0, 5, -1},
        {"lat equal", &ZEVAOrigin::compareLatitudes, 12, 0, 0, 5, 12, 0, 0, 5, 0},
        {"lon greater", &ZEVAOrigin::compareLongitudes, 0, 20, 0, 5, 0, -170.1f, 0, 5, 1},
    };
    for (const auto& c : cases) {
        auto left = origin(c.lat, c.lon, c.depth, c.mag);
        auto right = origin(c.rlat, c.rlon, c.rdepth, c.rmag);
        EXPECT_EQ(((*left).*(c.cmp))(*right), c.want) << c.name;
    }
}

TEST(ZEVAOrigin, TextComparisons) {
    auto at = [](double seconds) {
        auto o = ZEVAOrigin::create();
        o->setOriginTime(Date::dateWithTimeIntervalSince1970(seconds));
        return o;
    };
    auto lastSecond = at(1243900799);  // 2009-06-01 23:59:59 UTC
    auto nextDay = at(1243900800);     // 2009-06-02 00:00:00 UTC
    EXPECT_EQ(lastSecond->compareOriginTimes(*nextDay), -1);
    EXPECT_EQ(nextDay->compareOriginTimes(*lastSecond), 1);
    EXPECT_EQ(at(1243900800)->compareOriginTimes(*nextDay), 0);

    auto a = origin(35.7f, 139.7f, 10, 5), b = origin(0, 0, 10, 5);
    a->setFERegion();
    b->setFERegion();
    EXPECT_EQ(a->compareFERegions(*b), textOf(a->FERegion()) < textOf(b->FERegion()) ? -1 : 1);
    EXPECT_EQ(a->compareFERegions(*a), 0);
    b->set_contributor(str("AK"));
    EXPECT_EQ(a->compareContributor(*b), 1);
}

// Each class's keys in the order written, with what Python's plistlib finds
// there: "@int" a boxed number, "int"/"float" a coder scalar, "@str" a text
// or the null object, "@dict" an object. Restoring is checked through
// `zeva origin --save` below and for every class in the field tables.
TEST(EventAndTimeClasses, ArchiveKeysInDeclaredOrder) {
    auto o = origin(35.7f, 139.7f, 42.5, 6.1f);
    o->set_id(str("us1000abcd"));
    o->setOriginTime(Date::dateWithTimeIntervalSince1970(1243864992.25));
    o->setFERegion();
    const auto all = Array::arrayWithObjects({o, ZEVAUnit::create(), ZEVALength::create(), ZEVASampling::create(),
                                              ZEVASamplingRange::create()});
    EXPECT_EQ(test::plistlibCheck(all, R"PY(
def kind(v): return '@' + type(deref(v)).__name__ if isinstance(v, plistlib.UID) else type(v).__name__
shown = set()
for o in objs:
    if isinstance(o, dict) and '$class' in o and classname(o).startswith('ZEVA') and classname(o) not in shown:
        shown.add(classname(o))
        print(classname(o), *(k + ':' + kind(v) for k, v in o.items() if k != '$class'))
)PY"),
              "ZEVAOrigin _id:@str _catalog:@str _contributor:@str _origin_time:@dict _my_location:@dict "
              "_magnitudes:@dict _parm_ids:@str flinnEngdahlString:@str myGreg:int mySreg:int\n"
              "ZEVAUnit _the_unit_base:@int _elements:@str _power:@int _name:@str _multi_factor:float _exponent:@int\n"
              "ZEVALength _value:float _the_units:@dict\n"
              "ZEVASampling _numPoints:@int _interval:@dict\n"
              "ZEVASamplingRange _min:@str _max:@str\n"
              "ZEVATime _date_time:@str _leap_seconds_version:@int nsDate:@dict epochTime:float\n"
              "ZEVALocation _type:@int _latitude:float _longitude:float _elevation:@dict _depth:@dict\n"
              "ZEVAQuantity _value:float _the_units:@dict\n"
              "ZEVAMagnitude _type:@str _value:float _contributor:@str\n");
}

TEST(ZevaOriginCommand, BuildsPrintsAndArchivesAnOrigin) {
    auto path = std::filesystem::temp_directory_path() / ("zeva-origin-" + std::to_string(::getpid()));
    auto [status, out, err] = test::runCli(
        "origin --time 2011-03-11T05:46:24.12Z --lat 38.297 --lon 142.373 --depth 29 --mag 9.1 --type Mw "
        "--catalog PDE --contributor USGS --id usp000hvnu --save " + path.string());
    ASSERT_EQ(status, 0) << out;
    EXPECT_NE(out.find("PDE USGS 2011-03-11T05:46:24.1200Z  38.297  142.373 "), std::string::npos) << out;
    EXPECT_NE(out.find("\n 9.10 Mw USGS\n"), std::string::npos) << out;
    EXPECT_NE(out.find("region: Near east coast of eastern Honshu"), std::string::npos) << out;

    std::string error;
    auto back = std::dynamic_pointer_cast<ZEVAOrigin>(unarchiveObjectWithFile(path.string(), &error));
    std::filesystem::remove(path);
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(textOf(back->_id()) + " " + textOf(back->FERegion()),
              "usp000hvnu Near east coast of eastern Honshu (JAPAN - KURIL ISLANDS - KAMCHATKA PENINSULA)");
    EXPECT_EQ(out.rfind(back->description(), 0), 0u);
}
