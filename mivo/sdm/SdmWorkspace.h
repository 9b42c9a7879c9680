// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QList>
#include <QMetaType>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <memory>

namespace mivo::sdm {

/**
 * A named collection of items (emissions) in value space, with a spatial index for
 * point and rectangle queries, a selection, the set of marked items and an optional
 * declared extent.
 *
 * Thread safety: every public function except sortItemByZOrder() holds the
 * workspace's reader-writer lock for its whole body (queries share it, changes hold
 * it alone), so a worker thread may query while the GUI thread changes the workspace.
 * Each call is atomic by itself; a sequence of calls is not. The lock is not
 * recursive.
 *
 * Not a QObject: nothing is emitted. After changing a workspace, the host announces it
 * through SdmWorkspaceRepository::workspaceChanged() or workspaceSelectionChanged().
 * Shared as std::shared_ptr<SdmWorkspace>.
 *
 * Items are indexed by their rectangle as given: the box runs from (x, y) to
 * (x + width, y + height), not normalised. Identity is the id (see SdmWorkspaceItem).
 * Query results come in the index's traversal order, which callers must not rely on.
 *
 * An item whose box has a NaN coordinate is stored by id (and marked) like any other
 * but left out of the index, where it would make its neighbours unfindable: no query
 * finds it and itemCount() does not count it.
 */
class MIVO_EXPORT SdmWorkspace
{
public:
    explicit SdmWorkspace(const QString& id);
    ~SdmWorkspace();

    /// The id given to the constructor; it never changes.
    const QString& id() const;
    /// The number of values in the index (an id given twice to setItems() counts twice).
    int itemCount() const;

    /**
     * Replaces the indexed contents by @p items, bulk-loading the index. Clears the
     * selection and the marked set, then marks the items whose `marked` is set.
     *
     * Kept as designed: the selected items area keeps its value, and ids stored
     * earlier stay known to addItems(), updateItems() and removeItems() even when
     * @p items no longer holds them (addItems() skips them, updateItems() adds them).
     */
    void setItems(const QList<SdmWorkspaceItem>& items);
    /**
     * Inserts the items one at a time. An item whose id is already known (stored now,
     * given to setItems() before, or earlier in @p items) is skipped entirely. The
     * selection is not touched.
     */
    void addItems(const QList<SdmWorkspaceItem>& items);
    /**
     * Replaces each stored item of the same id by the given one (re-indexed at its new
     * rectangle, marked as the new item says). An unknown id is added. The selection
     * and the selected items area are not touched: updated items stay selected.
     */
    void updateItems(const QList<SdmWorkspaceItem>& items);
    /**
     * Takes the items of the given ids out of the index, the selection and the marked
     * set; unknown ids change nothing in the index but still leave the selection and
     * the marked set. The selected items area is kept as it was, still covering
     * removed items, until a selection change recomputes it.
     */
    void removeItems(const QList<SdmWorkspaceItem>& items);

    /// The items whose closed rectangle contains @p point, borders included.
    QList<SdmWorkspaceItem> itemsAt(const QPointF& point);
    /**
     * The items whose closed rectangle overlaps @p rect (normalised first): touching
     * borders count. Empty for an empty workspace.
     */
    QList<SdmWorkspaceItem> itemsIntersecting(const QRectF& rect);
    /**
     * The items lying inside @p rect (normalised first), borders included. An item of
     * zero width or zero height is never returned, on purpose.
     */
    QList<SdmWorkspaceItem> itemsWithin(const QRectF& rect);

    /**
     * Adds each item to the selection when its id is not selected yet; otherwise, with
     * @p toggle, removes it. With @p clearFirst the selection is emptied first (so with
     * both set an id listed twice ends deselected). When the selection changed, the
     * selected items area becomes the union of the rectangles of the selected copies.
     * Returns whether the set of selected ids changed.
     */
    bool selectItems(const QList<SdmWorkspaceItem>& items, bool toggle, bool clearFirst);
    /// Removes the items' ids from the selection; returns whether that changed it.
    bool deselectItems(const QList<SdmWorkspaceItem>& items);
    /**
     * Empties the selection; returns whether it held anything. Kept as designed: the
     * selected items area keeps its value.
     */
    bool clearSelection();
    /// The selected items, as the copies given to selectItems(), in no defined order.
    QList<SdmWorkspaceItem> selectedItems();
    int selectionSize() const;
    /**
     * The union of the rectangles of the selection as it was at its last change by
     * selectItems() or deselectItems(); null until the first such change.
     */
    QRectF selectedItemsArea();
    /// Whether an item with the id of @p item is selected.
    bool isSelected(const SdmWorkspaceItem& item) const;
    /// Whether any stored item was marked when it was stored.
    bool hasMarkedItems() const;

    /// The extents set by setExtents() when their width and height are positive,
    /// otherwise realExtents().
    QRectF extents();
    /**
     * The bounding box of the index. For an empty index that is the inverted box from
     * (DBL_MAX, DBL_MAX) to (-DBL_MAX, -DBL_MAX): a rectangle at (DBL_MAX, DBL_MAX) of
     * width and height -infinity, which is invalid. Callers test for it: QRectF's
     * contains() and intersects() normalise it to one reaching from -infinity to
     * DBL_MAX, which holds nearly every point.
     */
    QRectF realExtents();
    /// Stores the declared extents (null by default).
    void setExtents(const QRectF& extents);

    /**
     * Sorts @p items by ascending area (width x height), so the front-most item, the
     * smallest, comes first; equal areas keep no defined order. Items whose area is
     * not a number come last. Reads nothing of the workspace and takes no lock.
     */
    void sortItemByZOrder(QList<SdmWorkspaceItem>& items) const;

private:
    Q_DISABLE_COPY(SdmWorkspace)

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace mivo::sdm

Q_DECLARE_METATYPE(std::shared_ptr<mivo::sdm::SdmWorkspace>)
