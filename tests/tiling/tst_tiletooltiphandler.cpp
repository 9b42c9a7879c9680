// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>
#include <mivo/tiling/TileSystem.h>
#include <mivo/tiling/TileTooltipHandler.h>

#include "../common/FakeTileProvider.h"

#include <QApplication>
#include <QHelpEvent>
#include <QTest>
#include <QToolTip>

using namespace mivo;
using namespace mivo::tiling;

namespace {

std::shared_ptr<Tile> tileOf(const TileId& id, int size, const std::function<int(int, int)>& index)
{
    QImage image(size, size, QImage::Format_Indexed8);
    image.setColorCount(256);
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            image.setPixel(x, y, uint(index(x, y)));
    }
    return std::make_shared<Tile>(id, image);
}

// A shown drawing widget of 200 x 100 pixels at one value unit per pixel, over a
// pyramid of 8-pixel tiles with base value 1, levels 0..3.
struct Scene
{
    Scene()
    {
        window.resize(200, 100);
        widget->resize(200, 100);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            qFatal("not exposed");
        QTRY_COMPARE(widget->coordSystem().x().displayedPixelSpan(), 200.0);
        widget->coordSystem().x().setOffset(1000.0);
        widget->coordSystem().y().setOffset(50.0);
        TileSystemDescriptor d;
        d.name = QStringLiteral("levels");
        d.xaxis.tilesize = d.yaxis.tilesize = 8;
        d.xaxis.maxzoomlevel = d.yaxis.maxzoomlevel = 3;
        system.setTileSystemDescriptor(d);
        system.setExtents(QRectF(0, 0, 1e6, 1e6));
    }

    QString twoLines(QPoint position) const
    {
        const QPointF value = widget->coordSystem().pixelToValue(QPointF(position));
        return defaultFrequencyFormatter(value.x()) + QLatin1Char('\n') + defaultTimeFormatter(value.y());
    }

    bool sendToolTip(QPoint position, bool handled = false)
    {
        QHelpEvent event(QEvent::ToolTip, position, widget->mapToGlobal(position));
        return handler.handleToolTip(&event, handled);
    }

    QWidget window;
    BaseDrawWidget* widget = new BaseDrawWidget(&window); // before the handler that refers to it
    FakeTileProvider provider;
    TileSystem system;
    TileTooltipHandler handler{*widget, provider, system};
};

} // namespace

class TestTileTooltipHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QToolTip::hideText(); }

    void defaultFormattersAreTheSharedOnes()
    {
        const TileTooltipHandlerSettings settings;
        QCOMPARE(settings.frequencyFormatter(98.5e6), defaultFrequencyFormatter(98.5e6));
        QCOMPARE(settings.timeFormatter(1704110400.25), defaultTimeFormatter(1704110400.25));
        QCOMPARE(settings.levelFormatter(-20.26), defaultLevelFormatter(-20.26));
    }

    void invalidTileSystemShowsNothing()
    {
        Scene scene;
        scene.system.setTileSystemDescriptor(TileSystemDescriptor());
        QVERIFY(!scene.sendToolTip(QPoint(10, 10)));
        QVERIFY(!QToolTip::isVisible());
    }

    void handledEarlierShowsNothing()
    {
        Scene scene;
        QVERIFY(!scene.sendToolTip(QPoint(10, 10), true));
        QVERIFY(!QToolTip::isVisible());
    }

    void withoutATileTheTooltipHasTwoLines()
    {
        Scene scene;
        const QPoint position(30, 40);
        QCOMPARE(scene.handler.toolTipText(QPointF(position)), scene.twoLines(position));
        QCOMPARE(scene.twoLines(position),
                 defaultFrequencyFormatter(1030.0) + QLatin1Char('\n') + defaultTimeFormatter(90.0));
        QVERIFY(scene.sendToolTip(position));
        QTRY_VERIFY(QToolTip::isVisible());
        QCOMPARE(QToolTip::text(), scene.twoLines(position));
        QCOMPARE(scene.provider.asked.size(), 2); // text and shown text
    }

    void levelIsReadFromTheTilePixel()
    {
        Scene scene;
        TileSystemDescriptor d = scene.system.tileSystemDescriptor();
        d.minValue = -20.26; // index 0 -> -20.26
        scene.system.setTileSystemDescriptor(d);
        // Value (1030, 90) lies in tile (128, 11) at pixel (6, 2).
        scene.provider.place(TileId(128, 11, 0, 0),
                             tileOf(TileId(128, 11, 0, 0), 8, [](int x, int y) { return x == 6 && y == 2 ? 0 : 200; }));
        const QPoint position(30, 40);
        const QString expected = scene.twoLines(position) + QString::fromUtf8("\n-20.3 dB\xc2\xb5V");
        QCOMPARE(scene.handler.toolTipText(QPointF(position)), expected);
        QVERIFY(scene.sendToolTip(position));
        QTRY_COMPARE(QToolTip::text(), expected);
        QCOMPARE(scene.provider.asked.last().toString(), TileId(128, 11, 0, 0).toString());
    }

    void coarserTileIsReadAtItsOwnLevel()
    {
        Scene scene;
        // A level-2 stand-in (4 values per pixel) for tile (128, 11): value (1030, 90)
        // is its pixel (1030 / 4 mod 8, 90 / 4 mod 8) = (1.5, 6.5), rounded to (2, 7).
        scene.provider.place(TileId(128, 11, 0, 0),
                             tileOf(TileId(32, 2, 2, 2), 8, [](int x, int y) { return 10 * x + y; }));
        const QString text = scene.handler.toolTipText(QPointF(30, 40));
        const double level = scene.system.pixelIndexToValue(27);
        QVERIFY2(text.endsWith(QLatin1Char('\n') + defaultLevelFormatter(level)), qPrintable(text));
    }

    void customFormatters()
    {
        Scene scene;
        scene.provider.place(TileId(128, 11, 0, 0), tileOf(TileId(128, 11, 0, 0), 8, [](int, int) { return 255; }));
        TileTooltipHandlerSettings settings;
        settings.frequencyFormatter = [](double v) { return QStringLiteral("f=%1").arg(v); };
        settings.timeFormatter = [](double v) { return QStringLiteral("t=%1").arg(v); };
        settings.levelFormatter = [](double v) { return QStringLiteral("l=%1").arg(v); };
        scene.handler.setSettings(settings);
        QCOMPARE(scene.handler.toolTipText(QPointF(30, 40)), QStringLiteral("f=1030\nt=90\nl=127"));
    }

    void copiesShareTheReferencedObjects()
    {
        Scene scene;
        TileTooltipHandler copy = scene.handler;
        scene.provider.place(TileId(128, 11, 0, 0), tileOf(TileId(128, 11, 0, 0), 8, [](int, int) { return 255; }));
        QCOMPARE(copy.toolTipText(QPointF(30, 40)), scene.handler.toolTipText(QPointF(30, 40)));
        QCOMPARE(copy.toolTipText(QPointF(30, 40)).count(QLatin1Char('\n')), 2);
    }

    void brokenTileImageGivesNoLevel()
    {
        Scene scene;
        scene.provider.place(TileId(128, 11, 0, 0), std::make_shared<Tile>(TileId(128, 11, 0, 0), QImage()));
        QCOMPARE(scene.handler.toolTipText(QPointF(30, 40)), scene.twoLines(QPoint(30, 40)));
    }

    void throughTheWidgetChain()
    {
        Scene scene;
        scene.widget->addToolTipHandler(std::make_shared<TileTooltipHandler>(scene.handler));
        QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), scene.widget->mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(scene.widget, &event);
        QTRY_COMPARE(QToolTip::text(), scene.twoLines(QPoint(5, 5)));
    }
};

QTEST_MAIN(TestTileTooltipHandler)
#include "tst_tiletooltiphandler.moc"
