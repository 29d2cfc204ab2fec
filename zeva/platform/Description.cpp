#include "zeva/platform/Description.hpp"

#include <cstring>
#include <random>
#include <unordered_set>
#include <vector>

#include <fmt/format.h>

namespace zeva {

namespace {

// A mark: two bytes no UTF-8 text holds, the writer's key and the member's
// number. The key is random per process and counts up per writer, so a text
// from outside (an archived string) cannot pass for a mark.
constexpr size_t kKeyAt = 2, kNumberAt = 10, kMarkLength = 14;

uint64_t nextKey() {
    static const uint64_t base = [] {
        std::random_device device;
        return (uint64_t{device()} << 32) ^ device();
    }();
    static thread_local uint64_t counter = 0;
    return base + 0x9E3779B97F4A7C15ull * ++counter;
}

struct Placed {
    std::shared_ptr<const Object> object;
    bool indented = false;
};

class Writer {
public:
    explicit Writer(size_t limit) : limit_(limit), key_(nextKey()) {}

    std::optional<std::string> write(const Object& root) {
        Writer* outer = active_;
        active_ = this;
        try {
            run(root);
        } catch (...) {
            active_ = outer;
            throw;
        }
        active_ = outer;
        if (over_) return std::nullopt;
        return std::move(out_);
    }

    // The text written so far (after a refusal: up to about the limit).
    std::string& partial() { return out_; }

    static Writer* active() { return active_; }

    std::string mark(const std::shared_ptr<const Object>& object, bool indented) {
        std::string m(kMarkLength, '\0');
        m[0] = '\xFF';
        m[1] = '\xFE';
        std::memcpy(m.data() + kKeyAt, &key_, 8);
        auto number = static_cast<uint32_t>(placed_.size());
        std::memcpy(m.data() + kNumberAt, &number, 4);
        placed_.push_back({object, indented});
        return m;
    }

private:
    struct Frame {
        std::string text;
        size_t at = 0;
        std::vector<Placed> members;
        const Object* object = nullptr;
        std::shared_ptr<const Object> keep;
        size_t indent = 0;
    };

    void run(const Object& root) {
        enter(root, nullptr, 0);
        while (!stack_.empty() && !over_) {
            Frame& f = stack_.back();
            size_t number = 0;
            size_t markAt = nextMark(f, number);
            put(std::string_view(f.text).substr(f.at, markAt - f.at), f.indent);
            if (markAt == f.text.size()) {
                path_.erase(f.object);
                stack_.pop_back();
                continue;
            }
            f.at = markAt + kMarkLength;
            Placed member = std::move(f.members[number]);
            size_t indent = f.indent + (member.indented ? 1 : 0);
            const Object& object = *member.object;
            enter(object, std::move(member.object), indent);  // may move the frames
        }
    }

    // Writes the object's text, or its cycle mark when it is already on the path.
    void enter(const Object& object, std::shared_ptr<const Object> keep, size_t indent) {
        if (++entered_ > limit_) {
            over_ = true;
            return;
        }
        if (!path_.insert(&object).second) {
            put(fmt::format("<{}: cycle>", object.className()), indent);
            return;
        }
        placed_.clear();
        Frame f;
        f.text = object.description();
        f.members = std::move(placed_);
        placed_.clear();
        f.object = &object;
        f.keep = std::move(keep);
        f.indent = indent;
        stack_.push_back(std::move(f));
    }

    // The next mark of this writer in the frame's text that names a member
    // not yet written; the text's end when there is none.
    size_t nextMark(Frame& f, size_t& number) const {
        const std::string& t = f.text;
        for (size_t i = f.at; i + kMarkLength <= t.size(); ++i) {
            const void* found = std::memchr(t.data() + i, '\xFF', t.size() - i);
            if (!found) break;
            i = static_cast<size_t>(static_cast<const char*>(found) - t.data());
            if (i + kMarkLength > t.size()) break;
            if (t[i + 1] != '\xFE' || std::memcmp(t.data() + i + kKeyAt, &key_, 8) != 0) continue;
            uint32_t n = 0;
            std::memcpy(&n, t.data() + i + kNumberAt, 4);
            if (n < f.members.size() && f.members[n].object) {
                number = n;
                return i;
            }
        }
        return t.size();
    }

    // Appends text, each line it breaks onto indented by four blanks a level.
    void put(std::string_view text, size_t indent) {
        while (!text.empty() && !over_) {
            size_t nl = text.find('\n');
            size_t n = nl == std::string_view::npos ? text.size() : nl + 1;
            if (out_.size() + n > limit_) {
                over_ = true;
                break;
            }
            out_.append(text.data(), n);
            text.remove_prefix(n);
            if (nl == std::string_view::npos) break;
            if (out_.size() + 4 * indent > limit_) {
                over_ = true;
                break;
            }
            out_.append(4 * indent, ' ');
        }
    }

    static thread_local Writer* active_;

    size_t limit_;
    uint64_t key_;
    std::string out_;
    std::vector<Frame> stack_;
    std::vector<Placed> placed_;  // members placed by the description being read
    std::unordered_set<const Object*> path_;
    size_t entered_ = 0;
    bool over_ = false;
};

thread_local Writer* Writer::active_ = nullptr;

}  // namespace

std::optional<std::string> describeGraph(const Object& root, size_t limit) {
    Writer writer(limit);
    return writer.write(root);
}

namespace detail {

bool writingDescription() { return Writer::active() != nullptr; }

std::string placedDescription(const std::shared_ptr<const Object>& object, bool indented) {
    if (!object) return "(null)";
    if (Writer* w = Writer::active()) return w->mark(object, indented);
    return describeOrCut(*object);
}

std::string describeOrCut(const Object& root) {
    Writer writer(kDescriptionLimit);
    if (auto text = writer.write(root)) return std::move(*text);
    std::string cut = std::move(writer.partial());
    cut += fmt::format("\n(description cut: longer than {} bytes)", kDescriptionLimit);
    return cut;
}

}  // namespace detail
}  // namespace zeva
