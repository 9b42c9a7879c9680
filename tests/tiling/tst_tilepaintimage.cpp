// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Tile images converted once through their colour table for painting: their pixels,
// when they are kept and when made again, the byte budget that bounds them, and frames
// painted from them against frames painted from the indexed images.

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TilePaintImageCache.h>
#include <mivo/tiling/TileProvider.h>

#include "../common/RecordingTileLoader.h"
#include "../overlays/PaintTestSupport.h"

#include <QTest>
#include <QWidget>

#include <algorithm>
#include <functional>

using namespace mivo;
using namespace mivo::tiling;

namespace {

QImage indexedImage(int size, const QVector<QRgb>& table, const std::function<int(int, int)>& index)
{
    QImage image(size, size, QImage::Format_Indexed8);
    image.setColorTable(table);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            image.scanLine(y)[x] = uchar(index(x, y));
    }
    return image;
}

int patternIndex(int x, int y)
{
    return (x * 37 + y * 11) % 256;
}

// Every index its own opaque colour.
QVector<QRgb> rainbow(int entries)
{
    QVector<QRgb> table;
    for (int i = 0; i < entries; ++i)
        table.append(qRgb(i, 255 - i, (i * 7) % 256));
    return table;
}

TileSystemDescriptor pyramid()
{
    TileSystemDescriptor d;
    d.name = QStringLiteral("paint image");
    d.xaxis.tilesize = d.yaxis.tilesize = 4;
    d.xaxis.maxzoomlevel = d.yaxis.maxzoomlevel = 3;
    return d;
}

// A provider on a loader the test drives: tiles of 4 x 4 pixels, levels 0..3, data over
// 0..16 on both axes; a 16 x 16 view at one value per pixel painted by a tile layer.
struct Scene
{
    Scene()
    {
        widget.resize(16, 16);
        coords.x().setDisplayedPixelSpan(16);
        coords.y().setDisplayedPixelSpan(16);
        provider.setTileSource(QStringLiteral("http://server/src"));
        loader.deliverDescriptor(pyramid());
        loader.deliverExtents(QRectF(0, 0, 16, 16));
    }

    // Level-0 tiles over the data, each pixel an index from the tile and the position
    // in 1..254, so that every pixel has a table entry.
    void deliverLevelZero()
    {
        for (quint64 y = 0; y < 4; ++y) {
            for (quint64 x = 0; x < 4; ++x)
                deliver(TileId(x, y, 0, 0), [x, y](int px, int py) { return levelIndex(x, y, px, py); });
        }
    }

    std::shared_ptr<Tile> deliver(const TileId& id, const std::function<int(int, int)>& index)
    {
        return deliver(std::make_shared<Tile>(id, indexedImage(4, {}, index)));
    }

    std::shared_ptr<Tile> deliver(std::shared_ptr<Tile> tile)
    {
        Q_EMIT loader.si_tileLoaded(tile);
        return tile;
    }

    static int levelIndex(quint64 tx, quint64 ty, int x, int y)
    {
        return int((tx * 29 + ty * 13 + quint64(x) * 5 + quint64(y) * 3) % 254) + 1;
    }

    // One frame, clipped to @p clip (the whole view when null), as a region repaint is.
    QImage paint(const QRect& clip = QRect())
    {
        QImage image = painttest::canvas(16, 16, Qt::white);
        painttest::paint(handler, image, clip);
        lastClip = clip.isNull() ? image.rect() : clip;
        return image;
    }

    // The frame as painted from the indexed images themselves, with the tile layer's
    // own geometry: the required tiles, the visible part of each, smoothing decided by
    // the first tile.
    QImage paintFromIndexedImages()
    {
        QImage image = painttest::canvas(16, 16, Qt::white);
        QPainter painter(&image);
        painter.setClipRect(image.rect());
        const TileSystem& system = provider.tileSystem();
        const QList<TileId> required = handler.requiredTiles();
        const QRectF visible = coords.pixelToValue(painter.clipBoundingRect());
        const TileId& first = required.constFirst();
        smoothed = coords.x().scale() > system.x().basevalue * double(1 << first.xZoomLevel)
            || coords.y().scale() > system.y().basevalue * double(1 << first.yZoomLevel);
        painter.setRenderHint(QPainter::SmoothPixmapTransform, smoothed);
        for (const TileId& id : required) {
            const std::shared_ptr<Tile> tile = provider.tile(id);
            if (!tile)
                continue;
            const QRectF value = system.tileIdToValue(id).intersected(visible);
            painter.drawImage(coords.valueToPixel(value), tile->image,
                              system.valueToPixelNr(value, tile->tileId.xZoomLevel, tile->tileId.yZoomLevel));
        }
        return image;
    }

    // The tiles the last paint drew, in the order it drew them: those held whose area
    // reaches into the view (a tile that only touches its edge has nothing to draw).
    QList<std::shared_ptr<Tile>> paintedTiles()
    {
        QList<std::shared_ptr<Tile>> tiles;
        for (const TileId& id : handler.requiredTiles()) {
            const std::shared_ptr<Tile> tile = provider.tile(id);
            const QRectF visible = coords.pixelToValue(QRectF(lastClip));
            if (tile && !provider.tileSystem().tileIdToValue(id).intersected(visible).isEmpty())
                tiles.append(tile);
        }
        return tiles;
    }

    const TilePaintImageCache& images() const { return handler.paintImageCache(); }

    QRect lastClip; // of the last paint()
    bool smoothed = false; // by the last paintFromIndexedImages()
    QWidget widget;
    CoordSystem coords;
    RecordingTileLoader loader;
    TileProvider provider{loader};
    TilePaintHandler handler{widget, coords, provider, provider.tileSystem()};
};

QString firstDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return QStringLiteral("sizes differ");
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            if (a.pixel(x, y) != b.pixel(x, y))
                return QStringLiteral("%1,%2: %3 vs %4")
                    .arg(x)
                    .arg(y)
                    .arg(a.pixel(x, y), 8, 16)
                    .arg(b.pixel(x, y), 8, 16);
        }
    }
    return QString();
}

} // namespace

class TestTilePaintImage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The conversion

    void convertsThroughTheColourTable_data()
    {
        QTest::addColumn<QVector<QRgb>>("table");
        QTest::addColumn<int>("format");
        QTest::addColumn<QVector<QRgb>>("expected"); // the colour of each index 0..255

        QTest::newRow("full table") << rainbow(256) << int(QImage::Format_RGB32) << rainbow(256);
        QVector<QRgb> shortExpected = rainbow(3);
        while (shortExpected.size() < 256)
            shortExpected.append(qRgb(0, 0, 0));
        QTest::newRow("short table: indices beyond it are black")
            << rainbow(3) << int(QImage::Format_RGB32) << shortExpected;
        QVector<QRgb> translucent = rainbow(200);
        translucent[5] = qRgba(200, 100, 50, 128);
        QVector<QRgb> translucentExpected;
        for (int i = 0; i < 256; ++i)
            translucentExpected.append(i < 200 ? qPremultiply(translucent.at(i)) : 0u);
        QTest::newRow("translucent entry: premultiplied, beyond the table transparent")
            << translucent << int(QImage::Format_ARGB32_Premultiplied) << translucentExpected;
        QVector<QRgb> grey;
        for (int i = 0; i < 256; ++i)
            grey.append(qRgb(i, i, i));
        QTest::newRow("no table: grey levels") << QVector<QRgb>() << int(QImage::Format_RGB32) << grey;
    }

    void convertsThroughTheColourTable()
    {
        QFETCH(QVector<QRgb>, table);
        QFETCH(int, format);
        QFETCH(QVector<QRgb>, expected);
        const QImage indexed = indexedImage(16, table, patternIndex);
        TilePaintImageCache cache;
        const QImage converted = cache.paintImage(indexed);
        QCOMPARE(int(converted.format()), format);
        QCOMPARE(converted.size(), QSize(16, 16));
        for (int y = 0; y < 16; ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(converted.constScanLine(y));
            for (int x = 0; x < 16; ++x)
                QCOMPARE(line[x], expected.at(patternIndex(x, y)));
        }
        QCOMPARE(cache.find(indexed.cacheKey()), converted);
        QCOMPARE(cache.bytes(), qint64(16 * 16 * 4));
        QCOMPARE(indexed.format(), QImage::Format_Indexed8); // the indexed image stays
    }

    void nullImageGivesANullImageAndKeepsNothing()
    {
        TilePaintImageCache cache;
        QVERIFY(cache.paintImage(QImage()).isNull());
        QCOMPARE(cache.count(), 0);
        QCOMPARE(cache.bytes(), qint64(0));
    }

    // The cache on its own

    void defaultBudgetIs256MiB()
    {
        QCOMPARE(TilePaintImageCache().budget(), qint64(268435456));
        Scene scene;
        QCOMPARE(scene.handler.paintImageBudget(), qint64(268435456));
        QCOMPARE(scene.handler.paintImageBytes(), qint64(0));
    }

    void heldImageIsReusedAndBecomesTheMostRecent()
    {
        const QImage a = indexedImage(4, rainbow(256), patternIndex);
        const QImage b = indexedImage(4, rainbow(256), patternIndex);
        TilePaintImageCache cache;
        const qint64 first = cache.paintImage(a).cacheKey();
        cache.paintImage(b);
        QCOMPARE(cache.recencyOrder(), QList<qint64>({b.cacheKey(), a.cacheKey()}));
        QCOMPARE(cache.paintImage(a).cacheKey(), first); // not converted again
        QCOMPARE(cache.recencyOrder(), QList<qint64>({a.cacheKey(), b.cacheKey()}));
        QCOMPARE(cache.count(), 2);
        QCOMPARE(cache.bytes(), qint64(2 * 64));
    }

    void leastRecentlyPaintedLeavesFirst()
    {
        QList<QImage> images;
        for (int i = 0; i < 4; ++i)
            images.append(indexedImage(4, rainbow(256), [i](int x, int y) { return x + y + i; }));
        const auto key = [&images](int i) { return images.at(i).cacheKey(); };
        TilePaintImageCache cache(3 * 64); // three 4 x 4 images
        cache.paintImage(images[0]);
        cache.paintImage(images[1]);
        cache.paintImage(images[2]);
        cache.paintImage(images[0]); // now the second is the least recent
        cache.paintImage(images[3]);
        QCOMPARE(cache.recencyOrder(), QList<qint64>({key(3), key(0), key(2)}));
        QVERIFY(!cache.contains(key(1)));
        QCOMPARE(cache.bytes(), qint64(3 * 64));

        cache.setBudget(64 + 63); // trims at once, to what fits
        QCOMPARE(cache.recencyOrder(), QList<qint64>({key(3)}));
        QCOMPARE(cache.bytes(), qint64(64));
        cache.clear();
        QCOMPARE(cache.count(), 0);
        QCOMPARE(cache.bytes(), qint64(0));
    }

    void imageLargerThanTheBudgetIsConvertedButNotKept()
    {
        const QImage indexed = indexedImage(4, rainbow(256), patternIndex);
        TilePaintImageCache cache(63);
        const QImage converted = cache.paintImage(indexed);
        QCOMPARE(converted.pixel(1, 2), rainbow(256).at(patternIndex(1, 2)));
        QCOMPARE(cache.count(), 0);
        QCOMPARE(cache.bytes(), qint64(0));
        cache.setBudget(-5);
        QCOMPARE(cache.budget(), qint64(0));
    }

    void changedColourTableIsConvertedAgain()
    {
        QImage indexed = indexedImage(8, rainbow(256), patternIndex);
        TilePaintImageCache cache;
        const qint64 oldKey = indexed.cacheKey();
        const qint64 oldImage = cache.paintImage(indexed).cacheKey();
        QVector<QRgb> other = rainbow(256);
        other[patternIndex(3, 4)] = qRgb(1, 2, 3);
        indexed.setColorTable(other);
        QVERIFY(indexed.cacheKey() != oldKey);
        const QImage again = cache.paintImage(indexed);
        QVERIFY(again.cacheKey() != oldImage);
        QCOMPARE(again.pixel(3, 4), qRgb(1, 2, 3));
        QCOMPARE(again.pixel(0, 0), rainbow(256).at(patternIndex(0, 0)));
        // The stale one is only dropped by recency (or a colour change through the painter).
        QCOMPARE(cache.recencyOrder(), QList<qint64>({indexed.cacheKey(), oldKey}));
    }

    // Through the tile layer

    void framesReuseTheConvertedImages()
    {
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        const QImage first = scene.paint();
        const QList<std::shared_ptr<Tile>> tiles = scene.paintedTiles();
        QCOMPARE(tiles.size(), 16);
        QCOMPARE(scene.images().count(), 16);
        QCOMPARE(scene.handler.paintImageBytes(), qint64(16 * 64));
        QList<qint64> keys;
        for (const auto& tile : tiles)
            keys.append(scene.images().find(tile->image.cacheKey()).cacheKey());
        QVERIFY(!keys.contains(0));

        const QImage second = scene.paint();
        QCOMPARE(second, first);
        QCOMPARE(scene.images().count(), 16);
        for (int i = 0; i < tiles.size(); ++i)
            QCOMPARE(scene.images().find(tiles.at(i)->image.cacheKey()).cacheKey(), keys.at(i));
    }

    void providerColourChangeConvertsTheTilesAgain()
    {
        Scene scene;
        scene.provider.setColorTable(rainbow(256));
        scene.deliverLevelZero();
        scene.paint();
        const std::shared_ptr<Tile> tile = scene.provider.tile(TileId(2, 1, 0, 0));
        const qint64 oldKey = tile->image.cacheKey();
        const qint64 oldImage = scene.images().find(oldKey).cacheKey();
        QVERIFY(oldImage != 0);

        // Straight to the provider, not through the painter: only the keys tell.
        QVector<QRgb> other = rainbow(256);
        std::reverse(other.begin(), other.end());
        scene.provider.setColorTable(other);
        QVERIFY(tile->image.cacheKey() != oldKey);
        const QImage frame = scene.paint();
        const QImage converted = scene.images().find(tile->image.cacheKey());
        QVERIFY(!converted.isNull());
        QVERIFY(converted.cacheKey() != oldImage);
        QCOMPARE(converted.pixel(3, 2), other.at(Scene::levelIndex(2, 1, 3, 2)));
        QCOMPARE(frame.pixel(2 * 4 + 3, 1 * 4 + 2), other.at(Scene::levelIndex(2, 1, 3, 2)));
        QCOMPARE(scene.images().count(), 32); // the old ones wait to age out
        QCOMPARE(scene.images().recencyOrder().mid(16).contains(oldKey), true);
    }

    void colourChangeThroughThePainterFreesTheConvertedImages_data()
    {
        QTest::addColumn<bool>("gradient");
        QTest::newRow("descriptor") << false;
        QTest::newRow("gradient with inner stops") << true;
    }

    void colourChangeThroughThePainterFreesTheConvertedImages()
    {
        QFETCH(bool, gradient);
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        scene.paint();
        QCOMPARE(scene.handler.paintImageBytes(), qint64(16 * 64));
        TileColorTableDescriptor other;
        other.lowColor = Qt::red;
        if (gradient)
            scene.handler.setTileColorTableGradient(other, QGradientStops{{0.25, Qt::green}});
        else
            scene.handler.setTileColorTableDescriptor(other);
        QCOMPARE(scene.handler.paintImageBytes(), qint64(0));
        scene.paint();
        QCOMPARE(scene.handler.paintImageBytes(), qint64(16 * 64));
    }

    void paintingMoreTilesThanFitStaysInBudget()
    {
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        scene.handler.setPaintImageBudget(10 * 64 + 20); // ten 4 x 4 tiles
        const QImage frame = scene.paint();
        const QImage expected = scene.paintFromIndexedImages(); // with the tiles it required
        QVERIFY2(frame == expected, qPrintable(firstDifference(frame, expected)));
        QCOMPARE(scene.handler.paintImageBytes(), qint64(10 * 64));
        // The last ten painted stay, the first six left as the later ones came.
        const QList<std::shared_ptr<Tile>> painted = scene.paintedTiles();
        QCOMPARE(painted.size(), 16);
        QList<qint64> lastTen;
        for (int i = 15; i >= 6; --i)
            lastTen.append(painted.at(i)->image.cacheKey());
        QCOMPARE(scene.images().recencyOrder(), lastTen);

        // A repaint of the top left quarter: its four tiles become the most recent, the
        // oldest of the rest go.
        scene.paint(QRect(0, 0, 8, 8));
        const QList<std::shared_ptr<Tile>> corner = scene.paintedTiles();
        QCOMPARE(corner.size(), 4);
        QList<qint64> expectedOrder;
        for (int i = corner.size() - 1; i >= 0; --i)
            expectedOrder.append(corner.at(i)->image.cacheKey());
        for (const qint64 key : qAsConst(lastTen)) {
            if (!expectedOrder.contains(key) && expectedOrder.size() < 10)
                expectedOrder.append(key);
        }
        QCOMPARE(scene.images().recencyOrder(), expectedOrder);
        QCOMPARE(scene.handler.paintImageBytes(), qint64(10 * 64));

        scene.handler.setPaintImageBudget(3 * 64); // drops at once
        QCOMPARE(scene.images().recencyOrder(), expectedOrder.mid(0, 3));
        QCOMPARE(scene.handler.paintImageBytes(), qint64(3 * 64));
    }

    void zeroBudgetStillPaintsTheSameFrame()
    {
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        const QImage kept = scene.paint();
        scene.handler.setPaintImageBudget(0);
        QCOMPARE(scene.handler.paintImageBytes(), qint64(0));
        const QImage unkept = scene.paint();
        QCOMPARE(scene.handler.paintImageBytes(), qint64(0));
        QVERIFY2(unkept == kept, qPrintable(firstDifference(unkept, kept)));
    }

    void openGlFramesDrawTheIndexedImagesAndHoldNothing()
    {
        // The OpenGL engine keeps its own texture per indexed image; the layer converts
        // nothing for it, and the frame is the raster frame's.
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        const QImage raster = scene.paint();
        QCOMPARE(scene.images().count(), 16);

        BaseDrawWidget widget;
        widget.resize(16, 16);
        auto glHandler = std::make_shared<TilePaintHandler>(widget, widget.coordSystem(), scene.provider,
                                                            scene.provider.tileSystem());
        widget.addPaintHandler(glHandler);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const QImage frame = widget.grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(glHandler->paintImageCache().count(), 0);
        QCOMPARE(glHandler->paintImageBytes(), qint64(0));
        const QImage expected = raster.convertToFormat(QImage::Format_RGB32);
        QVERIFY2(frame == expected, qPrintable(firstDifference(frame, expected)));
    }

    // Frames

    void framesBeforeAfterAndBackAcrossAColourChange()
    {
        Scene scene;
        scene.deliverLevelZero();
        const TileColorTableDescriptor firstColours;
        TileColorTableDescriptor secondColours;
        secondColours.lowColor = QColor(QStringLiteral("#400000"));
        secondColours.midColor = QColor(QStringLiteral("#ffa000"));
        secondColours.highColor = QColor(QStringLiteral("#ffffe0"));
        secondColours.rangeLower = -60.0;
        const TileSystemDescriptor levels = scene.provider.tileSystem().tileSystemDescriptor();
        const auto expectedFrame = [](const QVector<unsigned int>& table) {
            QImage frame = painttest::canvas(16, 16);
            for (int y = 0; y < 16; ++y) {
                for (int x = 0; x < 16; ++x)
                    frame.setPixel(x, y, table.at(Scene::levelIndex(quint64(x / 4), quint64(y / 4), x % 4, y % 4)));
            }
            return frame;
        };

        scene.handler.setTileColorTableDescriptor(firstColours);
        const QImage before = scene.paint();
        const QImage expectedBefore = expectedFrame(TilePaintHandler::buildColorTable(firstColours, levels, Qt::black));
        QVERIFY2(before == expectedBefore, qPrintable(firstDifference(before, expectedBefore)));

        scene.handler.setTileColorTableDescriptor(secondColours);
        const QImage after = scene.paint();
        const QImage expectedAfter = expectedFrame(TilePaintHandler::buildColorTable(secondColours, levels, Qt::black));
        QVERIFY2(after == expectedAfter, qPrintable(firstDifference(after, expectedAfter)));
        QVERIFY(after != before);

        scene.handler.setTileColorTableDescriptor(firstColours);
        const QImage back = scene.paint();
        QVERIFY2(back == before, qPrintable(firstDifference(back, before)));
    }

    void framesMatchThoseOfTheIndexedImages_data()
    {
        QTest::addColumn<double>("xScale");
        QTest::addColumn<double>("yScale");
        QTest::addColumn<double>("xOffset");
        QTest::addColumn<double>("yOffset");
        QTest::addColumn<bool>("smoothed");
        QTest::newRow("one value per pixel") << 1.0 << 1.0 << 0.0 << 0.0 << false;
        QTest::newRow("enlarged") << 0.5 << 0.5 << 0.0 << 0.0 << false;
        QTest::newRow("enlarged, part pixels") << 0.3 << 0.7 << 1.25 << 2.5 << false;
        QTest::newRow("smoothed") << 1.5 << 1.25 << 0.0 << 0.0 << true;
        QTest::newRow("smoothed, panned") << 1.25 << 1.75 << 0.5 << 1.5 << true;
        QTest::newRow("coarser level") << 2.0 << 2.0 << 0.0 << 0.0 << false;
    }

    void framesMatchThoseOfTheIndexedImages()
    {
        QFETCH(double, xScale);
        QFETCH(double, yScale);
        QFETCH(double, xOffset);
        QFETCH(double, yOffset);
        QFETCH(bool, smoothed);
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        scene.deliverLevelZero();
        for (quint16 level = 1; level <= 3; ++level) {
            const quint64 count = 4u >> level;
            for (quint64 y = 0; y < std::max<quint64>(count, 1); ++y) {
                for (quint64 x = 0; x < std::max<quint64>(count, 1); ++x) {
                    scene.deliver(TileId(x, y, level, level), [x, y, level](int px, int py) {
                        return Scene::levelIndex(x + 7 * level, y, px, py);
                    });
                }
            }
        }
        scene.coords.x().setScale(xScale);
        scene.coords.y().setScale(yScale);
        scene.coords.x().setOffset(xOffset);
        scene.coords.y().setOffset(yOffset);
        const QImage frame = scene.paint();
        const QImage reference = scene.paintFromIndexedImages();
        QCOMPARE(scene.smoothed, smoothed);
        QVERIFY(!painttest::all(frame, frame.rect(), qRgb(255, 255, 255)));
        QVERIFY2(frame == reference, qPrintable(firstDifference(frame, reference)));
        // Drawn from the converted images, not from the indexed ones.
        QVERIFY(scene.images().count() > 0);
        for (const auto& tile : scene.paintedTiles())
            QVERIFY(scene.images().contains(tile->image.cacheKey()));
    }
};

QTEST_MAIN(TestTilePaintImage)
#include "tst_tilepaintimage.moc"
