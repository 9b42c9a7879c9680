// Loading the mivo library into a process registers its translation context with the
// host's registry, unloading it unregisters it. This process does not link mivo; it
// opens the library file at run time as a plug-in host would.

#include <quillo/TranslationCenter.h>

#include <QLibrary>
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
    void nothingIsRegisteredBeforeTheLibraryIsLoaded()
    {
        QVERIFY(!isRegistered());
    }

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
};

QTEST_GUILESS_MAIN(TestLibraryLifetime)
#include "tst_librarylifetime.moc"
