// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMetaType>

namespace mivo {

/// The state of the rectangular selection; the values are fixed.
enum SelectionState
{
    /// No selection; the rectangle is null.
    SelectionNone = 0,
    /// Being created, moved or resized by the mouse; width and height may be negative.
    SelectionEditing = 1,
    /// Finished; the rectangle is normalized.
    SelectionFinished = 2
};

} // namespace mivo

Q_DECLARE_METATYPE(mivo::SelectionState)
