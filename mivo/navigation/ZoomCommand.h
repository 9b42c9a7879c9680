// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QEasingCurve>
#include <QMarginsF>
#include <QObject>
#include <QPointF>
#include <QRectF>

namespace mivo {

class BaseDrawWidget;

struct ZoomCommandSettings
{
    /// Fraction of the scale removed by one zoom-in.
    double zoomFactor = 0.3;
    /// Duration of every zoom animation of the command, in milliseconds.
    int animationDuration = 200;
    /// Curve of every zoom animation of the command.
    QEasingCurve easingCurve = QEasingCurve(QEasingCurve::OutQuad);
    /// Margin of sl_zoomTo(extents) without margins, as a fraction of the widget's
    /// width (left and right) and height (top and bottom).
    double defaultMarginRatio = 0.1;
};

/**
 * Turns zoom commands from buttons, menus, shortcuts or code into animated changes
 * of a drawing widget's view. It has no user interface of its own; connect triggers
 * to its slots.
 *
 * The widget is not owned and must outlive the command: give it the widget (or an
 * object the widget owns) as Qt parent.
 */
class MIVO_EXPORT ZoomCommand : public QObject
{
    Q_OBJECT

public:
    ZoomCommand(BaseDrawWidget& widget, QObject* parent);
    ~ZoomCommand() override;

    /// Replaces all settings; takes effect with the next command.
    void setSettings(const ZoomCommandSettings& settings);
    const ZoomCommandSettings& settings() const { return m_settings; }

public Q_SLOTS:
    // Kept in this order: hosts may address the slots by their meta-object index.

    /// Shrinks the visible range about its centre by zoomFactor on both axes.
    void sl_zoomIn();
    /// The exact inverse of sl_zoomIn(), about the centre of the visible range.
    void sl_zoomOut();
    /// Shows the whole permitted value range, without margins.
    void sl_zoomToAll();
    /**
     * Fits the value rectangle @p extents into the widget less @p pixelMargins (left,
     * top, right, bottom). Null margins (every component within 1e-12 of zero) are
     * replaced by defaultMarginRatio of the widget's width and height, so explicit
     * zero margins cannot be requested here (intended).
     */
    void sl_zoomTo(const QRectF& extents, const QMarginsF& pixelMargins = QMarginsF());
    /// Brings @p point to the widget's centre while the scales animate to the given
    /// (clamped) values. The point is taken by non-const reference and not changed
    /// (kept for compatibility).
    void sl_zoomTo(QPointF& point, double xScale, double yScale);

private:
    Q_DISABLE_COPY(ZoomCommand)

    void zoomAboutCentre(double xScale, double yScale);

    BaseDrawWidget& m_widget;
    ZoomCommandSettings m_settings;
};

} // namespace mivo
