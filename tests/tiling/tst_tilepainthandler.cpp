// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileSystem.h>

#include "../common/FakeTileProvider.h"
#include "../overlays/PaintTestSupport.h"

#include <QApplication>
#include <QPaintEvent>
#include <QTest>
#include <QWidget>

#include <cmath>

using namespace mivo;
using namespace mivo::tiling;
using painttest::canvas;

namespace {

const QRgb white = qRgb(255, 255, 255);

// Index i shows as (i, 255 - i, 7): every index has its own colour.
QVector<QRgb> testPalette()
{
    QVector<QRgb> palette;
    for (int i = 0; i < 256; ++i)
        palette.append(qRgb(i, 255 - i, 7));
    return palette;
}

std::shared_ptr<Tile> tileOf(const TileId& id, int size, const std::function<int(int, int)>& index)
{
    QImage image(size, size, QImage::Format_Indexed8);
    image.setColorTable(testPalette());
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            image.setPixel(x, y, uint(index(x, y)));
    }
    return std::make_shared<Tile>(id, image);
}

int uniformIndex(const TileId& id)
{
    return int(1 + id.x + 4 * id.y);
}

// Tiles of 4 pixels, base value 1 on both axes, levels 0..3, data over 0..16; a view
// of 16 x 16 pixels at one value per pixel.
struct Scene
{
    explicit Scene(int size = 16, quint16 tileSize = 4)
    {
        widget.resize(size, size);
        coords.x().setDisplayedPixelSpan(size);
        coords.y().setDisplayedPixelSpan(size);
        TileSystemDescriptor d;
        d.name = QStringLiteral("paint");
        d.xaxis.tilesize = d.yaxis.tilesize = tileSize;
        d.xaxis.maxzoomlevel = d.yaxis.maxzoomlevel = 3;
        system.setTileSystemDescriptor(d);
        system.setExtents(QRectF(0, 0, 16, 16));
    }

    void placeUniformTiles()
    {
        for (quint64 y = 0; y < 4; ++y) {
            for (quint64 x = 0; x < 4; ++x) {
                const TileId id(x, y, 0, 0);
                provider.place(id, tileOf(id, 4, [&id](int, int) { return uniformIndex(id); }));
            }
        }
    }

    QImage paint(QRect clip = QRect())
    {
        QImage image = canvas(widget.width(), widget.height(), Qt::white);
        painttest::paint(handler, image, clip);
        return image;
    }

    QWidget widget;
    CoordSystem coords;
    FakeTileProvider provider;
    TileSystem system;
    TilePaintHandler handler{widget, coords, provider, system};
};

// Records the region of every paint event a widget receives.
class PaintRegions : public QObject
{
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            regions.append(static_cast<QPaintEvent*>(event)->region());
        return false;
    }
    QList<QRegion> regions;
};

struct ShownWidget
{
    ShownWidget()
    {
        widget.resize(14, 14);
        widget.installEventFilter(&paints);
        widget.show();
        if (!QTest::qWaitForWindowExposed(&widget))
            qFatal("widget not exposed");
    }
    // Waits for the next paint and returns its region.
    QRegion nextPaint()
    {
        const int before = paints.regions.size();
        if (!QTest::qWaitFor([&] { return paints.regions.size() > before; }))
            return QRegion();
        return paints.regions.last();
    }
    // Repaints a one-pixel marker until a paint holds nothing else, which shows that no
    // other repaint was pending (Qt merges pending update regions into one paint);
    // then forgets the paints recorded so far.
    void settle()
    {
        for (int i = 0; i < 10; ++i) {
            widget.update(QRect(0, 0, 1, 1));
            if (nextPaint() == QRegion(0, 0, 1, 1)) {
                paints.regions.clear();
                return;
            }
        }
        qFatal("widget never settled");
    }
    QWidget widget;
    PaintRegions paints;
};

QRgb quantised(const QColor& colour)
{
    QImage pixel(1, 1, QImage::Format_RGB16);
    pixel.fill(colour);
    return pixel.pixel(0, 0);
}

bool close(QRgb a, QColor b, int tolerance)
{
    return std::abs(qRed(a) - b.red()) <= tolerance && std::abs(qGreen(a) - b.green()) <= tolerance
        && std::abs(qBlue(a) - b.blue()) <= tolerance;
}

} // namespace

class TestTilePaintHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaults()
    {
        const TileColorTableDescriptor descriptor;
        QCOMPARE(descriptor.lowColor, QColor(QStringLiteral("#001829")));
        QCOMPARE(descriptor.midColor, QColor(QStringLiteral("#0A99FF")));
        QCOMPARE(descriptor.highColor, QColor(QStringLiteral("#D6EEFF")));
        QCOMPARE(descriptor.rangeLower, -127.0);
        QCOMPARE(descriptor.rangeUpper, 127.0);
        const TilePaintHandlerSettings settings;
        QCOMPARE(settings.noValueColor, QColor(Qt::black));
        QVERIFY(!settings.showDebugInfo);
        Scene scene;
        // Registered, so that signals can carry it across threads.
        QVERIFY(QMetaType::type("mivo::tiling::TileColorTableDescriptor") != QMetaType::UnknownType);
        QCOMPARE(QMetaType::type("TileColorTableDescriptor"), qMetaTypeId<TileColorTableDescriptor>());
        QCOMPARE(scene.provider.colorTableCalls, 0); // no table until a descriptor is set
        QCOMPARE(TilePaintHandler::staticMetaObject.className(), "mivo::tiling::TilePaintHandler");
    }

    // Painting

    void tilesAreDrawnWhereTheirValuesAre()
    {
        Scene scene;
        scene.placeUniformTiles();
        const QImage image = scene.paint();
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                const int index = 1 + x / 4 + 4 * (y / 4);
                QCOMPARE(image.pixel(x, y), testPalette().at(index));
            }
        }
        // Required: the whole view at level 0, far edges included, row by row.
        QCOMPARE(scene.provider.requiredCalls.size(), 1);
        const QList<TileId> required = scene.provider.requiredCalls.first();
        QCOMPARE(required.size(), 25);
        QCOMPARE(required.first().toString(), TileId(0, 0, 0, 0).toString());
        QCOMPARE(required.at(1).toString(), TileId(1, 0, 0, 0).toString());
        QCOMPARE(required.at(5).toString(), TileId(0, 1, 0, 0).toString());
        QCOMPARE(scene.handler.requiredTiles().size(), 25);
    }

    void eachPaintRequiresTheTilesAgain()
    {
        Scene scene;
        scene.paint();
        scene.paint();
        QCOMPARE(scene.provider.requiredCalls.size(), 2);
        QCOMPARE(scene.provider.requiredCalls.at(0), scene.provider.requiredCalls.at(1));
    }

    void onlyTheClipIsDrawnFromTheMatchingSourcePixels()
    {
        Scene scene;
        // Tile (1, 1) holds pixel indices 10 * column + row.
        scene.provider.place(TileId(1, 1, 0, 0),
                             tileOf(TileId(1, 1, 0, 0), 4, [](int x, int y) { return 10 * x + y; }));
        const QImage image = scene.paint(QRect(5, 5, 2, 3));
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                const bool inClip = x >= 5 && x < 7 && y >= 5 && y < 8;
                QCOMPARE(image.pixel(x, y), inClip ? testPalette().at(10 * (x - 4) + (y - 4)) : white);
            }
        }
    }

    void panningShiftsTheTiles()
    {
        Scene scene;
        scene.placeUniformTiles();
        scene.coords.x().setOffset(2.0);
        scene.coords.y().setOffset(1.0);
        const QImage image = scene.paint();
        QCOMPARE(image.pixel(0, 0), testPalette().at(1)); // value (2, 1): tile (0, 0)
        QCOMPARE(image.pixel(2, 0), testPalette().at(2)); // value (4, 1): tile (1, 0)
        QCOMPARE(image.pixel(0, 3), testPalette().at(5)); // value (2, 4): tile (0, 1)
        QCOMPARE(image.pixel(14, 15), white); // value (16, 16): no data
    }

    void missingTileLeavesTheBackground()
    {
        Scene scene;
        scene.placeUniformTiles();
        scene.provider.tiles.remove(TileId(2, 2, 0, 0));
        const QImage image = scene.paint();
        QVERIFY(painttest::all(image, QRect(8, 8, 4, 4), white));
        QCOMPARE(image.pixel(7, 8), testPalette().at(uniformIndex(TileId(1, 2, 0, 0))));
    }

    void coarserSubstituteShowsTheMatchingQuarter()
    {
        Scene scene;
        // A level-1 tile covering values 0..8 on both axes, each pixel its own index.
        const auto coarse = tileOf(TileId(0, 0, 1, 1), 4, [](int x, int y) { return 100 + x + 4 * y; });
        scene.provider.place(TileId(1, 1, 0, 0), coarse); // values 4..8: the lower right quarter
        const QImage image = scene.paint();
        for (int y = 4; y < 8; ++y) {
            for (int x = 4; x < 8; ++x)
                QCOMPARE(image.pixel(x, y), testPalette().at(100 + x / 2 + 4 * (y / 2)));
        }
        QCOMPARE(image.pixel(3, 4), white);
    }

    void nothingHappensWithoutAValidTileSystem()
    {
        Scene scene;
        scene.placeUniformTiles();
        scene.paint();
        scene.system.setTileSystemDescriptor(TileSystemDescriptor());
        const QImage image = scene.paint();
        QCOMPARE(scene.provider.requiredCalls.size(), 1); // not told again
        QCOMPARE(scene.handler.requiredTiles().size(), 25); // kept from before
        QVERIFY(painttest::all(image, image.rect(), white));
    }

    void emptyRangeRequiresNothingAndDrawsNothing()
    {
        Scene scene;
        scene.placeUniformTiles();
        scene.system.setExtents(QRectF());
        const QImage image = scene.paint();
        QCOMPARE(scene.provider.requiredCalls, (QList<QList<TileId>>{{}}));
        QVERIFY(scene.provider.asked.isEmpty());
        QVERIFY(painttest::all(image, image.rect(), white));
    }

    void smoothingOnlyWhereATilePixelIsSmallerThanAScreenPixel_data()
    {
        QTest::addColumn<double>("xScale");
        QTest::addColumn<double>("yScale");
        QTest::addColumn<bool>("smooth");
        QTest::newRow("equal to the tile pixel") << 1.0 << 1.0 << false;
        QTest::newRow("x larger") << 1.5 << 1.0 << true;
        QTest::newRow("y larger") << 1.0 << 1.5 << true;
        QTest::newRow("level 1, equal") << 2.0 << 2.0 << false;
        QTest::newRow("level 1, larger") << 3.0 << 2.0 << true;
    }

    void smoothingOnlyWhereATilePixelIsSmallerThanAScreenPixel()
    {
        QFETCH(double, xScale);
        QFETCH(double, yScale);
        QFETCH(bool, smooth);
        Scene scene;
        scene.placeUniformTiles();
        scene.coords.x().setScale(xScale);
        scene.coords.y().setScale(yScale);
        QImage image = canvas(16, 16);
        QPainter painter(&image);
        painter.setClipRect(image.rect());
        scene.handler.handlePaint(painter);
        QCOMPARE(painter.testRenderHint(QPainter::SmoothPixmapTransform), smooth);
    }

    // Debug overlay

    void debugTextListsIdTargetAndSource()
    {
        QCOMPARE(TilePaintHandler::debugText(TileId(5, 7, 1, 3), QRectF(0, 0, 16, 16), QRectF(0.5, 0, 2, 4)),
                 QStringLiteral("(5; 7; 1; 3; 215385625)\n{(0,0), (16,16)}\n{(0.5,0), (2.5,4)}\n"));
        QCOMPARE(TilePaintHandler::debugText(TileId(), QRectF(1e6, 2, 0.25, 3), QRectF()),
                 QStringLiteral("(0; 0; 0; 0; 837045872)\n{(1e+06,2), (1e+06,5)}\n{(0,0), (0,0)}\n"));
    }

    void debugOverlayDrawsCyanTextOverTheTiles()
    {
        Scene scene(256, 64);
        scene.system.setExtents(QRectF(0, 0, 256, 256));
        for (quint64 y = 0; y < 5; ++y) {
            for (quint64 x = 0; x < 5; ++x)
                scene.provider.place(TileId(x, y, 0, 0), tileOf(TileId(x, y, 0, 0), 64, [](int, int) { return 0; }));
        }
        const auto isCyanText
            = [](QRgb pixel) { return qRed(pixel) == 0 && qGreen(pixel) == qBlue(pixel) && qGreen(pixel) > 128; };
        const auto cyanPixels = [&](const QImage& image) {
            int n = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    n += isCyanText(image.pixel(x, y)) ? 1 : 0;
            return n;
        };
        QCOMPARE(cyanPixels(scene.paint()), 0);
        TilePaintHandlerSettings settings;
        settings.showDebugInfo = true;
        scene.handler.setTilePaintHandlerSettings(settings);
        QVERIFY(cyanPixels(scene.paint()) > 50);
    }

    // Colour tables

    void defaultColourTable()
    {
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(TileColorTableDescriptor(), TileSystemDescriptor(), Qt::black);
        QCOMPARE(table.size(), 255);
        QCOMPARE(table.at(0), 0xff000000u);
        QVERIFY(close(table.at(1), QColor(QStringLiteral("#001829")), 8));
        QVERIFY(close(table.at(127), QColor(QStringLiteral("#0A99FF")), 8));
        QVERIFY(close(table.at(128), QColor(QStringLiteral("#0A99FF")), 8));
        QVERIFY(close(table.at(254), QColor(QStringLiteral("#D6EEFF")), 8));
        QVERIFY(table.at(254) != QColor(QStringLiteral("#D6EEFF")).rgb());
        for (const unsigned int entry : table) {
            QCOMPARE(qAlpha(entry), 255);
            QCOMPARE(entry, quantised(QColor::fromRgba(entry))); // 16-bit colours
        }
    }

    void levelsOutsideTheRangePadWithTheOuterColours()
    {
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = -50.0;
        descriptor.rangeUpper = 50.0;
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black);
        const double lowEdge = 77.0 / 254.0; // 0.303
        const double highEdge = 177.0 / 254.0; // 0.697
        for (int i = 1; i < table.size(); ++i) {
            const double position = (i + 0.5) / 256.0;
            if (position < lowEdge - 0.005)
                QCOMPARE(table.at(i), quantised(descriptor.lowColor));
            else if (position > highEdge + 0.005)
                QCOMPARE(table.at(i), quantised(descriptor.highColor));
            else
                QVERIFY2(table.at(i) != quantised(descriptor.lowColor) || position < lowEdge + 0.005,
                         qPrintable(QString::number(i)));
        }
    }

    void tableSizeFollowsTheValueSteps()
    {
        TileSystemDescriptor levels;
        levels.valueSteps = 1;
        QCOMPARE(TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::red),
                 QVector<unsigned int>{QColor(Qt::red).rgb()});
        levels.valueSteps = 0;
        QVERIFY(TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::red).isEmpty());
        levels.valueSteps = 300; // entries beyond the 256 columns keep the no-value colour
        const auto table = TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::red);
        QCOMPARE(table.size(), 300);
        QCOMPARE(table.at(299), QColor(Qt::red).rgb());
        QVERIFY(table.at(255) != QColor(Qt::red).rgb());
    }

    void degenerateLevelRangeDoesNotCrash()
    {
        TileSystemDescriptor levels;
        levels.maxValue = levels.minValue;
        const auto table = TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::black);
        QCOMPARE(table.size(), 255);
        QCOMPARE(table.at(0), 0xff000000u);
    }

    void descriptorGoesToTheProviderWithTheCurrentLevels()
    {
        Scene scene;
        TileSystemDescriptor levels = scene.system.tileSystemDescriptor();
        levels.valueSteps = 16;
        scene.system.setTileSystemDescriptor(levels);
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        QCOMPARE(scene.provider.colorTableCalls, 1);
        QCOMPARE(scene.provider.colorTable,
                 TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::black));
    }

    void noValueColourWaitsForTheNextDescriptor()
    {
        Scene scene;
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        TilePaintHandlerSettings settings;
        settings.noValueColor = Qt::red;
        scene.handler.setTilePaintHandlerSettings(settings);
        QCOMPARE(scene.provider.colorTableCalls, 1);
        QCOMPARE(scene.provider.colorTable.at(0), 0xff000000u);
        scene.handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        QCOMPARE(scene.provider.colorTable.at(0), QColor(Qt::red).rgb());
    }

    // Colour maps of more than three colours

    void withoutInnerStopsTheTableIsTheDescriptors_data()
    {
        QTest::addColumn<double>("lower");
        QTest::addColumn<double>("upper");
        QTest::newRow("whole range") << -127.0 << 127.0;
        QTest::newRow("narrow") << -50.0 << 50.0;
        QTest::newRow("reversed") << 40.0 << -20.0;
        QTest::newRow("beyond the value range") << -200.0 << 90.0;
    }

    void withoutInnerStopsTheTableIsTheDescriptors()
    {
        QFETCH(double, lower);
        QFETCH(double, upper);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = lower;
        descriptor.rangeUpper = upper;
        const QVector<unsigned int> plain
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black);
        QCOMPARE(TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black, QGradientStops()),
                 plain);
        Scene scene;
        scene.handler.setTileColorTableGradient(descriptor, QGradientStops());
        QCOMPARE(scene.provider.colorTableCalls, 1);
        QCOMPARE(scene.provider.colorTable,
                 TilePaintHandler::buildColorTable(descriptor, scene.system.tileSystemDescriptor(), Qt::black));
    }

    void innerStopsShapeTheGradient()
    {
        TileColorTableDescriptor descriptor; // over the whole value range: places 0 .. 1 of the strip
        descriptor.lowColor = Qt::black;
        descriptor.midColor = Qt::red;
        descriptor.highColor = Qt::red;
        const QVector<unsigned int> threeColours
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black);
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black,
                                                QGradientStops{{0.25, QColor(Qt::red)}});
        QCOMPARE(table.size(), 255);
        QCOMPARE(table.at(0), 0xff000000u);
        // Column 32 lies at (32 + 0.5) / 256 = 0.127: half way to the stop at 0.25, a
        // quarter of the way to the middle without it.
        QVERIFY2(close(table.at(32), QColor(130, 0, 0), 8), qPrintable(QString::number(table.at(32), 16)));
        QVERIFY2(close(threeColours.at(32), QColor(65, 0, 0), 8), qPrintable(QString::number(threeColours.at(32), 16)));
        // From the stop on the map is red, which the three colours reach only at the middle.
        for (int i = 70; i < table.size(); ++i)
            QCOMPARE(table.at(i), quantised(Qt::red));
        QVERIFY(threeColours.at(70) != quantised(Qt::red));
        for (const unsigned int entry : table)
            QCOMPARE(entry, quantised(QColor::fromRgba(entry))); // 16-bit colours, as before
    }

    void innerStopsLieInTheLevelRange()
    {
        TileColorTableDescriptor descriptor;
        descriptor.lowColor = Qt::black;
        descriptor.midColor = Qt::blue;
        descriptor.highColor = Qt::white;
        descriptor.rangeLower = -63.5; // places 0.25 .. 0.75 of the value range -127 .. 127
        descriptor.rangeUpper = 63.5;
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black,
                                                QGradientStops{{0.25, QColor(Qt::red)}, {0.5, QColor(Qt::green)}});
        // 0.25 of the level range is 0.375 of the strip, around column 96; 0.5 replaces
        // the middle colour at column 128.
        QVERIFY2(close(table.at(95), QColor(Qt::red), 12), qPrintable(QString::number(table.at(95), 16)));
        QVERIFY2(close(table.at(127), QColor(Qt::green), 12), qPrintable(QString::number(table.at(127), 16)));
        QVERIFY2(close(table.at(128), QColor(Qt::green), 12), qPrintable(QString::number(table.at(128), 16)));
        // Below and above the range: the outer colours, as with three colours.
        QCOMPARE(table.at(40), quantised(Qt::black));
        QCOMPARE(table.at(220), quantised(Qt::white));
        // A stop at 0 or 1 takes the place of the outer colour.
        const QVector<unsigned int> ends
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black,
                                                QGradientStops{{0.0, QColor(Qt::yellow)}, {1.0, QColor(Qt::cyan)}});
        QCOMPARE(ends.at(40), quantised(Qt::yellow));
        QCOMPARE(ends.at(220), quantised(Qt::cyan));
    }

    void innerStopsOutsideTheValueRangeAreLeftOut()
    {
        TileColorTableDescriptor descriptor;
        descriptor.rangeUpper = 381.0; // the upper level lies at place 2 of the value range
        const QGradientStops inside{{0.25, QColor(Qt::red)}};
        const QVector<unsigned int> expected
            = TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black, inside);
        QVERIFY(expected != TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black));
        QCOMPARE(TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black,
                                                   inside + QGradientStops{{0.75, QColor(Qt::green)}}),
                 expected);
        QCOMPARE(TilePaintHandler::buildColorTable(descriptor, TileSystemDescriptor(), Qt::black,
                                                   inside + QGradientStops{{std::nan(""), QColor(Qt::green)}}),
                 expected);
    }

    void gradientGoesToTheProviderWithTheCurrentLevels()
    {
        Scene scene;
        TileSystemDescriptor levels = scene.system.tileSystemDescriptor();
        levels.valueSteps = 40;
        levels.minValue = -100.0;
        scene.system.setTileSystemDescriptor(levels);
        const QGradientStops stops{{0.3, QColor(Qt::magenta)}};
        scene.handler.setTileColorTableGradient(TileColorTableDescriptor(), stops);
        QCOMPARE(scene.provider.colorTableCalls, 1);
        QCOMPARE(scene.provider.colorTable,
                 TilePaintHandler::buildColorTable(TileColorTableDescriptor(), levels, Qt::black, stops));
        QCOMPARE(scene.provider.colorTable.size(), 40);
    }

    // Repaints

    void arrivedTileRepaintsItsScreenArea()
    {
        ShownWidget shown;
        CoordSystem coords;
        coords.x().setDisplayedPixelSpan(14);
        coords.y().setDisplayedPixelSpan(14);
        FakeTileProvider provider;
        TileSystem system;
        TileSystemDescriptor d;
        d.name = QStringLiteral("t");
        d.xaxis.tilesize = d.yaxis.tilesize = 4;
        system.setTileSystemDescriptor(d);
        TilePaintHandler handler(shown.widget, coords, provider, system);
        shown.settle();

        provider.announce(TileId(1, 1, 0, 0));
        QCOMPARE(shown.nextPaint(), QRegion(4, 4, 4, 4));
        provider.announce(TileId(3, 3, 0, 0)); // cut by the widget's edge
        QCOMPARE(shown.nextPaint(), QRegion(12, 12, 2, 2));
        provider.announce(TileId(9, 9, 0, 0)); // wholly outside: no update
        shown.widget.update(QRect(0, 0, 1, 1));
        QCOMPARE(shown.nextPaint(), QRegion(0, 0, 1, 1));
    }

    void settingsTileSystemAndDescriptorRepaint()
    {
        ShownWidget shown;
        CoordSystem coords;
        FakeTileProvider provider;
        TileSystem system;
        TilePaintHandler handler(shown.widget, coords, provider, system);
        QTRY_VERIFY(shown.paints.regions.size() > 0);
        shown.settle();
        system.setTileSystemDescriptor(TileSystemDescriptor());
        QCOMPARE(shown.nextPaint(), QRegion(shown.widget.rect()));
        handler.setTilePaintHandlerSettings(TilePaintHandlerSettings());
        QCOMPARE(shown.nextPaint(), QRegion(shown.widget.rect()));
        handler.setTileColorTableDescriptor(TileColorTableDescriptor());
        QCOMPARE(shown.nextPaint(), QRegion(shown.widget.rect()));
        handler.setTileColorTableGradient(TileColorTableDescriptor(), QGradientStops{{0.3, QColor(Qt::red)}});
        QCOMPARE(shown.nextPaint(), QRegion(shown.widget.rect()));
    }
};

QTEST_MAIN(TestTilePaintHandler)
#include "tst_tilepainthandler.moc"
