// Feeds arbitrary bytes (binary or XML property lists) to the keyed-archive
// reader. Whatever it accepts must save again, and the saved archive must
// restore to an object graph with the same description, cycles included
// (an object met again on its own path is written as a cycle mark). Both
// descriptions are written up to 1 MiB: a graph that shares objects along a
// long chain can have a text exponentially larger than the archive, and is
// compared only when both texts fit. Restored cycles are broken before the
// graph is dropped, as a host must.
//
// One difference is by design: a time restored without a date keeps its
// text as archived ("2026-11-23 14:08:26 +0000"), and the date derived from
// it is archived with it; restored again, the date leads and writes the text
// in ISO form ("2026-11-23T14:08:26.0000Z"), the same instant. Descriptions
// are compared with every such text written as the ISO text of its instant.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "zeva/core/KWOObject.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/Description.hpp"
#include "zeva/platform/KeyedArchive.hpp"
#include "zeva/platform/Text.hpp"
#include "zeva/time/ZEVATime.hpp"

namespace {

using zeva::ObjectRef;

constexpr size_t kDescriptionLimit = size_t{1} << 20;

struct Shape {
    bool cyclic = false;
    size_t models = 0;  // model objects, each stored once
};

// Depth-first without recursion: the graph may nest as deep as the input is long.
Shape shapeOf(const ObjectRef& root) {
    Shape s;
    enum State { Open, Done };
    std::unordered_map<const zeva::Object*, State> state;
    struct Frame {
        ObjectRef object;
        std::vector<std::pair<std::string, ObjectRef>> children;
        size_t next = 0;
    };
    std::vector<Frame> stack;
    auto enter = [&](const ObjectRef& o) {
        state[o.get()] = Open;
        if (std::dynamic_pointer_cast<KWOObject>(o)) s.models++;
        stack.push_back({o, zeva::archivedMembers(*o)});
    };
    enter(root);
    while (!stack.empty()) {
        Frame& f = stack.back();
        if (f.next < f.children.size()) {
            ObjectRef child = f.children[f.next++].second;
            auto at = state.find(child.get());
            if (at == state.end()) enter(child);
            else if (at->second == Open) s.cyclic = true;
            continue;
        }
        state[f.object.get()] = Done;
        stack.pop_back();
    }
    return s;
}

// Default descriptions carry the object's address; restored objects live elsewhere.
std::string withoutAddresses(std::string text) {
    size_t at = 0;
    while ((at = text.find("0x", at)) != std::string::npos) {
        size_t end = at + 2;
        while (end < text.size() && std::isxdigit(static_cast<unsigned char>(text[end]))) end++;
        text.erase(at + 2, end - at - 2);
        at += 2;
    }
    return text;
}

// Every text of the spaced form, "YYYY-MM-DD HH:MM:SS" with what follows
// it up to a blank (or with a zone offset " +HHMM"), as the ISO text of the
// instant a time reads from it; a text no time reads stays.
std::string withTimesInIsoForm(const std::string& text) {
    auto spacedAt = [&](size_t i) {
        static constexpr char kShape[] = "dddd-dd-dd dd:dd:dd";
        if (i + 19 > text.size()) return false;
        for (size_t k = 0; k < 19; ++k)
            if (kShape[k] == 'd' ? !std::isdigit(static_cast<unsigned char>(text[i + k])) : text[i + k] != kShape[k])
                return false;
        return true;
    };
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (!spacedAt(i)) {
            out += text[i++];
            continue;
        }
        size_t end = i + 19;
        if (end + 6 <= text.size() && text[end] == ' ' && (text[end + 1] == '+' || text[end + 1] == '-')) end += 6;
        while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end]))) end++;
        std::string token = text.substr(i, end - i);
        auto reader = ZEVATime::create(), writer = ZEVATime::create();
        reader->set_date_time(zeva::str(token));
        if (reader->nsDate()) writer->setNsDate(reader->nsDate());
        out += reader->nsDate() && writer->nsDate() == reader->nsDate() ? writer->description() : token;
        i = end;
    }
    return out;
}

[[noreturn]] void fail(const char* what, const std::string& detail) {
    std::fprintf(stderr, "archive_fuzz: %s: %s\n", what, detail.c_str());
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string error;
    ObjectRef root = zeva::unarchiveObjectWithData(data, size, &error);
    if (!root) return 0;

    Shape shape = shapeOf(root);
    auto bytes = zeva::archivedDataWithRootObject(root, &error);
    if (!bytes) fail("an accepted archive does not save again", error);
    ObjectRef again = zeva::unarchiveObjectWithData(bytes->data(), bytes->size(), &error);
    if (!again) fail("a saved archive does not restore", error);

    Shape againShape = shapeOf(again);
    if (againShape.models != shape.models || againShape.cyclic != shape.cyclic)
        fail("the restored graph has another shape", std::to_string(shape.models) + " model objects before, " +
                                                         std::to_string(againShape.models) + " after");
    auto before = zeva::describeGraph(*root, kDescriptionLimit);
    auto after = zeva::describeGraph(*again, kDescriptionLimit);
    if (before && after) {
        std::string a = withTimesInIsoForm(withoutAddresses(*before));
        std::string b = withTimesInIsoForm(withoutAddresses(*after));
        if (a != b) fail("the restored graph describes itself differently", a + "\n---\n" + b);
    }
    if (shape.cyclic) {
        zeva::releaseGraph(root);
        zeva::releaseGraph(again);
    }
    return 0;
}
