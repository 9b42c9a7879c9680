// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SdmTestSupport.h"

#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QMap>
#include <QSet>
#include <QtTest>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;
using sdmtest::describe;
using sdmtest::item;
using sdmtest::sameFields;
using sdmtest::sortedIds;

using Items = QList<SdmWorkspaceItem>;

namespace {

// Why the items at @p point are not exactly @p expected alone; empty when they are.
QString onlyItemAtMismatch(SdmWorkspace& workspace, const QPointF& point, const SdmWorkspaceItem& expected)
{
    const Items found = workspace.itemsAt(point);
    if (found.size() != 1)
        return QStringLiteral("%1 items at the point, expected 1").arg(found.size());
    return sameFields(found.first(), expected) ? QString() : describe(found.first());
}

} // namespace

// The interface the paint, mouse and tooltip handlers are written against.
static_assert(std::is_same_v<decltype(&SdmWorkspace::id), const QString& (SdmWorkspace::*)() const>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::itemCount), int (SdmWorkspace::*)() const>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::setItems), void (SdmWorkspace::*)(const Items&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::addItems), void (SdmWorkspace::*)(const Items&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::updateItems), void (SdmWorkspace::*)(const Items&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::removeItems), void (SdmWorkspace::*)(const Items&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::itemsAt), Items (SdmWorkspace::*)(const QPointF&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::itemsIntersecting), Items (SdmWorkspace::*)(const QRectF&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::itemsWithin), Items (SdmWorkspace::*)(const QRectF&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::selectItems), bool (SdmWorkspace::*)(const Items&, bool, bool)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::deselectItems), bool (SdmWorkspace::*)(const Items&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::clearSelection), bool (SdmWorkspace::*)()>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::selectedItems), Items (SdmWorkspace::*)()>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::selectionSize), int (SdmWorkspace::*)() const>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::selectedItemsArea), QRectF (SdmWorkspace::*)()>);
static_assert(
    std::is_same_v<decltype(&SdmWorkspace::isSelected), bool (SdmWorkspace::*)(const SdmWorkspaceItem&) const>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::hasMarkedItems), bool (SdmWorkspace::*)() const>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::extents), QRectF (SdmWorkspace::*)()>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::realExtents), QRectF (SdmWorkspace::*)()>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::setExtents), void (SdmWorkspace::*)(const QRectF&)>);
static_assert(std::is_same_v<decltype(&SdmWorkspace::sortItemByZOrder), void (SdmWorkspace::*)(Items&) const>);
static_assert(!std::is_copy_constructible_v<SdmWorkspace>);
static_assert(!std::is_convertible_v<QString, SdmWorkspace>);

static_assert(std::is_copy_constructible_v<SdmWorkspaceItem> && std::is_copy_assignable_v<SdmWorkspaceItem>);
static_assert(std::is_same_v<decltype(SdmWorkspaceItem::id), QString>);
static_assert(std::is_same_v<decltype(SdmWorkspaceItem::rect), QRectF>);
static_assert(std::is_same_v<decltype(SdmWorkspaceItem::marked), bool>);
static_assert(std::is_same_v<decltype(SdmWorkspaceItem::flagged), bool>);
static_assert(std::is_same_v<decltype(SdmWorkspaceItem::userValue), float>);

namespace {

// The item of the query tests: x 10..40, y 20..60.
const QRectF probe(10.0, 20.0, 30.0, 40.0);

// The inverted box of an empty index, as a rectangle.
void verifyInvertedBox(const QRectF& rect)
{
    QCOMPARE(rect.x(), DBL_MAX);
    QCOMPARE(rect.y(), DBL_MAX);
    QVERIFY(std::isinf(rect.width()) && rect.width() < 0);
    QVERIFY(std::isinf(rect.height()) && rect.height() < 0);
    QVERIFY(!rect.isValid());
    QVERIFY(!rect.isNull());
    QCOMPARE(rect.right(), -std::numeric_limits<double>::infinity());
    QCOMPARE(rect.bottom(), -std::numeric_limits<double>::infinity());
}

// A workspace holding a, b and c side by side, a and c marked.
void fillThree(SdmWorkspace& workspace)
{
    workspace.setItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10), true),
                        item(QStringLiteral("b"), QRectF(20, 0, 10, 10)),
                        item(QStringLiteral("c"), QRectF(40, 0, 10, 10), true)});
}

// Everything an item may be: one query finds every item with a finite box.
const QRectF everywhere(-1e300, -1e300, 2e300, 2e300);

} // namespace

class TestSdmWorkspace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Items

    void defaultItemIsNullAndZero()
    {
        const SdmWorkspaceItem empty;
        QVERIFY(empty.id.isNull());
        QCOMPARE(empty.rect, QRectF(0, 0, 0, 0));
        QCOMPARE(empty.rect.x(), 0.0);
        QCOMPARE(empty.rect.width(), 0.0);
        QCOMPARE(empty.marked, false);
        QCOMPARE(empty.flagged, false);
        QCOMPARE(empty.userValue, 0.0f);
    }

    void itemFieldsComeInTheirOrder()
    {
        const SdmWorkspaceItem built{QStringLiteral("a"), QRectF(1, 2, 3, 4), true, false, 2.5f};
        QCOMPARE(built.id, QStringLiteral("a"));
        QCOMPARE(built.rect, QRectF(1, 2, 3, 4));
        QCOMPARE(built.marked, true);
        QCOMPARE(built.flagged, false);
        QCOMPARE(built.userValue, 2.5f);
    }

    void itemsAreEqualWhenTheirIdsAre()
    {
        const SdmWorkspaceItem a = item(QStringLiteral("a"), QRectF(1, 2, 3, 4), true, true, 7.0f);
        const SdmWorkspaceItem sameId = item(QStringLiteral("a"), QRectF(9, 9, 9, 9));
        const SdmWorkspaceItem other = item(QStringLiteral("b"), QRectF(1, 2, 3, 4), true, true, 7.0f);
        QVERIFY(a == sameId);
        QVERIFY(!(a != sameId));
        QVERIFY(a != other);
        QVERIFY(!(a == other));
        QCOMPARE(qHash(a), qHash(QStringLiteral("a")));
        QCOMPARE(qHash(a, 99u), qHash(QStringLiteral("a"), 99u));
        QCOMPARE(qHash(a), qHash(sameId));
        const QSet<SdmWorkspaceItem> set{a, sameId, other};
        QCOMPARE(set.size(), 2);
    }

    void itemPrintsEveryField()
    {
        QCOMPARE(describe(item(QStringLiteral("a"), QRectF(1, 2, 3, 4), true, false, 2.5f)),
                 QStringLiteral(
                     "SdmWorkspaceItem(\"a\", QRectF(1,2 3x4), marked true, flagged false, userValue 2.5) "));
    }

    // Construction

    void newWorkspaceIsEmpty()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        QCOMPARE(workspace.id(), QStringLiteral("ws"));
        QCOMPARE(workspace.itemCount(), 0);
        QCOMPARE(workspace.selectionSize(), 0);
        QVERIFY(workspace.selectedItems().isEmpty());
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
        QVERIFY(workspace.selectedItemsArea().isNull());
        QVERIFY(!workspace.hasMarkedItems());
        QVERIFY(workspace.itemsIntersecting(everywhere).isEmpty());
        QVERIFY(workspace.itemsAt(QPointF(0, 0)).isEmpty());
        QVERIFY(workspace.itemsWithin(everywhere).isEmpty());
    }

    void idIsTheOneGivenAndStaysAtItsPlace()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        const QString& id = workspace.id();
        fillThree(workspace);
        workspace.setExtents(QRectF(0, 0, 1, 1));
        QCOMPARE(&workspace.id(), &id);
        QCOMPARE(id, QStringLiteral("ws"));
    }

    // setItems

    void setItemsIndexesEveryItem()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QCOMPARE(workspace.itemCount(), 3);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"a", "b", "c"}));
        const QString mismatch
            = onlyItemAtMismatch(workspace, QPointF(25, 5), item(QStringLiteral("b"), QRectF(20, 0, 10, 10)));
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }

    void setItemsKeepsEveryFieldOfTheItems()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        const SdmWorkspaceItem full = item(QStringLiteral("f"), QRectF(1.5, 2.25, 3.125, 4.0625), true, true, -3.75f);
        workspace.setItems({full});
        const Items found = workspace.itemsIntersecting(everywhere);
        QCOMPARE(found.size(), 1);
        QVERIFY2(sameFields(found.first(), full), qPrintable(describe(found.first())));
    }

    void setItemsReplacesTheIndexedItems()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.setItems({item(QStringLiteral("d"), QRectF(0, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 1);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), QStringList{"d"});
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(45, 5))), QStringList());
        workspace.setItems({});
        QCOMPARE(workspace.itemCount(), 0);
        QVERIFY(workspace.itemsIntersecting(everywhere).isEmpty());
    }

    void setItemsIndexesARepeatedIdTwice()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems(
            {item(QStringLiteral("a"), QRectF(0, 0, 10, 10)), item(QStringLiteral("a"), QRectF(100, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 2);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"a", "a"}));
        QCOMPARE(workspace.itemsAt(QPointF(105, 5)).size(), 1);
        QCOMPARE(workspace.itemsAt(QPointF(5, 5)).size(), 1);
    }

    void setItemsClearsSelectionAndMarksButKeepsTheSelectedArea()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.hasMarkedItems());
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))},
                                      false, false));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));

        workspace.setItems(
            {item(QStringLiteral("a"), QRectF(0, 0, 10, 10)), item(QStringLiteral("x"), QRectF(5, 5, 1, 1))});
        QCOMPARE(workspace.selectionSize(), 0);
        QVERIFY(!workspace.isSelected(item(QStringLiteral("a"), QRectF())));
        QVERIFY(!workspace.hasMarkedItems());
        // Kept: the area of the cleared selection stays.
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
    }

    void setItemsMarksTheMarkedItemsOfTheNewList()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("a"), QRectF(0, 0, 1, 1))});
        QVERIFY(!workspace.hasMarkedItems());
        workspace.setItems(
            {item(QStringLiteral("a"), QRectF(0, 0, 1, 1)), item(QStringLiteral("b"), QRectF(0, 0, 1, 1), true)});
        QVERIFY(workspace.hasMarkedItems());
    }

    void idsOfEarlierItemsStayKnownAfterSetItems()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems(
            {item(QStringLiteral("old"), QRectF(0, 0, 10, 10)), item(QStringLiteral("both"), QRectF(20, 0, 10, 10))});
        workspace.setItems(
            {item(QStringLiteral("both"), QRectF(40, 0, 10, 10)), item(QStringLiteral("new"), QRectF(60, 0, 10, 10))});
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"both", "new"}));

        // Kept: "old" is still known, so adding it does nothing...
        workspace.addItems({item(QStringLiteral("old"), QRectF(100, 0, 10, 10), true)});
        QCOMPARE(workspace.itemCount(), 2);
        QVERIFY(workspace.itemsAt(QPointF(105, 5)).isEmpty());
        QVERIFY(!workspace.hasMarkedItems());

        // ...while updating it adds it.
        workspace.updateItems({item(QStringLiteral("old"), QRectF(100, 0, 10, 10), true)});
        QCOMPARE(workspace.itemCount(), 3);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(105, 5))), QStringList{"old"});
        QVERIFY(workspace.hasMarkedItems());
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"both", "new", "old"}));
    }

    void setItemsAgainWithAnIdTakesTheNewItem()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))});
        workspace.setItems({item(QStringLiteral("a"), QRectF(50, 0, 10, 10))});
        // Removal finds the item at its new place: the map holds the new copy.
        workspace.removeItems({item(QStringLiteral("a"), QRectF())});
        QCOMPARE(workspace.itemCount(), 0);
    }

    // addItems

    void addItemsInsertsNewItems()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.addItems(
            {item(QStringLiteral("a"), QRectF(0, 0, 10, 10)), item(QStringLiteral("b"), QRectF(20, 0, 10, 10), true)});
        QCOMPARE(workspace.itemCount(), 2);
        QVERIFY(workspace.hasMarkedItems());
        fillThree(workspace);
        workspace.addItems(
            {item(QStringLiteral("d"), QRectF(60, 0, 10, 10)), item(QStringLiteral("e"), QRectF(80, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 5);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(QRectF(55, 0, 100, 10))), (QStringList{"d", "e"}));
    }

    void addItemsSkipsAStoredId()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))});
        workspace.addItems({item(QStringLiteral("a"), QRectF(50, 50, 10, 10), true, true, 1.0f)});
        QCOMPARE(workspace.itemCount(), 1);
        QVERIFY(!workspace.hasMarkedItems());
        QVERIFY(workspace.itemsAt(QPointF(55, 55)).isEmpty());
        const QString mismatch
            = onlyItemAtMismatch(workspace, QPointF(5, 5), item(QStringLiteral("a"), QRectF(0, 0, 10, 10)));
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }

    void addItemsTakesTheFirstOfARepeatedId()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.addItems(
            {item(QStringLiteral("a"), QRectF(0, 0, 10, 10)), item(QStringLiteral("a"), QRectF(50, 0, 10, 10), true)});
        QCOMPARE(workspace.itemCount(), 1);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(5, 5))), QStringList{"a"});
        QVERIFY(workspace.itemsAt(QPointF(55, 5)).isEmpty());
        QVERIFY(!workspace.hasMarkedItems());
    }

    void addItemsLeavesTheSelectionAlone()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))}, false, false));
        workspace.addItems({item(QStringLiteral("d"), QRectF(60, 0, 10, 10))});
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"a"});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 10, 10));
        QVERIFY(!workspace.isSelected(item(QStringLiteral("d"), QRectF())));
    }

    void addItemsGrowsABulkLoadedIndex()
    {
        // Enough items to split nodes of 16 many times over, in both ways of loading.
        SdmWorkspace workspace(QStringLiteral("ws"));
        Items first;
        Items second;
        for (int i = 0; i < 500; ++i)
            first.append(item(QStringLiteral("s%1").arg(i), QRectF(i * 10, (i % 7) * 10, 5, 5)));
        for (int i = 0; i < 500; ++i)
            second.append(item(QStringLiteral("t%1").arg(i), QRectF(i * 10, 100 + (i % 5) * 10, 5, 5)));
        workspace.setItems(first);
        workspace.addItems(second);
        QCOMPARE(workspace.itemCount(), 1000);
        QCOMPARE(workspace.itemsIntersecting(everywhere).size(), 1000);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(2502, 102))), QStringList{"t250"});
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(2502, 52))), QStringList{"s250"}); // 250 % 7 = 5
        QCOMPARE(workspace.itemsIntersecting(QRectF(0, 100, 5000, 50)).size(), 500);
    }

    // updateItems

    void updateItemsMovesAnItem()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.updateItems({item(QStringLiteral("b"), QRectF(200, 200, 5, 5), false, true, 4.0f)});
        QCOMPARE(workspace.itemCount(), 3);
        QVERIFY(workspace.itemsAt(QPointF(25, 5)).isEmpty());
        const QString mismatch
            = onlyItemAtMismatch(workspace, QPointF(202, 202),
                                 item(QStringLiteral("b"), QRectF(200, 200, 5, 5), false, true, 4.0f));
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
    }

    void updateItemsAddsAnUnknownId()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.updateItems({item(QStringLiteral("new"), QRectF(100, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 4);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(105, 5))), QStringList{"new"});
        // Now stored: adding it again is skipped.
        workspace.addItems({item(QStringLiteral("new"), QRectF(300, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 4);
    }

    void updateItemsFollowsTheMarkedFlag()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.updateItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))});
        QVERIFY(workspace.hasMarkedItems()); // c still is
        workspace.updateItems({item(QStringLiteral("c"), QRectF(40, 0, 10, 10))});
        QVERIFY(!workspace.hasMarkedItems());
        workspace.updateItems({item(QStringLiteral("b"), QRectF(20, 0, 10, 10), true)});
        QVERIFY(workspace.hasMarkedItems());
    }

    void updatedItemsStaySelectedAsTheirOldCopies()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))},
                                      false, false));
        workspace.updateItems({item(QStringLiteral("b"), QRectF(500, 500, 10, 10))});
        QVERIFY(workspace.isSelected(item(QStringLiteral("b"), QRectF(500, 500, 10, 10))));
        QCOMPARE(workspace.selectionSize(), 2);
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
        const SdmWorkspaceItem selectedB = sdmtest::find(workspace.selectedItems(), QStringLiteral("b"));
        QCOMPARE(selectedB.rect, QRectF(20, 0, 10, 10));
    }

    void updateItemsOfARepeatedIdIndexesBoth()
    {
        // The second update takes the first one's copy out of the map; that copy is not
        // in the index yet, so nothing is removed and both are inserted.
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))});
        workspace.updateItems(
            {item(QStringLiteral("a"), QRectF(100, 0, 10, 10)), item(QStringLiteral("a"), QRectF(200, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 2);
        QVERIFY(workspace.itemsAt(QPointF(5, 5)).isEmpty());
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(105, 5))), QStringList{"a"});
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(205, 5))), QStringList{"a"});
    }

    // removeItems

    void removeItemsTakesItemsOutOfIndexSelectionAndMarks()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))},
                                      false, false));
        // The given copy's rectangle does not matter: the stored one is removed.
        workspace.removeItems({item(QStringLiteral("a"), QRectF(999, 999, 1, 1)), item(QStringLiteral("c"), QRectF())});
        QCOMPARE(workspace.itemCount(), 1);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), QStringList{"b"});
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"b"});
        QVERIFY(!workspace.isSelected(item(QStringLiteral("a"), QRectF())));
        QVERIFY(!workspace.hasMarkedItems());
        // Kept: the area still covers the removed item.
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
        // Removed ids are unknown again: they can be added.
        workspace.addItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))});
        QCOMPARE(workspace.itemCount(), 2);
    }

    void removeItemsOfAnUnknownIdStillLeavesTheSelection()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        const SdmWorkspaceItem ghost = item(QStringLiteral("ghost"), QRectF(0, 0, 10, 10));
        QVERIFY(workspace.selectItems({ghost, item(QStringLiteral("b"), QRectF(20, 0, 10, 10))}, false, false));
        QCOMPARE(workspace.selectionSize(), 2);
        workspace.removeItems({ghost});
        QCOMPARE(workspace.itemCount(), 3);
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"a", "b", "c"}));
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"b"});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
    }

    void removeItemsOfAnIdOnlyTheMapKnowsChangesNothingInTheIndex()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("old"), QRectF(0, 0, 10, 10), true)});
        workspace.setItems({item(QStringLiteral("new"), QRectF(0, 0, 10, 10), true)});
        workspace.removeItems({item(QStringLiteral("old"), QRectF())});
        QCOMPARE(workspace.itemCount(), 1);
        QVERIFY(workspace.hasMarkedItems());
        // The map forgot "old": it can be added again.
        workspace.addItems({item(QStringLiteral("old"), QRectF(20, 0, 10, 10))});
        QCOMPARE(sortedIds(workspace.itemsIntersecting(everywhere)), (QStringList{"new", "old"}));
    }

    void removeItemsOnAnEmptyWorkspaceIsHarmless()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.removeItems({item(QStringLiteral("a"), QRectF(0, 0, 1, 1))});
        workspace.removeItems({});
        QCOMPARE(workspace.itemCount(), 0);
        verifyInvertedBox(workspace.realExtents());
    }

    void removingEveryItemLeavesTheInvertedBox()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.removeItems({item(QStringLiteral("a"), QRectF()), item(QStringLiteral("b"), QRectF()),
                               item(QStringLiteral("c"), QRectF())});
        QCOMPARE(workspace.itemCount(), 0);
        QVERIFY(workspace.itemsIntersecting(everywhere).isEmpty());
        verifyInvertedBox(workspace.realExtents());
        verifyInvertedBox(workspace.extents());
    }

    // Queries

    void itemsIntersectingUsesClosedIntervals_data()
    {
        QTest::addColumn<QRectF>("query");
        QTest::addColumn<bool>("found");
        QTest::newRow("inside") << QRectF(15, 25, 1, 1) << true;
        QTest::newRow("covering") << QRectF(0, 0, 100, 100) << true;
        QTest::newRow("overlapping/left") << QRectF(0, 30, 11, 1) << true;
        QTest::newRow("touching/left") << QRectF(0, 30, 10, 1) << true;
        QTest::newRow("touching/right") << QRectF(40, 30, 5, 1) << true;
        QTest::newRow("touching/top") << QRectF(15, 10, 1, 10) << true;
        QTest::newRow("touching/bottom") << QRectF(15, 60, 1, 5) << true;
        QTest::newRow("touching/corner") << QRectF(40, 60, 5, 5) << true;
        QTest::newRow("zero size on the border") << QRectF(10, 20, 0, 0) << true;
        QTest::newRow("apart/left") << QRectF(0, 30, 9.999, 1) << false;
        QTest::newRow("apart/right") << QRectF(40.001, 30, 5, 1) << false;
        QTest::newRow("apart/top") << QRectF(15, 10, 1, 9.999) << false;
        QTest::newRow("apart/bottom") << QRectF(15, 60.001, 1, 5) << false;
        QTest::newRow("apart/diagonal") << QRectF(41, 61, 5, 5) << false;
        QTest::newRow("negative width/touching") << QRectF(10, 30, -10, 1) << true;
        QTest::newRow("negative size/corner") << QRectF(45, 65, -5, -5) << true;
        QTest::newRow("negative width/apart") << QRectF(9.999, 30, -10, 1) << false;
    }

    void itemsIntersectingUsesClosedIntervals()
    {
        QFETCH(QRectF, query);
        QFETCH(bool, found);
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("probe"), probe)});
        QCOMPARE(sortedIds(workspace.itemsIntersecting(query)), found ? QStringList{"probe"} : QStringList());
        // A query of negative size finds what its normalised form finds.
        QCOMPARE(sortedIds(workspace.itemsIntersecting(query.normalized())),
                 sortedIds(workspace.itemsIntersecting(query)));
    }

    void itemsAtIncludesTheBorders_data()
    {
        QTest::addColumn<QPointF>("point");
        QTest::addColumn<bool>("found");
        QTest::newRow("inside") << QPointF(20, 30) << true;
        QTest::newRow("left border") << QPointF(10, 30) << true;
        QTest::newRow("right border") << QPointF(40, 30) << true;
        QTest::newRow("top border") << QPointF(20, 20) << true;
        QTest::newRow("bottom border") << QPointF(20, 60) << true;
        QTest::newRow("top left corner") << QPointF(10, 20) << true;
        QTest::newRow("bottom right corner") << QPointF(40, 60) << true;
        QTest::newRow("left of it") << QPointF(9.999, 30) << false;
        QTest::newRow("below it") << QPointF(20, 60.001) << false;
    }

    void itemsAtIncludesTheBorders()
    {
        QFETCH(QPointF, point);
        QFETCH(bool, found);
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("probe"), probe)});
        QCOMPARE(sortedIds(workspace.itemsAt(point)), found ? QStringList{"probe"} : QStringList());
    }

    void itemsAtFindsEveryItemUnderThePoint()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("large"), QRectF(0, 0, 100, 100)),
                            item(QStringLiteral("small"), QRectF(40, 40, 10, 10)),
                            item(QStringLiteral("beside"), QRectF(50, 50, 10, 10)),
                            item(QStringLiteral("far"), QRectF(200, 0, 1, 1))});
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(50, 50))), (QStringList{"beside", "large", "small"}));
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(45, 45))), (QStringList{"large", "small"}));
    }

    void itemsWithinIncludesBordersButNeverFlatItems_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<bool>("found");
        QTest::newRow("inside") << QRectF(10, 10, 10, 10) << true;
        QTest::newRow("the query itself") << QRectF(0, 0, 100, 100) << true;
        QTest::newRow("on the left border") << QRectF(0, 10, 10, 10) << true;
        QTest::newRow("on the bottom right corner") << QRectF(90, 90, 10, 10) << true;
        QTest::newRow("sticking out/right") << QRectF(95, 10, 10, 10) << false;
        QTest::newRow("sticking out/top") << QRectF(10, -1, 10, 10) << false;
        QTest::newRow("outside") << QRectF(200, 200, 10, 10) << false;
        QTest::newRow("zero width inside") << QRectF(50, 50, 0, 10) << false;
        QTest::newRow("zero height inside") << QRectF(50, 50, 10, 0) << false;
        QTest::newRow("point inside") << QRectF(50, 50, 0, 0) << false;
        QTest::newRow("zero width on the border") << QRectF(0, 10, 0, 10) << false;
        // Stored as given: its box runs from x 60 down to 50, which is no interior.
        QTest::newRow("negative width inside") << QRectF(60, 10, -10, 10) << false;
    }

    void itemsWithinIncludesBordersButNeverFlatItems()
    {
        QFETCH(QRectF, rect);
        QFETCH(bool, found);
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("i"), rect)});
        const QStringList expected = found ? QStringList{"i"} : QStringList();
        QCOMPARE(sortedIds(workspace.itemsWithin(QRectF(0, 0, 100, 100))), expected);
        // The query is normalised first.
        QCOMPARE(sortedIds(workspace.itemsWithin(QRectF(100, 100, -100, -100))), expected);
        QCOMPARE(sortedIds(workspace.itemsWithin(QRectF(0, 100, 100, -100))), expected);
    }

    void itemsKeepTheirRectangleAsGiven()
    {
        // A negative width is not normalised: the box runs from x 60 to 50, and a query
        // must reach both of its ends to meet it.
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems({item(QStringLiteral("n"), QRectF(60, 10, -10, 10))});
        QCOMPARE(sortedIds(workspace.itemsIntersecting(QRectF(45, 10, 20, 1))), QStringList{"n"});
        QCOMPARE(sortedIds(workspace.itemsIntersecting(QRectF(50, 10, 10, 1))), QStringList{"n"});
        QVERIFY(workspace.itemsAt(QPointF(55, 15)).isEmpty());
        const QRectF bounds = workspace.realExtents();
        QCOMPARE(bounds.x(), 60.0);
        QCOMPARE(bounds.width(), -10.0);
        QCOMPARE(bounds.y(), 10.0);
        QCOMPARE(bounds.height(), 10.0);
    }

    void queriesAgreeWithAScanOverTheSameItems()
    {
        // Random items on a coarse grid (so borders touch often, and some items are
        // flat), loaded and changed in every way; each query must find exactly what a
        // scan with the same closed-interval rules finds.
        std::mt19937 random(20240611);
        std::uniform_int_distribution<int> coordinate(0, 200);
        std::uniform_int_distribution<int> size(0, 20);
        QMap<QString, QRectF> stored;
        const auto makeItem = [&](const QString& id) {
            return item(id, QRectF(coordinate(random), coordinate(random), size(random), size(random)));
        };
        Items initial;
        for (int i = 0; i < 1500; ++i)
            initial.append(makeItem(QStringLiteral("i%1").arg(i)));
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems(initial);
        for (const SdmWorkspaceItem& each : initial)
            stored.insert(each.id, each.rect);
        Items added;
        for (int i = 0; i < 700; ++i)
            added.append(makeItem(QStringLiteral("j%1").arg(i)));
        workspace.addItems(added);
        for (const SdmWorkspaceItem& each : added)
            stored.insert(each.id, each.rect);
        Items updated;
        Items removed;
        for (int i = 0; i < 1500; i += 3)
            updated.append(makeItem(QStringLiteral("i%1").arg(i)));
        for (int i = 1; i < 700; i += 4)
            removed.append(item(QStringLiteral("j%1").arg(i), QRectF()));
        workspace.updateItems(updated);
        workspace.removeItems(removed);
        for (const SdmWorkspaceItem& each : updated)
            stored.insert(each.id, each.rect);
        for (const SdmWorkspaceItem& each : removed)
            stored.remove(each.id);
        QCOMPARE(workspace.itemCount(), stored.size());

        const auto scan = [&stored](auto qualifies) {
            QStringList ids;
            for (auto it = stored.cbegin(); it != stored.cend(); ++it) {
                if (qualifies(it.value()))
                    ids.append(it.key());
            }
            std::sort(ids.begin(), ids.end());
            return ids;
        };
        for (int round = 0; round < 200; ++round) {
            const QRectF query(coordinate(random) - 10, coordinate(random) - 10, size(random) * 3, size(random) * 3);
            const QStringList intersecting = scan([&query](const QRectF& r) {
                return query.left() <= r.right() && r.left() <= query.right() && query.top() <= r.bottom()
                    && r.top() <= query.bottom();
            });
            const QStringList within = scan([&query](const QRectF& r) {
                return query.left() <= r.left() && r.right() <= query.right() && r.left() < r.right()
                    && query.top() <= r.top() && r.bottom() <= query.bottom() && r.top() < r.bottom();
            });
            const QPointF point = query.center();
            const QStringList at = scan([&point](const QRectF& r) {
                return r.left() <= point.x() && point.x() <= r.right() && r.top() <= point.y()
                    && point.y() <= r.bottom();
            });
            QCOMPARE(sortedIds(workspace.itemsIntersecting(query)), intersecting);
            QCOMPARE(sortedIds(workspace.itemsWithin(query)), within);
            QCOMPARE(sortedIds(workspace.itemsAt(point)), at);
        }
    }

    // Selection

    void selectItemsAddsAndReportsAChange()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))}, false, false));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 10, 10));
        QVERIFY(workspace.selectItems({item(QStringLiteral("c"), QRectF(40, 0, 10, 10))}, false, false));
        QCOMPARE(sortedIds(workspace.selectedItems()), (QStringList{"a", "c"}));
        QCOMPARE(workspace.selectionSize(), 2);
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 50, 10));
        QVERIFY(workspace.isSelected(item(QStringLiteral("c"), QRectF())));
        QVERIFY(!workspace.isSelected(item(QStringLiteral("b"), QRectF(20, 0, 10, 10))));
    }

    void selectingSelectedItemsWithoutToggleChangesNothing()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        const Items ab{item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))};
        QVERIFY(workspace.selectItems(ab, false, false));
        QVERIFY(!workspace.selectItems(ab, false, false));
        QVERIFY(!workspace.selectItems({ab.first()}, false, false));
        QVERIFY(!workspace.selectItems({}, false, false));
        QCOMPARE(sortedIds(workspace.selectedItems()), (QStringList{"a", "b"}));
    }

    void selectingSelectedItemsWithToggleDeselectsThem()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        const Items ab{item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))};
        QVERIFY(workspace.selectItems(ab, false, false));
        QVERIFY(workspace.selectItems({ab.last()}, true, false));
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"a"});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 10, 10));
        // Toggling adds what is not selected and removes what is, in one call.
        QVERIFY(workspace.selectItems(ab, true, false));
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"b"});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(20, 0, 10, 10));
        QVERIFY(workspace.selectItems({ab.last()}, true, false));
        QCOMPARE(workspace.selectionSize(), 0);
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
    }

    void selectingWithClearFirstReplacesTheSelection()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))},
                                      false, false));
        QVERIFY(workspace.selectItems({item(QStringLiteral("c"), QRectF(40, 0, 10, 10))}, false, true));
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"c"});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(40, 0, 10, 10));
        // Clearing with nothing given empties the selection.
        QVERIFY(workspace.selectItems({}, false, true));
        QCOMPARE(workspace.selectionSize(), 0);
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
        QVERIFY(!workspace.selectItems({}, false, true));
    }

    void selectingTheSameIdsAfresh()
    {
        // Cleared and refilled with the same ids: no change is reported and the area
        // stays, though the selection now holds the new copies.
        SdmWorkspace workspace(QStringLiteral("ws"));
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))}, false, true));
        QVERIFY(!workspace.selectItems({item(QStringLiteral("a"), QRectF(100, 0, 10, 10))}, false, true));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 10, 10));
        QCOMPARE(workspace.selectedItems().size(), 1);
        QCOMPARE(workspace.selectedItems().first().rect, QRectF(100, 0, 10, 10));
    }

    void clearFirstAndToggleDeselectAnIdListedTwice()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        const SdmWorkspaceItem a = item(QStringLiteral("a"), QRectF(0, 0, 10, 10));
        const SdmWorkspaceItem b = item(QStringLiteral("b"), QRectF(20, 0, 10, 10));
        QVERIFY(workspace.selectItems({b}, false, false));
        QVERIFY(workspace.selectItems({a, a}, true, true));
        QCOMPARE(workspace.selectionSize(), 0);
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
        // Without toggle the second mention leaves it selected.
        QVERIFY(workspace.selectItems({a, a}, false, true));
        QCOMPARE(sortedIds(workspace.selectedItems()), QStringList{"a"});
    }

    void selectionKeepsTheCopiesItWasGiven()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        // The selection takes any copy, stored or not, and keeps the first one per id.
        const SdmWorkspaceItem stale = item(QStringLiteral("a"), QRectF(-50, -50, 5, 5), false, true, 3.0f);
        QVERIFY(workspace.selectItems({stale}, false, false));
        QVERIFY(!workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))}, false, false));
        const Items selected = workspace.selectedItems();
        QCOMPARE(selected.size(), 1);
        QVERIFY2(sameFields(selected.first(), stale), qPrintable(describe(selected.first())));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(-50, -50, 5, 5));
    }

    void selectedAreaPassesOverNullRectangles()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        QVERIFY(workspace.selectItems({item(QStringLiteral("null"), QRectF(0, 0, 0, 0)),
                                       item(QStringLiteral("b"), QRectF(10, 10, 5, 5))},
                                      false, false));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(10, 10, 5, 5));
        // A flat rectangle is not null: it counts.
        QVERIFY(workspace.selectItems({item(QStringLiteral("flat"), QRectF(0, 0, 0, 3))}, false, false));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 15, 15));
    }

    void deselectItemsRemovesByIdAndRecomputesTheArea()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10)),
                                       item(QStringLiteral("c"), QRectF(40, 0, 10, 10))},
                                      false, false));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 50, 10));
        QVERIFY(workspace.deselectItems(
            {item(QStringLiteral("c"), QRectF(999, 0, 1, 1)), item(QStringLiteral("none"), QRectF())}));
        QCOMPARE(sortedIds(workspace.selectedItems()), (QStringList{"a", "b"}));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
        QVERIFY(!workspace.deselectItems({item(QStringLiteral("c"), QRectF())}));
        QVERIFY(!workspace.deselectItems({}));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
        QVERIFY(workspace.deselectItems({item(QStringLiteral("a"), QRectF()), item(QStringLiteral("b"), QRectF())}));
        QCOMPARE(workspace.selectionSize(), 0);
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
    }

    void deselectingRecomputesAnAreaThatRemovalLeft()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10)),
                                       item(QStringLiteral("c"), QRectF(40, 0, 10, 10))},
                                      false, false));
        workspace.removeItems({item(QStringLiteral("c"), QRectF())});
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 50, 10));
        QVERIFY(workspace.deselectItems({item(QStringLiteral("b"), QRectF())}));
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 10, 10));
    }

    void clearSelectionReportsWhetherThereWasOneAndKeepsTheArea()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QVERIFY(!workspace.clearSelection());
        QCOMPARE(workspace.selectedItemsArea(), QRectF());
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10)),
                                       item(QStringLiteral("b"), QRectF(20, 0, 10, 10))},
                                      false, false));
        QVERIFY(workspace.clearSelection());
        QCOMPARE(workspace.selectionSize(), 0);
        QVERIFY(workspace.selectedItems().isEmpty());
        // Kept: the area of the cleared selection stays.
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
        QVERIFY(!workspace.clearSelection());
        QCOMPARE(workspace.selectedItemsArea(), QRectF(0, 0, 30, 10));
    }

    void isSelectedGoesByIdAlone()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        QVERIFY(workspace.selectItems({item(QStringLiteral("a"), QRectF(0, 0, 10, 10))}, false, false));
        QVERIFY(workspace.isSelected(item(QStringLiteral("a"), QRectF(7, 7, 7, 7), true, true, 1.0f)));
        QVERIFY(!workspace.isSelected(item(QStringLiteral("A"), QRectF(0, 0, 10, 10))));
        QVERIFY(!workspace.isSelected(SdmWorkspaceItem()));
    }

    // Marked items

    void hasMarkedItemsFollowsTheMarkedSet()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        QVERIFY(!workspace.hasMarkedItems());
        fillThree(workspace);
        QVERIFY(workspace.hasMarkedItems());
        workspace.removeItems({item(QStringLiteral("a"), QRectF())});
        QVERIFY(workspace.hasMarkedItems());
        workspace.removeItems({item(QStringLiteral("c"), QRectF())});
        QVERIFY(!workspace.hasMarkedItems());
        workspace.addItems({item(QStringLiteral("d"), QRectF(0, 0, 1, 1), true)});
        QVERIFY(workspace.hasMarkedItems());
    }

    // Extents

    void extentsAreTheDeclaredOnesWhenPositive()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        workspace.setExtents(QRectF(-100, -200, 1000, 2000));
        QCOMPARE(workspace.extents(), QRectF(-100, -200, 1000, 2000));
        QCOMPARE(workspace.realExtents(), QRectF(0, 0, 50, 10));
    }

    void extentsFallBackToTheRealExtents_data()
    {
        QTest::addColumn<QRectF>("declared");
        QTest::newRow("null") << QRectF();
        QTest::newRow("zero width") << QRectF(0, 0, 0, 100);
        QTest::newRow("zero height") << QRectF(0, 0, 100, 0);
        QTest::newRow("negative width") << QRectF(100, 0, -100, 100);
        QTest::newRow("negative height") << QRectF(0, 100, 100, -100);
        QTest::newRow("not a number") << QRectF(0, 0, std::nan(""), 100);
    }

    void extentsFallBackToTheRealExtents()
    {
        QFETCH(QRectF, declared);
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems(
            {item(QStringLiteral("a"), QRectF(10, 20, 30, 40)), item(QStringLiteral("b"), QRectF(-5, 100, 10, 1))});
        workspace.setExtents(declared);
        QCOMPARE(workspace.realExtents(), QRectF(-5, 20, 45, 81));
        QCOMPARE(workspace.extents(), QRectF(-5, 20, 45, 81));
    }

    void extentsOfAnEmptyWorkspaceAreTheInvertedBox()
    {
        // The fallback must not take the non-recursive lock twice: this would hang.
        SdmWorkspace workspace(QStringLiteral("ws"));
        verifyInvertedBox(workspace.realExtents());
        verifyInvertedBox(workspace.extents());
        workspace.setItems({});
        verifyInvertedBox(workspace.extents());
    }

    void realExtentsFollowTheItems()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        QCOMPARE(workspace.realExtents(), QRectF(0, 0, 50, 10));
        workspace.updateItems({item(QStringLiteral("b"), QRectF(20, -30, 100, 5))});
        QCOMPARE(workspace.realExtents(), QRectF(0, -30, 120, 40));
        workspace.addItems({item(QStringLiteral("d"), QRectF(-1, 0, 1, 100))});
        QCOMPARE(workspace.realExtents(), QRectF(-1, -30, 121, 130));
    }

    // Z-order

    void sortItemByZOrderPutsTheSmallestFirst()
    {
        const SdmWorkspace workspace(QStringLiteral("ws"));
        Items items{item(QStringLiteral("large"), QRectF(0, 0, 100, 100)),
                    item(QStringLiteral("medium"), QRectF(10, 10, 20, 20)),
                    item(QStringLiteral("small"), QRectF(15, 15, 2, 2)),
                    item(QStringLiteral("wide"), QRectF(0, 0, 1000, 1)),
                    item(QStringLiteral("flat"), QRectF(0, 0, 50, 0))};
        workspace.sortItemByZOrder(items);
        QCOMPARE(sdmtest::idsInOrder(items), (QStringList{"flat", "small", "medium", "wide", "large"}));
    }

    void sortItemByZOrderPutsNegativeAreasFirstAndNaNLast()
    {
        const SdmWorkspace workspace(QStringLiteral("ws"));
        Items items;
        // Enough items that the sort takes its quick paths too.
        for (int i = 0; i < 40; ++i) {
            items.append(item(QStringLiteral("n%1").arg(i), QRectF(0, 0, std::nan(""), 1)));
            items.append(item(QStringLiteral("s%1").arg(100 + i), QRectF(0, 0, 100 + i, 1)));
        }
        items.append(item(QStringLiteral("negative"), QRectF(0, 0, -3, 2)));
        workspace.sortItemByZOrder(items);
        QCOMPARE(items.size(), 81);
        QCOMPARE(items.first().id, QStringLiteral("negative"));
        for (int i = 0; i < 40; ++i) {
            QCOMPARE(items.at(1 + i).id, QStringLiteral("s%1").arg(100 + i));
            QVERIFY(items.at(41 + i).id.startsWith(QLatin1Char('n')));
        }
    }

    void sortItemByZOrderReadsNothingOfTheWorkspace()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        fillThree(workspace);
        Items foreign{item(QStringLiteral("y"), QRectF(0, 0, 3, 3)), item(QStringLiteral("x"), QRectF(0, 0, 2, 2))};
        workspace.sortItemByZOrder(foreign);
        QCOMPARE(sdmtest::idsInOrder(foreign), (QStringList{"x", "y"}));
        Items none;
        workspace.sortItemByZOrder(none);
        QVERIFY(none.isEmpty());
    }

    // Items the index cannot order

    void itemsWithNaNCoordinatesAreKnownButNotIndexed()
    {
        const double nan = std::nan("");
        SdmWorkspace workspace(QStringLiteral("ws"));
        Items items;
        for (int i = 0; i < 200; ++i) {
            items.append(item(QStringLiteral("i%1").arg(i), QRectF(i * 10, 0, 5, 5)));
            if (i % 10 == 0)
                items.append(item(QStringLiteral("nan%1").arg(i), QRectF(i * 10, nan, 5, 5), true));
        }
        workspace.setItems(items);
        QCOMPARE(workspace.itemCount(), 200);
        QVERIFY(workspace.hasMarkedItems());
        // Every finite neighbour is still found.
        QCOMPARE(workspace.itemsIntersecting(everywhere).size(), 200);
        for (int i = 0; i < 200; i += 7)
            QCOMPARE(sortedIds(workspace.itemsAt(QPointF(i * 10 + 2, 2))), QStringList{QStringLiteral("i%1").arg(i)});
        QCOMPARE(workspace.realExtents(), QRectF(0, 0, 1995, 5));

        // Known by id: adding is skipped, updating to a finite place indexes it.
        workspace.addItems({item(QStringLiteral("nan0"), QRectF(0, 100, 5, 5))});
        QCOMPARE(workspace.itemCount(), 200);
        workspace.updateItems(
            {item(QStringLiteral("nan0"), QRectF(0, 100, 5, 5)), item(QStringLiteral("i3"), QRectF(nan, nan, 1, 1))});
        QCOMPARE(workspace.itemCount(), 200);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(2, 102))), QStringList{"nan0"});
        QVERIFY(workspace.itemsAt(QPointF(32, 2)).isEmpty());
        workspace.addItems({item(QStringLiteral("late"), QRectF(nan, 0, 1, 1))});
        QCOMPARE(workspace.itemCount(), 200);
        QCOMPARE(workspace.itemsIntersecting(everywhere).size(), 200);
    }

    void itemsReachingInfinityAreFound()
    {
        const double infinity = std::numeric_limits<double>::infinity();
        SdmWorkspace workspace(QStringLiteral("ws"));
        Items items{item(QStringLiteral("open"), QRectF(100, 0, infinity, 10))};
        for (int i = 0; i < 100; ++i)
            items.append(item(QStringLiteral("i%1").arg(i), QRectF(i * 10, 20, 5, 5)));
        workspace.setItems(items);
        QCOMPARE(workspace.itemCount(), 101);
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(1e300, 5))), QStringList{"open"});
        QCOMPARE(sortedIds(workspace.itemsAt(QPointF(12, 22))), QStringList{"i1"});
    }
};

QTEST_GUILESS_MAIN(TestSdmWorkspace)
#include "tst_sdmworkspace.moc"
