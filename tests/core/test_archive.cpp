#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>

#include <sys/stat.h>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include "sample_classes.hpp"
#include "support/archive_helpers.hpp"
#include "zeva/platform/BinaryPlist.hpp"
#include "zeva/platform/Files.hpp"
#include "zeva/time/ZEVAUnit.hpp"

using namespace zeva;
namespace fs = std::filesystem;

namespace zeva::test {  // heap_counter.cpp
int64_t heapInUse();
void resetHeapPeak();  // a new peak from what is in use now
int64_t heapPeak();
}  // namespace zeva::test

namespace {

std::vector<uint8_t> archive(const ObjectRef& root) {
    std::string error;
    auto bytes = archivedDataWithRootObject(root, &error);
    EXPECT_TRUE(bytes) << error;
    return bytes ? *bytes : std::vector<uint8_t>{};
}

Ref<TestChild> restore(const std::vector<uint8_t>& bytes) {
    std::string error;
    auto back = std::dynamic_pointer_cast<TestChild>(unarchiveObjectWithData(bytes.data(), bytes.size(), &error));
    EXPECT_TRUE(back) << error;
    return back;
}

Ref<TestChild> filledChild() {
    auto c = TestChild::create();
    c->set_weight(-2.25f);
    c->set_ratio(1.0 / 3.0);
    c->set_flag(true);
    c->set_count(-2000000000);
    c->set_small(-32768);
    c->set_coded(123456);
    c->set_label(str("label ✓"));
    c->set_shared_label(mstr("shared"));
    c->set_other(KWOObject::create());
    auto items = MutableArray::array();
    items->addObject(str("a"));
    items->addObject(Number::numberWithDouble(2.5));
    items->addObject(nullptr);
    c->set_items(items);
    c->set_when(Date::dateWithTimeIntervalSince1970(1243864992.25));
    auto extras = MutableDictionary::dictionary();
    extras->setObject_forKey(Number::numberWithBool(true), "yes");
    extras->setObject_forKey(Data::dataWithBytes("\x00\x01\xff", 3), "bytes");
    c->set_extras(extras);
    c->set_blob(Data::dataWithBytes("x", 1));
    return c;
}

plist_t dict(std::initializer_list<std::pair<const char*, plist_t>> entries) {
    plist_t d = plist_new_dict();
    for (auto [key, value] : entries) plist_dict_set_item(d, key, value);
    return d;
}

// An entry of "$objects" with its class description at the index given.
plist_t instance(uint64_t classAt, std::initializer_list<std::pair<const char*, plist_t>> entries) {
    plist_t d = dict(entries);
    plist_dict_set_item(d, "$class", plist_new_uid(classAt));
    return d;
}

plist_t array(std::initializer_list<plist_t> items) {
    plist_t a = plist_new_array();
    for (plist_t item : items) plist_array_append_item(a, item);
    return a;
}

// Builds {"$archiver", "$version", "$top": {"root": UID(root)}, "$objects"}
// around the given objects array (taken over).
std::vector<uint8_t> rawArchive(plist_t objects, uint64_t root = 1, const char* archiver = "NSKeyedArchiver") {
    plist_t top = dict({{"$archiver", plist_new_string(archiver)},
                        {"$version", plist_new_uint(100000)},
                        {"$top", dict({{"root", plist_new_uid(root)}})},
                        {"$objects", objects}});
    char* bin = nullptr;
    uint32_t len = 0;
    plist_to_bin(top, &bin, &len);
    std::vector<uint8_t> out(bin, bin + len);
    plist_to_bin_free(bin);
    plist_free(top);
    return out;
}

plist_t classDict(const char* name) {
    return dict({{"$classes", array({plist_new_string(name), plist_new_string("NSObject")})},
                 {"$classname", plist_new_string(name)}});
}

// $objects = ["$null", object(with $class -> 2), class dict]
plist_t objectsWith(const char* className, plist_t object) {
    plist_dict_set_item(object, "$class", plist_new_uid(2));
    return array({plist_new_string("$null"), object, classDict(className)});
}

// An archive of one object of the class with the value under the key, and
// the extra entries of "$objects" from index 3 on.
std::vector<uint8_t> withMember(const char* className, const char* key, plist_t value,
                                const std::vector<plist_t>& extra = {}) {
    plist_t objects = objectsWith(className, dict({{key, value}}));
    for (plist_t e : extra) plist_array_append_item(objects, e);
    return rawArchive(objects);
}

// The same property list in the XML form.
std::vector<uint8_t> asXml(const std::vector<uint8_t>& binary) {
    plist_t p = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(binary.data()), static_cast<uint32_t>(binary.size()), &p);
    char* xml = nullptr;
    uint32_t len = 0;
    plist_to_xml(p, &xml, &len);
    plist_free(p);
    std::vector<uint8_t> out(xml, xml + len);
    plist_to_xml_free(xml);
    return out;
}

}  // namespace

// Every field kind comes back, from the archive and from its XML form: the
// restored object archives to the very same bytes (what the bytes hold is
// checked field by field with an independent reader below).
TEST(KeyedArchive, EveryFieldKindRoundTrips) {
    auto binary = archive(filledChild());
    for (const auto& bytes : {binary, asXml(binary)}) {
        auto back = restore(bytes);
        ASSERT_TRUE(back);
        EXPECT_EQ(archive(back), binary);
        EXPECT_FALSE(back->_blob()) << "a field kept out of the archive must not come back";
    }
}

// The forms other archivers write for platform values (GNUstep: dates, data,
// texts and numbers as plain property-list values, nil as UID 0; Apple: texts
// as NS.bytes, data as NSMutableData), each read from the binary and the XML
// form. The value goes under the key, extra entries follow the class at 3.
TEST(KeyedArchive, ForeignFormsOfPlatformValuesRestore) {
    struct Case {
        const char* name;
        const char* key;
        plist_t value;
        std::vector<plist_t> extra;
        std::function<bool(const TestChild&)> holds;
    };
    std::vector<Case> cases;
    cases.push_back({"plist date", "_when", plist_new_uid(3), {plist_new_date(265557792, 0)},
                     [](const TestChild& c) { return c._when() && c._when()->timeIntervalSince1970() == 1243864992.0; }});
    cases.push_back({"text as NS.bytes", "_label", plist_new_uid(3), {instance(4, {{"NS.bytes", plist_new_data("b\xc3\xa4", 3)}}), classDict("NSString")},
                     [](const TestChild& c) { return textOf(c._label()) == "b\xc3\xa4"; }});
    cases.push_back({"mutable data", "_items", plist_new_uid(3),
                     {instance(4, {{"NS.objects", array({plist_new_uid(5)})}}), classDict("NSMutableArray"),
                      instance(6, {{"NS.data", plist_new_data("\x01\x02", 2)}}), classDict("NSMutableData")},
                     [](const TestChild& c) {
                         auto d = c._items() ? c._items()->objectAtIndexAs<Data>(0) : nullptr;
                         return d && d->vector() == std::vector<uint8_t>{1, 2};
                     }});
    cases.push_back({"plain data in a dictionary", "_extras", plist_new_uid(3),
                     {instance(4, {{"NS.keys", array({plist_new_uid(5)})}, {"NS.objects", array({plist_new_uid(6)})}}),
                      classDict("NSDictionary"), plist_new_string("k"), plist_new_data("z", 1)},
                     [](const TestChild& c) { return c._extras() && c._extras()->objectForKeyAs<Data>("k"); }});
    cases.push_back({"boxed integer as a bool", "_count", plist_new_uid(3), {plist_new_bool(1)},
                     [](const TestChild& c) { return c._count() == 1; }});
    cases.push_back({"boxed short as a real", "_small", plist_new_uid(3), {plist_new_real(-7.0)},
                     [](const TestChild& c) { return c._small() == -7; }});
    cases.push_back({"nil as UID 0", "_other", plist_new_uid(0), {},
                     [](const TestChild& c) { return !c._other(); }});
    cases.push_back({"infinite float", "_weight", plist_new_real(-INFINITY), {},
                     [](const TestChild& c) { return std::isinf(c._weight()) && c._weight() < 0; }});
    cases.push_back({"unknown class under a key no class reads", "_unread", plist_new_uid(3),
                     {instance(4, {{"x", plist_new_uint(1)}}), classDict("NoSuchClass")},
                     [](const TestChild&) { return true; }});
    // Restoring runs no init (which sets a weight and a label): absent keys read as zero and null.
    cases.push_back({"nothing else", "_unread", plist_new_uid(0), {}, [](const TestChild& c) {
                         return c._weight() == 0 && !c._count() && !c._flag() && !c._label() && !c._items() &&
                                TestChild::create()->_weight() == 1.5f;
                     }});
    for (auto& c : cases) {
        auto binary = withMember("TestChild", c.key, c.value, c.extra);
        for (const auto& bytes : {binary, asXml(binary)}) {
            auto back = restore(bytes);
            ASSERT_TRUE(back) << c.name;
            EXPECT_TRUE(c.holds(*back)) << c.name << (bytes == binary ? " (binary)" : " (XML)");
        }
    }
}

// Nesting far past any model graph saves and restores without recursion:
// 100,000 composite units, each the one element of the next.
TEST(KeyedArchive, DeepGraphsSaveAndRestore) {
    constexpr int kDepth = 100000;
    auto unit = ZEVAUnit::create();
    unit->set_name(str("LEAF"));
    for (int i = 0; i < kDepth; ++i) {
        auto outer = ZEVAUnit::create();
        outer->set_elements(Array::arrayWithObjects({unit}));
        unit = outer;
    }
    auto back = test::roundTrip<ZEVAUnit>(unit);
    ASSERT_TRUE(back);
    int depth = 0;
    auto u = back;
    for (; u && u->_elements(); ++depth) u = u->_elements()->objectAtIndexAs<ZEVAUnit>(0);
    EXPECT_EQ(std::make_pair(depth, u ? textOf(u->_name()) : "(none)"), std::make_pair(kDepth, std::string("LEAF")));
    // Both chains are freed by dropping their tops: destructors hand their
    // members on rather than recursing down the chain.
    u = nullptr;
    back = nullptr;
    unit = nullptr;
}

// An object reached twice restores as one object, and a cycle as a cycle: an
// object is registered before its fields are read, so a back reference finds
// it. The test breaks each cycle to free it.
TEST(KeyedArchive, SharedObjectsAndCyclesRestoreAsSuch) {
    auto self = TestThing::create();
    self->set_other(self);
    auto a = TestThing::create(), b = TestThing::create();
    a->set_items(MutableArray::array());
    a->_items()->addObject(b);
    a->_items()->addObject(a->_items());  // an array holding itself
    b->set_other(a);
    auto holder = TestThing::create();
    holder->set_other(a);
    holder->set_items(MutableArray::array());
    holder->_items()->addObject(self);

    auto back = test::roundTrip<TestThing>(holder);
    ASSERT_TRUE(back);
    auto self2 = back->_items()->objectAtIndexAs<TestThing>(0);
    auto a2 = std::dynamic_pointer_cast<TestThing>(back->_other());
    ASSERT_TRUE(self2 && a2 && a2->_items() && a2->_items()->count() == 2);
    auto b2 = a2->_items()->objectAtIndexAs<TestThing>(0);
    EXPECT_EQ(self2->_other(), self2);
    EXPECT_EQ(b2->_other(), a2);
    EXPECT_EQ(a2->_items()->objectAtIndex(1), a2->_items());
    for (auto* t : {self.get(), self2.get(), b.get(), b2.get()}) t->set_other(nullptr);
    a->_items()->removeAllObjects();
    a2->_items()->removeAllObjects();
}

// A cycle under a key that no class reads is out of the host's reach: the
// reader breaks it (the sanitizer build's leak check would name it).
TEST(KeyedArchive, UnreachableCyclesAreFreed) {
    auto bytes = withMember("TestThing", "_unread", plist_new_uid(3),
                            {instance(4, {{"NS.objects", array({plist_new_uid(3), plist_new_uid(5)})}}),
                             classDict("NSMutableArray"), plist_new_string("kept alive by the cycle")});
    std::string error;
    EXPECT_TRUE(unarchiveObjectWithData(bytes.data(), bytes.size(), &error)) << error;
}

// Entries of "$objects" may all name the same bytes of the file, and each
// is its own object, as saved. So 200,000 names of a 64 KB buffer would be
// 13 GB: refused, by what the file's size allows. Names of one model object
// each make an object: the worst a file can ask for per byte, which stays
// within the bound the README states (heap at its peak while reading).
TEST(KeyedArchive, NamesOfOneEntryCostMemoryInProportion) {
    constexpr uint64_t kNames = 200000;
    constexpr int64_t kBytesPerByte = 32, kFixed = int64_t{1} << 20;
    const std::vector<uint8_t> blob(65536, 7);
    // What each of the 200,000 entries names (null: a 64 KB buffer, refused).
    for (const char* className : {static_cast<const char*>(nullptr), "ZEVAOrigin", "ZEVALocalSeismogram"}) {
        const char* c = className ? className : "a 64 KB buffer";
        BinaryPlistWriter out;
        auto classEntry = [&](const char* name) {
            return out.dict({{out.string("$classname"), out.string(name)}, {out.string("$classes"), out.array({})}});
        };
        std::vector<BinaryPlistWriter::Index> entries{out.string("$null"), 0, classEntry("NSArray"),
                                                      className ? classEntry(className) : 0};
        const auto named = className ? out.dict({{out.string("$class"), out.uid(3)}}) : out.data(blob.data(), blob.size());
        std::vector<BinaryPlistWriter::Index> members;
        for (uint64_t i = 0; i < kNames; ++i) {
            members.push_back(out.uid(entries.size()));
            entries.push_back(named);
        }
        entries[1] = out.dict({{out.string("NS.objects"), out.array(members)}, {out.string("$class"), out.uid(2)}});
        const auto file = out.finish(out.dict({{out.string("$archiver"), out.string("NSKeyedArchiver")},
                                               {out.string("$top"), out.dict({{out.string("root"), out.uid(1)}})},
                                               {out.string("$objects"), out.array(entries)}}));
        std::string error;
        test::resetHeapPeak();
        const int64_t before = test::heapInUse();
        auto back = std::dynamic_pointer_cast<Array>(unarchiveObjectWithData(file.data(), file.size(), &error));
        const int64_t peak = test::heapPeak() - before;
        EXPECT_EQ(back ? back->count() : 0, className ? kNames : 0) << c << ": " << error;
        if (!className) {
            EXPECT_NE(error.find("more bytes than its size allows"), std::string::npos) << error;
        }
        EXPECT_LE(peak, kBytesPerByte * static_cast<int64_t>(file.size()) + kFixed)
            << c << ": " << peak << " bytes at the peak for a file of " << file.size();
    }
}

TEST(KeyedArchive, HostileArchivesFailWithAReason) {
    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
        const char* reason;
    };
    std::vector<Case> cases;
    cases.push_back({"empty", {}, "empty"});
    cases.push_back({"text", {'h', 'e', 'l', 'l', 'o'}, "not a property list"});
    cases.push_back({"other archiver", rawArchive(array({plist_new_string("$null")}), 0, "Something"),
                     "not a keyed archive"});
    cases.push_back({"root out of range", rawArchive(objectsWith("TestThing", plist_new_dict()), 99), "outside"});
    cases.push_back({"member out of range", withMember("TestThing", "_other", plist_new_uid(1000)), "outside"});
    cases.push_back({"class read as an object", withMember("TestThing", "_other", plist_new_uid(2)),
                     "class description"});
    cases.push_back({"date without a time",
                     withMember("TestChild", "_when", plist_new_uid(3),
                                {instance(4, {{"NS.time", plist_new_string("soon")}}),
                                 classDict("NSDate")}),
                     "NSDate is malformed"});
    cases.push_back({"integer beyond 32 bits", withMember("TestThing", "_coded", plist_new_real(3e9)), "_coded"});
    // Boxed numbers beyond the field's width are refused, not wrapped.
    auto boxed = [](const char* key, plist_t number) { return withMember("TestThing", key, plist_new_uid(3), {number}); };
    cases.push_back({"boxed 2^40+5 as a long", boxed("_count", plist_new_uint((uint64_t{1} << 40) + 5)), "\"_count\""});
    cases.push_back({"boxed 1e300 as a long", boxed("_count", plist_new_real(1e300)), "\"_count\""});
    cases.push_back({"boxed -1e300 as a long", boxed("_count", plist_new_real(-1e300)), "\"_count\""});
    cases.push_back({"boxed NaN as a long", boxed("_count", plist_new_real(NAN)), "\"_count\""});
    cases.push_back({"boxed 32768 as a short", boxed("_small", plist_new_uint(32768)), "\"_small\""});
    cases.push_back({"1e300 as a float", withMember("TestThing", "_weight", plist_new_real(1e300)), "\"_weight\""});
    cases.push_back({"text under a float key", withMember("TestThing", "_weight", plist_new_string("heavy")),
                     "_weight"});
    cases.push_back({"number where an object belongs", withMember("TestThing", "_other", plist_new_uint(3)), "_other"});
    cases.push_back({"wrong class under a key",
                     withMember("TestThing", "_items", plist_new_uid(3), {plist_new_string("a text, not an array")}),
                     "_items"});
    cases.push_back({"unregistered class", rawArchive(objectsWith("NoSuchClass", plist_new_dict())), "NoSuchClass"});
    cases.push_back({"missing class", rawArchive(array({plist_new_string("$null"), plist_new_dict()})), "$class"});
    cases.push_back({"malformed array", withMember("NSArray", "NS.objects", plist_new_string("x")), "malformed"});
    {
        plist_t self = plist_new_array();
        plist_array_append_item(self, plist_new_uid(1));
        cases.push_back({"array holding itself", withMember("NSArray", "NS.objects", self), "immutable containers"});
        // A failed archive frees the cycles it built (the sanitizer build's
        // leak check would name this one).
        plist_t selfAndMore = plist_new_array();
        plist_array_append_item(selfAndMore, plist_new_uid(1));
        plist_array_append_item(selfAndMore, plist_new_uid(99));
        cases.push_back({"failed array holding itself", withMember("NSMutableArray", "NS.objects", selfAndMore), "outside"});
    }
    {
        std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
        for (int i = 0; i < 300; ++i) xml += "<array>";
        cases.push_back({"XML nested past any archive", {xml.begin(), xml.end()}, "nests too deeply"});
        auto nul = asXml(archive(filledChild()));
        nul.insert(nul.begin() + static_cast<long>(std::string(nul.begin(), nul.end()).find("label")), '\0');
        cases.push_back({"XML with a NUL byte in a text", nul, "NUL"});
    }
    for (auto& c : cases) {
        std::string error;
        EXPECT_FALSE(unarchiveObjectWithData(c.bytes.data(), c.bytes.size(), &error)) << c.name;
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.name << ": " << error;
    }
}

// A one-byte text with a byte beyond ASCII reads as Latin-1 and saves back
// as the same text.
TEST(KeyedArchive, OneByteTextsBeyondAsciiReadAsLatin1) {
    auto child = TestChild::create();
    child->set_label(str("zq"));
    auto bytes = archive(child);
    std::string raw(bytes.begin(), bytes.end());
    size_t at = raw.find("\x52zq");  // the form of a two-byte ASCII text
    ASSERT_NE(at, std::string::npos);
    bytes[at + 2] = 0xE9;
    auto back = restore(bytes);
    ASSERT_TRUE(back);
    for (const auto& text : {back, test::roundTrip<TestChild>(back)})
        EXPECT_EQ(text ? textOf(text->_label()) : "(none)", "z\xc3\xa9");
}

TEST(KeyedArchive, EveryTruncationIsRefused) {
    auto bytes = archive(filledChild());
    for (size_t n = 0; n < bytes.size(); ++n) {
        std::string error;
        auto back = unarchiveObjectWithData(bytes.data(), n, &error);
        EXPECT_FALSE(back) << "a truncated archive of " << n << " bytes was accepted";
        EXPECT_FALSE(error.empty()) << n;
    }
}

TEST(SaveArchived, WritesReplacesAndReportsFailure) {
    char tmpl[] = "/tmp/zeva-test-XXXXXX";
    const fs::path dir = ::mkdtemp(tmpl);
    auto path = (dir / "thing.archive").string();
    auto c = filledChild();
    ASSERT_TRUE(c->saveAchivedToPath(path));
    c->set_count(7);
    ASSERT_TRUE(c->saveAchivedToPath(path));
    std::string error;
    auto back = std::dynamic_pointer_cast<TestChild>(unarchiveObjectWithFile(path, &error));
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->_count(), 7);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1)
        << "no temporary file may be left behind";
    // The file gets the usual permissions under the process's umask, which
    // the write leaves alone.
    for (mode_t mask : {mode_t{022}, mode_t{077}, mode_t{0}}) {
        mode_t previous = ::umask(mask);
        ASSERT_TRUE(c->saveAchivedToPath(path));
        EXPECT_EQ(::umask(previous), mask);
        EXPECT_EQ(static_cast<mode_t>(fs::status(path).permissions()), 0666 & ~mask) << std::oct << mask;
    }

    EXPECT_FALSE(c->saveAchivedToPath((dir / "missing" / "x.archive").string()));
    EXPECT_FALSE(c->saveAchivedToPath(""));
    EXPECT_FALSE(unarchiveObjectWithFile((dir / "none").string(), &error));
    EXPECT_NE(error.find("No such file"), std::string::npos);
    // An object without a coder is named, and nothing is written.
    c->_items()->addObject(std::make_shared<Object>());
    EXPECT_FALSE(archivedDataWithRootObject(c, &error));
    EXPECT_NE(error.find("NSObject"), std::string::npos) << error;
    fs::remove_all(dir);
}

TEST(SaveArchived, AnIndependentReaderFindsTheLayout) {
    EXPECT_EQ(test::plistlibCheck(filledChild(), R"PY(
assert open(sys.argv[1], 'rb').read(8) == b'bplist00'
assert a['$version'] == 100000 and objs[0] == '$null'
cls = deref(root['$class'])
assert cls['$classname'] == 'TestChild', cls
assert cls['$classes'] == ['TestChild', 'TestThing', 'KWOObject', 'NSObject'], cls
assert root['_weight'] == -2.25 and root['_flag'] is True and root['_coded'] == 123456
assert (deref(root['_count']), deref(root['_small'])) == (-2000000000, -32768)
ms = deref(root['_shared_label'])
assert ms['NS.string'] == 'shared' and classname(ms) == 'NSMutableString'
assert deref(root['_when'])['NS.time'] == 265557792.25
assert [deref(u) for u in deref(root['_extras'])['NS.keys']] == ['bytes', 'yes']
assert '_blob' not in root
print('ok')
)PY"), "ok\n");
}
