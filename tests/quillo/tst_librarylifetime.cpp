// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Loading the mivo library into a process registers its translation context with the
// host's registry, unloading it unregisters it. This process does not link mivo; it
// opens the library file at run time as a plug-in host would.
//
// Used, then unloaded: a plug-in that loads tiles through mivo's loader and provider
// registers mivo's meta types with QtCore and sends them across threads. Once every
// mivo object is gone, unloading the plug-in unloads mivo as well (its context is
// unregistered); QtCore keeps the type registrations, whose copy and destroy functions
// lie in the unmapped library, but nothing calls them: no value of those types is
// left, and QtCore drops its registry at exit without calling them. The process ends
// cleanly, which CTest checks through the exit code. Not supported: loading mivo again
// in the same process after its types were used. QtCore reuses the first
// registrations, so where the library is mapped at another address (as under
// AddressSanitizer) the first queued TileId calls into unmapped code. (A plug-in must
// not leave a QTimer::singleShot() with a functor pending either: Qt's event
// dispatcher keeps it and calls into the unmapped code at exit; the probe once did.)

#include <quillo/TranslationCenter.h>

#include <QFile>
#include <QLibrary>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

namespace {

const QString libraryContext = QStringLiteral("MshCommandsXml");

bool isRegistered()
{
    return TranslationCenter::Instance().registeredContexts().contains(libraryContext);
}

} // namespace

class TestLibraryLifetime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsRegisteredBeforeTheLibraryIsLoaded() { QVERIFY(!isRegistered()); }

    void loadingRegistersAndUnloadingUnregistersTheContext()
    {
        QLibrary library(QStringLiteral(MIVO_LIBRARY_FILE));
        QVERIFY2(library.load(), qPrintable(library.errorString()));
        QVERIFY(isRegistered());
        QCOMPARE(TranslationCenter::Instance().registeredContexts(), QStringList{libraryContext});

        QVERIFY2(library.unload(), qPrintable(library.errorString()));
        QVERIFY(!isRegistered());
    }

    void aSecondLoadRegistersAgain()
    {
        QLibrary library(QStringLiteral(MIVO_LIBRARY_FILE));
        QVERIFY(library.load());
        QVERIFY(isRegistered());
        QVERIFY(library.unload());
        QVERIFY(!isRegistered());
    }

    void unloadingKeepsARegistrationTheHostMadeItself()
    {
        TranslationCenter::Instance().Register(libraryContext);
        QLibrary library(QStringLiteral(MIVO_LIBRARY_FILE));
        QVERIFY(library.load());
        QVERIFY(library.unload());
        QVERIFY(isRegistered());
        TranslationCenter::Instance().Unregister(libraryContext);
        QVERIFY(!isRegistered());
    }

    void threadsStartingAndEndingWhileLoadedChangeNothing()
    {
        QLibrary library(QStringLiteral(MIVO_LIBRARY_FILE));
        QVERIFY(library.load());
        const QStringList before = TranslationCenter::Instance().registeredContexts();
        std::unique_ptr<QThread> thread(QThread::create([] {}));
        thread->start();
        QVERIFY(thread->wait(10000));
        QCOMPARE(TranslationCenter::Instance().registeredContexts(), before);
        QVERIFY(library.unload());
        QVERIFY(!isRegistered());
    }

    // Last: mivo cannot be loaded again in this process once its types were used.
    void unloadingAfterLoadingTilesThroughTheLibrary()
    {
        QTemporaryDir pyramid;
        QVERIFY(pyramid.isValid());
        QLibrary probe(QStringLiteral(MIVO_LIFETIME_PROBE_FILE));
        QVERIFY2(probe.load(), qPrintable(probe.errorString()));
        QVERIFY(isRegistered());
        using LoadTiles = int (*)(const char*);
        const auto loadTiles = reinterpret_cast<LoadTiles>(probe.resolve("mivoLifetimeProbeLoadTiles"));
        QVERIFY(loadTiles);
        QCOMPARE(loadTiles(QFile::encodeName(pyramid.path()).constData()), 4);
        QVERIFY2(probe.unload(), qPrintable(probe.errorString()));
        QVERIFY(!isRegistered()); // mivo went with the plug-in
    }
};

QTEST_GUILESS_MAIN(TestLibraryLifetime)
#include "tst_librarylifetime.moc"
