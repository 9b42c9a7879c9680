// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/navigation/SelectionManager.h>

#include <QSignalSpy>
#include <QtTest>

using mivo::SelectionManager;
using mivo::SelectionState;

using Emission = navtest::SelectionEmission;

class TestSelectionManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Runs first: nothing in this suite has asked for the state's meta-type id yet.
    void constructionRegistersTheStateForQueuedSignals()
    {
        QCOMPARE(QMetaType::type("mivo::SelectionState"), int(QMetaType::UnknownType));
        const SelectionManager manager;
        QVERIFY(QMetaType::type("mivo::SelectionState") != QMetaType::UnknownType);
        QCOMPARE(QMetaType::type("mivo::SelectionState"), qMetaTypeId<SelectionState>());
    }

    void stateValuesAreFixed()
    {
        static_assert(mivo::SelectionNone == 0);
        static_assert(mivo::SelectionEditing == 1);
        static_assert(mivo::SelectionFinished == 2);
    }

    void startsWithoutSelection()
    {
        const SelectionManager manager;
        QCOMPARE(SelectionManager::staticMetaObject.className(), "mivo::SelectionManager");
        QCOMPARE(manager.parent(), nullptr);
        QCOMPARE(manager.selection(), QRectF());
        QVERIFY(manager.selection().isNull());
        QCOMPARE(manager.state(), mivo::SelectionNone);
        QObject parent;
        const auto* owned = new SelectionManager(&parent);
        QCOMPARE(owned->parent(), &parent);
    }

    void setSelectionStoresAndAnnounces()
    {
        SelectionManager manager;
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.setSelection(QRectF(10, 20, -5, 7), mivo::SelectionEditing);
        QCOMPARE(manager.selection(), QRectF(10, 20, -5, 7));
        QCOMPARE(manager.state(), mivo::SelectionEditing);
        manager.setSelection(QRectF(5, 20, 5, 7), mivo::SelectionFinished);
        QCOMPARE(navtest::selectionEmissions(changed),
                 (QList<Emission>{{QRectF(10, 20, -5, 7), mivo::SelectionEditing},
                                  {QRectF(5, 20, 5, 7), mivo::SelectionFinished}}));
    }

    void setSelectionWithNothingNewEmitsNothing()
    {
        SelectionManager manager;
        manager.setSelection(QRectF(1000, 2000, 300, 400), mivo::SelectionFinished);
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.setSelection(QRectF(1000, 2000, 300, 400), mivo::SelectionFinished);
        // Rectangles compare fuzzily.
        manager.setSelection(QRectF(1000 + 1e-10, 2000, 300, 400 - 1e-11), mivo::SelectionFinished);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(manager.selection(), QRectF(1000, 2000, 300, 400));
        // Only the state changes: announced.
        manager.setSelection(QRectF(1000, 2000, 300, 400), mivo::SelectionEditing);
        // Only the rectangle changes: announced.
        manager.setSelection(QRectF(1000, 2000, 300, 401), mivo::SelectionEditing);
        QCOMPARE(navtest::selectionEmissions(changed),
                 (QList<Emission>{{QRectF(1000, 2000, 300, 400), mivo::SelectionEditing},
                                  {QRectF(1000, 2000, 300, 401), mivo::SelectionEditing}}));
    }

    void setSelectionOnAFreshManagerWithNothingNewEmitsNothing()
    {
        SelectionManager manager;
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.setSelection(QRectF(), mivo::SelectionNone);
        QCOMPARE(changed.count(), 0);
    }

    void clearSelectionAnnouncesOnce()
    {
        SelectionManager manager;
        manager.setSelection(QRectF(1, 2, 3, 4), mivo::SelectionFinished);
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.clearSelection();
        manager.clearSelection();
        QCOMPARE(navtest::selectionEmissions(changed), (QList<Emission>{{QRectF(), mivo::SelectionNone}}));
        QVERIFY(manager.selection().isNull());
        QCOMPARE(manager.state(), mivo::SelectionNone);
    }

    void clearSelectionOfAnEmptyManagerEmitsNothing()
    {
        SelectionManager manager;
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.clearSelection();
        QCOMPARE(changed.count(), 0);
    }

    void clearSelectionLooksAtRectangleAndState_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<int>("state");
        QTest::newRow("null rectangle while editing") << QRectF() << int(mivo::SelectionEditing);
        QTest::newRow("a rectangle without state") << QRectF(1, 2, 3, 4) << int(mivo::SelectionNone);
        QTest::newRow("an empty rectangle away from the origin") << QRectF(5, 6, 0, 0) << int(mivo::SelectionNone);
    }

    void clearSelectionLooksAtRectangleAndState()
    {
        QFETCH(QRectF, rect);
        QFETCH(int, state);
        SelectionManager manager;
        manager.setSelection(rect, SelectionState(state));
        QSignalSpy changed(&manager, &SelectionManager::si_selectionChanged);
        manager.clearSelection();
        QCOMPARE(navtest::selectionEmissions(changed), (QList<Emission>{{QRectF(), mivo::SelectionNone}}));
    }

    void laterReceiversAreToldWhatWasSet()
    {
        SelectionManager manager;
        QList<QRectF> seenBySecond;
        bool changing = false;
        connect(&manager, &SelectionManager::si_selectionChanged, this, [&](const QRectF&, SelectionState) {
            if (changing)
                return;
            changing = true;
            manager.setSelection(QRectF(7, 7, 7, 7), mivo::SelectionFinished);
            changing = false;
        });
        connect(&manager, &SelectionManager::si_selectionChanged, this,
                [&](const QRectF& selection, SelectionState) { seenBySecond.append(selection); });
        manager.setSelection(QRectF(1, 1, 1, 1), mivo::SelectionEditing);
        // The second receiver hears about the nested change first, then about the
        // first one with its own rectangle.
        QCOMPARE(seenBySecond, (QList<QRectF>{QRectF(7, 7, 7, 7), QRectF(1, 1, 1, 1)}));
        QCOMPARE(manager.selection(), QRectF(7, 7, 7, 7));
    }

    void changesCanBeQueued()
    {
        SelectionManager manager;
        QList<Emission> received;
        connect(
            &manager, &SelectionManager::si_selectionChanged, this,
            [&](const QRectF& selection, SelectionState state) {
                received.append({selection, state});
            },
            Qt::QueuedConnection);
        manager.setSelection(QRectF(1, 2, 3, 4), mivo::SelectionFinished);
        QVERIFY(received.isEmpty());
        QTRY_COMPARE(received, (QList<Emission>{{QRectF(1, 2, 3, 4), mivo::SelectionFinished}}));
    }
};

QTEST_MAIN(TestSelectionManager)
#include "tst_selectionmanager.moc"
