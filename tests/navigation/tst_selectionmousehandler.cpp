// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/navigation/SelectionManager.h>
#include <mivo/navigation/SelectionMouseHandler.h>

#include <QSignalSpy>
#include <QtTest>

#include <type_traits>

using mivo::SelectionManager;
using mivo::SelectionMouseHandler;
using mivo::SelectionMouseHandlerSettings;
using mivo::SelectionState;
using navtest::HostedWidget;

using Emission = navtest::SelectionEmission;

namespace {

// Fuzzy, like QRectF's ==, but readable on failure.
bool sameRect(const QRectF& a, const QRectF& b)
{
    const auto near = [](double x, double y) { return qAbs(x - y) <= 1e-9 * qMax(1.0, qMax(qAbs(x), qAbs(y))); };
    return near(a.x(), b.x()) && near(a.y(), b.y()) && near(a.width(), b.width()) && near(a.height(), b.height());
}

QString describe(const QRectF& r)
{
    return QStringLiteral("(%1, %2, %3, %4)").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

} // namespace

Q_DECLARE_METATYPE(Qt::CursorShape)

class TestSelectionMouseHandler : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;
    std::unique_ptr<SelectionManager> m_manager;
    std::shared_ptr<SelectionMouseHandler> m_handler;

    // A 400 by 300 view with scales (2, 3) and offsets (1000, 2000).
    HostedWidget& host()
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        navtest::setUpOffsetView(coords);
        m_manager = std::make_unique<SelectionManager>();
        m_handler = std::make_shared<SelectionMouseHandler>(m_host->widget(), coords, *m_manager);
        m_host->widget().addMouseHandler(m_handler);
        return *m_host;
    }

    QWidget& widget() { return m_host->widget(); }
    mivo::CoordSystem& coords() { return m_host->coords(); }
    QPointF valueAt(const QPointF& pixel) { return coords().pixelToValue(pixel); }
    QRectF valueRect(const QRectF& pixels) { return coords().pixelToValue(pixels); }
    QRectF pixelRect() { return coords().valueToPixel(m_manager->selection()); }

    void finishedSelectionAt(const QRectF& pixels)
    {
        m_manager->setSelection(valueRect(pixels), mivo::SelectionFinished);
    }

    Qt::CursorShape cursorAt(const QPoint& pos)
    {
        navtest::move(widget(), pos, Qt::NoButton);
        if (!widget().testAttribute(Qt::WA_SetCursor))
            return Qt::BlankCursor; // nobody claimed it
        return widget().cursor().shape();
    }

    void checkEmissions(const QSignalSpy& spy, const QList<Emission>& expected)
    {
        const QList<Emission> actual = navtest::selectionEmissions(spy);
        QString text;
        for (const Emission& e : actual)
            text += describe(e.first) + QStringLiteral("/%1 ").arg(int(e.second));
        QVERIFY2(actual.size() == expected.size(), qPrintable(QStringLiteral("emitted: ") + text));
        for (int i = 0; i < actual.size(); ++i) {
            QVERIFY2(sameRect(actual.at(i).first, expected.at(i).first) && actual.at(i).second == expected.at(i).second,
                     qPrintable(QStringLiteral("emitted: %1; expected %2/%3 at %4")
                                    .arg(text, describe(expected.at(i).first))
                                    .arg(int(expected.at(i).second))
                                    .arg(i)));
            // A null rectangle is exactly null.
            if (expected.at(i).first.isNull())
                QVERIFY(actual.at(i).first.isNull());
        }
    }

    void checkPixels(const QRectF& expected)
    {
        QVERIFY2(sameRect(pixelRect(), expected),
                 qPrintable(
                     QStringLiteral("selection at %1, expected %2").arg(describe(pixelRect()), describe(expected))));
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Hotspot reach and the tiny-selection test count in this distance.
        QApplication::setStartDragDistance(10);
    }

    void cleanup()
    {
        m_handler.reset();
        m_host.reset();
        m_manager.reset();
    }

    // Shape

    void isAQObjectFirstAndAMouseHandlerSecond()
    {
        QCOMPARE(SelectionMouseHandler::staticMetaObject.className(), "mivo::SelectionMouseHandler");
        QVERIFY(SelectionMouseHandler::staticMetaObject.indexOfSignal("si_selectionDoubleClicked()") >= 0);
        static_assert(SelectionMouseHandler::HotspotInside == 1);
        static_assert(SelectionMouseHandler::HotspotTop == 2);
        static_assert(SelectionMouseHandler::HotspotLeft == 4);
        static_assert(SelectionMouseHandler::HotspotBottom == 8);
        static_assert(SelectionMouseHandler::HotspotRight == 16);
        static_assert(std::is_same_v<SelectionMouseHandler::Hotspots, QFlags<SelectionMouseHandler::Hotspot>>);
        QWidget widget;
        mivo::CoordSystem coords;
        SelectionManager manager;
        SelectionMouseHandler handler(widget, coords, manager);
        QCOMPARE(handler.parent(), nullptr);
        QCOMPARE(static_cast<void*>(static_cast<QObject*>(&handler)), static_cast<void*>(&handler));
        QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QVERIFY(!handler.handleWheel(&wheel, false));
    }

    void settingsDefaults()
    {
        const SelectionMouseHandlerSettings settings;
        QCOMPARE(settings.createButtons, Qt::MouseButtons(Qt::RightButton));
        QCOMPARE(settings.createModifiers, Qt::KeyboardModifiers(Qt::NoModifier));
        QCOMPARE(settings.editButtons, Qt::MouseButtons(Qt::LeftButton));
        QCOMPARE(settings.editModifiers, Qt::KeyboardModifiers(Qt::NoModifier));
        QCOMPARE(settings.doubleClickButton, Qt::LeftButton);
        QCOMPARE(settings.autoPanFactor, 0.2);

        QWidget widget;
        mivo::CoordSystem coords;
        SelectionManager manager;
        SelectionMouseHandler handler(widget, coords, manager);
        QCOMPARE(handler.settings().createButtons, Qt::MouseButtons(Qt::RightButton));
        QCOMPARE(handler.settings().editButtons, Qt::MouseButtons(Qt::LeftButton));
        QCOMPARE(handler.settings().doubleClickButton, Qt::LeftButton);
        QCOMPARE(handler.settings().autoPanFactor, 0.2);

        SelectionMouseHandlerSettings changed;
        changed.createButtons = Qt::MiddleButton;
        changed.createModifiers = Qt::AltModifier;
        changed.editButtons = Qt::RightButton;
        changed.editModifiers = Qt::ShiftModifier;
        changed.doubleClickButton = Qt::RightButton;
        changed.autoPanFactor = 0.7;
        handler.setSettings(changed);
        QCOMPARE(handler.settings().createButtons, Qt::MouseButtons(Qt::MiddleButton));
        QCOMPARE(handler.settings().createModifiers, Qt::KeyboardModifiers(Qt::AltModifier));
        QCOMPARE(handler.settings().editButtons, Qt::MouseButtons(Qt::RightButton));
        QCOMPARE(handler.settings().editModifiers, Qt::KeyboardModifiers(Qt::ShiftModifier));
        QCOMPARE(handler.settings().doubleClickButton, Qt::RightButton);
        QCOMPARE(handler.settings().autoPanFactor, 0.7);
    }

    // The state table, row by row

    void rightPressWithoutSelectionStartsAnEmptyOneAtTheMouse()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        const QPointF v = valueAt(QPointF(100, 100));
        QCOMPARE(v, QPointF(1200, 2300));
        checkEmissions(changed, {{QRectF(v, v), mivo::SelectionEditing}});
        // Its bottom-right corner follows the mouse.
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        checkEmissions(changed,
                       {{QRectF(v, v), mivo::SelectionEditing}, {QRectF(1200, 2300, 100, 90), mivo::SelectionEditing}});
    }

    void movesWhileEditingAnnounceOnlyChanges()
    {
        host();
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        navtest::move(widget(), QPoint(160, 130), Qt::RightButton);
        checkEmissions(changed,
                       {{QRectF(1200, 2300, 100, 90), mivo::SelectionEditing},
                        {QRectF(1200, 2300, 120, 90), mivo::SelectionEditing}});
    }

    void releaseFinishesANormalizedSelection()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(50, 40), Qt::RightButton);
        navtest::release(widget(), QPoint(50, 40), Qt::RightButton);
        const QPointF from = valueAt(QPointF(100, 100));
        const QPointF to = valueAt(QPointF(50, 40));
        // Inverted while editing, normalized when finished: from the value of (50, 40)
        // to the value of (100, 100).
        checkEmissions(changed,
                       {{QRectF(from, from), mivo::SelectionEditing},
                        {QRectF(1200, 2300, -100, -180), mivo::SelectionEditing},
                        {QRectF(to, from), mivo::SelectionFinished}});
        QCOMPARE(m_manager->selection(), QRectF(1100, 2120, 100, 180));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void releaseTakesTheReleasePosition()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        navtest::release(widget(), QPoint(170, 140), Qt::RightButton);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(m_manager->selection(), QRectF(valueAt(QPointF(100, 100)), valueAt(QPointF(170, 140))));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void rightClickWithoutMovementLeavesNoSelection()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::release(widget(), QPoint(100, 100), Qt::RightButton);
        const QPointF v = valueAt(QPointF(100, 100));
        checkEmissions(changed, {{QRectF(v, v), mivo::SelectionEditing}, {QRectF(), mivo::SelectionNone}});
        QCOMPARE(m_manager->state(), mivo::SelectionNone);
    }

    void tinySelectionIsDroppedMeasuredInValues_data()
    {
        // The diagonal's Manhattan length in value units is compared with the drag
        // distance, a pixel count (intended): the scale decides, not the pixels dragged.
        QTest::addColumn<double>("scale");
        QTest::addColumn<QPoint>("drag");
        QTest::addColumn<bool>("finished");
        QTest::newRow("1 pixel at scale 100 is 100 units: kept") << 100.0 << QPoint(1, 0) << true;
        QTest::newRow("100 pixels at scale 0.01 are 2 units: dropped") << 0.01 << QPoint(100, 100) << false;
        QTest::newRow("6+4 units: not above the distance") << 1.0 << QPoint(6, 4) << false;
        QTest::newRow("6+5 units: above it") << 1.0 << QPoint(6, 5) << true;
        QTest::newRow("inverted -6-5 units: above it") << 1.0 << QPoint(-6, -5) << true;
    }

    void tinySelectionIsDroppedMeasuredInValues()
    {
        QFETCH(double, scale);
        QFETCH(QPoint, drag);
        QFETCH(bool, finished);
        host();
        coords().x().setScale(scale);
        coords().y().setScale(scale);
        const QPoint start(200, 150);
        navtest::press(widget(), start, Qt::RightButton);
        navtest::move(widget(), start + drag, Qt::RightButton);
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::release(widget(), start + drag, Qt::RightButton);
        if (finished) {
            const QRectF expected = QRectF(valueAt(QPointF(start)), valueAt(QPointF(start + drag))).normalized();
            checkEmissions(changed, {{expected, mivo::SelectionFinished}});
        } else {
            checkEmissions(changed, {{QRectF(), mivo::SelectionNone}});
        }
    }

    void tinyTestLooksAtTheSelectionBeforeTheRelease()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        // Released far away without any move in between: the selection is still empty.
        navtest::release(widget(), QPoint(300, 250), Qt::RightButton);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(m_manager->state(), mivo::SelectionNone);
    }

    void leftPressOnAHotspotGrabsAFinishedSelection()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        const QRectF selection = m_manager->selection();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(200, 150), Qt::LeftButton);
        checkEmissions(changed, {{selection, mivo::SelectionEditing}});
    }

    void rightPressOnAFinishedSelectionStartsANewOne()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        // Inside the old one: still a new selection.
        navtest::press(widget(), QPoint(200, 150), Qt::RightButton);
        const QPointF v = valueAt(QPointF(200, 150));
        checkEmissions(changed, {{QRectF(), mivo::SelectionNone}, {QRectF(v, v), mivo::SelectionEditing}});
    }

    void rightPressWhileEditingStartsANewOne()
    {
        host();
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(250, 200), Qt::RightButton);
        const QPointF v = valueAt(QPointF(250, 200));
        checkEmissions(changed, {{QRectF(), mivo::SelectionNone}, {QRectF(v, v), mivo::SelectionEditing}});
    }

    void doubleClickInsideAFinishedSelectionIsAnnounced()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        QSignalSpy doubleClicked(m_handler.get(), &SelectionMouseHandler::si_selectionDoubleClicked);
        navtest::doubleClick(widget(), QPoint(200, 150));
        QCOMPARE(doubleClicked.count(), 1);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void wholeDoubleClickGrabsReleasesAndAnnounces()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        const QRectF selection = m_manager->selection();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        QSignalSpy doubleClicked(m_handler.get(), &SelectionMouseHandler::si_selectionDoubleClicked);
        navtest::fullDoubleClick(widget(), QPoint(200, 150));
        checkEmissions(changed, {{selection, mivo::SelectionEditing}, {selection, mivo::SelectionFinished}});
        QCOMPARE(doubleClicked.count(), 1);
    }

    void clearSelectionByTheHostAnnouncesNone_data()
    {
        QTest::addColumn<bool>("finish");
        QTest::newRow("while editing") << false;
        QTest::newRow("when finished") << true;
    }

    void clearSelectionByTheHostAnnouncesNone()
    {
        QFETCH(bool, finish);
        host();
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(150, 130), Qt::RightButton);
        if (finish)
            navtest::release(widget(), QPoint(150, 130), Qt::RightButton);
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        m_manager->clearSelection();
        checkEmissions(changed, {{QRectF(), mivo::SelectionNone}});
        // The handler follows: moves edit nothing, the cursor is free again.
        navtest::move(widget(), QPoint(170, 140), Qt::RightButton);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!widget().testAttribute(Qt::WA_SetCursor));
    }

    // Hotspots, through the cursor the handler sets

    void hotspotCursors_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<Qt::CursorShape>("shape");
        // Selection at pixels (100, 100, 200, 100); drag distance 10; all tests strict.
        QTest::newRow("left edge (105, 150)") << QPoint(105, 150) << Qt::SizeHorCursor;
        QTest::newRow("top-left (95, 95)") << QPoint(95, 95) << Qt::SizeFDiagCursor;
        QTest::newRow("inside (200, 150)") << QPoint(200, 150) << Qt::SizeAllCursor;
        QTest::newRow("nothing at (89, 150)") << QPoint(89, 150) << Qt::ArrowCursor;
        QTest::newRow("nothing at (90, 150): 10 is not within 10") << QPoint(90, 150) << Qt::ArrowCursor;
        QTest::newRow("left at (91, 150)") << QPoint(91, 150) << Qt::SizeHorCursor;
        QTest::newRow("left at (109, 150)") << QPoint(109, 150) << Qt::SizeHorCursor;
        QTest::newRow("inside at (110, 150)") << QPoint(110, 150) << Qt::SizeAllCursor;
        QTest::newRow("right edge (300, 150)") << QPoint(300, 150) << Qt::SizeHorCursor;
        QTest::newRow("top edge (200, 91)") << QPoint(200, 91) << Qt::SizeVerCursor;
        QTest::newRow("nothing at (200, 90)") << QPoint(200, 90) << Qt::ArrowCursor;
        QTest::newRow("bottom edge (200, 209)") << QPoint(200, 209) << Qt::SizeVerCursor;
        QTest::newRow("top-right (305, 95)") << QPoint(305, 95) << Qt::SizeBDiagCursor;
        QTest::newRow("bottom-left (95, 205)") << QPoint(95, 205) << Qt::SizeBDiagCursor;
        QTest::newRow("bottom-right (305, 205)") << QPoint(305, 205) << Qt::SizeFDiagCursor;
        QTest::newRow("left edge's reach ends above (95, 90)") << QPoint(95, 90) << Qt::ArrowCursor;
        QTest::newRow("top-left just inside the reach (95, 91)") << QPoint(95, 91) << Qt::SizeFDiagCursor;
        QTest::newRow("top edge's reach ends left (90, 95)") << QPoint(90, 95) << Qt::ArrowCursor;
        QTest::newRow("far away (10, 10)") << QPoint(10, 10) << Qt::ArrowCursor;
    }

    void hotspotCursors()
    {
        QFETCH(QPoint, pos);
        QFETCH(Qt::CursorShape, shape);
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QCOMPARE(cursorAt(pos), shape);
    }

    void tinySelectionPrefersLeftAndTop_data()
    {
        QTest::addColumn<QRectF>("pixels");
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<Qt::CursorShape>("shape");
        // Both vertical edges in reach: left, so top-left (top-right would be BDiag).
        QTest::newRow("left over right") << QRectF(100, 100, 4, 30) << QPoint(103, 101) << Qt::SizeFDiagCursor;
        // Both horizontal edges in reach: top, so top-left (bottom-left would be BDiag)...
        QTest::newRow("top over bottom") << QRectF(100, 100, 30, 4) << QPoint(101, 103) << Qt::SizeFDiagCursor;
        // ...and top-right (bottom-right would be FDiag).
        QTest::newRow("top over bottom on the right")
            << QRectF(100, 100, 30, 4) << QPoint(129, 103) << Qt::SizeBDiagCursor;
    }

    void tinySelectionPrefersLeftAndTop()
    {
        QFETCH(QRectF, pixels);
        QFETCH(QPoint, pos);
        QFETCH(Qt::CursorShape, shape);
        host();
        finishedSelectionAt(pixels);
        QCOMPARE(cursorAt(pos), shape);
    }

    void hotspotsOfAnInvertedSelectionAreThoseOfItsNormalizedForm()
    {
        host();
        m_manager->setSelection(valueRect(QRectF(300, 200, -200, -100)), mivo::SelectionEditing);
        QCOMPARE(cursorAt(QPoint(95, 95)), Qt::SizeFDiagCursor);
        QCOMPARE(cursorAt(QPoint(305, 95)), Qt::SizeBDiagCursor);
        QCOMPARE(cursorAt(QPoint(200, 150)), Qt::SizeAllCursor);
    }

    void cursorIsClaimedEverywhereWhileASelectionExists()
    {
        host();
        QCOMPARE(cursorAt(QPoint(10, 10)), Qt::BlankCursor);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        // Editing: an empty rectangle at the mouse, its corner under it.
        QVERIFY(widget().testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget().cursor().shape(), Qt::SizeFDiagCursor);
        navtest::move(widget(), QPoint(200, 180), Qt::RightButton);
        QCOMPARE(widget().cursor().shape(), Qt::SizeFDiagCursor);
        navtest::release(widget(), QPoint(200, 180), Qt::RightButton);
        QCOMPARE(widget().cursor().shape(), Qt::SizeFDiagCursor);
        QCOMPARE(cursorAt(QPoint(390, 290)), Qt::ArrowCursor);
        QVERIFY(widget().testAttribute(Qt::WA_SetCursor));
        QMouseEvent far = navtest::mouseEvent(QEvent::MouseMove, QPoint(390, 290));
        QVERIFY(m_handler->handleMouseCursor(&far));
        m_manager->clearSelection();
        QVERIFY(!m_handler->handleMouseCursor(&far));
        QCOMPARE(cursorAt(QPoint(390, 290)), Qt::BlankCursor);
    }

    // Editing by hotspot

    void dragByHotspot_data()
    {
        QTest::addColumn<QPoint>("grab");
        QTest::addColumn<QPoint>("drop");
        QTest::addColumn<QRectF>("whileEditing");
        QTest::addColumn<QRectF>("finished");
        // Selection at pixels (100, 100, 200, 100). Edges jump to the mouse.
        QTest::newRow("left edge") << QPoint(105, 150) << QPoint(60, 150) << QRectF(60, 100, 240, 100)
                                   << QRectF(60, 100, 240, 100);
        QTest::newRow("right edge") << QPoint(298, 150) << QPoint(350, 150) << QRectF(100, 100, 250, 100)
                                    << QRectF(100, 100, 250, 100);
        QTest::newRow("top edge") << QPoint(200, 103) << QPoint(200, 80) << QRectF(100, 80, 200, 120)
                                  << QRectF(100, 80, 200, 120);
        QTest::newRow("bottom edge") << QPoint(200, 199) << QPoint(200, 250) << QRectF(100, 100, 200, 150)
                                     << QRectF(100, 100, 200, 150);
        QTest::newRow("top-left corner") << QPoint(95, 95) << QPoint(50, 60) << QRectF(50, 60, 250, 140)
                                         << QRectF(50, 60, 250, 140);
        QTest::newRow("top-right corner")
            << QPoint(305, 95) << QPoint(350, 60) << QRectF(100, 60, 250, 140) << QRectF(100, 60, 250, 140);
        QTest::newRow("bottom-left corner")
            << QPoint(95, 205) << QPoint(50, 250) << QRectF(50, 100, 250, 150) << QRectF(50, 100, 250, 150);
        QTest::newRow("bottom-right corner")
            << QPoint(305, 205) << QPoint(350, 250) << QRectF(100, 100, 250, 150) << QRectF(100, 100, 250, 150);
        QTest::newRow("inside moves it") << QPoint(200, 150) << QPoint(230, 170) << QRectF(130, 120, 200, 100)
                                         << QRectF(130, 120, 200, 100);
        QTest::newRow("left edge crosses the right one")
            << QPoint(105, 150) << QPoint(350, 150) << QRectF(350, 100, -50, 100) << QRectF(300, 100, 50, 100);
        QTest::newRow("top edge crosses the bottom one")
            << QPoint(200, 95) << QPoint(200, 260) << QRectF(100, 260, 200, -60) << QRectF(100, 200, 200, 60);
    }

    void dragByHotspot()
    {
        QFETCH(QPoint, grab);
        QFETCH(QPoint, drop);
        QFETCH(QRectF, whileEditing);
        QFETCH(QRectF, finished);
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        navtest::press(widget(), grab, Qt::LeftButton);
        QCOMPARE(m_manager->state(), mivo::SelectionEditing);
        navtest::move(widget(), drop);
        QCOMPARE(m_manager->state(), mivo::SelectionEditing);
        checkPixels(whileEditing);
        navtest::release(widget(), drop);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
        checkPixels(finished);
    }

    void moveInStepsFollowsTheMouse()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        navtest::press(widget(), QPoint(200, 150));
        navtest::move(widget(), QPoint(210, 150));
        navtest::move(widget(), QPoint(210, 140));
        navtest::move(widget(), QPoint(180, 160));
        navtest::release(widget(), QPoint(185, 160));
        checkPixels(QRectF(85, 110, 200, 100));
    }

    void editThatWouldLeaveTheLimitsIsDiscarded()
    {
        host();
        // Time may run from 2000 to 2900: exactly the 300 rows at scale 3.
        coords().y().setDisplayedValueRangeLimits(2000.0, 2900.0);
        QCOMPARE(coords().y().offset(), 2000.0);
        finishedSelectionAt(QRectF(100, 100, 200, 100)); // time 2300 to 2600
        const QRectF start = m_manager->selection();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(200, 150));
        navtest::move(widget(), QPoint(200, 240)); // 2570 to 2870: inside
        navtest::move(widget(), QPoint(200, 260)); // 2630 to 2930: outside, kept where it is
        navtest::move(widget(), QPoint(200, 240)); // back up 20 rows from where it is
        checkEmissions(changed,
                       {{start, mivo::SelectionEditing},
                        {start.translated(0, 270), mivo::SelectionEditing},
                        {start.translated(0, 210), mivo::SelectionEditing}});
    }

    void invertedSelectionsAreNotTestedAgainstTheLimits_data()
    {
        QTest::addColumn<bool>("create");
        QTest::addColumn<bool>("kept");
        // Dragging to pixel -600 reaches value -440 after one auto-scroll, below the
        // lower limit 0.
        QTest::newRow("new selection turns inverted: taken") << true << true;
        QTest::newRow("left edge of a finished one: not inverted, discarded") << false << false;
    }

    void invertedSelectionsAreNotTestedAgainstTheLimits()
    {
        QFETCH(bool, create);
        QFETCH(bool, kept);
        host();
        QRectF before;
        if (create) {
            navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
            navtest::move(widget(), QPoint(100, 150), Qt::RightButton);
        } else {
            finishedSelectionAt(QRectF(100, 100, 200, 100));
            navtest::press(widget(), QPoint(100, 150));
        }
        before = m_manager->selection();
        navtest::move(widget(), QPoint(-600, 150));
        QCOMPARE(coords().x().offset(), 760.0);
        const double reached = -600 * 2.0 + 760.0;
        if (kept) {
            QCOMPARE(m_manager->selection().x() + m_manager->selection().width(), reached);
            QVERIFY(m_manager->selection().width() < 0);
            navtest::release(widget(), QPoint(-600, 150), Qt::RightButton);
            QCOMPARE(m_manager->state(), mivo::SelectionFinished);
            QCOMPARE(m_manager->selection().x(), reached);
        } else {
            QCOMPARE(m_manager->selection(), before);
        }
    }

    // Press, move, release and double-click rules

    void leftPressAwayFromAFinishedSelectionFallsThrough()
    {
        host();
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(20, 20), Qt::LeftButton);
        QVERIFY(!m_handler->handleMousePress(&press, false));
        QMouseEvent pressNone = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(200, 150), Qt::MiddleButton);
        QVERIFY(!m_handler->handleMousePress(&pressNone, false));
        QCOMPARE(changed.count(), 0);
    }

    void leftPressWithoutAFinishedSelectionFallsThrough()
    {
        host();
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100), Qt::LeftButton);
        QVERIFY(!m_handler->handleMousePress(&press, false));
        QCOMPARE(m_manager->state(), mivo::SelectionNone);
        // While editing, a left press on the rectangle does not grab either.
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(200, 200), Qt::RightButton);
        QMouseEvent inside = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(150, 150), Qt::LeftButton);
        QVERIFY(!m_handler->handleMousePress(&inside, false));
    }

    void modifiersMustMatchExactly()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        QMouseEvent ctrlRight
            = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100), Qt::RightButton, Qt::ControlModifier);
        QVERIFY(!m_handler->handleMousePress(&ctrlRight, false));
        QCOMPARE(changed.count(), 0);

        SelectionMouseHandlerSettings settings;
        settings.createModifiers = Qt::ControlModifier;
        settings.editModifiers = Qt::ShiftModifier;
        m_handler->setSettings(settings);
        QMouseEvent right = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100), Qt::RightButton);
        QVERIFY(!m_handler->handleMousePress(&right, false));
        QVERIFY(m_handler->handleMousePress(&ctrlRight, false));
        QCOMPARE(m_manager->state(), mivo::SelectionEditing);

        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QMouseEvent left = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(200, 150), Qt::LeftButton);
        QVERIFY(!m_handler->handleMousePress(&left, false));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
        QMouseEvent shiftLeft
            = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(200, 150), Qt::LeftButton, Qt::ShiftModifier);
        QVERIFY(m_handler->handleMousePress(&shiftLeft, false));
        QCOMPARE(m_manager->state(), mivo::SelectionEditing);
    }

    void buttonsFollowTheSettings()
    {
        host();
        SelectionMouseHandlerSettings settings;
        settings.createButtons = Qt::LeftButton | Qt::MiddleButton;
        settings.editButtons = Qt::RightButton;
        m_handler->setSettings(settings);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        QCOMPARE(m_manager->state(), mivo::SelectionNone);
        navtest::press(widget(), QPoint(100, 100), Qt::MiddleButton);
        navtest::move(widget(), QPoint(200, 200), Qt::MiddleButton);
        navtest::release(widget(), QPoint(200, 200), Qt::MiddleButton);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
        const QRectF selection = m_manager->selection();
        // Grabbing comes before creating: the edit button grabs inside.
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(150, 150), Qt::RightButton);
        checkEmissions(changed, {{selection, mivo::SelectionEditing}});
    }

    void pressStartingASelectionStopsTheView()
    {
        host();
        coords().animateZoomOnPoint(QPointF(1200, 2300), 1.0, 1.0, 100000, QEasingCurve(QEasingCurve::Linear));
        QVERIFY(coords().isAnimated());
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        QVERIFY(!coords().isAnimated());
    }

    void eventsAnEarlierHandlerTookAreLeftAlone()
    {
        host();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        QMouseEvent right = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100), Qt::RightButton);
        QVERIFY(!m_handler->handleMousePress(&right, true));
        QCOMPARE(changed.count(), 0);
        QVERIFY(m_handler->handleMousePress(&right, false));
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(200, 200));
        QVERIFY(!m_handler->handleMouseMove(&move, true));
        QCOMPARE(changed.count(), 1);
        QVERIFY(m_handler->handleMouseMove(&move, false));
        QCOMPARE(changed.count(), 2);
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(200, 200), Qt::RightButton);
        QVERIFY(!m_handler->handleMouseRelease(&release, true));
        QCOMPARE(m_manager->state(), mivo::SelectionEditing);
        QVERIFY(m_handler->handleMouseRelease(&release, false));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
        QSignalSpy doubleClicked(m_handler.get(), &SelectionMouseHandler::si_selectionDoubleClicked);
        QMouseEvent doubleClick = navtest::mouseEvent(QEvent::MouseButtonDblClick, QPoint(150, 150));
        QVERIFY(!m_handler->handleMouseDoubleClick(&doubleClick, true));
        QCOMPARE(doubleClicked.count(), 0);
    }

    void movesAndReleasesOutsideEditingAreNotTaken()
    {
        host();
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(200, 200));
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(200, 200), Qt::RightButton);
        QVERIFY(!m_handler->handleMouseMove(&move, false));
        QVERIFY(!m_handler->handleMouseRelease(&release, false));
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QVERIFY(!m_handler->handleMouseMove(&move, false));
        QVERIFY(!m_handler->handleMouseRelease(&release, false));
    }

    void releaseOfAnyButtonEndsEditing()
    {
        host();
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(200, 200), Qt::RightButton);
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(200, 200), Qt::MiddleButton);
        QVERIFY(m_handler->handleMouseRelease(&release, false));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void doubleClickRules_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<int>("button");
        QTest::addColumn<bool>("finished");
        QTest::addColumn<int>("doubleClickButton");
        QTest::addColumn<bool>("announced");
        const int left = Qt::LeftButton;
        const int right = Qt::RightButton;
        QTest::newRow("left inside") << QPoint(200, 150) << left << true << left << true;
        QTest::newRow("left on the edge is inside") << QPoint(100, 150) << left << true << left << true;
        QTest::newRow("left outside") << QPoint(50, 150) << left << true << left << false;
        QTest::newRow("right inside") << QPoint(200, 150) << right << true << left << false;
        QTest::newRow("right inside as the double-click button") << QPoint(200, 150) << right << true << right << true;
        QTest::newRow("left inside while editing") << QPoint(200, 150) << left << false << left << false;
    }

    void doubleClickRules()
    {
        QFETCH(QPoint, pos);
        QFETCH(int, button);
        QFETCH(bool, finished);
        QFETCH(int, doubleClickButton);
        QFETCH(bool, announced);
        host();
        SelectionMouseHandlerSettings settings;
        settings.doubleClickButton = Qt::MouseButton(doubleClickButton);
        m_handler->setSettings(settings);
        m_manager->setSelection(valueRect(QRectF(100, 100, 200, 100)),
                                finished ? mivo::SelectionFinished : mivo::SelectionEditing);
        QSignalSpy doubleClicked(m_handler.get(), &SelectionMouseHandler::si_selectionDoubleClicked);
        QMouseEvent event = navtest::mouseEvent(QEvent::MouseButtonDblClick, pos, Qt::MouseButton(button));
        QCOMPARE(m_handler->handleMouseDoubleClick(&event, false), announced);
        QCOMPARE(doubleClicked.count(), announced ? 1 : 0);
    }

    // Auto-scroll

    void autoScrollBeyondTheBorders_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<double>("factor");
        QTest::addColumn<QPointF>("shiftPerMove"); // in values
        // 400 by 300 widget: the last column is 399, the last row 299. Scales (2, 3).
        QTest::newRow("beyond the right border") << QPoint(449, 150) << 0.2 << QPointF(20, 0);
        QTest::newRow("beyond the left border") << QPoint(-50, 150) << 0.2 << QPointF(-20, 0);
        QTest::newRow("beyond the top border") << QPoint(200, -50) << 0.2 << QPointF(0, -30);
        QTest::newRow("beyond the bottom border") << QPoint(200, 349) << 0.2 << QPointF(0, 30);
        QTest::newRow("beyond the bottom-right corner") << QPoint(449, 349) << 0.2 << QPointF(20, 30);
        QTest::newRow("beyond the top-left corner") << QPoint(-10, -20) << 0.2 << QPointF(-4, -12);
        QTest::newRow("on the last column") << QPoint(399, 150) << 0.2 << QPointF(0, 0);
        QTest::newRow("one beyond the last column") << QPoint(400, 150) << 0.2 << QPointF(0.4, 0);
        QTest::newRow("on the first row") << QPoint(200, 0) << 0.2 << QPointF(0, 0);
        QTest::newRow("inside") << QPoint(300, 200) << 0.2 << QPointF(0, 0);
        QTest::newRow("a larger factor") << QPoint(449, 150) << 0.5 << QPointF(50, 0);
    }

    void autoScrollBeyondTheBorders()
    {
        QFETCH(QPoint, pos);
        QFETCH(double, factor);
        QFETCH(QPointF, shiftPerMove);
        host();
        SelectionMouseHandlerSettings settings;
        settings.autoPanFactor = factor;
        m_handler->setSettings(settings);
        navtest::press(widget(), QPoint(200, 150), Qt::RightButton);
        const QPointF start(coords().x().offset(), coords().y().offset());
        navtest::move(widget(), pos, Qt::RightButton);
        QCOMPARE(QPointF(coords().x().offset(), coords().y().offset()), start + shiftPerMove);
        // The dragged corner is where the mouse is in the scrolled view.
        QCOMPARE(m_manager->selection().bottomRight(), valueAt(QPointF(pos)));
        navtest::move(widget(), pos, Qt::RightButton);
        QCOMPARE(QPointF(coords().x().offset(), coords().y().offset()), start + 2 * shiftPerMove);
        QVERIFY(!coords().isAnimated());
    }

    void noAutoScrollWithoutEditing()
    {
        host();
        navtest::move(widget(), QPoint(449, 349), Qt::NoButton);
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        navtest::move(widget(), QPoint(449, 349), Qt::LeftButton);
        QCOMPARE(coords().x().offset(), 1000.0);
        QCOMPARE(coords().y().offset(), 2000.0);
    }

    void autoScrollIsClampedByTheLimits()
    {
        host();
        coords().x().setOffset(5.0);
        navtest::press(widget(), QPoint(200, 150), Qt::RightButton);
        navtest::move(widget(), QPoint(-50, 150), Qt::RightButton);
        QCOMPARE(coords().x().offset(), 0.0);
    }
};

QTEST_MAIN(TestSelectionMouseHandler)
#include "tst_selectionmousehandler.moc"
