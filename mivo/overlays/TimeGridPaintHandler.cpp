#include <mivo/overlays/TimeGridPaintHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>

#include "GridPainting_p.h"

#include <QWidget>

#include <array>
#include <cmath>

namespace mivo {

TimeGridPaintHandler::TimeGridPaintHandler(QWidget& widget, CoordSystem& coordSystem)
    : m_widget(widget)
    , m_axis(coordSystem.y())
    , m_formatter(&defaultTimeFormatter)
{
    connect(&m_axis, &Axis::si_offsetChanged, this, &TimeGridPaintHandler::sl_updateGrid);
    connect(&m_axis, &Axis::si_scaleChanged, this, &TimeGridPaintHandler::sl_updateGrid);
    sl_updateGrid();
}

TimeGridPaintHandler::~TimeGridPaintHandler() = default;

double TimeGridPaintHandler::gridStepFor(double span)
{
    constexpr double day = 86400.0;
    static constexpr std::array<double, 17> steps{0.1, 0.5, 1.0, 5.0, 10.0, 30.0, 60.0, 120.0, 180.0, 300.0,
                                                  600.0, 1800.0, 3600.0, 7200.0, 21600.0, 43200.0, day};
    if (span >= day) // whole days, rounded down, even below the span: kept
        return std::floor(span / 24.0 / 3600.0) * 24.0 * 3600.0;
    for (const double step : steps) {
        if (step > span)
            return step;
    }
    return std::nan(""); // span is not a number: no grid
}

void TimeGridPaintHandler::sl_updateGrid()
{
    m_gridStep = gridStepFor(grid::minimumSpan(m_widget, m_axis, m_settings));
}

void TimeGridPaintHandler::setSettings(const GridPaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void TimeGridPaintHandler::setTimeFormatter(std::function<QString(double)> formatter)
{
    m_formatter = std::move(formatter);
    m_widget.update();
}

void TimeGridPaintHandler::handlePaint(QPainter& painter)
{
    grid::paintGrid(painter, m_widget, m_axis, m_settings, m_formatter, m_gridStep, grid::Direction::Horizontal);
}

} // namespace mivo
