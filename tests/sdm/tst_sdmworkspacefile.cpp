// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SdmTestSupport.h"

#include <mivo/sdm/SdmWorkspaceDocument.h>
#include <mivo/sdm/SdmWorkspaceFileReader.h>
#include <mivo/sdm/SdmWorkspaceFileWriter.h>

#ifdef MIVO_TEST_WITH_TILEGEN
#include <apps/tilegen/core/Documents.h>
#endif

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cfloat>
#include <cmath>
#include <limits>

using mivo::sdm::SdmWorkspaceDocument;
using mivo::sdm::SdmWorkspaceFileReader;
using mivo::sdm::SdmWorkspaceFileWriter;
using mivo::sdm::SdmWorkspaceItem;
using mivo::sdm::SdmWorkspaceItemDetails;
using sdmtest::describe;
using sdmtest::item;
using sdmtest::sameFields;

namespace {

QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// A document using every field the format has.
SdmWorkspaceDocument fullDocument()
{
    SdmWorkspaceDocument document;
    document.id = QStringLiteral("rooftop");
    document.items = {item(QStringLiteral("rooftop-1"), QRectF(433900000, 1717279200.5, 40000, 0.25)),
                      item(QStringLiteral("u-2"), QRectF(0.1, 0.2, 0.30000000000000004, 1e-9), true, true, 0.1f),
                      item(QStringLiteral("flat"), QRectF(-5e9, -1e12, 0, 0), false, true, -3.5f),
                      item(QStringLiteral("ünïcode \"quoted\""), QRectF(1, 2, 3, 4), true, false, 0.0f)};
    document.itemDetails.insert(QStringLiteral("rooftop-1"), {QStringLiteral("FSK burst"), {}});
    document.itemDetails.insert(QStringLiteral("u-2"),
                                {QString(),
                                 QJsonObject{{QStringLiteral("snr"), 17.5},
                                             {QStringLiteral("tags"), QJsonArray{QStringLiteral("a"), 2}}}});
    document.itemDetails.insert(QStringLiteral("ünïcode \"quoted\""), {QStringLiteral("Läbel"), {}});
    document.extraFields.insert(QStringLiteral("comment"), QStringLiteral("made by hand"));
    document.extraFields.insert(QStringLiteral("version"), 3);
    return document;
}

// Every field of both documents agrees; details compared item by item (the reader
// adds an entry for every item, a document built by hand may lack some).
void verifySameDocument(const SdmWorkspaceDocument& actual, const SdmWorkspaceDocument& expected)
{
    QCOMPARE(actual.id, expected.id);
    QCOMPARE(actual.items.size(), expected.items.size());
    for (int i = 0; i < expected.items.size(); ++i) {
        QVERIFY2(sameFields(actual.items.at(i), expected.items.at(i)),
                 qPrintable(describe(actual.items.at(i)) + QStringLiteral(" vs ") + describe(expected.items.at(i))));
        const QString& id = expected.items.at(i).id;
        QCOMPARE(actual.label(id), expected.label(id));
        QCOMPARE(actual.details(id).extraFields, expected.details(id).extraFields);
    }
    QCOMPARE(actual.extraFields, expected.extraFields);
}

QByteArray oneItem(const QByteArray& fields)
{
    return QByteArray("{\"id\": \"w\", \"items\": [{") + fields + QByteArray("}]}");
}

QByteArray manyItems(int count, const QByteArray& element)
{
    QByteArray json("{\"id\": \"w\", \"items\": [");
    json.reserve(json.size() + count * (element.size() + 1) + 2);
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            json.append(',');
        json.append(element);
    }
    json.append("]}");
    return json;
}

} // namespace

class TestSdmWorkspaceFile : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    // Reading

    void readsTheFormatMivoTilegenWrites()
    {
        const QByteArray json = R"({"id": "rooftop",
 "items": [{"id": "rooftop-1", "label": "FSK burst",
            "x": 433900000, "y": 1717279200.5, "width": 40000, "height": 0.25},
           {"id": "3f2a", "label": "",
            "x": 0, "y": 1e9, "width": 0, "height": 12}]})";
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(json), qPrintable(reader.errorString()));
        QVERIFY(reader.errorString().isNull());
        const SdmWorkspaceDocument& document = reader.document();
        QCOMPARE(document.id, QStringLiteral("rooftop"));
        QCOMPARE(document.items.size(), 2);
        QVERIFY2(sameFields(document.items.at(0),
                            item(QStringLiteral("rooftop-1"), QRectF(433900000, 1717279200.5, 40000, 0.25))),
                 qPrintable(describe(document.items.at(0))));
        QVERIFY2(sameFields(document.items.at(1), item(QStringLiteral("3f2a"), QRectF(0, 1e9, 0, 12))),
                 qPrintable(describe(document.items.at(1))));
        QCOMPARE(document.label(QStringLiteral("rooftop-1")), QStringLiteral("FSK burst"));
        QCOMPARE(document.label(QStringLiteral("3f2a")), QString());
        QCOMPARE(document.itemDetails.size(), 2);
        QVERIFY(document.details(QStringLiteral("rooftop-1")).extraFields.isEmpty());
        QVERIFY(document.extraFields.isEmpty());
        // Unknown ids have empty details.
        QCOMPARE(document.details(QStringLiteral("none")), SdmWorkspaceItemDetails());
    }

    void readsTheItemsOwnFlagsAndValue()
    {
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4,
                                         "marked": true, "flagged": true, "userValue": -2.5)")),
                 qPrintable(reader.errorString()));
        QVERIFY2(sameFields(reader.document().items.first(),
                            item(QStringLiteral("a"), QRectF(1, 2, 3, 4), true, true, -2.5f)),
                 qPrintable(describe(reader.document().items.first())));
        QVERIFY(reader.parse(oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "marked": false,
                                        "userValue": 3.4028234663852886e38)")));
        QCOMPARE(reader.document().items.first().marked, false);
        QCOMPARE(reader.document().items.first().userValue, FLT_MAX);
    }

    void keepsUnknownKeysAside()
    {
        const QByteArray json = R"({"id": "w", "source": {"file": "x.sigmf"}, "version": 2,
            "items": [{"id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "snr": 12.5,
                       "modulation": "FSK", "tags": [1, "two"], "extra": null}]})";
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(json), qPrintable(reader.errorString()));
        const SdmWorkspaceDocument& document = reader.document();
        QCOMPARE(document.extraFields,
                 (QJsonObject{{QStringLiteral("source"),
                               QJsonObject{{QStringLiteral("file"), QStringLiteral("x.sigmf")}}},
                              {QStringLiteral("version"), 2}}));
        QCOMPARE(document.details(QStringLiteral("a")).extraFields,
                 (QJsonObject{{QStringLiteral("snr"), 12.5},
                              {QStringLiteral("modulation"), QStringLiteral("FSK")},
                              {QStringLiteral("tags"), QJsonArray{1, QStringLiteral("two")}},
                              {QStringLiteral("extra"), QJsonValue::Null}}));
    }

    void aRepeatedKeyCountsWithItsLastValue()
    {
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(oneItem(R"("id": "a", "x": -1, "x": 5, "y": 2, "width": 3, "height": 4)")),
                 qPrintable(reader.errorString()));
        QCOMPARE(reader.document().items.first().rect, QRectF(5, 2, 3, 4));
    }

    void anEmptyItemListIsAWorkspace()
    {
        SdmWorkspaceFileReader reader;
        QVERIFY(reader.parse(R"({"id": "", "items": []})"));
        QCOMPARE(reader.document().id, QString());
        QVERIFY(reader.document().items.isEmpty());
    }

    void refusesBadDocuments_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("message");
        const auto row = [](const char* name, const QByteArray& json, const char* message) {
            QTest::newRow(name) << json << QString::fromUtf8(message);
        };
        row("empty", "", "not JSON: illegal value at byte 0");
        row("not JSON", "workspace", "not JSON: illegal value at byte 1");
        row("cut short", R"({"id": "w", "items": [)", "not JSON: unterminated array at byte 22");
        row("NaN", oneItem(R"("id": "a", "x": NaN, "y": 2, "width": 3, "height": 4)"),
            "not JSON: illegal number at byte 39");
        row("infinite", oneItem(R"("id": "a", "x": 1e400, "y": 2, "width": 3, "height": 4)"),
            "not JSON: illegal number at byte 44");
        row("array", "[]", "the document is not a JSON object");
        row("string", "\"w\"", "not JSON: illegal value at byte 1");
        row("no id", R"({"items": []})", "id is missing");
        row("id not a string", R"({"id": 7, "items": []})", "id is not a string");
        row("no items", R"({"id": "w"})", "items is missing");
        row("items not an array", R"({"id": "w", "items": {}})", "items is not an array");
        row("item not an object", R"({"id": "w", "items": [[]]})", "items[0] is not an object");
        row("item id missing", oneItem(R"("x": 1, "y": 2, "width": 3, "height": 4)"), "items[0].id is missing");
        row("item id a number", oneItem(R"("id": 1, "x": 1, "y": 2, "width": 3, "height": 4)"),
            "items[0].id is not a string");
        row("item id empty", oneItem(R"("id": "", "x": 1, "y": 2, "width": 3, "height": 4)"), "items[0].id is empty");
        row("x missing", oneItem(R"("id": "a", "y": 2, "width": 3, "height": 4)"), "items[0].x is missing");
        row("x a string", oneItem(R"("id": "a", "x": "1", "y": 2, "width": 3, "height": 4)"),
            "items[0].x is not a number");
        row("x null", oneItem(R"("id": "a", "x": null, "y": 2, "width": 3, "height": 4)"),
            "items[0].x is not a number");
        row("y true", oneItem(R"("id": "a", "x": 1, "y": true, "width": 3, "height": 4)"),
            "items[0].y is not a number");
        row("width missing", oneItem(R"("id": "a", "x": 1, "y": 2, "height": 4)"), "items[0].width is missing");
        row("height an object", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": {})"),
            "items[0].height is not a number");
        row("negative width", oneItem(R"("id": "a", "x": 1, "y": 2, "width": -2, "height": 4)"),
            "items[0].width is negative (-2)");
        row("negative height", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": -0.5)"),
            "items[0].height is negative (-0.5)");
        row("right edge overflows", oneItem(R"("id": "a", "x": 1.7e308, "y": 2, "width": 1.7e308, "height": 4)"),
            "items[0].x + width overflows");
        row("bottom edge overflows",
            oneItem(R"("id": "a", "x": 1, "y": -1.7e308, "width": 3, "height": 1.7e308)")
                .replace("-1.7e308", "1.7e308"),
            "items[0].y + height overflows");
        row("label a number", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "label": 7)"),
            "items[0].label is not a string");
        row("marked a string", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "marked": "yes")"),
            "items[0].marked is not true or false");
        row("flagged a number", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "flagged": 1)"),
            "items[0].flagged is not true or false");
        row("userValue a string", oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "userValue": "1")"),
            "items[0].userValue is not a number");
        row("userValue beyond a float",
            oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "userValue": -1e39)"),
            "items[0].userValue is outside the range of a float (-1e+39)");
        row("second item bad",
            R"({"id": "w", "items": [{"id": "a", "x": 1, "y": 2, "width": 3, "height": 4},
                                    {"id": "b", "x": 1, "y": 2, "width": -3, "height": 4}]})",
            "items[1].width is negative (-3)");
        row("repeated id",
            R"({"id": "w", "items": [{"id": "a", "x": 1, "y": 2, "width": 3, "height": 4},
                                    {"id": "b", "x": 1, "y": 2, "width": 3, "height": 4},
                                    {"id": "a", "x": 5, "y": 2, "width": 3, "height": 4}]})",
            "items[2].id \"a\" repeats items[0].id");
        row("a million items", manyItems(1000000, "{}"), "1000000 items, more than the 250000 that are read");
    }

    void refusesBadDocuments()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, message);
        SdmWorkspaceFileReader reader;
        // A failure also forgets what an earlier read gave.
        QVERIFY(reader.parse(oneItem(R"("id": "ok", "x": 1, "y": 2, "width": 3, "height": 4)")));
        QCOMPARE(reader.document().items.size(), 1);
        QVERIFY(!reader.parse(json));
        QCOMPARE(reader.errorString(), message);
        QVERIFY(reader.document().id.isNull());
        QVERIFY(reader.document().items.isEmpty());
        QVERIFY(reader.document().itemDetails.isEmpty());
        QVERIFY(reader.document().extraFields.isEmpty());
    }

    void refusalsAreLoggedWhenAsked()
    {
        SdmWorkspaceFileReader reader;
        QLoggingCategory::setFilterRules(QStringLiteral("mivo.*=true"));
        QTest::ignoreMessage(QtDebugMsg, "workspace document refused: the document is not a JSON object");
        const bool read = reader.parse("[]");
        QLoggingCategory::setFilterRules(QString());
        QVERIFY(!read);
        QCOMPARE(reader.errorString(), QStringLiteral("the document is not a JSON object"));
    }

    void longIdsAreCutShortInMessages()
    {
        const QByteArray id(200, 'x');
        const QByteArray item = "{\"id\": \"" + id + "\", \"x\": 1, \"y\": 2, \"width\": 3, \"height\": 4}";
        SdmWorkspaceFileReader reader;
        QVERIFY(!reader.parse("{\"id\": \"w\", \"items\": [" + item + ", " + item + "]}"));
        QCOMPARE(reader.errorString(),
                 QStringLiteral("items[1].id \"") + QString(60, QLatin1Char('x'))
                     + QStringLiteral("\u2026\" repeats items[0].id"));
    }

    void readsAsManyItemsAsTheLimitAllows()
    {
        const QByteArray element = R"({"id": "%", "x": 1, "y": 2, "width": 3, "height": 4})";
        QByteArray json("{\"id\": \"w\", \"items\": [");
        for (int i = 0; i < SdmWorkspaceFileReader::maximumItemCount; ++i) {
            if (i > 0)
                json.append(',');
            json.append(QByteArray(element).replace('%', QByteArray::number(i)));
        }
        json.append("]}");
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(json), qPrintable(reader.errorString()));
        QCOMPARE(reader.document().items.size(), 250000);
        QCOMPARE(reader.document().items.last().id, QStringLiteral("249999"));
        QVERIFY(!reader.parse(manyItems(SdmWorkspaceFileReader::maximumItemCount + 1, "{}")));
        QCOMPARE(reader.errorString(), QStringLiteral("250001 items, more than the 250000 that are read"));
    }

    void refusesDocumentsLargerThanTheLimit()
    {
        QCOMPARE(SdmWorkspaceFileReader::maximumFileSize, qint64(64) * 1024 * 1024);
        const QByteArray valid = R"({"id": "w", "items": []})";
        QByteArray padded = valid + QByteArray(int(SdmWorkspaceFileReader::maximumFileSize) - valid.size(), ' ');
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(padded), qPrintable(reader.errorString()));
        padded.append(' ');
        QVERIFY(!reader.parse(padded));
        QCOMPARE(reader.errorString(), QStringLiteral("larger than 67108864 bytes"));
        // A 100 MB document is turned away before it is parsed.
        QVERIFY(!reader.parse(QByteArray(100 * 1000 * 1000, '[')));
        QCOMPARE(reader.errorString(), QStringLiteral("larger than 67108864 bytes"));
    }

    void readsFilesAndNamesThemInMessages()
    {
        const QString file = path(QStringLiteral("good.json"));
        QVERIFY(writeBytes(file, oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": 4, "label": "L")")));
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.read(file), qPrintable(reader.errorString()));
        QCOMPARE(reader.document().label(QStringLiteral("a")), QStringLiteral("L"));

        const QString bad = path(QStringLiteral("bad.json"));
        QVERIFY(writeBytes(bad, oneItem(R"("id": "a", "x": 1, "y": 2, "width": 3, "height": -4)")));
        QVERIFY(!reader.read(bad));
        QCOMPARE(reader.errorString(), bad + QStringLiteral(": items[0].height is negative (-4)"));
        QVERIFY(reader.document().items.isEmpty());

        const QString missing = path(QStringLiteral("missing.json"));
        QVERIFY(!reader.read(missing));
        QCOMPARE(reader.errorString(), missing + QStringLiteral(": cannot be opened: No such file or directory"));

        QVERIFY(!reader.read(m_dir.path()));
        QVERIFY2(reader.errorString().startsWith(m_dir.path() + QStringLiteral(": cannot be")),
                 qPrintable(reader.errorString()));
    }

    void refusesLargeFilesWithoutReadingThem()
    {
        // Sparse: 100 MB that take no room on disk.
        const QString file = path(QStringLiteral("huge.json"));
        {
            QFile huge(file);
            QVERIFY(huge.open(QIODevice::WriteOnly));
            QVERIFY(huge.resize(100 * 1000 * 1000));
        }
        SdmWorkspaceFileReader reader;
        QVERIFY(!reader.read(file));
        QCOMPARE(reader.errorString(), file + QStringLiteral(": larger than 67108864 bytes"));
        QVERIFY(QFile::remove(file));
    }

    void readsAFileWithoutAKnownSizeWithinTheLimit()
    {
        // A character device reports size 0 and never ends: reading stops at the limit.
        if (!QFile::exists(QStringLiteral("/dev/zero")))
            QSKIP("no /dev/zero");
        SdmWorkspaceFileReader reader;
        QVERIFY(!reader.read(QStringLiteral("/dev/zero")));
        QCOMPARE(reader.errorString(), QStringLiteral("/dev/zero: larger than 67108864 bytes"));
    }

    // Writing

    void writesTheFormatMivoTilegenWrites()
    {
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("rooftop");
        document.items = {item(QStringLiteral("rooftop-1"), QRectF(433900000, 1717279200.5, 40000, 0.25))};
        document.itemDetails.insert(QStringLiteral("rooftop-1"), {QStringLiteral("FSK burst"), {}});
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), QByteArray(R"({
    "id": "rooftop",
    "items": [
        {
            "height": 0.25,
            "id": "rooftop-1",
            "label": "FSK burst",
            "width": 40000,
            "x": 433900000,
            "y": 1717279200.5
        }
    ]
}
)"));
        QVERIFY(writer.errorString().isNull());
    }

#ifdef MIVO_TEST_WITH_TILEGEN
    void writesTheSameBytesAsMivoTilegen()
    {
        QVector<mivo::tilegen::WorkspaceItem> tilegenItems;
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("scene");
        for (int i = 0; i < 50; ++i) {
            mivo::tilegen::WorkspaceItem each;
            each.id = QStringLiteral("scene-%1").arg(i + 1);
            each.label = i % 3 == 0 ? QString() : QStringLiteral("burst %1").arg(i);
            each.x = 433.9e6 + i * 1234.5678;
            each.y = 1.7e9 + i / 7.0;
            each.width = 25000.0 / (i + 1);
            each.height = 0.001 * i;
            tilegenItems.append(each);
            document.items.append(item(each.id, QRectF(each.x, each.y, each.width, each.height)));
            document.itemDetails.insert(each.id, {each.label, {}});
        }
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), mivo::tilegen::workspaceJson(QStringLiteral("scene"), tilegenItems));
    }
#endif

    void writesOnlyFlagsAndValuesThatAreSet()
    {
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("w");
        document.items = {item(QStringLiteral("plain"), QRectF(1, 2, 3, 4)),
                          item(QStringLiteral("set"), QRectF(1, 2, 3, 4), true, true, 0.5f)};
        SdmWorkspaceFileWriter writer;
        const QJsonArray items
            = QJsonDocument::fromJson(writer.toJson(document)).object().value(QStringLiteral("items")).toArray();
        QCOMPARE(items.size(), 2);
        QCOMPARE(items.at(0).toObject().keys(), (QStringList{"height", "id", "label", "width", "x", "y"}));
        QCOMPARE(items.at(0).toObject().value(QStringLiteral("label")).toString(), QString());
        QCOMPARE(items.at(1).toObject().keys(),
                 (QStringList{"flagged", "height", "id", "label", "marked", "userValue", "width", "x", "y"}));
        QCOMPARE(items.at(1).toObject().value(QStringLiteral("userValue")).toDouble(), 0.5);
    }

    void roundTripKeepsEverything()
    {
        const SdmWorkspaceDocument document = fullDocument();
        SdmWorkspaceFileWriter writer;
        const QByteArray json = writer.toJson(document);
        QVERIFY2(writer.errorString().isNull(), qPrintable(writer.errorString()));
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(json), qPrintable(reader.errorString()));
        verifySameDocument(reader.document(), document);
        // And once more: the second pass writes the same bytes.
        QCOMPARE(writer.toJson(reader.document()), json);
    }

    void roundTripThroughAFile()
    {
        const QString file = path(QStringLiteral("round.json"));
        SdmWorkspaceFileWriter writer;
        QVERIFY2(writer.write(file, fullDocument()), qPrintable(writer.errorString()));
        QVERIFY(writer.errorString().isNull());
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.read(file), qPrintable(reader.errorString()));
        verifySameDocument(reader.document(), fullDocument());
    }

    void extraFieldsDoNotOverrideWhatTheWriterWrites()
    {
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("w");
        document.extraFields.insert(QStringLiteral("id"), QStringLiteral("other"));
        document.extraFields.insert(QStringLiteral("items"), 5);
        document.items = {item(QStringLiteral("a"), QRectF(1, 2, 3, 4))};
        document.itemDetails.insert(QStringLiteral("a"),
                                    {QStringLiteral("L"),
                                     QJsonObject{{QStringLiteral("x"), 99},
                                                 {QStringLiteral("marked"), true},
                                                 {QStringLiteral("userValue"), 7},
                                                 {QStringLiteral("kept"), 1}}});
        document.itemDetails.insert(QStringLiteral("nobody"), {QStringLiteral("unused"), {}});
        SdmWorkspaceFileWriter writer;
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.parse(writer.toJson(document)), qPrintable(reader.errorString()));
        QCOMPARE(reader.document().id, QStringLiteral("w"));
        QVERIFY(reader.document().extraFields.isEmpty());
        QVERIFY2(sameFields(reader.document().items.first(), item(QStringLiteral("a"), QRectF(1, 2, 3, 4))),
                 qPrintable(describe(reader.document().items.first())));
        QCOMPARE(reader.document().details(QStringLiteral("a")),
                 (SdmWorkspaceItemDetails{QStringLiteral("L"), QJsonObject{{QStringLiteral("kept"), 1}}}));
        QCOMPARE(reader.document().itemDetails.size(), 1);
    }

    void refusesDocumentsTheReaderWouldRefuse_data()
    {
        const double nan = std::nan("");
        const double infinity = std::numeric_limits<double>::infinity();
        QTest::addColumn<SdmWorkspaceItem>("bad");
        QTest::addColumn<QString>("message");
        QTest::newRow("empty id") << item(QString(), QRectF(1, 2, 3, 4)) << QStringLiteral("items[1].id is empty");
        QTest::newRow("NaN x") << item(QStringLiteral("b"), QRectF(nan, 2, 3, 4))
                               << QStringLiteral("items[1].x is not finite (nan)");
        QTest::newRow("infinite width") << item(QStringLiteral("b"), QRectF(1, 2, infinity, 4))
                                        << QStringLiteral("items[1].width is not finite (inf)");
        QTest::newRow("negative height") << item(QStringLiteral("b"), QRectF(1, 2, 3, -4))
                                         << QStringLiteral("items[1].height is negative (-4)");
        QTest::newRow("overflowing edge") << item(QStringLiteral("b"), QRectF(DBL_MAX, 2, DBL_MAX, 4))
                                          << QStringLiteral("items[1].x + width overflows");
        QTest::newRow("NaN userValue") << item(QStringLiteral("b"), QRectF(1, 2, 3, 4), false, false, std::nanf(""))
                                       << QStringLiteral("items[1].userValue is not finite");
        QTest::newRow("repeated id") << item(QStringLiteral("a"), QRectF(1, 2, 3, 4))
                                     << QStringLiteral("items[1].id \"a\" repeats items[0].id");
    }

    void refusesDocumentsTheReaderWouldRefuse()
    {
        QFETCH(SdmWorkspaceItem, bad);
        QFETCH(QString, message);
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("w");
        document.items = {item(QStringLiteral("a"), QRectF(1, 2, 3, 4)), bad};
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), QByteArray());
        QCOMPARE(writer.errorString(), message);

        // An existing file is left as it was.
        const QString file = path(QStringLiteral("kept.json"));
        QVERIFY(writeBytes(file, "before"));
        QVERIFY(!writer.write(file, document));
        QCOMPARE(writer.errorString(), file + QStringLiteral(": ") + message);
        QCOMPARE(readBytes(file), QByteArray("before"));
    }

    void refusesMoreItemsThanAreRead()
    {
        SdmWorkspaceDocument document;
        document.id = QStringLiteral("w");
        for (int i = 0; i <= SdmWorkspaceFileReader::maximumItemCount; ++i)
            document.items.append(item(QString::number(i), QRectF(i, 0, 1, 1)));
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), QByteArray());
        QCOMPARE(writer.errorString(), QStringLiteral("250001 items, more than the 250000 that are read"));
    }

    void refusesDocumentsLargerThanAreRead()
    {
        SdmWorkspaceDocument document;
        // 34 million characters of two bytes each in UTF-8.
        document.id = QString(34 * 1000 * 1000, QChar(0x00e9));
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), QByteArray());
        QCOMPARE(writer.errorString(), QStringLiteral("68000039 bytes, more than the 67108864 that are read"));
    }

    void reportsFilesThatCannotBeWritten()
    {
        const QString file = path(QStringLiteral("no/such/dir/w.json"));
        SdmWorkspaceFileWriter writer;
        QVERIFY(!writer.write(file, fullDocument()));
        QVERIFY2(writer.errorString().startsWith(file + QStringLiteral(": cannot be opened: ")),
                 qPrintable(writer.errorString()));
        QVERIFY(!QFile::exists(file));
    }

    // A file mivo-tilegen really wrote

    void readsAWorkspaceFileMivoTilegenWrote()
    {
#ifndef MIVO_TEST_WITH_TILEGEN
        QSKIP("built without the programs in apps/");
#else
        const QString base = path(QStringLiteral("scene"));
        QProcess synth;
        synth.start(QStringLiteral(SYNTH_EXECUTABLE), {QStringLiteral("--duration"), QStringLiteral("4"), base});
        QVERIFY(synth.waitForFinished(120000));
        QCOMPARE(synth.exitCode(), 0);
        const QString output = path(QStringLiteral("tiles"));
        QProcess tilegen;
        tilegen.start(QStringLiteral(TILEGEN_EXECUTABLE),
                      {base + QStringLiteral(".sigmf-meta"), output, QStringLiteral("-q")});
        QVERIFY(tilegen.waitForFinished(120000));
        QCOMPARE(tilegen.exitCode(), 0);

        const QString file = output + QStringLiteral("/scene/workspace.json");
        SdmWorkspaceFileReader reader;
        QVERIFY2(reader.read(file), qPrintable(reader.errorString()));
        const SdmWorkspaceDocument& document = reader.document();
        QCOMPARE(document.id, QStringLiteral("scene"));

        // One item per annotation of the recording, in its order, each the rectangle the
        // file gives; and the annotations' labels.
        const QJsonArray annotations = QJsonDocument::fromJson(readBytes(base + QStringLiteral(".sigmf-meta")))
                                           .object()
                                           .value(QStringLiteral("annotations"))
                                           .toArray();
        const QJsonArray written
            = QJsonDocument::fromJson(readBytes(file)).object().value(QStringLiteral("items")).toArray();
        QVERIFY(annotations.size() > 5);
        QCOMPARE(document.items.size(), annotations.size());
        QCOMPARE(written.size(), annotations.size());
        for (int i = 0; i < written.size(); ++i) {
            const QJsonObject object = written.at(i).toObject();
            const SdmWorkspaceItem& read = document.items.at(i);
            const QRectF rect(object.value(QStringLiteral("x")).toDouble(),
                              object.value(QStringLiteral("y")).toDouble(),
                              object.value(QStringLiteral("width")).toDouble(),
                              object.value(QStringLiteral("height")).toDouble());
            QVERIFY2(sameFields(read, item(object.value(QStringLiteral("id")).toString(), rect)),
                     qPrintable(describe(read)));
            QVERIFY(rect.width() > 0 && rect.height() > 0);
            const QJsonObject annotation = annotations.at(i).toObject();
            const double lower = annotation.value(QStringLiteral("core:freq_lower_edge")).toDouble();
            const double upper = annotation.value(QStringLiteral("core:freq_upper_edge")).toDouble();
            QCOMPARE(read.rect.x(), lower);
            QCOMPARE(read.rect.width(), upper - lower);
            QCOMPARE(document.label(read.id), annotation.value(QStringLiteral("core:label")).toString());
            QVERIFY(document.details(read.id).extraFields.isEmpty());
        }
        // Written back, byte for byte.
        SdmWorkspaceFileWriter writer;
        QCOMPARE(writer.toJson(document), readBytes(file));
#endif
    }
};

QTEST_GUILESS_MAIN(TestSdmWorkspaceFile)
#include "tst_sdmworkspacefile.moc"
