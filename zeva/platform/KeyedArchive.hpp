// Keyed archives in the layout of NSKeyedArchiver: a property list with
// "$archiver" = "NSKeyedArchiver", "$version" = 100000, "$top" = {"root": UID}
// and "$objects", whose first entry is "$null". Every object is stored once
// and referred to by its index (a UID); model objects are dictionaries of
// their keys plus "$class", a reference to {"$classname", "$classes"}.
// Texts, numbers and byte buffers are stored as plain property-list values;
// mutable texts, arrays, dictionaries and dates under their platform names
// (NSMutableString "NS.string", NSArray "NS.objects", NSDictionary "NS.keys"
// and "NS.objects", NSDate "NS.time" in seconds since 2001-01-01).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zeva/platform/Object.hpp"

namespace zeva {

// The archive as a binary property list, or nullopt with the reason in *error
// (an object that cannot be archived).
std::optional<std::vector<uint8_t>> archivedDataWithRootObject(const ObjectRef& root, std::string* error = nullptr);

// Archives the object to the file atomically; false when the archive could
// not be made or the file not written.
bool archiveRootObjectToFile(const ObjectRef& root, const std::string& path);

// Restores the root object of an archive held as a binary or XML property
// list. On failure answers null with a one-line reason in *error: a file that
// is not a property list or not a keyed archive, a reference outside the
// archive, a value of the wrong type under a key, or a class that is not
// registered. Only registered classes are instantiated. Platform values are
// read in the forms other archivers write too: plain property-list dates,
// data, texts and numbers, texts as "NS.bytes", references as {"CF$UID": n}.
//
// Any graph the archiver saves restores, however deep. An object exists
// before its fields are read, so a reference back to it (a cycle) finds it: a
// restored cycle is a cycle of counted references, which the caller must
// break (set one of its references to null) for it to be freed. A chain
// nested a hundred thousand deep is freed by recursive destructors, so the
// caller releases such a chain from its top, link by link.
ObjectRef unarchiveObjectWithData(const uint8_t* bytes, size_t length, std::string* error = nullptr);
// The file's errors name the file: "path: reason".
ObjectRef unarchiveObjectWithFile(const std::string& path, std::string* error = nullptr);

// Makes every object reachable from `root` let go of its members (a model
// object's object fields set to null, arrays and dictionaries emptied), so
// that a restored graph with cycles is freed when its last outside
// reference goes. Without recursion, however deep the graph.
void releaseGraph(const ObjectRef& root);

// What an object holds, as an archive would store it: an array's items (with
// empty keys), a dictionary's values under their keys, the objects a model
// object encodes under theirs. Null members are left out.
std::vector<std::pair<std::string, ObjectRef>> archivedMembers(const Object& object);

}  // namespace zeva
