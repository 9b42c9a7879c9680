#pragma once

// What the viewer suites share: test pyramids, the viewer program run as a process,
// and a view shown and opened on a pyramid.

#include "WaterfallView.h"

#include "../common/TestTiles.h"

#include <mivo/tiling/TileId.h>

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
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
    testtiles::writeFile(source + QStringLiteral("/tileextents.json"), testtiles::extentsJson(QRectF(0, 0, 4096, 4096)));
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

// Writes the two documents of a pyramid without tiles under @p root, shows @p view and
// opens the pyramid in it. False unless the view became ready within 10 s.
inline bool showAndOpen(WaterfallView& view, const QString& root, const QByteArray& descriptor,
                        const QRectF& extents, QSignalSpy& ready)
{
    testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"), descriptor);
    testtiles::writeFile(root + QStringLiteral("/tileextents.json"), testtiles::extentsJson(extents));
    view.widget().show();
    if (!QTest::qWaitForWindowExposed(&view.widget()))
        return false;
    view.open(QUrl::fromLocalFile(root).toString());
    return ready.wait(10000);
}

} // namespace viewertest
