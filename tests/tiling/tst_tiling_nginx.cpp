// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The tile data path against a real web server: a pyramid directory served by nginx,
// driven through the library's loader and provider.

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileProvider.h>
#include <mivo/tiling/TileServerProtocol.h>

#include "../common/TestTiles.h"

#include <NginxServer.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace mivo::tiling;
using testtiles::tilePath;

namespace {

// A pyramid of 16-pixel tiles, base value 4, levels 0..2, data over x 0..200 and
// y 1000..1100.
constexpr int tileSize = 16;
constexpr int maxZoom = 2;
const QRectF dataExtents(0, 1000, 200, 100);

QList<TileId> writePyramid(const QString& root, const TileSystem& geometry)
{
    QList<TileId> written;
    testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"),
                         testtiles::descriptorJson(QStringLiteral("nginx"), 4, tileSize, maxZoom));
    testtiles::writeFile(root + QStringLiteral("/tileextents.json"), testtiles::extentsJson(dataExtents));
    for (quint16 z = 0; z <= maxZoom; ++z) {
        for (const TileId& id : geometry.tilesInRange(dataExtents, z, z)) {
            testtiles::writeFile(root + tilePath(id), testtiles::tilePng(id, tileSize));
            written.append(id);
        }
    }
    return written;
}

} // namespace

class TestTilingNginx : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<NginxServer> m_nginx;
    TileSystem m_geometry;
    QList<TileId> m_written;

    QString sourceUrl() const { return m_nginx->baseUrl() + QStringLiteral("/src"); }

private Q_SLOTS:
    void initTestCase()
    {
        if (!NginxServer::isAvailable())
            QSKIP("nginx is not installed (scripts/install-deps installs nginx-light)");
        QVERIFY(m_dir.isValid());
        m_geometry.setTileSystemDescriptor(
            parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("nginx"), 4, tileSize, maxZoom)));
        m_geometry.setExtents(dataExtents);
        m_written = writePyramid(m_dir.path() + QStringLiteral("/src"), m_geometry);
        // Level 0: columns 0..3 x rows 15..17; level 1: 0..1 x 7..8; level 2: 0 x 3..4.
        QCOMPARE(m_written.size(), 12 + 4 + 2);
        m_nginx = std::make_unique<NginxServer>(m_dir.path());
        QString error;
        QVERIFY2(m_nginx->start(&error), qPrintable(error));
    }

    void cleanupTestCase() { m_nginx.reset(); }

    void loaderFetchesDocumentsAndTiles()
    {
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl(sourceUrl()));
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy extents(&loader, &ITileLoader::si_tileSystemExtentsLoaded);
        QSignalSpy loaded(&loader, &ITileLoader::si_tileLoaded);
        QSignalSpy failed(&loader, &ITileLoader::si_tileLoadFailed);
        loader.loadTileSystemDescriptor();
        loader.loadTileExtents();
        for (const TileId& id : qAsConst(m_written))
            loader.loadTile(id, true);
        loader.loadTile(TileId(99, 99, 0, 0), false);
        QTRY_COMPARE(descriptors.count(), 1);
        QTRY_COMPARE(extents.count(), 1);
        QTRY_COMPARE(loaded.count(), m_written.size());
        QTRY_COMPARE(failed.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().xaxis.basevalue, 4.0);
        QCOMPARE(extents.at(0).at(0).toRectF(), dataExtents);
        for (const QList<QVariant>& arguments : qAsConst(loaded)) {
            const auto tile = arguments.at(0).value<std::shared_ptr<Tile>>();
            QCOMPARE(tile->image.size(), QSize(tileSize, tileSize));
            for (int y = 0; y < tileSize; ++y) {
                for (int x = 0; x < tileSize; ++x)
                    QCOMPARE(tile->image.pixelIndex(x, y), testtiles::tilePixelIndex(tile->tileId, x, y));
            }
        }
        QTRY_COMPARE(m_nginx->requestCount(QStringLiteral("/src/0/99/0/99.png")), 1);
    }

    void providerShowsTheSourceFromDescriptorToTiles()
    {
        QHash<QString, int> countsBefore;
        for (const TileId& id : qAsConst(m_written))
            countsBefore.insert(tilePath(id), m_nginx->requestCount(QStringLiteral("/src") + tilePath(id)));
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        provider.setTileSource(sourceUrl());
        // Descriptor, then extents, then the two base tiles of level 2.
        QTRY_VERIFY(provider.tileSystem().isValid());
        QTRY_COMPARE(provider.tileSystem().extents(), dataExtents);
        QTRY_COMPARE(provider.cache().baseSize(), quint64(2));

        // A view of the whole data at level 0.
        const QList<TileId> view = provider.tileSystem().tilesInRange(dataExtents, quint16(0), quint16(0));
        QCOMPARE(view.size(), 12);
        provider.setRequiredTiles(view);
        for (const TileId& id : view)
            QTRY_VERIFY2(provider.cache().contains(id), qPrintable(id.toString()));
        for (const TileId& id : view) {
            const std::shared_ptr<Tile> tile = provider.tile(id);
            QCOMPARE(tile->tileId.toString(), id.toString());
            QCOMPARE(tile->image.pixelIndex(3, 5), testtiles::tilePixelIndex(id, 3, 5));
        }
        // Every tile was fetched once, though neighbours and parents overlap.
        for (const TileId& id : view)
            QTRY_COMPARE(m_nginx->requestCount(QStringLiteral("/src") + tilePath(id)),
                         countsBefore.value(tilePath(id)) + 1);
    }

    void coarserTileStandsInWhileTheExactOneIsMissing()
    {
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        provider.setTileSource(sourceUrl());
        QTRY_COMPARE(provider.cache().baseSize(), quint64(2));
        const TileId missing(2, 16, 0, 0);
        const std::shared_ptr<Tile> stand = provider.tile(missing);
        QVERIFY(stand);
        QCOMPARE(stand->tileId.xZoomLevel, quint16(2));
        QCOMPARE(stand->tileId.yZoomLevel, quint16(2));
    }
};

QTEST_GUILESS_MAIN(TestTilingNginx)
#include "tst_tiling_nginx.moc"
