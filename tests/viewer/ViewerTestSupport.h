// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the viewer suites share: test pyramids, the viewer program run as a process,
// and a view shown and opened on a pyramid.

#include "ColourScheme.h"
#include "WaterfallView.h"

#include "../common/RadioButtonClick.h"
#include "../common/TestTiles.h"

#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include <QLayout>
#include <QMenu>
#include <QProcess>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QUrl>

#include <functional>

namespace viewertest {

using mivo::tiling::TileId;
using mivo::viewer::WaterfallView;

// A pyramid of uniform tiles: level-3 tile (x, y) holds index 40 + 50 x + 100 y
// everywhere. Base value 1, tiles of 256, levels 0..4, data over 0..4096 x 0..4096.
inline QString writeUniformPyramid(const QString& root)
{
    const QString source = root + QStringLiteral("/uniform");
    testtiles::writeFile(source + QStringLiteral("/tiledescriptor.json"),
                         testtiles::descriptorJson(QStringLiteral("uniform"), 1.0, 256, 4));
    testtiles::writeFile(source + QStringLiteral("/tileextents.json"),
                         testtiles::extentsJson(QRectF(0, 0, 4096, 4096)));
    for (quint16 z = 0; z <= 4; ++z) {
        const quint64 count = 4096 / (256u << z) > 0 ? 4096 / (256u << z) : 1;
        for (quint64 y = 0; y < count; ++y) {
            for (quint64 x = 0; x < count; ++x) {
                const TileId id(x, y, z, z);
                const int index = z == 3 ? int(40 + 50 * x + 100 * y) : 7;
                testtiles::writeFile(source + testtiles::tilePath(id),
                                     testtiles::indexedPng(256, 256, [index](int, int) { return index; }));
            }
        }
    }
    testtiles::writeFile(root + QStringLiteral("/tilesources.json"), "[\"uniform\"]");
    return source;
}

#ifdef VIEWER_EXECUTABLE
/// How a run of mivo-viewer ended; exitCode -1 when it timed out, -2 when it crashed.
struct Run
{
    int exitCode = -1;
    QString out;
    QString err;
};

/// Runs mivo-viewer with @p arguments; @p environment may change its environment.
inline Run runViewer(const QStringList& arguments, int timeoutMs = 60000,
                     const std::function<void(QProcessEnvironment&)>& environment = {})
{
    QProcess process;
    // A runtime directory of its own keeps Qt's warning about a missing one off stderr.
    static QTemporaryDir runtime;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    if (environment)
        environment(variables);
    process.setProcessEnvironment(variables);
    process.start(QStringLiteral(VIEWER_EXECUTABLE), arguments);
    Run run;
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}
#endif // VIEWER_EXECUTABLE

// Writes the two documents of a pyramid without tiles under @p root, shows @p view and
// opens the pyramid in it. False unless the view became ready within 10 s.
inline bool showAndOpen(WaterfallView& view, const QString& root, const QByteArray& descriptor, const QRectF& extents,
                        QSignalSpy& ready)
{
    testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"), descriptor);
    testtiles::writeFile(root + QStringLiteral("/tileextents.json"), testtiles::extentsJson(extents));
    view.widget().show();
    if (!QTest::qWaitForWindowExposed(&view.widget()))
        return false;
    view.open(QUrl::fromLocalFile(root).toString());
    return ready.wait(10000);
}

/// A view made with @p options, shown, and opened on @p baseUrl; fatal unless it shows
/// its first range (the wait is generous: the machine may be busy, this is no timing check).
inline std::unique_ptr<WaterfallView> openedView(const mivo::viewer::ViewerOptions& options, const QString& baseUrl)
{
    auto view = std::make_unique<WaterfallView>(options);
    QSignalSpy ready(view.get(), &WaterfallView::si_ready);
    view->widget().show();
    if (!QTest::qWaitForWindowExposed(&view->widget()))
        qFatal("the view was never shown");
    view->open(baseUrl);
    if (!ready.wait(60000))
        qFatal("the view never became ready");
    return view;
}

/// Presses @p button, whose menu opens at once and runs its own event loop; @p act
/// runs in that loop with the menu open, then the menu is closed if it still is. False
/// unless the menu was open when @p act ran.
inline bool whileMenuOpen(QToolButton* button, const std::function<void(QMenu&)>& act)
{
    if (!button || !button->menu())
        return false;
    bool open = false;
    bool ran = false;
    QTimer::singleShot(0, button, [&] {
        QMenu& menu = *button->menu();
        open = menu.isVisible();
        act(menu);
        if (menu.isVisible())
            menu.close();
        ran = true;
    });
    QTest::mousePress(button, Qt::LeftButton);
    if (!QTest::qWaitFor([&ran] { return ran; }))
        return false;
    QTest::mouseRelease(button, Qt::LeftButton);
    return open;
}

/// The action bar's button for @p action on @p view's drawing widget, or nullptr.
inline QToolButton* barButton(WaterfallView& view, const QAction* action)
{
    const auto buttons = view.widget().findChildren<QToolButton*>();
    for (QToolButton* button : buttons) {
        if (button->defaultAction() == action)
            return button;
    }
    return nullptr;
}

/// Waits until every tile the view shows now has arrived or failed.
inline bool waitForSettledTiles(WaterfallView& view, int timeoutMs = 60000)
{
    view.widget().grabFramebuffer(); // a frame of the view as it is: it requires its tiles
    return QTest::qWaitFor([&view] { return view.requiredTileCount() > 0 && view.unsettledTileCount() == 0; },
                           timeoutMs);
}

/// The colour table of @p scheme with the default level mapping (-127 .. 127 dB).
inline QVector<unsigned int> tableOf(const mivo::viewer::ColourScheme& scheme)
{
    return mivo::tiling::TilePaintHandler::buildColorTable(scheme.descriptor, mivo::tiling::TileSystemDescriptor(),
                                                           Qt::black, scheme.innerStops);
}

/// The picker's button for source @p id (the "baseUrl" property carries the id; a null
/// id is "None"), among the buttons it shows now; nullptr when there is none.
inline QRadioButton* pickerButton(const mivo::tiling::TileSourceSelectionWidget& picker, const QString& id)
{
    const auto buttons = picker.findChildren<QRadioButton*>();
    for (QRadioButton* button : buttons) {
        const QVariant property = button->property("baseUrl");
        if (property.isValid() && property.toString() == id && property.toString().isNull() == id.isNull()
            && picker.layout()->indexOf(button) >= 0) {
            return button;
        }
    }
    return nullptr;
}

} // namespace viewertest
