// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>
#include <mivo/navigation/SelectionState.h>

#include <QBrush>
#include <QColor>
#include <QObject>
#include <QPen>
#include <QRectF>

class QWidget;

namespace mivo {

class CoordSystem;
class SelectionManager;

struct SelectionPaintHandlerSettings
{
    /// Outline of the rectangle: white, solid, width 1.
    QPen rectPen = QPen(QColor(Qt::white));
    /// Fill of the rectangle: white at alpha 0x33.
    QBrush fillBrush = QBrush(QColor::fromRgba(0x33ffffffu), Qt::SolidPattern);
    /// The dashed line through the selection's centre frequency.
    QPen centerLinePen
        = QPen(QBrush(QColor(Qt::white), Qt::SolidPattern), 1.0, Qt::DashLine, Qt::SquareCap, Qt::BevelJoin);
    /// How far the centre line reaches beyond the rectangle's top and bottom
    /// (device-independent pixels).
    double centerLineOverhang = 10.0;
    /// Stored and copied; painting does not use it.
    double reservedLength = 5.0;
};

/**
 * Draws the selection of a SelectionManager: a filled rectangle with an outline, and
 * a dashed vertical line through its horizontal centre reaching centerLineOverhang
 * beyond the top and bottom. Nothing is drawn without a selection or while its width
 * or height is zero; an inverted selection being edited is drawn normalized.
 *
 * Every change of the selection, and every setSettings(), schedules a repaint of the
 * widget.
 *
 * The widget, the coordinate system and the manager are not owned and must outlive
 * the handler.
 */
class MIVO_EXPORT SelectionPaintHandler : public QObject, public IPaintHandler
{
    Q_OBJECT

public:
    SelectionPaintHandler(QWidget& widget, CoordSystem& coordSystem, SelectionManager& selectionManager);
    ~SelectionPaintHandler() override;

    /// Copies all fields, then repaints the widget.
    void setSettings(const SelectionPaintHandlerSettings& settings);
    const SelectionPaintHandlerSettings& settings() const { return m_settings; }

    void handlePaint(QPainter& painter) override;

private Q_SLOTS:
    void sl_selectionChanged(const QRectF& selection, mivo::SelectionState state);

private:
    Q_DISABLE_COPY(SelectionPaintHandler)

    QWidget& m_widget;
    CoordSystem& m_coordSystem;
    SelectionManager& m_selectionManager;
    SelectionPaintHandlerSettings m_settings;
};

} // namespace mivo
