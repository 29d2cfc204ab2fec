#include "zeva/feed/NEIC_QueryController.hpp"

#include <exception>
#include <stdexcept>

#include "zeva/platform/CalendarDate.hpp"
#include "zeva/platform/HTMLText.hpp"
#include "zeva/platform/Log.hpp"
#include "zeva/platform/Scanner.hpp"

using zeva::Ref;
using zeva::String;

namespace {

// Raised inside a loader for a fetch that yields no text, so that it takes
// the same path as any other failure.
struct FetchFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr const char* kLoadFailureMessage = "Problem downloading USGS event list.";
constexpr const char* kSummaryDatePattern = "yyyy'-'MM'-'dd'T'HH':'mm':'ss.SSS";
constexpr std::string_view kLineEnds = "\r\n";

}  // namespace

const zeva::Class& NEIC_QueryController::staticClass() {
    static const zeva::Class cls("NEIC_QueryController", &zeva::Object::staticClass(), nullptr);
    return cls;
}

Ref<NEIC_QueryController> NEIC_QueryController::create() {
    auto c = std::make_shared<NEIC_QueryController>();
    c->init();
    return c;
}

void NEIC_QueryController::init() {
    setSeismicOrigins(zeva::MutableArray::array());
    auto urls = zeva::MutableArray::array();
    urls->addObject(zeva::URL::URLWithString(kDefaultFeedURL));
    setGsURLs(urls);
    setTheDateFormatter(std::make_shared<zeva::DateFormatter>());
    minMagnitude_ = 5.0f;
    maxMagnitude_ = 19.0f;
}

void NEIC_QueryController::setMessageHost(MessageService service, std::string host) {
    messageHosts_[static_cast<int>(service)] = std::move(host);
}

std::string NEIC_QueryController::messageHost(MessageService service) const {
    return messageHosts_[static_cast<int>(service)];
}

// ------------------------------------------------------------------ loading

Ref<String> NEIC_QueryController::fetch(const zeva::URL& url, std::string* error) {
    auto fetcher = fetcher_ ? fetcher_ : zeva::sharedURLFetcher();
    zeva::FetchResult result = fetcher->fetchText(url);
    if (!result.ok() && error) *error = url.absoluteString() + ": " + result.error;
    return result.text;
}

Ref<String> NEIC_QueryController::feedText(const zeva::ObjectRef& entry) {
    auto url = std::dynamic_pointer_cast<zeva::URL>(entry);
    if (!url) throw std::invalid_argument("the URL list holds something that is not a URL");
    std::string error;
    Ref<String> text = fetch(*url, &error);
    if (!text) throw FetchFailure(error);
    TextCounts counts;
    counts.bytes = text->str().size();
    counts.head = text->str().substr(0, 256);
    lastLoadCounts_.push_back(std::move(counts));
    return text;
}

void NEIC_QueryController::appendIfKept(const Ref<ZEVAOrigin>& origin) {
    if (acceptsMagnitude(origin->magnitude())) seismicOrigins_->addObject(origin);
}

template <class Body>
bool NEIC_QueryController::guardedLoad(Body&& body) {
    lastLoadError_.clear();
    lastLoadCounts_.clear();
    if (!seismicOrigins_) setSeismicOrigins(zeva::MutableArray::array());
    seismicOrigins_->removeAllObjects();
    try {
        return body();
    } catch (const std::exception& e) {
        zeva::systemLog(kLoadFailureMessage);
        seismicOrigins_->removeAllObjects();
        lastLoadError_ = e.what();
        return false;
    }
}

bool NEIC_QueryController::loadNEIC_TextList() {
    return guardedLoad([this] {
        if (!gsURLs_) return true;
        for (const auto& entry : *gsURLs_) {
            Ref<String> text = feedText(entry);

            auto lines = text->componentsSeparatedByString("\n");
            auto formatter = zeva::DateFormatter::formatterWithPattern(kSummaryDatePattern, "UTC", "en_US_POSIX");
            if (!formatter) throw std::runtime_error("no UTC date formatter");
            for (size_t i = 1; i < lines->count(); ++i) {
                const auto& line = lines->objectAtIndexAs<String>(i);
                if (line->str().find_first_not_of(" \t\r") == std::string::npos) continue;
                lastLoadCounts_.back().lines++;
                auto fields = line->componentsSeparatedByString(",");
                if (fields->count() <= 12) continue;
                auto field = [&](size_t k) { return fields->objectAtIndexAs<String>(k); };

                auto origin = ZEVAOrigin::create();
                origin->set_catalog(zeva::str("PDE"));
                origin->set_contributor(zeva::str("USGS"));
                origin->set_id(field(11));
                origin->setLatitude(field(1)->floatValue());
                origin->setLongitude(field(2)->floatValue());
                origin->setDepth(field(3)->floatValue());
                origin->addMagnitude_Type_Contrib(field(4)->floatValue(), field(5), origin->_contributor());

                // Older feeds end the time with "+00:00", current ones with
                // "Z"; both say UTC, which the formatter already assumes.
                auto time = field(0)->stringByReplacingOccurrencesOfString_withString("+00:00", "");
                std::string_view t = time->str();
                if (t.ends_with('Z')) t.remove_suffix(1);
                origin->setOriginTime(formatter->dateFromString(t));
                lastLoadCounts_.back().read++;
                if (origin->originTime() && origin->originTime()->nsDate()) lastLoadCounts_.back().timed++;

                origin->setFERegion();
                appendIfKept(origin);
            }
        }
        return true;
    });
}

bool NEIC_QueryController::loadNEIC_CSVvalues() {
    return guardedLoad([this] {
        bool result = true;  // texts without a data row load as an empty list
        if (!gsURLs_) return result;
        for (const auto& entry : *gsURLs_) {
            Ref<String> text = feedText(entry);

            zeva::Scanner scanner(text);
            auto moveOn = [&](size_t n) { scanner.setScanLocation(scanner.scanLocation() + n); };
            scanner.scanUpToCharactersFromSet_intoString(kLineEnds, nullptr);  // the header
            while (!scanner.isAtEnd()) {
                // Each row starts from empty values: a missing column reads as
                // nothing rather than as the previous row's.
                Ref<String> source, id, date;
                float latitude = 0, longitude = 0, magnitude = 0, depth = 0, ignored = 0;

                auto origin = ZEVAOrigin::create();
                origin->set_catalog(zeva::str("NEIC_CSV"));
                scanner.scanUpToCharactersFromSet_intoString(",", &source);
                origin->set_contributor(source);
                moveOn(1);
                scanner.scanUpToCharactersFromSet_intoString(",", &id);
                origin->set_id(id);
                moveOn(1);
                scanner.scanUpToString_intoString(",", nullptr);
                moveOn(2);
                scanner.scanUpToString_intoString("\"", &date);
                origin->setOriginTime(
                    date ? zeva::dateFromCalendarString(date->str(), zeva::kQuotedDateCalendarFormat) : nullptr);
                moveOn(2);
                scanner.scanFloat(&latitude);
                origin->setLatitude(latitude);
                moveOn(1);
                scanner.scanFloat(&longitude);
                origin->setLongitude(longitude);
                moveOn(1);
                scanner.scanFloat(&magnitude);
                origin->addMagnitude_Type_Contrib(magnitude, zeva::str("M"), origin->_contributor());
                moveOn(1);
                scanner.scanFloat(&depth);
                origin->setDepth(depth);
                moveOn(1);
                scanner.scanFloat(&ignored);
                scanner.scanUpToCharactersFromSet_intoString(kLineEnds, nullptr);
                lastLoadCounts_.back().lines++;
                lastLoadCounts_.back().read++;
                if (origin->originTime() && origin->originTime()->nsDate()) lastLoadCounts_.back().timed++;
                origin->setFERegion();
                appendIfKept(origin);
                result = true;
            }
        }
        return result;
    });
}

// ------------------------------------------------------------------ the table

int32_t NEIC_QueryController::numberOfRowsInTableView(zeva::TableView*) {
    return seismicOrigins_ ? static_cast<int32_t>(seismicOrigins_->count()) : 0;
}

Ref<String> NEIC_QueryController::tableView_objectValueForTableColumn_row(zeva::TableView*,
                                                                           const Ref<zeva::TableColumn>& column,
                                                                           int32_t row) {
    if (!seismicOrigins_ || row < 0) return nullptr;
    auto origin = seismicOrigins_->objectAtIndexAs<ZEVAOrigin>(static_cast<size_t>(row));
    if (!origin) return nullptr;
    int n = column && column->identifier() ? column->identifier()->intValue() : 0;
    switch (n) {
        case 1: return origin->timeString();
        case 2: return origin->_catalog();
        case 3: return zeva::str(zeva::format("%7.3f", double{origin->latitude()}));
        case 4: return zeva::str(zeva::format("%8.3f", double{origin->longitude()}));
        case 5: return zeva::str(zeva::format("%5.1f", origin->depthValue()));
        case 6: return zeva::str(zeva::format("%5.2f", double{origin->magnitude()}));
        case 7: return origin->_contributor();
        case 8: return origin->kwo_id();
        case 9: return origin->shortFERegion();
        default: return zeva::str("NA");
    }
}

void NEIC_QueryController::clearTableSortImages() {
    if (!eventTableView_) return;
    for (const auto& column : eventTableView_->tableColumns())
        eventTableView_->setIndicatorImage_inTableColumn(nullptr, column);
}

void NEIC_QueryController::tableView_mouseDownInHeaderOfTableColumn(zeva::TableView*,
                                                                     const Ref<zeva::TableColumn>& column) {
    if (!column) return;
    // Without a table view the origins are still sorted; only the calls to
    // the table (indicators, redraw) are skipped. No indicator reads as
    // "not ascending", so such a click always sorts ascending.
    zeva::TableView* table = eventTableView_;
    int n = column->identifier() ? column->identifier()->intValue() : 0;
    auto ascendingImage = zeva::Image::imageNamed(zeva::kAscendingSortIndicator);
    bool ascending = !table || table->indicatorImageInTableColumn(column) != ascendingImage;
    clearTableSortImages();

    using Comparison = int (ZEVAOrigin::*)(const ZEVAOrigin&) const;
    Comparison comparison = nullptr;
    switch (n) {
        case 1: comparison = &ZEVAOrigin::compareOriginTimes; break;
        case 3: comparison = &ZEVAOrigin::compareLatitudes; break;
        case 4: comparison = &ZEVAOrigin::compareLongitudes; break;
        case 5: comparison = &ZEVAOrigin::compareDepths; break;
        case 6: comparison = &ZEVAOrigin::compareMagnitudes; break;
        case 9: comparison = &ZEVAOrigin::compareFERegions; break;
        default: break;
    }
    if (comparison && seismicOrigins_) {
        // Stable, so origins that compare equal keep their previous order.
        seismicOrigins_->sortUsingComparator([&](const zeva::ObjectRef& a, const zeva::ObjectRef& b) {
            auto left = std::dynamic_pointer_cast<ZEVAOrigin>(a);
            auto right = std::dynamic_pointer_cast<ZEVAOrigin>(b);
            if (!left || !right) return 0;
            int c = ((*left).*comparison)(*right);
            return ascending ? c : -c;
        });
        if (table) table->setNeedsDisplay(true);
    }
    if (table)
        table->setIndicatorImage_inTableColumn(
            zeva::Image::imageNamed(ascending ? zeva::kAscendingSortIndicator : zeva::kDescendingSortIndicator),
            column);
}

// ------------------------------------------------------------------ links

Ref<ZEVAOrigin> NEIC_QueryController::selectedOrigin() const {
    if (!eventTableView_ || !seismicOrigins_) return nullptr;
    int32_t row = eventTableView_->selectedRow();
    if (row < 0) return nullptr;
    return seismicOrigins_->objectAtIndexAs<ZEVAOrigin>(static_cast<size_t>(row));
}

bool NEIC_QueryController::openURLText(const std::string& text) {
    // Region words and identifiers may hold characters a URL does not take;
    // they are escaped, and a text that still makes no URL opens nothing.
    auto url = zeva::URL::URLWithStringAddingPercentEscapes(text);
    if (!url) return false;
    auto opener = opener_ ? opener_ : zeva::sharedURLOpener();
    return opener->openURL(*url);
}

bool NEIC_QueryController::loadNeicEventPage() {
    auto origin = selectedOrigin();
    if (!origin) return false;
    std::string text = std::string(kEventPageHost) + "/earthquakes/eventpage/";
    text += zeva::format("%@#summary", origin->_id());
    return openURLText(text);
}

bool NEIC_QueryController::openGoogleMaps() {
    auto origin = selectedOrigin();
    if (!origin) return false;
    double lat = origin->latitude(), lon = origin->longitude();
    std::string text = std::string(kMapsHost) + "/maps?";
    text += zeva::format("ll=%.3f,%.3f&q=%.3f,%.3f&spn=15,15", lat, lon, lat, lon);
    text += "&t=k&hl=en";
    return openURLText(text);
}

bool NEIC_QueryController::googleNewsSearch() {
    auto origin = selectedOrigin();
    if (!origin) return false;
    std::string text = std::string(kNewsHost) + "/news?hl=en&ned=us&q=earthquake";
    auto region = origin->shortFERegion();
    auto words = region ? region->mutableCopy() : zeva::mstr("");
    static const std::pair<const char*, const char*> replacements[] = {
        {"near", ""}, {"coast ", ""}, {"of ", ""},  {"east", ""}, {"west", ""},
        {"south", ""}, {"north", ""}, {"ern", ""}, {",", " "}, {"United States", ""},
    };
    for (const auto& [target, replacement] : replacements)
        words->replaceOccurrencesOfString_withString(target, replacement, true);
    // Held in a variable: a range-for over *temporary would free the pieces
    // before the loop reads them.
    auto pieces = words->componentsSeparatedByString(" ");
    for (const auto& piece : *pieces) text += zeva::format("+%@", piece);
    text += "&btnG=Search+News";
    return openURLText(text);
}

bool NEIC_QueryController::cmtSearch() {
    auto origin = selectedOrigin();
    if (!origin) return false;
    auto time = origin->originTime();
    std::string text = std::string(kCMTHost) + "/cgi-bin/CMT2/form?itype=ymd&yr=";
    text += zeva::format("%4.4d&mo=%2.2d&day=%2.2d", time ? time->year() : 0, time ? time->month() : 0,
                         time ? time->date() : 0);
    text += "&oyr=1976&omo=1&oday=1&jyr=1976&jday=1&ojyr=1976";
    text += "&ojday=1&otype=nd&nday=1&lmw=0&umw=10&lms=0&ums=10&lmb=0";
    float lat = origin->latitude(), lon = origin->longitude();
    float lowerLat = lat - 4.0f, upperLat = lat + 4.0f, lowerLon = lon - 4.0f, upperLon = lon + 4.0f;
    text += zeva::format("&umb=10&llat=%.2f&ulat=%.2f&llon=%.2f&ulon=%.2f&lhd=0&uhd=1000", double{lowerLat},
                         double{upperLat}, double{lowerLon}, double{upperLon});
    text += "&lts=-9999&uts=9999&lpe1=0&upe1=90&lpe2=0&upe2=90&list=0";
    return openURLText(text);
}

// ------------------------------------------------------------------ bulletins

Ref<String> NEIC_QueryController::fetchMessage(MessageService service, const char* path) {
    auto url = zeva::URL::URLWithString(messageHost(service) + path);
    return url ? fetch(*url) : nullptr;
}

Ref<String> NEIC_QueryController::WCATWCMessage() { return fetchMessage(MessageService::WCATWC, "/message.txt"); }

Ref<String> NEIC_QueryController::PTWCMessage() { return fetchMessage(MessageService::PTWC, "/ptwc/wmsg"); }

Ref<String> NEIC_QueryController::BigQuakeMessage() {
    auto html = fetchMessage(MessageService::BigQuake, "/neis/data_services/bigquake.html");
    return html ? zeva::plainTextFromHTML(html->str()) : nullptr;
}

Ref<String> NEIC_QueryController::USGSMTensorMessage() {
    return fetchMessage(MessageService::MTensor, "/neis/data_services/mtall.last");
}
