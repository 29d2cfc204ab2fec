// Writing the description of an object graph. Descriptions nest: an object's
// text places its members' texts ("%@"), an array's and a dictionary's
// elements one level further in. The writer never recurses on the machine
// stack: while it runs, a placed member is a mark in its holder's text, and
// the writer replaces each mark by the member's text from a work list,
// indenting as it goes, so the time is linear in the text written. An
// object met again on the path from the root (a cycle) is written as
// "<ZEVAStage: cycle>" instead of its text.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "zeva/platform/Object.hpp"

namespace zeva {

// The most a description may hold: 64 MiB.
inline constexpr size_t kDescriptionLimit = size_t{64} << 20;

// The description of the graph from `root`, or nullopt when it would be
// longer than `limit` bytes (each object written counts at least one byte, so
// the work is bounded as well). A graph nested 100,000 deep or sharing one
// object along a long chain can have a text far beyond its own size.
std::optional<std::string> describeGraph(const Object& root, size_t limit = kDescriptionLimit);

namespace detail {

// True while a description is being written on this thread.
bool writingDescription();
// What "%@" places. While a description is written: a mark the writer
// replaces by the object's text (its lines `indented` one level further).
// Otherwise the object's whole description, from describeOrCut.
std::string placedDescription(const std::shared_ptr<const Object>& object, bool indented = false);
// describeGraph at the default limit; a longer text is cut there and ends
// with a line saying so.
std::string describeOrCut(const Object& root);

}  // namespace detail
}  // namespace zeva
