// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TestFiles.h"

#include "core/InputOpener.h"
#include "core/RawSignalSource.h"
#include "core/SampleFormat.h"
#include "core/SigMfArchive.h"
#include "core/SigMfMetadata.h"
#include <common/Error.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sndfile.h>

using namespace mivo::tilegen;
using testfiles::writeBytes;

namespace {

// Runs `action`, expects an mivo::apps::Error whose message names `subject` and contains `problem`.
template <typename Action> bool failsWith(Action action, const QString& subject, const QString& problem)
{
    try {
        action();
    } catch (const mivo::apps::Error& error) {
        if (error.message().startsWith(subject + QStringLiteral(": ")) && error.message().contains(problem))
            return true;
        qWarning("unexpected message: %s", qPrintable(error.message()));
        return false;
    }
    qWarning("no error");
    return false;
}

QByteArray le16(std::initializer_list<qint16> values)
{
    QByteArray bytes;
    for (const qint16 v : values) {
        char b[2];
        qToLittleEndian(v, b);
        bytes.append(b, 2);
    }
    return bytes;
}

QByteArray validMeta(const QString& datatype = QStringLiteral("ci16_le"))
{
    return QStringLiteral(R"({
  "global": {"core:datatype": "%1", "core:sample_rate": 48000, "core:version": "1.0.0"},
  "captures": [{"core:sample_start": 0, "core:frequency": 433920000,
                "core:datetime": "2024-05-01T10:20:30.000250Z"}],
  "annotations": [
    {"core:sample_start": 4800, "core:sample_count": 9600, "core:freq_lower_edge": 433900000,
     "core:freq_upper_edge": 433940000, "core:label": "key fob", "core:uuid": "u-1"},
    {"core:sample_start": 24000, "core:label": "rest"}
  ]
})")
        .arg(datatype)
        .toUtf8();
}

std::vector<float> readAll(ISignalSource& source)
{
    const int components = source.info().complex ? 2 : 1;
    std::vector<float> values(size_t(source.info().sampleCount * components));
    const qint64 n = source.read(values.data(), source.info().sampleCount);
    values.resize(size_t(n * components));
    return values;
}

void writeWav(const QString& path, int channels, int rate, const std::vector<short>& interleaved)
{
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    QVERIFY(file);
    QCOMPARE(sf_writef_short(file, interleaved.data(), sf_count_t(interleaved.size() / size_t(channels))),
             sf_count_t(interleaved.size() / size_t(channels)));
    sf_close(file);
}

// Packs `members` (paths relative to `folder`) into `archive` with GNU tar in `format`.
bool packWithTar(const QString& archive, const QString& format, const QString& folder, const QStringList& members)
{
    QProcess tar;
    tar.start(QStringLiteral("tar"),
              QStringList{QStringLiteral("--format=") + format, QStringLiteral("-cf"), archive, QStringLiteral("-C"),
                          folder}
                  + members);
    if (!tar.waitForFinished(30000) || tar.exitStatus() != QProcess::NormalExit || tar.exitCode() != 0) {
        qWarning("tar failed: %s", tar.readAllStandardError().constData());
        return false;
    }
    return true;
}

// Rewrites the checksum of the tar header at `header` after a test changed the header.
void fixTarChecksum(QByteArray& tar, int header)
{
    qint64 sum = 0;
    for (int i = 0; i < 512; ++i)
        sum += (i >= 148 && i < 156) ? ' ' : static_cast<unsigned char>(tar[header + i]);
    tar.replace(header + 148, 8, QByteArray::number(sum, 8).rightJustified(6, '0') + QByteArray("\0 ", 2));
}

} // namespace

class TestTilegenReaders : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    // Packs rec/rec.sigmf-{meta,data} and, when given, a file after them into
    // "<name>.sigmf" (ustar). Returns the archive's path, or an empty string on failure.
    QString archiveOfRecording(const QString& name, const QByteArray& meta, const QByteArray& data,
                               const QByteArray& fileAfter = QByteArray()) const
    {
        const QString root = path(name);
        QStringList members{QStringLiteral("rec")};
        if (!QDir().mkpath(root + QStringLiteral("/rec"))
            || !writeBytes(root + QStringLiteral("/rec/rec.sigmf-meta"), meta)
            || !writeBytes(root + QStringLiteral("/rec/rec.sigmf-data"), data))
            return QString();
        if (!fileAfter.isNull()) {
            members.append(QStringLiteral("zz-after"));
            if (!writeBytes(root + QStringLiteral("/zz-after"), fileAfter))
                return QString();
        }
        const QString archive = root + QStringLiteral(".sigmf");
        return packWithTar(archive, QStringLiteral("ustar"), root, members) ? archive : QString();
    }

    // Archives made once from rec/rec.sigmf-{meta,data}: packed as ustar, the metadata
    // header is at byte 0, its content at 512, the data header at 1024 and the 3000
    // bytes of samples at 1536.
    void makeArchiveFixtures()
    {
        const QString root = path(QStringLiteral("broken"));
        if (QFileInfo::exists(root))
            return;
        QVERIFY(QDir().mkpath(root + QStringLiteral("/rec")));
        QVERIFY(writeBytes(root + QStringLiteral("/rec/rec.sigmf-meta"), validMeta()));
        QVERIFY(writeBytes(root + QStringLiteral("/rec/rec.sigmf-data"), QByteArray(3000, '\1')));
        QVERIFY(writeBytes(root + QStringLiteral("/rec/second.sigmf-meta"), validMeta()));
        QVERIFY(writeBytes(root + QStringLiteral("/rec/second.sigmf-data"), QByteArray(4, '\0')));
        QVERIFY(writeBytes(root + QStringLiteral("/notes.txt"), "notes"));
        const QString rec = QStringLiteral("rec/rec.sigmf-meta");
        const QString data = QStringLiteral("rec/rec.sigmf-data");
        const QString ustar = QStringLiteral("ustar");
        QVERIFY(packWithTar(path(QStringLiteral("whole.tar")), ustar, root, {rec, data}));
        QVERIFY(packWithTar(path(QStringLiteral("other.sigmf")), ustar, root, {QStringLiteral("notes.txt")}));
        QVERIFY(packWithTar(path(QStringLiteral("nodata.sigmf")), ustar, root, {rec}));
        QVERIFY(
            packWithTar(path(QStringLiteral("two.sigmf")), ustar, root,
                        {rec, data, QStringLiteral("rec/second.sigmf-meta"), QStringLiteral("rec/second.sigmf-data")}));
        const QByteArray whole = testfiles::readBytes(path(QStringLiteral("whole.tar")));
        QVERIFY(whole.size() >= 1536 + 3000);
        QVERIFY(writeBytes(path(QStringLiteral("noise.sigmf")), QByteArray(2048, 'n')));
        QVERIFY(writeBytes(path(QStringLiteral("compressed.sigmf")), qCompress(whole)));
        QVERIFY(writeBytes(path(QStringLiteral("empty.sigmf")), QByteArray(1024, '\0')));
        QVERIFY(writeBytes(path(QStringLiteral("cut-data.sigmf")), whole.left(1536 + 2999)));
        QVERIFY(writeBytes(path(QStringLiteral("cut-header.sigmf")), whole.left(1024 + 100)));
        QByteArray damaged = whole;
        damaged[1024 + 10] = 'X'; // a name byte of the data member's header
        QVERIFY(writeBytes(path(QStringLiteral("damaged.sigmf")), damaged));
        QByteArray badSize = whole;
        badSize[124] = '9';
        fixTarChecksum(badSize, 0); // so that the size itself is what is wrong
        QVERIFY(writeBytes(path(QStringLiteral("badsize.sigmf")), badSize));
        // GNU tar writes sizes beyond 8 GiB in base 256; the same size that way.
        QByteArray base256 = whole;
        base256.replace(1024 + 124, 12, QByteArray::fromHex("800000000000000000000bb8"));
        fixTarChecksum(base256, 1024);
        QVERIFY(writeBytes(path(QStringLiteral("base256.sigmf")), base256));
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void namesEveryDatatype_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sigMfName");
        QTest::addColumn<int>("bytes");
        QTest::newRow("cu8") << "cu8"
                             << "cu8" << 2;
        QTest::newRow("cs8") << "cs8"
                             << "ci8" << 2;
        QTest::newRow("ci8") << "ci8"
                             << "ci8" << 2;
        QTest::newRow("cs16") << "cs16"
                              << "ci16_le" << 4;
        QTest::newRow("ci16_le") << "ci16_le"
                                 << "ci16_le" << 4;
        QTest::newRow("ci16_be") << "ci16_be"
                                 << "ci16_be" << 4;
        QTest::newRow("cu16_le") << "cu16_le"
                                 << "cu16_le" << 4;
        QTest::newRow("ci32_le") << "ci32_le"
                                 << "ci32_le" << 8;
        QTest::newRow("cf32") << "cf32"
                              << "cf32_le" << 8;
        QTest::newRow("cf32_le") << "cf32_le"
                                 << "cf32_le" << 8;
        QTest::newRow("cf64_le") << "cf64_le"
                                 << "cf64_le" << 16;
        QTest::newRow("ri16_le") << "ri16_le"
                                 << "ri16_le" << 2;
        QTest::newRow("rf32_le") << "rf32_le"
                                 << "rf32_le" << 4;
        QTest::newRow("ru8") << "ru8"
                             << "ru8" << 1;
    }

    void namesEveryDatatype()
    {
        QFETCH(QString, name);
        QFETCH(QString, sigMfName);
        QFETCH(int, bytes);
        const std::optional<SampleFormat> format = SampleFormat::fromName(name);
        QVERIFY(format);
        QCOMPARE(format->sigMfName(), sigMfName);
        QCOMPARE(format->bytesPerSample(), bytes);
    }

    void rejectsUnknownDatatypes()
    {
        for (const char* name : {"cu7", "cf16_le", "ci8_le", "xf32", "", "wav"})
            QVERIFY2(!SampleFormat::fromName(QString::fromLatin1(name)), name);
    }

    void decodesEveryDatatypeToFullScale_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QVector<float>>("values");
        QTest::newRow("cu8") << "cu8" << QByteArray("\x00\xff", 2) << QVector<float>{-1.0f, 1.0f};
        QTest::newRow("cs8") << "cs8" << QByteArray("\x80\x40", 2) << QVector<float>{-1.0f, 0.5f};
        QTest::newRow("cs16") << "cs16" << le16({-32768, 16384}) << QVector<float>{-1.0f, 0.5f};
        QTest::newRow("ci16_be") << "ci16_be" << QByteArray("\x80\x00\x40\x00", 4) << QVector<float>{-1.0f, 0.5f};
        QTest::newRow("cu16_le") << "cu16_le" << QByteArray("\x00\x00\xff\xff", 4) << QVector<float>{-1.0f, 1.0f};
        QTest::newRow("ci32_le") << "ci32_le" << QByteArray("\x00\x00\x00\x80\x00\x00\x00\x40", 8)
                                 << QVector<float>{-1.0f, 0.5f};
        // 0.25f = 0x3e800000, -2.0f = 0xc0000000
        QTest::newRow("cf32") << "cf32" << QByteArray("\x00\x00\x80\x3e\x00\x00\x00\xc0", 8)
                              << QVector<float>{0.25f, -2.0f};
        // 0.75 = 0x3fe8000000000000
        QTest::newRow("rf64_le") << "rf64_le" << QByteArray("\x00\x00\x00\x00\x00\x00\xe8\x3f", 8)
                                 << QVector<float>{0.75f};
    }

    void decodesEveryDatatypeToFullScale()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QVector<float>, values);
        const SampleFormat format = *SampleFormat::fromName(name);
        QVector<float> out(values.size());
        format.decode(bytes.constData(), values.size() / format.componentsPerSample(), out.data());
        QCOMPARE(out, values);
    }

    void readsRawFilesOfEveryShortName_data()
    {
        QTest::addColumn<QString>("extension");
        QTest::addColumn<int>("sampleBytes");
        QTest::newRow("cu8") << "cu8" << 2;
        QTest::newRow("cs8") << "cs8" << 2;
        QTest::newRow("cs16") << "cs16" << 4;
        QTest::newRow("cf32") << "cf32" << 8;
    }

    void readsRawFilesOfEveryShortName()
    {
        QFETCH(QString, extension);
        QFETCH(int, sampleBytes);
        const QString file = path(QStringLiteral("capture.") + extension);
        QVERIFY(writeBytes(file, QByteArray(100 * sampleBytes, '\0')));
        InputSettings settings;
        settings.sampleRate = 2.4e6;
        settings.centerFrequency = 100e6;
        settings.startTime = 1700000000.5;
        const OpenedInput input = openInput(file, settings);
        QCOMPARE(input.source->info().sampleCount, qint64(100));
        QVERIFY(input.source->info().complex);
        QCOMPARE(input.source->info().sampleRate, 2.4e6);
        QCOMPARE(input.source->info().centerFrequency, 100e6);
        QCOMPARE(input.source->info().startTime, 1700000000.5);
        QCOMPARE(input.baseName, QStringLiteral("capture"));
        QVERIFY(!input.fromSigMf);
    }

    void rawFileOfBrokenSizeIsRejected()
    {
        const QString file = path(QStringLiteral("broken.cs16"));
        QVERIFY(writeBytes(file, QByteArray(4 * 10 + 3, '\0')));
        InputSettings settings;
        settings.sampleRate = 1e6;
        QVERIFY(failsWith([&] { openInput(file, settings); }, file,
                          QStringLiteral("size of 43 bytes is not a whole number of 4-byte ci16_le samples")));
    }

    void rawInputNeedsSampleRateAndDatatype()
    {
        const QString file = path(QStringLiteral("nodetails.raw"));
        QVERIFY(writeBytes(file, QByteArray(64, '\0')));
        InputSettings settings;
        settings.sampleRate = 1e6;
        QVERIFY(failsWith([&] { openInput(file, settings); }, file, QStringLiteral("needs --datatype")));
        settings.sampleRate.reset();
        settings.datatype = SampleFormat::fromName(QStringLiteral("cu8"));
        QVERIFY(failsWith([&] { openInput(file, settings); }, file, QStringLiteral("needs --sample-rate")));
        settings.sampleRate = 0.0;
        QVERIFY(failsWith([&] { openInput(file, settings); }, QStringLiteral("--sample-rate"),
                          QStringLiteral("must be a positive number")));
    }

    void missingFileIsNamed()
    {
        const QString file = path(QStringLiteral("nothere.cf32"));
        InputSettings settings;
        settings.sampleRate = 1e6;
        QVERIFY(failsWith([&] { openInput(file, settings); }, file, QStringLiteral("No such file")));
        QVERIFY(failsWith([&] { openInput(path(QStringLiteral("nothere.wav")), {}); },
                          path(QStringLiteral("nothere.wav")), QStringLiteral("No such file")));
    }

    void parsesSigMfMetadata()
    {
        const SigMfMetadata meta = SigMfMetadata::parse(validMeta(), QStringLiteral("x.sigmf-meta"));
        QCOMPARE(meta.format.sigMfName(), QStringLiteral("ci16_le"));
        QCOMPARE(meta.sampleRate, 48000.0);
        QCOMPARE(*meta.frequency, 433920000.0);
        QCOMPARE(*meta.startTime, 1714558830.00025);
        QCOMPARE(meta.captureCount, 1);
        QCOMPARE(meta.annotations.size(), 2);
        QCOMPARE(meta.annotations[0].sampleStart, qint64(4800));
        QCOMPARE(*meta.annotations[0].sampleCount, qint64(9600));
        QCOMPARE(*meta.annotations[0].freqLowerEdge, 433900000.0);
        QCOMPARE(*meta.annotations[0].freqUpperEdge, 433940000.0);
        QCOMPARE(meta.annotations[0].label, QStringLiteral("key fob"));
        QCOMPARE(meta.annotations[0].uuid, QStringLiteral("u-1"));
        QVERIFY(!meta.annotations[1].sampleCount);
        QVERIFY(!meta.annotations[1].freqLowerEdge);
    }

    void acceptsEverySigMfDatatype_data()
    {
        QTest::addColumn<QString>("datatype");
        for (const char* name : {"cu8", "ci8", "ci16_le", "ci16_be", "cu16_le", "ci32_le", "cf32_le", "cf32_be",
                                 "cf64_le", "ru8", "ri8", "ri16_le", "rf32_le", "rf64_be"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void acceptsEverySigMfDatatype()
    {
        QFETCH(QString, datatype);
        QCOMPARE(SigMfMetadata::parse(validMeta(datatype), QStringLiteral("x")).format.sigMfName(), datatype);
    }

    void rejectsBrokenSigMfMetadata_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("problem");
        QTest::newRow("malformed JSON") << QByteArray("{\"global\": {") << "malformed JSON at byte";
        QTest::newRow("not an object") << QByteArray("[1, 2]") << "must hold a JSON object";
        QTest::newRow("no global") << QByteArray("{}") << "\"global\" must be a JSON object";
        QTest::newRow("no datatype") << QByteArray(R"({"global": {"core:sample_rate": 1000}})")
                                     << "global core:datatype is missing";
        QTest::newRow("unknown datatype")
            << QByteArray(R"({"global": {"core:datatype": "cf16_le", "core:sample_rate": 1000}})")
            << "\"cf16_le\" is not a supported SigMF datatype";
        QTest::newRow("raw short name") << QByteArray(
            R"({"global": {"core:datatype": "cs16", "core:sample_rate": 1000}})")
                                        << "\"cs16\" is not a supported SigMF datatype";
        QTest::newRow("no sample rate") << QByteArray(R"({"global": {"core:datatype": "cf32_le"}})")
                                        << "global core:sample_rate is missing";
        QTest::newRow("sample rate 0") << QByteArray(
            R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 0}})")
                                       << "global core:sample_rate must be positive, the file says 0";
        QTest::newRow("sample rate text")
            << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": "fast"}})")
            << "global core:sample_rate must be a number";
        QTest::newRow("bad datetime") << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1},
                              "captures": [{"core:datetime": "noon"}]})")
                                      << "captures[0] core:datetime \"noon\" is not an ISO 8601 date and time";
        QTest::newRow("captures not an array")
            << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1}, "captures": 3})")
            << "\"captures\" must be a JSON array";
        QTest::newRow("annotation without start")
            << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1},
                              "annotations": [{"core:label": "x"}]})")
            << "annotations[0] core:sample_start is missing";
        QTest::newRow("negative count") << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1},
                              "annotations": [{"core:sample_start": 0, "core:sample_count": -5}]})")
                                        << "annotations[0] core:sample_count must be a non-negative integer";
        QTest::newRow("edges upside down")
            << QByteArray(R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1},
                              "annotations": [{"core:sample_start": 0, "core:freq_lower_edge": 5,
                                               "core:freq_upper_edge": 4}]})")
            << "annotations[0] core:freq_upper_edge is below core:freq_lower_edge";
    }

    void rejectsBrokenSigMfMetadata()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, problem);
        QVERIFY(failsWith([&] { SigMfMetadata::parse(json, QStringLiteral("rec.sigmf-meta")); },
                          QStringLiteral("rec.sigmf-meta"), problem));
    }

    void opensSigMfByEitherFile()
    {
        const QString meta = path(QStringLiteral("fob.sigmf-meta"));
        const QString data = path(QStringLiteral("fob.sigmf-data"));
        QVERIFY(writeBytes(meta, validMeta()));
        QVERIFY(writeBytes(data, le16({1, 2, 3, 4, 5, 6})));
        for (const QString& given : {meta, data}) {
            const OpenedInput input = openInput(given, {});
            QVERIFY(input.fromSigMf);
            QCOMPARE(input.baseName, QStringLiteral("fob"));
            QCOMPARE(input.source->fileName(), data);
            QCOMPARE(input.source->info().sampleCount, qint64(3));
            QCOMPARE(input.source->info().centerFrequency, 433920000.0);
            QCOMPARE(input.source->info().startTime, 1714558830.00025);
            QCOMPARE(input.annotations.size(), 2);
            QCOMPARE(input.warnings, QStringList());
            const std::vector<float> values = readAll(*input.source);
            QCOMPARE(values.size(), size_t(6));
            QCOMPARE(values[5], 6.0f / 32768.0f);
        }
        // Options override the metadata.
        InputSettings settings;
        settings.centerFrequency = 1e6;
        settings.startTime = 5.0;
        const OpenedInput overridden = openInput(meta, settings);
        QCOMPARE(overridden.source->info().centerFrequency, 1e6);
        QCOMPARE(overridden.source->info().startTime, 5.0);
    }

    void laterCapturesAreNamedInAWarning()
    {
        QByteArray json = validMeta();
        json.replace("\"captures\": [{", "\"captures\": [{\"core:sample_start\": 0}, {\"core:sample_start\": 2, ");
        json.replace("\"core:sample_start\": 0, \"core:frequency\"", "\"core:frequency\"");
        const SigMfMetadata meta = SigMfMetadata::parse(json, QStringLiteral("two.sigmf-meta"));
        QCOMPARE(meta.captureCount, 2);
        QVERIFY(!meta.frequency); // the first capture has none; the second's is not used

        const QString metaPath = path(QStringLiteral("captures.sigmf-meta"));
        QVERIFY(writeBytes(metaPath, json));
        QVERIFY(writeBytes(path(QStringLiteral("captures.sigmf-data")), le16({1, 2, 3, 4})));
        const OpenedInput loose = openInput(metaPath, {});
        QCOMPARE(loose.warnings,
                 QStringList{metaPath
                             + QStringLiteral(": holds 2 captures; the first one's frequency and start time "
                                              "apply to the whole recording")});

        const QString archive = archiveOfRecording(QStringLiteral("captures-archive"), json, le16({1, 2, 3, 4}));
        QVERIFY(!archive.isEmpty());
        QCOMPARE(openInput(archive, {}).warnings,
                 QStringList{archive
                             + QStringLiteral(": rec/rec.sigmf-meta: holds 2 captures; the first one's frequency "
                                              "and start time apply to the whole recording")});
    }

    void sigMfWithoutDataFileIsRejected()
    {
        const QString meta = path(QStringLiteral("lonely.sigmf-meta"));
        QVERIFY(writeBytes(meta, validMeta()));
        QVERIFY(failsWith([&] { openInput(meta, {}); }, path(QStringLiteral("lonely.sigmf-data")),
                          QStringLiteral("the data file of lonely.sigmf-meta is missing")));
    }

    void sigMfDataOfWrongSizeIsRejected()
    {
        const QString meta = path(QStringLiteral("odd.sigmf-meta"));
        QVERIFY(writeBytes(meta, validMeta(QStringLiteral("cf32_le"))));
        QVERIFY(writeBytes(path(QStringLiteral("odd.sigmf-data")), QByteArray(8 * 5 + 4, '\0')));
        QVERIFY(failsWith([&] { openInput(meta, {}); }, path(QStringLiteral("odd.sigmf-data")),
                          QStringLiteral("size of 44 bytes is not a whole number of 8-byte cf32_le samples")));
    }

    void malformedSigMfFileIsNamed()
    {
        const QString meta = path(QStringLiteral("bad.sigmf-meta"));
        QVERIFY(writeBytes(meta, "{\"global\": [}"));
        QVERIFY(writeBytes(path(QStringLiteral("bad.sigmf-data")), QByteArray(8, '\0')));
        QVERIFY(failsWith([&] { openInput(meta, {}); }, meta, QStringLiteral("malformed JSON")));
    }

    // SigMF archives

    void readsArchivesOfEveryTarFormat_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("folder");
        // Paths of more than 100 bytes: pax and GNU records, or ustar's prefix field.
        const QString longFolder = QStringLiteral("a-folder-name-long-enough-that-the-whole-path/"
                                                  "no-longer-fits-the-hundred-bytes-of-a-classic-tar-header");
        for (const char* format : {"ustar", "pax", "gnu", "v7"})
            QTest::addRow("%s", format) << QString::fromLatin1(format) << QStringLiteral("fob");
        for (const char* format : {"ustar", "pax", "gnu"})
            QTest::addRow("%s, long names", format) << QString::fromLatin1(format) << longFolder;
    }

    void readsArchivesOfEveryTarFormat()
    {
        QFETCH(QString, format);
        QFETCH(QString, folder);
        const QString root = path(QStringLiteral("archive-") + format + QString::number(folder.size()));
        QVERIFY(QDir().mkpath(root + QLatin1Char('/') + folder));
        // A file before the recording and an odd data size: members start at block boundaries.
        QVERIFY(writeBytes(root + QStringLiteral("/README"), QByteArray(700, 'r')));
        QVERIFY(writeBytes(root + QLatin1Char('/') + folder + QStringLiteral("/fob.sigmf-meta"), validMeta()));
        QVERIFY(
            writeBytes(root + QLatin1Char('/') + folder + QStringLiteral("/fob.sigmf-data"), le16({1, 2, 3, 4, 5, 6})));
        const QString archive = root + QStringLiteral(".sigmf");
        QVERIFY(packWithTar(archive, format, root, {QStringLiteral("README"), folder}));

        const OpenedInput input = openInput(archive, {});
        QVERIFY(input.fromSigMf);
        QCOMPARE(input.baseName, QStringLiteral("fob"));
        QCOMPARE(input.source->fileName(), archive + QStringLiteral(": ") + folder + QStringLiteral("/fob.sigmf-data"));
        QCOMPARE(input.source->info().sampleCount, qint64(3));
        QVERIFY(input.source->info().complex);
        QCOMPARE(input.source->info().sampleRate, 48000.0);
        QCOMPARE(input.source->info().centerFrequency, 433920000.0);
        QCOMPARE(input.source->info().startTime, 1714558830.00025);
        QCOMPARE(input.annotations.size(), 2);
        QCOMPARE(input.annotations.at(0).label, QStringLiteral("key fob"));
        // Exactly the member's samples: reading stops before the archive's padding.
        std::vector<float> values(20, -1.0f);
        QCOMPARE(input.source->read(values.data(), 10), qint64(3));
        for (int i = 0; i < 6; ++i)
            QCOMPARE(values[size_t(i)], float(i + 1) / 32768.0f);
        QCOMPARE(values[6], -1.0f);
        QCOMPARE(input.source->read(values.data(), 10), qint64(0));
    }

    void archiveSamplesCanBeSkipped()
    {
        const QString archive = archiveOfRecording(QStringLiteral("skipping"), validMeta(),
                                                   le16({1, 2, 3, 4, 5, 6, 7, 8}), QByteArray(1024, 'z'));
        QVERIFY(!archive.isEmpty());
        const OpenedInput input = openInput(archive, {});
        QCOMPARE(input.source->skip(1), qint64(1));
        std::vector<float> values(4);
        QCOMPARE(input.source->read(values.data(), 2), qint64(2));
        QCOMPARE(values, (std::vector<float>{3 / 32768.0f, 4 / 32768.0f, 5 / 32768.0f, 6 / 32768.0f}));
        QCOMPARE(input.source->skip(10), qint64(1)); // the member ends; the file goes on
        QCOMPARE(input.source->read(values.data(), 2), qint64(0));
    }

    void brokenArchivesAreRejected_data()
    {
        QTest::addColumn<QString>("archiveName");
        QTest::addColumn<QString>("problem");
        QTest::newRow("not tar") << QStringLiteral("noise.sigmf")
                                 << QStringLiteral("is not a tar archive (SigMF archives are uncompressed tar files)");
        QTest::newRow("compressed") << QStringLiteral(
            "compressed.sigmf") << QStringLiteral("is not a tar archive (SigMF archives are uncompressed tar files)");
        QTest::newRow("empty") << QStringLiteral("empty.sigmf") << QStringLiteral("holds no *.sigmf-meta member");
        QTest::newRow("no recording") << QStringLiteral("other.sigmf")
                                      << QStringLiteral("holds no *.sigmf-meta member");
        QTest::newRow("no data") << QStringLiteral("nodata.sigmf")
                                 << QStringLiteral("holds rec/rec.sigmf-meta but not rec/rec.sigmf-data");
        QTest::newRow("two recordings") << QStringLiteral("two.sigmf")
                                        << QStringLiteral("holds 2 recordings; unpack it and convert them one by one");
        QTest::newRow("cut in data") << QStringLiteral("cut-data.sigmf")
                                     << QStringLiteral("is cut short: a member needs 3000 bytes at byte 1536");
        QTest::newRow("cut in header") << QStringLiteral("cut-header.sigmf")
                                       << QStringLiteral("is cut short inside the header at byte 1024");
        QTest::newRow("damaged header") << QStringLiteral("damaged.sigmf")
                                        << QStringLiteral("has a damaged header at byte 1024");
        QTest::newRow("bad size") << QStringLiteral("badsize.sigmf")
                                  << QStringLiteral("has a malformed size at byte 124");
    }

    void brokenArchivesAreRejected()
    {
        QFETCH(QString, archiveName);
        QFETCH(QString, problem);
        makeArchiveFixtures();
        QVERIFY(!QTest::currentTestFailed());
        const QString archive = path(archiveName);
        QVERIFY(failsWith([&] { openInput(archive, {}); }, archive, problem));
    }

    void base256SizesAreRead()
    {
        makeArchiveFixtures();
        QVERIFY(!QTest::currentTestFailed());
        const QString archive = path(QStringLiteral("base256.sigmf"));
        const OpenedInput input = openInput(archive, {});
        QCOMPARE(input.source->info().sampleCount, qint64(3000 / 4));
    }

    void damagedArchivesNeverCrash()
    {
        // Seeded byte damage all over a small pax archive with a long name: every copy
        // either opens and reads exactly the samples it declares, or is refused.
        const QString folder = QStringLiteral("long-folder-name-to-make-tar-write-a-pax-record-for-the-path/rec");
        const QString root = path(QStringLiteral("fuzz"));
        QVERIFY(QDir().mkpath(root + QLatin1Char('/') + folder));
        QVERIFY(writeBytes(root + QLatin1Char('/') + folder + QStringLiteral("/rec.sigmf-meta"), validMeta()));
        QVERIFY(
            writeBytes(root + QLatin1Char('/') + folder + QStringLiteral("/rec.sigmf-data"), le16({1, 2, 3, 4, 5, 6})));
        QVERIFY(packWithTar(path(QStringLiteral("fuzz.tar")), QStringLiteral("pax"), root, {folder}));
        const QByteArray original = testfiles::readBytes(path(QStringLiteral("fuzz.tar")));
        const int headerEnd = std::min(original.size(), 4096); // where the headers and metadata are
        quint32 random = 2024;
        const auto next = [&random] { return random = random * 1664525u + 1013904223u; };
        const QString archive = path(QStringLiteral("fuzzed.sigmf"));
        int opened = 0;
        int refused = 0;
        for (int round = 0; round < 1500; ++round) {
            QByteArray damaged = original;
            const int changes = 1 + int(next() % 4);
            for (int c = 0; c < changes; ++c)
                damaged[int(next() % quint32(headerEnd))] = char(next() >> 24);
            if (round % 10 == 0)
                damaged.truncate(int(next() % quint32(damaged.size())));
            QVERIFY(writeBytes(archive, damaged));
            try {
                const OpenedInput input = openInput(archive, {});
                const qint64 declared = input.source->info().sampleCount;
                std::vector<float> values(size_t(declared * 2 + 2));
                QCOMPARE(input.source->read(values.data(), declared + 1), declared);
                ++opened;
            } catch (const mivo::apps::Error&) {
                ++refused;
            }
        }
        QCOMPARE(opened + refused, 1500);
        QVERIFY(opened > 0);
        QVERIFY(refused > 0);
    }

    void brokenRecordingInAnArchiveIsNamed_data()
    {
        QTest::addColumn<QByteArray>("meta");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("member");
        QTest::addColumn<QString>("problem");
        QTest::newRow("malformed metadata") << QByteArray("{\"global\": [}") << QByteArray(8, '\0')
                                            << QStringLiteral("rec/rec.sigmf-meta") << QStringLiteral("malformed JSON");
        QTest::newRow("data of wrong size")
            << validMeta(QStringLiteral("cf32_le")) << QByteArray(8 * 5 + 4, '\0')
            << QStringLiteral("rec/rec.sigmf-data")
            << QStringLiteral("size of 44 bytes is not a whole number of 8-byte cf32_le samples");
    }

    void brokenRecordingInAnArchiveIsNamed()
    {
        QFETCH(QByteArray, meta);
        QFETCH(QByteArray, data);
        QFETCH(QString, member);
        QFETCH(QString, problem);
        const QString archive = archiveOfRecording(
            QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-')), meta, data);
        QVERIFY(!archive.isEmpty());
        QVERIFY(failsWith([&] { openInput(archive, {}); }, archive + QStringLiteral(": ") + member, problem));
    }

    void regionBeyondTheFileIsRejected()
    {
        const QString file = path(QStringLiteral("short.cs16"));
        QVERIFY(writeBytes(file, le16({1, 2, 3, 4})));
        SignalInfo info;
        info.sampleRate = 1000.0;
        const SampleFormat format = *SampleFormat::fromName(QStringLiteral("cs16"));
        FileRegion region;
        region.offset = 4;
        region.size = 8;
        region.name = QStringLiteral("member");
        QVERIFY(failsWith([&] { RawSignalSource(file, format, info, region); }, QStringLiteral("member"),
                          QStringLiteral("ends before its 8 bytes of samples")));
        region.size = 4;
        RawSignalSource inside(file, format, info, region);
        QCOMPARE(inside.info().sampleCount, qint64(1));
        std::vector<float> values(4, -1.0f);
        QCOMPARE(inside.read(values.data(), 2), qint64(1));
        QCOMPARE(values, (std::vector<float>{3 / 32768.0f, 4 / 32768.0f, -1.0f, -1.0f}));
    }

    void readsWavThroughLibsndfile()
    {
        const QString file = path(QStringLiteral("stereo.wav"));
        std::vector<short> samples;
        for (short i = 0; i < 1000; ++i) {
            samples.push_back(short(i * 10)); // left
            samples.push_back(short(-i * 20)); // right
        }
        writeWav(file, 2, 44100, samples);

        InputSettings settings;
        settings.startTime = 1700000000.0;
        const OpenedInput left = openInput(file, settings);
        QVERIFY(!left.source->info().complex);
        QCOMPARE(left.source->info().sampleRate, 44100.0);
        QCOMPARE(left.source->info().sampleCount, qint64(1000));
        QCOMPARE(left.source->info().startTime, 1700000000.0);
        QCOMPARE(left.baseName, QStringLiteral("stereo"));
        const std::vector<float> leftValues = readAll(*left.source);
        QCOMPARE(leftValues[999], 9990.0f / 32768.0f);

        settings.channel = 1;
        const OpenedInput right = openInput(file, settings);
        const std::vector<float> rightValues = readAll(*right.source);
        QCOMPARE(rightValues.size(), size_t(1000));
        QCOMPARE(rightValues[999], -19980.0f / 32768.0f);

        settings.channel = 2;
        QVERIFY(failsWith([&] { openInput(file, settings); }, file,
                          QStringLiteral("has 2 channel(s); --channel 2 does not exist")));
    }

    void sixteenBitSamplesReadAsLibsndfileScalesThem()
    {
        // Every 16-bit value, in a mono and (right channel) a stereo file.
        std::vector<short> mono, stereo;
        for (int v = -32768; v <= 32767; ++v) {
            mono.push_back(short(v));
            stereo.push_back(0);
            stereo.push_back(short(v));
        }
        const QString monoFile = path(QStringLiteral("all-values.wav"));
        const QString stereoFile = path(QStringLiteral("all-values-stereo.wav"));
        writeWav(monoFile, 1, 8000, mono);
        writeWav(stereoFile, 2, 8000, stereo);

        // libsndfile's own conversion to float.
        SF_INFO info{};
        SNDFILE* file = sf_open(QFile::encodeName(monoFile).constData(), SFM_READ, &info);
        QVERIFY(file);
        std::vector<float> expected(65536);
        QCOMPARE(sf_readf_float(file, expected.data(), 65536), sf_count_t(65536));
        sf_close(file);

        InputSettings settings;
        QCOMPARE(readAll(*openInput(monoFile, settings).source), expected);
        settings.channel = 1;
        QCOMPARE(readAll(*openInput(stereoFile, settings).source), expected);
        QCOMPARE(expected.front(), -1.0f);
        QCOMPARE(expected.back(), 32767.0f / 32768.0f);
    }

    void floatSamplesReadAsTheyAre()
    {
        const QString file = path(QStringLiteral("float.wav"));
        SF_INFO info{};
        info.channels = 1;
        info.samplerate = 8000;
        info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
        SNDFILE* out = sf_open(QFile::encodeName(file).constData(), SFM_WRITE, &info);
        QVERIFY(out);
        const std::vector<float> values{0.1f, -0.25f, 1.5f, 1e-7f};
        QCOMPARE(sf_writef_float(out, values.data(), 4), sf_count_t(4));
        sf_close(out);
        QCOMPARE(readAll(*openInput(file, InputSettings()).source), values);
    }

    void soundFileRejectsOptionsOfRawInput()
    {
        const QString file = path(QStringLiteral("mono.wav"));
        writeWav(file, 1, 8000, std::vector<short>(100, 0));
        InputSettings settings;
        settings.centerFrequency = 1e6;
        QVERIFY(failsWith([&] { openInput(file, settings); }, QStringLiteral("--center-frequency"),
                          QStringLiteral("applies to complex I/Q input only")));
    }

    void unknownFormatIsRejected()
    {
        const QString file = path(QStringLiteral("notes.txt"));
        QVERIFY(writeBytes(file, "just some text, not a recording\n"));
        QVERIFY(failsWith([&] { openInput(file, {}); }, file, QStringLiteral("not a sound file libsndfile can read")));
    }
};

QTEST_GUILESS_MAIN(TestTilegenReaders)
#include "tst_tilegen_readers.moc"
