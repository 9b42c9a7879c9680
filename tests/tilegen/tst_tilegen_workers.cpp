// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "core/BackgroundFlusher.h"
#include "core/SourcePublisher.h"
#include "core/TileEncoder.h"
#include "core/TileWriter.h"
#include "core/WorkerPool.h"

#include "TestFiles.h"

#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

using namespace mivo::tilegen;

namespace {

// A one-way gate between threads.
class Gate
{
public:
    // Notifies under the lock: once a waiter is through, the opener no longer touches
    // the gate, which may then go out of scope.
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }
    void pass()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
};

// Occupies the pool thread of a two-thread pool with a background job that returns
// once `release` opens, after running `then`.
void holdThePoolThread(WorkerPool& pool, Gate& release, std::function<void()> then = {})
{
    Gate held;
    pool.startBackground([&held, &release, then] {
        held.open();
        release.pass();
        if (then)
            then();
    });
    held.pass();
}

// A 16 x 16 tile whose pixels all hold `value`.
QImage uniformTile(int value)
{
    QImage tile(16, 16, QImage::Format_Indexed8);
    tile.fill(uint(value));
    return tile;
}

} // namespace

class TestTilegenWorkers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneThreadRunsABatchInOrderWhenWaitedFor()
    {
        WorkerPool pool(1);
        QCOMPARE(pool.threadCount(), 1);
        std::vector<int> order;
        std::vector<std::function<void()>> jobs;
        for (int i = 0; i < 5; ++i)
            jobs.emplace_back([&order, i] { order.push_back(i); });
        const auto batch = pool.start(std::move(jobs));
        QVERIFY(order.empty());
        pool.wait(batch);
        QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
    }

    void oneThreadRunsBackgroundJobsAtOnce()
    {
        WorkerPool pool(1);
        bool ran = false;
        pool.startBackground([&ran] { ran = true; });
        QVERIFY(ran);
    }

    void batchJobsRunAtTheSameTime()
    {
        // Each job waits for the other: only two threads at work finish them.
        WorkerPool pool(2);
        Gate first, second;
        pool.runAll({[&] {
                         first.open();
                         second.pass();
                     },
                     [&] {
                         second.open();
                         first.pass();
                     }});
    }

    void waitingRunsQueuedJobs()
    {
        // The pool thread is held by a job that only a later job releases: only a
        // waiting caller that runs queued jobs itself gets through.
        WorkerPool pool(2);
        Gate release;
        holdThePoolThread(pool, release);
        std::atomic<int> batchDone{0};
        const auto batch = pool.start({[&] { ++batchDone; }, [&] { ++batchDone; }});
        pool.startBackground([&] { release.open(); });
        pool.wait(batch); // the batch jobs are ahead of the background jobs
        QCOMPARE(batchDone.load(), 2);
        pool.waitForBackground();
    }

    void backgroundJobsBeyondTheSlotsRunOnTheCaller()
    {
        WorkerPool pool(2); // 16 slots
        Gate release;
        holdThePoolThread(pool, release);
        std::atomic<int> queuedRan{0};
        for (int i = 0; i < 15; ++i)
            pool.startBackground([&] { ++queuedRan; });
        QCOMPARE(queuedRan.load(), 0); // all queued behind the held job
        std::thread::id ranOn;
        pool.startBackground([&ranOn] { ranOn = std::this_thread::get_id(); });
        QCOMPARE(ranOn, std::this_thread::get_id());
        release.open();
        pool.waitForBackground();
        QCOMPARE(queuedRan.load(), 15);
    }

    void cancellingDropsOnlyQueuedBackgroundJobs()
    {
        WorkerPool pool(2);
        Gate release;
        std::atomic<int> ran{0};
        holdThePoolThread(pool, release, [&ran] { ++ran; });
        for (int i = 0; i < 5; ++i)
            pool.startBackground([&] { ++ran; });
        pool.cancelQueued();
        release.open();
        pool.waitForBackground();
        QCOMPARE(ran.load(), 1);
    }

    void flusherFlushesFromSeveralThreads()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        BackgroundFlusher flusher(directory.path(), 1000);
        std::thread other([&flusher] {
            for (int i = 0; i < 200; ++i)
                flusher.written(100);
        });
        for (int i = 0; i < 200; ++i)
            flusher.written(100);
        other.join();
        flusher.flush();
        flusher.written(1 << 20); // after the last flush: nothing starts
        flusher.flush();
    }

    void tileWriterWritesEveryTileFromThePool()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        SourcePublisher publisher(directory.path(), QStringLiteral("source"));
        publisher.prepare();
        const TileEncoder encoder;
        WorkerPool pool(2);
        TileWriter writer(pool, encoder, publisher);
        for (int x = 0; x < 40; ++x)
            writer.write(TileKey{0, 3, x, 7}, uniformTile(x + 1));
        pool.waitForBackground();
        QCOMPARE(writer.tilesWritten(), quint64(40));
        QVERIFY(!writer.failed());
        writer.rethrowFailure(); // nothing to throw
        for (int x = 0; x < 40; ++x) {
            const QString path = publisher.stagingDirectory() + QStringLiteral("/3/7/0/%1.png").arg(x);
            QCOMPARE(testfiles::readBytes(path), encoder.encode(uniformTile(x + 1)));
        }
    }

    void tileWriterKeepsTheFirstFailureAndSkipsTheRest()
    {
        QTemporaryDir directory;
        QVERIFY(directory.isValid());
        QStringList attempts;
        // One thread: background jobs run at once, in order.
        SourcePublisher publisher(directory.path(), QStringLiteral("source"),
                                  [&attempts](const QString& path, const QByteArray& data) {
                                      attempts.append(path.section(QLatin1Char('/'), -1));
                                      if (attempts.size() >= 3)
                                          throw mivo::apps::Error(path,
                                                                  QStringLiteral("disk full %1").arg(attempts.size()));
                                      SourcePublisher::writeFileAtomically(path, data);
                                  });
        publisher.prepare();
        const TileEncoder encoder;
        WorkerPool pool(1);
        TileWriter writer(pool, encoder, publisher);
        for (int x = 0; x < 6; ++x)
            writer.write(TileKey{1, 0, x, 0}, uniformTile(200));
        pool.waitForBackground();
        QCOMPARE(writer.tilesWritten(), quint64(2));
        QVERIFY(writer.failed());
        QCOMPARE(attempts, (QStringList{QStringLiteral("0.png"), QStringLiteral("1.png"), QStringLiteral("2.png")}));
        try {
            writer.rethrowFailure();
            QFAIL("the failure was not rethrown");
        } catch (const mivo::apps::Error& error) {
            QCOMPARE(error.message(), publisher.stagingDirectory() + QStringLiteral("/0/0/1/2.png: disk full 3"));
        }
    }

    void flusherOfAMissingDirectoryDoesNothing()
    {
        BackgroundFlusher flusher(QStringLiteral("/nonexistent/mivo-tilegen"), 1);
        flusher.written(10);
        flusher.flush();
    }
};

QTEST_GUILESS_MAIN(TestTilegenWorkers)
#include "tst_tilegen_workers.moc"
