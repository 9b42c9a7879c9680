// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IMouseHandler.h>
#include <mivo/mivo_export.h>

#include <QEasingCurve>

class QWidget;

namespace mivo {

class CoordSystem;

struct WheelZoomMouseHandlerSettings
{
    /// The time axis zooms only with the mouse further than this from the top edge
    /// (device-independent pixels).
    double yZoomMinMouseY = 30.0;
    /// With exactly this modifier held the wheel zooms the frequency axis alone.
    Qt::KeyboardModifiers xOnlyModifier = Qt::ControlModifier;
    /// The frequency axis zooms only with the mouse further than this from the left
    /// edge (device-independent pixels).
    double xZoomMinMouseX = 60.0;
    /// With exactly this modifier held the wheel zooms the time axis alone.
    Qt::KeyboardModifiers yOnlyModifier = Qt::ShiftModifier;
    /// Duration of the zoom animation, in milliseconds.
    int animationDuration = 200;
    QEasingCurve easingCurve = QEasingCurve(QEasingCurve::OutQuad);
    /// Fraction of the scale removed per wheel step.
    double zoomFactorPerStep = 0.3;
    /// Stored and copied; the handler does not read it.
    double reservedFactor = 3.0;
    /// Upper bound of the zoom-in steps taken from one wheel event.
    int maxStepsPerEvent = 5;
};

/**
 * Zooms about the mouse position with the wheel; a positive delta (away from the
 * user) zooms in.
 *
 * One step is 120 eighths of a degree, counted towards zero, so smaller deltas
 * (fine-grained wheels, touchpads) zoom nothing; zoom-in steps are capped at
 * maxStepsPerEvent, zoom-out steps are not. Each axis's new scale is
 * scale - scale * zoomFactorPerStep * steps: linear in the steps, not a power, so
 * enough steps drive it to the axis's minimum scale (intended).
 *
 * The frequency axis zooms only with the mouse right of the left strip
 * (xZoomMinMouseX) and with no modifier or exactly xOnlyModifier; the time axis only
 * below the top strip (yZoomMinMouseY) and with no modifier or exactly yOnlyModifier.
 * The zoom animation starts even when neither axis changes.
 *
 * An event an earlier handler took is reported as taken and not acted on.
 *
 * The widget and the coordinate system are not owned and must outlive the handler.
 */
class MIVO_EXPORT WheelZoomMouseHandler : public IMouseHandler
{
public:
    WheelZoomMouseHandler(QWidget& widget, CoordSystem& coordSystem);

    void setSettings(const WheelZoomMouseHandlerSettings& settings);
    const WheelZoomMouseHandlerSettings& settings() const { return m_settings; }

    bool handleWheel(QWheelEvent* event, bool handled) override;

private:
    // Pointers rather than references keep the handler assignable; never null.
    QWidget* m_widget;
    CoordSystem* m_coordSystem;
    WheelZoomMouseHandlerSettings m_settings;
};

} // namespace mivo
