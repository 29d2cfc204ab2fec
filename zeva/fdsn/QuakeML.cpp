#include "zeva/fdsn/QuakeML.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include <fmt/core.h>
#include <libxml/parser.h>
#include <libxml/xmlreader.h>

#include "zeva/inventory/StationXMLReader.hpp"
#include "zeva/platform/Date.hpp"

namespace zeva::quakeml {

namespace {

constexpr const char* kDoctypeRefused =
    "document type declarations are refused (no DTDs, entity expansion or external entities)";
constexpr std::string_view kQuakeMLNamespaces = "http://quakeml.org/xmlns/";
// No network, no DTD loading or entity substitution, default limits.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT;

const char* chars(const xmlChar* s) { return reinterpret_cast<const char*>(s); }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
std::string_view trim(std::string_view t) {
    while (!t.empty() && isBlank(t.front())) t.remove_prefix(1);
    while (!t.empty() && isBlank(t.back())) t.remove_suffix(1);
    return t;
}

// Watches the prolog of what the parser reads and stops at a document type
// declaration before the parser sees it.
struct Source {
    int fd = -1;
    bool inProlog = true;
    std::string tag;
    int line = 1;
    int doctypeLine = 0;
    int readError = 0;

    void watchProlog(const char* data, size_t n) {
        static constexpr std::string_view kDoctype = "<!DOCTYPE";
        for (size_t i = 0; i < n && inProlog; ++i) {
            char c = data[i];
            if (c == '\n') ++line;
            if (c == '<') {
                tag = "<";
                continue;
            }
            if (tag.empty()) continue;
            tag += c;
            if (tag.size() == 2 && c != '?' && c != '!') inProlog = false;
            else if (kDoctype.substr(0, tag.size()) != tag) tag.clear();
            else if (tag.size() == kDoctype.size()) doctypeLine = line, inProlog = false;
        }
    }
    static int read(void* context, char* buffer, int size) {
        auto* s = static_cast<Source*>(context);
        if (s->doctypeLine) return -1;
        ssize_t n = 0;
        do n = ::read(s->fd, buffer, static_cast<size_t>(size));
        while (n < 0 && errno == EINTR);
        if (n < 0) return s->readError = errno, -1;
        if (s->inProlog) s->watchProlog(buffer, static_cast<size_t>(n));
        return s->doctypeLine ? -1 : static_cast<int>(n);
    }
    static int close(void*) { return 0; }
};

struct Stop {
    Failure failure;
};

struct OriginRecord {
    std::string id, catalog, contributor, eventSource, dataSource, agency, author;
    double time = 0, latitude = 0, longitude = 0, depth = 0;
    bool hasTime = false, hasLatitude = false, hasLongitude = false, hasDepth = false;
    int line = 0;
};

struct MagnitudeRecord {
    std::string id, type, agency, author, dataSource;
    float value = 0;
    bool hasValue = false;
};

struct EventRecord {
    std::string id, preferredOrigin, preferredMagnitude, eventSource, eventId, dataSource;
    std::vector<OriginRecord> origins;
    std::vector<MagnitudeRecord> magnitudes;
    size_t originCount = 0, magnitudeCount = 0;  // records in use (the vectors are reused)
    int line = 0;
};

class Reader {
public:
    Reader(xmlTextReaderPtr r, const Source& source, Catalogue& into) : r_(r), source_(source), into_(into) {
        xmlTextReaderSetStructuredErrorHandler(r_, &Reader::onError, this);
    }
    void run();

private:
    static void onError(void* self, xmlErrorPtr error) {
        auto* reader = static_cast<Reader*>(self);
        if (!error || error->level < XML_ERR_ERROR || !reader->parserError_.message.empty()) return;
        std::string message = error->message ? error->message : "not well-formed";
        while (!message.empty() && isBlank(message.back())) message.pop_back();
        reader->parserError_ = {error->line, message};
    }
    [[noreturn]] void failFromParser() {
        if (source_.doctypeLine) throw Stop{{source_.doctypeLine, kDoctypeRefused}};
        if (source_.readError) throw Stop{{0, std::strerror(source_.readError)}};
        if (!parserError_.message.empty())
            throw Stop{{parserError_.line, "not well-formed XML: " + parserError_.message}};
        fail("not well-formed XML");
    }
    [[noreturn]] void fail(std::string message) { throw Stop{{line(), std::move(message)}}; }
    // The line of the node the reader stands on (the parser itself reads ahead).
    int line() {
        xmlNodePtr node = xmlTextReaderCurrentNode(r_);
        long at = node ? xmlGetLineNo(node) : -1;
        return at > 0 ? static_cast<int>(at) : xmlTextReaderGetParserLineNumber(r_);
    }
    bool quakemlNamespace(const xmlChar* ns) {
        if (ns == nullptr) return true;
        if (ns == lastNamespace_) return true;
        if (std::string_view(chars(ns)).substr(0, kQuakeMLNamespaces.size()) != kQuakeMLNamespaces) return false;
        lastNamespace_ = ns;
        return true;
    }

    void startElement();
    void endElement();
    void eventAttributes();
    template <class F>
    void eachAttribute(F&& take);
    double number(const char* what);
    void finishEvent();
    OriginRecord& origin() { return event_.origins[event_.originCount - 1]; }
    MagnitudeRecord& magnitude() { return event_.magnitudes[event_.magnitudeCount - 1]; }

    xmlTextReaderPtr r_;
    const Source& source_;
    Catalogue& into_;
    Failure parserError_;
    const xmlChar* lastNamespace_ = nullptr;
    bool sawRoot_ = false;
    int eventDepth_ = -1;  // depth of the open event element, -1 outside
    std::string path_;     // the element path inside the event ("origin/time/value")
    std::vector<size_t> pathLengths_;
    std::string text_;
    EventRecord event_;
};

template <class F>
void Reader::eachAttribute(F&& take) {
    if (xmlTextReaderHasAttributes(r_) != 1) return;
    while (xmlTextReaderMoveToNextAttribute(r_) == 1) {
        if (xmlTextReaderIsNamespaceDecl(r_) == 1) continue;
        const xmlChar* value = xmlTextReaderConstValue(r_);
        take(chars(xmlTextReaderConstLocalName(r_)), xmlTextReaderConstNamespaceUri(r_) != nullptr,
             value ? chars(value) : "");
    }
    xmlTextReaderMoveToElement(r_);
}

void Reader::run() {
    for (;;) {
        int rc = xmlTextReaderRead(r_);
        if (rc < 0) failFromParser();
        if (rc == 0) break;
        switch (xmlTextReaderNodeType(r_)) {
        case XML_READER_TYPE_ELEMENT:
            startElement();
            if (xmlTextReaderIsEmptyElement(r_) == 1) endElement();
            break;
        case XML_READER_TYPE_END_ELEMENT:
            endElement();
            break;
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA:
        case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
            if (eventDepth_ >= 0) text_ += chars(xmlTextReaderConstValue(r_));
            break;
        case XML_READER_TYPE_ENTITY_REFERENCE:
            fail("entity references are refused");
        case XML_READER_TYPE_DOCUMENT_TYPE:
            throw Stop{{line(), kDoctypeRefused}};
        default:
            break;
        }
    }
    if (!parserError_.message.empty() || source_.doctypeLine || source_.readError) failFromParser();
    if (!sawRoot_) fail("not a QuakeML document: no root element");
}

void Reader::startElement() {
    const char* name = chars(xmlTextReaderConstLocalName(r_));
    const xmlChar* ns = xmlTextReaderConstNamespaceUri(r_);
    if (!sawRoot_) {
        sawRoot_ = true;
        if (std::strcmp(name, "quakeml") != 0 || ns == nullptr || !quakemlNamespace(ns))
            fail(fmt::format("not a QuakeML document: the root element is {}",
                             chars(xmlTextReaderConstName(r_))));
        return;
    }
    if (eventDepth_ < 0) {
        if (std::strcmp(name, "event") == 0 && quakemlNamespace(ns)) {
            eventDepth_ = xmlTextReaderDepth(r_);
            event_.id.clear(), event_.preferredOrigin.clear(), event_.preferredMagnitude.clear();
            event_.eventSource.clear(), event_.eventId.clear(), event_.dataSource.clear();
            event_.originCount = event_.magnitudeCount = 0;
            event_.line = line();
            path_.clear();
            pathLengths_.clear();
            eventAttributes();
        }
        return;
    }
    pathLengths_.push_back(path_.size());
    if (!path_.empty()) path_ += '/';
    // Elements of other namespaces (a data centre's extensions) never match.
    if (!quakemlNamespace(ns)) path_ += '#';
    path_ += name;
    text_.clear();
    if (pathLengths_.size() != 1) return;
    if (path_ == "origin") {
        if (event_.originCount == event_.origins.size()) event_.origins.emplace_back();
        OriginRecord& o = event_.origins[event_.originCount++];
        o = OriginRecord{};
        o.line = line();
        eachAttribute([&](const char* attribute, bool namespaced, const char* value) {
            if (!namespaced && std::strcmp(attribute, "publicID") == 0) o.id = value;
            else if (namespaced && std::strcmp(attribute, "catalog") == 0) o.catalog = value;
            else if (namespaced && std::strcmp(attribute, "contributor") == 0) o.contributor = value;
            else if (namespaced && std::strcmp(attribute, "eventsource") == 0) o.eventSource = value;
            else if (namespaced && std::strcmp(attribute, "datasource") == 0) o.dataSource = value;
        });
    } else if (path_ == "magnitude") {
        if (event_.magnitudeCount == event_.magnitudes.size()) event_.magnitudes.emplace_back();
        MagnitudeRecord& m = event_.magnitudes[event_.magnitudeCount++];
        m = MagnitudeRecord{};
        eachAttribute([&](const char* attribute, bool namespaced, const char* value) {
            if (!namespaced && std::strcmp(attribute, "publicID") == 0) m.id = value;
            else if (namespaced && std::strcmp(attribute, "datasource") == 0) m.dataSource = value;
        });
    }
}

void Reader::eventAttributes() {
    eachAttribute([&](const char* attribute, bool namespaced, const char* value) {
        if (!namespaced && std::strcmp(attribute, "publicID") == 0) event_.id = value;
        else if (namespaced && std::strcmp(attribute, "eventsource") == 0) event_.eventSource = value;
        else if (namespaced && std::strcmp(attribute, "eventid") == 0) event_.eventId = value;
        else if (namespaced && std::strcmp(attribute, "datasource") == 0) event_.dataSource = value;
    });
}

double Reader::number(const char* what) {
    std::string_view t = trim(text_);
    if (t.size() > 1 && t[0] == '+' && t[1] != '-') t.remove_prefix(1);
    double value = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size() || !std::isfinite(value))
        fail(fmt::format("{}: not a number: '{}'", what, std::string(trim(text_))));
    return value;
}

void Reader::endElement() {
    if (eventDepth_ < 0) return;
    if (pathLengths_.empty()) {  // the event's own end
        finishEvent();
        eventDepth_ = -1;
        return;
    }
    std::string_view p = path_;
    if (p.starts_with("origin/") && event_.originCount) {
        OriginRecord& o = origin();
        if (p == "origin/time/value") {
            std::string_view t = trim(text_);
            if (!stationxml::parseInstant(t, &o.time) || !std::isfinite(o.time))
                fail(fmt::format("origin/time/value: not a time: '{}'", std::string(t)));
            o.hasTime = true;
        } else if (p == "origin/latitude/value") {
            o.latitude = number("origin/latitude/value"), o.hasLatitude = true;
            if (std::fabs(o.latitude) > 90) fail(fmt::format("origin/latitude/value: out of range: {}", o.latitude));
        } else if (p == "origin/longitude/value") {
            o.longitude = number("origin/longitude/value"), o.hasLongitude = true;
            if (std::fabs(o.longitude) > 360)
                fail(fmt::format("origin/longitude/value: out of range: {}", o.longitude));
        } else if (p == "origin/depth/value") {
            o.depth = number("origin/depth/value"), o.hasDepth = true;
        } else if (p == "origin/creationInfo/agencyID") {
            o.agency = trim(text_);
        } else if (p == "origin/creationInfo/author") {
            o.author = trim(text_);
        }
    } else if (p.starts_with("magnitude/") && event_.magnitudeCount) {
        MagnitudeRecord& m = magnitude();
        if (p == "magnitude/mag/value") {
            double v = number("magnitude/mag/value");
            m.value = static_cast<float>(v), m.hasValue = true;
        } else if (p == "magnitude/type") {
            m.type = trim(text_);
        } else if (p == "magnitude/creationInfo/agencyID") {
            m.agency = trim(text_);
        } else if (p == "magnitude/creationInfo/author") {
            m.author = trim(text_);
        }
    } else if (p == "preferredOriginID") {
        event_.preferredOrigin = trim(text_);
    } else if (p == "preferredMagnitudeID") {
        event_.preferredMagnitude = trim(text_);
    }
    path_.resize(pathLengths_.back());
    pathLengths_.pop_back();
}

Ref<String> textOrNull(const std::string& text) { return text.empty() ? nullptr : str(text); }
const std::string& firstOf(std::initializer_list<const std::string*> texts) {
    for (const std::string* t : texts)
        if (!t->empty()) return *t;
    return **(texts.end() - 1);
}

std::string eventIdentifier(const EventRecord& e) {
    if (!e.eventSource.empty() && !e.eventId.empty()) return e.eventSource + e.eventId;
    std::string lower = e.id;
    for (char& c : lower) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    size_t at = lower.find("eventid=");
    if (at != std::string::npos) {
        std::string_view rest = std::string_view(e.id).substr(at + 8);
        rest = rest.substr(0, rest.find('&'));
        if (!rest.empty()) return std::string(rest);
    }
    return e.id;
}

void Reader::finishEvent() {
    ++into_.events;
    if (event_.originCount == 0) {
        ++into_.eventsWithoutOrigin;
        return;
    }
    const OriginRecord* chosen = &event_.origins[0];
    for (size_t i = 0; i < event_.originCount; ++i)
        if (!event_.preferredOrigin.empty() && event_.origins[i].id == event_.preferredOrigin) chosen = &event_.origins[i];
    const OriginRecord& o = *chosen;
    auto missing = [&](const char* what) {
        throw Stop{{o.line, fmt::format("origin {}: no {}", o.id.empty() ? "(without publicID)" : o.id, what)}};
    };
    if (!o.hasTime) missing("time/value");
    if (!o.hasLatitude) missing("latitude/value");
    if (!o.hasLongitude) missing("longitude/value");

    auto origin = ZEVAOrigin::create();
    origin->setOriginTime(Date::dateWithTimeIntervalSince1970(o.time));
    origin->setLatitude(static_cast<float>(o.latitude));
    origin->setLongitude(static_cast<float>(o.longitude > 180 ? o.longitude - 360 : o.longitude));
    origin->setDepth(o.hasDepth ? static_cast<float>(o.depth / 1000.0) : 0.0f);
    const std::string& catalog = firstOf({&o.catalog, &o.eventSource, &event_.eventSource, &o.agency});
    const std::string& contributor =
        firstOf({&o.contributor, &o.dataSource, &event_.dataSource, &o.author, &o.agency});
    origin->set_catalog(textOrNull(catalog));
    origin->set_contributor(textOrNull(contributor));
    origin->set_id(textOrNull(eventIdentifier(event_)));

    // The preferred magnitude first, so that the table shows it.
    size_t preferred = event_.magnitudeCount;
    for (size_t i = 0; i < event_.magnitudeCount; ++i)
        if (!event_.preferredMagnitude.empty() && event_.magnitudes[i].id == event_.preferredMagnitude) preferred = i;
    auto add = [&](const MagnitudeRecord& m) {
        if (!m.hasValue) return;
        const std::string& by = firstOf({&m.author, &m.agency, &m.dataSource, &contributor});
        origin->addMagnitude_Type_Contrib(m.value, textOrNull(m.type), textOrNull(by));
    };
    if (preferred < event_.magnitudeCount) add(event_.magnitudes[preferred]);
    for (size_t i = 0; i < event_.magnitudeCount; ++i)
        if (i != preferred) add(event_.magnitudes[i]);
    origin->setFERegion();
    into_.origins->addObject(origin);
}

bool runReader(xmlTextReaderPtr reader, const Source& source, Catalogue* into, Failure* failure) {
    if (!reader) {
        if (failure) *failure = {0, "libxml2 could not start a reader"};
        return false;
    }
    bool ok = true;
    try {
        Reader document(reader, source, *into);
        document.run();
    } catch (Stop& stop) {
        if (failure) *failure = std::move(stop.failure);
        ok = false;
    }
    xmlFreeTextReader(reader);
    return ok;
}

}  // namespace

bool readFile(const std::string& path, Catalogue* into, Failure* failure) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (failure) *failure = {0, std::strerror(errno)};
        return false;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        if (failure) *failure = {0, S_ISDIR(info.st_mode) ? "is a directory" : std::strerror(errno)};
        ::close(fd);
        return false;
    }
    Source source;
    source.fd = fd;
    xmlTextReaderPtr reader = xmlReaderForIO(&Source::read, &Source::close, &source, path.c_str(), nullptr, kParseOptions);
    bool ok = runReader(reader, source, into, failure);
    ::close(fd);
    return ok;
}

bool readMemory(const char* bytes, size_t length, Catalogue* into, Failure* failure) {
    Source source;
    source.watchProlog(bytes, length);
    if (source.doctypeLine) {
        if (failure) *failure = {source.doctypeLine, kDoctypeRefused};
        return false;
    }
    if (length > static_cast<size_t>(INT32_MAX)) {
        if (failure) *failure = {0, "document larger than 2 GB"};
        return false;
    }
    xmlTextReaderPtr reader = xmlReaderForMemory(bytes, static_cast<int>(length), "memory", nullptr, kParseOptions);
    return runReader(reader, source, into, failure);
}

}  // namespace zeva::quakeml
