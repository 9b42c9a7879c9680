// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>

#include <QBrush>
#include <QPen>
#include <QString>

#include <functional>

namespace mivo {

class BaseDrawWidget;

struct MIVO_EXPORT HorizontalRulerPaintHandlerSettings
{
    HorizontalRulerPaintHandlerSettings();

    QPen linePen; ///< yellow #AAFFF200, width 2, square cap, bevel join
    std::function<QString(double)> valueFormatter; ///< defaultTimeFormatter
    QPen labelPen; ///< black
    QBrush labelBrush; ///< solid #AAFFF200
    double labelFontScale = 1.0; ///< kept with the settings; not applied
    double labelMargin = 5.0; ///< around the label text, device-independent pixels
};

/**
 * A horizontal line across the whole drawing widget at a time value chosen by the host
 * (a cursor, the newest data), with a boxed label at its left end. The label is left
 * out when its box would reach beyond the widget; the line is still drawn.
 */
class MIVO_EXPORT HorizontalRulerPaintHandler : public IPaintHandler
{
public:
    /// @p widget is not owned and must outlive the handler. The ruler value starts at -1.
    explicit HorizontalRulerPaintHandler(BaseDrawWidget& widget);

    void handlePaint(QPainter& painter) override;

    /// The time of the line, in y-axis units; repaints.
    void setRulerValue(double value);
    double rulerValue() const { return m_value; }
    /// Takes all settings; repaints.
    void setSettings(const HorizontalRulerPaintHandlerSettings& settings);

private:
    BaseDrawWidget& m_widget;
    HorizontalRulerPaintHandlerSettings m_settings;
    double m_value = -1.0;
};

} // namespace mivo
