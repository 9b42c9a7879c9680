// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <quillo/TranslationCenter.h>

#include <QTest>
#include <QThread>

#include <memory>

#include <vector>

class TestTranslationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        // Each test starts from an empty registry.
        TranslationCenter& center = TranslationCenter::Instance();
        for (const QString& context : center.registeredContexts()) {
            while (center.registeredContexts().contains(context))
                center.Unregister(context);
        }
        QVERIFY(center.registeredContexts().isEmpty());
    }

    void instanceIsOneObjectPerProcess() { QCOMPARE(&TranslationCenter::Instance(), &TranslationCenter::Instance()); }

    void registerMakesTheContextKnown()
    {
        TranslationCenter::Instance().Register(QStringLiteral("Alpha"));
        QCOMPARE(TranslationCenter::Instance().registeredContexts(), QStringList{QStringLiteral("Alpha")});
    }

    void unregisterForgetsTheContext()
    {
        TranslationCenter& center = TranslationCenter::Instance();
        center.Register(QStringLiteral("Alpha"));
        center.Unregister(QStringLiteral("Alpha"));
        QVERIFY(center.registeredContexts().isEmpty());
    }

    void contextRegisteredTwiceStaysUntilUnregisteredTwice()
    {
        TranslationCenter& center = TranslationCenter::Instance();
        center.Register(QStringLiteral("Alpha"));
        center.Register(QStringLiteral("Alpha"));
        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Alpha")});
        center.Unregister(QStringLiteral("Alpha"));
        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Alpha")});
        center.Unregister(QStringLiteral("Alpha"));
        QVERIFY(center.registeredContexts().isEmpty());
    }

    void unregisteringAnUnknownContextDoesNothing()
    {
        TranslationCenter& center = TranslationCenter::Instance();
        center.Register(QStringLiteral("Alpha"));
        center.Unregister(QStringLiteral("Beta"));
        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Alpha")});
        // An extra unregister does not leave a debt that swallows the next register.
        center.Unregister(QStringLiteral("Alpha"));
        center.Unregister(QStringLiteral("Alpha"));
        center.Register(QStringLiteral("Alpha"));
        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Alpha")});
    }

    void contextsAreListedSortedAndOnce()
    {
        TranslationCenter& center = TranslationCenter::Instance();
        center.Register(QStringLiteral("Gamma"));
        center.Register(QStringLiteral("Alpha"));
        center.Register(QStringLiteral("Gamma"));
        center.Register(QStringLiteral("Beta"));
        QCOMPARE(center.registeredContexts(),
                 (QStringList{QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")}));
    }

    void concurrentRegistrationsAreCounted()
    {
        // Eight threads register and unregister the same contexts at once; every
        // reference must be counted, or the balance at the end is off.
        TranslationCenter& center = TranslationCenter::Instance();
        constexpr int threadCount = 8;
        constexpr int rounds = 5000;
        std::vector<std::unique_ptr<QThread>> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back(QThread::create([&center, t] {
                const QString shared = QStringLiteral("Shared");
                const QString own = QStringLiteral("Own%1").arg(t);
                for (int i = 0; i < rounds; ++i) {
                    center.Register(shared);
                    center.Register(own);
                    center.registeredContexts();
                    center.Unregister(own);
                }
                // Leave one reference of the shared context per thread.
                for (int i = 0; i < rounds - 1; ++i)
                    center.Unregister(shared);
            }));
        }
        for (auto& thread : threads)
            thread->start();
        for (auto& thread : threads)
            QVERIFY(thread->wait(60000));

        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Shared")});
        for (int t = 0; t < threadCount - 1; ++t)
            center.Unregister(QStringLiteral("Shared"));
        QCOMPARE(center.registeredContexts(), QStringList{QStringLiteral("Shared")});
        center.Unregister(QStringLiteral("Shared"));
        QVERIFY(center.registeredContexts().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestTranslationCenter)
#include "tst_translationcenter.moc"
