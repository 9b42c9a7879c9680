// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The workspace mouse handler: clicks that select items of the active workspace (and
// only clicks that did not move), the toggle modifier, the hit tolerance and the
// front-most item, double-clicks that report an item or activate another workspace,
// and the enabled flag that only the double-click reads.

#include "SdmPaintTestSupport.h"

#include <mivo/core/DpToPixel.h>
#include <mivo/sdm/SdmWorkspaceMouseHandler.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceMouseHandler;
using mivo::sdm::SdmWorkspaceMouseHandlerSettings;
using mivo::sdm::SdmWorkspaceRepository;
using sdmpaint::areaOf;
using sdmpaint::HiddenView;
using sdmpaint::mouseEvent;
using sdmpaint::workspaceOf;
using sdmtest::item;
using sdmtest::sortedIds;

namespace {

// A hidden 200 x 100 view of 1000 .. 3000 Hz (10 Hz a pixel) and 500 .. 600 s (1 s a
// pixel), a repository and the handler.
struct Scene
{
    Scene() { view.widget.coordSystem().setDisplayedValueRange(QRectF(1000.0, 500.0, 2000.0, 100.0)); }

    // Registers @p workspace and makes it the active one.
    std::shared_ptr<SdmWorkspace> activate(const std::shared_ptr<SdmWorkspace>& workspace)
    {
        repository.addWorkspace(workspace);
        repository.setActivateWorkspace(workspace);
        return workspace;
    }

    // Press and release at @p press and @p release; what each returned.
    QPair<bool, bool> click(const QPoint& press, const QPoint& release,
                            Qt::KeyboardModifiers modifiers = Qt::NoModifier, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent pressEvent = mouseEvent(QEvent::MouseButtonPress, press, button, modifiers);
        QMouseEvent releaseEvent = mouseEvent(QEvent::MouseButtonRelease, release, button, modifiers);
        const bool pressed = handler.handleMousePress(&pressEvent, false);
        const bool released = handler.handleMouseRelease(&releaseEvent, false);
        return qMakePair(pressed, released);
    }
    bool click(const QPoint& at, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const QPair<bool, bool> taken = click(at, at, modifiers);
        return !taken.first && taken.second;
    }
    bool doubleClick(const QPoint& at, Qt::MouseButton button = Qt::LeftButton, bool handled = false)
    {
        QMouseEvent event = mouseEvent(QEvent::MouseButtonDblClick, at, button);
        return handler.handleMouseDoubleClick(&event, handled);
    }

    HiddenView view;
    SdmWorkspaceRepository repository;
    SdmWorkspaceMouseHandler handler{view.widget, repository};
};

// Pixel (x, y) of the scene is value (1000 + 10 x, 500 + y).
QRectF pixels(double x, double y, double width, double height)
{
    return QRectF(1000.0 + 10.0 * x, 500.0 + y, 10.0 * width, height);
}

// A workspace with a 20 x 20 pixel item "a" at (20, 20) and one "b" at (100, 20),
// inside declared extents over the whole view.
std::shared_ptr<SdmWorkspace> twoItems(const QString& id = QStringLiteral("w"))
{
    auto workspace = workspaceOf(id,
                                 {item(QStringLiteral("a"), pixels(20, 20, 20, 20)),
                                  item(QStringLiteral("b"), pixels(100, 20, 20, 20))});
    workspace->setExtents(pixels(0, 0, 200, 100));
    return workspace;
}

QStringList selectedIds(const std::shared_ptr<SdmWorkspace>& workspace)
{
    return sortedIds(workspace->selectedItems());
}

} // namespace

class TestSdmWorkspaceMouseHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        Scene scene;
        QCOMPARE(scene.view.widget.coordSystem().pixelToValue(QPointF(0, 0)), QPointF(1000, 500));
        QCOMPARE(scene.view.widget.coordSystem().pixelToValue(QPointF(200, 100)), QPointF(3000, 600));
    }

    void settingsHoldTheDefaults()
    {
        const SdmWorkspaceMouseHandlerSettings s;
        QCOMPARE(s.selectButton, Qt::LeftButton);
        QCOMPARE(s.toggleModifier, Qt::KeyboardModifiers(Qt::ControlModifier));
        QCOMPARE(s.doubleClickButton, Qt::LeftButton);
        QCOMPARE(s.hitTolerance, 1.0);
        Scene scene;
        QVERIFY(scene.handler.isEnabled());
    }

    void metaObjectNames()
    {
        Scene scene;
        const QMetaObject* meta = scene.handler.metaObject();
        QCOMPARE(QByteArray(meta->className()), QByteArray("mivo::sdm::SdmWorkspaceMouseHandler"));
        const int signal = meta->indexOfSignal("si_itemDoubleClicked(QString)");
        QVERIFY(signal >= 0);
        QCOMPARE(meta->method(signal).parameterNames(), QList<QByteArray>{"itemId"});
    }

    void clickSelectsTheItemUnderTheMouse()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        QVERIFY(scene.click(QPoint(30, 30)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("a")});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<std::shared_ptr<SdmWorkspace>>(), workspace);
        // A plain click elsewhere replaces the selection.
        QVERIFY(scene.click(QPoint(110, 25)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QCOMPARE(changed.count(), 2);
        // Clicking the selected item again changes nothing and signals nothing.
        QVERIFY(scene.click(QPoint(110, 25)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QCOMPARE(changed.count(), 2);
    }

    // So that a pan handler registered after it still starts on the same press.
    void thePressIsNeverTaken()
    {
        Scene scene;
        scene.activate(twoItems());
        QMouseEvent press = mouseEvent(QEvent::MouseButtonPress, QPoint(30, 30));
        QVERIFY(!scene.handler.handleMousePress(&press, false));
    }

    void aReleaseAPixelAwayIsNoClick_data()
    {
        QTest::addColumn<QPoint>("release");
        QTest::newRow("right") << QPoint(31, 30);
        QTest::newRow("left") << QPoint(29, 30);
        QTest::newRow("down") << QPoint(30, 31);
        QTest::newRow("up") << QPoint(30, 29);
    }

    void aReleaseAPixelAwayIsNoClick()
    {
        QFETCH(QPoint, release);
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        const QPair<bool, bool> taken = scene.click(QPoint(30, 30), release);
        QVERIFY(!taken.first);
        QVERIFY(!taken.second);
        QCOMPARE(workspace->selectionSize(), 0);
        QCOMPARE(changed.count(), 0);
    }

    void aClickOnEmptySpaceClearsTheSelection()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QVERIFY(scene.click(QPoint(30, 30)));
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        QVERIFY(scene.click(QPoint(70, 70)));
        QCOMPARE(workspace->selectionSize(), 0);
        QCOMPARE(changed.count(), 1);
        // With nothing selected there is nothing to tell, but the click is still taken.
        QVERIFY(scene.click(QPoint(70, 70)));
        QCOMPARE(changed.count(), 1);
    }

    void withoutActiveWorkspaceAClickIsNotTaken()
    {
        Scene scene;
        scene.repository.addWorkspace(twoItems());
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        const QPair<bool, bool> taken = scene.click(QPoint(30, 30), QPoint(30, 30));
        QVERIFY(!taken.first);
        QVERIFY(!taken.second);
        QCOMPARE(scene.repository.workspace(QStringLiteral("w"))->selectionSize(), 0);
        QCOMPARE(changed.count(), 0);
    }

    void ctrlClickTogglesTheItem()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QVERIFY(scene.click(QPoint(30, 30)));
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        QVERIFY(scene.click(QPoint(110, 30), Qt::ControlModifier));
        QCOMPARE(selectedIds(workspace), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        QCOMPARE(changed.count(), 1);
        QVERIFY(scene.click(QPoint(30, 30), Qt::ControlModifier));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QCOMPARE(changed.count(), 2);
        // A Ctrl-click on empty space toggles nothing: the selection stays.
        QVERIFY(scene.click(QPoint(70, 70), Qt::ControlModifier));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QCOMPARE(changed.count(), 2);
    }

    void onlyTheExactModifierToggles_data()
    {
        QTest::addColumn<int>("modifiers");
        QTest::newRow("ctrl+shift") << int(Qt::ControlModifier | Qt::ShiftModifier);
        QTest::newRow("shift") << int(Qt::ShiftModifier);
        QTest::newRow("ctrl+alt") << int(Qt::ControlModifier | Qt::AltModifier);
    }

    void onlyTheExactModifierToggles()
    {
        QFETCH(int, modifiers);
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QVERIFY(scene.click(QPoint(30, 30)));
        // Treated as a plain click: the selection is replaced.
        QVERIFY(scene.click(QPoint(110, 30), Qt::KeyboardModifiers(modifiers)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QVERIFY(scene.click(QPoint(110, 30), Qt::KeyboardModifiers(modifiers)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
    }

    void theToggleModifierIsASetting()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        SdmWorkspaceMouseHandlerSettings settings;
        settings.toggleModifier = Qt::ShiftModifier;
        scene.handler.setSettings(settings);
        QCOMPARE(scene.handler.settings().toggleModifier, Qt::KeyboardModifiers(Qt::ShiftModifier));
        QVERIFY(scene.click(QPoint(30, 30)));
        QVERIFY(scene.click(QPoint(110, 30), Qt::ShiftModifier));
        QCOMPARE(selectedIds(workspace), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        QVERIFY(scene.click(QPoint(110, 30), Qt::ControlModifier));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
    }

    void otherButtonsAndHandledEventsAreLeftAlone()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        const QPair<bool, bool> right = scene.click(QPoint(30, 30), QPoint(30, 30), Qt::NoModifier, Qt::RightButton);
        QVERIFY(!right.first);
        QVERIFY(!right.second);
        QCOMPARE(workspace->selectionSize(), 0);

        QMouseEvent press = mouseEvent(QEvent::MouseButtonPress, QPoint(30, 30));
        QMouseEvent release = mouseEvent(QEvent::MouseButtonRelease, QPoint(30, 30));
        QVERIFY(!scene.handler.handleMousePress(&press, false));
        QVERIFY(!scene.handler.handleMouseRelease(&release, true));
        QCOMPARE(workspace->selectionSize(), 0);

        // A press taken by an earlier handler is not remembered.
        QMouseEvent pressThere = mouseEvent(QEvent::MouseButtonPress, QPoint(110, 30));
        QVERIFY(!scene.handler.handleMousePress(&pressThere, true));
        QMouseEvent releaseThere = mouseEvent(QEvent::MouseButtonRelease, QPoint(110, 30));
        QVERIFY(!scene.handler.handleMouseRelease(&releaseThere, false));
        // Still the first press's position.
        QVERIFY(scene.handler.handleMouseRelease(&release, false));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("a")});
    }

    void theSelectButtonIsASetting()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        SdmWorkspaceMouseHandlerSettings settings;
        settings.selectButton = Qt::RightButton;
        scene.handler.setSettings(settings);
        const QPair<bool, bool> left = scene.click(QPoint(30, 30), QPoint(30, 30));
        QVERIFY(!left.second);
        QCOMPARE(workspace->selectionSize(), 0);
        const QPair<bool, bool> right = scene.click(QPoint(30, 30), QPoint(30, 30), Qt::NoModifier, Qt::RightButton);
        QVERIFY(right.second);
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("a")});
    }

    // Kept: the remembered press goes back to (0, 0) after a click, so a release there
    // without a press of its own counts as a click.
    void afterAClickAReleaseAtTheOriginIsAClick()
    {
        Scene scene;
        auto workspace = scene.activate(workspaceOf(QStringLiteral("w"),
                                                    {item(QStringLiteral("corner"), pixels(0, 0, 5, 5)),
                                                     item(QStringLiteral("a"), pixels(20, 20, 20, 20))}));
        QVERIFY(scene.click(QPoint(30, 30)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("a")});
        QMouseEvent again = mouseEvent(QEvent::MouseButtonRelease, QPoint(30, 30));
        QVERIFY(!scene.handler.handleMouseRelease(&again, false));
        QMouseEvent origin = mouseEvent(QEvent::MouseButtonRelease, QPoint(0, 0));
        QVERIFY(scene.handler.handleMouseRelease(&origin, false));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("corner")});
    }

    void theSmallestItemUnderTheMouseIsSelected()
    {
        Scene scene;
        auto workspace = scene.activate(workspaceOf(QStringLiteral("w"),
                                                    {item(QStringLiteral("large"), pixels(10, 10, 100, 80)),
                                                     item(QStringLiteral("small"), pixels(40, 40, 10, 10)),
                                                     item(QStringLiteral("medium"), pixels(30, 30, 40, 40))}));
        QVERIFY(scene.click(QPoint(45, 45)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("small")});
        QVERIFY(scene.click(QPoint(35, 35)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("medium")});
        QVERIFY(scene.click(QPoint(15, 15)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("large")});
    }

    // The hit square reaches hitTolerance device-independent pixels on each side, in
    // the view's values on each axis.
    void theHitToleranceReachesThatManyPixels_data()
    {
        QTest::addColumn<double>("tolerance");
        QTest::newRow("default") << 1.0;
        QTest::newRow("4") << 4.0;
    }

    void theHitToleranceReachesThatManyPixels()
    {
        QFETCH(double, tolerance);
        Scene scene;
        SdmWorkspaceMouseHandlerSettings settings;
        settings.hitTolerance = tolerance;
        scene.handler.setSettings(settings);
        const double reach = mivo::dpToPixel(scene.view.widget, tolerance);
        QVERIFY(reach >= 1.0);
        // Items starting exactly at the reach to the right of and below (100, 50), and
        // two starting a quarter of a pixel further.
        auto workspace
            = scene.activate(workspaceOf(QStringLiteral("w"),
                                         {item(QStringLiteral("right"), pixels(100 + reach, 40, 10, 5)),
                                          item(QStringLiteral("below"), pixels(80, 50 + reach, 5, 10)),
                                          item(QStringLiteral("farRight"), pixels(100 + reach + 0.25, 60, 10, 5)),
                                          item(QStringLiteral("farBelow"), pixels(60, 50 + reach + 0.25, 5, 10))}));
        QVERIFY(scene.click(QPoint(100, 45)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("right")});
        QVERIFY(scene.click(QPoint(82, 50)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("below")});
        QVERIFY(scene.click(QPoint(100, 62)));
        QCOMPARE(workspace->selectionSize(), 0);
        QVERIFY(scene.click(QPoint(62, 50)));
        QCOMPARE(workspace->selectionSize(), 0);
    }

    void aDoubleClickOnAnItemReportsItAndSelectsItAlone()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        QVERIFY(scene.click(QPoint(30, 30)));
        QSignalSpy doubleClicked(&scene.handler, &SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        QSignalSpy changed(&scene.repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged);
        QVERIFY(scene.doubleClick(QPoint(110, 30)));
        QCOMPARE(doubleClicked.count(), 1);
        QCOMPARE(doubleClicked.at(0).at(0).toString(), QStringLiteral("b"));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("b")});
        QCOMPARE(changed.count(), 1);
        // Again on the only selected item: reported, the selection unchanged.
        QVERIFY(scene.doubleClick(QPoint(110, 30)));
        QCOMPARE(doubleClicked.count(), 2);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(scene.repository.activeWorkspace(), workspace);
    }

    void aDoubleClickBesideTheItemsActivatesTheSmallestOtherWorkspace()
    {
        Scene scene;
        auto active = scene.activate(twoItems(QStringLiteral("active")));
        auto large = areaOf(QStringLiteral("large"), pixels(50, 10, 140, 80));
        auto small = areaOf(QStringLiteral("small"), pixels(60, 50, 40, 30));
        scene.repository.addWorkspace(large);
        scene.repository.addWorkspace(small);
        QSignalSpy doubleClicked(&scene.handler, &SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        QSignalSpy activated(&scene.repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged);

        QVERIFY(scene.doubleClick(QPoint(70, 60)));
        QCOMPARE(scene.repository.activeWorkspace(), small);
        // Again: the active one is passed over for the next smallest.
        QVERIFY(scene.doubleClick(QPoint(70, 60)));
        QCOMPARE(scene.repository.activeWorkspace(), large);
        QVERIFY(scene.doubleClick(QPoint(70, 60)));
        QCOMPARE(scene.repository.activeWorkspace(), small);
        QCOMPARE(activated.count(), 3);
        QCOMPARE(doubleClicked.count(), 0);
        // Over the old active workspace's items: they are not the active one's any more.
        QVERIFY(scene.doubleClick(QPoint(30, 30)));
        QCOMPARE(scene.repository.activeWorkspace(), active);
        QCOMPARE(doubleClicked.count(), 0);
        QCOMPARE(active->selectionSize(), 0);
    }

    void aDoubleClickWhereOnlyTheActiveWorkspaceLiesIsNotTaken()
    {
        Scene scene;
        auto active = scene.activate(twoItems());
        QSignalSpy activated(&scene.repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged);
        QVERIFY(!scene.doubleClick(QPoint(70, 70)));
        QCOMPARE(scene.repository.activeWorkspace(), active);
        QCOMPARE(activated.count(), 0);
    }

    void withoutActiveWorkspaceADoubleClickActivatesOne()
    {
        Scene scene;
        auto workspace = twoItems();
        scene.repository.addWorkspace(workspace);
        QSignalSpy doubleClicked(&scene.handler, &SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        // On an item of the (not yet active) workspace: no item is reported.
        QVERIFY(scene.doubleClick(QPoint(30, 30)));
        QCOMPARE(scene.repository.activeWorkspace(), workspace);
        QCOMPARE(doubleClicked.count(), 0);
        QVERIFY(!scene.doubleClick(QPoint(300, 30)));
    }

    void doubleClicksOfOtherButtonsOrHandledAreLeftAlone()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        scene.repository.addWorkspace(areaOf(QStringLiteral("other"), pixels(0, 0, 200, 100)));
        QSignalSpy doubleClicked(&scene.handler, &SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        QVERIFY(!scene.doubleClick(QPoint(30, 30), Qt::RightButton));
        QVERIFY(!scene.doubleClick(QPoint(30, 30), Qt::LeftButton, true));
        QVERIFY(!scene.doubleClick(QPoint(70, 70), Qt::LeftButton, true));
        QCOMPARE(doubleClicked.count(), 0);
        QCOMPARE(scene.repository.activeWorkspace(), workspace);

        SdmWorkspaceMouseHandlerSettings settings;
        settings.doubleClickButton = Qt::MiddleButton;
        scene.handler.setSettings(settings);
        QVERIFY(!scene.doubleClick(QPoint(30, 30), Qt::LeftButton));
        QVERIFY(scene.doubleClick(QPoint(30, 30), Qt::MiddleButton));
        QCOMPARE(doubleClicked.count(), 1);
    }

    // Kept: the flag turns the double-click off, not the click.
    void disabledOnlyTheDoubleClickStops()
    {
        Scene scene;
        auto workspace = scene.activate(twoItems());
        scene.repository.addWorkspace(areaOf(QStringLiteral("other"), pixels(0, 0, 200, 100)));
        scene.handler.setEnabled(false);
        QVERIFY(!scene.handler.isEnabled());
        QSignalSpy doubleClicked(&scene.handler, &SdmWorkspaceMouseHandler::si_itemDoubleClicked);
        QVERIFY(!scene.doubleClick(QPoint(30, 30)));
        QVERIFY(!scene.doubleClick(QPoint(70, 70)));
        QCOMPARE(doubleClicked.count(), 0);
        QCOMPARE(scene.repository.activeWorkspace(), workspace);
        QCOMPARE(workspace->selectionSize(), 0);
        QVERIFY(scene.click(QPoint(30, 30)));
        QCOMPARE(selectedIds(workspace), QStringList{QStringLiteral("a")});
    }

    void movesWheelsAndTheCursorAreNotItsBusiness()
    {
        Scene scene;
        scene.activate(twoItems());
        QMouseEvent move = mouseEvent(QEvent::MouseMove, QPoint(30, 30), Qt::NoButton);
        QVERIFY(!scene.handler.handleMouseMove(&move, false));
        QVERIFY(!scene.handler.handleMouseCursor(&move));
        QWheelEvent wheel(QPointF(30, 30), QPointF(30, 30), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QVERIFY(!scene.handler.handleWheel(&wheel, false));
    }
};

QTEST_MAIN(TestSdmWorkspaceMouseHandler)
#include "tst_sdmworkspacemousehandler.moc"
