// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/SelectionManager.h>

namespace mivo {

SelectionManager::SelectionManager(QObject* parent)
    : QObject(parent)
{
    // Lets hosts connect the change signal across threads and spy on it.
    qRegisterMetaType<SelectionState>();
}

SelectionManager::~SelectionManager() = default;

void SelectionManager::setSelection(const QRectF& rect, SelectionState state)
{
    if (rect == m_selection && state == m_state)
        return;
    m_selection = rect;
    m_state = state;
    // Copies: a receiver that changes the selection must not change what later
    // receivers are told.
    const QRectF selection = m_selection;
    Q_EMIT si_selectionChanged(selection, state);
}

void SelectionManager::clearSelection()
{
    if (m_selection == QRectF() && m_state == SelectionNone)
        return;
    m_selection = QRectF();
    m_state = SelectionNone;
    Q_EMIT si_selectionChanged(QRectF(), SelectionNone);
}

} // namespace mivo
