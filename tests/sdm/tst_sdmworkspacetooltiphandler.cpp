// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The workspace tooltip handler: the front-most item of the active workspace under the
// mouse, found without tolerance and only inside the workspace's real extents, its
// text from the formatter, and the tooltip kept while the mouse stays on the item.

#include "SdmPaintTestSupport.h"

#include <mivo/sdm/SdmWorkspaceRepository.h>
#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>

#include <QHelpEvent>
#include <QToolTip>
#include <QtTest>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceRepository;
using mivo::sdm::SdmWorkspaceToolTipHandler;
using mivo::sdm::SdmWorkspaceToolTipHandlerSettings;
using sdmpaint::ShownView;
using sdmpaint::workspaceOf;
using sdmtest::item;

namespace {

// A shown 200 x 100 view of one value unit a pixel from (0, 0), a repository and the
// handler, whose tooltips read "tip <id>".
struct Scene
{
    Scene()
    {
        SdmWorkspaceToolTipHandlerSettings settings;
        settings.itemToolTipFormatter = [](const QString& id) { return QStringLiteral("tip ") + id; };
        handler.setSettings(settings);
    }

    bool show()
    {
        if (!view.showAndPaint())
            return false;
        view.coords().setDisplayedValueRange(QRectF(0, 0, 200, 100));
        return view.coords().pixelToValue(QPointF(50, 50)) == QPointF(50, 50);
    }

    std::shared_ptr<SdmWorkspace> activate(const std::shared_ptr<SdmWorkspace>& workspace)
    {
        repository.addWorkspace(workspace);
        repository.setActivateWorkspace(workspace);
        return workspace;
    }

    bool toolTipAt(const QPoint& pos, bool handled = false)
    {
        QHelpEvent event(QEvent::ToolTip, pos, view.widget->mapToGlobal(pos));
        return handler.handleToolTip(&event, handled);
    }

    ShownView view;
    SdmWorkspaceRepository repository;
    SdmWorkspaceToolTipHandler handler{*view.widget, repository};
};

// The tooltip shown now; empty when none is.
QString shownText()
{
    return QToolTip::isVisible() ? QToolTip::text() : QString();
}

} // namespace

class TestSdmWorkspaceToolTipHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        QToolTip::hideText();
        QTRY_VERIFY(!QToolTip::isVisible());
    }

    void settingsHoldTheDefaults()
    {
        const SdmWorkspaceToolTipHandlerSettings s;
        QCOMPARE(s.itemToolTipFormatter(QStringLiteral("x1")), QStringLiteral("x1"));
        QCOMPARE(s.auxiliaryFormatter(QStringLiteral("x2")), QStringLiteral("x2"));
        ShownView view;
        SdmWorkspaceRepository repository;
        const SdmWorkspaceToolTipHandler handler(*view.widget, repository);
        QVERIFY(handler.isEnabled());
    }

    void showsTheFrontItemsText()
    {
        Scene scene;
        QVERIFY(scene.show());
        scene.activate(workspaceOf(QStringLiteral("w"),
                                   {item(QStringLiteral("large"), QRectF(10, 10, 100, 80)),
                                    item(QStringLiteral("small"), QRectF(40, 40, 20, 20))}));
        QVERIFY(scene.toolTipAt(QPoint(50, 50)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip small"));
        QVERIFY(scene.toolTipAt(QPoint(20, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip large"));
    }

    // Clicks have a tolerance; the tooltip has none.
    void onlyItemsContainingThePointCount()
    {
        Scene scene;
        QVERIFY(scene.show());
        scene.activate(workspaceOf(QStringLiteral("w"),
                                   {item(QStringLiteral("a"), QRectF(10, 10, 20, 20)),
                                    item(QStringLiteral("b"), QRectF(100, 10, 20, 20))}));
        QVERIFY(!scene.toolTipAt(QPoint(31, 20)));
        QVERIFY(!scene.toolTipAt(QPoint(60, 20)));
        QVERIFY(scene.toolTipAt(QPoint(30, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip a"));
    }

    // Real extents, not the declared ones: an item outside the declared extents has
    // its tooltip.
    void itemsBeyondTheDeclaredExtentsHaveTheirToolTip()
    {
        Scene scene;
        QVERIFY(scene.show());
        auto workspace = scene.activate(workspaceOf(QStringLiteral("w"),
                                                    {item(QStringLiteral("a"), QRectF(10, 10, 20, 20)),
                                                     item(QStringLiteral("b"), QRectF(100, 10, 20, 20))}));
        workspace->setExtents(QRectF(0, 0, 50, 50));
        QVERIFY(scene.toolTipAt(QPoint(110, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip b"));
    }

    // A workspace whose only item is a line has real extents without area, which hold
    // no point, so even the point on the line gets no tooltip.
    void pointsOutsideTheRealExtentsGetNone()
    {
        Scene scene;
        QVERIFY(scene.show());
        auto workspace
            = scene.activate(workspaceOf(QStringLiteral("w"), {item(QStringLiteral("line"), QRectF(50, 10, 0, 60))}));
        workspace->setExtents(QRectF(0, 0, 200, 100));
        QCOMPARE(workspace->itemsAt(QPointF(50, 40)).size(), 1);
        QVERIFY(!scene.toolTipAt(QPoint(50, 40)));
        QVERIFY(!QToolTip::isVisible());
        // With a second item the real extents gain an area, and the line its tooltip.
        workspace->addItems({item(QStringLiteral("box"), QRectF(100, 10, 20, 20))});
        QVERIFY(scene.toolTipAt(QPoint(50, 40)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip line"));
    }

    void standsBackWhenDisabledHandledOrWithoutActiveWorkspace()
    {
        Scene scene;
        QVERIFY(scene.show());
        auto workspace = workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))});
        scene.repository.addWorkspace(workspace);
        QVERIFY(!scene.toolTipAt(QPoint(20, 20)));
        scene.repository.setActivateWorkspace(workspace);
        QVERIFY(!scene.toolTipAt(QPoint(20, 20), true));
        scene.handler.setEnabled(false);
        QVERIFY(!scene.handler.isEnabled());
        QVERIFY(!scene.toolTipAt(QPoint(20, 20)));
        QVERIFY(!QToolTip::isVisible());
        scene.handler.setEnabled(true);
        QVERIFY(scene.toolTipAt(QPoint(20, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip a"));
    }

    void theAuxiliaryFormatterIsKeptButNeverCalled()
    {
        Scene scene;
        QVERIFY(scene.show());
        scene.activate(workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))}));
        int calls = 0;
        SdmWorkspaceToolTipHandlerSettings settings;
        settings.auxiliaryFormatter = [&calls](const QString& text) {
            ++calls;
            return text;
        };
        scene.handler.setSettings(settings);
        QCOMPARE(scene.handler.settings().auxiliaryFormatter(QStringLiteral("x")), QStringLiteral("x"));
        QCOMPARE(calls, 1);
        QVERIFY(scene.toolTipAt(QPoint(20, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("a"));
        QCOMPARE(calls, 1);
    }

    void copiesShareWidgetAndRepositoryAndKeepTheSettings()
    {
        Scene scene;
        QVERIFY(scene.show());
        scene.activate(workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))}));
        SdmWorkspaceToolTipHandler copy(scene.handler);
        QHelpEvent event(QEvent::ToolTip, QPoint(20, 20), scene.view.widget->mapToGlobal(QPoint(20, 20)));
        QVERIFY(copy.handleToolTip(&event, false));
        QTRY_COMPARE(shownText(), QStringLiteral("tip a"));
    }

    // The tooltip is tied to the item's pixel rectangle: it stays while the mouse moves
    // on the item and goes when it leaves.
    void theToolTipGoesWhenTheMouseLeavesTheItem()
    {
        Scene scene;
        QVERIFY(scene.show());
        scene.activate(workspaceOf(QStringLiteral("w"), {item(QStringLiteral("a"), QRectF(10, 10, 20, 20))}));
        QVERIFY(scene.toolTipAt(QPoint(20, 20)));
        QTRY_COMPARE(shownText(), QStringLiteral("tip a"));
        QMouseEvent inside(QEvent::MouseMove, QPointF(28, 28), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(scene.view.widget, &inside);
        sdmpaint::letNothingHappen();
        QCOMPARE(shownText(), QStringLiteral("tip a"));
        QMouseEvent outside(QEvent::MouseMove, QPointF(40, 20), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(scene.view.widget, &outside);
        QTRY_VERIFY(!QToolTip::isVisible());
    }
};

QTEST_MAIN(TestSdmWorkspaceToolTipHandler)
#include "tst_sdmworkspacetooltiphandler.moc"
