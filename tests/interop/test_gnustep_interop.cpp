// Archives exchanged both ways with GNUstep's Foundation, an independent
// keyed archiver (gnustep_peer.m): the peer prints exactly the values zeva
// saved, shared objects included; zeva reads the peer's binary and XML
// copies back to the same values and descriptions. Skipped without GNUstep.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <unistd.h>

#include "inventory/inventory_support.hpp"
#include "support/run_cli.hpp"
#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/feed/NEIC_QueryController.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/time/ZEVAQuantity.hpp"
#include "zeva/time/ZEVAUnit.hpp"

namespace {

namespace fs = std::filesystem;
using zeva::ObjectRef, zeva::Ref, zeva::str, zeva::test::num, zeva::test::with;

// The peer's dump form, printed from zeva's objects.
std::string dumpOf(const ObjectRef& root) {
    std::string out;
    std::unordered_map<const zeva::Object*, size_t> seen;
    auto real = [](double v, const char* form) {
        char buf[64];
        std::snprintf(buf, sizeof buf, form, v);
        return std::string(buf);
    };
    auto line = [&](const std::string& s) { out += s + "\n"; };
    auto key = [&](int depth, const std::string& k) { out.append(2 * depth, ' ').append(k + ": "); };
    std::function<void(const ObjectRef&, int)> value = [&](const ObjectRef& v, int depth) {
        if (!v) return line("null");
        if (auto s = std::dynamic_pointer_cast<zeva::String>(v)) return line("\"" + s->str() + "\"");
        if (auto d = std::dynamic_pointer_cast<zeva::Date>(v)) return line("date " + real(d->timeIntervalSinceReferenceDate(), "%.17g"));
        if (auto a = std::dynamic_pointer_cast<zeva::Array>(v)) {
            line("array " + std::to_string(a->count()));
            for (size_t i = 0; i < a->count(); ++i) key(depth + 1, "[" + std::to_string(i) + "]"), value(a->objectAtIndex(i), depth + 1);
            return;
        }
        auto [at, fresh] = seen.try_emplace(v.get(), seen.size() + 1);
        line(std::string(v->className()) + " #" + std::to_string(at->second) + (fresh ? "" : " again"));
        if (!fresh) return;
        // The fields as zeva declares them, superclass first; the peer names
        // its own keys, so a key zeva writes differently shows in the dump.
        std::vector<const zeva::Class*> chain;
        for (auto* c = &v->objectClass(); c; c = c->superclass()) chain.insert(chain.begin(), c);
        for (auto* c : chain) {
            for (const auto& p : c->properties()) {
                if (!p.archived) continue;
                auto got = p.get(*v);
                auto n = std::dynamic_pointer_cast<zeva::Number>(got);
                key(depth + 1, p.key);
                if (p.kind == zeva::CoderKind::Object) value(got, depth + 1);
                else if (p.kind == zeva::CoderKind::Float) line(real(n->floatValue(), "%.9g"));
                else if (p.kind == zeva::CoderKind::Double) line(real(n->doubleValue(), "%.17g"));
                else line(std::to_string(n->longValue()));
            }
        }
    };
    value(root, 0);
    return out;
}

Ref<zeva::Array> feedOrigins(const std::string& path) {
    auto controller = NEIC_QueryController::create();
    auto urls = zeva::MutableArray::array();
    urls->addObject(zeva::URL::fileURLWithPath(path));
    controller->setGsURLs(urls);
    controller->setMinMagnitude(-10);
    controller->setMaxMagnitude(20);
    if (!controller->loadNEIC_TextList()) return nullptr;
    return controller->seismicOrigins();
}

// Two magnitudes, parameter ids, texts outside ASCII, a fraction of a second.
ObjectRef originWithTwoMagnitudes() {
    auto o = ZEVAOrigin::create();
    o->set_id(str("usp000hvnu"));
    o->set_catalog(str("PDE"));
    o->set_contributor(str("us"));
    o->setOriginTime(zeva::Date::dateWithTimeIntervalSince1970(1299822384.12));
    o->setLatitude(38.297f);
    o->setLongitude(142.373f);
    o->setDepth(29.0f);
    o->addMagnitude_Type_Contrib(9.1f, str("Mww"), str("us"));
    o->addMagnitude_Type_Contrib(7.9f, str("mb"), str("Servicio Sismológico Nacional"));
    o->set_parm_ids(zeva::Array::arrayWithObjects({str("us:usp000hvnu"), str("iscgem:16461282")}));
    o->setFERegion();
    return o;
}

// Elevation and depth share one unit object.
ObjectRef locationSharingAUnit() {
    auto unit = with<ZEVAUnit>({{"_name", str("meter")}, {"_power", num(3)}, {"_exponent", num(1)}, {"_multi_factor", num(0.3048)}});
    auto quantity = [&](double v) { return with<ZEVAQuantity>({{"_value", num(v)}, {"_the_units", unit}}); };
    return with<ZEVALocation>({{"_latitude", num(-33.5)}, {"_longitude", num(-70.25)}, {"_type", num(-7)},
                               {"_elevation", quantity(1200.5)}, {"_depth", quantity(-33.25)}});
}

// Degrees (metre over metre, factor 180/pi) with a nested composite element.
ObjectRef unitWithElements() {
    auto perSecond = with<ZEVAUnit>({{"_the_unit_base", num(ZEVAUnit::kSecond)}, {"_exponent", num(-1)}, {"_power", num(-3)}});
    auto nested = with<ZEVAUnit>({{"_the_unit_base", num(ZEVAUnit::kComposite)},
                                  {"_elements", zeva::Array::arrayWithObjects({perSecond, perSecond})}});
    auto degrees = ZEVAUnit::create();
    degrees->makeDegrees();
    auto elements = degrees->_elements();
    degrees->set_elements(zeva::Array::arrayWithObjects({elements->objectAtIndex(0), elements->objectAtIndex(1), nested}));
    degrees->set_power(2);
    degrees->set_exponent(-2);
    return degrees;
}

struct Case {
    const char* name;
    std::function<ObjectRef()> build;  // null result: the data is absent
    // GNUstep's binary writer takes time quadratic in the object count
    // (minutes for the week's feed), so large graphs go through its XML only.
    bool gnustepWritesBinary = true;
};

const Case kCases[] = {
    {"OriginWithTwoMagnitudes", originWithTwoMagnitudes},
    {"LocationSharingAUnit", locationSharingAUnit},
    {"UnitWithElements", unitWithElements},
    {"ExampleOrigins", [] { return feedOrigins(std::string(ZEVA_SOURCE_DIR) + "/examples/notable-earthquakes.csv"); }},
    {"FeedWeekOrigins", []() -> ObjectRef {
         std::string path = std::string(ZEVA_SHARED_DATA_DIR) + "/usgs-feed/1.0_week.2016-01-07.csv";
         return fs::exists(path) ? feedOrigins(path) : nullptr;
     }, false},
};

// GNUstep's XML layout writes dates in whole seconds, the fraction dropped
// from the UTC clock time (toward the past, before 2001 too), and reals with
// 16 and 7 significant digits (fewer than a double or float needs to come
// back unchanged). A restored time takes its text from the date and keeps
// its epoch seconds, so this is what zeva reads back from such a file.
void asGnustepXmlKeepsIt(const ObjectRef& v, std::unordered_set<const zeva::Object*>& done) {
    if (!v || !done.insert(v.get()).second) return;
    if (auto a = std::dynamic_pointer_cast<zeva::Array>(v)) {
        for (const auto& item : *a) asGnustepXmlKeepsIt(item, done);
        return;
    }
    // Every field is read before any is set: a time's new date rewrites its text and seconds.
    std::vector<std::pair<const zeva::Property*, ObjectRef>> fields;
    for (auto* c = &v->objectClass(); c; c = c->superclass())
        for (const auto& p : c->properties()) fields.emplace_back(&p, p.get(*v));
    auto kept = [](double value, int digits) {
        char text[40];
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        return std::strtod(text, nullptr);
    };
    for (const auto& [p, got] : fields) {
        auto n = std::dynamic_pointer_cast<zeva::Number>(got);
        if (p->kind == zeva::CoderKind::Float) {
            p->set(*v, zeva::Number::numberWithFloat(static_cast<float>(kept(n->floatValue(), 7))));
        } else if (p->kind == zeva::CoderKind::Double) {
            p->set(*v, zeva::Number::numberWithDouble(kept(n->doubleValue(), 16)));
        } else if (auto d = std::dynamic_pointer_cast<zeva::Date>(got)) {
            p->set(*v, zeva::Date::dateWithTimeIntervalSinceReferenceDate(std::floor(d->timeIntervalSinceReferenceDate())));
        } else {
            asGnustepXmlKeepsIt(got, done);
        }
    }
}

class GnustepInterop : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        if (peer_.empty())
            GTEST_SKIP() << "GNUstep (gnustep-config, gobjc, libgnustep-base-dev) was not found when configuring";
        root_ = GetParam().build();
        if (!root_) GTEST_SKIP() << "no data for " << GetParam().name << " in " << ZEVA_SHARED_DATA_DIR;
        dir_ = fs::temp_directory_path() / ("zeva-gnustep-" + std::to_string(::getpid()) + "-" + GetParam().name);
        fs::create_directories(dir_);
        ASSERT_TRUE(zeva::archiveRootObjectToFile(root_, saved_ = (dir_ / "zeva.archive").string()));
    }
    void TearDown() override {
        if (!dir_.empty()) fs::remove_all(dir_);
    }
    zeva::test::CliRun peer(const std::string& args) { return zeva::test::runCommand("'" + peer_ + "' " + args); }

    const std::string peer_ = ZEVA_GNUSTEP_PEER;
    ObjectRef root_;
    fs::path dir_;
    std::string saved_;
};

TEST_P(GnustepInterop, GnustepReadsEveryValueZevaSaved) {
    auto run = peer("dump '" + saved_ + "'");
    ASSERT_EQ(run.status, 0);
    EXPECT_EQ(run.out, dumpOf(root_));
}

TEST_P(GnustepInterop, ZevaReadsWhatGnustepWrote) {
    // Binary first: the XML expectations then change the saved graph's dates and reals.
    for (const std::string format : {"binary", "xml"}) {
        SCOPED_TRACE(format);
        if (format == "binary" && !GetParam().gnustepWritesBinary) continue;
        std::string written = (dir_ / ("gnustep." + format)).string();
        ASSERT_EQ(peer("copy '" + saved_ + "' '" + written + "' " + format).status, 0);
        std::unordered_set<const zeva::Object*> done;
        if (format == "xml") asGnustepXmlKeepsIt(root_, done);
        std::string error;
        ObjectRef back = zeva::unarchiveObjectWithFile(written, &error);
        ASSERT_TRUE(back) << error;
        EXPECT_EQ(back->description(), root_->description());
        EXPECT_EQ(dumpOf(back), dumpOf(root_));
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, GnustepInterop, ::testing::ValuesIn(kCases),
                         [](const auto& c) { return std::string(c.param.name); });

}  // namespace
