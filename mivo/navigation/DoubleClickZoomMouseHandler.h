// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IMouseHandler.h>
#include <mivo/mivo_export.h>

#include <QEasingCurve>

class QWidget;

namespace mivo {

class CoordSystem;

struct DoubleClickZoomMouseHandlerSettings
{
    /// A double-click with this button zooms in.
    Qt::MouseButton zoomInButton = Qt::LeftButton;
    /// A double-click with this button zooms out.
    Qt::MouseButton zoomOutButton = Qt::RightButton;
    /// Fraction of the scale removed when zooming in.
    double zoomFactor = 0.3;
    /// Duration of the zoom animation, in milliseconds.
    int animationDuration = 200;
    QEasingCurve easingCurve = QEasingCurve(QEasingCurve::OutQuad);
};

/**
 * Zooms about the double-clicked point: zoomInButton multiplies both scales by
 * 1 - zoomFactor, zoomOutButton divides them by it (the exact inverse). When both
 * settings name the same button, the click zooms in. Other buttons, and clicks an
 * earlier handler took, are left alone.
 *
 * The widget and the coordinate system are not owned and must outlive the handler.
 */
class MIVO_EXPORT DoubleClickZoomMouseHandler : public IMouseHandler
{
public:
    DoubleClickZoomMouseHandler(QWidget& widget, CoordSystem& coordSystem);

    void setSettings(const DoubleClickZoomMouseHandlerSettings& settings);
    const DoubleClickZoomMouseHandlerSettings& settings() const { return m_settings; }

    bool handleMouseDoubleClick(QMouseEvent* event, bool handled) override;

private:
    // Pointers rather than references keep the handler assignable; never null.
    QWidget* m_widget;
    CoordSystem* m_coordSystem;
    DoubleClickZoomMouseHandlerSettings m_settings;
};

} // namespace mivo
