#include "zeva/platform/HTMLText.hpp"

#include <libxml/HTMLparser.h>
#include <unicode/ucnv.h>
#include <unicode/unistr.h>

#include <climits>
#include <memory>
#include <string>

#include "zeva/platform/Text.hpp"

namespace zeva {

namespace {

// The page is read as a stream of tags and text, never as a tree: what a tag
// does to the text (a line break, a tab, preformatting, hiding) is known from
// its name alone, and the few states that span tags (inside <pre>, inside
// <template>) are counters. However deep the tags nest, every piece of text
// is kept, in time and memory proportional to the page, and the text stays
// proportional to the page too (a tag adds at most one line break or tab).

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

bool equalsIgnoringCase(std::string_view a, std::string_view lowerCase) {
    if (a.size() != lowerCase.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (lower(a[i]) != lowerCase[i]) return false;
    return true;
}

bool nameIn(std::string_view name, std::initializer_list<std::string_view> names) {
    for (std::string_view n : names)
        if (equalsIgnoringCase(name, n)) return true;
    return false;
}

bool isBlock(std::string_view name) {
    return nameIn(name, {"address", "article", "aside", "blockquote", "caption", "center", "dd",      "details",
                         "dialog",  "div",     "dl",    "dt",         "fieldset", "figcaption", "figure", "footer",
                         "form",    "h1",      "h2",    "h3",         "h4",       "h5",     "h6",      "header",
                         "hgroup",  "hr",      "li",    "main",       "nav",      "ol",     "p",       "pre",
                         "section", "summary", "table", "thead",      "tbody",    "tfoot",  "tr",      "title",
                         "ul",      "body",    "head",  "html",       "menu",     "legend", "listing", "xmp",
                         "textarea", "plaintext"});
}

// Elements whose content is not markup but runs to their end tag: hidden
// ones (scripts, styles) and ones shown as they are written.
enum class Raw { None, Hidden, Shown, ShownWithEntities, ToTheEnd };

Raw rawKind(std::string_view name) {
    if (nameIn(name, {"script", "style", "noframes"})) return Raw::Hidden;
    if (nameIn(name, {"xmp"})) return Raw::Shown;
    if (nameIn(name, {"textarea"})) return Raw::ShownWithEntities;
    if (nameIn(name, {"plaintext"})) return Raw::ToTheEnd;
    return Raw::None;
}

// A character of the page; NUL and what is no character read as U+FFFD.
void appendCharacter(std::string& out, uint32_t code) {
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
    appendUtf8(out, code);
}

// The character an entity at s[at] ("&amp;", "&#233;", "&#xE9;") stands for,
// as UTF-8, and where the text after it starts; nothing when s[at] does not
// start a known entity (the "&" is then text).
bool decodeEntity(std::string_view s, size_t at, std::string& decoded, size_t& next) {
    size_t i = at + 1;
    if (i < s.size() && s[i] == '#') {
        ++i;
        const bool hex = i < s.size() && (s[i] == 'x' || s[i] == 'X');
        if (hex) ++i;
        const size_t digits = i;
        uint32_t code = 0;
        for (; i < s.size(); ++i) {
            const char c = s[i];
            int d = c >= '0' && c <= '9' ? c - '0' : -1;
            if (hex && d < 0) d = lower(c) >= 'a' && lower(c) <= 'f' ? lower(c) - 'a' + 10 : -1;
            if (d < 0) break;
            // Past the last code point the value no longer matters (and must not overflow).
            code = code > 0x10FFFF ? code : code * (hex ? 16 : 10) + static_cast<uint32_t>(d);
        }
        if (i == digits) return false;
        if (i < s.size() && s[i] == ';') ++i;
        appendCharacter(decoded, code);
        next = i;
        return true;
    }
    const size_t name = i;
    while (i < s.size() && i - name <= 32 && (isAlpha(s[i]) || (s[i] >= '0' && s[i] <= '9'))) ++i;
    if (i == name || i >= s.size() || s[i] != ';') return false;
    const std::string entity(s.substr(name, i - name));
    const htmlEntityDesc* desc = htmlEntityLookup(reinterpret_cast<const xmlChar*>(entity.c_str()));
    if (!desc) return false;
    appendCharacter(decoded, desc->value);
    next = i + 1;
    return true;
}

class Renderer {
public:
    void run(std::string_view s) {
        size_t i = 0;
        while (i < s.size()) {
            if (s[i] == '<') {
                i = markup(s, i);
            } else if (s[i] == '&') {
                i = entity(s, i);
            } else {
                size_t j = s.find_first_of("<&", i);
                if (j == std::string_view::npos) j = s.size();
                text(s.substr(i, j - i));
                i = j;
            }
        }
    }

    std::string finish() {
        while (!out_.empty() && (out_.back() == '\n' || out_.back() == ' ' || out_.back() == '\t')) out_.pop_back();
        return std::move(out_);
    }

private:
    bool atLineStart() const { return out_.empty() || out_.back() == '\n'; }

    void endLine() {
        if (!atLineStart()) out_ += '\n';
        pendingSpace_ = false;
    }

    size_t entity(std::string_view s, size_t at) {
        std::string decoded;
        size_t next = at + 1;
        if (!decodeEntity(s, at, decoded, next)) decoded = "&";
        text(decoded);
        return next;
    }

    // The tag, comment or declaration at s[at] ("<"); answers where the text
    // after it starts.
    size_t markup(std::string_view s, size_t at) {
        auto skipPast = [&](std::string_view end, size_t from) {
            size_t found = s.find(end, from);
            return found == std::string_view::npos ? s.size() : found + end.size();
        };
        std::string_view rest = s.substr(at);
        if (rest.starts_with("<!--")) return skipPast("-->", at + 4);
        if (rest.starts_with("<!") || rest.starts_with("<?")) return skipPast(">", at + 2);
        const bool closing = rest.starts_with("</");
        size_t i = at + (closing ? 2 : 1);
        if (i >= s.size() || !isAlpha(s[i])) {
            if (closing) return skipPast(">", i);  // "</>" and "</ x>" show nothing
            text("<");                             // "a < b": the "<" is text
            return at + 1;
        }
        const size_t nameStart = i;
        while (i < s.size() && !isSpace(s[i]) && s[i] != '/' && s[i] != '>') ++i;
        const std::string_view name = s.substr(nameStart, i - nameStart);
        // Attributes, whose quoted values may hold a ">".
        char quote = 0;
        for (; i < s.size(); ++i) {
            const char c = s[i];
            if (quote) {
                if (c == quote) quote = 0;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>') {
                break;
            }
        }
        // A tag still open at the end of the page is not shown.
        const size_t after = i < s.size() ? i + 1 : s.size();
        if (closing) {
            endTag(name);
            return after;
        }
        startTag(name);
        const Raw kind = rawKind(name);
        if (kind == Raw::None) return after;
        if (kind == Raw::ToTheEnd) {
            verbatim(s.substr(after), false);
            return s.size();
        }
        const size_t end = rawEnd(s, after, lowered(name));
        if (kind != Raw::Hidden) verbatim(s.substr(after, end - after), kind == Raw::ShownWithEntities);
        if (end < s.size()) return markup(s, end);  // its end tag
        return end;
    }

    // Where the end tag of a raw element starts, or the end of the page.
    static size_t rawEnd(std::string_view s, size_t from, const std::string& name) {
        for (size_t at = s.find("</", from); at != std::string_view::npos; at = s.find("</", at + 2)) {
            const size_t after = at + 2 + name.size();
            if (after <= s.size() && equalsIgnoringCase(s.substr(at + 2, name.size()), name) &&
                (after == s.size() || isSpace(s[after]) || s[after] == '/' || s[after] == '>'))
                return at;
        }
        return s.size();
    }

    static std::string lowered(std::string_view name) {
        std::string out(name);
        for (char& c : out) c = lower(c);
        return out;
    }

    // Content shown as written, line breaks and blanks included.
    void verbatim(std::string_view content, bool entities) {
        if (hiddenDepth_ > 0) return;
        ++preDepth_;
        dropLeadingLineFeed_ = true;
        if (!entities) {
            text(content);
        } else {
            for (size_t i = 0; i < content.size();) {
                size_t j = content.find('&', i);
                if (j == std::string_view::npos) j = content.size();
                text(content.substr(i, j - i));
                i = j < content.size() ? entity(content, j) : j;
            }
        }
        --preDepth_;
        dropLeadingLineFeed_ = false;
    }

    void startTag(std::string_view name) {
        if (equalsIgnoringCase(name, "template")) {
            ++hiddenDepth_;
            return;
        }
        if (hiddenDepth_ > 0) return;
        if (equalsIgnoringCase(name, "br")) {
            out_ += '\n';
            pendingSpace_ = false;
            return;
        }
        if (isBlock(name)) endLine();
        if (nameIn(name, {"td", "th"}) && !atLineStart()) {
            out_ += '\t';
            pendingSpace_ = false;
        }
        if (nameIn(name, {"pre", "listing"})) {
            // As in a browser, a line feed right after the opening tag is not shown.
            if (preDepth_ == 0) dropLeadingLineFeed_ = true;
            ++preDepth_;
        }
    }

    void endTag(std::string_view name) {
        if (equalsIgnoringCase(name, "template")) {
            if (hiddenDepth_ > 0) --hiddenDepth_;
            return;
        }
        if (hiddenDepth_ > 0) return;
        if (nameIn(name, {"pre", "listing"}) && preDepth_ > 0) --preDepth_;
        dropLeadingLineFeed_ = false;
        if (isBlock(name)) endLine();
    }

    void text(std::string_view s) {
        if (hiddenDepth_ > 0) return;
        const bool pre = preDepth_ > 0;
        for (size_t i = 0; i < s.size(); ++i) {
            const char c = s[i];
            if (c == '\xC2' && i + 1 < s.size() && s[i + 1] == '\xA0') {  // no-break space
                flushSpace();
                out_ += ' ';
                ++i;
                continue;
            }
            if (pre) {
                if (!(dropLeadingLineFeed_ && c == '\n')) out_ += c;
                dropLeadingLineFeed_ = false;
                continue;
            }
            if (isSpace(c)) {
                if (!atLineStart() && out_.back() != '\t') pendingSpace_ = true;
                continue;
            }
            flushSpace();
            out_ += c;
        }
    }

    void flushSpace() {
        if (pendingSpace_ && !atLineStart()) out_ += ' ';
        pendingSpace_ = false;
    }

    std::string out_;
    bool pendingSpace_ = false;
    bool dropLeadingLineFeed_ = false;
    size_t preDepth_ = 0;     // open <pre> and <listing> elements
    size_t hiddenDepth_ = 0;  // open <template> elements
};

// The character set a <meta> tag declares ("charset=iso-8859-1"), or "".
std::string declaredCharset(std::string_view html) {
    for (size_t at = html.find('<'); at != std::string_view::npos; at = html.find('<', at + 1)) {
        if (!equalsIgnoringCase(html.substr(at + 1, 4), "meta")) continue;
        // The tag ends at its ">", or where the next one starts (so that
        // unclosed tags cannot make the search quadratic).
        const size_t end = std::min(html.find_first_of("<>", at + 1), html.size());
        const std::string_view tag = html.substr(at, end - at);
        for (size_t i = 0; i + 7 <= tag.size(); ++i) {
            if (!equalsIgnoringCase(tag.substr(i, 7), "charset")) continue;
            size_t j = i + 7;
            while (j < tag.size() && isSpace(tag[j])) ++j;
            if (j >= tag.size() || tag[j] != '=') continue;
            ++j;
            while (j < tag.size() && (isSpace(tag[j]) || tag[j] == '"' || tag[j] == '\'')) ++j;
            const size_t start = j;
            while (j < tag.size() && (isAlpha(tag[j]) || (tag[j] >= '0' && tag[j] <= '9') || tag[j] == '-' ||
                                      tag[j] == '_' || tag[j] == '.' || tag[j] == ':'))
                ++j;
            if (j > start) return std::string(tag.substr(start, j - start));
        }
    }
    return {};
}

bool isValidUTF8(std::string_view s) {
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t extra = 0;
        uint32_t least = 0;
        if ((c & 0xE0) == 0xC0) extra = 1, least = 0x80;
        else if ((c & 0xF0) == 0xE0) extra = 2, least = 0x800;
        else if ((c & 0xF8) == 0xF0) extra = 3, least = 0x10000;
        else return false;
        if (s.size() - i <= extra) return false;
        uint32_t code = c & (0x3Fu >> extra);
        for (size_t k = 1; k <= extra; ++k) {
            const auto b = static_cast<unsigned char>(s[i + k]);
            if ((b & 0xC0) != 0x80) return false;
            code = (code << 6) | (b & 0x3Fu);
        }
        if (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        i += extra + 1;
    }
    return true;
}

// The page as UTF-8: in the character set it declares when that is known,
// else as UTF-8 when it is valid UTF-8, else as ISO-8859-1.
std::string pageAsUTF8(std::string_view html) {
    const std::string charset = declaredCharset(html);
    if (!charset.empty() && !equalsIgnoringCase(charset, "utf-8") && !equalsIgnoringCase(charset, "utf8") &&
        html.size() <= static_cast<size_t>(INT32_MAX)) {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<UConverter, void (*)(UConverter*)> converter(ucnv_open(charset.c_str(), &status), ucnv_close);
        if (U_SUCCESS(status) && converter) {
            icu::UnicodeString text(html.data(), static_cast<int32_t>(html.size()), converter.get(), status);
            if (U_SUCCESS(status)) {
                std::string out;
                text.toUTF8String(out);
                return out;
            }
        }
    }
    if (isValidUTF8(html)) return std::string(html);
    std::string out;
    out.reserve(html.size() * 2);
    for (char c : html) appendCharacter(out, static_cast<unsigned char>(c));
    return out;
}

}  // namespace

Ref<String> plainTextFromHTML(std::string_view html) {
    std::string page = pageAsUTF8(html);
    std::string_view s(page);
    if (s.starts_with("\xEF\xBB\xBF")) s.remove_prefix(3);  // byte order mark
    Renderer renderer;
    renderer.run(s);
    return std::make_shared<String>(renderer.finish());
}

}  // namespace zeva
