// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/SelectionMouseHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionManager.h>

#include <QApplication>
#include <QMouseEvent>
#include <QRect>
#include <QWidget>

#include <cmath>

namespace mivo {

namespace {

QPointF positionOf(const QMouseEvent& event)
{
    return QPointF(event.pos());
}

} // namespace

SelectionMouseHandler::SelectionMouseHandler(QWidget& widget, CoordSystem& coordSystem,
                                             SelectionManager& selectionManager)
    : QObject(nullptr)
    , m_widget(widget)
    , m_coordSystem(coordSystem)
    , m_selectionManager(selectionManager)
{
}

SelectionMouseHandler::~SelectionMouseHandler() = default;

void SelectionMouseHandler::setSettings(const SelectionMouseHandlerSettings& settings)
{
    m_settings = settings;
}

bool SelectionMouseHandler::handleMousePress(QMouseEvent* event, bool handled)
{
    if (handled)
        return false;
    const QPointF pos = positionOf(*event);

    if (m_selectionManager.state() == SelectionFinished && (m_settings.editButtons & event->button())
        && event->modifiers() == m_settings.editModifiers && hotspotAtPos(pos)) {
        changeState(SelectionEditing, pos);
        return true;
    }

    // Anything else falls through to later handlers, such as panning.
    if (!(m_settings.createButtons & event->button()) || event->modifiers() != m_settings.createModifiers)
        return false;

    m_coordSystem.stopAnimation();
    if (m_selectionManager.state() != SelectionNone)
        changeState(SelectionNone, pos);
    changeState(SelectionEditing, pos);
    return true;
}

bool SelectionMouseHandler::handleMouseMove(QMouseEvent* event, bool handled)
{
    if (handled || m_selectionManager.state() != SelectionEditing)
        return false;
    const QPointF pos = positionOf(*event);
    handleMouseMovePan(pos);
    changeState(SelectionEditing, pos);
    return true;
}

bool SelectionMouseHandler::handleMouseRelease(QMouseEvent* event, bool handled)
{
    if (handled || m_selectionManager.state() != SelectionEditing)
        return false;
    const QPointF pos = positionOf(*event);
    const QRectF& selection = m_selectionManager.selection();
    // kept: a length in value units is compared with a pixel count.
    const double diagonal = (selection.topLeft() - selection.bottomRight()).manhattanLength();
    if (!(diagonal > QApplication::startDragDistance())) {
        changeState(SelectionNone, pos);
        return true;
    }
    changeState(SelectionFinished, pos);
    return true;
}

bool SelectionMouseHandler::handleMouseDoubleClick(QMouseEvent* event, bool handled)
{
    if (handled || m_selectionManager.state() != SelectionFinished || event->button() != m_settings.doubleClickButton) {
        return false;
    }
    if (!m_selectionManager.selection().contains(m_coordSystem.pixelToValue(positionOf(*event))))
        return false;
    Q_EMIT si_selectionDoubleClicked();
    return true;
}

bool SelectionMouseHandler::handleMouseCursor(QMouseEvent* event)
{
    if (m_selectionManager.state() == SelectionNone)
        return false;
    m_widget.setCursor(curstorAtPos(positionOf(*event)));
    return true;
}

SelectionMouseHandler::Hotspots SelectionMouseHandler::hotspotAtPos(const QPointF& pos) const
{
    const QRectF r = m_coordSystem.valueToPixel(m_selectionManager.selection()).normalized();
    // In pixels, not scaled by the screen's DPI.
    const double d = QApplication::startDragDistance();
    const double right = r.left() + r.width();
    const double bottom = r.top() + r.height();

    // Left wins over right, and top over bottom, when a tiny rectangle puts both in reach.
    Hotspots flags;
    if (r.top() - d < pos.y() && pos.y() < bottom + d) {
        if (std::abs(pos.x() - r.left()) < d)
            flags = HotspotLeft;
        else if (std::abs(pos.x() - right) < d)
            flags = HotspotRight;
    }
    if (r.left() - d < pos.x() && pos.x() < right + d) {
        if (std::abs(pos.y() - r.top()) < d)
            flags |= HotspotTop;
        else if (std::abs(pos.y() - bottom) < d)
            flags |= HotspotBottom;
    }
    if (!flags && r.contains(pos))
        flags = HotspotInside;
    return flags;
}

QCursor SelectionMouseHandler::curstorAtPos(const QPointF& pos) const
{
    switch (int(hotspotAtPos(pos))) {
    case HotspotInside:
        return QCursor(Qt::SizeAllCursor);
    case HotspotTop:
    case HotspotBottom:
        return QCursor(Qt::SizeVerCursor);
    case HotspotLeft:
    case HotspotRight:
        return QCursor(Qt::SizeHorCursor);
    case HotspotTop | HotspotLeft:
    case HotspotBottom | HotspotRight:
        return QCursor(Qt::SizeFDiagCursor);
    case HotspotBottom | HotspotLeft:
    case HotspotTop | HotspotRight:
        return QCursor(Qt::SizeBDiagCursor);
    default:
        return QCursor();
    }
}

void SelectionMouseHandler::changeState(SelectionState newState, const QPointF& pos)
{
    const SelectionState state = m_selectionManager.state();
    if (state == SelectionNone && newState == SelectionEditing) {
        // Create: an empty rectangle whose bottom-right corner then follows the mouse.
        const QPointF value = m_coordSystem.pixelToValue(pos);
        m_hotspot = Hotspots(HotspotBottom) | HotspotRight;
        m_selectionManager.setSelection(QRectF(value, value), SelectionEditing);
    } else if (state == SelectionEditing && newState == SelectionFinished) {
        updateSelection(SelectionFinished, pos);
    } else if (state == SelectionFinished && newState == SelectionEditing) {
        // Grab.
        m_lastPos = pos;
        m_hotspot = hotspotAtPos(pos);
        const QRectF selection = m_selectionManager.selection();
        m_selectionManager.setSelection(selection, SelectionEditing);
    } else if (state == SelectionEditing && newState == SelectionEditing) {
        updateSelection(SelectionEditing, pos);
        m_lastPos = pos;
    } else if (state != SelectionNone && newState == SelectionNone) {
        m_hotspot = Hotspots();
        m_selectionManager.clearSelection();
    }
}

void SelectionMouseHandler::updateSelection(SelectionState newState, const QPointF& pos)
{
    const QPointF value = m_coordSystem.pixelToValue(pos);
    const QRectF current = m_selectionManager.selection();
    double x = current.x();
    double y = current.y();
    double width = current.width();
    double height = current.height();

    // Edges cross freely: the rectangle may turn inverted until it is finished.
    if (m_hotspot.testFlag(HotspotLeft)) {
        const double dx = value.x() - x;
        x += dx;
        width -= dx;
    } else if (m_hotspot.testFlag(HotspotRight)) {
        width = value.x() - x;
    }
    if (m_hotspot.testFlag(HotspotTop)) {
        const double dy = value.y() - y;
        y += dy;
        height -= dy;
    } else if (m_hotspot.testFlag(HotspotBottom)) {
        height = value.y() - y;
    }

    QRectF edited(x, y, width, height);
    if (int(m_hotspot) == HotspotInside)
        edited.translate(m_coordSystem.pixelToValueSpan(pos - m_lastPos));

    // An inverted rectangle is not tested against the limits.
    if (edited.width() > 0 && edited.height() > 0 && !m_coordSystem.displayValueLimits().contains(edited))
        edited = current;
    if (newState == SelectionFinished)
        edited = edited.normalized();
    m_selectionManager.setSelection(edited, newState);
}

void SelectionMouseHandler::handleMouseMovePan(const QPointF& pos)
{
    const QRect area = m_widget.rect();
    if (area.contains(pos.toPoint()))
        return;
    // Integer corners: right and bottom are width - 1 and height - 1.
    const QPoint topLeft = area.topLeft();
    const QPoint bottomRight = area.bottomRight();
    Axis& x = m_coordSystem.x();
    Axis& y = m_coordSystem.y();
    const double factor = m_settings.autoPanFactor;
    if (topLeft.x() - pos.x() > 0)
        x.setOffset(x.offset() - x.pixelToValueSpan((topLeft.x() - pos.x()) * factor));
    if (topLeft.y() - pos.y() > 0)
        y.setOffset(y.offset() - y.pixelToValueSpan((topLeft.y() - pos.y()) * factor));
    if (pos.x() - bottomRight.x() > 0)
        x.setOffset(x.offset() + x.pixelToValueSpan((pos.x() - bottomRight.x()) * factor));
    if (pos.y() - bottomRight.y() > 0)
        y.setOffset(y.offset() + y.pixelToValueSpan((pos.y() - bottomRight.y()) * factor));
}

} // namespace mivo
