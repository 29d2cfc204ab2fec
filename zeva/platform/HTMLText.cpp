#include "zeva/platform/HTMLText.hpp"

#include <libxml/HTMLparser.h>
#include <libxml/tree.h>

#include <climits>
#include <cstring>
#include <string>

namespace zeva {

namespace {

bool nameIn(const xmlChar* name, std::initializer_list<const char*> names) {
    if (!name) return false;
    for (const char* n : names)
        if (xmlStrcasecmp(name, reinterpret_cast<const xmlChar*>(n)) == 0) return true;
    return false;
}

bool isHidden(const xmlChar* name) { return nameIn(name, {"script", "style", "template", "noframes"}); }

bool isBlock(const xmlChar* name) {
    return nameIn(name, {"address", "article", "aside", "blockquote", "caption", "center", "dd",      "details",
                         "dialog",  "div",     "dl",    "dt",         "fieldset", "figcaption", "figure", "footer",
                         "form",    "h1",      "h2",    "h3",         "h4",       "h5",     "h6",      "header",
                         "hgroup",  "hr",      "li",    "main",       "nav",      "ol",     "p",       "pre",
                         "section", "summary", "table", "thead",      "tbody",    "tfoot",  "tr",      "title",
                         "ul",      "body",    "head",  "html",       "menu",     "legend"});
}

class Renderer {
public:
    void walk(xmlNode* node, bool pre) {
        for (xmlNode* n = node; n; n = n->next) {
            if (n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) {
                if (n->content) text(reinterpret_cast<const char*>(n->content), pre);
            } else if (n->type == XML_ELEMENT_NODE) {
                element(n, pre);
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

    void element(xmlNode* n, bool pre) {
        const xmlChar* name = n->name;
        if (isHidden(name)) return;
        if (nameIn(name, {"br"})) {
            out_ += '\n';
            pendingSpace_ = false;
            return;
        }
        bool block = isBlock(name);
        if (block) endLine();
        if (nameIn(name, {"td", "th"}) && !atLineStart()) {
            out_ += '\t';
            pendingSpace_ = false;
        }
        bool preformatted = nameIn(name, {"pre", "textarea", "listing", "xmp", "plaintext"});
        // As in a browser, a line feed right after the opening tag is not shown.
        if (preformatted && !pre) dropLeadingLineFeed_ = true;
        walk(n->children, pre || preformatted);
        dropLeadingLineFeed_ = false;
        if (block) endLine();
    }

    void text(const char* s, bool pre) {
        size_t n = std::strlen(s);
        for (size_t i = 0; i < n; ++i) {
            char c = s[i];
            if (c == '\xC2' && i + 1 < n && s[i + 1] == '\xA0') {  // no-break space
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
            if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f') {
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
};

}  // namespace

Ref<String> plainTextFromHTML(std::string_view html) {
    if (html.empty() || html.size() > static_cast<size_t>(INT_MAX)) return str("");
    static const bool initialised = [] {
        xmlInitParser();
        return true;
    }();
    (void)initialised;
    htmlDocPtr doc = htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, nullptr,
                                    HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
    if (!doc) return str("");
    Renderer renderer;
    renderer.walk(xmlDocGetRootElement(doc), false);
    xmlFreeDoc(doc);
    return std::make_shared<String>(renderer.finish());
}

}  // namespace zeva
