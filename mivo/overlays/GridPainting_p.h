#pragma once

// The drawing the frequency and the time grid share: they differ only in direction.

#include <mivo/overlays/GridPaintHandlerSettings.h>

#include <QString>

#include <functional>

class QPainter;
class QWidget;

namespace mivo {

class Axis;

namespace grid {

enum class Direction {
    Vertical,  ///< frequency: vertical lines, labels at the top
    Horizontal ///< time: horizontal lines, labels at the left
};

/// Value span of minGridSpacing at the axis's current scale.
double minimumSpan(const QWidget& widget, const Axis& axis, const GridPaintHandlerSettings& settings);

/// Draws lines and labels from the step below the clip's first value up to (not
/// including) its last value. Horizontal grids leave out the band at the top where
/// the vertical grid writes its labels.
void paintGrid(QPainter& painter, const QWidget& widget, const Axis& axis, const GridPaintHandlerSettings& settings,
               const std::function<QString(double)>& formatter, double step, Direction direction);

} // namespace grid
} // namespace mivo
