// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/overlays/GlobalActionBar.h>

#include "FloatingWidgetTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QWidgetAction>

#include <cmath>

using namespace mivo;
using floattest::px;
using floattest::wholePx;

namespace {

QIcon squareIcon(const QColor& colour)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(colour);
    return QIcon(pixmap);
}

// The bar's position for a drawing widget @p width wide, the bar @p barWidth wide and
// a margin of @p marginDp.
QPoint expectedPosition(int width, int barWidth, double marginDp = 20.0)
{
    return QPoint(int(std::trunc(width - barWidth - px(marginDp))), int(std::trunc(px(marginDp))));
}

// Resizes the shown @p widget to @p width and waits until the window system did it.
bool resizeTo(BaseDrawWidget& widget, int width)
{
    widget.resize(width, widget.height());
    return QTest::qWaitFor([&widget, width] { return widget.width() == width; });
}

// Shows @p widget at @p size and puts a bar of @p barWidth pixels on it; null when the
// widget was never shown.
GlobalActionBar* barOnShownWidget(BaseDrawWidget& widget, const QSize& size, int barWidth)
{
    if (!floattest::showDrawWidget(widget, size))
        return nullptr;
    auto* bar = new GlobalActionBar(widget);
    bar->setFixedWidth(barWidth);
    return bar;
}

// The top edge of the layout item holding @p widget.
int layoutTop(QLayout& layout, QWidget* widget)
{
    return layout.itemAt(layout.indexOf(widget))->geometry().top();
}

} // namespace

class TestGlobalActionBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsDefaults()
    {
        const GlobalActionBarDisplayerSettings settings;
        QCOMPARE(settings.margin, 20.0);
        QCOMPARE(settings.spacing, 6.0);
        QCOMPARE(settings.separatorSize, 15.0);
    }

    void isAChildOfTheWidgetWithTheArrowCursor()
    {
        BaseDrawWidget widget;
        auto* bar = new GlobalActionBar(widget);
        QCOMPARE(bar->parentWidget(), &widget);
        QCOMPARE(bar->settings().margin, 20.0);
        QVERIFY(bar->testAttribute(Qt::WA_SetCursor));
        QCOMPARE(bar->cursor().shape(), Qt::ArrowCursor);
        QVERIFY(qobject_cast<QVBoxLayout*>(bar->layout()));
        QCOMPARE(bar->layout()->spacing(), wholePx(6.0));
    }

    void diesWithTheWidget()
    {
        auto widget = std::make_unique<BaseDrawWidget>();
        auto* bar = new GlobalActionBar(*widget);
        auto* popup = new QLabel(QStringLiteral("levels"));
        bar->addActionWithWidgetPopup(new QAction(QStringLiteral("a"), bar), popup);
        QSignalSpy barDestroyed(bar, &QObject::destroyed);
        QSignalSpy popupDestroyed(popup, &QObject::destroyed);
        widget.reset();
        QCOMPARE(barDestroyed.count(), 1);
        QCOMPARE(popupDestroyed.count(), 1);
    }

    // Position

    void standsInTheTopRightCornerAfterAResize()
    {
        BaseDrawWidget widget;
        GlobalActionBar* bar = barOnShownWidget(widget, QSize(640, 400), 40);
        QVERIFY(bar);
        QCOMPARE(widget.logicalDpiX(), floattest::expectedDpi());
        QVERIFY(resizeTo(widget, 800));
        QCOMPARE(bar->pos(), expectedPosition(800, 40));
        // At 96 dpi: (740, 20).
        if (floattest::expectedDpi() == 96)
            QCOMPARE(bar->pos(), QPoint(740, 20));
    }

    void theConstructorPlacesTheBarFromItsWidthThen()
    {
        BaseDrawWidget widget;
        QVERIFY(floattest::showDrawWidget(widget, QSize(800, 400)));
        auto* bar = new GlobalActionBar(widget);
        QCOMPARE(bar->pos(), expectedPosition(800, bar->width()));
    }

    void buttonsAddedLaterDoNotMoveTheBarUntilTheNextResize()
    {
        BaseDrawWidget widget;
        GlobalActionBar* bar = barOnShownWidget(widget, QSize(800, 400), 40);
        QVERIFY(bar);
        QVERIFY(resizeTo(widget, 700));
        const QPoint before = bar->pos();
        QCOMPARE(before, expectedPosition(700, 40));
        bar->setFixedWidth(64); // as if the new buttons were wider
        bar->addAction(new QAction(QStringLiteral("one"), bar));
        bar->addSeparator();
        QCOMPARE(bar->pos(), before); // kept
        QVERIFY(resizeTo(widget, 720));
        QCOMPARE(bar->pos(), expectedPosition(720, 64));
    }

    void marginIsAppliedAtTheNextResizeAndTruncated()
    {
        BaseDrawWidget widget;
        GlobalActionBar* bar = barOnShownWidget(widget, QSize(700, 400), 40);
        QVERIFY(bar);
        QVERIFY(resizeTo(widget, 800));
        GlobalActionBarDisplayerSettings settings;
        settings.margin = 15.3; // 22.95 pixels at 144 dpi
        bar->setSettings(settings);
        QCOMPARE(bar->settings().margin, 15.3);
        QCOMPARE(bar->pos(), expectedPosition(800, 40)); // not moved yet
        QVERIFY(resizeTo(widget, 810));
        QCOMPARE(bar->pos(), expectedPosition(810, 40, 15.3));
        // 810 - 40 - 15.3 = 754.7 at 96 dpi, 810 - 40 - 22.95 = 747.05 at 144.
        QCOMPARE(bar->pos(), floattest::expectedDpi() == 96 ? QPoint(754, 15) : QPoint(747, 22));
    }

    // Layout

    void twoSeparatorsInARowGiveTwoSquareGaps()
    {
        BaseDrawWidget widget;
        QVERIFY(floattest::showDrawWidget(widget, QSize(800, 400)));
        auto* bar = new GlobalActionBar(widget);
        QToolButton* first = bar->addAction(new QAction(squareIcon(Qt::red), QStringLiteral("first"), bar));
        bar->addSeparator();
        bar->addSeparator();
        QToolButton* second = bar->addAction(new QAction(squareIcon(Qt::blue), QStringLiteral("second"), bar));
        bar->show();
        bar->adjustSize();
        bar->layout()->activate();

        QLayout& layout = *bar->layout();
        const int spacing = wholePx(6.0);
        const int side = wholePx(15.0); // 22 at 144 dpi: 22.5 truncated
        QCOMPARE(layout.spacing(), spacing);
        QCOMPARE(layout.count(), 4);
        for (int i : {1, 2}) {
            QSpacerItem* separator = layout.itemAt(i)->spacerItem();
            QVERIFY(separator);
            QCOMPARE(separator->sizeHint(), QSize(side, side));
            QCOMPARE(separator->sizePolicy().horizontalPolicy(), QSizePolicy::Minimum);
            QCOMPARE(separator->sizePolicy().verticalPolicy(), QSizePolicy::Minimum);
            QCOMPARE(separator->geometry().height(), side);
        }
        // The spacing stands between buttons only: spacers are empty layout items.
        const int firstBottom = layoutTop(layout, first) + first->height();
        QCOMPARE(layout.itemAt(1)->geometry().top(), firstBottom + spacing);
        QCOMPARE(layout.itemAt(2)->geometry().top(), firstBottom + spacing + side);
        QCOMPARE(second->y(), firstBottom + spacing + 2 * side);
        QCOMPARE(first->y(), layout.contentsMargins().top());
        QCOMPARE(bar->height(),
                 layout.contentsMargins().top() + first->height() + spacing + 2 * side + second->height()
                     + layout.contentsMargins().bottom());
    }

    void settingsApplyToSpacingAndSeparatorsAtOnce()
    {
        BaseDrawWidget widget;
        auto* bar = new GlobalActionBar(widget);
        bar->addAction(new QAction(QStringLiteral("a"), bar));
        bar->addSeparator();
        bar->addAction(new QAction(QStringLiteral("b"), bar));
        const QPoint before = bar->pos();
        GlobalActionBarDisplayerSettings settings;
        settings.margin = 50.0;
        settings.spacing = 3.5;
        settings.separatorSize = 8.7;
        bar->setSettings(settings);
        QCOMPARE(bar->layout()->spacing(), wholePx(3.5));
        QCOMPARE(bar->layout()->itemAt(1)->spacerItem()->sizeHint(), QSize(wholePx(8.7), wholePx(8.7)));
        QCOMPARE(bar->pos(), before);
    }

    void nonsenseLengthsGiveNoGaps()
    {
        BaseDrawWidget widget;
        auto* bar = new GlobalActionBar(widget);
        bar->addSeparator();
        GlobalActionBarDisplayerSettings settings;
        settings.spacing = -4.0;
        settings.separatorSize = std::nan("");
        bar->setSettings(settings);
        QCOMPARE(bar->layout()->spacing(), 0);
        QCOMPARE(bar->layout()->itemAt(0)->spacerItem()->sizeHint(), QSize(0, 0));
    }

    // Buttons

    void addActionAppendsAButtonForTheAction()
    {
        BaseDrawWidget widget;
        QVERIFY(floattest::showDrawWidget(widget, QSize(400, 300)));
        auto* bar = new GlobalActionBar(widget);
        auto* zoomIn = new QAction(squareIcon(Qt::green), QStringLiteral("Zoom in"), bar);
        auto* zoomOut = new QAction(squareIcon(Qt::yellow), QStringLiteral("Zoom out"), bar);
        QToolButton* in = bar->addAction(zoomIn);
        QToolButton* out = bar->addAction(zoomOut);
        QCOMPARE(in->parentWidget(), bar);
        QCOMPARE(in->defaultAction(), zoomIn);
        QCOMPARE(out->defaultAction(), zoomOut);
        QCOMPARE(bar->layout()->indexOf(in), 0);
        QCOMPARE(bar->layout()->indexOf(out), 1);
        QVERIFY(!in->menu());

        bar->show();
        QSignalSpy triggered(zoomOut, &QAction::triggered);
        QTest::mouseClick(out, Qt::LeftButton);
        QCOMPARE(triggered.count(), 1);
    }

    void popupPanelBelongsToItsButton()
    {
        BaseDrawWidget widget;
        auto* bar = new GlobalActionBar(widget);
        auto* action = new QAction(squareIcon(Qt::red), QStringLiteral("Levels"), bar);
        auto* popup = new QLabel(QStringLiteral("A panel of some width\nand two lines"));
        QVERIFY(popup->size() != popup->sizeHint());
        QToolButton* button = bar->addActionWithWidgetPopup(action, popup);
        QCOMPARE(popup->size(), popup->sizeHint()); // adjusted before it was handed over
        QCOMPARE(button->parentWidget(), bar);
        QCOMPARE(button->defaultAction(), action);
        QCOMPARE(button->popupMode(), QToolButton::InstantPopup);
        QMenu* menu = button->menu();
        QVERIFY(menu);
        QCOMPARE(menu->parent(), button);
        QCOMPARE(menu->actions().size(), 1);
        auto* popupAction = qobject_cast<QWidgetAction*>(menu->actions().constFirst());
        QVERIFY(popupAction);
        QCOMPARE(popupAction->parent(), button);
        QCOMPARE(popupAction->defaultWidget(), popup);
        QCOMPARE(bar->layout()->indexOf(button), 0);
    }

    void pressingAButtonWithAPopupOpensItAtOnce()
    {
        BaseDrawWidget widget;
        QVERIFY(floattest::showDrawWidget(widget, QSize(400, 300)));
        auto* bar = new GlobalActionBar(widget);
        auto* popup = new QLabel(QStringLiteral("levels"));
        QToolButton* button
            = bar->addActionWithWidgetPopup(new QAction(squareIcon(Qt::red), QStringLiteral("Levels"), bar), popup);
        bar->show();
        bar->adjustSize();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));

        // The menu runs its own event loop: look at it from there, then close it.
        bool looked = false;
        bool menuOpen = false;
        bool popupShown = false;
        QTimer::singleShot(0, button, [&] {
            looked = true;
            menuOpen = QApplication::activePopupWidget() == button->menu() && button->menu()->isVisible();
            popupShown = popup->isVisible();
            button->menu()->close();
        });
        QTest::mousePress(button, Qt::LeftButton);
        QTRY_VERIFY(looked);
        QVERIFY(menuOpen);
        QVERIFY(popupShown);
        QTest::mouseRelease(button, Qt::LeftButton);
    }

    void aButtonWithAPopupShowsNoMenuArrow()
    {
        BaseDrawWidget widget;
        QVERIFY(floattest::showDrawWidget(widget, QSize(400, 300)));
        auto* bar = new GlobalActionBar(widget);
        auto* action = new QAction(squareIcon(Qt::red), QStringLiteral("Levels"), bar);
        QToolButton* withPopup = bar->addActionWithWidgetPopup(action, new QLabel(QStringLiteral("levels")));
        QToolButton* plain = bar->addAction(action);

        // The style would draw an arrow on a tool button with a menu: the check can fail.
        QToolButton stock;
        stock.setDefaultAction(action);
        stock.setMenu(withPopup->menu());
        stock.setPopupMode(QToolButton::InstantPopup);

        QCOMPARE(withPopup->sizeHint(), plain->sizeHint());
        bar->show();
        bar->adjustSize();
        bar->layout()->activate();
        QCOMPARE(withPopup->size(), plain->size());
        stock.resize(plain->size());
        const QImage plainImage = plain->grab().toImage();
        QCOMPARE(withPopup->grab().toImage(), plainImage);
        QVERIFY(stock.grab().toImage() != plainImage);
    }
};

QTEST_MAIN(TestGlobalActionBar)
#include "tst_globalactionbar.moc"
