// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>

#include <QDebug>
#include <QHash>
#include <QMap>
#include <QMetaType>
#include <QSet>
#include <QTest>
#include <QVariant>

using mivo::tiling::Tile;
using mivo::tiling::TileId;

namespace {

// The documented mixing step, written out independently of the library.
quint64 combineStep(quint64 h, quint64 k)
{
    const quint64 m = 0xc6a4a7935bd1e995ULL;
    k *= m;
    k ^= k >> 47;
    k *= m;
    h ^= k;
    h *= m;
    h += 0xe6546b64ULL;
    return h;
}

quint64 referenceHash(quint64 x, quint64 y, quint16 xZoom, quint16 yZoom)
{
    return combineStep(combineStep(combineStep(combineStep(0, x), y), xZoom), yZoom);
}

} // namespace

class TestTileId : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hashFollowsTheCombineSteps_data()
    {
        QTest::addColumn<quint64>("x");
        QTest::addColumn<quint64>("y");
        QTest::addColumn<quint16>("xZoom");
        QTest::addColumn<quint16>("yZoom");
        QTest::addColumn<quint64>("expected"); // computed outside C++, from the same steps
        QTest::newRow("origin") << quint64(0) << quint64(0) << quint16(0) << quint16(0)
                                << quint64(0x012e45bc31e44e70ULL);
        QTest::newRow("5,7 at 1,3") << quint64(5) << quint64(7) << quint16(1) << quint16(3)
                                    << quint64(0x7cfd2e9b0cd68619ULL);
        QTest::newRow("x only") << quint64(1) << quint64(0) << quint16(0) << quint16(0)
                                << quint64(0x6505edf6fd8402bcULL);
        QTest::newRow("y only") << quint64(0) << quint64(1) << quint16(0) << quint16(0)
                                << quint64(0x8c675d28300d3124ULL);
        QTest::newRow("large") << quint64(123456789) << quint64(987654321) << quint16(12) << quint16(30)
                               << quint64(0x6fa312a0ad98127dULL);
        QTest::newRow("all ones") << ~quint64(0) << ~quint64(0) << quint16(65535) << quint16(65535)
                                  << quint64(0xf65cd402e12a53d4ULL);
    }

    void hashFollowsTheCombineSteps()
    {
        QFETCH(quint64, x);
        QFETCH(quint64, y);
        QFETCH(quint16, xZoom);
        QFETCH(quint16, yZoom);
        QFETCH(quint64, expected);
        const TileId id(x, y, xZoom, yZoom);
        QCOMPARE(id.hash, expected);
        QCOMPARE(id.hash, referenceHash(x, y, xZoom, yZoom));
        QCOMPARE(id.key(), quint32(expected & 0xffffffffu));
        QCOMPARE(id.x, x);
        QCOMPARE(id.y, y);
        QCOMPARE(id.xZoomLevel, xZoom);
        QCOMPARE(id.yZoomLevel, yZoom);
    }

    void hashMatchesTheStepsOverAGrid()
    {
        for (quint64 x = 0; x < 40; ++x) {
            for (quint64 y = 0; y < 40; ++y) {
                for (quint16 zoom : {quint16(0), quint16(1), quint16(17), quint16(65535)})
                    QCOMPARE(TileId(x, y, zoom, quint16(zoom ^ 5)).hash, referenceHash(x, y, zoom, zoom ^ 5));
            }
        }
    }

    void defaultIdIsZeroWithTheHashOfZeros()
    {
        const TileId id;
        QCOMPARE(id.x, quint64(0));
        QCOMPARE(id.y, quint64(0));
        QCOMPARE(id.xZoomLevel, quint16(0));
        QCOMPARE(id.yZoomLevel, quint16(0));
        QVERIFY(id.hash != 0);
        QCOMPARE(id.hash, quint64(0x012e45bc31e44e70ULL));
        QVERIFY(id == TileId(0, 0, 0, 0));
    }

    void equalityIsByTheLow32BitsOfTheHash()
    {
        // Found by a birthday search: different tiles, same low 32 bits.
        const TileId a(35, 553, 3, 4);
        const TileId b(95, 142, 3, 4);
        QCOMPARE(a.hash, quint64(0x059f5f9025779819ULL));
        QCOMPARE(b.hash, quint64(0x56a134f825779819ULL));
        QVERIFY(a.hash != b.hash);
        QVERIFY(a == b);
        QVERIFY(!(a != b));
        QVERIFY(!(a < b) && !(b < a));
        QCOMPARE(qHash(a), qHash(b));

        // A hash container holds them as one tile.
        QSet<TileId> set{a};
        QVERIFY(set.contains(b));
        set.insert(b);
        QCOMPARE(set.size(), 1);
        QMap<TileId, int> map;
        map.insert(a, 1);
        map.insert(b, 2);
        QCOMPARE(map.size(), 1);
        QCOMPARE(map.value(a), 2);
    }

    void differentKeysAreDifferentTiles()
    {
        const TileId a(1, 2, 3, 4);
        const TileId b(1, 2, 3, 5);
        QVERIFY(a != b);
        QVERIFY(!(a == b));
        QCOMPARE(a < b, a.key() < b.key());
        QCOMPARE(b < a, b.key() < a.key());
    }

    void qHashIsTheKey()
    {
        const TileId id(5, 7, 1, 3);
        QCOMPARE(qHash(id), uint(215385625u));
    }

    void mapsIterateInKeyOrder()
    {
        QMap<TileId, int> map;
        QList<quint32> keys;
        for (quint64 x = 0; x < 50; ++x) {
            const TileId id(x, 2 * x, 3, 1);
            map.insert(id, int(x));
            keys.append(id.key());
        }
        std::sort(keys.begin(), keys.end());
        QList<quint32> iterated;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            iterated.append(it.key().key());
        QCOMPARE(iterated, keys);
    }

    void debugTextListsFieldsAndKey()
    {
        const TileId id(5, 7, 1, 3);
        QCOMPARE(id.toString(), QStringLiteral("(5; 7; 1; 3; 215385625)"));
        QString text;
        QDebug(&text).nospace().noquote() << id;
        QCOMPARE(text, QStringLiteral("(5; 7; 1; 3; 215385625)"));
        QCOMPARE(TileId(~quint64(0), 0, 65535, 0).toString().left(24), QStringLiteral("(18446744073709551615; 0"));
    }

    void travelsInsideQVariantAndByBothNames()
    {
        const TileId id(9, 8, 7, 6);
        const QVariant variant = QVariant::fromValue(id);
        QCOMPARE(variant.value<TileId>().x, quint64(9));
        QCOMPARE(variant.value<TileId>().hash, id.hash);
        QCOMPARE(QMetaType::typeName(qMetaTypeId<TileId>()), "mivo::tiling::TileId");
        // A variant of another type gives the zero tile.
        const TileId fallback = QVariant(QStringLiteral("not a tile")).value<TileId>();
        QCOMPARE(fallback.hash, TileId().hash);
    }

    void tileHoldsItsIdAndImage()
    {
        QImage image(4, 2, QImage::Format_Indexed8);
        image.fill(7);
        const auto tile = std::make_shared<Tile>(TileId(1, 2, 3, 4), image);
        QCOMPARE(tile->tileId.hash, TileId(1, 2, 3, 4).hash);
        QCOMPARE(tile->image.size(), QSize(4, 2));
        QCOMPARE(tile->image.pixelIndex(3, 1), 7);
        QCOMPARE(QVariant::fromValue(tile).value<std::shared_ptr<Tile>>(), tile);
    }
};

QTEST_GUILESS_MAIN(TestTileId)
#include "tst_tileid.moc"
