// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspace.h>

#include "DescribedLock_p.h"
#include "SdmMetaTypes_p.h"
#include "ZOrder_p.h"

#include <QMap>
#include <QReadWriteLock>
#include <QSet>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>
#include <vector>

namespace mivo::sdm {

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

using Point = bg::model::point<double, 2, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using IndexValue = std::pair<Box, SdmWorkspaceItem>;
using Index = bgi::rtree<IndexValue, bgi::linear<16, 4>>;

// The rectangle as it is, not normalised: an item of negative width keeps its
// corners where the host put them.
Box boxOf(const QRectF& rect)
{
    return Box(Point(rect.x(), rect.y()), Point(rect.x() + rect.width(), rect.y() + rect.height()));
}

// A NaN corner poisons the bounds of whatever index node holds it (they turn NaN and
// then match no query), and breaks the ordering bulk loading sorts by.
bool isIndexable(const Box& box)
{
    return !std::isnan(box.min_corner().get<0>()) && !std::isnan(box.min_corner().get<1>())
        && !std::isnan(box.max_corner().get<0>()) && !std::isnan(box.max_corner().get<1>());
}

// Collects query hits where they lie in the index, so that the returned list can be
// built in one pass with the next hits' ids fetched ahead.
class HitCollector
{
public:
    using iterator_category = std::output_iterator_tag;
    using value_type = void;
    using difference_type = void;
    using pointer = void;
    using reference = void;

    explicit HitCollector(std::vector<const IndexValue*>& hits)
        : m_hits(&hits)
    {
    }

    HitCollector& operator=(const IndexValue& value)
    {
        m_hits->push_back(&value);
        return *this;
    }
    HitCollector& operator*() { return *this; }
    HitCollector& operator++() { return *this; }
    HitCollector& operator++(int) { return *this; }

private:
    std::vector<const IndexValue*>* m_hits;
};

// A hint only: brings the string's shared header (its reference count) into the cache.
void prefetchForWriting(const QString& text)
{
#if defined(__GNUC__)
    __builtin_prefetch(const_cast<QString&>(text).data_ptr(), 1);
#else
    Q_UNUSED(text)
#endif
}

} // namespace

class SdmWorkspace::Private
{
public:
    explicit Private(const QString& id)
        : id(id)
    {
    }

    // The items the index finds for @p predicate, in the order of its traversal.
    template <typename Predicate> QList<SdmWorkspaceItem> query(const Predicate& predicate)
    {
        std::vector<const IndexValue*> hits;
        QList<SdmWorkspaceItem> items;
        const ReadLocker locker(lock);
        index.query(predicate, HitCollector(hits));
        items.reserve(int(hits.size()));
        const std::size_t count = hits.size();
        for (std::size_t i = 0; i < count; ++i) {
            // Copying an item counts a reference in its id's string data, which lies
            // wherever the host allocated it: with many hits those cache misses cost
            // more than the search, so the strings a few hits ahead are fetched early.
            constexpr std::size_t ahead = 16;
            if (i + ahead < count)
                prefetchForWriting(hits[i + ahead]->second.id);
            items.append(hits[i]->second);
        }
        return items;
    }

    // Takes the item stored under @p id out of the map and lists its value for removal
    // from the index: a default item's when the id is unknown, which is then simply not
    // found there.
    void takeStored(const QString& id, std::vector<IndexValue>& removals)
    {
        const SdmWorkspaceItem stored = itemsById.take(id);
        removals.emplace_back(boxOf(stored.rect), stored);
    }

    // Values that are not in the index (an unknown id's default item, a stale copy)
    // are not found and left alone.
    void removeFromIndex(const std::vector<IndexValue>& values)
    {
        if (index.empty())
            return;
        for (const IndexValue& value : values)
            index.remove(value);
    }

    void insertIntoIndex(const std::vector<IndexValue>& values)
    {
        for (const IndexValue& value : values) {
            if (isIndexable(value.first))
                index.insert(value);
        }
    }

    void recomputeSelectedItemsArea()
    {
        // operator| passes over null rectangles.
        selectedItemsArea = QRectF();
        for (const SdmWorkspaceItem& item : qAsConst(selection))
            selectedItemsArea |= item.rect;
    }

    DescribedLock<QReadWriteLock> lock; // non-recursive: no public function calls another while holding it
    const QString id;
    QRectF extents;
    QSet<SdmWorkspaceItem> marked;
    QMap<QString, SdmWorkspaceItem> itemsById;
    Index index;
    QSet<SdmWorkspaceItem> selection;
    QRectF selectedItemsArea;
};

SdmWorkspace::SdmWorkspace(const QString& id)
    : d(std::make_unique<Private>(id))
{
    registerSdmMetaTypes();
}

SdmWorkspace::~SdmWorkspace() = default;

const QString& SdmWorkspace::id() const
{
    // The id never changes, so handing out the reference after unlocking is safe.
    const ReadLocker locker(d->lock);
    return d->id;
}

int SdmWorkspace::itemCount() const
{
    const ReadLocker locker(d->lock);
    return int(d->index.size());
}

void SdmWorkspace::setItems(const QList<SdmWorkspaceItem>& items)
{
    std::vector<IndexValue> values;
    values.reserve(std::size_t(items.size()));
    Index retired; // the old index, destroyed once the lock is released
    {
        const WriteLocker locker(d->lock);
        d->selection.clear();
        d->marked.clear();
        // Kept: the selected items area stays, and ids of earlier items stay in the map.
        for (const SdmWorkspaceItem& item : items) {
            d->itemsById.insert(item.id, item);
            Box box = boxOf(item.rect);
            if (isIndexable(box))
                values.emplace_back(std::move(box), item);
            if (item.marked)
                d->marked.insert(item);
        }
        Index packed(values.begin(), values.end()); // bulk loading
        d->index.swap(packed);
        retired.swap(packed);
    }
}

void SdmWorkspace::addItems(const QList<SdmWorkspaceItem>& items)
{
    std::vector<IndexValue> values;
    const WriteLocker locker(d->lock);
    for (const SdmWorkspaceItem& item : items) {
        // Any id the map knows is skipped, also one given earlier in the same list.
        if (d->itemsById.contains(item.id))
            continue;
        d->itemsById.insert(item.id, item);
        values.emplace_back(boxOf(item.rect), item);
        if (item.marked)
            d->marked.insert(item);
    }
    d->insertIntoIndex(values);
}

void SdmWorkspace::updateItems(const QList<SdmWorkspaceItem>& items)
{
    std::vector<IndexValue> removals;
    std::vector<IndexValue> insertions;
    removals.reserve(std::size_t(items.size()));
    insertions.reserve(std::size_t(items.size()));
    const WriteLocker locker(d->lock);
    for (const SdmWorkspaceItem& item : items) {
        d->takeStored(item.id, removals);
        d->marked.remove(item);
        d->itemsById.insert(item.id, item);
        insertions.emplace_back(boxOf(item.rect), item);
        if (item.marked)
            d->marked.insert(item);
    }
    d->removeFromIndex(removals);
    d->insertIntoIndex(insertions);
}

void SdmWorkspace::removeItems(const QList<SdmWorkspaceItem>& items)
{
    std::vector<IndexValue> removals;
    removals.reserve(std::size_t(items.size()));
    const WriteLocker locker(d->lock);
    for (const SdmWorkspaceItem& item : items) {
        d->takeStored(item.id, removals);
        d->selection.remove(item);
        d->marked.remove(item);
    }
    d->removeFromIndex(removals);
    // Kept: the selected items area is not recomputed here.
}

QList<SdmWorkspaceItem> SdmWorkspace::itemsAt(const QPointF& point)
{
    return itemsIntersecting(QRectF(point, QSizeF(0.0, 0.0)));
}

QList<SdmWorkspaceItem> SdmWorkspace::itemsIntersecting(const QRectF& rect)
{
    return d->query(bgi::intersects(boxOf(rect.normalized())));
}

QList<SdmWorkspaceItem> SdmWorkspace::itemsWithin(const QRectF& rect)
{
    // The index's within is strict about the item: one of zero width or height is
    // never within anything, which is intended.
    return d->query(bgi::within(boxOf(rect.normalized())));
}

bool SdmWorkspace::selectItems(const QList<SdmWorkspaceItem>& items, bool toggle, bool clearFirst)
{
    const WriteLocker locker(d->lock);
    const QSet<SdmWorkspaceItem> before = d->selection;
    if (clearFirst)
        d->selection.clear();
    for (const SdmWorkspaceItem& item : items) {
        if (!d->selection.contains(item))
            d->selection.insert(item);
        else if (toggle)
            d->selection.remove(item);
    }
    if (d->selection == before)
        return false;
    d->recomputeSelectedItemsArea();
    return true;
}

bool SdmWorkspace::deselectItems(const QList<SdmWorkspaceItem>& items)
{
    const QSet<SdmWorkspaceItem> deselected(items.cbegin(), items.cend());
    const WriteLocker locker(d->lock);
    const QSet<SdmWorkspaceItem> before = d->selection;
    d->selection.subtract(deselected);
    if (d->selection == before)
        return false;
    d->recomputeSelectedItemsArea();
    return true;
}

bool SdmWorkspace::clearSelection()
{
    const WriteLocker locker(d->lock);
    const bool hadSelection = !d->selection.isEmpty();
    d->selection.clear();
    // Kept: the selected items area keeps its value.
    return hadSelection;
}

QList<SdmWorkspaceItem> SdmWorkspace::selectedItems()
{
    const ReadLocker locker(d->lock);
    return d->selection.values();
}

int SdmWorkspace::selectionSize() const
{
    const ReadLocker locker(d->lock);
    return d->selection.size();
}

QRectF SdmWorkspace::selectedItemsArea()
{
    const ReadLocker locker(d->lock);
    return d->selectedItemsArea;
}

bool SdmWorkspace::isSelected(const SdmWorkspaceItem& item) const
{
    const ReadLocker locker(d->lock);
    return d->selection.contains(item);
}

bool SdmWorkspace::hasMarkedItems() const
{
    const ReadLocker locker(d->lock);
    return !d->marked.isEmpty();
}

QRectF SdmWorkspace::extents()
{
    {
        const ReadLocker locker(d->lock);
        if (d->extents.width() > 0 && d->extents.height() > 0)
            return d->extents;
    }
    // Unlocked first: the lock is not recursive and realExtents() takes it itself.
    return realExtents();
}

QRectF SdmWorkspace::realExtents()
{
    Box bounds;
    {
        const ReadLocker locker(d->lock);
        // The inverted box (DBL_MAX to -DBL_MAX) when the index is empty.
        bounds = d->index.bounds();
    }
    return QRectF(QPointF(bounds.min_corner().get<0>(), bounds.min_corner().get<1>()),
                  QPointF(bounds.max_corner().get<0>(), bounds.max_corner().get<1>()));
}

void SdmWorkspace::setExtents(const QRectF& extents)
{
    const WriteLocker locker(d->lock);
    d->extents = extents;
}

void SdmWorkspace::sortItemByZOrder(QList<SdmWorkspaceItem>& items) const
{
    std::sort(items.begin(), items.end(), [](const SdmWorkspaceItem& a, const SdmWorkspaceItem& b) {
        return inFrontByArea(zOrderArea(a.rect), zOrderArea(b.rect));
    });
}

} // namespace mivo::sdm
