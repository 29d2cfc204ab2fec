#include "MainWindow.hpp"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QSettings>
#include <QSystemTrayIcon>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QTabWidget>
#include <QTextBrowser>
#include <QStatusBar>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <map>

#include "zeva/inventory/StationXML.hpp"
#include "zeva/inventory/ZEVAChannel.hpp"

namespace zeva::desktop {

namespace {

struct ColumnEntry {
    const char* id;
    const char* title;
    bool number;
};
constexpr ColumnEntry kColumns[] = {
    {"1", "Time (UTC)", false}, {"2", "Catalog", false},     {"3", "Latitude", true},
    {"4", "Longitude", true},   {"5", "Depth (km)", true},   {"6", "Magnitude", true},
    {"7", "Contributor", false}, {"8", "Event ID", false},   {"9", "Region", false},
};

struct LinkEntry {
    const char* title;
    const char* name;
    const char* tip;
    bool (NEIC_QueryController::*open)();
};
constexpr LinkEntry kLinks[] = {
    {"Event Page", "eventPageAction", "The event's page at the USGS", &NEIC_QueryController::loadNeicEventPage},
    {"Map", "mapAction", "A map of the epicentre", &NEIC_QueryController::openGoogleMaps},
    {"News", "newsAction", "A news search for the earthquake", &NEIC_QueryController::googleNewsSearch},
    {"CMT Search", "cmtAction", "A search of the moment-tensor catalogue around the event",
     &NEIC_QueryController::cmtSearch},
};

struct MessageEntry {
    MainWindow::Message service;
    const char* title;
    Ref<String> (NEIC_QueryController::*fetch)();
};
constexpr MessageEntry kMessages[] = {
    {MainWindow::Message::WCATWC, "WCATWC tsunami message", &NEIC_QueryController::WCATWCMessage},
    {MainWindow::Message::PTWC, "PTWC tsunami message", &NEIC_QueryController::PTWCMessage},
    {MainWindow::Message::BigQuake, "USGS big-earthquake bulletin", &NEIC_QueryController::BigQuakeMessage},
    {MainWindow::Message::MTensor, "USGS moment-tensor bulletin", &NEIC_QueryController::USGSMTensorMessage},
};

QString qtext(const std::string& s) { return QString::fromStdString(s); }
QString qtext(const Ref<String>& s) { return s ? QString::fromStdString(s->str()) : QString(); }

// Texts by character code; a missing text sorts first.
int compareTexts(const Ref<String>& a, const Ref<String>& b) {
    int c = (a ? a->str() : std::string()).compare(b ? b->str() : std::string());
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}

// The selected event for people: what the table shows, in words and units,
// with the four pages as links.
QString eventHtml(const ZEVAOrigin& origin) {
    auto row = [](const QString& name, const QString& value) {
        return "<tr><td><b>" + name.toHtmlEscaped() + "</b>&nbsp;</td><td>" + value.toHtmlEscaped() + "</td></tr>";
    };
    double lat = origin.latitude(), lon = origin.longitude();
    QString position = QString("%1\u00b0 %2, %3\u00b0 %4")
                           .arg(std::abs(lat), 0, 'f', 3)
                           .arg(lat < 0 ? "S" : "N")
                           .arg(std::abs(lon), 0, 'f', 3)
                           .arg(lon < 0 ? "W" : "E");
    QString magnitude = QString::number(double{origin.magnitude()}, 'f', 1);
    auto magnitudes = origin._magnitudes();
    auto first = magnitudes && magnitudes->count() > 0 ? magnitudes->objectAtIndexAs<ZEVAMagnitude>(0) : nullptr;
    if (first && first->_type()) magnitude += " " + qtext(first->_type());
    QString time = qtext(origin.timeString());
    if (time.endsWith('Z')) time.chop(1);
    QString html = "<table>";
    html += row("Time", time.replace('T', ' ') + " UTC");
    html += row("Position", position);
    html += row("Depth", QString::number(origin.depthValue(), 'f', 1) + " km");
    html += row("Magnitude", magnitude);
    html += row("Region", qtext(origin.FERegion()));
    html += row("Identifier", qtext(origin._id()));
    html += "</table><p>";
    for (size_t i = 0; i < std::size(kLinks); ++i)
        html += QString("<a href=\"zeva-link:%1\">%2</a>&nbsp;&nbsp; ").arg(i).arg(kLinks[i].title);
    return html + "</p>";
}

}  // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
    setWindowTitle("zeva \u2014 recent earthquakes");
    setCentralWidget(buildCentralArea());
    buildToolBar();
    buildMenus();
    status_ = new QLabel("Press Reload to load the event list.");
    status_->setObjectName("statusText");
    statusBar()->addWidget(status_, 1);

    controller_->setEventTableView(table_);
    table_->setDataSource(controller_.get());
    table_->setRowMarker([this](int row) {
        auto origins = controller_->getSeismicOriginsPointer();
        auto origin = origins && row >= 0 ? origins->objectAtIndexAs<ZEVAOrigin>(size_t(row)) : nullptr;
        return origin && newIds_.contains(qtext(origin->_id()));
    });
    connect(map_, &MapView::eventClicked, this, [this](int row) { table_->selectRow(row); });
    connect(table_->model(), &QAbstractItemModel::modelReset, this, &MainWindow::updateMap);
    connect(table_->model(), &QAbstractItemModel::dataChanged, this, &MainWindow::updateMap);
    connect(&refreshTimer_, &QTimer::timeout, this, [this] {
        if (!loading_) reload();
    });
    restoreSettings();
    connect(&loadWatcher_, &QFutureWatcher<LoadResult>::finished, this, &MainWindow::loadDone);
    connect(table_, &QtTableView::selectionChanged, this, &MainWindow::selectionMoved);
    // A sort puts another origin under the selected row.
    connect(table_->model(), &QAbstractItemModel::dataChanged, this, &MainWindow::selectionMoved);
    // After the table's own handler, which has let the controller set the arrow.
    connect(table_->header(), &QHeaderView::sectionClicked, this, &MainWindow::sortTextColumn);
    selectionMoved();
}

MainWindow::~MainWindow() {
    // The worker's controller is its own; only the hand-over must not run.
    loadWatcher_.disconnect(this);
    if (fetch_) fetch_->cancel = true;
    table_->setDataSource(nullptr);
    controller_->setEventTableView(nullptr);
}

QWidget* MainWindow::buildCentralArea() {
    auto* view = new QTableView;
    view->setObjectName("eventTable");
    view->setAlternatingRowColors(true);
    view->verticalHeader()->hide();
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 6);
    view->horizontalHeader()->setStretchLastSection(true);
    view->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(view, &QWidget::customContextMenuRequested, this, &MainWindow::showTableMenu);
    table_ = new QtTableView(view, this);
    for (const auto& c : kColumns)
        table_->addTableColumn(c.id, c.title, (c.number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);

    // The selected event's pages, its description and the bulletin pane.
    auto* links = new QHBoxLayout;
    links->setContentsMargins(0, 0, 0, 0);
    links->addWidget(new QLabel("Selected event:"));
    for (size_t i = 0; i < std::size(kLinks); ++i) {
        auto* action = new QAction(kLinks[i].title, this);
        action->setObjectName(kLinks[i].name);
        action->setToolTip(kLinks[i].tip);
        connect(action, &QAction::triggered, this, [this, i] { openLink(static_cast<Link>(i)); });
        linkActions_[i] = action;
        auto* button = new QToolButton;
        button->setDefaultAction(action);
        button->setObjectName(QString(kLinks[i].name).replace("Action", "Button"));
        links->addWidget(button);
    }
    links->addStretch(1);

    auto fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    details_ = new QTextBrowser;
    details_->setObjectName("details");
    details_->setOpenLinks(false);
    connect(details_, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
        bool ok = false;
        int link = url.path().toInt(&ok);
        if (url.scheme() == "zeva-link" && ok && link >= 0 && link < int(std::size(kLinks))) openLink(static_cast<Link>(link));
    });
    description_ = new QPlainTextEdit;
    description_->setObjectName("description");
    description_->setReadOnly(true);
    description_->setFont(fixed);
    detailTabs_ = new QTabWidget;
    detailTabs_->setObjectName("detailTabs");
    detailTabs_->addTab(details_, "Event");
    detailTabs_->addTab(description_, "Model text");
    section_ = new RecordSectionView;
    section_->setObjectName("recordSection");
    detailTabs_->addTab(section_, "Waveforms");
    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addLayout(links);
    leftLayout->addWidget(detailTabs_);

    messageTitle_ = new QLabel("Messages: choose a bulletin in the Messages menu.");
    message_ = new QPlainTextEdit;
    message_->setObjectName("message");
    message_->setReadOnly(true);
    message_->setFont(fixed);
    message_->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addWidget(messageTitle_);
    rightLayout->addWidget(message_);

    auto* lower = new QSplitter(Qt::Horizontal);
    lower->addWidget(left);
    lower->addWidget(right);
    map_ = new MapView;
    auto* upper = new QSplitter(Qt::Horizontal);
    upper->setObjectName("mapAndTable");
    upper->addWidget(map_);
    upper->addWidget(view);
    upper->setStretchFactor(0, 1);
    upper->setStretchFactor(1, 1);
    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(upper);
    split->addWidget(lower);
    // The table gets most of the height, also when the window is resized.
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    split->setSizes({750, 250});
    return split;
}

void MainWindow::buildToolBar() {
    auto* bar = addToolBar("Feed");
    bar->setObjectName("feedToolBar");
    bar->setMovable(false);
    reloadAction_ = bar->addAction("Reload", this, &MainWindow::reload);
    reloadAction_->setObjectName("reloadAction");
    reloadAction_->setShortcut(QKeySequence::Refresh);
    bar->addSeparator();

    bar->addWidget(new QLabel(" Magnitude "));
    auto spin = [&](const char* name, double value) {
        auto* box = new QDoubleSpinBox;
        box->setObjectName(name);
        box->setRange(-2.0, 20.0);
        box->setDecimals(1);
        box->setSingleStep(0.5);
        box->setValue(value);
        bar->addWidget(box);
        return box;
    };
    minMagnitude_ = spin("minMagnitude", controller_->minMagnitude());
    bar->addWidget(new QLabel(" to "));
    maxMagnitude_ = spin("maxMagnitude", controller_->maxMagnitude());
    bar->addSeparator();

    bar->addWidget(new QLabel(" Feed "));
    feedChoice_ = new QComboBox;
    feedChoice_->setObjectName("feedChoice");
    feedChoice_->addItems({"USGS live feed (past week)", "Bundled example", "File or URL", "FDSN event service"});
    bar->addWidget(feedChoice_);
    feedLocation_ = new QLineEdit;
    feedLocation_->setObjectName("feedLocation");
    feedLocation_->setPlaceholderText("file path or URL");
    feedLocation_->setMinimumWidth(220);
    feedLocation_->setMaximumWidth(420);
    connect(feedLocation_, &QLineEdit::returnPressed, this, &MainWindow::reload);
    bar->addWidget(feedLocation_);
    browseAction_ = bar->addAction("Open File\u2026", this, [this] {
        QString path = QFileDialog::getOpenFileName(this, "Feed file", {}, "Feeds (*.csv *.txt);;All files (*)");
        if (!path.isEmpty()) setFeed(Feed::Location, path, quotedLayout_->isChecked());
    });
    quotedLayout_ = new QCheckBox("Quoted-date layout");
    quotedLayout_->setObjectName("quotedLayout");
    quotedLayout_->setToolTip("The file or URL has the older layout with a spelled-out date in quotation marks");
    bar->addWidget(quotedLayout_);

    auto choiceChanged = [this](int index) {
        bool location = index == static_cast<int>(Feed::Location), service = index == static_cast<int>(Feed::Service);
        feedLocation_->setEnabled(location || service);
        feedLocation_->setPlaceholderText(service ? "data centre (EMSC, USGS, IRIS, ...) or base URL"
                                                  : "file path or URL");
        quotedLayout_->setEnabled(location);
    };
    connect(feedChoice_, &QComboBox::currentIndexChanged, this, choiceChanged);
    choiceChanged(feedChoice_->currentIndex());
}

void MainWindow::buildMenus() {
    waveformAction_ = new QAction("&Waveforms", this);
    waveformAction_->setObjectName("waveformAction");
    waveformAction_->setShortcut(QKeySequence("Ctrl+W"));
    waveformAction_->setToolTip("The selected event's waveforms from the data centre, as a record section (Ctrl+W)");
    connect(waveformAction_, &QAction::triggered, this, &MainWindow::showWaveforms);
    cancelAction_ = new QAction("&Cancel Waveforms", this);
    cancelAction_->setEnabled(false);
    connect(cancelAction_, &QAction::triggered, this, &MainWindow::cancelWaveforms);
    if (auto* bar = findChild<QToolBar*>()) {
        bar->addSeparator();
        bar->addAction(waveformAction_);
    }
    auto* cancel = new QToolButton;
    cancel->setDefaultAction(cancelAction_);
    cancel->setText("Cancel");
    statusBar()->addPermanentWidget(cancel);

    auto* file = menuBar()->addMenu("&File");
    file->addAction(reloadAction_);
    file->addAction(browseAction_);
    auto* stations = file->addAction("Load &Stations\u2026", this, [this] {
        QString path = QFileDialog::getOpenFileName(this, "StationXML file", {}, "StationXML (*.xml);;All files (*)");
        if (!path.isEmpty()) loadStations(path);
    });
    stations->setObjectName("stationsAction");
    file->addSeparator();
    file->addAction("&Quit", QKeySequence::Quit, this, &QWidget::close);

    auto* event = menuBar()->addMenu("&Event");
    for (auto* action : linkActions_) event->addAction(action);
    event->addSeparator();
    event->addAction(waveformAction_);
    event->addAction(cancelAction_);
    event->addAction("Waveform &Service\u2026", this, [this] {
        bool ok = false;
        QString text = QInputDialog::getText(this, "Waveform service",
                                             "Data centre (short name) or base URL of the station and dataselect services:",
                                             QLineEdit::Normal, waveformService_, &ok);
        if (ok && !text.trimmed().isEmpty()) setWaveformService(text.trimmed());
    });
    event->addAction("Waveform &Distances\u2026", this, [this] {
        bool ok = false;
        double most = QInputDialog::getDouble(this, "Waveform distances", "Stations up to (degrees):", maxDegrees_,
                                              0.1, 180, 1, &ok);
        if (!ok) return;
        int count = QInputDialog::getInt(this, "Waveform distances", "At most this many stations, nearest first:",
                                         maxStations_, 1, 100, 1, &ok);
        if (ok) setWaveformRange(std::min(minDegrees_, most), most, count);
    });

    auto* monitor = menuBar()->addMenu("&Monitor");
    auto* every = monitor->addAction("Reload &Every\u2026", this, [this] {
        bool ok = false;
        int minutes = QInputDialog::getInt(this, "Reload", "Minutes between reloads (0: never):", refreshMinutes_, 0,
                                           24 * 60, 1, &ok);
        if (ok) setRefreshMinutes(minutes);
    });
    every->setObjectName("refreshAction");
    auto* threshold = monitor->addAction("&Notify From Magnitude\u2026", this, [this] {
        bool ok = false;
        double m = QInputDialog::getDouble(this, "Notifications",
                                           "Notify when a new event at or above this magnitude arrives:",
                                           notifyMagnitude_, -2.0, 12.0, 1, &ok);
        if (ok) setNotifyMagnitude(m);
    });
    threshold->setObjectName("notifyAction");
    monitor->addAction("Show the &World", map_, &MapView::showWorld);

    auto* messages = menuBar()->addMenu("&Messages");
    messages->setObjectName("messagesMenu");
    for (const auto& m : kMessages) {
        auto* action = messages->addAction(m.title, this, [this, service = m.service] { showMessage(service); });
        action->setObjectName(QString("message%1").arg(static_cast<int>(m.service)));
    }
}

void MainWindow::setFeed(Feed feed, const QString& location, bool quoted) {
    feedChoice_->setCurrentIndex(static_cast<int>(feed));
    if (feed == Feed::Location || feed == Feed::Service) feedLocation_->setText(location);
    if (feed == Feed::Location) quotedLayout_->setChecked(quoted);
}

void MainWindow::setMagnitudeLimits(double minimum, double maximum) {
    minMagnitude_->setValue(minimum);
    maxMagnitude_->setValue(maximum);
}

std::pair<double, double> MainWindow::magnitudeLimits() const {
    return {minMagnitude_->value(), maxMagnitude_->value()};
}

QString MainWindow::statusText() const { return status_->text(); }
QString MainWindow::detailsText() const { return details_->toPlainText(); }
QString MainWindow::descriptionText() const { return description_->toPlainText(); }
QString MainWindow::messageText() const { return message_->toPlainText(); }

// ------------------------------------------------------------------ loading

bool MainWindow::reload() {
    if (loading_) return false;
    hosts::FeedRequest request;
    request.liveOnly = liveOnly_;
    switch (static_cast<Feed>(feedChoice_->currentIndex())) {
        case Feed::Live: loadingWhat_ = "the live USGS feed"; break;
        case Feed::Example:
            request.example = true;
            loadingWhat_ = "the bundled example";
            break;
        case Feed::Location: {
            QString location = feedLocation_->text().trimmed();
            auto url = location.isEmpty() ? nullptr : hosts::urlFromArgument(location.toStdString());
            if (!url) {
                status_->setText(location.isEmpty() ? "Enter a file path or URL to load."
                                                    : "Not a file path or URL: " + location);
                return false;
            }
            request.urls = {url};
            request.quoted = quotedLayout_->isChecked();
            loadingWhat_ = qtext(url->absoluteString());
            break;
        }
        case Feed::Service: {
            QString service = feedLocation_->text().trimmed();
            std::string problem = service.isEmpty() ? "Enter a data centre or a base URL to load."
                                                    : hosts::serviceProblem(service.toStdString());
            if (!problem.empty()) {
                status_->setText(qtext(problem));
                return false;
            }
            request.service = service.toStdString();
            loadingWhat_ = "the event service " + service;
            break;
        }
    }
    controller_->setMinMagnitude(static_cast<float>(minMagnitude_->value()));
    controller_->setMaxMagnitude(static_cast<float>(maxMagnitude_->value()));
    saveSettings();

    auto worker = NEIC_QueryController::create();
    worker->setMinMagnitude(controller_->minMagnitude());
    worker->setMaxMagnitude(controller_->maxMagnitude());
    loading_ = true;
    reloadAction_->setEnabled(false);
    status_->setText("Loading " + loadingWhat_ + "\u2026");
    loadWatcher_.setFuture(QtConcurrent::run([worker, request] {
        LoadResult result;
        result.outcome =
            hosts::loadEventFeed(*worker, request, [&](const std::string& note) { result.notes << qtext(note); });
        result.origins = worker->seismicOrigins();
        return result;
    }));
    return true;
}

void MainWindow::loadDone() {
    LoadResult result = loadWatcher_.result();
    loading_ = false;
    reloadAction_->setEnabled(true);
    QDateTime now = QDateTime::currentDateTimeUtc();
    QString at = now.toString("yyyy-MM-dd HH:mm:ss") + " UTC";
    if (result.outcome.ok) {
        QString source = result.outcome.usedExample ? "the bundled example" : loadingWhat_;
        bool sameSource = lastLoaded_.isValid() && source == lastSource_;
        lastSource_ = source;
        lastLoaded_ = now;
        controller_->setSeismicOrigins(result.origins ? result.origins : MutableArray::array());
        noteNewEvents(sameSource);
    }
    table_->setNeedsDisplay(true);
    table_->view()->resizeColumnsToContents();

    int rows = controller_->numberOfRowsInTableView(table_);
    QString text = rows == 1 ? "1 event" : QString("%1 events").arg(rows);
    text += QString(" of magnitude %1 to %2").arg(controller_->minMagnitude(), 0, 'f', 1).arg(controller_->maxMagnitude(), 0, 'f', 1);
    text += result.outcome.usedExample ? " from the bundled example (not live data)" : " from " + loadingWhat_;
    if (!newIds_.isEmpty()) text += QString(", %1 new").arg(newIds_.size());
    text += ", loaded " + at;
    if (!result.outcome.ok) {
        // The list shown before stays, and says where it came from.
        text = "Nothing loaded from " + loadingWhat_ + " at " + at;
        if (lastLoaded_.isValid())
            text += QString("; showing %1 events from %2, loaded %3 UTC")
                        .arg(rows)
                        .arg(lastSource_, lastLoaded_.toString("yyyy-MM-dd HH:mm:ss"));
    }
    // The notes start with a file's or URL's name as often as with a word,
    // so they are shown as they come.
    if (!result.notes.isEmpty()) text += " \u2014 " + result.notes.join("; ");
    status_->setText(text);
    status_->setToolTip(text);
    if (result.outcome.ok) {
        bool fellBack = result.outcome.usedExample && static_cast<Feed>(feedChoice_->currentIndex()) != Feed::Example;
        map_->setNote(fellBack ? "Offline: the bundled example, not live data"
                      : result.outcome.usedExample ? "The bundled example, not live data"
                                                   : QString());
    }
    updateMap();
    emit loadFinished(result.outcome.ok);
}

void MainWindow::noteNewEvents(bool sameSource) {
    auto origins = controller_->getSeismicOriginsPointer();
    if (!sameSource) {
        knownIds_.clear();
        newIds_.clear();
    }
    QStringList big;
    for (size_t i = 0; origins && i < origins->count(); ++i) {
        auto origin = origins->objectAtIndexAs<ZEVAOrigin>(i);
        if (!origin) continue;
        QString id = qtext(origin->_id());
        if (knownIds_.contains(id)) continue;
        knownIds_.insert(id);
        if (!sameSource) continue;
        newIds_.insert(id);
        if (origin->magnitude() >= notifyMagnitude_ && !notifiedIds_.contains(id)) {
            notifiedIds_.insert(id);
            QString title = QString("Magnitude %1 earthquake").arg(double{origin->magnitude()}, 0, 'f', 1);
            QString where = qtext(origin->shortFERegion()).trimmed();
            QString text = (where.isEmpty() ? QString("New event") : where) + " at " + qtext(origin->timeString());
            ++notifications_;
            if (!tray_ && QSystemTrayIcon::isSystemTrayAvailable()) {
                tray_ = new QSystemTrayIcon(windowIcon(), this);
                tray_->setToolTip("zeva: recent earthquakes");
                tray_->show();
            }
            if (tray_) tray_->showMessage(title, text, QSystemTrayIcon::Warning);
            emit notified(title, text);
        }
    }
}

void MainWindow::updateMap() {
    auto origins = controller_->getSeismicOriginsPointer();
    int rows = controller_->numberOfRowsInTableView(table_);
    QVector<MapEvent> events;
    for (int row = 0; origins && row < rows; ++row) {
        auto origin = origins->objectAtIndexAs<ZEVAOrigin>(size_t(row));
        MapEvent e;
        if (origin) {
            e.lon = origin->longitude();
            e.lat = origin->latitude();
            e.depthKm = origin->depthValue();
            e.magnitude = origin->magnitude();
            e.isNew = newIds_.contains(qtext(origin->_id()));
        }
        events.append(e);
    }
    map_->setEvents(events);
    auto origin = selectedOrigin();
    map_->setSelected(origin ? table_->selectedRow() : -1,
                      origin ? QString("M %1 \u00b7 %2").arg(double{origin->magnitude()}, 0, 'f', 1).arg(qtext(origin->FERegion()))
                             : QString());
}

// ------------------------------------------------------------------ settings

void MainWindow::restoreSettings() {
    QSettings settings;
    notifyMagnitude_ = settings.value("monitor/notifyMagnitude", notifyMagnitude_).toDouble();
    int minutes = settings.value("monitor/refreshMinutes", refreshMinutes_).toInt();
    int feed = settings.value("feed/choice", 0).toInt();
    if (feed >= 0 && feed <= static_cast<int>(Feed::Service))
        setFeed(static_cast<Feed>(feed), settings.value("feed/location").toString(),
                settings.value("feed/quoted", false).toBool());
    if (settings.contains("feed/minMagnitude"))
        setMagnitudeLimits(settings.value("feed/minMagnitude").toDouble(), settings.value("feed/maxMagnitude").toDouble());
    applyRefreshMinutes(minutes);
    waveformService_ = settings.value("waveforms/service", waveformService_).toString();
    minDegrees_ = settings.value("waveforms/minDegrees", minDegrees_).toDouble();
    maxDegrees_ = settings.value("waveforms/maxDegrees", maxDegrees_).toDouble();
    maxStations_ = settings.value("waveforms/maxStations", maxStations_).toInt();
}

void MainWindow::saveSettings() {
    if (!savesSettings_) return;
    QSettings settings;
    settings.setValue("monitor/refreshMinutes", refreshMinutes_);
    settings.setValue("monitor/notifyMagnitude", notifyMagnitude_);
    settings.setValue("feed/choice", feedChoice_->currentIndex());
    settings.setValue("feed/location", feedLocation_->text());
    settings.setValue("feed/quoted", quotedLayout_->isChecked());
    settings.setValue("feed/minMagnitude", minMagnitude_->value());
    settings.setValue("feed/maxMagnitude", maxMagnitude_->value());
    settings.setValue("waveforms/service", waveformService_);
    settings.setValue("waveforms/minDegrees", minDegrees_);
    settings.setValue("waveforms/maxDegrees", maxDegrees_);
    settings.setValue("waveforms/maxStations", maxStations_);
}

// ------------------------------------------------------------------ waveforms

void MainWindow::setWaveformService(const QString& service) {
    if (service == waveformService_) return;
    waveformService_ = service;
    sections_.clear();  // fetched from another data centre
    saveSettings();
}

void MainWindow::setWaveformRange(double minDegrees, double maxDegrees, int maxStations) {
    minDegrees_ = std::clamp(minDegrees, 0.0, 180.0);
    maxDegrees_ = std::clamp(maxDegrees, minDegrees_, 180.0);
    maxStations_ = std::max(1, maxStations);
    sections_.clear();
    saveSettings();
}

bool MainWindow::showWaveforms() {
    auto origin = selectedOrigin();
    if (!origin || !origin->_origin_time()) {
        status_->setText("Select an event to see its waveforms.");
        return false;
    }
    if (fetching_) {
        status_->setText("Waveforms are still being fetched; cancel that first.");
        return false;
    }
    const QString id = qtext(origin->_id());
    const QString title = QString("%1  %2  (%3, %4 to %5\u00b0)")
                              .arg(id, qtext(origin->FERegion()), waveformService_)
                              .arg(minDegrees_)
                              .arg(maxDegrees_);
    detailTabs_->setCurrentWidget(section_);
    if (auto kept = sections_.find(id); kept != sections_.end()) {
        section_->setSection(*kept, title);
        showSectionStations(*kept);
        status_->setText(QString("Waveforms of %1 (fetched before): %2 stations").arg(id).arg(kept->traces.size()));
        emit waveformsShown(true);
        return true;
    }
    SectionRequest request;
    request.service = waveformService_;
    request.latitude = origin->latitude();
    request.longitude = origin->longitude();
    request.originTime = origin->_origin_time()->epochTime();
    request.minDegrees = minDegrees_;
    request.maxDegrees = maxDegrees_;
    request.maxStations = maxStations_;
    fetching_ = true;
    fetchingId_ = id;
    fetchingTitle_ = title;
    auto state = std::make_shared<Fetch>();
    fetch_ = state;
    waveformAction_->setEnabled(false);
    cancelAction_->setEnabled(true);
    status_->setText("Asking " + waveformService_ + " for the stations around " + id + "\u2026");
    auto* progress = new QTimer(this);
    connect(progress, &QTimer::timeout, this, [this, progress, state] {
        if (fetch_ != state) return progress->deleteLater();
        if (state->total > 0)
            status_->setText(QString("Fetching waveforms of %1: %2 of %3 stations\u2026")
                                 .arg(fetchingId_)
                                 .arg(state->done.load())
                                 .arg(state->total.load()));
    });
    progress->start(200);
    // The watcher goes with its fetch; one let go by Cancel finishes unheard.
    auto* watcher = new QFutureWatcher<SectionResult>(this);
    connect(watcher, &QFutureWatcher<SectionResult>::finished, this, [this, watcher, state] {
        watcher->deleteLater();
        if (fetch_ == state) waveformsDone(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run([request, state] {
        return fetchSection(request, state->cancel, [state](int done, int total) {
            state->done = done;
            state->total = total;
        });
    }));
    return true;
}

void MainWindow::cancelWaveforms() {
    if (!fetching_ || !fetch_) return;
    fetch_->cancel = true;
    fetch_.reset();
    SectionResult cancelled;
    cancelled.cancelled = true;
    waveformsDone(cancelled);
}

void MainWindow::waveformsDone(const SectionResult& result) {
    fetch_.reset();
    fetching_ = false;
    waveformAction_->setEnabled(true);
    cancelAction_->setEnabled(false);
    if (result.cancelled) {
        status_->setText("Waveforms of " + fetchingId_ + " cancelled.");
        emit waveformsShown(false);
        return;
    }
    section_->setSection(result, fetchingTitle_);
    if (!result.error.isEmpty()) {
        status_->setText(result.error);
        emit waveformsShown(false);
        return;
    }
    sections_.insert(fetchingId_, result);
    showSectionStations(result);
    QString text = QString("Waveforms of %1: %2 stations").arg(fetchingId_).arg(result.traces.size());
    if (!result.failures.isEmpty()) text += QString(", %1 failed (listed under the traces)").arg(result.failures.size());
    status_->setText(text + ".");
    emit waveformsShown(true);
}

void MainWindow::applyRefreshMinutes(int minutes) {
    refreshMinutes_ = std::clamp(minutes, 0, 24 * 60);
    refreshTimer_.stop();
    if (refreshMinutes_ > 0) {
        refreshTimer_.setInterval(std::chrono::minutes(refreshMinutes_));
        refreshTimer_.start();
    }
}

void MainWindow::setRefreshMinutes(int minutes) {
    applyRefreshMinutes(minutes);
    saveSettings();
}

void MainWindow::setNotifyMagnitude(double magnitude) {
    notifyMagnitude_ = magnitude;
    saveSettings();
}

// ------------------------------------------------------------------ stations

bool MainWindow::loadStations(const QString& path) {
    StationXMLInventory inventory;
    stationxml::Failure failure;
    if (!importStationXMLFile(path.toStdString(), &inventory, &failure)) {
        QString where = failure.line > 0 ? QString(" (line %1)").arg(failure.line) : QString();
        status_->setText("No stations from " + path + where + ": " + qtext(failure.message));
        return false;
    }
    // One triangle per station, whatever its channels and epochs.
    std::map<QString, MapStation> byCode;
    for (size_t i = 0; i < inventory.channels->count(); ++i) {
        auto channel = inventory.channels->objectAtIndexAs<ZEVAChannel>(i);
        if (!channel) continue;
        QString code = qtext(channel->network_code()) + "." + qtext(channel->station_code());
        byCode[code] = {channel->longitude(), channel->latitude(), code};
    }
    QVector<MapStation> stations;
    for (const auto& [code, station] : byCode) stations.append(station);
    map_->setStations(stations);
    status_->setText(QString("%1 stations from %2").arg(stations.size()).arg(path));
    return true;
}

// The stations the station service gave for a record section, on the map.
void MainWindow::showSectionStations(const SectionResult& result) {
    QVector<MapStation> stations;
    for (const auto& s : result.stations) stations.append({s.longitude, s.latitude, s.code});
    map_->setStations(stations);
}

// ------------------------------------------------------------------ the selected event

Ref<ZEVAOrigin> MainWindow::selectedOrigin() const {
    int row = table_->selectedRow();
    auto origins = controller_->getSeismicOriginsPointer();
    return row >= 0 && origins ? origins->objectAtIndexAs<ZEVAOrigin>(static_cast<size_t>(row)) : nullptr;
}

void MainWindow::selectionMoved() {
    auto origin = selectedOrigin();
    for (auto* action : linkActions_) action->setEnabled(origin != nullptr);
    description_->setPlainText(origin ? qtext(origin->description()) : "No event selected.");
    details_->setHtml(origin ? eventHtml(*origin) : "<p>No event selected.</p>");
    // Seen now: the new mark goes.
    if (origin && newIds_.remove(qtext(origin->_id()))) table_->view()->viewport()->update();
    updateMap();
    emit selectionChanged();
}

void MainWindow::sortTextColumn(int section) {
    using Comparison = int (*)(const ZEVAOrigin&, const ZEVAOrigin&);
    static constexpr Comparison kByText[] = {
        [](const ZEVAOrigin& a, const ZEVAOrigin& b) { return compareTexts(a._catalog(), b._catalog()); },
        [](const ZEVAOrigin& a, const ZEVAOrigin& b) { return a.compareContributor(b); },
        [](const ZEVAOrigin& a, const ZEVAOrigin& b) { return compareTexts(a._id(), b._id()); },
    };
    int which = section == 1 ? 0 : section == 6 ? 1 : section == 7 ? 2 : -1;
    bool ascending = true;
    auto origins = controller_->getSeismicOriginsPointer();
    if (which < 0 || !origins || table_->indicatedColumn(&ascending) != section) return;
    origins->sortUsingComparator([&](const ObjectRef& a, const ObjectRef& b) {
        auto left = std::dynamic_pointer_cast<ZEVAOrigin>(a);
        auto right = std::dynamic_pointer_cast<ZEVAOrigin>(b);
        if (!left || !right) return 0;
        int c = kByText[which](*left, *right);
        return ascending ? c : -c;
    });
    table_->setNeedsDisplay(true);
}

bool MainWindow::openLink(Link link) {
    const auto& entry = kLinks[static_cast<size_t>(link)];
    bool opened = ((*controller_).*(entry.open))();
    if (!opened)
        statusBar()->showMessage(QString("The %1 page could not be opened.").arg(QString(entry.title).toLower()), 5000);
    return opened;
}

void MainWindow::showTableMenu(const QPoint& at) {
    auto index = table_->view()->indexAt(at);
    if (!index.isValid()) return;
    table_->selectRow(index.row());
    QMenu menu(this);
    for (auto* action : linkActions_) menu.addAction(action);
    menu.exec(table_->view()->viewport()->mapToGlobal(at));
}

// ------------------------------------------------------------------ bulletins

void MainWindow::showMessage(Message service) {
    const MessageEntry* entry = nullptr;
    for (const auto& m : kMessages)
        if (m.service == service) entry = &m;
    if (!entry) return;
    QString title = entry->title;
    QString host = qtext(controller_->messageHost(service));
    int request = ++messageRequest_;
    messageTitle_->setText(title + " \u2014 " + host);
    message_->setPlainText("Fetching the " + title + " from " + host + "\u2026");

    auto worker = NEIC_QueryController::create();
    worker->setMessageHost(service, controller_->messageHost(service));
    auto* watcher = new QFutureWatcher<Ref<String>>(this);
    connect(watcher, &QFutureWatcher<Ref<String>>::finished, this, [=, this] {
        watcher->deleteLater();
        if (request != messageRequest_) return;
        Ref<String> text = watcher->result();
        message_->setPlainText(text ? qtext(text->str())
                                    : "The " + title + " could not be fetched from " + host +
                                          ". The service may be down or unreachable from here.");
        emit messageShown();
    });
    watcher->setFuture(QtConcurrent::run([worker, fetch = entry->fetch] { return ((*worker).*fetch)(); }));
}

}  // namespace zeva::desktop
