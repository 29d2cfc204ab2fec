// Shared test helpers: archive round trips and running Python's plistlib
// over a saved file.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/run_cli.hpp"
#include "zeva/platform/KeyedArchive.hpp"

namespace zeva::test {

template <class T>
Ref<T> roundTrip(const ObjectRef& root) {
    std::string error;
    auto bytes = archivedDataWithRootObject(root, &error);
    EXPECT_TRUE(bytes) << error;
    if (!bytes) return nullptr;
    auto back = unarchiveObjectWithData(bytes->data(), bytes->size(), &error);
    EXPECT_TRUE(back) << error;
    auto typed = std::dynamic_pointer_cast<T>(back);
    EXPECT_TRUE(typed || !back) << "restored object is a " << back->className();
    return typed;
}

// Saves the object, runs the Python body with `objs` (the $objects list),
// `root` (the root object's dictionary) and `deref(x)` (the object a UID
// names) defined, and answers what it printed ("" and a failure when Python
// failed). Skips when no python3 was found.
inline std::string plistlibCheck(const ObjectRef& root, const std::string& body) {
    if (std::string(ZEVA_PYTHON).empty()) {
        ADD_FAILURE() << "python3 not found at configure time";
        return "";
    }
    namespace fs = std::filesystem;
    auto dir = fs::temp_directory_path() / ("zeva-plistlib-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    auto archive = dir / "object.archive";
    auto script = dir / "check.py";
    if (!archiveRootObjectToFile(root, archive.string())) {
        ADD_FAILURE() << "could not save the archive";
        return "";
    }
    std::ofstream(script) << "import plistlib, sys\n"
                             "a = plistlib.load(open(sys.argv[1], 'rb'))\n"
                             "assert a['$archiver'] == 'NSKeyedArchiver'\n"
                             "objs = a['$objects']\n"
                             "def deref(u): return objs[u.data]\n"
                             "root = deref(a['$top']['root'])\n"
                             "def classname(o): return deref(o['$class'])['$classname']\n"
                          << body << "\n";
    auto run = runCommand(std::string(ZEVA_PYTHON) + " " + script.string() + " " + archive.string() + " 2>&1");
    EXPECT_EQ(run.status, 0) << run.out;
    fs::remove_all(dir);
    return run.out;
}

}  // namespace zeva::test
