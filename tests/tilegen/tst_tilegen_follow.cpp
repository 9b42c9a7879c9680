// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// mivo-tilegen --follow end to end: mivo-synth --stream piped into it and served by
// nginx to the library's loader and provider, a test rtl_tcp server, a file still
// being written, readers polling while it publishes, and retention.

#include "TestFiles.h"

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileProvider.h>

#include <NginxServer.h>

#include <QDirIterator>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <cmath>

using namespace mivo::tiling;
using testfiles::readBytes;

namespace {

const QString tilegenPath = QStringLiteral(TILEGEN_EXECUTABLE);
const QString synthPath = QStringLiteral(SYNTH_EXECUTABLE);

// How long to wait for what the generator and the synthesizer do: publish, grow,
// finish. The generator needs seconds of CPU for seconds of signal, which a loaded
// machine (the stress run: load 40 on 2 cores) hands out slowly, and ThreadSanitizer
// makes it many times slower still; the pipeline has then taken over 120 s to finish
// 5 s of signal. Every wait ends as soon as what it waits for has happened.
#if defined(__SANITIZE_THREAD__)
constexpr int patienceMs = 1800000;
#else
constexpr int patienceMs = 600000;
#endif

// synth --stream piped into tilegen --follow; `synthOptions` and `tilegenOptions` are
// inserted as they are (no quoting needed for the values used here).
void startPipeline(QProcess& process, const QString& synthOptions, const QString& tilegenOptions)
{
    process.start(
        QStringLiteral("bash"),
        {QStringLiteral("-c"),
         QStringLiteral("set -o pipefail; \"$0\" --stream %1 - | \"$1\" --follow %2").arg(synthOptions, tilegenOptions),
         synthPath, tilegenPath});
}

struct Extents
{
    bool valid = false;
    double xMin = 0, xMax = 0, yMin = 0, yMax = 0;
};

// Reads tileextents.json; invalid when missing. A document that is there but broken
// fails the test: the file is only ever replaced whole.
Extents readExtents(const QString& sourceDir)
{
    Extents extents;
    const QByteArray bytes = readBytes(sourceDir + QStringLiteral("/tileextents.json"));
    if (bytes.isEmpty())
        return extents;
    QJsonParseError error;
    const QJsonObject root = QJsonDocument::fromJson(bytes, &error).object();
    if (error.error != QJsonParseError::NoError) {
        qWarning("broken extents: %s", bytes.constData());
        return extents;
    }
    extents.valid = true;
    extents.xMin = root.value(QStringLiteral("x")).toObject().value(QStringLiteral("min")).toDouble();
    extents.xMax = root.value(QStringLiteral("x")).toObject().value(QStringLiteral("max")).toDouble();
    extents.yMin = root.value(QStringLiteral("y")).toObject().value(QStringLiteral("min")).toDouble();
    extents.yMax = root.value(QStringLiteral("y")).toObject().value(QStringLiteral("max")).toDouble();
    return extents;
}

int rowsWithData(const QImage& image)
{
    int rows = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelIndex(x, y) != 0) {
                ++rows;
                break;
            }
        }
    }
    return rows;
}

// cu8 samples of a complex tone at `offset` of the sample rate, from sample `first`.
QByteArray cu8Tone(qint64 first, qint64 count, double offset)
{
    QByteArray bytes(int(count * 2), Qt::Uninitialized);
    for (qint64 n = 0; n < count; ++n) {
        const double phase = 2 * M_PI * offset * double(first + n);
        bytes[int(2 * n)] = char(qBound(0, int(std::lround(127.5 + 100 * std::cos(phase))), 255));
        bytes[int(2 * n + 1)] = char(qBound(0, int(std::lround(127.5 + 100 * std::sin(phase))), 255));
    }
    return bytes;
}

QByteArray rtlTcpHeader()
{
    QByteArray header("RTL0");
    char numbers[8];
    qToBigEndian(quint32(5), numbers); // tuner type: R820T
    qToBigEndian(quint32(29), numbers + 4); // gain steps
    return header + QByteArray(numbers, 8);
}

QByteArray command(quint8 code, quint32 value)
{
    char bytes[5];
    bytes[0] = char(code);
    qToBigEndian(value, bytes + 1);
    return QByteArray(bytes, 5);
}

} // namespace

class TestTilegenFollow : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    static void finishWithin(QProcess& process, int ms)
    {
        if (!process.waitForFinished(ms)) {
            process.kill();
            process.waitForFinished();
            QFAIL("the process did not finish");
        }
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void pipelineGrowsThePyramidThatNginxServes()
    {
        if (!NginxServer::isAvailable())
            QSKIP("nginx is not installed");
        const QString out = path(QStringLiteral("pipeline"));
        QVERIFY(QDir().mkpath(out));
        NginxServer nginx(out);
        QString error;
        QVERIFY2(nginx.start(&error), qPrintable(error));

        QProcess pipeline;
        // The stream starts where a level-4 tile (8.388608 s) starts, so all of it
        // lies in that tile.
        startPipeline(pipeline, QStringLiteral("--sample-rate 250k --duration 5"),
                      QStringLiteral("--datatype cf32 --sample-rate 250k --center-frequency 100M --start-time 8388.608 "
                                     "--publish-interval 1 -q - ")
                          + out);
        QVERIFY(pipeline.waitForStarted());
        const QString source = out + QStringLiteral("/live");
        QTRY_VERIFY_WITH_TIMEOUT(readExtents(source).valid, patienceMs);
        const QJsonObject descriptor
            = QJsonDocument::fromJson(readBytes(source + QStringLiteral("/tiledescriptor.json"))).object();
        QCOMPARE(descriptor.value(QStringLiteral("updateInterval")).toDouble(), 1000.0);

        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        provider.setTileSource(nginx.baseUrl() + QStringLiteral("/live"));
        QTRY_VERIFY_WITH_TIMEOUT(provider.tileSystem().isValid(), patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(provider.tileSystem().extents().height() > 0, patienceMs);
        const QRectF first = provider.tileSystem().extents();
        QCOMPARE(first.left(), 99875000.0);
        QCOMPARE(first.right(), 100125000.0);

        // The tile at the newest edge at level 4 is partial now.
        const double newest = first.bottom();
        const TileId edge = provider.tileSystem().valueToTileId(QPointF(100e6, newest - 0.001), 0, 4);
        provider.setRequiredTiles({edge});
        QTRY_VERIFY_WITH_TIMEOUT(provider.cache().contains(edge), patienceMs);
        const std::shared_ptr<Tile> before = provider.tile(edge);
        const int rowsBefore = rowsWithData(before->image);
        QVERIFY(rowsBefore > 0);

        // The host polls the extents (as the descriptor's updateInterval asks) and
        // reloads the band that grew.
        QTimer poll;
        connect(&poll, &QTimer::timeout, &loader, &ITileLoader::loadTileExtents);
        poll.start(200);
        QTRY_VERIFY_WITH_TIMEOUT(provider.tileSystem().extents().bottom() > newest + 0.5, patienceMs);
        const QRectF grown = provider.tileSystem().extents();
        QCOMPARE(grown.top(), first.top());
        provider.reloadTiles(QRectF(grown.left(), newest - 0.01, grown.width(), grown.bottom() - newest + 0.01));
        QVERIFY(provider.reloadingTiles().contains(edge));
        QTRY_VERIFY_WITH_TIMEOUT(provider.tile(edge) != before, patienceMs);
        const int rowsAfter = rowsWithData(provider.tile(edge)->image);
        QVERIFY2(rowsAfter > rowsBefore, qPrintable(QStringLiteral("%1 -> %2").arg(rowsBefore).arg(rowsAfter)));
        // Every row that held data still does.
        for (int y = 0; y < before->image.height(); ++y) {
            bool had = false;
            bool has = false;
            for (int x = 0; x < before->image.width(); ++x) {
                had = had || before->image.pixelIndex(x, y) != 0;
                has = has || provider.tile(edge)->image.pixelIndex(x, y) != 0;
            }
            QVERIFY(!had || has);
        }

        finishWithin(pipeline, patienceMs);
        QCOMPARE(pipeline.exitStatus(), QProcess::NormalExit);
        QCOMPARE(pipeline.exitCode(), 0);
        // The last publication holds all five seconds (frames of 1024 samples, a hop
        // of 512: (1250000 - 1024) / 512 + 1 = 2440 rows of 2.048 ms).
        const Extents last = readExtents(source);
        QVERIFY(last.valid);
        QVERIFY2(std::fabs((last.yMax - last.yMin) - 2440 * 0.002048) < 1e-6,
                 qPrintable(QString::number(last.yMax - last.yMin, 'g', 12)));
        QCOMPARE(
            QJsonDocument::fromJson(readBytes(out + QStringLiteral("/tilesources.json"))).toVariant().toStringList(),
            QStringList{QStringLiteral("live")});
    }

    void rtlTcpReceiverIsFollowedAcrossADroppedConnection()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        QList<QByteArray> commands;
        int connections = 0;
        qint64 sent = 0;
        const qint64 perConnection = 250000 / 2; // half a second at 250 kS/s
        const QByteArray expected = command(0x02, 250000) + command(0x01, 433920000);
        connect(&server, &QTcpServer::newConnection, this, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            const int index = connections++;
            commands.append(QByteArray());
            socket->write(rtlTcpHeader());
            // Once the tuner is set: half a second of a tone a quarter of the band
            // above the centre. The first connection then drops; the second stays.
            connect(socket, &QTcpSocket::readyRead, socket, [&, socket, index] {
                commands[index] += socket->readAll();
                if (commands[index].size() < expected.size())
                    return;
                socket->write(cu8Tone(sent, perConnection, 0.25));
                sent += perConnection;
                if (index == 0)
                    socket->disconnectFromHost();
            });
        });

        const QString out = path(QStringLiteral("rtl"));
        QProcess tilegen;
        tilegen.start(tilegenPath,
                      {QStringLiteral("--follow"), QStringLiteral("--sample-rate"), QStringLiteral("250k"),
                       QStringLiteral("--center-frequency"), QStringLiteral("433.92M"),
                       QStringLiteral("--publish-interval"), QStringLiteral("0.2"), QStringLiteral("-q"),
                       QStringLiteral("rtl_tcp://127.0.0.1:%1").arg(server.serverPort()), out});
        QVERIFY(tilegen.waitForStarted());
        QTRY_COMPARE_WITH_TIMEOUT(connections, 2, patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(commands.value(1), expected, patienceMs);
        QCOMPARE(commands.value(0), expected);
        // Rows of level 0 with data in the tone's column (433.92 MHz + 62.5 kHz), and
        // whether the tone stands far above a column beside it in each of them.
        const QString source = out + QStringLiteral("/rtl_tcp");
        const double xBase = 250000.0 / 1024;
        const qint64 toneColumn = qint64(std::floor((433920000.0 + 62500.0) / xBase));
        const qint64 quietColumn = qint64(std::floor((433920000.0 - 62500.0) / xBase));
        QStringList quieter;
        const auto toneRows = [&] {
            quieter.clear();
            int rows = 0;
            QDirIterator it(source + QStringLiteral("/0"), {QStringLiteral("*.png")}, QDir::Files,
                            QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString file = it.next();
                if (!file.endsWith(QStringLiteral("/0/%1.png").arg(toneColumn / 256)))
                    continue;
                const QImage tile = testfiles::decodeTile(readBytes(file));
                const QImage quietTile = testfiles::decodeTile(readBytes(
                    file.left(file.lastIndexOf(QLatin1Char('/'))) + QStringLiteral("/%1.png").arg(quietColumn / 256)));
                if (tile.isNull() || quietTile.isNull())
                    continue; // replaced between listing and reading
                for (int y = 0; y < tile.height(); ++y) {
                    const int tone = tile.pixelIndex(int(toneColumn % 256), y);
                    if (tone == 0)
                        continue;
                    ++rows;
                    if (tone <= quietTile.pixelIndex(int(quietColumn % 256), y) + 50)
                        quieter.append(file);
                }
            }
            return rows;
        };
        // Both halves are published: 2 * ((125000 - 1024) / 512 + 1) = 486 rows. Waited
        // for by their rows, not by the extents: those also span the time between the
        // two connections (each stream starts at its arrival), which grows with the
        // reconnection's delay on a loaded machine.
        QTRY_COMPARE_WITH_TIMEOUT(toneRows(), 486, patienceMs);
        tilegen.terminate(); // SIGTERM: publish and leave
        finishWithin(tilegen, patienceMs);
        QCOMPARE(tilegen.exitStatus(), QProcess::NormalExit);
        QCOMPARE(tilegen.exitCode(), 0);
        const QString messages = QString::fromLocal8Bit(tilegen.readAllStandardError());
        QVERIFY2(messages.contains(QStringLiteral("connection lost; trying again in 0.25 s")), qPrintable(messages));

        const Extents extents = readExtents(source);
        QCOMPARE(extents.xMin, 433920000.0 - 125000.0);
        QCOMPARE(extents.xMax, 433920000.0 + 125000.0);
        QVERIFY(extents.yMax - extents.yMin >= 486 * 0.002048 - 1e-6);
        QCOMPARE(toneRows(), 486);
        QVERIFY2(quieter.isEmpty(), qPrintable(quieter.join(QLatin1Char(' '))));
    }

    void readersNeverSeeHalfWrittenFiles()
    {
        const QString out = path(QStringLiteral("atomic"));
        QProcess pipeline;
        startPipeline(pipeline, QStringLiteral("--sample-rate 250k --duration 3"),
                      QStringLiteral(
                          "--datatype cf32 --sample-rate 250k --center-frequency 100M --publish-interval 0.1 -q - ")
                          + out);
        QVERIFY(pipeline.waitForStarted());
        const QString source = out + QStringLiteral("/live");
        int documents = 0;
        int tiles = 0;
        QSet<QByteArray> versions;
        while (pipeline.state() != QProcess::NotRunning) {
            const QByteArray extents = readBytes(source + QStringLiteral("/tileextents.json"));
            if (!extents.isEmpty()) {
                QJsonParseError error;
                QVERIFY2(QJsonDocument::fromJson(extents, &error).isObject(), extents.constData());
                ++documents;
                versions.insert(extents);
            }
            QDirIterator it(source, {QStringLiteral("*.png")}, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString file = it.next();
                const QByteArray png = readBytes(file);
                if (png.isEmpty())
                    continue; // removed between listing and reading
                QImage image;
                QVERIFY2(image.loadFromData(png, "PNG"), qPrintable(file));
                QCOMPARE(image.size(), QSize(256, 256));
                ++tiles;
            }
            pipeline.waitForFinished(5);
        }
        QCOMPARE(pipeline.exitCode(), 0);
        QVERIFY(documents > 5);
        QVERIFY(versions.size() > 5);
        QVERIFY(tiles > 100);
    }

    void retentionDropsTileRowsBeforeTheWindow()
    {
        const QString out = path(QStringLiteral("retain"));
        QProcess pipeline;
        // --start-time 0: frame f's row is f + 1, so the rows are known exactly.
        startPipeline(pipeline, QStringLiteral("--sample-rate 250k --duration 4"),
                      QStringLiteral("--datatype cf32 --sample-rate 250k --start-time 0 --retain 1.5s "
                                     "--publish-interval 0.25 -q - ")
                          + out);
        QVERIFY(pipeline.waitForStarted());
        finishWithin(pipeline, patienceMs);
        QCOMPARE(pipeline.exitCode(), 0);
        const QString source = out + QStringLiteral("/live");
        // (1000000 - 1024) / 512 + 1 = 1952 frames: rows 1..1952 of 2.048 ms; the
        // window is the last 1.5 s.
        const double yBase = 0.002048;
        const Extents extents = readExtents(source);
        QVERIFY(std::fabs(extents.yMax - 1953 * yBase) < 1e-9);
        QVERIFY(std::fabs(extents.yMin - (1953 * yBase - 1.5)) < 1e-9);
        // Level 0 tile rows are 256 rows (0.524 s): rows 0..4 end before the window's
        // start (2.5 s) and are gone; 5..7 remain.
        const QStringList rows = QDir(source + QStringLiteral("/0")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(QSet<QString>(rows.begin(), rows.end()),
                 (QSet<QString>{QStringLiteral("4"), QStringLiteral("5"), QStringLiteral("6"), QStringLiteral("7")}));
        // Level 1 rows hold 1.05 s: row 2 (2.1..3.1 s) and 3 remain.
        const QStringList level1 = QDir(source + QStringLiteral("/1")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        QCOMPARE(QSet<QString>(level1.begin(), level1.end()),
                 (QSet<QString>{QStringLiteral("2"), QStringLiteral("3")}));
    }

    void aGrowingFileIsFollowedUntilStopped()
    {
        const QString file = path(QStringLiteral("growing.cf32"));
        QProcess synth;
        synth.start(synthPath,
                    {QStringLiteral("--stream"), QStringLiteral("--duration"), QStringLiteral("2"),
                     QStringLiteral("--sample-rate"), QStringLiteral("100k"), file});
        QVERIFY(synth.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(file), patienceMs);
        const QString out = path(QStringLiteral("file"));
        QProcess tilegen;
        tilegen.start(tilegenPath,
                      {QStringLiteral("--follow"), QStringLiteral("--sample-rate"), QStringLiteral("100k"),
                       QStringLiteral("--start-time"), QStringLiteral("0"), QStringLiteral("--publish-interval"),
                       QStringLiteral("0.2"), QStringLiteral("-q"), file, out});
        QVERIFY(tilegen.waitForStarted());
        finishWithin(synth, patienceMs);
        QCOMPARE(synth.exitCode(), 0);
        // (200000 - 1024) / 512 + 1 = 389 frames: rows 1..389 of 5.12 ms.
        const QString source = out + QStringLiteral("/growing");
        QTRY_VERIFY_WITH_TIMEOUT(std::fabs(readExtents(source).yMax - 390 * 0.00512) < 1e-9, patienceMs);
        QCOMPARE(tilegen.state(), QProcess::Running); // a file never ends by itself
        tilegen.terminate();
        finishWithin(tilegen, patienceMs);
        QCOMPARE(tilegen.exitCode(), 0);
        QVERIFY(std::fabs(readExtents(source).yMin - 0.00512) < 1e-9);
    }

    void streamThatEndsBeforeOneFrameIsAnError()
    {
        QProcess tilegen;
        tilegen.start(tilegenPath,
                      {QStringLiteral("--follow"), QStringLiteral("--datatype"), QStringLiteral("cu8"),
                       QStringLiteral("--sample-rate"), QStringLiteral("1M"), QStringLiteral("--center-frequency"),
                       QStringLiteral("100M"), QStringLiteral("-"), path(QStringLiteral("short"))});
        QVERIFY(tilegen.waitForStarted());
        tilegen.write(QByteArray(100, char(127)));
        tilegen.closeWriteChannel();
        finishWithin(tilegen, patienceMs);
        QCOMPARE(tilegen.exitCode(), 1);
        QCOMPARE(QString::fromLocal8Bit(tilegen.readAllStandardError()),
                 QStringLiteral(
                     "mivo-tilegen: standard input: ended before one FFT frame of 1024 samples; nothing published\n"));
        QVERIFY(!QFileInfo::exists(path(QStringLiteral("short/live"))));
    }

    void followOptionsAreChecked_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no sample rate") << QStringList{QStringLiteral("--follow"), QStringLiteral("-"),
                                                       QStringLiteral("o")}
                                        << QStringLiteral("mivo-tilegen: --follow: needs --sample-rate\n");
        QTest::newRow("interval")
            << QStringList{QStringLiteral("--follow"), QStringLiteral("--sample-rate"),
                           QStringLiteral("1M"),       QStringLiteral("--publish-interval"),
                           QStringLiteral("0"),        QStringLiteral("-"),
                           QStringLiteral("o")}
            << QStringLiteral("mivo-tilegen: --publish-interval: \"0\" is not a number of seconds from 0.05 to 3600\n");
        QTest::newRow("retain")
            << QStringList{QStringLiteral("--follow"), QStringLiteral("--sample-rate"), QStringLiteral("1M"),
                           QStringLiteral("--retain"), QStringLiteral("soon"),          QStringLiteral("-"),
                           QStringLiteral("o")}
            << QStringLiteral("mivo-tilegen: --retain: \"soon\" is not a duration such as 90s, 15m, 24h or 7d\n");
        QTest::newRow("retain without follow") << QStringList{QStringLiteral("--retain"), QStringLiteral("1h"),
                                                              QStringLiteral("a.cu8"), QStringLiteral("o")}
                                               << QStringLiteral("mivo-tilegen: --retain: applies to --follow only\n");
    }

    void followOptionsAreChecked()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QProcess tilegen;
        tilegen.start(tilegenPath, arguments);
        finishWithin(tilegen, patienceMs);
        QCOMPARE(tilegen.exitCode(), 2);
        QCOMPARE(QString::fromLocal8Bit(tilegen.readAllStandardError()), message);
    }
};

QTEST_GUILESS_MAIN(TestTilegenFollow)
#include "tst_tilegen_follow.moc"
