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
class CoordSystem;

/**
 * A grid of vertical lines at regular frequency steps, each labelled at its top.
 *
 * The step is 2.5, 5 or 10 times the power of ten below the minimum span (the step is never smaller than that span). It is recomputed when the axis's offset or scale changes.
 * A label that would stick out of the widget is left out while its line is drawn.
 */
class MIVO_EXPORT FrequencyGridPaintHandler : public QObject, public IPaintHandler
{
    Q_OBJECT

public:
    /// @p widget and @p coordSystem are not owned and must outlive the handler.
    FrequencyGridPaintHandler(QWidget& widget, CoordSystem& coordSystem);
    ~FrequencyGridPaintHandler() override;

    void handlePaint(QPainter& painter) override;

    /// Takes all settings and repaints; the step keeps its value until the axis's next
    /// offset or scale change (kept).
    void setSettings(const GridPaintHandlerSettings& settings);
    const GridPaintHandlerSettings& settings() const { return m_settings; }
    /// Replaces the label formatter (which must be callable) and repaints.
    void setFrequencyFormatter(std::function<QString(double)> formatter);

    /// The current distance between two lines, in axis units.
    double gridStep() const { return m_gridStep; }
    /// The step for a minimum span of @p span axis units.
    static double gridStepFor(double span);

private Q_SLOTS:
    void sl_updateGrid();

private:
    Q_DISABLE_COPY(FrequencyGridPaintHandler)

    QWidget& m_widget;
    Axis& m_axis;
    GridPaintHandlerSettings m_settings;
    std::function<QString(double)> m_formatter;
    double m_gridStep = 0.0;
};

} // namespace mivo
