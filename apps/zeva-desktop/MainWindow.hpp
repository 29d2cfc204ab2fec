// The zeva desktop window: a map of the events beside the event table over
// the event-list controller, a toolbar choosing the feed and the magnitude
// limits, the selected event for people (with its links and, one tab away,
// the origin's own description) and the bulletin texts. The list reloads
// itself every few minutes; events new since the previous load are marked
// until selected, and a new one at or above a magnitude raises a desktop
// notification once. Settings persist in Qt's own settings store.
//
// The selected event's waveforms (Waveforms, Ctrl+W) come from a data
// centre's station and dataselect services on a worker thread, as a record
// section on the details pane's Waveforms tab; what was fetched is kept for
// the session, per event.
//
// Feeds and bulletins are fetched on a worker thread, each by a controller
// of its own made for that one fetch; the window's controller is used on the
// interface thread only and takes over the loaded list when a load is done.
#pragma once

#include <QDateTime>
#include <QFutureWatcher>
#include <QMainWindow>
#include <QSet>
#include <QTimer>

#include <atomic>
#include <memory>

#include "FeedLoading.hpp"
#include "MapView.hpp"
#include "QtTableView.hpp"
#include "RecordSection.hpp"
#include "zeva/feed/NEIC_QueryController.hpp"

class QAction;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QTabWidget;
class QTextBrowser;
class QSystemTrayIcon;

namespace zeva::desktop {

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    enum class Feed { Live, Example, Location, Service };  // Service: an FDSN event service
    enum class Link { EventPage, Map, News, CMT };
    using Message = NEIC_QueryController::MessageService;

    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // The toolbar's settings; they take effect with the next reload.
    // location is a file path or a URL, for Feed::Location.
    void setFeed(Feed feed, const QString& location = {}, bool quoted = false);
    void setMagnitudeLimits(double minimum, double maximum);
    std::pair<double, double> magnitudeLimits() const;
    // The live feed without the fallback to the bundled example.
    void setLiveOnly(bool liveOnly) { liveOnly_ = liveOnly; }

    // Minutes between reloads (0: never) and the magnitude from which a new
    // event raises a notification; both saved with the settings.
    void setRefreshMinutes(int minutes);
    int refreshMinutes() const { return refreshMinutes_; }
    void setNotifyMagnitude(double magnitude);
    double notifyMagnitude() const { return notifyMagnitude_; }
    // Whether settings are written back (not for one-off screenshots).
    void setSavesSettings(bool saves) { savesSettings_ = saves; }
    // Shows the stations of a StationXML file on the map; false (saying why
    // in the status bar) when the file cannot be read.
    bool loadStations(const QString& path);

    // Where the waveforms come from (a data centre's short name or a base
    // URL), the ring of degrees around the epicentre and how many stations,
    // nearest first; saved with the settings.
    void setWaveformService(const QString& service);
    QString waveformService() const { return waveformService_; }
    void setWaveformRange(double minDegrees, double maxDegrees, int maxStations);
    RecordSectionView& recordSection() { return *section_; }
    bool isFetchingWaveforms() const { return fetching_; }

    NEIC_QueryController& controller() { return *controller_; }
    QtTableView& table() { return *table_; }
    MapView& map() { return *map_; }
    QTimer& refreshTimer() { return refreshTimer_; }
    Ref<ZEVAOrigin> selectedOrigin() const;
    // Identifiers of events that arrived with a reload and were not yet selected.
    QSet<QString> newEventIds() const { return newIds_; }
    int notificationCount() const { return notifications_; }
    bool isLoading() const { return loading_; }
    QString statusText() const;
    // The selected event as the details pane shows it, and the origin's own
    // description on the pane's second tab.
    QString detailsText() const;
    QString descriptionText() const;
    QString messageText() const;

public slots:
    // Loads the chosen feed off the interface thread; false (saying why in
    // the status bar) when it cannot start: a load is running, or the file
    // or URL is missing.
    bool reload();
    // Opens the page through the controller; false when nothing was opened.
    bool openLink(Link link);
    // Fetches the bulletin off the interface thread and shows it.
    void showMessage(Message message);
    // Fetches the selected event's waveforms off the interface thread (or
    // shows those fetched before); false (saying why in the status bar) when
    // no event is selected or a fetch is running.
    bool showWaveforms();
    void cancelWaveforms();

signals:
    void loadFinished(bool ok);
    void selectionChanged();
    // A new event at or above the notification magnitude (also shown in the
    // system tray when there is one).
    void notified(const QString& title, const QString& text);
    void messageShown();
    // A record section was shown (ok) or the fetch failed or was cancelled.
    void waveformsShown(bool ok);

private:
    struct LoadResult {
        Ref<MutableArray> origins;
        hosts::FeedOutcome outcome;
        QStringList notes;
    };

    void restoreSettings();
    void applyRefreshMinutes(int minutes);
    void saveSettings();
    void updateMap();
    void noteNewEvents(bool sameSource);
    void buildToolBar();
    void buildMenus();
    QWidget* buildCentralArea();
    void loadDone();
    void waveformsDone(const SectionResult& result);
    void showSectionStations(const SectionResult& result);
    void selectionMoved();
    void showTableMenu(const QPoint& at);
    // Sorts by the columns the controller leaves unsorted (catalogue,
    // contributor, identifier) in the direction its arrow shows.
    void sortTextColumn(int section);

    Ref<NEIC_QueryController> controller_ = NEIC_QueryController::create();
    QtTableView* table_ = nullptr;
    QFutureWatcher<LoadResult> loadWatcher_;
    bool loading_ = false;
    bool liveOnly_ = false;
    QString loadingWhat_;
    int messageRequest_ = 0;  // only the latest request's text is shown

    QTimer refreshTimer_;
    int refreshMinutes_ = 5;
    double notifyMagnitude_ = 6.0;
    bool savesSettings_ = true;
    QString lastSource_;     // what the list now shown was loaded from
    QDateTime lastLoaded_;
    QSet<QString> knownIds_;  // every event seen from lastSource_
    QSet<QString> newIds_;
    QSet<QString> notifiedIds_;
    int notifications_ = 0;
    QSystemTrayIcon* tray_ = nullptr;
    MapView* map_ = nullptr;

    QString waveformService_ = "IRIS";
    double minDegrees_ = 0, maxDegrees_ = 30;
    int maxStations_ = 10;
    RecordSectionView* section_ = nullptr;
    // The running fetch's own state, shared with its worker: a cancelled
    // fetch is let go at once and its worker ends on its own.
    struct Fetch {
        std::atomic<bool> cancel{false};
        std::atomic<int> done{0}, total{0};
    };
    std::shared_ptr<Fetch> fetch_;
    bool fetching_ = false;
    QString fetchingId_, fetchingTitle_;
    QHash<QString, SectionResult> sections_;  // per event identifier
    QAction* waveformAction_ = nullptr;
    QAction* cancelAction_ = nullptr;

    QAction* reloadAction_ = nullptr;
    QAction* linkActions_[4] = {};
    QComboBox* feedChoice_ = nullptr;
    QLineEdit* feedLocation_ = nullptr;
    QAction* browseAction_ = nullptr;
    QCheckBox* quotedLayout_ = nullptr;
    QDoubleSpinBox* minMagnitude_ = nullptr;
    QDoubleSpinBox* maxMagnitude_ = nullptr;
    QLabel* status_ = nullptr;
    QTabWidget* detailTabs_ = nullptr;
    QTextBrowser* details_ = nullptr;
    QPlainTextEdit* description_ = nullptr;
    QLabel* messageTitle_ = nullptr;
    QPlainTextEdit* message_ = nullptr;
};

}  // namespace zeva::desktop
