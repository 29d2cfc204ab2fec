// The event-list controller: loads the USGS list of recent earthquakes into
// origins, serves them to the host's event table (and sorts them on header
// clicks), opens web pages about the selected event, and fetches the texts
// of tsunami-warning and bulletin services.
//
// Everything is synchronous and runs on the caller's thread. Fetching and
// opening go through the platform's replaceable services (URLFetcher,
// URLOpener); a controller may be given its own.
#pragma once

#include <string>
#include <vector>

#include "zeva/events/ZEVAOrigin.hpp"
#include "zeva/platform/Collections.hpp"
#include "zeva/platform/DateFormatter.hpp"
#include "zeva/platform/TableView.hpp"
#include "zeva/platform/URL.hpp"
#include "zeva/platform/URLOpener.hpp"

class NEIC_QueryController : public zeva::Object, public zeva::TableViewDataSource {
public:
    // The feed the controller starts with: the past week's earthquakes of
    // magnitude 1 and above, in the summary layout.
    static constexpr const char* kDefaultFeedURL = "http://earthquake.usgs.gov/earthquakes/feed/v0.1/summary/1.0_week.csv";

    // Hosts of the pages opened for an event.
    static constexpr const char* kEventPageHost = "http://earthquake.usgs.gov";
    static constexpr const char* kMapsHost = "http://maps.google.com";
    static constexpr const char* kNewsHost = "http://news.google.com";
    static constexpr const char* kCMTHost = "http://www.globalcmt.org";

    // The bulletin services, by the service's own host.
    enum class MessageService { WCATWC, PTWC, BigQuake, MTensor };

    NEIC_QueryController() = default;
    static zeva::Ref<NEIC_QueryController> create();
    // The defaults: empty origin list, the default feed URL, a date
    // formatter, magnitudes 5.0 to 19.0 (both included).
    void init();

    static const zeva::Class& staticClass();
    const zeva::Class& objectClass() const override { return staticClass(); }

    // ---- state
    zeva::Ref<zeva::MutableArray> seismicOrigins() const { return seismicOrigins_; }
    // The live list itself.
    zeva::MutableArray* getSeismicOriginsPointer() const { return seismicOrigins_.get(); }
    void setSeismicOrigins(const zeva::Ref<zeva::MutableArray>& v) { seismicOrigins_ = v; }
    // The feed URLs (zeva::URL objects), loaded in order.
    zeva::Ref<zeva::MutableArray> gsURLs() const { return gsURLs_; }
    void setGsURLs(const zeva::Ref<zeva::MutableArray>& v) { gsURLs_ = v; }
    zeva::Ref<zeva::Dictionary> theSettings() const { return theSettings_; }
    void setTheSettings(const zeva::Ref<zeva::Dictionary>& v) { theSettings_ = v; }
    zeva::Ref<zeva::DateFormatter> theDateFormatter() const { return theDateFormatter_; }
    void setTheDateFormatter(const zeva::Ref<zeva::DateFormatter>& v) { theDateFormatter_ = v; }
    zeva::Ref<ZEVAOrigin> theLatestOrigin() const { return theLatestOrigin_; }
    void setTheLatestOrigin(const zeva::Ref<ZEVAOrigin>& v) { theLatestOrigin_ = v; }
    // Referenced, not owned: the table belongs to the host and outlives the controller.
    zeva::TableView* eventTableView() const { return eventTableView_; }
    void setEventTableView(zeva::TableView* v) { eventTableView_ = v; }
    float minMagnitude() const { return minMagnitude_; }
    void setMinMagnitude(float v) { minMagnitude_ = v; }
    float maxMagnitude() const { return maxMagnitude_; }
    void setMaxMagnitude(float v) { maxMagnitude_ = v; }

    // ---- services (null: the platform's shared ones)
    void setURLFetcher(zeva::Ref<zeva::URLFetcher> fetcher) { fetcher_ = std::move(fetcher); }
    void setURLOpener(zeva::Ref<zeva::URLOpener> opener) { opener_ = std::move(opener); }
    // Replaces a bulletin service's host ("http://host:port") — tests point
    // them at a local server.
    void setMessageHost(MessageService service, std::string host);
    std::string messageHost(MessageService service) const;

    // ---- loading
    // Reads every URL in the summary layout (an ISO time in field 0, 13 or
    // more comma-separated fields a row, a header line first).
    bool loadNEIC_TextList();
    // Reads every URL in the quoted-date layout (a spelled-out date in
    // quotation marks in the fourth of ten columns, a header line first).
    bool loadNEIC_CSVvalues();
    // Why the last load failed, "" after a successful one.
    const std::string& lastLoadError() const { return lastLoadError_; }
    // What the last load made of each text it read, in URL order: its size,
    // its first bytes, its data lines (blank ones aside), how many of those
    // became an origin and how many of these with a time read from the row,
    // whatever the magnitude limits then kept.
    // Hosts tell from it a feed of another layout from one with no event.
    struct TextCounts {
        size_t bytes = 0;
        std::string head;  // the first 256 bytes
        size_t lines = 0;
        size_t read = 0;
        size_t timed = 0;
    };
    const std::vector<TextCounts>& lastLoadCounts() const { return lastLoadCounts_; }

    // ---- the event table
    int32_t numberOfRowsInTableView(zeva::TableView* tableView) override;
    // Null for a row outside the list.
    zeva::Ref<zeva::String> tableView_objectValueForTableColumn_row(zeva::TableView* tableView,
                                                                    const zeva::Ref<zeva::TableColumn>& column,
                                                                    int32_t row) override;
    void tableView_mouseDownInHeaderOfTableColumn(zeva::TableView* tableView,
                                                  const zeva::Ref<zeva::TableColumn>& column) override;
    void clearTableSortImages();

    // ---- pages about the selected event; NO without a selection or when
    // the page's URL cannot be made
    bool loadNeicEventPage();
    bool openGoogleMaps();
    bool googleNewsSearch();
    bool cmtSearch();

    // ---- bulletins; null when the fetch yields no text
    zeva::Ref<zeva::String> WCATWCMessage();
    zeva::Ref<zeva::String> PTWCMessage();
    zeva::Ref<zeva::String> BigQuakeMessage();
    zeva::Ref<zeva::String> USGSMTensorMessage();

private:
    zeva::Ref<zeva::String> fetch(const zeva::URL& url, std::string* error = nullptr);
    // The text of one entry of the URL list; throws when there is none, so
    // that a loader takes its failure path.
    zeva::Ref<zeva::String> feedText(const zeva::ObjectRef& entry);
    zeva::Ref<zeva::String> fetchMessage(MessageService service, const char* path);
    bool acceptsMagnitude(float m) const { return minMagnitude_ <= m && m <= maxMagnitude_; }
    void appendIfKept(const zeva::Ref<ZEVAOrigin>& origin);
    // Runs a loader body under the error guard: a failure logs the line,
    // empties the list and answers NO.
    template <class Body>
    bool guardedLoad(Body&& body);
    // The origin under the selected row, or null.
    zeva::Ref<ZEVAOrigin> selectedOrigin() const;
    bool openURLText(const std::string& text);

    zeva::Ref<zeva::MutableArray> seismicOrigins_;
    zeva::Ref<zeva::MutableArray> gsURLs_;
    zeva::Ref<zeva::Dictionary> theSettings_;
    zeva::Ref<zeva::DateFormatter> theDateFormatter_;
    zeva::Ref<ZEVAOrigin> theLatestOrigin_;
    zeva::Ref<zeva::String> alertMessage_;
    zeva::TableView* eventTableView_ = nullptr;
    float minMagnitude_ = 0;
    float maxMagnitude_ = 0;

    zeva::Ref<zeva::URLFetcher> fetcher_;
    zeva::Ref<zeva::URLOpener> opener_;
    std::string messageHosts_[4] = {"http://wcatwc.arh.noaa.gov", "http://ptwc.weather.gov", "http://neic.usgs.gov",
                                    "http://neic.usgs.gov"};
    std::string lastLoadError_;
    std::vector<TextCounts> lastLoadCounts_;
};
