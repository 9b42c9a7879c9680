// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/navigation/SelectionState.h>

#include <QObject>
#include <QRectF>

namespace mivo {

/**
 * Holds the one rectangular selection of a drawing widget, in value space (x: a
 * frequency range, y: a time range), with its state, and announces every change.
 *
 * Owned by the host; the selection handlers refer to it and must not outlive it.
 * GUI thread only.
 */
class MIVO_EXPORT SelectionManager : public QObject
{
    Q_OBJECT

public:
    explicit SelectionManager(QObject* parent = nullptr);
    ~SelectionManager() override;

    /// The selection in value space; null when there is none.
    const QRectF& selection() const { return m_selection; }
    SelectionState state() const { return m_state; }

    /// Stores both and emits si_selectionChanged(), unless both equal the stored ones
    /// (the rectangle compared fuzzily, as QRectF's == does): then nothing happens.
    void setSelection(const QRectF& rect, SelectionState state);
    /// Sets a null rectangle and SelectionNone and emits si_selectionChanged(); does
    /// nothing when there is no selection already.
    void clearSelection();

Q_SIGNALS:
    void si_selectionChanged(const QRectF& selection, mivo::SelectionState state);

private:
    Q_DISABLE_COPY(SelectionManager)

    QRectF m_selection;
    SelectionState m_state = SelectionNone;
};

} // namespace mivo
