// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerKeyboardHandler.h"

#include "ViewerActions.h"

#include <QAction>
#include <QKeyEvent>

namespace mivo::viewer {

namespace {

constexpr double panFraction = 0.1;

bool trigger(QAction* action)
{
    if (!action->isEnabled())
        return false;
    action->trigger();
    return true;
}

} // namespace

ViewerKeyboardHandler::ViewerKeyboardHandler(ViewerActions& actions)
    : m_actions(actions)
{
}

bool ViewerKeyboardHandler::handleKeyPress(QKeyEvent* event, bool handled)
{
    if (handled)
        return false;
    if (event->matches(QKeySequence::Copy))
        return trigger(m_actions.copyFigures());
    // Shift stays allowed: '+' needs it on many keyboards.
    if (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    switch (event->key()) {
    case Qt::Key_Left:
        m_actions.pan(-panFraction, 0.0);
        return true;
    case Qt::Key_Right:
        m_actions.pan(panFraction, 0.0);
        return true;
    case Qt::Key_Up:
        m_actions.pan(0.0, -panFraction);
        return true;
    case Qt::Key_Down:
        m_actions.pan(0.0, panFraction);
        return true;
    case Qt::Key_Plus:
    case Qt::Key_Equal: // '+' without Shift on US keyboards
        return trigger(m_actions.zoomIn());
    case Qt::Key_Minus:
        return trigger(m_actions.zoomOut());
    case Qt::Key_Home:
        return trigger(m_actions.zoomToData());
    case Qt::Key_Escape:
        return trigger(m_actions.clearSelection());
    default:
        return false;
    }
}

bool ViewerKeyboardHandler::handleKeyRelease(QKeyEvent*, bool)
{
    return false;
}

} // namespace mivo::viewer
