#include "zeva/inventory/StationXMLReader.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <charconv>
#include <cstring>
#include <set>

#include <fmt/core.h>
#include <libxml/parser.h>
#include <libxml/xmlreader.h>

namespace zeva::stationxml {

namespace {

constexpr const char* kStationNamespace = "http://www.fdsn.org/xml/station/1";
constexpr const char* kDoctypeRefused =
    "document type declarations are refused (no DTDs, entity expansion or external entities)";
constexpr const char* kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

// Options of every parse: no network, no DTD loading or entity substitution
// (neither XML_PARSE_NOENT nor XML_PARSE_DTDLOAD), default limits (no
// XML_PARSE_HUGE), blank text between elements dropped, line numbers beyond
// 65535 kept.
constexpr int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_BIG_LINES | XML_PARSE_COMPACT;

const char* chars(const xmlChar* s) { return reinterpret_cast<const char*>(s); }
bool is(const char* name, const char* literal) { return std::strcmp(name, literal) == 0; }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trim(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

// Digits at text[at, at + width) as a number, or -1.
int digits(std::string_view text, size_t at, size_t width) {
    if (at + width > text.size()) return -1;
    int value = 0;
    for (size_t i = at; i < at + width; ++i) {
        char c = text[i];
        if (c < '0' || c > '9') return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

int64_t daysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

bool leapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysInMonth(int year, int month) {
    static constexpr int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && leapYear(year) ? 29 : kLengths[month - 1];
}

// A file the parser reads through. The prolog (everything before the root
// element) is watched on the way in, and a document type declaration stops
// the reading before the parser sees it, so that no entity is ever declared.
// Documents in memory have their prolog looked at before parsing.
struct Source {
    int fd = -1;
    bool inProlog = true;
    std::string tag;  // the start of the markup being looked at, up to 9 bytes
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
            if (tag.size() == 2 && c != '?' && c != '!') inProlog = false;  // the root element
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

// Thrown inside the reader; the public functions turn it into a result.
struct Stop {
    Failure failure;
};

class DocumentReader {
public:
    DocumentReader(xmlTextReaderPtr reader, const Source& source, Builder& builder)
        : r_(reader), source_(source), builder_(builder) {
        xmlTextReaderSetStructuredErrorHandler(r_, &DocumentReader::onError, this);
    }

    void run();

private:
    static void onError(void* self, xmlErrorPtr error);

    // Fails at the line of the node the reader stands on.
    [[noreturn]] void fail(std::string message) { failAt(currentLine(), std::move(message)); }
    [[noreturn]] void failAt(int line, std::string message) { throw Stop{{line, std::move(message)}}; }
    // Fails with libxml2's own reason when it has one.
    [[noreturn]] void failFromParser();

    void next();
    int currentLine() {
        xmlNodePtr node = xmlTextReaderCurrentNode(r_);
        long line = node ? xmlGetLineNo(node) : -1;
        return line > 0 ? static_cast<int>(line) : 0;
    }
    // The node type, without the reader's mixed-content check for text.
    int nodeType() {
        xmlNodePtr node = xmlTextReaderCurrentNode(r_);
        if (node && (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE)) return XML_READER_TYPE_TEXT;
        return xmlTextReaderNodeType(r_);
    }
    const char* localName() { return chars(xmlTextReaderConstLocalName(r_)); }
    bool inDocumentNamespace() {
        const xmlChar* ns = xmlTextReaderConstNamespaceUri(r_);
        if (ns == nullptr || namespace_ == nullptr) return ns == namespace_;
        return ns == namespace_ || std::strcmp(chars(ns), chars(namespace_)) == 0;
    }
    void note(std::string_view parent, char separator, std::string_view name);

    template <class F>
    void attributes(const char* element, F&& take);
    template <class F>
    void children(const char* element, F&& take);
    void skip();
    std::string_view text(const char* element);
    void textInto(const char* element, std::string& out) { out.assign(text(element)); }

    double toNumber(std::string_view text, const char* element);
    long toInteger(std::string_view text, const char* element);
    long toCount(std::string_view text, const char* element);
    Instant toInstant(const char* value, const char* element, const char* attribute);
    void number(const char* element, Measure& out, bool withErrors);
    void units(const char* element, Units& out);
    void operatorAgency(const char* parent, std::string& agency);
    void comment(const char* parent, std::string& first);
    void equipment(const char* element, Equipment& out);

    void readNetwork();
    void readStation();
    void readChannel();
    void readResponse(Response& response);
    void readStage(Stage& stage);
    bool filterPart(const char* filter, const char* name, Stage& stage);
    void readPoleZero(const char* element, PoleZero& out);

    xmlTextReaderPtr r_;
    const Source& source_;
    Builder& builder_;
    const xmlChar* namespace_ = nullptr;  // the root element's namespace, or none
    Failure parserError_;
    std::string text_;
    std::set<std::string, std::less<>> noted_;
    std::string noteKey_;
    Channel channel_;
};

void DocumentReader::onError(void* self, xmlErrorPtr error) {
    auto* reader = static_cast<DocumentReader*>(self);
    if (error == nullptr || error->level < XML_ERR_ERROR || !reader->parserError_.message.empty()) return;
    std::string message = error->message ? error->message : "not well-formed";
    while (!message.empty() && isBlank(message.back())) message.pop_back();
    reader->parserError_ = {error->line, message};
}

void DocumentReader::failFromParser() {
    if (source_.doctypeLine != 0) throw Stop{{source_.doctypeLine, kDoctypeRefused}};
    if (source_.readError != 0) throw Stop{{0, std::strerror(source_.readError)}};
    if (!parserError_.message.empty())
        throw Stop{{parserError_.line, "not well-formed XML: " + parserError_.message}};
    fail("not well-formed XML");
}

void DocumentReader::next() {
    int rc = xmlTextReaderRead(r_);
    if (rc < 0) failFromParser();
    if (rc == 0) fail("the document ends inside an element");
}

void DocumentReader::note(std::string_view parent, char separator, std::string_view name) {
    noteKey_.assign(parent);
    noteKey_ += separator;
    noteKey_.append(name);
    if (noted_.find(noteKey_) != noted_.end()) return;
    noted_.insert(noteKey_);
    builder_.notKept(noteKey_);
}

// Calls take(name, value) for each attribute of the element the reader
// stands on; attributes it does not take are noted. Namespace declarations
// and the schema-instance attributes (xsi:schemaLocation) are not data.
template <class F>
void DocumentReader::attributes(const char* element, F&& take) {
    if (xmlTextReaderHasAttributes(r_) != 1) return;
    while (xmlTextReaderMoveToNextAttribute(r_) == 1) {
        if (xmlTextReaderIsNamespaceDecl(r_) == 1) continue;
        const xmlChar* ns = xmlTextReaderConstNamespaceUri(r_);
        if (ns != nullptr) {
            if (!is(chars(ns), kSchemaInstanceNamespace)) note(element, '@', chars(xmlTextReaderConstName(r_)));
            continue;
        }
        const char* name = localName();
        const xmlChar* value = xmlTextReaderConstValue(r_);
        if (!take(name, value ? chars(value) : "")) note(element, '@', name);
    }
    xmlTextReaderMoveToElement(r_);
}

// Walks the children of the element the reader stands on. take(name) is
// called with the reader on each child element of the document's namespace;
// it answers false for a child it does not read (which is then noted and
// skipped) or reads the child to its end. Returns with the reader on the
// element's end.
template <class F>
void DocumentReader::children(const char* element, F&& take) {
    if (xmlTextReaderIsEmptyElement(r_) == 1) return;
    const int depth = xmlTextReaderDepth(r_);
    for (;;) {
        next();
        switch (nodeType()) {
        case XML_READER_TYPE_ELEMENT: {
            const char* name = localName();
            bool ours = inDocumentNamespace();
            if (!ours || !take(name)) {
                note(element, '/', ours ? name : chars(xmlTextReaderConstName(r_)));
                skip();
            }
            break;
        }
        case XML_READER_TYPE_END_ELEMENT:
            if (xmlTextReaderDepth(r_) == depth) return;
            break;
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA:
            if (!trim(chars(xmlTextReaderConstValue(r_))).empty()) note(element, '/', "#text");
            break;
        case XML_READER_TYPE_ENTITY_REFERENCE:
            fail("entity references are refused");
        default:
            break;
        }
    }
}

void DocumentReader::skip() {
    if (xmlTextReaderIsEmptyElement(r_) == 1) return;
    const int depth = xmlTextReaderDepth(r_);
    for (;;) {
        next();
        int type = nodeType();
        if (type == XML_READER_TYPE_END_ELEMENT && xmlTextReaderDepth(r_) == depth) return;
        if (type == XML_READER_TYPE_ENTITY_REFERENCE) fail("entity references are refused");
    }
}

// The text of a leaf element; child elements are noted and skipped.
std::string_view DocumentReader::text(const char* element) {
    text_.clear();
    if (xmlTextReaderIsEmptyElement(r_) == 1) return text_;
    const int depth = xmlTextReaderDepth(r_);
    for (;;) {
        next();
        switch (nodeType()) {
        case XML_READER_TYPE_TEXT:
        case XML_READER_TYPE_CDATA:
        case XML_READER_TYPE_SIGNIFICANT_WHITESPACE:
            text_ += chars(xmlTextReaderConstValue(r_));
            break;
        case XML_READER_TYPE_ELEMENT:
            note(element, '/', chars(xmlTextReaderConstName(r_)));
            skip();
            break;
        case XML_READER_TYPE_END_ELEMENT:
            if (xmlTextReaderDepth(r_) == depth) return text_;
            break;
        case XML_READER_TYPE_ENTITY_REFERENCE:
            fail("entity references are refused");
        default:
            break;
        }
    }
}

double DocumentReader::toNumber(std::string_view original, const char* element) {
    std::string_view t = trim(original);
    if (t.size() > 1 && t[0] == '+' && t[1] != '-') t.remove_prefix(1);
    double value = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
    if (ec == std::errc::result_out_of_range) fail(fmt::format("{}: out of range: '{}'", element, original));
    if (t.empty() || ec != std::errc() || end != t.data() + t.size())
        fail(fmt::format("{}: not a number: '{}'", element, original));
    // Every number of the model is a 32-bit float: a finite value beyond
    // that range is refused as an integer beyond 32 bits is.
    if (std::isfinite(value) && std::fabs(value) > FLT_MAX)
        fail(fmt::format("{}: out of range: '{}'", element, original));
    return value;
}

long DocumentReader::toInteger(std::string_view original, const char* element) {
    std::string_view t = trim(original);
    if (t.size() > 1 && t[0] == '+' && t[1] != '-') t.remove_prefix(1);
    int32_t value = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value);
    if (ec == std::errc::result_out_of_range) fail(fmt::format("{}: out of range: '{}'", element, original));
    if (t.empty() || ec != std::errc() || end != t.data() + t.size())
        fail(fmt::format("{}: not a whole number: '{}'", element, original));
    return value;
}

long DocumentReader::toCount(std::string_view original, const char* element) {
    long value = toInteger(original, element);
    if (value < 0) fail(fmt::format("{}: negative count {}", element, value));
    return value;
}

Instant DocumentReader::toInstant(const char* value, const char* element, const char* attribute) {
    Instant instant;
    if (!parseInstant(value, &instant.seconds)) fail(fmt::format("{} {}: not a time: '{}'", element, attribute, value));
    instant.present = true;
    return instant;
}

void DocumentReader::number(const char* element, Measure& out, bool withErrors) {
    attributes(element, [&](const char* name, const char* value) {
        if (is(name, "unit")) return true;  // the schema fixes each element's unit
        if (withErrors && is(name, "plusError")) return out.plusError = toNumber(value, element), true;
        if (withErrors && is(name, "minusError")) return out.minusError = toNumber(value, element), true;
        return false;
    });
    out.value = toNumber(text(element), element);
    out.present = true;
}

void DocumentReader::units(const char* element, Units& out) {
    out.present = true;
    children(element, [&](const char* name) {
        if (is(name, "Name")) return textInto("Name", out.name), true;
        if (is(name, "Description")) return textInto("Description", out.description), true;
        return false;
    });
    if (trim(out.name).empty()) fail(fmt::format("{}: missing Name", element));
}

// The first agency of the first operator; later ones are noted.
void DocumentReader::operatorAgency(const char* parent, std::string& agency) {
    if (!agency.empty()) {
        note(parent, '/', "Operator (after the first)");
        skip();
        return;
    }
    children("Operator", [&](const char* name) {
        if (!is(name, "Agency") || !agency.empty()) return false;
        textInto("Agency", agency);
        return true;
    });
}

void DocumentReader::comment(const char* parent, std::string& first) {
    if (!first.empty()) {
        note(parent, '/', "Comment (after the first)");
        skip();
        return;
    }
    attributes("Comment", [](const char*, const char*) { return false; });
    children("Comment", [&](const char* name) {
        if (!is(name, "Value") || !first.empty()) return false;
        textInto("Value", first);
        return true;
    });
}

void DocumentReader::equipment(const char* element, Equipment& out) {
    out.present = true;
    attributes(element, [](const char*, const char*) { return false; });
    children(element, [&](const char* name) {
        if (is(name, "Type")) return textInto(name, out.type), true;
        if (is(name, "Description")) return textInto(name, out.description), true;
        if (is(name, "Manufacturer")) return textInto(name, out.manufacturer), true;
        if (is(name, "Vendor")) return textInto(name, out.vendor), true;
        if (is(name, "Model")) return textInto(name, out.model), true;
        if (is(name, "SerialNumber")) return textInto(name, out.serialNumber), true;
        return false;
    });
}

void DocumentReader::run() {
    // Up to the root element: a document type declaration stops the reading.
    for (;;) {
        int rc = xmlTextReaderRead(r_);
        if (rc < 0) failFromParser();
        if (rc == 0) {
            if (!parserError_.message.empty() || source_.doctypeLine != 0) failFromParser();
            fail("empty document: no root element");
        }
        int type = xmlTextReaderNodeType(r_);
        if (type == XML_READER_TYPE_DOCUMENT_TYPE) fail(kDoctypeRefused);
        if (type == XML_READER_TYPE_ELEMENT) break;
    }
    const char* root = localName();
    namespace_ = xmlTextReaderConstNamespaceUri(r_);
    if (!is(root, "FDSNStationXML") || (namespace_ != nullptr && !is(chars(namespace_), kStationNamespace)))
        fail(fmt::format("not a StationXML document: the root element is <{}>", chars(xmlTextReaderConstName(r_))));
    bool haveVersion = false;
    attributes("FDSNStationXML", [&](const char* name, const char* value) {
        if (!is(name, "schemaVersion")) return false;
        std::string_view version = trim(value);
        if (version != "1" && version.substr(0, 2) != "1.")
            fail(fmt::format("StationXML schema version {} is not supported (1.x is)", value));
        haveVersion = true;
        return true;
    });
    if (!haveVersion) fail("FDSNStationXML: missing schemaVersion");
    children("FDSNStationXML", [&](const char* name) {
        if (!is(name, "Network")) return false;
        readNetwork();
        return true;
    });
    // Anything after the root must still be well-formed.
    for (;;) {
        int rc = xmlTextReaderRead(r_);
        if (rc < 0) failFromParser();
        if (rc == 0) break;
    }
}

void DocumentReader::readNetwork() {
    Network network;
    network.line = currentLine();
    bool haveCode = false;
    attributes("Network", [&](const char* name, const char* value) {
        if (is(name, "code")) return network.code = value, haveCode = true;
        if (is(name, "startDate")) return network.start = toInstant(value, "Network", name), true;
        if (is(name, "endDate")) return network.end = toInstant(value, "Network", name), true;
        return false;
    });
    if (!haveCode) fail("Network: missing code");
    bool handedOver = false;
    auto handOver = [&] {
        if (!handedOver) builder_.network(network);
        handedOver = true;
    };
    children("Network", [&](const char* name) {
        if (is(name, "Station")) {
            handOver();
            readStation();
            return true;
        }
        bool field = is(name, "Description") || is(name, "Operator");
        if (field && handedOver) fail(fmt::format("Network {}: {} after its stations", network.code, name));
        if (is(name, "Description")) return textInto(name, network.description), true;
        if (is(name, "Operator")) return operatorAgency("Network", network.operatorAgency), true;
        return false;
    });
    handOver();
}

void DocumentReader::readStation() {
    Station station;
    station.line = currentLine();
    bool haveCode = false;
    attributes("Station", [&](const char* name, const char* value) {
        if (is(name, "code")) return station.code = value, haveCode = true;
        if (is(name, "startDate")) return station.start = toInstant(value, "Station", name), true;
        if (is(name, "endDate")) return station.end = toInstant(value, "Station", name), true;
        return false;
    });
    if (!haveCode) fail("Station: missing code");
    bool handedOver = false;
    auto handOver = [&] {
        if (handedOver) return;
        for (auto [value, what] : {std::pair{&station.latitude, "Latitude"}, std::pair{&station.longitude, "Longitude"},
                                   std::pair{&station.elevation, "Elevation"}})
            if (!value->present) failAt(station.line, fmt::format("Station {}: missing {}", station.code, what));
        builder_.station(station);
        handedOver = true;
    };
    children("Station", [&](const char* name) {
        if (is(name, "Channel")) {
            handOver();
            readChannel();
            return true;
        }
        if (handedOver && (is(name, "Description") || is(name, "Latitude") || is(name, "Longitude") ||
                           is(name, "Elevation") || is(name, "Site") || is(name, "Operator") || is(name, "Comment")))
            fail(fmt::format("Station {}: {} after its channels", station.code, name));
        if (is(name, "Latitude")) return number(name, station.latitude, false), true;
        if (is(name, "Longitude")) return number(name, station.longitude, false), true;
        if (is(name, "Elevation")) return number(name, station.elevation, false), true;
        if (is(name, "Description")) return textInto(name, station.description), true;
        if (is(name, "Comment")) return comment("Station", station.comment), true;
        if (is(name, "Operator")) return operatorAgency("Station", station.operatorAgency), true;
        if (is(name, "Site")) {
            children("Site", [&](const char* part) {
                if (!is(part, "Name")) return false;
                textInto(part, station.siteName);
                return true;
            });
            return true;
        }
        return false;
    });
    handOver();
}

void DocumentReader::readChannel() {
    Channel& channel = channel_;
    channel = Channel{};
    channel.line = currentLine();
    bool haveCode = false, haveLocation = false;
    attributes("Channel", [&](const char* name, const char* value) {
        if (is(name, "code")) return channel.code = value, haveCode = true;
        if (is(name, "locationCode")) return channel.locationCode = value, haveLocation = true;
        if (is(name, "startDate")) return channel.start = toInstant(value, "Channel", name), true;
        if (is(name, "endDate")) return channel.end = toInstant(value, "Channel", name), true;
        return false;
    });
    if (!haveCode) fail("Channel: missing code");
    if (!haveLocation) fail(fmt::format("Channel {}: missing locationCode", channel.code));
    children("Channel", [&](const char* name) {
        if (is(name, "Response")) return readResponse(channel.response), true;
        if (is(name, "Latitude")) return number(name, channel.latitude, false), true;
        if (is(name, "Longitude")) return number(name, channel.longitude, false), true;
        if (is(name, "Elevation")) return number(name, channel.elevation, false), true;
        if (is(name, "Depth")) return number(name, channel.depth, false), true;
        if (is(name, "Azimuth")) return number(name, channel.azimuth, false), true;
        if (is(name, "Dip")) return number(name, channel.dip, false), true;
        if (is(name, "SampleRate")) return number(name, channel.sampleRate, false), true;
        if (is(name, "Description")) return textInto(name, channel.description), true;
        if (is(name, "Sensor")) return equipment(name, channel.sensor), true;
        if (is(name, "DataLogger")) return equipment(name, channel.dataLogger), true;
        return false;
    });
    for (auto [value, what] : {std::pair{&channel.latitude, "Latitude"}, std::pair{&channel.longitude, "Longitude"},
                               std::pair{&channel.elevation, "Elevation"}, std::pair{&channel.depth, "Depth"}})
        if (!value->present) failAt(channel.line, fmt::format("Channel {}.{}: missing {}", channel.locationCode, channel.code, what));
    builder_.channel(channel);
}

void DocumentReader::readResponse(Response& response) {
    response.present = true;
    attributes("Response", [](const char*, const char*) { return false; });
    children("Response", [&](const char* name) {
        if (is(name, "Stage")) {
            response.stages.emplace_back();
            readStage(response.stages.back());
            return true;
        }
        if (!is(name, "InstrumentSensitivity")) return false;
        response.hasSensitivity = true;
        children(name, [&](const char* part) {
            if (is(part, "Value")) return number(part, response.sensitivity, false), true;
            if (is(part, "Frequency")) return number(part, response.sensitivityFrequency, false), true;
            if (is(part, "InputUnits")) return units(part, response.sensitivityInput), true;
            if (is(part, "OutputUnits")) return units(part, response.sensitivityOutput), true;
            return false;
        });
        if (!response.sensitivity.present) fail("InstrumentSensitivity: missing Value");
        return true;
    });
}

void DocumentReader::readStage(Stage& stage) {
    stage.line = currentLine();
    bool haveNumber = false;
    attributes("Stage", [&](const char* name, const char* value) {
        if (!is(name, "number")) return false;
        stage.number = toCount(value, "Stage number");
        haveNumber = true;
        return true;
    });
    if (!haveNumber) fail("Stage: missing number");
    children("Stage", [&](const char* name) {
        StageKind kind = is(name, "PolesZeros")     ? StageKind::PolesZeros
                         : is(name, "Coefficients") ? StageKind::Coefficients
                         : is(name, "FIR")          ? StageKind::FIR
                         : is(name, "ResponseList") ? StageKind::ResponseList
                         : is(name, "Polynomial")   ? StageKind::Polynomial
                                                    : StageKind::None;
        if (kind != StageKind::None) {
            if (stage.kind != StageKind::None) fail(fmt::format("Stage {}: more than one filter", stage.number));
            stage.kind = kind;
            const char* filter = kind == StageKind::PolesZeros     ? "PolesZeros"
                                 : kind == StageKind::Coefficients ? "Coefficients"
                                 : kind == StageKind::FIR          ? "FIR"
                                 : kind == StageKind::ResponseList ? "ResponseList"
                                                                   : "Polynomial";
            attributes(filter, [](const char*, const char*) { return false; });
            children(filter, [&](const char* part) { return filterPart(filter, part, stage); });
            if (!stage.input.present || !stage.output.present)
                fail(fmt::format("Stage {}: {} without InputUnits and OutputUnits", stage.number, filter));
            if (kind == StageKind::PolesZeros && stage.transferType.empty())
                fail(fmt::format("Stage {}: PolesZeros without PzTransferFunctionType", stage.number));
            if (kind == StageKind::Coefficients && stage.transferType.empty())
                fail(fmt::format("Stage {}: Coefficients without CfTransferFunctionType", stage.number));
            return true;
        }
        if (is(name, "Decimation")) {
            stage.hasDecimation = true;
            bool haveRate = false, haveFactor = false;
            children(name, [&](const char* part) {
                if (is(part, "InputSampleRate")) return number(part, stage.inputSampleRate, false), haveRate = true;
                if (is(part, "Factor")) return stage.factor = toInteger(text(part), part), haveFactor = true;
                if (is(part, "Offset")) return stage.offset = toInteger(text(part), part), true;
                if (is(part, "Delay")) return number(part, stage.delay, false), true;
                if (is(part, "Correction")) return number(part, stage.correction, false), true;
                return false;
            });
            if (!haveRate || !haveFactor)
                fail(fmt::format("Stage {}: Decimation without InputSampleRate and Factor", stage.number));
            return true;
        }
        if (is(name, "StageGain")) {
            stage.hasGain = true;
            children(name, [&](const char* part) {
                if (is(part, "Value")) return number(part, stage.gain, false), true;
                if (is(part, "Frequency")) return number(part, stage.gainFrequency, false), true;
                return false;
            });
            if (!stage.gain.present) fail(fmt::format("Stage {}: StageGain without Value", stage.number));
            return true;
        }
        return false;
    });
}

// One child of a filter element; false for what the stage does not keep.
bool DocumentReader::filterPart(const char* filter, const char* name, Stage& stage) {
    switch (stage.kind) {
    case StageKind::Coefficients:
        if (is(name, "Numerator") || is(name, "Denominator")) {
            auto& list = name[0] == 'N' ? stage.numerators : stage.denominators;
            list.emplace_back();
            attributes(name, [&](const char* attribute, const char* value) {
                if (is(attribute, "number")) return toInteger(value, "Coefficient number"), true;  // order is document order
                if (is(attribute, "unit")) return true;
                if (is(attribute, "plusError")) return list.back().plusError = toNumber(value, name), true;
                if (is(attribute, "minusError")) return list.back().minusError = toNumber(value, name), true;
                return false;
            });
            list.back().value = toNumber(text(name), name);
            list.back().present = true;
            return true;
        }
        if (is(name, "CfTransferFunctionType")) return textInto(name, stage.transferType), true;
        break;
    case StageKind::FIR:
        if (is(name, "NumeratorCoefficient")) {
            stage.numerators.emplace_back();
            attributes(name, [&](const char* attribute, const char* value) {
                if (is(attribute, "i")) return toInteger(value, "NumeratorCoefficient i"), true;
                return false;
            });
            stage.numerators.back().value = toNumber(text(name), name);
            stage.numerators.back().present = true;
            return true;
        }
        if (is(name, "Symmetry")) return textInto(name, stage.transferType), true;
        break;
    case StageKind::PolesZeros:
        if (is(name, "Pole") || is(name, "Zero")) {
            auto& list = name[0] == 'P' ? stage.poles : stage.zeros;
            list.emplace_back();
            readPoleZero(name, list.back());
            return true;
        }
        if (is(name, "PzTransferFunctionType")) return textInto(name, stage.transferType), true;
        if (is(name, "NormalizationFactor")) return stage.normalizationFactor.value = toNumber(text(name), name),
                                                    stage.normalizationFactor.present = true;
        if (is(name, "NormalizationFrequency")) return number(name, stage.normalizationFrequency, false), true;
        break;
    case StageKind::ResponseList:
        if (is(name, "ResponseListElement")) {
            ListElement element;
            children(name, [&](const char* part) {
                if (is(part, "Frequency")) return number(part, element.frequency, false), true;
                if (is(part, "Amplitude")) return number(part, element.amplitude, true), true;
                if (is(part, "Phase")) return number(part, element.phase, true), true;
                return false;
            });
            if (!element.frequency.present || !element.amplitude.present || !element.phase.present)
                fail("ResponseListElement: needs Frequency, Amplitude and Phase");
            stage.list.push_back(element);
            return true;
        }
        break;
    default:
        break;
    }
    if (is(name, "InputUnits")) return units(name, stage.input), true;
    if (is(name, "OutputUnits")) return units(name, stage.output), true;
    (void)filter;
    return false;
}

void DocumentReader::readPoleZero(const char* element, PoleZero& out) {
    attributes(element, [&](const char* name, const char* value) {
        if (!is(name, "number")) return false;
        out.number = toInteger(value, element);
        return true;
    });
    children(element, [&](const char* part) {
        if (is(part, "Real")) return number(part, out.real, true), true;
        if (is(part, "Imaginary")) return number(part, out.imaginary, true), true;
        return false;
    });
    if (!out.real.present || !out.imaginary.present) fail(fmt::format("{}: needs Real and Imaginary", element));
}

bool runReader(xmlTextReaderPtr reader, Source& source, Builder& builder, Failure* failure) {
    if (reader == nullptr) {
        if (failure) *failure = {0, "cannot start the XML reader"};
        return false;
    }
    bool ok = true;
    try {
        DocumentReader document(reader, source, builder);
        document.run();
    } catch (Stop& stop) {
        if (failure) *failure = std::move(stop.failure);
        ok = false;
    } catch (Failure& fromBuilder) {
        if (failure) *failure = std::move(fromBuilder);
        ok = false;
    }
    xmlFreeTextReader(reader);
    return ok;
}

}  // namespace

bool parseInstant(std::string_view original, double* seconds) {
    std::string_view t = trim(original);
    // Year of four or more digits, then -MM-DD.
    size_t dash = t.find('-');
    if (dash == std::string_view::npos || dash < 4 || dash > 9) return false;
    int year = digits(t, 0, dash);
    if (year < 0 || t.size() < dash + 6 || t[dash + 3] != '-') return false;
    int month = digits(t, dash + 1, 2), day = digits(t, dash + 4, 2);
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return false;
    double value = static_cast<double>(daysFromCivil(year, month, day)) * 86400.0;
    std::string_view rest = t.substr(dash + 6);
    if (!rest.empty()) {
        if (rest.size() < 9 || rest[0] != 'T' || rest[3] != ':' || rest[6] != ':') return false;
        int hour = digits(rest, 1, 2), minute = digits(rest, 4, 2), second = digits(rest, 7, 2);
        if (hour < 0 || hour > 24 || minute < 0 || minute > 59 || second < 0 || second > 60) return false;
        if (hour == 24 && (minute != 0 || second != 0)) return false;
        value += hour * 3600.0 + minute * 60.0 + second;
        rest.remove_prefix(9);
        if (!rest.empty() && rest[0] == '.') {
            // The digits as one integer over its power of ten (nine at
            // most count; a nanosecond is beyond any instant we keep), so
            // that the fraction is the nearest double, not a sum of roundings.
            size_t n = 1;
            int64_t digitsValue = 0, scale = 1;
            while (n < rest.size() && rest[n] >= '0' && rest[n] <= '9') {
                if (n <= 9) digitsValue = digitsValue * 10 + (rest[n] - '0'), scale *= 10;
                ++n;
            }
            if (n == 1) return false;
            value += static_cast<double>(digitsValue) / static_cast<double>(scale);
            rest.remove_prefix(n);
        }
    }
    if (rest == "Z") return *seconds = value, true;
    if (rest.empty()) return *seconds = value, true;
    if (rest.size() == 6 && (rest[0] == '+' || rest[0] == '-') && rest[3] == ':') {
        int hh = digits(rest, 1, 2), mm = digits(rest, 4, 2);
        if (hh < 0 || hh > 14 || mm < 0 || mm > 59) return false;
        double offset = hh * 3600.0 + mm * 60.0;
        *seconds = rest[0] == '+' ? value - offset : value + offset;
        return true;
    }
    return false;
}

bool readFile(const std::string& path, Builder& builder, Failure* failure) {
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
    xmlTextReaderPtr reader =
        xmlReaderForIO(&Source::read, &Source::close, &source, path.c_str(), nullptr, kParseOptions);
    bool ok = runReader(reader, source, builder, failure);
    ::close(fd);
    return ok;
}

bool readMemory(const char* bytes, size_t length, Builder& builder, Failure* failure) {
    // The prolog is looked at here, the bytes then parsed where they lie.
    Source source;
    source.watchProlog(bytes, length);  // stops at the root element
    if (source.doctypeLine != 0) {
        if (failure) *failure = {source.doctypeLine, kDoctypeRefused};
        return false;
    }
    if (length > static_cast<size_t>(INT32_MAX)) {
        if (failure) *failure = {0, "document larger than 2 GB"};
        return false;
    }
    xmlTextReaderPtr reader = xmlReaderForMemory(bytes, static_cast<int>(length), "memory", nullptr, kParseOptions);
    return runReader(reader, source, builder, failure);
}

}  // namespace zeva::stationxml
