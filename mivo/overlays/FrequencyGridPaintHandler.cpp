#include <mivo/overlays/FrequencyGridPaintHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>

#include "GridPainting_p.h"

#include <QWidget>

#include <cmath>

namespace mivo {

FrequencyGridPaintHandler::FrequencyGridPaintHandler(QWidget& widget, CoordSystem& coordSystem)
    : m_widget(widget)
    , m_axis(coordSystem.x())
    , m_formatter(&defaultFrequencyFormatter)
{
    connect(&m_axis, &Axis::si_offsetChanged, this, &FrequencyGridPaintHandler::sl_updateGrid);
    connect(&m_axis, &Axis::si_scaleChanged, this, &FrequencyGridPaintHandler::sl_updateGrid);
    sl_updateGrid();
}

FrequencyGridPaintHandler::~FrequencyGridPaintHandler() = default;

double FrequencyGridPaintHandler::gridStepFor(double span)
{
    // Steps of 2.5, 5 and 10 times a power of ten, never 1 or 2 times one: intended.
    const double decade = std::pow(10.0, std::floor(std::log10(span)));
    const double ratio = span / decade;
    if (ratio < 2.5)
        return decade * 2.5;
    if (ratio < 5.0)
        return decade * 5.0;
    return decade * 10.0;
}

void FrequencyGridPaintHandler::sl_updateGrid()
{
    m_gridStep = gridStepFor(grid::minimumSpan(m_widget, m_axis, m_settings));
}

void FrequencyGridPaintHandler::setSettings(const GridPaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void FrequencyGridPaintHandler::setFrequencyFormatter(std::function<QString(double)> formatter)
{
    m_formatter = std::move(formatter);
    m_widget.update();
}

void FrequencyGridPaintHandler::handlePaint(QPainter& painter)
{
    grid::paintGrid(painter, m_widget, m_axis, m_settings, m_formatter, m_gridStep, grid::Direction::Vertical);
}

} // namespace mivo
