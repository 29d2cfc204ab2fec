// The desktop window, driven as a user would: the toolbar's feed choice, a
// real click on a column header, the link buttons and the Messages menu.
#include <QHeaderView>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "MainWindow.hpp"
#include "feed/feed_support.hpp"

using zeva::desktop::MainWindow;

namespace {

struct Window {
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
        QPoint at(header->sectionViewportPosition(section) + header->sectionSize(section) / 2, header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
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
        QVERIFY2(status.startsWith(QString("%1 events").arg(expected)) && status.contains("bundled example"), qPrintable(status));
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

        auto* header = t.w.table().view()->horizontalHeader();
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
            QVERIFY(header->isSortIndicatorShown());
            QCOMPARE(header->sortIndicatorSection(), 5);
            QCOMPARE(header->sortIndicatorOrder(), ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        }

        auto opener = std::make_shared<feedtest::RecordingOpener>();
        t.w.controller().setURLOpener(opener);
        QVERIFY(!t.w.findChild<QAction*>("eventPageAction")->isEnabled());
        auto* view = t.w.table().view();
        QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, view->visualRect(view->model()->index(2, 0)).center());
        QCOMPARE(t.w.table().selectedRow(), 2);
        QVERIFY(t.w.detailsText().contains(t.cell(2, 1)));
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
        p.start(ZEVA_DESKTOP_PATH, {"--example", "--min", "8", "--screenshot", file});
        QVERIFY(p.waitForFinished(60000));
        QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0, p.readAllStandardError().constData());
        QVERIFY(QString(p.readAllStandardOutput()).startsWith(QString("%1 events").arg(feedtest::exampleIds(8, 19).size())));
        QImage image(file);
        QCOMPARE(image.size(), QSize(1280, 760));

        p.start(ZEVA_DESKTOP_PATH, {"--example", "--url", "x.csv", "--screenshot", file});
        QVERIFY(p.waitForFinished(60000));
        QCOMPARE(p.exitCode(), 2);
    }
};

QTEST_MAIN(MainWindowTest)
#include "test_main_window.moc"
