// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The waterfall end to end: a drawing widget on screen with background, tiles from a
// pyramid on disk (file://) through the real loader and provider, both grids and the
// ruler; the framebuffer is grabbed once every visible tile has arrived.

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileProvider.h>
#include <mivo/tiling/TileServerProtocol.h>

#include "../common/TestTiles.h"

#include <QTemporaryDir>
#include <QTest>

using namespace mivo;
using namespace mivo::tiling;

namespace {

// 64-pixel tiles of a quarter value unit per pixel, levels 0..2, data over 0..64.
constexpr int tileSize = 64;
constexpr double baseValue = 0.25;
const QRectF dataExtents(0, 0, 64, 64);

const QRgb gridColour = qRgb(255, 0, 0);
const QRgb rulerColour = qRgb(0, 255, 0);

void writePyramid(const QString& root)
{
    TileSystem geometry;
    geometry.setTileSystemDescriptor(
        parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("screen"), baseValue, tileSize, 2)));
    geometry.setExtents(dataExtents);
    testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"),
                         testtiles::descriptorJson(QStringLiteral("screen"), baseValue, tileSize, 2));
    testtiles::writeFile(root + QStringLiteral("/tileextents.json"), testtiles::extentsJson(dataExtents));
    for (quint16 z = 0; z <= 2; ++z) {
        for (const TileId& id : geometry.tilesInRange(dataExtents, z, z)) {
            const QRectF area = geometry.tileIdToValue(id).intersected(dataExtents);
            if (area.width() > 0 && area.height() > 0)
                testtiles::writeFile(root + testtiles::tilePath(id), testtiles::tilePng(id, tileSize));
        }
    }
}

} // namespace

class TestWaterfallOnScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waterfallGridsAndRulerReachTheFramebuffer()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        writePyramid(dir.path() + QStringLiteral("/src"));

        QWidget window;
        window.resize(300, 280);
        auto* widget = new BaseDrawWidget(&window);
        widget->setGeometry(0, 0, 300, 280);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_COMPARE(widget->coordSystem().x().displayedPixelSpan(), 300.0);
        CoordSystem& coords = widget->coordSystem();
        coords.x().setScale(baseValue);
        coords.y().setScale(baseValue);

        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        widget->addPaintHandler(std::make_shared<BackgroundPaintHandler>(*widget));
        auto tiles = std::make_shared<TilePaintHandler>(*widget, coords, provider, provider.tileSystem());
        widget->addPaintHandler(tiles);
        GridPaintHandlerSettings gridSettings;
        // Two pixels wide: Qt's OpenGL engine fills a one-pixel vertical line at x into
        // column x - 1, the raster engine into column x; a two-pixel line covers x - 1
        // and x in both.
        gridSettings.gridLinePen = QPen(QColor(gridColour), 2.0);
        auto frequencyGrid = std::make_shared<FrequencyGridPaintHandler>(*widget, coords);
        frequencyGrid->setSettings(gridSettings);
        widget->addPaintHandler(frequencyGrid);
        auto timeGrid = std::make_shared<TimeGridPaintHandler>(*widget, coords);
        timeGrid->setSettings(gridSettings);
        widget->addPaintHandler(timeGrid);
        auto ruler = std::make_shared<HorizontalRulerPaintHandler>(*widget);
        HorizontalRulerPaintHandlerSettings rulerSettings;
        rulerSettings.linePen = QPen(QColor(rulerColour), 2.0);
        ruler->setSettings(rulerSettings);
        ruler->setRulerValue(30.0); // row 120
        widget->addPaintHandler(ruler);

        provider.setTileSource(QUrl::fromLocalFile(dir.path() + QStringLiteral("/src")).toString());
        QTRY_VERIFY(provider.tileSystem().isValid());
        QTRY_COMPARE(provider.tileSystem().extents(), dataExtents);
        tiles->setTileColorTableDescriptor(TileColorTableDescriptor());
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(TileColorTableDescriptor(),
                                                provider.tileSystem().tileSystemDescriptor(), Qt::black);

        // Level 0 (the scale is the base value): 4 x 4 tiles hold the data.
        widget->update();
        QTRY_COMPARE(tiles->requiredTiles().size(), 5 * 5);
        for (quint64 y = 0; y < 4; ++y) {
            for (quint64 x = 0; x < 4; ++x)
                QTRY_VERIFY2(provider.cache().contains(TileId(x, y, 0, 0)), qPrintable(TileId(x, y, 0, 0).toString()));
        }
        QCOMPARE(frequencyGrid->gridStep(), 50.0); // 150 px = 37.5 -> 50: a line at column 200
        QCOMPARE(timeGrid->gridStep(), 60.0); // -> 60: a line at row 240

        const QImage frame = widget->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(frame.size(), QSize(300, 280));
        // Tile pixels, 1:1, through the colour table.
        for (const QPoint& p : {QPoint(10, 40), QPoint(70, 160), QPoint(197, 63), QPoint(250, 200), QPoint(130, 255)}) {
            const TileId id(quint64(p.x() / tileSize), quint64(p.y() / tileSize), 0, 0);
            const int index = testtiles::tilePixelIndex(id, p.x() % tileSize, p.y() % tileSize);
            QVERIFY2(frame.pixel(p) == QRgb(table.at(index)),
                     qPrintable(QStringLiteral("%1,%2: %3 vs %4")
                                    .arg(p.x())
                                    .arg(p.y())
                                    .arg(frame.pixel(p), 0, 16)
                                    .arg(table.at(index), 0, 16)));
        }
        // Beyond the data: the background.
        QCOMPARE(frame.pixel(280, 100), qRgb(0, 0, 0));
        QCOMPARE(frame.pixel(270, 270), qRgb(0, 0, 0));
        // Grid lines and the ruler over the tiles.
        const auto tileColour = [&table](int x, int y) {
            const TileId id(quint64(x / tileSize), quint64(y / tileSize), 0, 0);
            return QRgb(table.at(testtiles::tilePixelIndex(id, x % tileSize, y % tileSize)));
        };
        for (const int y : {100, 200}) {
            QCOMPARE(frame.pixel(198, y), tileColour(198, y));
            QCOMPARE(frame.pixel(199, y), gridColour);
            QCOMPARE(frame.pixel(200, y), gridColour);
            QCOMPARE(frame.pixel(201, y), tileColour(201, y));
        }
        QCOMPARE(frame.pixel(150, 238), tileColour(150, 238));
        QCOMPARE(frame.pixel(150, 239), gridColour);
        QCOMPARE(frame.pixel(150, 240), gridColour);
        QCOMPARE(frame.pixel(150, 241), tileColour(150, 241));
        QCOMPARE(frame.pixel(250, 119), rulerColour);
        QCOMPARE(frame.pixel(250, 120), rulerColour);
        QCOMPARE(frame.pixel(250, 121), tileColour(250, 121));
    }
};

QTEST_MAIN(TestWaterfallOnScreen)
#include "tst_waterfall_onscreen.moc"
