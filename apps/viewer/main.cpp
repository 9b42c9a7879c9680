// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// mivo-viewer: shows the waterfall of a tile source, or writes it to a PNG.

#include "AnnotationWorkspaces.h"
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
    if (!location.error.isEmpty()) {
        std::fprintf(stderr, "mivo-viewer: %s\n", qPrintable(location.error));
        return 1;
    }

    WaterfallView view(options);
    // The source's own annotations first, so that they are the active workspace; a
    // broken one is reported and left out, a broken --workspace file ends the program.
    const QString ownWorkspace = sourceWorkspaceFile(location.baseUrl);
    if (!ownWorkspace.isEmpty()) {
        const QString error = view.annotations().open(ownWorkspace);
        if (!error.isEmpty())
            std::fprintf(stderr, "mivo-viewer: warning: %s\n", qPrintable(error));
    }
    for (const QString& file : options.workspaceFiles) {
        const QString error = view.annotations().open(file);
        if (!error.isEmpty()) {
            std::fprintf(stderr, "mivo-viewer: %s\n", qPrintable(error));
            return 1;
        }
    }
    // The source shown, for the title and messages: it may be chosen after a discovery
    // and changed with the picker.
    QString shown = location.baseUrl;
    const auto showTitle
        = [&view, &shown] { view.widget().setWindowTitle(QStringLiteral("mivo-viewer - %1").arg(shown)); };
    showTitle();
    QObject::connect(&view.provider(), &mivo::tiling::TileProvider::si_tileSourceChanged, &app,
                     [&shown, &showTitle](const QString& url) {
                         shown = url;
                         showTitle();
                     });
    QObject::connect(&view, &WaterfallView::si_warning, &app, [](const QString& message) {
        std::fprintf(stderr, "mivo-viewer: warning: %s\n", qPrintable(message));
    });

    std::unique_ptr<ScreenshotTaker> screenshot;
    if (!options.screenshotFile.isEmpty()) {
        screenshot = std::make_unique<ScreenshotTaker>(view, options.screenshotFile, options.timeoutSeconds);
        QObject::connect(screenshot.get(), &ScreenshotTaker::si_finished, &app,
                         [&shown](int exitCode, const QString& message) {
                             if (exitCode == 0)
                                 std::printf("%s\n", qPrintable(message));
                             else
                                 std::fprintf(stderr, "mivo-viewer: %s: %s\n", qPrintable(shown), qPrintable(message));
                             QApplication::exit(exitCode);
                         });
    } else {
        QObject::connect(&view, &WaterfallView::si_failed, &app, [&shown](const QString& message) {
            std::fprintf(stderr, "mivo-viewer: %s: %s\n", qPrintable(shown), qPrintable(message));
        });
    }
    view.widget().show();
    view.start(location);
    return app.exec();
}
