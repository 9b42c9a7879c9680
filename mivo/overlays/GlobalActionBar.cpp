// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/GlobalActionBar.h>

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/DpToPixel.h>

#include "../core/NumericConversions_p.h"

#include <QMenu>
#include <QStyleOptionToolButton>
#include <QStylePainter>
#include <QToolButton>
#include <QVBoxLayout>
#include <QWidgetAction>

#include <algorithm>
#include <cmath>

namespace mivo {

namespace {

// A tool button whose menu opens from the whole button: the style's menu arrow, which
// it would draw in a corner, is left out.
class PopupToolButton : public QToolButton
{
public:
    explicit PopupToolButton(QWidget* parent)
        : QToolButton(parent)
    {
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QStylePainter painter(this);
        QStyleOptionToolButton option;
        initStyleOption(&option);
        option.features &= ~QStyleOptionToolButton::HasMenu;
        painter.drawComplexControl(QStyle::CC_ToolButton, option);
    }
};

// Truncated to whole pixels and kept within what widget geometry holds; not a number
// gives 0.
int wholePixels(double pixels, int lowest)
{
    if (std::isnan(pixels))
        return 0;
    const double limited = std::clamp(pixels, double(lowest), double(QWIDGETSIZE_MAX));
    return numeric::truncateToIntOrMin(limited);
}

} // namespace

GlobalActionBar::GlobalActionBar(BaseDrawWidget& widget)
    : QFrame(&widget)
    , m_widget(widget)
{
    connect(&m_widget, &BaseDrawWidget::si_widgetResized, this, &GlobalActionBar::sl_widgetResized);
    setupUi();
    sl_widgetResized();
}

GlobalActionBar::~GlobalActionBar() = default;

void GlobalActionBar::setupUi()
{
    // The drawing widget's cursor shapes (pan, resize) must not show over the buttons.
    setCursor(Qt::ArrowCursor);
    new QVBoxLayout(this);
    updateUi();
}

QToolButton* GlobalActionBar::addAction(QAction* action)
{
    return appendButton(new QToolButton(this), action);
}

QToolButton* GlobalActionBar::addActionWithWidgetPopup(QAction* action, QWidget* popup)
{
    auto* button = new PopupToolButton(this);
    if (popup)
        popup->adjustSize();
    auto* popupAction = new QWidgetAction(button);
    popupAction->setDefaultWidget(popup); // takes the popup over
    auto* menu = new QMenu(button);
    menu->addAction(popupAction);
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
    return appendButton(button, action);
}

QToolButton* GlobalActionBar::appendButton(QToolButton* button, QAction* action)
{
    button->setDefaultAction(action);
    layout()->addWidget(button);
    updateUi();
    return button;
}

void GlobalActionBar::addSeparator()
{
    static_cast<QBoxLayout*>(layout())->addSpacerItem(
        new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Minimum));
    updateUi();
}

void GlobalActionBar::setSettings(const GlobalActionBarDisplayerSettings& settings)
{
    m_settings.margin = settings.margin;
    m_settings.spacing = settings.spacing;
    m_settings.separatorSize = settings.separatorSize;
    updateUi();
}

void GlobalActionBar::sl_widgetResized()
{
    const double margin = dpToPixel(m_widget, m_settings.margin);
    // kept: the bar's width now counts; buttons added later do not move it.
    move(wholePixels(m_widget.width() - width() - margin, -QWIDGETSIZE_MAX), wholePixels(margin, -QWIDGETSIZE_MAX));
    updateUi();
}

void GlobalActionBar::updateUi()
{
    QLayout* box = layout();
    box->setSpacing(wholePixels(dpToPixel(m_widget, m_settings.spacing), 0));
    const int side = wholePixels(dpToPixel(m_widget, m_settings.separatorSize), 0);
    for (int i = 0; i < box->count(); ++i) {
        if (QSpacerItem* separator = box->itemAt(i)->spacerItem())
            separator->changeSize(side, side, QSizePolicy::Minimum, QSizePolicy::Minimum);
    }
    box->invalidate();
}

} // namespace mivo
