// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The viewer's colours: the colour panel of the action bar (editor, presets, reset,
// auto adjust), checked by pixels of the grabbed frame of a pyramid of known levels;
// the presets; and the colour state on its own.

#include "ColourPopup.h"
#include "ColourScheme.h"
#include "ViewerOptions.h"
#include "WaterfallColours.h"
#include "WaterfallView.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TileColorTableEditorWidget.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileSystem.h>

#include "../common/FakeTileProvider.h"
#include "ViewerTestSupport.h"

#include <QAbstractButton>
#include <QColorDialog>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QToolButton>

#include <cmath>

using namespace mivo;
using namespace mivo::tiling;
using namespace mivo::viewer;

namespace {

// A pyramid of known levels: base value 1, tiles of 256, levels 0..1, data over
// 0 .. 512 on both axes (2 x 2 tiles at level 0). Every tile holds, by its own rows:
// rows 0..11 index 30 (4.69 % of the data), rows 12..23 index 50 (up to 9.38 %), the
// rest 80; the first tile also a signal, rows 210..249 by columns 120..183 at index
// 200 (0.98 % of all the data).
int knownIndex(const TileId& id, int x, int y)
{
    if (y < 12)
        return 30;
    if (y < 24)
        return 50;
    if (id.x == 0 && id.y == 0 && y >= 210 && y < 250 && x >= 120 && x < 184)
        return 200;
    return 80;
}

QString writeKnownLevels(const QString& root)
{
    const QString source = root + QStringLiteral("/levels");
    testtiles::writeFile(source + QStringLiteral("/tiledescriptor.json"),
                         testtiles::descriptorJson(QStringLiteral("levels"), 1.0, 256, 1));
    testtiles::writeFile(source + QStringLiteral("/tileextents.json"), testtiles::extentsJson(QRectF(0, 0, 512, 512)));
    for (quint16 xz = 0; xz <= 1; ++xz) {
        for (quint16 yz = 0; yz <= 1; ++yz) {
            for (quint64 y = 0; y < (2u >> yz); ++y) {
                for (quint64 x = 0; x < (2u >> xz); ++x) {
                    const TileId id(x, y, xz, yz);
                    testtiles::writeFile(source + testtiles::tilePath(id),
                                         testtiles::indexedPng(256, 256, [&id](int px, int py) {
                                             return knownIndex(id, px, py);
                                         }));
                }
            }
        }
    }
    return source;
}

// Screen pixels of the view (600 x 600 at one value per pixel from 0): inside the
// first tile, clear of the grids and their labels, with the index they show.
struct Probe
{
    QPoint pixel;
    int index;
};
const QList<Probe> probes{{{37, 5}, 30},   {{37, 17}, 50},   {{141, 230}, 200},
                          {{37, 150}, 80}, {{301, 261}, 30}, {{387, 485}, 80}};

// The level of index 50 (-77.2 dB) widened down and of index 200 (72.2 dB) widened up:
// what auto adjust finds for the whole pyramid.
const double autoLower = -78.0;
const double autoUpper = 73.0;

using viewertest::tableOf;

// Every probe of @p frame shows its index through @p scheme.
bool showsScheme(const QImage& frame, const ColourScheme& scheme, QString& mismatch)
{
    const QVector<unsigned int> table = tableOf(scheme);
    for (const Probe& probe : probes) {
        const QRgb shown = frame.pixel(probe.pixel) | 0xff000000u;
        if (shown != table.at(probe.index)) {
            mismatch = QStringLiteral("%1,%2 (index %3): %4, expected %5")
                           .arg(probe.pixel.x())
                           .arg(probe.pixel.y())
                           .arg(probe.index)
                           .arg(shown, 8, 16)
                           .arg(table.at(probe.index), 8, 16);
            return false;
        }
    }
    return true;
}

// CIE L* of an sRGB colour.
double lightness(QRgb colour)
{
    const auto linear = [](int v) {
        const double c = v / 255.0;
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    const double y = 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) + 0.0722 * linear(qBlue(colour));
    const double f = y > 216.0 / 24389.0 ? std::cbrt(y) : (24389.0 / 27.0 * y + 16.0) / 116.0;
    return 116.0 * f - 16.0;
}

// A view of the known pyramid, shown and with every visible tile arrived.
struct LevelsView
{
    LevelsView(const QString& source, const QString& palette = QStringLiteral("default"))
    {
        ViewerOptions options;
        options.windowSize = QSize(600, 600);
        options.palette = palette;
        view = viewertest::openedView(options, QUrl::fromLocalFile(source).toString());
        if (!viewertest::waitForSettledTiles(*view))
            qFatal("the view never showed its tiles");
    }

    QImage frame() { return view->widget().grabFramebuffer(); }
    ColourPopup& popup() { return view->colourPopup(); }
    TileColorTableEditorWidget& editor() { return popup().editor(); }
    template <typename T> T* part(const char* name) { return editor().findChild<T*>(QString::fromLatin1(name)); }

    std::unique_ptr<WaterfallView> view;
};

ColourScheme preset(const QString& name, double lower = -100.0, double upper = -30.0)
{
    return colourSchemeOf(*findColourPreset(name), lower, upper);
}

} // namespace

class TestViewerColours : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_source = writeKnownLevels(m_dir.path());
    }

    // The presets

    void presetsAreTheDefaultAndThreeMaps()
    {
        QCOMPARE(colourPresetNames(),
                 (QStringList{QStringLiteral("default"), QStringLiteral("viridis"), QStringLiteral("inferno"),
                              QStringLiteral("grayscale")}));
        QVERIFY(!findColourPreset(QStringLiteral("jet")));
        // The default preset is the library's three colours, with no stops between.
        const ColourScheme standard = preset(QStringLiteral("default"), -90.0, -20.0);
        TileColorTableDescriptor library;
        library.rangeLower = -90.0;
        library.rangeUpper = -20.0;
        QVERIFY(standard.descriptor == library);
        QVERIFY(standard.innerStops.isEmpty());
        // A nine-colour map: ends and middle in the descriptor, six stops between.
        const ColourScheme viridis = preset(QStringLiteral("viridis"));
        QCOMPARE(viridis.descriptor.lowColor, QColor(QStringLiteral("#450A57")));
        QCOMPARE(viridis.descriptor.midColor, QColor(QStringLiteral("#228F8C")));
        QCOMPARE(viridis.descriptor.highColor, QColor(QStringLiteral("#F9E521")));
        QCOMPARE(viridis.innerStops.size(), 6);
        QCOMPARE(viridis.innerStops.first().first, 0.125);
        QCOMPARE(viridis.innerStops.last().first, 0.875);
        QVERIFY(preset(QStringLiteral("grayscale")).innerStops.isEmpty());
    }

    void everyPresetBrightensSteadilyWithTheLevel_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString& name : colourPresetNames())
            QTest::newRow(qPrintable(name)) << name;
    }

    void everyPresetBrightensSteadilyWithTheLevel()
    {
        QFETCH(QString, name);
        const ColourPreset& map = *findColourPreset(name);
        for (int i = 1; i < map.stops.size(); ++i)
            QVERIFY(lightness(map.stops.at(i).second.rgb()) > lightness(map.stops.at(i - 1).second.rgb()) + 5.0);
        // Over the whole strip (levels -127 .. 127), entry by entry, allowing for the
        // table's 16-bit colours.
        const QVector<unsigned int> table = tableOf(colourSchemeOf(map, -127.0, 127.0));
        for (int i = 2; i < table.size(); ++i)
            QVERIFY2(lightness(table.at(i)) >= lightness(table.at(i - 1)) - 1.0, qPrintable(QString::number(i)));
        QVERIFY(lightness(table.at(table.size() - 1)) > lightness(table.at(1)) + 60.0);
    }

    // The colour state

    void coloursAnnounceEachChangeOnce()
    {
        QWidget widget;
        CoordSystem coords;
        FakeTileProvider provider;
        TileSystem system;
        auto painter = std::make_shared<TilePaintHandler>(widget, coords, provider, system);
        const ColourScheme start = preset(QStringLiteral("inferno"));
        WaterfallColours colours(painter, start);
        QCOMPARE(provider.colorTableCalls, 1); // applied at once
        QCOMPARE(provider.colorTable, tableOf(start));
        QSignalSpy changed(&colours, &WaterfallColours::si_schemeChanged);

        colours.setScheme(start);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(provider.colorTableCalls, 1);

        // New levels keep the map's stops.
        colours.setLevels(-80.0, -10.0);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(colours.scheme(), preset(QStringLiteral("inferno"), -80.0, -10.0));
        QCOMPARE(provider.colorTable, tableOf(colours.scheme()));

        // An editor edit of the levels alone keeps them too; a new colour drops them.
        TileColorTableDescriptor edited = colours.scheme().descriptor;
        edited.rangeUpper = 0.0;
        colours.setDescriptor(edited);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(colours.scheme().innerStops, start.innerStops);
        edited.midColor = Qt::green;
        colours.setDescriptor(edited);
        QCOMPARE(changed.count(), 3);
        QVERIFY(colours.scheme().innerStops.isEmpty());
        QVERIFY(colours.scheme().descriptor == edited);
        QCOMPARE(provider.colorTable, tableOf(colours.scheme()));

        colours.applyPreset(*findColourPreset(QStringLiteral("grayscale")));
        QCOMPARE(colours.scheme(), preset(QStringLiteral("grayscale"), -80.0, 0.0));
        colours.reset();
        QCOMPARE(changed.count(), 5);
        QCOMPARE(colours.scheme(), start);
        QCOMPARE(colours.startScheme(), start);

        // A new level mapping: the same scheme, built again, announced by nobody.
        TileSystemDescriptor levels;
        levels.valueSteps = 100;
        system.setTileSystemDescriptor(levels);
        colours.reapply();
        QCOMPARE(changed.count(), 5);
        QCOMPARE(provider.colorTable.size(), 100);
    }

    // The panel on the waterfall

    void theViewStartsWithItsPaletteOverItsLevels()
    {
        LevelsView shown(m_source, QStringLiteral("inferno"));
        QCOMPARE(shown.view->colours().scheme(), preset(QStringLiteral("inferno")));
        QString mismatch;
        QVERIFY2(showsScheme(shown.frame(), preset(QStringLiteral("inferno")), mismatch), qPrintable(mismatch));
        // The editor shows the levels in dB and the map's three colours; its button is checked.
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->value(), -100.0);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->value(), -30.0);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->suffix(), QStringLiteral(" dB"));
        QCOMPARE(shown.part<QPushButton>("lowColorButton")->styleSheet(), QStringLiteral("background-color: #04030e"));
        QVERIFY(shown.popup().presetButton(QStringLiteral("inferno"))->isChecked());
        QVERIFY(!shown.popup().presetButton(QStringLiteral("default"))->isChecked());
    }

    void editsRecolourTheWaterfallAtOnce()
    {
        LevelsView shown(m_source);
        QString mismatch;
        QVERIFY2(showsScheme(shown.frame(), preset(QStringLiteral("default")), mismatch), qPrintable(mismatch));
        const QVector<unsigned int> before = tableOf(preset(QStringLiteral("default")));

        // The upper level down to -60: index 80 (-47.3 dB) now gets the top colour.
        shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->setValue(-60.0);
        ColourScheme expected = preset(QStringLiteral("default"), -100.0, -60.0);
        QCOMPARE(shown.view->colours().scheme(), expected);
        const QImage lowered = shown.frame();
        QVERIFY2(showsScheme(lowered, expected, mismatch), qPrintable(mismatch));
        QVERIFY(QRgb(lowered.pixel(37, 150) | 0xff000000u) != before.at(80));

        // The low colour through the editor's colour dialog, live.
        QTest::mouseClick(shown.part<QPushButton>("lowColorButton"), Qt::LeftButton);
        auto* dialog = shown.editor().findChild<QColorDialog*>(QStringLiteral("colorDialog"));
        QVERIFY(dialog->isVisible());
        dialog->setCurrentColor(QColor(200, 0, 0));
        expected.descriptor.lowColor = QColor(200, 0, 0);
        QCOMPARE(shown.view->colours().scheme(), expected);
        dialog->close();
        QVERIFY2(showsScheme(shown.frame(), expected, mismatch), qPrintable(mismatch));
        // Index 30 (-97.1 dB) lies just above the lower level: close to the new red.
        QVERIFY2(qRed(shown.frame().pixel(37, 5)) > 150, qPrintable(QString::number(shown.frame().pixel(37, 5), 16)));
    }

    void presetsRecolourAndKeepTheLevels()
    {
        LevelsView shown(m_source);
        shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->setValue(-95.0);
        shown.popup().presetButton(QStringLiteral("viridis"))->click();
        const ColourScheme viridis = preset(QStringLiteral("viridis"), -95.0, -30.0);
        QCOMPARE(shown.view->colours().scheme(), viridis);
        QString mismatch;
        QVERIFY2(showsScheme(shown.frame(), viridis, mismatch), qPrintable(mismatch));
        // The stops between the three colours show: index 80 lies at 0.73 of the range,
        // where the nine-colour map is green and three colours would be bluish.
        const ColourScheme threeOnly{viridis.descriptor, {}};
        QVERIFY(tableOf(viridis).at(80) != tableOf(threeOnly).at(80));
        QVERIFY(qGreen(shown.frame().pixel(37, 150)) > 2 * qBlue(shown.frame().pixel(37, 150)));
        QVERIFY(shown.popup().presetButton(QStringLiteral("viridis"))->isChecked());
        QVERIFY(!shown.popup().presetButton(QStringLiteral("default"))->isChecked());
        QCOMPARE(shown.part<QPushButton>("highColorButton")->styleSheet(), QStringLiteral("background-color: #f9e521"));

        shown.popup().presetButton(QStringLiteral("grayscale"))->click();
        const ColourScheme grey = preset(QStringLiteral("grayscale"), -95.0, -30.0);
        QVERIFY2(showsScheme(shown.frame(), grey, mismatch), qPrintable(mismatch));
        QCOMPARE(shown.frame().pixel(141, 230) | 0xff000000u, 0xffffffffu); // 72 dB: white

        // Clicking the preset shown keeps its button checked.
        shown.popup().presetButton(QStringLiteral("grayscale"))->click();
        QVERIFY(shown.popup().presetButton(QStringLiteral("grayscale"))->isChecked());
    }

    void resetRestoresTheStartingColours()
    {
        LevelsView shown(m_source, QStringLiteral("viridis"));
        shown.popup().presetButton(QStringLiteral("inferno"))->click();
        shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->setValue(0.0);
        QVERIFY(shown.view->colours().scheme() != preset(QStringLiteral("viridis")));
        QTest::mouseClick(shown.part<QAbstractButton>("resetButton"), Qt::LeftButton);
        QCOMPARE(shown.view->colours().scheme(), preset(QStringLiteral("viridis")));
        QString mismatch;
        QVERIFY2(showsScheme(shown.frame(), preset(QStringLiteral("viridis")), mismatch), qPrintable(mismatch));
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->value(), -30.0);
        QVERIFY(shown.popup().presetButton(QStringLiteral("viridis"))->isChecked());
    }

    void autoAdjustFitsTheLevelsToTheDataInView()
    {
        LevelsView shown(m_source);
        // The view shows all of the data.
        QCOMPARE(shown.view->widget().coordSystem().displayedValueRange(), QRectF(0, 0, 600, 600));
        QTest::mouseClick(shown.part<QAbstractButton>("adjustButton"), Qt::LeftButton);
        const ColourScheme expected = preset(QStringLiteral("default"), autoLower, autoUpper);
        QCOMPARE(shown.view->colours().scheme(), expected);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->value(), autoLower);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->value(), autoUpper);
        const QImage frame = shown.frame();
        QString mismatch;
        QVERIFY2(showsScheme(frame, expected, mismatch), qPrintable(mismatch));
        // The quietest tenth is dark, the strongest signal bright.
        QCOMPARE(QRgb(frame.pixel(37, 5) | 0xff000000u), QRgb(tableOf(expected).at(1))); // the low colour
        QVERIFY(lightness(frame.pixel(37, 17)) < 20.0);
        QVERIFY(lightness(frame.pixel(141, 230)) > 85.0);
    }

    void autoAdjustFollowsTheView()
    {
        LevelsView shown(m_source);
        // Only the right column of tiles, which has no signal.
        shown.view->widget().coordSystem().setDisplayedValueRange(QRectF(256, 0, 600, 600));
        QVERIFY(viewertest::waitForSettledTiles(*shown.view));
        QVERIFY(shown.popup().autoAdjust());
        // The 5th percentile is still index 50; the 99.5th is now index 80 (-47.3 dB).
        QCOMPARE(shown.view->colours().scheme().descriptor.rangeLower, autoLower);
        QCOMPARE(shown.view->colours().scheme().descriptor.rangeUpper, -47.0);
    }

    void autoAdjustWithoutDataChangesNothing()
    {
        ViewerOptions options;
        options.windowSize = QSize(300, 200);
        WaterfallView view(options); // no source
        const ColourScheme before = view.colours().scheme();
        QSignalSpy changed(&view.colours(), &WaterfallColours::si_schemeChanged);
        QVERIFY(!view.colourPopup().autoAdjust());
        view.colourPopup().editor().findChild<QAbstractButton*>(QStringLiteral("adjustButton"))->click();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(view.colours().scheme(), before);
    }

    void theEditorFollowsLevelsWhollyAboveItsOwn()
    {
        LevelsView shown(m_source);
        shown.view->colours().setLevels(10.0, 60.0); // both above the upper level shown (-30)
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->value(), 10.0);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->value(), 60.0);
        QVERIFY(shown.editor().colorTableDescriptor() == shown.view->colours().scheme().descriptor);
        shown.view->colours().setLevels(-120.0, -110.0); // and wholly below
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeLowerSpinBox")->value(), -120.0);
        QCOMPARE(shown.part<QDoubleSpinBox>("rangeUppperSpinBox")->value(), -110.0);
    }

    void theEditorReachesLevelsBeyondItsOwnRange()
    {
        LevelsView shown(m_source);
        auto* lower = shown.part<QDoubleSpinBox>("rangeLowerSpinBox");
        auto* upper = shown.part<QDoubleSpinBox>("rangeUppperSpinBox");
        QCOMPARE(lower->minimum(), -127.0);
        QCOMPARE(upper->maximum(), 127.0);
        shown.view->colours().setLevels(-150.0, 140.0); // as --level-range -150:140 would
        QCOMPARE(lower->minimum(), -150.0);
        QCOMPARE(upper->maximum(), 140.0);
        QCOMPARE(lower->value(), -150.0);
        QCOMPARE(upper->value(), 140.0);
        QVERIFY(shown.editor().colorTableDescriptor() == shown.view->colours().scheme().descriptor);
        // Narrower levels leave the reach as it is.
        shown.view->colours().setLevels(-90.0, -20.0);
        QCOMPARE(lower->minimum(), -150.0);
        QCOMPARE(upper->maximum(), 140.0);
        QCOMPARE(lower->value(), -90.0);
        QCOMPARE(upper->value(), -20.0);
    }

    void theBarOpensTheColourPanel()
    {
        LevelsView shown(m_source);
        QToolButton* button = viewertest::barButton(*shown.view, shown.popup().action());
        QVERIFY(button);
        QCOMPARE(button->popupMode(), QToolButton::InstantPopup);
        bool panelShown = false;
        QVERIFY(viewertest::whileMenuOpen(button, [&](QMenu&) {
            panelShown = shown.popup().isVisible();
            shown.popup().presetButton(QStringLiteral("grayscale"))->click();
        }));
        QVERIFY(panelShown);
        QCOMPARE(shown.view->colours().scheme(), preset(QStringLiteral("grayscale")));
    }

private:
    QTemporaryDir m_dir;
    QString m_source;
};

QTEST_MAIN(TestViewerColours)
#include "tst_viewercolours.moc"
