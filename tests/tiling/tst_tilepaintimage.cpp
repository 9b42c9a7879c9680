// A tile's paint image (its indexed image converted once through the colour table):
// its pixels, when it is made again, when the provider makes and drops it, and frames
// painted from it against frames painted from the indexed images.

#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileProvider.h>

#include "../common/RecordingTileLoader.h"
#include "../overlays/PaintTestSupport.h"

#include <QTest>
#include <QWidget>

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

    QImage paint()
    {
        QImage image = painttest::canvas(16, 16, Qt::white);
        painttest::paint(handler, image);
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
                return QStringLiteral("%1,%2: %3 vs %4").arg(x).arg(y).arg(a.pixel(x, y), 8, 16).arg(b.pixel(x, y), 8, 16);
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

    void paintImageConvertsThroughTheColourTable_data()
    {
        QTest::addColumn<QVector<QRgb>>("table");
        QTest::addColumn<int>("format");
        QTest::addColumn<QVector<QRgb>>("expected"); // the colour of each index 0..255

        QTest::newRow("opaque, every index") << rainbow(256) << int(QImage::Format_RGB32) << rainbow(256);
        QVector<QRgb> shortExpected = rainbow(3);
        while (shortExpected.size() < 256)
            shortExpected.append(qRgb(0, 0, 0));
        QTest::newRow("opaque, indices beyond the table are black")
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
        QTest::newRow("no colour table: grey levels") << QVector<QRgb>() << int(QImage::Format_RGB32) << grey;
    }

    void paintImageConvertsThroughTheColourTable()
    {
        QFETCH(QVector<QRgb>, table);
        QFETCH(int, format);
        QFETCH(QVector<QRgb>, expected);
        Tile tile(TileId(1, 2, 0, 0), indexedImage(16, table, patternIndex));
        QVERIFY(!tile.hasPaintImage());
        const QImage converted = tile.paintImage();
        QVERIFY(tile.hasPaintImage());
        QCOMPARE(int(converted.format()), format);
        QCOMPARE(converted.size(), QSize(16, 16));
        for (int y = 0; y < 16; ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(converted.constScanLine(y));
            for (int x = 0; x < 16; ++x)
                QCOMPARE(line[x], expected.at(patternIndex(x, y)));
        }
        QCOMPARE(tile.image.format(), QImage::Format_Indexed8); // the indexed image stays
    }

    void nullImageGivesANullPaintImage()
    {
        Tile tile{TileId(), QImage()};
        QVERIFY(tile.paintImage().isNull());
    }

    void paintImageIsKeptUntilTheColourTableChanges()
    {
        Tile tile(TileId(), indexedImage(8, rainbow(256), patternIndex));
        const qint64 key = tile.paintImage().cacheKey();
        QCOMPARE(tile.paintImage().cacheKey(), key); // not made again: one texture in OpenGL
        QVector<QRgb> other = rainbow(256);
        other[patternIndex(3, 4)] = qRgb(1, 2, 3);
        tile.image.setColorTable(other);
        QVERIFY(!tile.hasPaintImage());
        QVERIFY(tile.paintImage().cacheKey() != key);
        QCOMPARE(tile.paintImage().pixel(3, 4), qRgb(1, 2, 3));
        tile.releasePaintImage();
        QVERIFY(!tile.hasPaintImage());
        QCOMPARE(tile.paintImage().pixel(3, 4), qRgb(1, 2, 3));
    }

    // The provider

    void arrivingTilesAreConvertedOnce()
    {
        Scene scene;
        scene.provider.setColorTable(rainbow(256));
        const auto tile = scene.deliver(TileId(1, 1, 0, 0), patternIndex);
        const auto base = scene.deliver(TileId(0, 0, 3, 3), patternIndex); // a base tile
        QVERIFY(tile->hasPaintImage());
        QVERIFY(base->hasPaintImage());
        QCOMPARE(tile->paintImage().pixel(2, 1), rainbow(256).at(patternIndex(2, 1)));
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(2 * 4 * 4 * 4));
    }

    void tilesLeavingTheCacheDropTheirPaintImages()
    {
        Scene scene;
        scene.provider.setCacheSize(2);
        const auto first = scene.deliver(TileId(0, 0, 0, 0), patternIndex);
        const auto second = scene.deliver(TileId(1, 0, 0, 0), patternIndex);
        const auto base = scene.deliver(TileId(0, 0, 3, 3), patternIndex);
        QVERIFY(first->hasPaintImage());
        const auto third = scene.deliver(TileId(2, 0, 0, 0), patternIndex); // evicts the first
        QVERIFY(!scene.provider.cache().contains(first->tileId));
        QVERIFY(!first->hasPaintImage()); // although this test still holds the tile
        QVERIFY(second->hasPaintImage());
        QVERIFY(third->hasPaintImage());
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(3 * 64));

        scene.provider.setCacheSize(1); // trims the second
        QVERIFY(!second->hasPaintImage());
        QVERIFY(third->hasPaintImage());
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(2 * 64));

        scene.provider.clearCache();
        QVERIFY(!third->hasPaintImage());
        QVERIFY(!base->hasPaintImage());
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(0));
    }

    void shrinkingExtentsAndANewSourceDropPaintImages()
    {
        Scene scene;
        const auto outside = scene.deliver(TileId(3, 3, 0, 0), patternIndex); // values 12..16
        const auto inside = scene.deliver(TileId(0, 0, 0, 0), patternIndex);
        scene.loader.deliverExtents(QRectF(0, 0, 8, 8));
        QVERIFY(!outside->hasPaintImage());
        QVERIFY(inside->hasPaintImage());
        scene.provider.setTileSource(QStringLiteral("http://server/other"));
        QVERIFY(!inside->hasPaintImage());
    }

    void aColourTableChangeDropsPaintImagesUntilPainted()
    {
        Scene scene;
        scene.provider.setColorTable(rainbow(256));
        scene.deliverLevelZero();
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(16 * 64));
        QVector<QRgb> other = rainbow(256);
        std::reverse(other.begin(), other.end());
        scene.provider.setColorTable(other);
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(0));
        scene.paint(); // makes the shown ones again, with the new colours
        QCOMPARE(scene.provider.cache().paintImageBytes(), quint64(16 * 64));
        const auto tile = scene.provider.tile(TileId(2, 1, 0, 0));
        QCOMPARE(tile->paintImage().pixel(3, 2), other.at(Scene::levelIndex(2, 1, 3, 2)));
    }

    // Frames

    void framesBeforeAndAfterAColourTableChange()
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
        const QImage expectedBefore =
            expectedFrame(TilePaintHandler::buildColorTable(firstColours, levels, Qt::black));
        QVERIFY2(before == expectedBefore, qPrintable(firstDifference(before, expectedBefore)));

        scene.handler.setTileColorTableDescriptor(secondColours);
        const QImage after = scene.paint();
        const QImage expectedAfter =
            expectedFrame(TilePaintHandler::buildColorTable(secondColours, levels, Qt::black));
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
    }
};

QTEST_MAIN(TestTilePaintImage)
#include "tst_tilepaintimage.moc"
