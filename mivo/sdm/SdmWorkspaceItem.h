// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QHashFunctions>
#include <QMetaType>
#include <QRectF>
#include <QString>

class QDebug;

namespace mivo::sdm {

/**
 * One item (an emission) of a workspace: a rectangle in value space, x spanning
 * frequency (Hz) and y time (seconds since the epoch).
 *
 * Identity is the id alone: operator== and qHash look at nothing else, so sets of
 * items (a selection, the marked items) hold one copy per id, and the other fields of
 * that copy may be older than the item a workspace stores now.
 */
struct SdmWorkspaceItem
{
    QString id;
    /// The area in value coordinates; stored and indexed as given, never normalised.
    QRectF rect;
    /// Marked items are drawn at full opacity while unmarked ones are dimmed.
    bool marked = false;
    /// Flagged items are drawn with the second pen and brush.
    bool flagged = false;
    /// The host's own value, carried and copied with the item; the library never reads it.
    float userValue = 0.0f;
};

/// Compares the ids only.
inline bool operator==(const SdmWorkspaceItem& a, const SdmWorkspaceItem& b)
{
    return a.id == b.id;
}

inline bool operator!=(const SdmWorkspaceItem& a, const SdmWorkspaceItem& b)
{
    return !(a == b);
}

/// The hash of the id.
inline uint qHash(const SdmWorkspaceItem& item, uint seed = 0) noexcept
{
    return qHash(item.id, seed);
}

/// Prints every field: SdmWorkspaceItem("a", QRectF(1,2 3x4), marked true, flagged false, userValue 2.5).
MIVO_EXPORT QDebug operator<<(QDebug debug, const SdmWorkspaceItem& item);

} // namespace mivo::sdm

Q_DECLARE_METATYPE(mivo::sdm::SdmWorkspaceItem)
