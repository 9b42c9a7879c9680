// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/InfoWidgetDisplayer.h>

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/overlays/IInfoWidget.h>

#include "../core/NumericConversions_p.h"

#include <QMargins>
#include <QWidget>

#include <cmath>

namespace mivo {

namespace {

bool isFinite(const QRectF& rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

// A placement that integer widget geometry can hold without overflow.
bool fitsWidgetGeometry(const QRectF& rect)
{
    const double limit = QWIDGETSIZE_MAX;
    return isFinite(rect) && std::abs(rect.x()) <= limit && std::abs(rect.y()) <= limit && rect.width() <= limit
        && rect.height() <= limit;
}

} // namespace

InfoWidgetDisplayer::InfoWidgetDisplayer(BaseDrawWidget& widget)
    : m_widget(widget)
{
    connect(&m_widget.coordSystem(), &CoordSystem::si_displayedValueRangeChanged, this,
            &InfoWidgetDisplayer::sl_displayedValueRangeChanged);
}

InfoWidgetDisplayer::~InfoWidgetDisplayer() = default;

void InfoWidgetDisplayer::addInfoWidget(IInfoWidget* infoWidget)
{
    if (!infoWidget)
        return;
    m_infoWidgets.append(infoWidget);
    infoWidget->hide();
    // Clicks on the panel must not reach the drawing widget's mouse handlers.
    infoWidget->setAttribute(Qt::WA_NoMousePropagation);
    infoWidget->setCursor(Qt::ArrowCursor);
    // Queued: a panel may emit from inside its own event handling.
    connect(infoWidget, &IInfoWidget::si_hasInfoChanged, this, &InfoWidgetDisplayer::sl_widgetHasInfoChanged,
            Qt::QueuedConnection);
    connect(infoWidget, &IInfoWidget::si_infoAreaChanged, this, &InfoWidgetDisplayer::sl_widgetInfoAreaChanged,
            Qt::QueuedConnection);
    connect(infoWidget, &QObject::destroyed, this, [this, infoWidget] { forget(infoWidget); });
    sl_widgetHasInfoChanged();
}

void InfoWidgetDisplayer::removeInfoWidget(IInfoWidget* infoWidget)
{
    m_infoWidgets.removeAll(infoWidget);
    if (infoWidget)
        disconnect(infoWidget, nullptr, this, nullptr);
    // kept: the current panel stays current and shown even when it is the one removed.
}

void InfoWidgetDisplayer::forget(IInfoWidget* infoWidget)
{
    // Called from the panel's QObject destructor: only its address is used here.
    m_infoWidgets.removeAll(infoWidget);
    QMetaObject::invokeMethod(this, &InfoWidgetDisplayer::sl_widgetHasInfoChanged, Qt::QueuedConnection);
}

void InfoWidgetDisplayer::setSettings(const InfoWdigetDisplayerSettings& settings)
{
    m_settings.spacing = settings.spacing;
    m_settings.margin = settings.margin;
}

QSizeF InfoWidgetDisplayer::currentInfoWidgetRequiredSize() const
{
    if (m_currentInfoWidget && m_currentInfoWidget->isVisible()) {
        return QSizeF(m_currentInfoWidget->width() + dpToPixel(m_widget, m_settings.spacing),
                      m_currentInfoWidget->height());
    }
    return QSizeF(-1.0, -1.0);
}

void InfoWidgetDisplayer::sl_widgetHasInfoChanged()
{
    IInfoWidget* next = nullptr;
    for (IInfoWidget* infoWidget : qAsConst(m_infoWidgets)) {
        if (infoWidget->hasInfo()) {
            next = infoWidget;
            break;
        }
    }
    if (next == m_currentInfoWidget)
        return;
    if (m_currentInfoWidget)
        m_currentInfoWidget->hide();
    m_currentInfoWidget = next;
    updateWidget();
}

void InfoWidgetDisplayer::sl_widgetInfoAreaChanged()
{
    if (m_currentInfoWidget && sender() == m_currentInfoWidget.data())
        updateWidget();
}

void InfoWidgetDisplayer::sl_displayedValueRangeChanged()
{
    updateWidget();
}

void InfoWidgetDisplayer::updateWidget()
{
    if (!m_currentInfoWidget)
        return;
    const QRectF placement = suitableWidgetPosition();
    if ((placement.width() == 0.0 && placement.height() == 0.0) || !fitsWidgetGeometry(placement)) {
        m_currentInfoWidget->hide();
        return;
    }
    m_currentInfoWidget->setFixedSize(placement.size().toSize());
    m_currentInfoWidget->move(placement.topLeft().toPoint());
    m_currentInfoWidget->show();
}

QRectF InfoWidgetDisplayer::suitableWidgetPosition() const
{
    const double gap = dpToPixel(m_widget, m_settings.spacing);
    const double marginPixels = dpToPixel(m_widget, m_settings.margin);
    if (!std::isfinite(gap) || !fitsWidgetGeometry(QRectF(0.0, 0.0, marginPixels, marginPixels)))
        return QRectF();
    // Whole pixels: the widget's integer rectangle less the truncated margin, whose
    // right() and bottom() are its last pixel column and row, as Qt's QRect has them.
    const int margin = numeric::truncateToIntOrMin(marginPixels);
    const QRect available = m_widget.rect().marginsRemoved(QMargins(margin, margin, margin, margin));

    QRectF area = m_widget.coordSystem().valueToPixel(m_currentInfoWidget->infoArea()).intersected(QRectF(available));
    // An area that no pixel can show (not a number, say) counts as out of sight.
    if ((area.width() == 0.0 && area.height() == 0.0) || !isFinite(area))
        return QRectF();

    const QSize hint = m_currentInfoWidget->sizeHint();
    const double width = std::max(0, hint.width());
    const double height = std::max(0, hint.height());
    if (height > available.height())
        return QRectF();

    double x = area.right() + gap; // right of the area
    if (x + width > available.right()) {
        x = area.left() - gap - width; // left of it
        if (x < available.left()) {
            x = area.right() - gap - width; // inside, at its right edge and lower
            area.setTop(area.top() + gap);
        }
    }
    double y = area.top();
    if (y + height > available.bottom())
        y = available.bottom() - height; // kept: only the bottom is clamped
    return QRectF(x, y, width, height);
}

} // namespace mivo
