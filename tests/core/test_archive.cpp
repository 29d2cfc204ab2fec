#include <cstdio>
#include <filesystem>
#include <random>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include "sample_classes.hpp"
#include "support/archive_helpers.hpp"
#include "zeva/platform/Files.hpp"

using namespace zeva;
namespace fs = std::filesystem;

namespace {

struct TempDir {
    fs::path path;
    TempDir() {
        char tmpl[] = "/tmp/zeva-test-XXXXXX";
        path = ::mkdtemp(tmpl);
    }
    ~TempDir() { fs::remove_all(path); }
};

std::vector<uint8_t> archive(const ObjectRef& root) {
    std::string error;
    auto bytes = archivedDataWithRootObject(root, &error);
    EXPECT_TRUE(bytes) << error;
    return bytes ? *bytes : std::vector<uint8_t>{};
}


Ref<TestChild> filledChild() {
    (void)TestChild::staticClass();
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

// Builds {"$archiver", "$version", "$top": {"root": UID(root)}, "$objects"}
// around the given objects array (taken over).
std::vector<uint8_t> rawArchive(plist_t objects, uint64_t root = 1, const char* archiver = "NSKeyedArchiver") {
    plist_t top = plist_new_dict();
    plist_dict_set_item(top, "$archiver", plist_new_string(archiver));
    plist_dict_set_item(top, "$version", plist_new_uint(100000));
    plist_t t = plist_new_dict();
    plist_dict_set_item(t, "root", plist_new_uid(root));
    plist_dict_set_item(top, "$top", t);
    plist_dict_set_item(top, "$objects", objects);
    char* bin = nullptr;
    uint32_t len = 0;
    plist_to_bin(top, &bin, &len);
    std::vector<uint8_t> out(bin, bin + len);
    plist_to_bin_free(bin);
    plist_free(top);
    return out;
}

plist_t classDict(const char* name) {
    plist_t d = plist_new_dict();
    plist_t chain = plist_new_array();
    plist_array_append_item(chain, plist_new_string(name));
    plist_array_append_item(chain, plist_new_string("NSObject"));
    plist_dict_set_item(d, "$classes", chain);
    plist_dict_set_item(d, "$classname", plist_new_string(name));
    return d;
}

// $objects = ["$null", object(with $class -> 2), class dict]
plist_t objectsWith(const char* className, plist_t object) {
    plist_t objects = plist_new_array();
    plist_array_append_item(objects, plist_new_string("$null"));
    plist_dict_set_item(object, "$class", plist_new_uid(2));
    plist_array_append_item(objects, object);
    plist_array_append_item(objects, classDict(className));
    return objects;
}

std::string failureOf(const std::vector<uint8_t>& bytes) {
    (void)TestChild::staticClass();
    std::string error;
    auto back = unarchiveObjectWithData(bytes.data(), bytes.size(), &error);
    EXPECT_FALSE(back);
    EXPECT_FALSE(error.empty());
    return error;
}

}  // namespace

TEST(KeyedArchive, EveryFieldKindRoundTrips) {
    auto c = filledChild();
    auto back = test::roundTrip<TestChild>(c);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->_weight(), -2.25f);
    EXPECT_EQ(back->_ratio(), 1.0 / 3.0);
    EXPECT_TRUE(back->_flag());
    EXPECT_EQ(back->_count(), -2000000000);
    EXPECT_EQ(back->_small(), -32768);
    EXPECT_EQ(back->_coded(), 123456);
    EXPECT_EQ(textOf(back->_label()), "label ✓");
    ASSERT_TRUE(std::dynamic_pointer_cast<MutableString>(back->_shared_label()));
    EXPECT_EQ(textOf(back->_shared_label()), "shared");
    EXPECT_EQ(std::string(back->_other()->className()), "KWOObject");
    ASSERT_EQ(back->_items()->count(), 3u);
    EXPECT_EQ(back->_items()->objectAtIndexAs<String>(0)->str(), "a");
    EXPECT_EQ(back->_items()->objectAtIndexAs<Number>(1)->doubleValue(), 2.5);
    EXPECT_FALSE(back->_items()->objectAtIndex(2));
    EXPECT_EQ(back->_when()->timeIntervalSince1970(), 1243864992.25);
    EXPECT_TRUE(back->_extras()->objectForKeyAs<Number>("yes")->boolValue());
    EXPECT_EQ(back->_extras()->objectForKeyAs<Data>("bytes")->vector(), (std::vector<uint8_t>{0, 1, 255}));
    EXPECT_FALSE(back->_blob()) << "a field kept out of the archive must not come back";
}

TEST(KeyedArchive, RestoringDoesNotRunInit) {
    (void)TestThing::staticClass();
    auto t = TestThing::alloc();  // no init: weight 0, label null
    auto back = test::roundTrip<TestThing>(t);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->_weight(), 0.0f);
    EXPECT_FALSE(back->_label());
    EXPECT_EQ(TestThing::create()->_weight(), 1.5f);
}

TEST(KeyedArchive, BareRootObjectHasNoKeys) {
    EXPECT_EQ(test::plistlibCheck(KWOObject::create(), "print(sorted(root), classname(root))"),
              "['$class'] KWOObject\n");
    auto back = test::roundTrip<KWOObject>(KWOObject::create());
    ASSERT_TRUE(back);
    EXPECT_EQ(std::string(back->className()), "KWOObject");
}

TEST(KeyedArchive, ObjectReachedTwiceIsStoredOnceAndRestoredShared) {
    (void)TestThing::staticClass();
    auto shared = TestThing::create();
    auto holder = TestThing::create();
    auto items = MutableArray::array();
    items->addObject(shared);
    items->addObject(shared);
    holder->set_other(shared);
    holder->set_items(items);
    auto back = test::roundTrip<TestThing>(holder);
    ASSERT_TRUE(back);
    auto a = back->_items()->objectAtIndex(0);
    EXPECT_EQ(a, back->_items()->objectAtIndex(1));
    EXPECT_EQ(a, back->_other());
    EXPECT_NE(a, ObjectRef(shared));
}

TEST(KeyedArchive, XmlFormOfAnArchiveReadsToo) {
    auto bytes = archive(filledChild());
    plist_t p = nullptr;
    plist_from_bin(reinterpret_cast<const char*>(bytes.data()), static_cast<uint32_t>(bytes.size()), &p);
    char* xml = nullptr;
    uint32_t len = 0;
    plist_to_xml(p, &xml, &len);
    plist_free(p);
    std::string error;
    auto back = std::dynamic_pointer_cast<TestChild>(
        unarchiveObjectWithData(reinterpret_cast<const uint8_t*>(xml), len, &error));
    plist_to_xml_free(xml);
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->_count(), -2000000000);
    EXPECT_EQ(textOf(back->_label()), "label ✓");
}

TEST(KeyedArchive, MissingKeysReadAsZeroAndNull) {
    (void)TestThing::staticClass();
    auto bytes = rawArchive(objectsWith("TestThing", plist_new_dict()));
    std::string error;
    auto back = std::dynamic_pointer_cast<TestThing>(unarchiveObjectWithData(bytes.data(), bytes.size(), &error));
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->_weight(), 0.0f);
    EXPECT_EQ(back->_count(), 0);
    EXPECT_FALSE(back->_flag());
    EXPECT_FALSE(back->_label());
}

TEST(KeyedArchive, HostileArchivesFailWithAReason) {
    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
        const char* reason;
    };
    auto dict = [](const char* key, plist_t value) {
        plist_t d = plist_new_dict();
        plist_dict_set_item(d, key, value);
        return d;
    };
    std::vector<Case> cases;
    cases.push_back({"empty", {}, "empty"});
    cases.push_back({"text", {'h', 'e', 'l', 'l', 'o'}, "not a property list"});
    {
        plist_t notArchive = plist_new_array();
        plist_array_append_item(notArchive, plist_new_string("$null"));
        cases.push_back({"other archiver", rawArchive(notArchive, 0, "Something"), "not a keyed archive"});
    }
    cases.push_back({"root out of range", rawArchive(objectsWith("TestThing", plist_new_dict()), 99), "outside"});
    cases.push_back({"member out of range",
                     rawArchive(objectsWith("TestThing", dict("_other", plist_new_uid(1000)))), "outside"});
    cases.push_back({"reference cycle", rawArchive(objectsWith("TestThing", dict("_other", plist_new_uid(1)))),
                     "cycle"});
    cases.push_back({"text under a float key",
                     rawArchive(objectsWith("TestThing", dict("_weight", plist_new_string("heavy")))), "_weight"});
    cases.push_back({"number where an object belongs",
                     rawArchive(objectsWith("TestThing", dict("_other", plist_new_uint(3)))), "_other"});
    {
        plist_t objects = objectsWith("TestThing", dict("_items", plist_new_uid(3)));
        plist_array_append_item(objects, plist_new_string("a text where an array belongs"));
        cases.push_back({"wrong class under a key", rawArchive(objects), "_items"});
    }
    cases.push_back({"unregistered class", rawArchive(objectsWith("NoSuchClass", plist_new_dict())), "NoSuchClass"});
    {
        plist_t objects = plist_new_array();
        plist_array_append_item(objects, plist_new_string("$null"));
        plist_array_append_item(objects, plist_new_dict());  // no $class
        cases.push_back({"missing class", rawArchive(objects), "$class"});
    }
    {
        plist_t objects = plist_new_array();
        plist_array_append_item(objects, plist_new_string("$null"));
        plist_t arr = plist_new_dict();
        plist_dict_set_item(arr, "NS.objects", plist_new_string("not an array"));
        plist_dict_set_item(arr, "$class", plist_new_uid(2));
        plist_array_append_item(objects, arr);
        plist_array_append_item(objects, classDict("NSArray"));
        cases.push_back({"malformed array", rawArchive(objects), "malformed"});
    }
    {
        // A chain of arrays nested deeper than any model graph.
        plist_t objects = plist_new_array();
        plist_array_append_item(objects, plist_new_string("$null"));
        plist_array_append_item(objects, classDict("NSArray"));
        const uint64_t depth = 5000;
        for (uint64_t i = 0; i < depth; ++i) {
            plist_t arr = plist_new_dict();
            plist_t items = plist_new_array();
            if (i + 1 < depth) plist_array_append_item(items, plist_new_uid(i + 3));
            plist_dict_set_item(arr, "NS.objects", items);
            plist_dict_set_item(arr, "$class", plist_new_uid(1));
            plist_array_append_item(objects, arr);
        }
        cases.push_back({"deep nesting", rawArchive(objects, 2), "deeply"});
    }
    for (auto& c : cases) {
        std::string error = failureOf(c.bytes);
        EXPECT_NE(error.find(c.reason), std::string::npos) << c.name << ": " << error;
    }
}

TEST(KeyedArchive, EveryTruncationAndCorruptionIsRefusedSafely) {
    auto bytes = archive(filledChild());
    for (size_t n = 0; n < bytes.size(); ++n) {
        std::string error;
        auto back = unarchiveObjectWithData(bytes.data(), n, &error);
        EXPECT_FALSE(back) << "a truncated archive of " << n << " bytes was accepted";
        EXPECT_FALSE(error.empty()) << n;
    }
    // Random byte flips: whatever comes back, nothing may crash or leak.
    std::mt19937 rng(42);
    for (int round = 0; round < 300; ++round) {
        auto copy = bytes;
        for (int k = 0; k < 3; ++k) copy[rng() % copy.size()] = static_cast<uint8_t>(rng());
        std::string error;
        (void)unarchiveObjectWithData(copy.data(), copy.size(), &error);
    }
}

TEST(KeyedArchive, ObjectsWithoutACoderCannotBeArchived) {
    auto holder = TestThing::create();
    auto items = MutableArray::array();
    items->addObject(std::make_shared<Object>());
    holder->set_items(items);
    std::string error;
    EXPECT_FALSE(archivedDataWithRootObject(holder, &error));
    EXPECT_NE(error.find("NSObject"), std::string::npos) << error;
}

TEST(SaveArchived, WritesReplacesAndReportsFailure) {
    TempDir dir;
    auto path = (dir.path / "thing.archive").string();
    auto c = filledChild();
    ASSERT_TRUE(c->saveAchivedToPath(path));
    c->set_count(7);
    ASSERT_TRUE(c->saveAchivedToPath(path));
    std::string error;
    auto back = std::dynamic_pointer_cast<TestChild>(unarchiveObjectWithFile(path, &error));
    ASSERT_TRUE(back) << error;
    EXPECT_EQ(back->_count(), 7);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path), fs::directory_iterator()), 1)
        << "no temporary file may be left behind";

    EXPECT_FALSE(c->saveAchivedToPath((dir.path / "missing" / "x.archive").string()));
    EXPECT_FALSE(c->saveAchivedToPath(""));
    EXPECT_FALSE(unarchiveObjectWithFile((dir.path / "none").string(), &error));
    EXPECT_NE(error.find("No such file"), std::string::npos);
}

TEST(SaveArchived, AnIndependentReaderFindsTheLayout) {
    auto holder = filledChild();
    holder->set_other(TestThing::create());
    EXPECT_EQ(test::plistlibCheck(holder, R"PY(
assert open(sys.argv[1], 'rb').read(8) == b'bplist00'
assert a['$version'] == 100000 and objs[0] == '$null'
cls = deref(root['$class'])
assert cls['$classname'] == 'TestChild', cls
assert cls['$classes'] == ['TestChild', 'TestThing', 'KWOObject', 'NSObject'], cls
assert root['_weight'] == -2.25 and root['_flag'] is True and root['_coded'] == 123456
assert objs[root['_count'].data] == -2000000000
assert objs[root['_small'].data] == -32768
assert objs[root['_label'].data] == 'label \u2713'
ms = objs[root['_shared_label'].data]
assert ms['NS.string'] == 'shared' and objs[ms['$class'].data]['$classname'] == 'NSMutableString'
other = objs[root['_other'].data]
assert objs[other['$class'].data]['$classname'] == 'TestThing'
when = objs[root['_when'].data]
assert when['NS.time'] == 265557792.25
ext = objs[root['_extras'].data]
keys = [objs[u.data] for u in ext['NS.keys']]
assert keys == ['bytes', 'yes'], keys
assert '_blob' not in root
print('ok')
)PY"), "ok\n");
}
