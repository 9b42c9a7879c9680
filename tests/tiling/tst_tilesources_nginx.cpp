// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

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

#include "../common/TilegenRecording.h"

#include <NginxServer.h>

#include <TestSupport.h>

#include <QLayout>
#include <QProcess>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

using namespace mivo::tiling;
using sourcetest::buttonTexts;
using sourcetest::WatchedManager;

namespace {

using testtiles::Recording;

const Recording& alpha = testtiles::alphaRecording;
const Recording& beta = testtiles::betaRecording;

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
    testtiles::ServedRecordings m_served;

    QString url(const QString& path) const { return m_served.url(path); }
    QString file(const QString& path) const { return m_served.file(path); }

private Q_SLOTS:
    void initTestCase()
    {
        MIVO_START_SERVED_RECORDINGS(m_served);

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
    }

    void cleanupTestCase() { m_served.nginx.reset(); }

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
                    == parseTileSystemDescriptor(
                        readFile(file(QStringLiteral("/tiles/%1/tiledescriptor.json").arg(recording.id)))));
            QCOMPARE(source.descriptor.name, recording.name);
            QCOMPARE(source.descriptor.xaxis.basevalue, recording.sampleRate / 256);
            QCOMPARE(source.descriptor.xaxis.tilesize, quint16(64));
            QCOMPARE(source.extents, recording.extents());
        }
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(m_served.nginx->requestCount(QStringLiteral("/tiles/tilesources.json")), 1);
        for (const Recording& recording : {alpha, beta}) {
            QTRY_COMPARE(m_served.nginx->requestCount(
                             QStringLiteral("/tiles/%1/tiledescriptor.json").arg(recording.id)),
                         1);
            QTRY_COMPARE(m_served.nginx->requestCount(QStringLiteral("/tiles/%1/tileextents.json").arg(recording.id)),
                         1);
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
        testsupport::clickRadio(second);
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
        QTRY_VERIFY(
            m_served.nginx->accessLog().filter(QRegularExpression(QStringLiteral("^/tiles/beta/.*\\.png$"))).size()
            > 0);
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
        QTRY_COMPARE(m_served.nginx->requestCount(path + QStringLiteral("/tilesources.json")), 1);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 0);
        QCOMPARE(buttonTexts(picker), QStringList{QStringLiteral("None")});
    }
};

QTEST_MAIN(TestTileSourcesNginx)
#include "tst_tilesources_nginx.moc"
