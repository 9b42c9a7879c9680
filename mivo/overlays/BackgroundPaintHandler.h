// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>

#include <QColor>

class QWidget;

namespace mivo {

struct BackgroundPaintHandlerSettings
{
    QColor color = QColor(Qt::black);
};

/**
 * Fills the area being painted with one colour. Registered first, so that everything
 * else is drawn over it and missing tiles leave this colour visible.
 */
class MIVO_EXPORT BackgroundPaintHandler : public IPaintHandler
{
public:
    /// @p widget is not owned and must outlive the handler.
    explicit BackgroundPaintHandler(QWidget& widget);

    /// Fills the painter's clip bounding rectangle.
    void handlePaint(QPainter& painter) override;

    /// Takes the colour; it shows at the next paint (no repaint is requested: kept).
    void updateSettings(const BackgroundPaintHandlerSettings& settings);

private:
    QWidget& m_widget;
    QColor m_color;
};

} // namespace mivo
