// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A workspace queried from worker threads, as the item renderer queries it, while the
// GUI thread changes it. Every state the writer leaves behind after any single call
// follows one pattern (items 0..n-1 of one generation g at places computed from k and
// g), so each answer a reader gets from one call can be checked on its own: a torn
// read shows up as mixed generations, gaps in the ids, wrong places or an area that no
// selection could have had.

#include "SdmTestSupport.h"

#include <mivo/sdm/SdmWorkspace.h>

#include <QThread>
#include <QtTest>

#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;
using sdmtest::describe;
using sdmtest::item;
using sdmtest::sameFields;

using Items = QList<SdmWorkspaceItem>;

namespace {

constexpr int maximumItems = 48;
// Generations stay below 400 so that item k always covers x = 1000 k + 450.
constexpr int generations = 400;

QRectF rectFor(int k, int generation)
{
    return QRectF(1000.0 * k + generation, 0.0, 500.0, 100.0 + generation);
}

SdmWorkspaceItem itemFor(int k, int generation)
{
    return item(QString::number(k), rectFor(k, generation), k % 2 == 0, generation % 2 == 1, float(generation));
}

Items itemsFor(int first, int end, int generation)
{
    Items items;
    for (int k = first; k < end; ++k)
        items.append(itemFor(k, generation));
    return items;
}

// The union of items 0..count-1 of one generation.
QRectF unionFor(int count, int generation)
{
    return QRectF(generation, 0.0, 1000.0 * (count - 1) + 500.0, 100.0 + generation);
}

bool sameRect(const QRectF& a, const QRectF& b)
{
    return a.x() == b.x() && a.y() == b.y() && a.width() == b.width() && a.height() == b.height();
}

QString text(const QRectF& rect)
{
    return QStringLiteral("(%1, %2, %3 x %4)").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

// Null when @p items are one generation's items, each where it belongs; with
// @p prefix also when their ids are exactly 0..n-1.
QString checkItems(const Items& items, bool prefix)
{
    if (items.isEmpty())
        return QString();
    const float generation = items.first().userValue;
    QVector<bool> seen(maximumItems, false);
    for (const SdmWorkspaceItem& each : items) {
        bool isNumber = false;
        const int k = each.id.toInt(&isNumber);
        if (!isNumber || k < 0 || k >= maximumItems || seen.at(k))
            return QStringLiteral("unexpected or repeated id in ") + describe(each);
        seen[k] = true;
        if (!sameFields(each, itemFor(k, int(generation))))
            return QStringLiteral("mixed or misplaced item ") + describe(each);
    }
    if (prefix) {
        for (int k = 0; k < items.size(); ++k) {
            if (!seen.at(k))
                return QStringLiteral("gap at id %1 among %2 items").arg(k).arg(items.size());
        }
    }
    return QString();
}

// Null when @p rect is the union of items 0..n-1 of one generation for some n >= 1,
// or @p empty (the null rectangle or the inverted box, whichever applies).
QString checkUnion(const QRectF& rect, const std::function<bool(const QRectF&)>& isEmpty)
{
    if (isEmpty(rect))
        return QString();
    const double count = (rect.width() - 500.0) / 1000.0 + 1.0;
    const double generation = rect.x();
    if (count < 1 || count > maximumItems || count != std::floor(count) || generation < 0 || generation >= generations
        || generation != std::floor(generation) || !sameRect(rect, unionFor(int(count), int(generation)))) {
        return QStringLiteral("no selection or index could span ") + text(rect);
    }
    return QString();
}

bool isNullRect(const QRectF& rect)
{
    return sameRect(rect, QRectF());
}

bool isInvertedBox(const QRectF& rect)
{
    return rect.x() == DBL_MAX && rect.y() == DBL_MAX && rect.width() == -INFINITY && rect.height() == -INFINITY;
}

// Runs @p read in @p readerCount threads until @p write, called with the round number
// in this thread, has run @p minimumRounds rounds and every reader has read
// @p minimumReads times while the writer ran. Returns the readers' complaints.
QStringList readWhileWriting(int readerCount, const std::function<QString(int reader, int round)>& read,
                             const std::function<void(int round)>& write, int minimumRounds, int minimumReads)
{
    std::atomic<bool> stop{false};
    std::vector<std::unique_ptr<std::atomic<int>>> reads;
    std::vector<QStringList> complaints(static_cast<std::size_t>(readerCount));
    std::vector<std::thread> readers;
    for (int r = 0; r < readerCount; ++r)
        reads.push_back(std::make_unique<std::atomic<int>>(0));
    for (int r = 0; r < readerCount; ++r) {
        readers.emplace_back([&, r] {
            for (int round = 0; !stop.load(); ++round) {
                const QString complaint = read(r, round);
                if (!complaint.isNull() && complaints[std::size_t(r)].size() < 10)
                    complaints[std::size_t(r)].append(complaint);
                reads[std::size_t(r)]->fetch_add(1);
            }
        });
    }
    const auto slowestReader = [&reads] {
        int slowest = INT_MAX;
        for (const auto& count : reads)
            slowest = std::min(slowest, count->load());
        return slowest;
    };
    // Every reader is running before the first change.
    while (slowestReader() == 0)
        QThread::yieldCurrentThread();
    const int readsBefore = slowestReader();
    int round = 0;
    while (round < minimumRounds || slowestReader() - readsBefore < minimumReads)
        write(round++);
    stop.store(true);
    for (std::thread& reader : readers)
        reader.join();
    QStringList all;
    for (const QStringList& each : complaints)
        all += each;
    return all;
}

} // namespace

class TestSdmWorkspaceThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void checksRecogniseTornAnswers()
    {
        // The checks themselves: consistent answers pass, torn ones do not.
        QVERIFY(checkItems(itemsFor(0, 5, 7), true).isNull());
        QVERIFY(checkItems({}, true).isNull());
        QVERIFY(!checkItems(itemsFor(0, 3, 7) + itemsFor(3, 5, 8), true).isNull());
        QVERIFY(!checkItems(itemsFor(1, 5, 7), true).isNull());
        QVERIFY(checkItems(itemsFor(1, 5, 7), false).isNull());
        Items moved = itemsFor(0, 2, 7);
        moved[1].rect.translate(1, 0);
        QVERIFY(!checkItems(moved, false).isNull());
        QVERIFY(checkUnion(unionFor(3, 11), isNullRect).isNull());
        QVERIFY(checkUnion(QRectF(), isNullRect).isNull());
        QVERIFY(!checkUnion(unionFor(3, 11) | rectFor(5, 12), isNullRect).isNull());
        QVERIFY(!checkUnion(QRectF(11, 0, 2499, 111), isNullRect).isNull());
    }

    void readersSeeWholeStatesWhileTheGuiThreadChangesTheWorkspace()
    {
        SdmWorkspace workspace(QStringLiteral("ws"));
        const SdmWorkspaceItem never = item(QStringLiteral("never"), QRectF(0, 0, 1, 1));

        const auto read = [&](int reader, int round) -> QString {
            const int k = (round + reader) % maximumItems;
            QString complaint;
            switch (round % 8) {
            case 0:
                complaint = checkItems(workspace.itemsIntersecting(QRectF(-1e9, -1e9, 2e9, 2e9)), true);
                break;
            case 1:
                // A prefix too: items further right start later.
                complaint = checkItems(workspace.itemsIntersecting(QRectF(0, 0, 10000, 50)), true);
                break;
            case 2: {
                const Items at = workspace.itemsAt(QPointF(1000.0 * k + 450.0, 50.0));
                complaint = checkItems(at, false);
                if (complaint.isNull() && (at.size() > 1 || (at.size() == 1 && at.first().id != QString::number(k))))
                    complaint = QStringLiteral("%1 items at item %2").arg(at.size()).arg(k);
                break;
            }
            case 3:
                complaint = checkItems(workspace.selectedItems(), true);
                break;
            case 4:
                complaint = checkUnion(workspace.selectedItemsArea(), isNullRect);
                break;
            case 5:
                complaint = checkUnion(workspace.extents(), isInvertedBox);
                if (complaint.isNull())
                    complaint = checkUnion(workspace.realExtents(), isInvertedBox);
                break;
            case 6: {
                const int size = workspace.selectionSize();
                const int count = workspace.itemCount();
                if (size < 0 || size > maximumItems || count < 0 || count > maximumItems)
                    complaint = QStringLiteral("selection of %1, %2 items").arg(size).arg(count);
                break;
            }
            default:
                workspace.hasMarkedItems();
                workspace.isSelected(itemFor(k, 0));
                if (workspace.isSelected(never))
                    complaint = QStringLiteral("an item that was never selected is selected");
                break;
            }
            return complaint;
        };

        const auto write = [&](int round) {
            const int generation = round % generations;
            const int next = (round + 1) % generations;
            // Forget every id, so that the ids added below are new.
            workspace.removeItems(itemsFor(0, maximumItems, generation));
            const int loaded = 1 + round % 24;
            workspace.setItems(itemsFor(0, loaded, generation));
            const int total = loaded + round % 8;
            workspace.addItems(itemsFor(loaded, total, generation));
            const int selected = 1 + round % total;
            workspace.selectItems(itemsFor(0, selected, generation), false, true);
            workspace.deselectItems(itemsFor((selected + 1) / 2, selected, generation));
            workspace.selectItems(itemsFor((selected + 1) / 2, selected, generation), true, false);
            workspace.updateItems(itemsFor(0, total, next));
            workspace.removeItems(itemsFor(total - round % 3, total, next));
            if (round % 5 == 0)
                workspace.clearSelection();
            if (round % 7 == 0)
                workspace.setItems({});
        };

        const QStringList complaints = readWhileWriting(3, read, write, 400, 400);
        QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join(QLatin1Char('\n'))));
    }

    void readersSeeWholeBulkLoads()
    {
        // Large indexes replaced at once: a reader sees all of one load or all of the next.
        constexpr int count = 4000;
        std::vector<Items> loads;
        for (int generation = 0; generation < 2; ++generation) {
            Items items;
            for (int i = 0; i < count; ++i) {
                const QRectF rect((i % 100) * 10.0 + generation, (i / 100) * 10.0, 5.0, 5.0);
                items.append(
                    item(QStringLiteral("g%1-%2").arg(generation).arg(i), rect, i % 3 == 0, false, float(generation)));
            }
            loads.push_back(items);
        }
        SdmWorkspace workspace(QStringLiteral("ws"));
        workspace.setItems(loads[0]);

        const auto read = [&](int, int round) -> QString {
            const Items all = round % 2 == 0 ? workspace.itemsIntersecting(QRectF(-10, -10, 2000, 2000))
                                             : workspace.itemsWithin(QRectF(-10, -10, 2000, 2000));
            if (all.size() != count)
                return QStringLiteral("%1 items instead of %2").arg(all.size()).arg(count);
            const float generation = all.first().userValue;
            const QString prefix = QStringLiteral("g%1-").arg(int(generation));
            for (const SdmWorkspaceItem& each : all) {
                if (each.userValue != generation || !each.id.startsWith(prefix))
                    return QStringLiteral("mixed loads: ") + describe(each);
            }
            if (!workspace.hasMarkedItems())
                return QStringLiteral("no marked items");
            return QString();
        };
        const auto write = [&](int round) { workspace.setItems(loads[std::size_t((round + 1) % 2)]); };

        const QStringList complaints = readWhileWriting(2, read, write, 40, 20);
        QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join(QLatin1Char('\n'))));
    }
};

QTEST_GUILESS_MAIN(TestSdmWorkspaceThreads)
#include "tst_sdmworkspace_threads.moc"
