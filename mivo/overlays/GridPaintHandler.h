// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>
#include <mivo/overlays/GridPaintHandlerSettings.h>

#include <QObject>
#include <QString>

#include <functional>

class QWidget;

namespace mivo {

class Axis;

/**
 * What the frequency and the time grid share: lines at regular steps of one axis with
 * a label each. The step is recomputed when the axis's offset or scale changes, by the
 * derived class's rule. A label that would stick out of the widget is left out while
 * its line is drawn.
 */
class MIVO_EXPORT GridPaintHandler : public QObject, public IPaintHandler
{
    Q_OBJECT

public:
    ~GridPaintHandler() override;

    void handlePaint(QPainter& painter) override;

    /// Takes all settings and repaints; the step keeps its value until the axis's next
    /// offset or scale change (kept).
    void setSettings(const GridPaintHandlerSettings& settings);
    const GridPaintHandlerSettings& settings() const { return m_settings; }

    /// The current distance between two lines, in axis units.
    double gridStep() const { return m_gridStep; }

protected:
    enum class Direction
    {
        Vertical, ///< lines across the x axis, labels at the top
        Horizontal ///< lines across the y axis, labels at the left, below the top band
    };

    /// @p widget and @p axis are not owned and must outlive the handler.
    GridPaintHandler(QWidget& widget, Axis& axis, Direction direction, std::function<double(double)> stepRule,
                     std::function<QString(double)> formatter);

    /// Replaces the label formatter (which must be callable) and repaints.
    void setFormatter(std::function<QString(double)> formatter);

private Q_SLOTS:
    void sl_updateGrid();

private:
    Q_DISABLE_COPY(GridPaintHandler)

    QWidget& m_widget;
    Axis& m_axis;
    const Direction m_direction;
    const std::function<double(double)> m_stepRule;
    GridPaintHandlerSettings m_settings;
    std::function<QString(double)> m_formatter;
    double m_gridStep = 0.0;
};

} // namespace mivo
