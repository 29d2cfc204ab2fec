// The desktop window, driven as a user would: the toolbar's feed choice, a
// real click on a column header, the link buttons and the Messages menu.
#include <QAction>
#include <QHeaderView>
#include <QImageReader>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QToolTip>
#include <QWheelEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <memory>

#include "MainWindow.hpp"
#include "feed/feed_support.hpp"

using zeva::desktop::MainWindow;
using zeva::desktop::MapView;

namespace {

// Each window starts from empty settings (Qt's test location, see initTestCase).
struct FreshSettings {
    FreshSettings() { QSettings().clear(); }
};

struct Window : FreshSettings {
    MainWindow w;
    Window() {
        w.resize(1100, 700);
        w.show();
    }
    // Reloads and waits for the load to end; answers what the load answered.
    bool load() {
        QSignalSpy done(&w, &MainWindow::loadFinished);
        if (!w.reload() || !done.wait(30000)) return false;
        return done.first().first().toBool();
    }
    int rows() { return w.table().model()->rowCount(); }
    // A cell's text by column number (1 to 9) as the table shows it.
    QString cell(int row, int column) { return w.table().model()->index(row, column - 1).data().toString(); }
    void clickHeader(int column) {
        auto* header = w.table().view()->horizontalHeader();
        int section = column - 1;
        w.table().view()->scrollTo(w.table().model()->index(0, section));
        QPoint at(header->sectionViewportPosition(section) + header->sectionSize(section) / 2, header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
    }
    // Which way the arrow drawn in a header section points: +1 up, -1 down,
    // 0 when nothing is drawn there. A triangle pointing up is wider in its
    // lower half.
    int arrowDirection(int column) {
        auto* header = w.table().header();
        w.table().view()->scrollTo(w.table().model()->index(0, column - 1));
        QImage image = header->viewport()->grab().toImage();
        QRect box = header->arrowRect(column - 1);
        QColor ink = header->palette().color(QPalette::ButtonText);
        int upper = 0, lower = 0;
        for (int y = box.top(); y <= box.bottom(); ++y)
            for (int x = box.left(); x <= box.right(); ++x) {
                QColor c = image.pixelColor(x, y);
                if (std::abs(c.lightness() - ink.lightness()) < 40) (y < box.center().y() ? upper : lower)++;
            }
        return upper + lower < 4 ? 0 : lower > upper ? 1 : -1;
    }
    QString messageAfter(QAction* action) {
        QSignalSpy shown(&w, &MainWindow::messageShown);
        action->trigger();
        return shown.wait(30000) ? w.messageText() : "(no message shown)";
    }
};

}  // namespace

class MainWindowTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName("zeva");
        QCoreApplication::setApplicationName("zeva_tests_desktop");
    }

    // The example with narrower limits from the toolbar.
    void loadsTheExampleWithTheToolbarLimits() {
        Window t;
        t.w.setFeed(MainWindow::Feed::Example);
        t.w.setMagnitudeLimits(7.0, 9.0);
        QVERIFY(t.load());
        const auto expected = feedtest::exampleIds(7.0, 9.0).size();
        QVERIFY(expected > 0);
        QCOMPARE(size_t(t.rows()), expected);
        const QString status = t.w.statusText();
        QVERIFY2(status.startsWith(QString("%1 events").arg(expected)) && status.contains("bundled example") &&
                     status.contains(", loaded " + QDateTime::currentDateTimeUtc().toString("yyyy-MM-dd")),
                 qPrintable(status));
        QCOMPARE(t.w.map().note(), QString("The bundled example, not live data"));
    }

    // Two real clicks on the magnitude header: the controller sorts its own
    // list (row i of the view stays entry i of the list), whole rows move,
    // and the controller's indicator shows as the header's arrow. Then the
    // four buttons open the pages of the event under the selection through
    // the controller's opener.
    void headerSortsBothWaysAndLinksOpenTheSelectedEvent() {
        Window t;
        t.w.setFeed(MainWindow::Feed::Example);
        QVERIFY(t.load());
        QMap<QString, QString> magnitudeById;
        for (int r = 0; r < t.rows(); ++r) magnitudeById[t.cell(r, 8)] = t.cell(r, 6);

        for (bool ascending : {true, false}) {
            t.clickHeader(6);
            auto list = t.w.controller().getSeismicOriginsPointer();
            for (int r = 0; r < t.rows(); ++r) {
                QCOMPARE(t.cell(r, 8).toStdString(), list->objectAtIndexAs<ZEVAOrigin>(r)->_id()->str());
                QCOMPARE(t.cell(r, 6), magnitudeById.value(t.cell(r, 8)));
                if (r == 0) continue;
                double previous = t.cell(r - 1, 6).toDouble(), here = t.cell(r, 6).toDouble();
                QVERIFY2(ascending ? previous <= here : previous >= here, qPrintable(QString("row %1").arg(r)));
            }
            QVERIFY(t.cell(0, 6) != t.cell(t.rows() - 1, 6));
            // The arrow points up for ascending, only in the clicked header.
            QCOMPARE(t.arrowDirection(6), ascending ? 1 : -1);
            QCOMPARE(t.arrowDirection(1), 0);
        }

        // Catalogue, contributor and identifier sort by their text, the
        // first click ascending; the arrow's strip never overlaps a title.
        t.w.table().view()->resizeColumnsToContents();
        for (int column : {2, 7, 8}) {
            t.clickHeader(column);
            QCOMPARE(t.arrowDirection(column), 1);
            QCOMPARE(t.arrowDirection(6), 0);
            for (int r = 1; r < t.rows(); ++r)
                QVERIFY2(t.cell(r - 1, column) <= t.cell(r, column), qPrintable(QString("column %1 row %2").arg(column).arg(r)));
            t.clickHeader(column);
            QCOMPARE(t.arrowDirection(column), -1);
            QVERIFY(t.cell(0, column) >= t.cell(t.rows() - 1, column));
        }
        auto* header = t.w.table().header();
        for (int section = 0; section < header->count(); ++section)
            QVERIFY2(header->sectionSize(section) >= header->titleWidth(section) + header->arrowRect(section).width(),
                     qPrintable(QString("section %1").arg(section)));

        auto opener = std::make_shared<feedtest::RecordingOpener>();
        t.w.controller().setURLOpener(opener);
        QVERIFY(!t.w.findChild<QAction*>("eventPageAction")->isEnabled());
        auto* view = t.w.table().view();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(view->model()->index(2, 0)).center());
        QCOMPARE(t.w.table().selectedRow(), 2);
        // The details pane in people's terms; the model's own text a tab away.
        const QString details = t.w.detailsText();
        auto origin = t.w.controller().getSeismicOriginsPointer()->objectAtIndexAs<ZEVAOrigin>(2);
        for (const QString& part : {t.cell(2, 1).chopped(1).replace('T', ' ') + " UTC",
                                    QString::number(origin->depthValue(), 'f', 1) + " km",
                                    QString::number(double{origin->magnitude()}, 'f', 1),
                                    QString::fromStdString(origin->FERegion()->str()), t.cell(2, 8),
                                    QString("Event Page"), QString("CMT Search")})
            QVERIFY2(details.contains(part), qPrintable(part + " not in " + details));
        QVERIFY(t.w.descriptionText() == QString::fromStdString(origin->description()));
        for (const char* name : {"eventPageButton", "mapButton", "newsButton", "cmtButton"})
            QTest::mouseClick(t.w.findChild<QToolButton*>(name), Qt::LeftButton);

        // The pages' texts are the controller's (its own tests hold them):
        // each button opens what its controller call opens.
        auto clicked = opener->opened;
        opener->opened.clear();
        auto& c = t.w.controller();
        QVERIFY(c.loadNeicEventPage() && c.openGoogleMaps() && c.googleNewsSearch() && c.cmtSearch());
        QCOMPARE(clicked, opener->opened);
        QVERIFY2(QString::fromStdString(clicked[0]).endsWith("/eventpage/" + t.cell(2, 8) + "#summary"),
                 clicked[0].c_str());
    }

    // A bulletin from a local server, line breaks kept, and a clear word
    // when a service cannot be reached.
    void messagesComeFromTheService() {
        feedtest::LoopbackServer server;
        if (!server.running()) QSKIP("no loopback server");
        const std::string text = "TSUNAMI INFORMATION STATEMENT NUMBER 1\nNO TSUNAMI THREAT\n";
        server.serve("/message.txt", text);
        Window t;
        t.w.controller().setMessageHost(MainWindow::Message::WCATWC, server.base());
        QCOMPARE(t.messageAfter(t.w.findChild<QAction*>("message0")).toStdString(), text);

        const std::string refused = feedtest::refusedBase();
        t.w.controller().setMessageHost(MainWindow::Message::PTWC, refused);
        QString failed = t.messageAfter(t.w.findChild<QAction*>("message1"));
        QVERIFY2(failed.contains("could not be fetched from " + QString::fromStdString(refused)), qPrintable(failed));
    }

    // A feed that cannot be read says why in the status line (the command
    // line's tests hold the live feed's fallback, which both share).
    void aFailedLoadSaysWhy() {
        Window t;
        QString dead = QString::fromStdString(feedtest::refusedBase()) + "/feed.csv";
        t.w.setFeed(MainWindow::Feed::Location, dead);
        QVERIFY(!t.load());
        QCOMPARE(t.rows(), 0);
        QVERIFY2(t.w.statusText().startsWith("Nothing loaded") && t.w.statusText().contains(" \u2014 " + dead + ": "),
                 qPrintable(t.w.statusText()));
    }

    // The map: land and sea where the shoreline files put them, each event's
    // circle at its place in its depth's colour, a click selecting the row
    // and the table's selection shown on the map; the wheel zooms about the
    // pointer to finer coastlines; stations of an inventory as triangles.
    void mapShowsTheEventsOnLandAndSea() {
        Window t;
        t.w.setFeed(MainWindow::Feed::Example);
        QVERIFY(t.load());
        MapView& map = t.w.map();
        QCOMPARE(map.events().size(), t.rows());
        auto pixel = [&](double lon, double lat) { return map.grab().toImage().pixelColor(map.toScreen(lon, lat).toPoint()); };
        if (map.coastlineMessage().isEmpty()) {
            QCOMPARE(pixel(10, 22), MapView::landColour());    // Sahara
            QCOMPARE(pixel(-98, 38.5), MapView::landColour());  // Kansas
            QCOMPARE(pixel(100, 62), MapView::landColour());    // Siberia
            QCOMPARE(pixel(-140, -20), MapView::seaColour());  // mid-Pacific
            QCOMPARE(pixel(-25, -10), MapView::seaColour());   // mid-Atlantic
        } else {
            qWarning("%s", qPrintable(map.coastlineMessage()));
        }
        auto origins = t.w.controller().getSeismicOriginsPointer();
        for (int row = 0; row < t.rows(); ++row) {
            auto origin = origins->objectAtIndexAs<ZEVAOrigin>(row);
            QPointF at = map.toScreen(origin->longitude(), origin->latitude());
            // A click on the circle's centre selects its row, also where
            // circles overlap.
            QCOMPARE(map.eventAt(at), row);
            QTest::mouseClick(&map, Qt::LeftButton, {}, at.toPoint());
            QCOMPARE(t.w.table().selectedRow(), row);
            QCOMPARE(map.selected(), row);
            QVERIFY(map.caption().endsWith(QString::fromStdString(origin->FERegion()->str())));
            QCOMPARE(pixel(origin->longitude(), origin->latitude()), MapView::colourFor(origin->depthValue()));
        }
        // The wheel zooms about the pointer (once the world's edges no
        // longer hold the view), to finer coastlines.
        map.zoomBy(4, map.toScreen(35, 38));
        QPointF about = map.toScreen(35, 38);  // Anatolia
        for (int i = 0; i < 10; ++i) {
            QWheelEvent wheel(about, map.mapToGlobal(about), {}, {0, 120}, Qt::NoButton, {}, Qt::NoScrollPhase, false);
            QApplication::sendEvent(&map, &wheel);
        }
        QVERIFY(QLineF(map.toScreen(35, 38), about).length() < 1.0);
        QCOMPARE(map.resolution(), zeva::map::Resolution::Intermediate);
        if (map.coastlineMessage().isEmpty()) {
            // Off the grid's whole degrees.
            QCOMPARE(pixel(33.5, 39.5), MapView::landColour());
            QCOMPARE(pixel(35.4, 35.2), MapView::seaColour());  // between Cyprus and Syria
        }
        QPointF before = map.toScreen(35, 38);
        QTest::mousePress(&map, Qt::LeftButton, {}, QPoint(100, 100));
        QTest::mouseMove(&map, QPoint(130, 110));
        QTest::mouseRelease(&map, Qt::LeftButton, {}, QPoint(130, 110));
        QVERIFY(QLineF(map.toScreen(35, 38), before + QPointF(30, 10)).length() < 1.0);

        // Stations of an inventory, one triangle per station.
        const QString stations = ZEVA_SHARED_DATA_DIR "/stationxml/IU_ANMO_BH.xml";
        if (QFile::exists(stations)) {
            QVERIFY(t.w.loadStations(stations));
            map.showWorld();
            QPoint anmo = map.toScreen(-106.457, 34.946).toPoint();  // Albuquerque
            QCOMPARE(map.stationAt(anmo), 0);
            QHelpEvent hover(QEvent::ToolTip, anmo, map.mapToGlobal(anmo));
            QApplication::sendEvent(&map, &hover);
            QCOMPARE(QToolTip::text(), QString("IU.ANMO"));
            QVERIFY2(t.w.statusText().startsWith("1 stations from"), qPrintable(t.w.statusText()));
        }
        QVERIFY(!t.w.loadStations(ZEVA_SOURCE_DIR "/README.md"));
        QVERIFY2(t.w.statusText().startsWith("No stations from " ZEVA_SOURCE_DIR "/README.md"), qPrintable(t.w.statusText()));
    }

    // Without the shoreline files the map still shows the events, over sea,
    // and says what is missing.
    void mapWithoutCoastlinesSaysSo() {
        QTemporaryDir empty;
        qputenv("ZEVA_GSHHG_DIR", empty.path().toUtf8());
        MapView map;
        qunsetenv("ZEVA_GSHHG_DIR");
        map.resize(720, 360);
        map.setEvents({{10, 22, 33, 7}});
        QImage image = map.grab().toImage();
        QVERIFY2(map.coastlineMessage().startsWith("No coastlines: " + empty.path() + "/binned_GSHHS_c.nc: no such file"),
                 qPrintable(map.coastlineMessage()));
        QCOMPARE(image.pixelColor(map.toScreen(10, 22).toPoint()), MapView::colourFor(33));
        QCOMPARE(image.pixelColor(map.toScreen(70, 50).toPoint()), MapView::seaColour());

        // Crude files only: a close view falls back to them and says so.
        const QString crude = QString::fromStdString(zeva::map::shorelineDirectory()) + "/binned_GSHHS_c.nc";
        if (!QFile::exists(crude)) return;
        QVERIFY(QFile::link(crude, empty.filePath("binned_GSHHS_c.nc")));
        qputenv("ZEVA_GSHHG_DIR", empty.path().toUtf8());
        MapView crudeOnly;
        qunsetenv("ZEVA_GSHHG_DIR");
        crudeOnly.resize(720, 360);
        (void)crudeOnly.grab();  // laid out at its size before zooming
        crudeOnly.zoomBy(20, crudeOnly.toScreen(20, 10));
        QCOMPARE(crudeOnly.resolution(), zeva::map::Resolution::Intermediate);
        image = crudeOnly.grab().toImage();
        QVERIFY2(crudeOnly.coastlineMessage().startsWith("Crude coastlines only: " + empty.path() + "/binned_GSHHS_i.nc"),
                 qPrintable(crudeOnly.coastlineMessage()));
        QCOMPARE(image.pixelColor(crudeOnly.toScreen(20.5, 10.5).toPoint()), MapView::landColour());  // Chad
    }

    // The reload timer, fired here rather than waited for: events new since
    // the last load are marked (bold) until selected, a new one at or above
    // the threshold raises one notification, once; the settings persist.
    void reloadsMarkNewEventsAndNotifyOnce() {
        QTemporaryDir dir;
        const QString feed = dir.filePath("feed.csv");
        QFile example(ZEVA_SOURCE_DIR "/examples/notable-earthquakes.csv");
        QVERIFY(example.open(QIODevice::ReadOnly));
        QStringList lines = QString(example.readAll()).split('\n', Qt::SkipEmptyParts);
        auto write = [&](int rows) {
            QFile out(feed);
            QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(lines.mid(0, rows + 1).join('\n').toUtf8() + "\n");
        };
        // The last two rows: Turkey 7.8 and Morocco 6.8.
        write(int(lines.size()) - 3);

        Window t;
        t.w.setFeed(MainWindow::Feed::Location, feed);
        t.w.setRefreshMinutes(7);
        t.w.setNotifyMagnitude(7.5);
        QCOMPARE(t.w.refreshTimer().interval(), 7 * 60 * 1000);
        QVERIFY(t.w.refreshTimer().isActive());
        QVERIFY(t.load());
        QVERIFY(t.w.newEventIds().isEmpty());
        QSignalSpy notified(&t.w, &MainWindow::notified);
        auto fire = [&] {
            QSignalSpy done(&t.w, &MainWindow::loadFinished);
            QMetaObject::invokeMethod(&t.w.refreshTimer(), "timeout");
            return done.wait(30000) && done.first().first().toBool();
        };
        write(int(lines.size()) - 1);
        for (int round = 0; round < 2; ++round) {
            QVERIFY(fire());
            QCOMPARE(t.w.newEventIds(), (QSet<QString>{"us6000jllz", "us7000kufc"}));
            QCOMPARE(notified.size(), 1);
            QVERIFY2(notified.first().at(0).toString() == "Magnitude 7.8 earthquake" &&
                         notified.first().at(1).toString().startsWith("Turkey at 2023-02-06T01:17:34"),
                     qPrintable(notified.first().at(1).toString()));
            QVERIFY2(t.w.statusText().contains(QString("%1 events of magnitude 5.0 to 19.0 from ").arg(t.rows())) &&
                         t.w.statusText().contains(feed + ", 2 new, loaded "),
                     qPrintable(t.w.statusText()));
        }
        auto bold = [&](int row) { return t.w.table().model()->index(row, 0).data(Qt::FontRole).value<QFont>().bold(); };
        int turkey = -1;
        for (int r = 0; r < t.rows(); ++r) {
            bool isNew = t.cell(r, 8) == "us6000jllz" || t.cell(r, 8) == "us7000kufc";
            QCOMPARE(bold(r), isNew);
            QCOMPARE(t.w.map().events()[r].isNew, isNew);
            if (t.cell(r, 8) == "us6000jllz") turkey = r;
        }
        t.w.table().selectRow(turkey);
        QCOMPARE(t.w.newEventIds(), QSet<QString>{"us7000kufc"});
        QVERIFY(!bold(turkey) && !t.w.map().events()[turkey].isNew);

        // A failed reload keeps the list and says what is shown.
        QFile::remove(feed);
        QVERIFY(!fire());
        QVERIFY2(t.w.statusText().startsWith("Nothing loaded from file://" + feed + " at ") &&
                     t.w.statusText().contains(QString("; showing %1 events from file://%2, loaded ").arg(t.rows()).arg(feed)),
                 qPrintable(t.w.statusText()));
        QCOMPARE(t.rows(), int(lines.size()) - 1);

        // The settings came back in a new window; 0 turns the timer off.
        MainWindow again;
        QCOMPARE(again.refreshMinutes(), 7);
        QCOMPARE(again.notifyMagnitude(), 7.5);
        again.setRefreshMinutes(0);
        QVERIFY(!again.refreshTimer().isActive());
    }

    // The window after loading the example, first row selected, saved for a
    // person to look at; the selection must show in the picture.
    void screenshotOfTheExample() {
        Window t;
        t.w.resize(1280, 760);
        t.w.setFeed(MainWindow::Feed::Example);
        QVERIFY(t.load());
        t.w.table().selectRow(0);
        QCoreApplication::processEvents();
        QImage image = t.w.grab().toImage();
        QVERIFY(image.save(ZEVA_DESKTOP_SCREENSHOT, "PNG"));
        auto* view = t.w.table().view();
        QPoint inFirstRow = view->viewport()->mapTo(&t.w, view->visualRect(view->model()->index(0, 1)).topLeft() + QPoint(2, 2));
        QCOMPARE(image.pixelColor(inFirstRow), view->palette().color(QPalette::Active, QPalette::Highlight));
    }

    // The same from the command line, and a bad option refused.
    void screenshotFromTheCommandLine() {
        QTemporaryDir dir;
        QString file = dir.filePath("shot.png");
        QProcess p;
        // The user's settings neither read nor written.
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_CONFIG_HOME", dir.filePath("config"));
        p.setProcessEnvironment(environment);
        p.start(ZEVA_DESKTOP_PATH, {"--example", "--min", "8", "--screenshot", file});
        QVERIFY(p.waitForFinished(60000));
        QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0, p.readAllStandardError().constData());
        QVERIFY(QString(p.readAllStandardOutput()).startsWith(QString("%1 events").arg(feedtest::exampleIds(8, 19).size())));
        QImage image(file);
        QCOMPARE(image.size(), QSize(1280, 760));

        // Other formats by their extension, bad extensions and failed loads
        // refused: exit code and the first words on standard error.
        struct Case {
            QStringList args;
            int exitCode;
            QString error;
        };
        const QString dead = QString::fromStdString(feedtest::refusedBase()) + "/feed.csv";
        const Case cases[] = {
            {{"--example", "--min", "8", "--screenshot", dir.filePath("shot.JPG")}, 0, ""},
            {{"--example", "--url", "x.csv", "--screenshot", file}, 2, "zeva-desktop: --example goes"},
            {{"--example", "--screenshot", dir.filePath("shot.txt")}, 2, "zeva-desktop: --screenshot " + dir.filePath("shot.txt")},
            {{"--example", "--screenshot", dir.filePath("shot")}, 2, "zeva-desktop: --screenshot"},
            {{"--url", dead, "--screenshot", file}, 1, "zeva-desktop: Nothing loaded from " + dead},
            {{"--url", "", "--screenshot", file}, 1, "zeva-desktop: Enter a file path"},
            {{"--example", "--min", "7", "--max", "5", "--screenshot", file}, 2, "zeva-desktop: --min 7 is above --max 5"},
            {{"--example", "--min", "nan", "--screenshot", file}, 2, "zeva-desktop: --min: not a number"},
            {{"--example", "--max", "25", "--screenshot", file}, 2, "zeva-desktop: --max: magnitudes go from -2 to 20"},
            {{"--example", "--refresh", "-1", "--screenshot", file}, 2, "zeva-desktop: --refresh is 0 to 1440"},
            {{"--example", "--fdsn", "ftp://x", "--screenshot", file}, 2, "zeva-desktop: --fdsn ftp://x"},
            {{"--example", "--stations", ZEVA_SOURCE_DIR "/README.md", "--screenshot", file}, 1,
             "zeva-desktop: No stations from " ZEVA_SOURCE_DIR "/README.md"},
        };
        for (const auto& c : cases) {
            p.start(ZEVA_DESKTOP_PATH, c.args);
            QVERIFY(p.waitForFinished(60000));
            QString error = p.readAllStandardError();
            // Qt may say something of its own before.
            QVERIFY2(p.exitCode() == c.exitCode && (c.error.isEmpty() || error.contains(c.error)),
                     qPrintable(c.args.join(' ') + QString(": exit %1, ").arg(p.exitCode()) + error));
        }
        QCOMPARE(QImageReader(dir.filePath("shot.JPG")).format(), QByteArray("jpeg"));
        QVERIFY(!QFile::exists(dir.filePath("config/zeva/zeva-desktop.conf")));
    }

    // The waveform action against a loopback data centre: the station
    // service lists five stations (in no particular order, one beyond the
    // ring), dataselect serves the shared answers and fails for one station.
    // The record section holds the others nearest first, in velocity, and
    // lists the failed station with its reason; the second time nothing is
    // fetched; an unreachable service says so.
    void waveformActionShowsARecordSectionInDistanceOrder() {
        const std::string dir = ZEVA_SHARED_DATA_DIR "/fdsn/";
        auto slurp = [](const std::string& path) {
            QFile f(QString::fromStdString(path));
            return f.open(QIODevice::ReadOnly) ? f.readAll().toStdString() : std::string();
        };
        const std::string anmo = slurp(dir + "dataselect_example.mseed"), mixed = slurp(dir + "dataselect_example_mixed_wildcards.mseed");
        if (anmo.empty() || mixed.empty()) QSKIP("the shared FDSN answers are absent (" ZEVA_SHARED_DATA_DIR "/fdsn)");

        // Stations on the equator east of the epicentre at (0, 0): the
        // longitude is the distance. The gain differs per station.
        struct Station { const char* code; double degrees, gain; };
        const Station stations[] = {{"ANMO", 8, 2e9}, {"ADK", 15, 5e8}, {"FAR", 40, 1e9}, {"AFI", 3, 1e9}, {"FAIL", 5, 1e9}};
        std::string xml = "<?xml version=\"1.0\"?>\n<FDSNStationXML schemaVersion=\"1.1\"><Network code=\"IU\">\n";
        for (const auto& st : stations) {
            const std::string at = "<Latitude>0</Latitude><Longitude>" + std::to_string(st.degrees) +
                                   "</Longitude><Elevation>0</Elevation>";
            const std::string units = "<InputUnits><Name>M/S</Name></InputUnits><OutputUnits><Name>COUNTS</Name></OutputUnits>";
            xml += std::string("<Station code=\"") + st.code + "\">" + at + "<Channel code=\"BHZ\" locationCode=\"00\">" + at +
                   "<Depth>0</Depth><SampleRate>20</SampleRate><Response><InstrumentSensitivity><Value>" +
                   std::to_string(st.gain) + "</Value><Frequency>1</Frequency>" + units +
                   "</InstrumentSensitivity><Stage number=\"1\"><PolesZeros>" + units +
                   "<PzTransferFunctionType>LAPLACE (RADIANS/SECOND)</PzTransferFunctionType>"
                   "<NormalizationFactor>1</NormalizationFactor><NormalizationFrequency>1</NormalizationFrequency>"
                   "</PolesZeros><StageGain><Value>" + std::to_string(st.gain) +
                   "</Value><Frequency>1</Frequency></StageGain></Stage></Response></Channel></Station>\n";
        }
        xml += "</Network></FDSNStationXML>\n";
        std::atomic<int> dataRequests{0};
        std::atomic<bool> hold{false};
        zeva::test::LoopbackServer server([&](httplib::Server& s) {
            s.Get("/fdsnws/dataselect/1/query", [&](const httplib::Request& req, httplib::Response& res) {
                ++dataRequests;
                for (int i = 0; i < 2000 && hold; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
                const std::string station = req.get_param_value("station");
                if (station == "ANMO") res.set_content(anmo, "application/vnd.fdsn.mseed");
                else if (station == "ADK" || station == "AFI") res.set_content(mixed, "application/vnd.fdsn.mseed");
                else res.status = 500, res.set_content("Error 500: the archive of " + station + " is offline", "text/plain");
            });
        });
        if (!server.running()) QSKIP("no loopback server");
        server.serve("/fdsnws/station/1/query", xml);

        QTemporaryDir tmp;
        const QString feed = tmp.filePath("feed.csv");
        QFile out(feed);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("time,latitude,longitude,depth,mag,magType,nst,gap,dmin,rms,net,id,updated,place,type\n"
                  "2010-02-27T06:30:00.000Z,0,0,10,6.5,mw,,,,,us,us2010test,2010-02-27T06:30:00.000Z,\"Gulf of Guinea\",earthquake\n");
        out.close();
        Window t;
        t.w.setFeed(MainWindow::Feed::Location, feed);
        QVERIFY(t.load());
        auto* action = t.w.findChild<QAction*>("waveformAction");
        QVERIFY(action);
        QVERIFY(!t.w.showWaveforms());  // nothing selected
        t.w.table().selectRow(0);
        t.w.setWaveformService(QString::fromStdString(server.base()));
        auto fetch = [&] {
            QSignalSpy shown(&t.w, &MainWindow::waveformsShown);
            action->trigger();
            return (shown.size() > 0 || shown.wait(60000)) && shown.first().first().toBool();
        };
        QVERIFY2(fetch(), qPrintable(t.w.statusText()));
        const auto& section = t.w.recordSection().section();
        QCOMPARE(int(section.traces.size()), 3);
        const char* order[] = {"IU.AFI.00.BHZ", "IU.ANMO.00.BHZ", "IU.ADK.00.BHZ"};
        const double gains[] = {1e9, 2e9, 5e8};
        for (int i = 0; i < 3; ++i) {
            const auto& trace = section.traces[size_t(i)];
            QCOMPARE(trace.code, QString(order[i]));
            QVERIFY(i == 0 || trace.distance > section.traces[size_t(i - 1)].distance);
            QVERIFY(t.w.recordSection().traceLabel(size_t(i)).startsWith(trace.code + "  " + QString::number(trace.distance, 'f', 1) + "\u00b0  peak "));
            // In velocity: no larger than the counts' spread over the gain.
            QVERIFY(!trace.samples.empty() && trace.peak > 0);
            auto [lo, hi] = std::minmax_element(trace.samples.begin(), trace.samples.end());
            QCOMPARE(float(trace.peak), std::max(-*lo, *hi));
            QVERIFY2(trace.peak < 2e5 / gains[i], qPrintable(QString::number(trace.peak)));
            QVERIFY(std::abs(trace.start) < 1);  // the answers begin with the origin
        }
        QCOMPARE(section.failures.size(), 1);
        QVERIFY2(section.failures[0].startsWith("IU.FAIL (5.0\u00b0): HTTP 500") &&
                     section.failures[0].contains("the archive of FAIL is offline"),
                 qPrintable(section.failures[0]));
        QCOMPARE(dataRequests.load(), 4);  // FAR lies beyond the ring
        // The stations the service gave in the ring are on the map, failed ones too.
        QStringList mapped;
        for (const auto& s : t.w.map().stations()) mapped << s.code;
        mapped.sort();
        QCOMPARE(mapped, QStringList({"IU.ADK", "IU.AFI", "IU.ANMO", "IU.FAIL"}));
        QVERIFY(!t.w.recordSection().grab().toImage().isNull());

        // Kept for the session: shown again without a request.
        QVERIFY(fetch());
        QCOMPARE(dataRequests.load(), 4);
        QCOMPARE(int(t.w.recordSection().section().traces.size()), 3);

        // At most two stations, nearest first.
        t.w.setWaveformRange(0, 30, 2);
        QVERIFY(fetch());
        QCOMPARE(int(t.w.recordSection().section().traces.size()), 1);
        QCOMPARE(t.w.recordSection().section().failures.size(), 1);

        // Cancel lets a fetch stuck in a download go at once; what it
        // fetches afterwards is never shown, the next fetch is.
        t.w.setWaveformRange(0, 30, 3);
        hold = true;
        const int before = dataRequests;
        QSignalSpy shown(&t.w, &MainWindow::waveformsShown);
        action->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(dataRequests > before, 30000);
        QVERIFY(!action->isEnabled() && t.w.isFetchingWaveforms());
        t.w.cancelWaveforms();
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first().first().toBool(), false);
        QVERIFY2(t.w.statusText().endsWith("cancelled."), qPrintable(t.w.statusText()));
        QVERIFY(action->isEnabled() && !t.w.isFetchingWaveforms());
        hold = false;
        QVERIFY(fetch());
        QCOMPARE(shown.size(), 2);
        QCOMPARE(int(t.w.recordSection().section().traces.size()), 2);

        t.w.setWaveformService(QString::fromStdString(zeva::test::refusedBase()));
        QVERIFY(!fetch());
        QVERIFY2(t.w.statusText().startsWith("The station service cannot be reached"), qPrintable(t.w.statusText()));
    }
};

QTEST_MAIN(MainWindowTest)
#include "test_main_window.moc"
