// Tile sources from a real web server: nginx serves a directory into which mivo-tilegen
// wrote two sources from two recordings, next to hand-made faulty sources. The manager
// discovers them, the picker shows them, and a picked source opens in a TileProvider.
// Runs with TZ=UTC and the C locale.

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileProvider.h>
#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include "TileSourceTestSupport.h"

#include <NginxServer.h>

#include <QLayout>
#include <QProcess>
#include <QRegularExpression>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

using namespace mivo::tiling;
using sourcetest::WatchedManager;
using sourcetest::buttonTexts;
using sourcetest::letStrayAnswersArrive;

namespace {

// A recording: a tone over weak deterministic noise, as raw little-endian cf32.
struct Recording
{
    QString id;
    QString name;
    double sampleRate;
    double centre;
    double start;
    int samples;
    double toneOffset;

    // What mivo-tilegen documents for a complex recording: centre +- fs/2, start ..
    // start + samples / fs.
    QRectF extents() const
    {
        return QRectF(centre - sampleRate / 2, start, sampleRate, samples / sampleRate);
    }
};

const Recording alpha{QStringLiteral("alpha"), QStringLiteral("Alpha band"), 48000.0, 100e6, 1704110400.0, 48000, 5000.0};
const Recording beta{QStringLiteral("beta"), QStringLiteral("Beta band"), 96000.0, 433.92e6, 1704200000.5, 48000,
                     -12000.0};

QByteArray cf32Samples(const Recording& recording)
{
    QByteArray bytes;
    bytes.reserve(recording.samples * 8);
    quint32 noise = 12345;
    const auto nextNoise = [&noise] {
        noise = noise * 1664525u + 1013904223u;
        return (float(noise >> 8) / float(1u << 24) - 0.5f) * 1e-3f;
    };
    for (int i = 0; i < recording.samples; ++i) {
        constexpr double pi = 3.14159265358979323846;
        const double phase = 2.0 * pi * recording.toneOffset * i / recording.sampleRate;
        const float iq[2] = {float(0.5 * std::cos(phase)) + nextNoise(), float(0.5 * std::sin(phase)) + nextNoise()};
        bytes.append(reinterpret_cast<const char*>(iq), sizeof iq);
    }
    return bytes;
}

QString runTilegen(const Recording& recording, const QString& input, const QString& output)
{
    QProcess process;
    process.start(QStringLiteral(TILEGEN_EXECUTABLE),
                  {input, output, QStringLiteral("--sample-rate"), QString::number(recording.sampleRate, 'g', 17),
                   QStringLiteral("--center-frequency"), QString::number(recording.centre, 'g', 17),
                   QStringLiteral("--start-time"), QString::number(recording.start, 'f', 3),
                   QStringLiteral("--fft-size"), QStringLiteral("256"), QStringLiteral("--tile-size"),
                   QStringLiteral("64"), QStringLiteral("--source-id"), recording.id, QStringLiteral("--name"),
                   recording.name, QStringLiteral("--quiet")});
    if (!process.waitForFinished(120000))
        return QStringLiteral("mivo-tilegen did not finish");
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QString::fromLocal8Bit(process.readAllStandardError());
    return QString();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestTileSourcesNginx : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<NginxServer> m_nginx;

    QString url(const QString& path) const { return m_nginx->baseUrl() + path; }
    QString file(const QString& path) const { return m_dir.path() + path; }

private Q_SLOTS:
    void initTestCase()
    {
        if (!NginxServer::isAvailable())
            QSKIP("nginx is not installed (scripts/install-deps installs nginx-light)");
        QVERIFY(m_dir.isValid());
        for (const Recording& recording : {alpha, beta}) {
            const QString input = file(QStringLiteral("/%1.cf32").arg(recording.id));
            QVERIFY(testtiles::writeFile(input, cf32Samples(recording)));
            const QString error = runTilegen(recording, input, file(QStringLiteral("/tiles")));
            QVERIFY2(error.isEmpty(), qPrintable(error));
        }

        // Hand-made faults: a listed source without files, a broken descriptor, broken
        // extents; and a discovery document that is no list.
        const QByteArray descriptor = testtiles::descriptorJson(QStringLiteral("ok"), 1.0, 64, 3);
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/faulty/tilesources.json")),
                                     "[\"missing\", \"bad-descriptor\", \"bad-extents\"]"));
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/faulty/bad-descriptor/tiledescriptor.json")),
                                     descriptor.left(descriptor.size() / 2)));
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/faulty/bad-descriptor/tileextents.json")),
                                     testtiles::extentsJson(QRectF(1, 2, 3, 4))));
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/faulty/bad-extents/tiledescriptor.json")), descriptor));
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/faulty/bad-extents/tileextents.json")), "{\"x\": "));
        QVERIFY(testtiles::writeFile(file(QStringLiteral("/notalist/tilesources.json")), "{\"alpha\": true}"));

        m_nginx = std::make_unique<NginxServer>(m_dir.path());
        QString error;
        QVERIFY2(m_nginx->start(&error), qPrintable(error));
    }

    void cleanupTestCase() { m_nginx.reset(); }

    void theGeneratedSourcesAreDiscoveredWithTheirDocuments()
    {
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        const QList<TileSource>& sources = watched.manager.tileSources();
        QCOMPARE(sources.size(), 2);
        for (int i = 0; i < 2; ++i) {
            const Recording& recording = i == 0 ? alpha : beta;
            const TileSource& source = sources.at(i);
            QCOMPARE(source.id, recording.id);
            QCOMPARE(source.name, recording.name);
            QCOMPARE(source.baseUrl, url(QStringLiteral("/tiles/") + recording.id));
            QVERIFY(source.descriptor
                    == parseTileSystemDescriptor(readFile(file(QStringLiteral("/tiles/%1/tiledescriptor.json").arg(recording.id)))));
            QCOMPARE(source.descriptor.name, recording.name);
            QCOMPARE(source.descriptor.xaxis.basevalue, recording.sampleRate / 256);
            QCOMPARE(source.descriptor.xaxis.tilesize, quint16(64));
            QCOMPARE(source.extents, recording.extents());
        }
        letStrayAnswersArrive();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(m_nginx->requestCount(QStringLiteral("/tiles/tilesources.json")), 1);
        for (const Recording& recording : {alpha, beta}) {
            QTRY_COMPARE(m_nginx->requestCount(QStringLiteral("/tiles/%1/tiledescriptor.json").arg(recording.id)), 1);
            QTRY_COMPARE(m_nginx->requestCount(QStringLiteral("/tiles/%1/tileextents.json").arg(recording.id)), 1);
        }
    }

    void thePickerShowsBothAndOpensTheSecond()
    {
        WatchedManager watched;
        TileSourceSelectionWidget picker(watched.manager);
        picker.show();
        QVERIFY(QTest::qWaitForWindowExposed(&picker));
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        QCOMPARE(buttonTexts(picker),
                 QStringList({QStringLiteral("None"),
                              QStringLiteral("Alpha band\n99976.000 KHz - 100024.000 KHz\n"
                                             "01 Jan 24 12:00:00.000 - 01 Jan 24 12:00:01.000"),
                              QStringLiteral("Beta band\n433872.000 KHz - 433968.000 KHz\n"
                                             "02 Jan 24 12:53:20.500 - 02 Jan 24 12:53:21.000")}));

        // The host's part: the picked id's base URL goes to a provider.
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        QObject host;
        connect(&picker, &TileSourceSelectionWidget::si_activeTileSourceChanged, &host,
                [&](const QString& id) { provider.setTileSource(watched.manager.tileSource(id).baseUrl); });
        QSignalSpy picked(&picker, &TileSourceSelectionWidget::si_activeTileSourceChanged);
        auto* second = sourcetest::buttons(picker).at(2);
        QTest::mouseClick(second, Qt::LeftButton);
        QCOMPARE(picked.count(), 1);
        QCOMPARE(picked.at(0).at(0).toString(), QStringLiteral("beta"));
        QVERIFY(second->isChecked());

        QTRY_COMPARE(provider.tileSystem().tileSystemDescriptor().name, beta.name);
        QTRY_COMPARE(provider.tileSystem().extents(), beta.extents());
        // Its data: the coarsest tiles hold the tone, far above the noise.
        QTRY_VERIFY(provider.cache().baseSize() > 0);
        int brightest = 0;
        for (const TileId& id : provider.cache().keys()) {
            const std::shared_ptr<Tile> tile = provider.tile(id);
            for (int y = 0; y < tile->image.height(); ++y) {
                for (int x = 0; x < tile->image.width(); ++x)
                    brightest = std::max(brightest, tile->image.pixelIndex(x, y));
            }
        }
        const TileSystemDescriptor levels;
        // A full-scale tone reads 0 dBFS; at half scale about -6 dB.
        QVERIFY2(levels.minValue + brightest * (levels.maxValue - levels.minValue) / levels.valueSteps > -10.0,
                 qPrintable(QString::number(brightest)));
        QTRY_VERIFY(m_nginx->accessLog().filter(QRegularExpression(QStringLiteral("^/tiles/beta/.*\\.png$"))).size() > 0);
    }

    void faultySourcesGetTheDocumentedDefaults()
    {
        WatchedManager watched;
        TileSourceSelectionWidget picker(watched.manager);
        watched.manager.discoverTileSources(url(QStringLiteral("/faulty")));
        QTRY_COMPARE(watched.changed.count(), 9);
        const QString faulty = url(QStringLiteral("/faulty/"));

        const TileSource missing = watched.manager.tileSource(QStringLiteral("missing"));
        QVERIFY(missing.name.isNull());
        QVERIFY(missing.descriptor == TileSystemDescriptor());
        QCOMPARE(missing.extents, QRectF(0, 0, 0, 0));
        QCOMPARE(missing.baseUrl, faulty + QStringLiteral("missing"));

        const TileSource badDescriptor = watched.manager.tileSource(QStringLiteral("bad-descriptor"));
        QVERIFY(badDescriptor.name.isNull());
        QVERIFY(badDescriptor.descriptor == TileSystemDescriptor());
        QCOMPARE(badDescriptor.extents, QRectF(1, 2, 3, 4));

        const TileSource badExtents = watched.manager.tileSource(QStringLiteral("bad-extents"));
        QCOMPARE(badExtents.name, QStringLiteral("ok"));
        QCOMPARE(badExtents.descriptor.xaxis.tilesize, quint16(64));
        QCOMPARE(badExtents.extents, QRectF(0, 0, 0, 0));

        // Nameless sources cannot be removed; the named one can.
        watched.manager.removeTileSource(QStringLiteral("missing"));
        watched.manager.removeTileSource(QStringLiteral("bad-descriptor"));
        QCOMPARE(watched.changed.count(), 9);
        QCOMPARE(buttonTexts(picker),
                 QStringList({QStringLiteral("None"), QString(), QString(),
                              QStringLiteral("ok\n0.000 KHz - 0.000 KHz\n"
                                             "01 Jan 70 00:00:00.000 - 01 Jan 70 00:00:00.000")}));
        watched.manager.removeTileSource(QStringLiteral("bad-extents"));
        QCOMPARE(watched.changed.count(), 10);
        QCOMPARE(buttonTexts(picker), QStringList({QStringLiteral("None"), QString(), QString()}));
    }

    void discoveryWithoutAListAddsNothing_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("404") << QStringLiteral("/nowhere");
        QTest::newRow("not a list") << QStringLiteral("/notalist");
    }

    void discoveryWithoutAListAddsNothing()
    {
        QFETCH(QString, path);
        WatchedManager watched;
        TileSourceSelectionWidget picker(watched.manager);
        watched.manager.discoverTileSources(url(path));
        QTRY_COMPARE(m_nginx->requestCount(path + QStringLiteral("/tilesources.json")), 1);
        letStrayAnswersArrive();
        QCOMPARE(watched.changed.count(), 0);
        QCOMPARE(buttonTexts(picker), QStringList{QStringLiteral("None")});
    }
};

QTEST_MAIN(TestTileSourcesNginx)
#include "tst_tilesources_nginx.moc"
