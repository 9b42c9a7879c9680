// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IMouseHandler.h>
#include <mivo/mivo_export.h>
#include <mivo/navigation/SelectionState.h>

#include <QCursor>
#include <QFlags>
#include <QObject>
#include <QPointF>

class QWidget;

namespace mivo {

class CoordSystem;
class SelectionManager;

struct SelectionMouseHandlerSettings
{
    /// Buttons that start a new selection.
    Qt::MouseButtons createButtons = Qt::RightButton;
    /// Modifiers that must be held exactly when starting a new selection.
    Qt::KeyboardModifiers createModifiers = Qt::NoModifier;
    /// Buttons that grab a finished selection by an edge, a corner or its inside.
    Qt::MouseButtons editButtons = Qt::LeftButton;
    /// Modifiers that must be held exactly when grabbing.
    Qt::KeyboardModifiers editModifiers = Qt::NoModifier;
    /// Button whose double-click inside a finished selection emits si_selectionDoubleClicked().
    Qt::MouseButton doubleClickButton = Qt::LeftButton;
    /// Fraction of the distance beyond the widget's border by which each mouse move
    /// scrolls the view while a selection is edited.
    double autoPanFactor = 0.2;
};

/**
 * Edits the selection of a SelectionManager with the mouse: a press with a create
 * button starts a new selection (dropping the old one) whose bottom-right corner
 * follows the mouse; a press with an edit button on an edge, a corner or the inside
 * of a finished selection resizes or moves it; the release finishes it, normalized,
 * unless it is tiny. Moving beyond the widget's border while editing scrolls the view
 * by autoPanFactor of the distance on each mouse move. A double-click inside a
 * finished selection emits si_selectionDoubleClicked().
 *
 * Edges and corners are within QApplication::startDragDistance() pixels (not scaled
 * by the screen's DPI). Edits that would take a selection with positive width and
 * height outside the displayed value limits are discarded.
 *
 * A release drops the selection when the Manhattan length of its diagonal, in value
 * units, is not above QApplication::startDragDistance(), a pixel count (intended).
 *
 * Whenever a selection exists the handler claims the cursor everywhere on the widget
 * (an arrow away from the selection), so handlers added after it never set it then.
 *
 * The widget, the coordinate system and the manager are not owned and must outlive
 * the handler.
 */
class MIVO_EXPORT SelectionMouseHandler : public QObject, public IMouseHandler
{
    Q_OBJECT

public:
    /// Parts of the selection under the mouse; an edge bit in x and one in y make a corner.
    enum Hotspot
    {
        HotspotInside = 1,
        HotspotTop = 2,
        HotspotLeft = 4,
        HotspotBottom = 8,
        HotspotRight = 16
    };
    Q_DECLARE_FLAGS(Hotspots, Hotspot)
    Q_FLAG(Hotspots)

    SelectionMouseHandler(QWidget& widget, CoordSystem& coordSystem, SelectionManager& selectionManager);
    ~SelectionMouseHandler() override;

    void setSettings(const SelectionMouseHandlerSettings& settings);
    const SelectionMouseHandlerSettings& settings() const { return m_settings; }

    bool handleMousePress(QMouseEvent* event, bool handled) override;
    bool handleMouseMove(QMouseEvent* event, bool handled) override;
    bool handleMouseRelease(QMouseEvent* event, bool handled) override;
    bool handleMouseDoubleClick(QMouseEvent* event, bool handled) override;
    bool handleMouseCursor(QMouseEvent* event) override;

Q_SIGNALS:
    /// A double-click with doubleClickButton inside a finished selection.
    void si_selectionDoubleClicked();

private:
    Q_DISABLE_COPY(SelectionMouseHandler)

    // All positions are widget pixels.
    Hotspots hotspotAtPos(const QPointF& pos) const;
    // The name is kept as it is.
    QCursor curstorAtPos(const QPointF& pos) const;
    void changeState(SelectionState newState, const QPointF& pos);
    void updateSelection(SelectionState newState, const QPointF& pos);
    void handleMouseMovePan(const QPointF& pos);

    QWidget& m_widget;
    CoordSystem& m_coordSystem;
    SelectionManager& m_selectionManager;
    SelectionMouseHandlerSettings m_settings;
    Hotspots m_hotspot; // the part being dragged
    QPointF m_lastPos; // the last position of a move of the whole selection
};

} // namespace mivo

Q_DECLARE_OPERATORS_FOR_FLAGS(mivo::SelectionMouseHandler::Hotspots)
