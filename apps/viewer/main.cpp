// mivo-viewer: shows the waterfall of a tile source, or writes it to a PNG.

#include "ScreenshotTaker.h"
#include "TileSourceLocation.h"
#include "ViewerOptions.h"
#include "WaterfallView.h"

#include <QApplication>

#include <cstdio>

using namespace mivo::viewer;

int main(int argc, char** argv)
{
    // The options first, without a display: --help, --version and mistakes need none,
    // and a QApplication aborts where there is no display.
    ViewerOptionsResult parsed;
    {
        QCoreApplication options(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("mivo-viewer"));
        parsed = parseViewerOptions(QCoreApplication::arguments());
    }
    if (!parsed.options) {
        std::fprintf(parsed.exitCode == 0 ? stdout : stderr, "%s\n", qPrintable(parsed.error));
        return parsed.exitCode;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("mivo-viewer"));
    const ViewerOptions& options = *parsed.options;
    const TileSourceLocation location = locateTileSource(options.source, options.sourceId);
    if (location.baseUrl.isEmpty()) {
        std::fprintf(stderr, "mivo-viewer: %s\n", qPrintable(location.error));
        return 1;
    }

    WaterfallView view(options);
    view.widget().setWindowTitle(QStringLiteral("mivo-viewer - %1").arg(location.baseUrl));
    QObject::connect(&view, &WaterfallView::si_warning, &app, [](const QString& message) {
        std::fprintf(stderr, "mivo-viewer: warning: %s\n", qPrintable(message));
    });

    std::unique_ptr<ScreenshotTaker> screenshot;
    if (!options.screenshotFile.isEmpty()) {
        screenshot = std::make_unique<ScreenshotTaker>(view, options.screenshotFile, options.timeoutSeconds);
        QObject::connect(screenshot.get(), &ScreenshotTaker::si_finished, &app,
                         [&location](int exitCode, const QString& message) {
                             if (exitCode == 0)
                                 std::printf("%s\n", qPrintable(message));
                             else
                                 std::fprintf(stderr, "mivo-viewer: %s: %s\n", qPrintable(location.baseUrl),
                                              qPrintable(message));
                             QApplication::exit(exitCode);
                         });
    } else {
        QObject::connect(&view, &WaterfallView::si_failed, &app, [&location](const QString& message) {
            std::fprintf(stderr, "mivo-viewer: %s: %s\n", qPrintable(location.baseUrl), qPrintable(message));
        });
    }
    view.widget().show();
    view.open(location.baseUrl);
    return app.exec();
}
