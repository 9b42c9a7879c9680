// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IMouseHandler.h>
#include <mivo/mivo_export.h>

#include <QEasingCurve>
#include <QPoint>

class QWidget;

namespace mivo {

class CoordSystem;

struct PanMouseHandlerSettings
{
    /// The glide after a release covers this many times the last mouse step.
    double inertiaFactor = 10.0;
    /// Duration of the glide, in milliseconds.
    int inertiaDuration = 1500;
    /// Curve of the glide.
    QEasingCurve::Type inertiaEasingType = QEasingCurve::OutQuart;
    /// Buttons that start a pan.
    Qt::MouseButtons panButtons = Qt::LeftButton;
};

/**
 * Pans the view by dragging: the content follows the mouse, and a release after a
 * fast last step lets the view glide on (an animation of both offsets).
 *
 * A press is taken only when no earlier handler took it and its button is one of
 * panButtons; it stops any running animation of the view. From then on every move
 * shifts both axes' offsets by the mouse step (immediately, clamped by the axes), and
 * the next release of any button ends the pan. The release glides when the Manhattan
 * length of the last mouse step exceeds QApplication::startDragDistance(): each axis
 * animates to its offset less inertiaFactor times that step. Only the last step
 * counts, so a slow release stops dead.
 *
 * The handler claims the cursor (a closed hand) from the first real movement of a
 * drag until the release.
 *
 * The pixel (0, 0) marks the idle state, so a press on exactly that pixel starts no
 * usable pan (intended).
 *
 * The widget and the coordinate system are not owned and must outlive the handler.
 */
class MIVO_EXPORT PanMouseHandler : public IMouseHandler
{
public:
    PanMouseHandler(QWidget& widget, CoordSystem& coordSystem);

    void setSettings(const PanMouseHandlerSettings& settings);
    const PanMouseHandlerSettings& settings() const { return m_settings; }

    bool handleMousePress(QMouseEvent* event, bool handled) override;
    bool handleMouseMove(QMouseEvent* event, bool handled) override;
    bool handleMouseRelease(QMouseEvent* event, bool handled) override;
    bool handleMouseCursor(QMouseEvent* event) override;

private:
    // Pointers rather than references keep the handler assignable; never null.
    QWidget* m_widget;
    CoordSystem* m_coordSystem;
    PanMouseHandlerSettings m_settings;
    QPoint m_lastPos; // widget pixels; (0, 0) while idle
    QPoint m_lastDelta; // the last mouse step; (0, 0) while idle
};

} // namespace mivo
