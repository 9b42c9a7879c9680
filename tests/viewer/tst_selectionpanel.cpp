// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SelectionPanel.h"
#include "ViewerFormatters.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

#include "../common/FakeTileProvider.h"
#include "../common/TestTiles.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>

#include <cmath>

using namespace mivo;
using namespace mivo::tiling;
using namespace mivo::viewer;

namespace {

// 2024-01-01T12:00:00Z
constexpr double noon = 1704110400.0;

double level(int index)
{
    return index / 255.0 * 254.0 - 127.0;
}

// Tiles of 4 x 4 pixels of 100 Hz by 0.5 s at level 0. The tile at 100 MHz and noon
// holds index 10 + x + 4 y (10 .. 25, the peak at its pixel (3, 3)).
const TileId rampId(250000, 852055200, 0, 0);

QByteArray descriptor()
{
    return QByteArrayLiteral("{\"name\": \"p\", \"xaxis\": {\"basevalue\": 100, \"tilesize\": 4, \"minzoomlevel\": 0, "
                             "\"maxzoomlevel\": 3}, \"yaxis\": {\"basevalue\": 0.5, \"tilesize\": 4, "
                             "\"minzoomlevel\": 0, \"maxzoomlevel\": 3}}");
}

// An 800 x 600 view at 100 Hz and 0.5 s per pixel, from 99.99 MHz and 100 s before noon,
// never shown; a selection manager and the panel.
struct Scene
{
    Scene()
    {
        tileSystem.setTileSystemDescriptor(parseTileSystemDescriptor(descriptor()));
        tileSystem.setExtents(QRectF(99.99e6, noon - 100.0, 80e3, 300.0));
        widget.resize(800, 600);
        CoordSystem& coords = widget.coordSystem();
        coords.x().setDisplayedPixelSpan(800);
        coords.y().setDisplayedPixelSpan(600);
        coords.x().setScale(100.0);
        coords.y().setScale(0.5);
        coords.x().setOffset(99.99e6);
        coords.y().setOffset(noon - 100.0);
    }

    void placeRamp()
    {
        provider.place(rampId, std::make_shared<Tile>(rampId, testtiles::indexedImage(4, 4, [](int x, int y) {
                                                          return 10 + x + 4 * y;
                                                      })));
    }

    /// The ramp tile's area: 100.0000 .. 100.0004 MHz, noon .. noon + 2 s.
    static QRectF rampArea() { return QRectF(100e6, noon, 400.0, 2.0); }

    /// The ramp tile cached and selected whole.
    void selectRamp()
    {
        placeRamp();
        selection.setSelection(rampArea(), SelectionFinished);
    }

    TileSystem tileSystem;
    FakeTileProvider provider;
    SelectionManager selection;
    BaseDrawWidget widget;
    SelectionPanel* panel = new SelectionPanel(widget, selection, tileSystem, provider);
};

} // namespace

class TestSelectionPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasInfoForAFinishedSelectionOnly()
    {
        Scene scene;
        QCOMPARE(scene.panel->parentWidget(), &scene.widget);
        QVERIFY(!scene.panel->hasInfo());
        QVERIFY(scene.panel->infoArea().isNull());
        QSignalSpy hasInfo(scene.panel, &IInfoWidget::si_hasInfoChanged);
        QSignalSpy area(scene.panel, &IInfoWidget::si_infoAreaChanged);

        scene.selection.setSelection(QRectF(100e6, noon, 400.0, 2.0), SelectionEditing);
        QVERIFY(!scene.panel->hasInfo());
        QCOMPARE(hasInfo.count(), 0);

        // Finished (normalized by the handler; the panel normalizes as well).
        scene.selection.setSelection(QRectF(100.0004e6, noon + 2.0, -400.0, -2.0), SelectionFinished);
        QVERIFY(scene.panel->hasInfo());
        QCOMPARE(scene.panel->infoArea(), Scene::rampArea());
        QCOMPARE(hasInfo.count(), 1);

        // Moved while finished: the area changes, the info does not.
        const int areaChanges = area.count();
        scene.selection.setSelection(QRectF(100.0001e6, noon, 400.0, 2.0), SelectionFinished);
        QCOMPARE(hasInfo.count(), 1);
        QVERIFY(area.count() > areaChanges);
        QCOMPARE(scene.panel->infoArea(), QRectF(100.0001e6, noon, 400.0, 2.0));

        scene.selection.clearSelection();
        QVERIFY(!scene.panel->hasInfo());
        QCOMPARE(hasInfo.count(), 2);
        QVERIFY(scene.panel->infoArea().isNull());
    }

    void figuresAreMeasuredAtOnceWhenTheSelectionIsFinished()
    {
        Scene scene;
        scene.placeRamp();
        QSignalSpy figures(scene.panel, &SelectionPanel::si_figuresChanged);
        scene.selection.setSelection(Scene::rampArea(), SelectionFinished);
        QCOMPARE(figures.count(), 1);
        const LevelStatistics& s = scene.panel->statistics();
        QVERIFY(s.hasData());
        QCOMPARE(s.peakLevel, level(25));
        QCOMPARE(s.peakPosition, QPointF(100e6 + 350.0, noon + 1.75));
        QCOMPARE(s.medianLevel, level(17));
    }

    void figuresText()
    {
        Scene scene;
        scene.selectRamp();
        double power = 0.0;
        for (int i = 10; i <= 25; ++i)
            power += std::pow(10.0, level(i) / 10.0);
        const QString mean = formatLevel(10.0 * std::log10(power / 16.0));
        QCOMPARE(scene.panel->figuresText(),
                 QStringLiteral("Frequency: 100.0000 – 100.0004 MHz\n"
                                "Bandwidth: 400 Hz\n"
                                "Time: 2024-01-01 12:00:00.0 – 12:00:02.0 UTC\n"
                                "Duration: 2.0 s\n"
                                "Peak: -102.1 dB at 100.00035 MHz, 12:00:01.75\n"
                                "Mean (power): %1\n"
                                "Median: -110.1 dB\n")
                     .arg(mean));
        // The labels show the same rows.
        const QList<QLabel*> labels = scene.panel->findChildren<QLabel*>();
        QStringList shown;
        for (QLabel* label : labels) {
            if (!label->isHidden())
                shown << label->text();
        }
        QVERIFY2(shown.contains(QStringLiteral("-102.1 dB at 100.00035 MHz, 12:00:01.75")),
                 qPrintable(shown.join(QLatin1Char('|'))));
        QVERIFY(shown.contains(QStringLiteral("Median")));

        scene.selection.clearSelection();
        QCOMPARE(scene.panel->figuresText(), QString());
    }

    void missingTilesAreSaidAndMeasuredWhenTheyArrive()
    {
        Scene scene;
        scene.selection.setSelection(Scene::rampArea(), SelectionFinished);
        QVERIFY(scene.panel->figuresText().endsWith(
            QStringLiteral("Levels: not loaded yet\nApproximate: 1 of 1 tiles not loaded\n")));
        QSignalSpy figures(scene.panel, &SelectionPanel::si_figuresChanged);
        QSignalSpy area(scene.panel, &IInfoWidget::si_infoAreaChanged);
        scene.placeRamp();
        scene.provider.announce(rampId);
        QCOMPARE(figures.count(), 0); // measured shortly after, not at once
        QVERIFY(figures.wait(5000));
        QCOMPARE(figures.count(), 1);
        QCOMPARE(scene.panel->statistics().peakLevel, level(25));
        QVERIFY(!scene.panel->statistics().isApproximate());
        // More rows: the displayer is asked to place the panel again.
        QCOMPARE(area.count(), 1);
    }

    void aBurstOfChangesIsMeasuredOnce()
    {
        Scene scene;
        scene.selectRamp();
        QSignalSpy figures(scene.panel, &SelectionPanel::si_figuresChanged);
        for (int i = 0; i < 5; ++i)
            scene.provider.announce(rampId);
        scene.widget.coordSystem().x().setOffset(99.99e6 + 100.0);
        QVERIFY(figures.wait(5000));
        QCOMPARE(figures.count(), 1);
    }

    void followsTheViewAndSaysWhatIsOutOfIt()
    {
        Scene scene;
        scene.selectRamp();
        QSignalSpy figures(scene.panel, &SelectionPanel::si_figuresChanged);
        // The view's left edge moves to 100.0002 MHz: half the selection is out of view.
        scene.widget.coordSystem().x().setOffset(100.0002e6);
        QVERIFY(figures.wait(5000));
        const LevelStatistics& s = scene.panel->statistics();
        QVERIFY(s.clippedByView);
        QCOMPARE(s.measuredArea, QRectF(100.0002e6, noon, 200.0, 2.0));
        QCOMPARE(s.peakLevel, level(25));
        QVERIFY(
            scene.panel->figuresText().endsWith(QStringLiteral("Approximate: only the part in view is measured\n")));
    }

    void copyPutsTheFiguresOnTheClipboard()
    {
        Scene scene;
        scene.placeRamp();
        QApplication::clipboard()->setText(QStringLiteral("before"));
        scene.panel->copyToClipboard(); // no selection: nothing to copy
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("before"));
        scene.selection.setSelection(Scene::rampArea(), SelectionFinished);
        scene.panel->copyToClipboard();
        QCOMPARE(QApplication::clipboard()->text(), scene.panel->figuresText());
        QVERIFY(QApplication::clipboard()->text().startsWith(QStringLiteral("Frequency: 100.0000 – 100.0004 MHz\n")));
    }
};

QTEST_MAIN(TestSelectionPanel)
#include "tst_selectionpanel.moc"
