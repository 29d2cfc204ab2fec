// zeva-desktop: the event list in a window.
//
//   zeva-desktop [--example | --live | --url FILE-OR-URL [--layout quoted] | --service NAME-OR-URL]
//                [--min M] [--max M] [--stations STATIONXML] [--refresh MINUTES]
//                [--fdsn NAME-OR-URL] [--size WIDTHxHEIGHT] [--screenshot FILE]
//
// Options not given keep what was saved from the last session (feed,
// magnitude limits, reload interval, waveform data centre).
//
// With --screenshot it draws the window without a display (Qt's offscreen
// platform), with the first row selected once the list is loaded, saves it
// in the image format its extension names (png, jpg, bmp, ...) and exits:
// 0 when saved, 1 when the list could not be loaded or the file written.
#include <QApplication>
#include <QCommandLineParser>
#include <QHash>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QPixmap>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "FeedLoading.hpp"
#include "MainWindow.hpp"
#include "zeva/fdsn/FDSNClient.hpp"

using zeva::desktop::MainWindow;
using zeva::desktop::MapView;

namespace {

// The window with its 256 most frequent colours, the others drawn in the
// nearest of them: the edges of smoothed letters lose a shade or two and the
// file shrinks to a size fit for documentation.
QImage withFewColours(const QImage& window) {
    QImage rgb = window.convertToFormat(QImage::Format_RGB32);
    QHash<QRgb, int> counts;
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x) ++counts[line[x]];
    }
    if (counts.size() <= 256) return rgb.convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither);
    QList<QPair<int, QRgb>> byCount;
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) byCount.append({it.value(), it.key()});
    std::sort(byCount.begin(), byCount.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    // The map's depth and station colours stay exact however few pixels show them.
    QList<QRgb> table;
    for (double depth : {10.0, 100.0, 500.0}) table.append(MapView::colourFor(depth).rgb());
    table.append(MapView::stationColour().rgb());
    for (int i = 0; table.size() < 256; ++i)
        if (!table.contains(byCount[i].second)) table.append(byCount[i].second);
    return rgb.convertToFormat(QImage::Format_Indexed8, table, Qt::ThresholdDither);
}

}  // namespace

int main(int argc, char** argv) {
    bool screenshot = false;
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--screenshot") == 0) screenshot = true;
    if (screenshot && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName("zeva-desktop");
    QApplication::setOrganizationName("zeva");
    QCommandLineParser parser;
    parser.setApplicationDescription("The USGS list of recent earthquakes in a window.");
    parser.addHelpOption();
    QCommandLineOption example("example", "Show the bundled example instead of the live feed.");
    QCommandLineOption live("live", "The live feed only, without falling back to the bundled example.");
    QCommandLineOption url("url", "Load a feed file or URL.", "file-or-url");
    QCommandLineOption service("service", "The past week of an FDSN event service: a data centre (EMSC, USGS, ...) or a base URL.",
                               "name-or-url");
    QCommandLineOption layout("layout", "The layout of --url: summary (default) or quoted.", "layout", "summary");
    QCommandLineOption min("min", "Smallest magnitude shown (default 5.0).", "M");
    QCommandLineOption max("max", "Largest magnitude shown (default 19.0).", "M");
    QCommandLineOption stations("stations", "Show the stations of a StationXML file on the map.", "file");
    QCommandLineOption refresh("refresh", "Reload the list every MINUTES minutes (0: never; default 5, or as saved).",
                               "MINUTES");
    QCommandLineOption fdsn("fdsn",
                            "The data centre of the waveforms: a short name (default IRIS, or as saved) "
                            "or the base URL of its station and dataselect services.",
                            "name-or-url");
    QCommandLineOption size("size", "The window's size in pixels (default 1280x760).", "WIDTHxHEIGHT", "1280x760");
    QCommandLineOption shot("screenshot",
                            "Save the window once loaded, in the format the file's extension names "
                            "(png, jpg, bmp, ...), then exit.",
                            "file");
    parser.addOptions({example, live, url, service, layout, min, max, stations, refresh, fdsn, size, shot});
    parser.process(app);

    auto fail = [](const QString& message) {
        std::fprintf(stderr, "zeva-desktop: %s\n", qPrintable(message));
        return 2;
    };
    if (parser.values(url).size() > 1) return fail("one --url at a time");
    if (parser.isSet(example) && (parser.isSet(url) || parser.isSet(live)))
        return fail("--example goes without --url and --live");
    if (parser.isSet(service) && (parser.isSet(url) || parser.isSet(example) || parser.isSet(live)))
        return fail("--service goes without --url, --example and --live");
    if (parser.isSet(service))
        if (std::string problem = zeva::hosts::serviceProblem(parser.value(service).toStdString()); !problem.empty())
            return fail("--service: " + QString::fromStdString(problem));
    QString layoutName = parser.value(layout);
    if (layoutName != "summary" && layoutName != "quoted") return fail("--layout is summary or quoted");

    QString shotFile = parser.value(shot);
    QByteArray shotFormat = QFileInfo(shotFile).suffix().toLower().toLatin1();
    if (shotFormat == "jpeg") shotFormat = "jpg";
    if (screenshot && !QImageWriter::supportedImageFormats().contains(shotFormat)) {
        QStringList known;
        for (const auto& f : QImageWriter::supportedImageFormats()) known << QString::fromLatin1(f);
        return fail("--screenshot " + shotFile + ": the extension names no image format this program writes (" +
                    known.join(", ") + ")");
    }

    int refreshMinutes = -1;
    if (parser.isSet(refresh)) {
        bool ok = false;
        refreshMinutes = parser.value(refresh).toInt(&ok);
        if (!ok || refreshMinutes < 0 || refreshMinutes > 24 * 60) return fail("--refresh is 0 to 1440 minutes");
    }

    if (parser.isSet(fdsn)) {
        std::string why;
        if (!zeva::fdsn::queryURL(parser.value(fdsn).toStdString(), zeva::fdsn::Service::Dataselect, &why))
            return fail("--fdsn " + parser.value(fdsn) + ": " + QString::fromStdString(why));
    }

    MainWindow window;
    // A screenshot leaves the saved settings alone and, unless told
    // otherwise, shows the live feed.
    window.setSavesSettings(!screenshot);
    if (refreshMinutes >= 0) window.setRefreshMinutes(refreshMinutes);
    if (screenshot) window.setFeed(MainWindow::Feed::Live);
    if (parser.isSet(example))
        window.setFeed(MainWindow::Feed::Example);
    else if (parser.isSet(url))
        window.setFeed(MainWindow::Feed::Location, parser.value(url), layoutName == "quoted");
    else if (parser.isSet(service))
        window.setFeed(MainWindow::Feed::Service, parser.value(service));
    window.setLiveOnly(parser.isSet(live));
    if (parser.isSet(fdsn)) window.setWaveformService(parser.value(fdsn));
    auto [savedMin, savedMax] = window.magnitudeLimits();
    double limits[2] = {savedMin, savedMax};
    const QCommandLineOption* limitOptions[2] = {&min, &max};
    for (int i = 0; i < 2; ++i) {
        if (!parser.isSet(*limitOptions[i])) continue;
        bool ok = false;
        limits[i] = parser.value(*limitOptions[i]).toDouble(&ok);
        if (!ok || !std::isfinite(limits[i])) return fail("--" + limitOptions[i]->names().first() + ": not a number");
        if (limits[i] < -2 || limits[i] > 20)
            return fail("--" + limitOptions[i]->names().first() + ": magnitudes go from -2 to 20");
    }
    if (limits[0] > limits[1]) return fail(QString("--min %1 is above --max %2").arg(limits[0]).arg(limits[1]));
    window.setMagnitudeLimits(limits[0], limits[1]);

    QStringList extent = parser.value(size).split('x');
    int width = extent.value(0).toInt(), height = extent.value(1).toInt();
    if (extent.size() != 2 || width < 200 || height < 150) return fail("--size is WIDTHxHEIGHT, at least 200x150");
    if (parser.isSet(stations) && !window.loadStations(parser.value(stations))) {
        std::fprintf(stderr, "zeva-desktop: %s\n", qPrintable(window.statusText()));
        return 1;
    }
    window.resize(width, height);
    window.show();
    if (screenshot) {
        QObject::connect(&window, &MainWindow::loadFinished, &app, [&](bool loaded) {
            if (!loaded) {
                std::fprintf(stderr, "zeva-desktop: %s\n", qPrintable(window.statusText()));
                app.exit(1);
                return;
            }
            window.table().selectRow(0);
            // Let the selection and the resized columns be laid out first.
            QTimer::singleShot(0, &app, [&] {
                QImage image = window.grab().toImage();
                // PNG with few colours and quality 0 (its strongest
                // compression) makes a file fit for documentation; the other
                // formats get the window as it is.
                bool saved = shotFormat == "png" ? withFewColours(image).save(shotFile, "PNG", 0)
                                                 : image.save(shotFile, shotFormat.constData());
                std::printf("%s\n", qPrintable(window.statusText()));
                if (!saved) std::fprintf(stderr, "zeva-desktop: could not write %s\n", qPrintable(shotFile));
                app.exit(saved ? 0 : 1);
            });
        });
    }
    if (!window.reload() && screenshot) {
        std::fprintf(stderr, "zeva-desktop: %s\n", qPrintable(window.statusText()));
        return 1;
    }
    return app.exec();
}
