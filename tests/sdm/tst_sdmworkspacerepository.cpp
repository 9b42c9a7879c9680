// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SdmTestSupport.h"

#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QMetaMethod>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <type_traits>
#include <utility>

using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceRepository;
using sdmtest::item;

using WorkspacePtr = std::shared_ptr<SdmWorkspace>;
using WorkspaceList = QList<WorkspacePtr>;

// The queries the handlers call on a repository they hold by const reference.
static_assert(std::is_same_v<decltype(&SdmWorkspaceRepository::activeWorkspace),
                             WorkspacePtr (SdmWorkspaceRepository::*)() const>);
static_assert(std::is_same_v<decltype(&SdmWorkspaceRepository::workspacesAt),
                             WorkspaceList (SdmWorkspaceRepository::*)(const QPointF&) const>);
static_assert(std::is_same_v<decltype(&SdmWorkspaceRepository::sortByZOrder),
                             void (SdmWorkspaceRepository::*)(WorkspaceList&) const>);
static_assert(std::is_default_constructible_v<SdmWorkspaceRepository>);
static_assert(!std::is_copy_constructible_v<SdmWorkspaceRepository>);

namespace {

// A workspace with declared extents.
WorkspacePtr workspace(const QString& id, const QRectF& extents = QRectF())
{
    auto result = std::make_shared<SdmWorkspace>(id);
    result->setExtents(extents);
    return result;
}

// A workspace whose extents are those of its one item (nothing declared).
WorkspacePtr workspaceAround(const QString& id, const QRectF& itemRect)
{
    auto result = std::make_shared<SdmWorkspace>(id);
    result->setItems({item(id + QStringLiteral("-item"), itemRect)});
    return result;
}

// Registers a new workspace for each id, in that order.
WorkspaceList addWorkspaces(SdmWorkspaceRepository& repository, const QStringList& ids)
{
    WorkspaceList added;
    for (const QString& id : ids) {
        added.append(workspace(id));
        repository.addWorkspace(added.last());
    }
    return added;
}

// Registers a workspace "a" and returns it with another workspace of the same id.
std::pair<WorkspacePtr, WorkspacePtr> registeredAndNamesake(SdmWorkspaceRepository& repository)
{
    const WorkspacePtr registered = workspace(QStringLiteral("a"));
    repository.addWorkspace(registered);
    return {registered, workspace(QStringLiteral("a"))};
}

QStringList idsOf(const WorkspaceList& workspaces)
{
    QStringList ids;
    for (const WorkspacePtr& each : workspaces)
        ids.append(each ? each->id() : QStringLiteral("<empty>"));
    return ids;
}

// The workspaces a spy saw, one per emission.
WorkspaceList emitted(const QSignalSpy& spy)
{
    WorkspaceList workspaces;
    for (const QList<QVariant>& arguments : spy) {
        if (arguments.size() != 1)
            return {};
        workspaces.append(qvariant_cast<WorkspacePtr>(arguments.first()));
    }
    return workspaces;
}

// Spies on all five signals of a repository.
struct Spies
{
    explicit Spies(const SdmWorkspaceRepository& repository)
        : added(&repository, &SdmWorkspaceRepository::si_workspaceAdded)
        , removed(&repository, &SdmWorkspaceRepository::si_workspaceRemoved)
        , changed(&repository, &SdmWorkspaceRepository::si_workspaceChanged)
        , selectionChanged(&repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged)
        , activeChanged(&repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged)
    {
    }

    int total() const
    {
        return added.count() + removed.count() + changed.count() + selectionChanged.count() + activeChanged.count();
    }

    QSignalSpy added;
    QSignalSpy removed;
    QSignalSpy changed;
    QSignalSpy selectionChanged;
    QSignalSpy activeChanged;
};

} // namespace

class TestSdmWorkspaceRepository : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Runs first: nothing in this suite has asked for the pointer's meta-type id yet.
    void constructionRegistersTheWorkspacePointerByTheSignalsName()
    {
        QCOMPARE(QMetaType::type("std::shared_ptr<SdmWorkspace>"), int(QMetaType::UnknownType));
        const SdmWorkspaceRepository repository;
        const int id = QMetaType::type("std::shared_ptr<SdmWorkspace>");
        QVERIFY(id != QMetaType::UnknownType);
        QCOMPARE(id, qMetaTypeId<WorkspacePtr>());
        QCOMPARE(QMetaType::type("std::shared_ptr<mivo::sdm::SdmWorkspace>"), id);
    }

    void metaObjectHasTheFiveSignalsInOrderAndNoSlots()
    {
        const QMetaObject& meta = SdmWorkspaceRepository::staticMetaObject;
        QCOMPARE(meta.className(), "mivo::sdm::SdmWorkspaceRepository");
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        const QList<QByteArray> names{"si_workspaceAdded", "si_workspaceRemoved", "si_workspaceChanged",
                                      "si_workspaceSelectionChanged", "si_activeWorkspaceChanged"};
        const QList<QByteArray> argumentNames{"workspace", "workspace", "workspace", "workspace", "activeWorkspace"};
        QCOMPARE(meta.methodCount() - meta.methodOffset(), names.size());
        for (int i = 0; i < names.size(); ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodType(), QMetaMethod::Signal);
            QCOMPARE(method.name(), names.at(i));
            QCOMPARE(method.methodSignature(), names.at(i) + QByteArray("(std::shared_ptr<SdmWorkspace>)"));
            QCOMPARE(method.parameterTypes(), QList<QByteArray>{"std::shared_ptr<SdmWorkspace>"});
            QCOMPARE(method.parameterNames(), QList<QByteArray>{argumentNames.at(i)});
            QCOMPARE(method.parameterType(0), qMetaTypeId<WorkspacePtr>());
        }
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    }

    void newRepositoryIsEmptyAndHasNoParent()
    {
        const SdmWorkspaceRepository repository;
        QCOMPARE(repository.parent(), nullptr);
        QVERIFY(repository.workspaces().isEmpty());
        QVERIFY(!repository.activeWorkspace());
        QVERIFY(!repository.workspace(QStringLiteral("a")));
        QCOMPARE(repository.workspacesExtents(), QRectF());
        QVERIFY(repository.workspacesExtents().isNull());
        QCOMPARE(SdmWorkspaceRepository::tr("Workspace"), QStringLiteral("Workspace"));
    }

    // Registration

    void addWorkspaceRegistersAndAnnounces()
    {
        SdmWorkspaceRepository repository;
        Spies spies(repository);
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(a);
        QCOMPARE(emitted(spies.added), WorkspaceList{a});
        QCOMPARE(spies.total(), 1);
        QCOMPARE(repository.workspace(QStringLiteral("a")), a);
        QCOMPARE(repository.workspaces(), WorkspaceList{a});
        // Shared, not taken: besides the spy's copy, the repository holds one more reference.
        spies.added.clear();
        QCOMPARE(a.use_count(), 2);
    }

    void addingASecondWorkspaceWithARegisteredIdKeepsTheFirst()
    {
        SdmWorkspaceRepository repository;
        const auto [first, second] = registeredAndNamesake(repository);
        Spies spies(repository);
        repository.addWorkspace(second);
        repository.addWorkspace(first);
        QCOMPARE(spies.total(), 0);
        QCOMPARE(repository.workspace(QStringLiteral("a")), first);
        QCOMPARE(repository.workspaces(), WorkspaceList{first});
    }

    void removeWorkspaceUnregistersAndAnnounces()
    {
        SdmWorkspaceRepository repository;
        const WorkspaceList registered = addWorkspaces(repository, {QStringLiteral("a"), QStringLiteral("b")});
        const WorkspacePtr& a = registered.at(0);
        const WorkspacePtr& b = registered.at(1);
        Spies spies(repository);
        repository.removeWorkspace(a);
        QCOMPARE(emitted(spies.removed), WorkspaceList{a});
        QCOMPARE(spies.total(), 1);
        QVERIFY(!repository.workspace(QStringLiteral("a")));
        QCOMPARE(repository.workspaces(), WorkspaceList{b});
        spies.removed.clear();
        QCOMPARE(a.use_count(), 1);
    }

    void removingAnUnregisteredWorkspaceEmitsNothing()
    {
        SdmWorkspaceRepository repository;
        repository.addWorkspace(workspace(QStringLiteral("a")));
        Spies spies(repository);
        repository.removeWorkspace(workspace(QStringLiteral("b")));
        repository.removeWorkspace(WorkspacePtr());
        QCOMPARE(spies.total(), 0);
        QCOMPARE(idsOf(repository.workspaces()), QStringList{"a"});
    }

    void removingAnotherObjectWithARegisteredIdRemovesTheRegisteredOne()
    {
        SdmWorkspaceRepository repository;
        const auto [registered, namesake] = registeredAndNamesake(repository);
        Spies spies(repository);
        repository.removeWorkspace(namesake);
        QVERIFY(!repository.workspace(QStringLiteral("a")));
        // The signal carries the pointer that was passed.
        QCOMPARE(emitted(spies.removed), WorkspaceList{namesake});
        QCOMPARE(spies.total(), 1);
        repository.removeWorkspace(namesake);
        QCOMPARE(spies.total(), 1);
    }

    void emptyPointersAreIgnored()
    {
        SdmWorkspaceRepository repository;
        Spies spies(repository);
        repository.addWorkspace(WorkspacePtr());
        repository.workspaceChanged(WorkspacePtr());
        repository.workspaceSelectionChanged(WorkspacePtr());
        QCOMPARE(spies.total(), 0);
        QVERIFY(repository.workspaces().isEmpty());
    }

    void workspacesComeInAscendingIdOrder()
    {
        SdmWorkspaceRepository repository;
        addWorkspaces(repository, {"m", "b", "z", "a", "B"});
        QCOMPARE(idsOf(repository.workspaces()), (QStringList{"B", "a", "b", "m", "z"}));
    }

    // The active workspace

    void setActivateWorkspaceAnnouncesOnlyAChange()
    {
        SdmWorkspaceRepository repository;
        const WorkspaceList registered = addWorkspaces(repository, {QStringLiteral("a"), QStringLiteral("b")});
        const WorkspacePtr& a = registered.at(0);
        const WorkspacePtr& b = registered.at(1);
        Spies spies(repository);
        repository.setActivateWorkspace(a);
        repository.setActivateWorkspace(a);
        QCOMPARE(repository.activeWorkspace(), a);
        repository.setActivateWorkspace(b);
        QCOMPARE(emitted(spies.activeChanged), (WorkspaceList{a, b}));
        QCOMPARE(spies.total(), 2);
    }

    void activeWorkspaceNeedNotBeRegistered()
    {
        SdmWorkspaceRepository repository;
        Spies spies(repository);
        const WorkspacePtr stranger = workspace(QStringLiteral("s"));
        repository.setActivateWorkspace(stranger);
        QCOMPARE(repository.activeWorkspace(), stranger);
        QVERIFY(repository.workspaces().isEmpty());
        // Another object of the same id is another workspace here: pointers are compared.
        const WorkspacePtr namesake = workspace(QStringLiteral("s"));
        repository.setActivateWorkspace(namesake);
        QCOMPARE(repository.activeWorkspace(), namesake);
        // The host clears it by activating an empty pointer.
        repository.setActivateWorkspace(WorkspacePtr());
        QVERIFY(!repository.activeWorkspace());
        repository.setActivateWorkspace(WorkspacePtr());
        QCOMPARE(emitted(spies.activeChanged), (WorkspaceList{stranger, namesake, WorkspacePtr()}));
        QCOMPARE(spies.total(), 3);
    }

    void removingTheActiveWorkspaceLeavesItActive()
    {
        SdmWorkspaceRepository repository;
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(a);
        repository.setActivateWorkspace(a);
        Spies spies(repository);
        repository.removeWorkspace(a);
        QCOMPARE(repository.activeWorkspace(), a);
        QCOMPARE(emitted(spies.removed), WorkspaceList{a});
        QCOMPARE(spies.activeChanged.count(), 0);
    }

    void receiversOfAnActivationSeeTheWorkspaceThatWasActivated()
    {
        // A receiver that activates another workspace at once does not change what
        // later receivers are told.
        SdmWorkspaceRepository repository;
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        const WorkspacePtr b = workspace(QStringLiteral("b"));
        QObject context;
        WorkspaceList seenLater;
        connect(&repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged, &context,
                [&](const WorkspacePtr& active) {
                    if (active == a)
                        repository.setActivateWorkspace(b);
                });
        connect(&repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged, &context,
                [&](const WorkspacePtr& active) { seenLater.append(active); });
        repository.setActivateWorkspace(a);
        QCOMPARE(seenLater, (WorkspaceList{b, a}));
        QCOMPARE(repository.activeWorkspace(), b);
    }

    // Change announcements

    void changesOfRegisteredWorkspacesAreAnnounced()
    {
        SdmWorkspaceRepository repository;
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(a);
        Spies spies(repository);
        repository.workspaceChanged(a);
        repository.workspaceSelectionChanged(a);
        repository.workspaceSelectionChanged(a);
        QCOMPARE(emitted(spies.changed), WorkspaceList{a});
        QCOMPARE(emitted(spies.selectionChanged), (WorkspaceList{a, a}));
        QCOMPARE(spies.total(), 3);
    }

    void changesOfUnregisteredWorkspacesAreNotAnnounced()
    {
        SdmWorkspaceRepository repository;
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(workspace(QStringLiteral("b")));
        // Not even for the active one.
        repository.setActivateWorkspace(a);
        Spies spies(repository);
        repository.workspaceChanged(a);
        repository.workspaceSelectionChanged(a);
        repository.addWorkspace(a);
        repository.removeWorkspace(a);
        spies.added.clear();
        spies.removed.clear();
        repository.workspaceChanged(a);
        repository.workspaceSelectionChanged(a);
        QCOMPARE(spies.total(), 0);
    }

    void changeAnnouncementsGoById()
    {
        SdmWorkspaceRepository repository;
        const WorkspacePtr namesake = registeredAndNamesake(repository).second;
        Spies spies(repository);
        repository.workspaceChanged(namesake);
        repository.workspaceSelectionChanged(namesake);
        QCOMPARE(emitted(spies.changed), WorkspaceList{namesake});
        QCOMPARE(emitted(spies.selectionChanged), WorkspaceList{namesake});
    }

    void signalsCarryTheWorkspaceThroughQueuedConnections()
    {
        SdmWorkspaceRepository repository;
        QObject receiver;
        WorkspaceList received;
        connect(
            &repository, &SdmWorkspaceRepository::si_workspaceAdded, &receiver,
            [&received](const WorkspacePtr& added) { received.append(added); }, Qt::QueuedConnection);
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(a);
        QVERIFY(received.isEmpty());
        QTRY_COMPARE(received, WorkspaceList{a});
    }

    void signalsReachAReceiverInAnotherThread()
    {
        SdmWorkspaceRepository repository;
        QThread thread;
        QObject receiver;
        receiver.moveToThread(&thread);
        // Written in the receiver's thread, then handed over by the flag.
        QString received;
        std::atomic<bool> delivered{false};
        connect(&repository, &SdmWorkspaceRepository::si_workspaceChanged, &receiver, [&](const WorkspacePtr& changed) {
            received = changed->id()
                + (QThread::currentThread() == &thread ? QStringLiteral(" in the receiver's thread")
                                                       : QStringLiteral(" elsewhere"));
            delivered.store(true, std::memory_order_release);
        });
        const WorkspacePtr a = workspace(QStringLiteral("a"));
        repository.addWorkspace(a);
        // Started once the connection and the workspace are made: thread creation orders
        // them before the thread's first look at them, as ThreadSanitizer can see (Qt's
        // event queue hands them over behind locks it cannot see).
        thread.start();
        repository.workspaceChanged(a);
        QTRY_VERIFY_WITH_TIMEOUT(delivered.load(std::memory_order_acquire), 10000);
        QCOMPARE(received, QStringLiteral("a in the receiver's thread"));
        thread.quit();
        QVERIFY(thread.wait(10000));
    }

    // Geometric queries

    void workspacesAtContainThePoint()
    {
        SdmWorkspaceRepository repository;
        repository.addWorkspace(workspace(QStringLiteral("big"), QRectF(0, 0, 100, 100)));
        repository.addWorkspace(workspace(QStringLiteral("aside"), QRectF(200, 0, 10, 10)));
        repository.addWorkspace(workspace(QStringLiteral("corner"), QRectF(50, 50, 50, 50)));
        repository.addWorkspace(workspaceAround(QStringLiteral("items"), QRectF(40, 40, 20, 20)));
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(55, 55))), (QStringList{"big", "corner", "items"}));
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(205, 5))), QStringList{"aside"});
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(100, 100))), (QStringList{"big", "corner"}));
        QVERIFY(repository.workspacesAt(QPointF(150, 5)).isEmpty());
    }

    void workspacesContainedLieWhollyInside()
    {
        SdmWorkspaceRepository repository;
        repository.addWorkspace(workspace(QStringLiteral("inside"), QRectF(10, 10, 10, 10)));
        repository.addWorkspace(workspace(QStringLiteral("partly"), QRectF(90, 10, 20, 10)));
        repository.addWorkspace(workspace(QStringLiteral("outside"), QRectF(200, 200, 10, 10)));
        repository.addWorkspace(workspace(QStringLiteral("edge"), QRectF(0, 0, 100, 100)));
        QCOMPARE(idsOf(repository.workspacesContained(QRectF(0, 0, 100, 100))), (QStringList{"edge", "inside"}));
    }

    void workspacesWithinIsAnOverlapTest()
    {
        SdmWorkspaceRepository repository;
        repository.addWorkspace(workspace(QStringLiteral("inside"), QRectF(10, 10, 10, 10)));
        repository.addWorkspace(workspace(QStringLiteral("partly"), QRectF(90, 10, 20, 10)));
        repository.addWorkspace(workspace(QStringLiteral("outside"), QRectF(200, 200, 10, 10)));
        repository.addWorkspace(workspace(QStringLiteral("around"), QRectF(-10, -10, 500, 500)));
        repository.addWorkspace(workspace(QStringLiteral("touching"), QRectF(100, 0, 10, 10)));
        // Kept: despite its name, a workspace partly in the rectangle is listed.
        QCOMPARE(idsOf(repository.workspacesWithin(QRectF(0, 0, 100, 100))),
                 (QStringList{"around", "inside", "partly"}));
        QCOMPARE(idsOf(repository.workspacesContained(QRectF(0, 0, 100, 100))), QStringList{"inside"});
    }

    void anEmptyWorkspaceWithoutExtentsLiesNowhere()
    {
        SdmWorkspaceRepository repository;
        repository.addWorkspace(workspace(QStringLiteral("empty")));
        repository.addWorkspace(workspace(QStringLiteral("sized"), QRectF(0, 0, 10, 10)));
        const WorkspacePtr emptied = workspaceAround(QStringLiteral("emptied"), QRectF(0, 0, 5, 5));
        emptied->removeItems({item(QStringLiteral("emptied-item"), QRectF())});
        repository.addWorkspace(emptied);
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(5, 5))), QStringList{"sized"});
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(-1e300, -1e300))), QStringList());
        QCOMPARE(idsOf(repository.workspacesWithin(QRectF(-1e300, -1e300, 2e300, 2e300))), QStringList{"sized"});
        QCOMPARE(idsOf(repository.workspacesContained(QRectF(-1e300, -1e300, 2e300, 2e300))), QStringList{"sized"});
        QCOMPARE(repository.workspacesExtents(), QRectF(0, 0, 10, 10));
        // Once it has items, it lies where they are.
        emptied->addItems({item(QStringLiteral("again"), QRectF(50, 50, 5, 5))});
        QCOMPARE(idsOf(repository.workspacesAt(QPointF(52, 52))), QStringList{"emptied"});
    }

    void workspacesExtentsUniteAllExtents()
    {
        SdmWorkspaceRepository repository;
        QCOMPARE(repository.workspacesExtents(), QRectF());
        repository.addWorkspace(workspace(QStringLiteral("a"), QRectF(0, 0, 10, 10)));
        QCOMPARE(repository.workspacesExtents(), QRectF(0, 0, 10, 10));
        repository.addWorkspace(workspace(QStringLiteral("b"), QRectF(100, -20, 10, 10)));
        repository.addWorkspace(workspaceAround(QStringLiteral("c"), QRectF(-5, 30, 1, 1)));
        QCOMPARE(repository.workspacesExtents(), QRectF(-5, -20, 115, 51));
    }

    void sortByZOrderPutsTheSmallestExtentsFirst()
    {
        const SdmWorkspaceRepository repository;
        const WorkspacePtr large = workspace(QStringLiteral("large"), QRectF(0, 0, 100, 100));
        const WorkspacePtr small = workspace(QStringLiteral("small"), QRectF(10, 10, 5, 5));
        const WorkspacePtr medium = workspaceAround(QStringLiteral("medium"), QRectF(0, 0, 30, 30));
        const WorkspacePtr empty = workspace(QStringLiteral("empty")); // infinite area
        WorkspaceList list{large, WorkspacePtr(), empty, small, medium};
        repository.sortByZOrder(list);
        QCOMPARE(idsOf(list), (QStringList{"small", "medium", "large", "empty", "<empty>"}));
        // Unregistered workspaces sort as well: only their extents count.
        QVERIFY(repository.workspaces().isEmpty());
    }

    void sortByZOrderReadsTheExtentsAsTheyAreNow()
    {
        const SdmWorkspaceRepository repository;
        const WorkspacePtr a = workspace(QStringLiteral("a"), QRectF(0, 0, 10, 10));
        const WorkspacePtr b = workspace(QStringLiteral("b"), QRectF(0, 0, 20, 20));
        WorkspaceList list{b, a};
        repository.sortByZOrder(list);
        QCOMPARE(idsOf(list), (QStringList{"a", "b"}));
        a->setExtents(QRectF(0, 0, 30, 30));
        repository.sortByZOrder(list);
        QCOMPARE(idsOf(list), (QStringList{"b", "a"}));
    }
};

QTEST_GUILESS_MAIN(TestSdmWorkspaceRepository)
#include "tst_sdmworkspacerepository.moc"
