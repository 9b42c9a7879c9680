// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TestFiles.h"

#include "RadioScene.h"

#include "core/AnnotationExport.h"
#include "core/InputOpener.h"
#include "core/SourcePublisher.h"
#include "core/TileEncoder.h"
#include "core/TileGenerator.h"
#include <common/Error.h>

#include <QBuffer>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#endif

using namespace mivo::tilegen;
using testfiles::readBytes;
using testfiles::snapshot;

namespace {

QJsonObject jsonObject(const QString& path)
{
    return QJsonDocument::fromJson(readBytes(path)).object();
}

// PNG colour type from the IHDR chunk: 0 grey, 2 RGB, 3 palette.
int pngColourType(const QByteArray& png)
{
    return png.size() > 25 ? int(quint8(png[25])) : -1;
}

// The inode flags of a directory (FS_IOC_GETFLAGS), or -1 where the file system has none.
int directoryFlags(const QString& path)
{
#if defined(FS_IOC_GETFLAGS)
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return -1;
    int flags = 0;
    const bool read = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    ::close(fd);
    return read ? flags : -1;
#else
    Q_UNUSED(path);
    return -1;
#endif
}

bool setDirectoryFlags(const QString& path, int flags)
{
#if defined(FS_IOC_SETFLAGS)
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    const bool set = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    ::close(fd);
    return set;
#else
    Q_UNUSED(path);
    Q_UNUSED(flags);
    return false;
#endif
}

int pngBitDepth(const QByteArray& png)
{
    return png.size() > 24 ? int(quint8(png[24])) : -1;
}

// A two-second scene from the test-recording generator as a cf32 file.
QString writeScene(const QString& path, double seconds)
{
    mivo::synth::SceneTiming timing;
    timing.sampleRate = 125000.0;
    timing.sampleCount = qint64(seconds * timing.sampleRate);
    mivo::synth::RadioScene scene(timing, 42);
    std::vector<std::complex<float>> samples(size_t(timing.sampleCount));
    scene.render(0, int(timing.sampleCount), samples.data());
    testfiles::writeBytes(path, testfiles::cf32(timing.sampleCount, [&](qint64 n) { return samples[size_t(n)]; }));
    return path;
}

} // namespace

class TestTilegenOutput : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_scene;

    InputSettings sceneInput() const
    {
        InputSettings input;
        input.sampleRate = 125000.0;
        input.centerFrequency = 433.5e6;
        input.startTime = 1714558830.25;
        return input;
    }

    TileGeneratorSettings sceneSettings(int threads) const
    {
        TileGeneratorSettings settings;
        settings.fftSize = 256;
        settings.tileSize = 64;
        settings.threads = threads;
        settings.sourceId = QStringLiteral("scene");
        return settings;
    }

    TileGeneratorResult generate(const TileGeneratorSettings& settings, const QString& output,
                                 SourcePublisher::FileWriter writer = &SourcePublisher::writeFileAtomically)
    {
        TileGenerator generator(settings, openInput(m_scene, sceneInput()), output);
        generator.setFileWriter(std::move(writer));
        return generator.run();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_scene = writeScene(m_dir.filePath(QStringLiteral("scene.cf32")), 2.0);
    }

    void tileIndicesSurviveTheWaterfallsDecoding()
    {
        QImage tile(16, 16, QImage::Format_Indexed8);
        for (int i = 0; i < 256; ++i)
            tile.scanLine(i / 16)[i % 16] = uchar(i);
        const QByteArray png = TileEncoder().encode(tile);
        QCOMPARE(png.left(8), QByteArray("\x89PNG\r\n\x1a\n"));
        QCOMPARE(pngColourType(png), 3);
        QCOMPARE(pngBitDepth(png), 8);

        // The waterfall's decoding: loadFromData, then convertToFormat(Indexed8).
        QImage decoded;
        QVERIFY(decoded.loadFromData(png, "PNG"));
        decoded = decoded.convertToFormat(QImage::Format_Indexed8);
        QCOMPARE(decoded.size(), QSize(16, 16));
        for (int i = 0; i < 256; ++i)
            QCOMPARE(decoded.pixelIndex(i % 16, i / 16), i);

        // And through the library's tile parser, where the library has it.
        const QImage parsed = testfiles::decodeTile(png);
        QCOMPARE(parsed.size(), QSize(16, 16));
        for (int i = 0; i < 256; ++i)
            QCOMPARE(parsed.pixelIndex(i % 16, i / 16), i);
    }

    void greyRampTableWouldBeWrittenAsGreyscalePng()
    {
        // Why tiles carry a colour palette: with the identity grey table Qt writes a
        // greyscale PNG, which decodes as Grayscale8, not Indexed8, so the indices would
        // depend on Qt's Grayscale8 -> Indexed8 conversion instead of passing through.
        QImage tile(16, 16, QImage::Format_Indexed8);
        QVector<QRgb> grey;
        for (int i = 0; i < 256; ++i)
            grey.append(qRgb(i, i, i));
        tile.setColorTable(grey);
        tile.fill(40);
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(QImageWriter(&buffer, "png").write(tile));
        QCOMPARE(pngColourType(png), 0);
        QImage decoded;
        QVERIFY(decoded.loadFromData(png, "PNG"));
        QCOMPARE(decoded.format(), QImage::Format_Grayscale8);

        // Our tiles decode to Indexed8 directly; the palette is no grey ramp.
        QVERIFY(TileEncoder::palette() != grey);
        QImage ours;
        QVERIFY(ours.loadFromData(TileEncoder().encode(tile), "PNG"));
        QCOMPARE(ours.format(), QImage::Format_Indexed8);
        QCOMPARE(ours.pixelIndex(3, 3), 40);
    }

    void writesTheDocumentsOfASource()
    {
        const QString output = m_dir.filePath(QStringLiteral("documents"));
        const TileGeneratorResult result = generate(sceneSettings(2), output);
        QCOMPARE(result.sourceDirectory, output + QStringLiteral("/scene"));

        const QJsonObject descriptor = jsonObject(output + QStringLiteral("/scene/tiledescriptor.json"));
        QCOMPARE(descriptor.value(QStringLiteral("name")).toString(), QStringLiteral("scene"));
        const QJsonObject x = descriptor.value(QStringLiteral("xaxis")).toObject();
        const QJsonObject y = descriptor.value(QStringLiteral("yaxis")).toObject();
        QCOMPARE(x.value(QStringLiteral("basevalue")).toDouble(), 125000.0 / 256);
        QCOMPARE(y.value(QStringLiteral("basevalue")).toDouble(), 128 / 125000.0);
        QCOMPARE(x.value(QStringLiteral("tilesize")).toInt(), 64);
        QCOMPARE(y.value(QStringLiteral("tilesize")).toInt(), 64);
        QCOMPARE(x.value(QStringLiteral("minzoomlevel")).toInt(), 0);
        QCOMPARE(y.value(QStringLiteral("minzoomlevel")).toInt(), 0);
        QCOMPARE(x.value(QStringLiteral("maxzoomlevel")).toInt(), result.topXZoom);
        QCOMPARE(y.value(QStringLiteral("maxzoomlevel")).toInt(), result.topYZoom);
        QCOMPARE(descriptor.keys(), QStringList({"name", "xaxis", "yaxis"}));

        const QJsonObject extents = jsonObject(output + QStringLiteral("/scene/tileextents.json"));
        QCOMPARE(extents.value(QStringLiteral("x")).toObject().value(QStringLiteral("min")).toDouble(),
                 433.5e6 - 62500);
        QCOMPARE(extents.value(QStringLiteral("x")).toObject().value(QStringLiteral("max")).toDouble(),
                 433.5e6 + 62500);
        QCOMPARE(extents.value(QStringLiteral("y")).toObject().value(QStringLiteral("min")).toDouble(), 1714558830.25);
        QCOMPARE(extents.value(QStringLiteral("y")).toObject().value(QStringLiteral("max")).toDouble(), 1714558832.25);

        QCOMPARE(readBytes(output + QStringLiteral("/tilesources.json")), QByteArray("[\n    \"scene\"\n]\n"));
        // Raw input has no annotations, so no workspace.
        QVERIFY(!QFileInfo::exists(output + QStringLiteral("/scene/workspace.json")));

        // Every tile is a 64 x 64 palette PNG at <yZoom>/<y>/<xZoom>/<x>.png.
        const QMap<QString, QByteArray> files = snapshot(result.sourceDirectory);
        quint64 tiles = 0;
        for (auto it = files.begin(); it != files.end(); ++it) {
            if (!it.key().endsWith(QLatin1String(".png")))
                continue;
            ++tiles;
            QVERIFY(QRegularExpression(QStringLiteral("^\\d+/\\d+/\\d+/\\d+\\.png$")).match(it.key()).hasMatch());
            QCOMPARE(pngColourType(it.value()), 3);
            QCOMPARE(testfiles::decodeTile(it.value()).size(), QSize(64, 64));
        }
        QCOMPARE(tiles, result.tilesWritten);
        QCOMPARE(files.size(), int(tiles) + 2);
    }

    void mergesTheListOfSources()
    {
        const QString output = m_dir.filePath(QStringLiteral("merge"));
        QVERIFY(QDir().mkpath(output));
        QVERIFY(
            testfiles::writeBytes(output + QStringLiteral("/tilesources.json"), "[\"alpha\", \"scene\", \"beta\"]"));
        generate(sceneSettings(1), output);
        QCOMPARE(QJsonDocument::fromJson(readBytes(output + QStringLiteral("/tilesources.json"))).array(),
                 QJsonArray({"alpha", "scene", "beta"}));
        TileGeneratorSettings other = sceneSettings(1);
        other.sourceId = QStringLiteral("gamma");
        generate(other, output);
        generate(other, output);
        QCOMPARE(QJsonDocument::fromJson(readBytes(output + QStringLiteral("/tilesources.json"))).array(),
                 QJsonArray({"alpha", "scene", "beta", "gamma"}));
    }

    void malformedSourceListStopsBeforeAnythingIsWritten()
    {
        const QString output = m_dir.filePath(QStringLiteral("badlist"));
        QVERIFY(QDir().mkpath(output));
        QVERIFY(testfiles::writeBytes(output + QStringLiteral("/tilesources.json"), "{\"not\": \"a list\"}"));
        try {
            generate(sceneSettings(2), output);
            QFAIL("no error");
        } catch (const mivo::apps::Error& error) {
            QCOMPARE(error.message(),
                     output + QStringLiteral("/tilesources.json: must hold a JSON array of source ids"));
        }
        QCOMPARE(QDir(output).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("tilesources.json")});
    }

    void oneAndTwoThreadsWriteTheSameBytes()
    {
        const QString one = m_dir.filePath(QStringLiteral("threads1"));
        const QString two = m_dir.filePath(QStringLiteral("threads2"));
        const TileGeneratorResult a = generate(sceneSettings(1), one);
        const TileGeneratorResult b = generate(sceneSettings(2), two);
        QVERIFY(a.tilesWritten > 100);
        QCOMPARE(a.tilesWritten, b.tilesWritten);
        const QMap<QString, QByteArray> filesOne = snapshot(one);
        const QMap<QString, QByteArray> filesTwo = snapshot(two);
        QCOMPARE(filesOne.keys(), filesTwo.keys());
        for (auto it = filesOne.begin(); it != filesOne.end(); ++it)
            QVERIFY2(it.value() == filesTwo.value(it.key()), qPrintable(it.key()));
    }

    void progressCountsTheFramesThenTheCoarserTiles()
    {
        TileGenerator generator(sceneSettings(1), openInput(m_scene, sceneInput()),
                                m_dir.filePath(QStringLiteral("progress")));
        QVector<TileGeneratorProgress> reports;
        generator.setProgressCallback([&reports](const TileGeneratorProgress& progress) { reports.append(progress); });
        const TileGeneratorResult result = generator.run();
        QVERIFY(reports.size() >= 3);
        for (int i = 0; i < reports.size(); ++i) {
            QCOMPARE(reports.at(i).framesTotal, result.frames);
            if (i > 0 && i < reports.size() - 1)
                QVERIFY(reports.at(i).framesDone > reports.at(i - 1).framesDone);
        }
        const TileGeneratorProgress& lastFrame = reports.at(reports.size() - 2);
        const TileGeneratorProgress& afterAll = reports.last();
        QCOMPARE(lastFrame.framesDone, result.frames);
        QCOMPARE(afterAll.framesDone, result.frames);
        QCOMPARE(afterAll.signalSecondsDone, lastFrame.signalSecondsDone);
        // 2 s of signal; the last frame starts within one FFT of the end.
        QVERIFY(afterAll.signalSecondsDone <= 2.0);
        QVERIFY(afterAll.signalSecondsDone > 2.0 - 256.0 / 125000.0);
        // The coarser levels are written after the last frame; only the final report has them.
        QVERIFY(lastFrame.tilesWritten < result.tilesWritten);
        QCOMPARE(afterAll.tilesWritten, result.tilesWritten);
    }

    void failedWriteLeavesTheExistingPyramidIntact_data()
    {
        QTest::addColumn<QString>("failingFile");
        QTest::addColumn<int>("threads");
        QTest::newRow("a tile, 1 thread") << "tile 25" << 1;
        QTest::newRow("a tile, 2 threads") << "tile 25" << 2;
        QTest::newRow("the extents") << "tileextents.json" << 2;
        QTest::newRow("the descriptor") << "tiledescriptor.json" << 2;
    }

    void failedWriteLeavesTheExistingPyramidIntact()
    {
        QFETCH(QString, failingFile);
        QFETCH(int, threads);
        const QString output = m_dir.filePath(QStringLiteral("atomic-%1-%2")
                                                  .arg(QTest::currentDataTag())
                                                  .arg(threads)
                                                  .replace(QLatin1Char(' '), QLatin1Char('_'))
                                                  .replace(QLatin1Char(','), QLatin1Char('_')));
        // An earlier pyramid of the same source, with other levels.
        TileGeneratorSettings earlier = sceneSettings(2);
        earlier.levelOffset = 30.0;
        generate(earlier, output);
        const QMap<QString, QByteArray> before = snapshot(output);
        QVERIFY(before.contains(QStringLiteral("scene/tiledescriptor.json")));

        std::atomic<int> tileWrites{0};
        const auto failing = [&](const QString& path, const QByteArray& data) {
            const bool isTile = path.endsWith(QLatin1String(".png"));
            const bool fail
                = isTile ? failingFile == QLatin1String("tile 25") && ++tileWrites == 25 : path.endsWith(failingFile);
            if (fail)
                throw mivo::apps::Error(path, QStringLiteral("cannot write: No space left on device"));
            SourcePublisher::writeFileAtomically(path, data);
        };
        try {
            generate(sceneSettings(threads), output, failing);
            QFAIL("no error");
        } catch (const mivo::apps::Error& error) {
            QVERIFY(error.message().endsWith(QStringLiteral(": cannot write: No space left on device")));
        }
        // Byte for byte what it was; no staging directory or temporary file left.
        QCOMPARE(snapshot(output), before);
        QCOMPARE(QDir(output).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList({QStringLiteral("scene"), QStringLiteral("tilesources.json")}));
    }

    void pyramidStartsADirectoryHierarchyOfItsOwn()
    {
#if defined(FS_TOPDIR_FL)
        // Only where the file system keeps the flag (ext2/3/4); elsewhere it is ignored.
        const QString probe = m_dir.filePath(QStringLiteral("probe"));
        QVERIFY(QDir().mkpath(probe));
        const int flags = directoryFlags(probe);
        if (flags < 0 || !setDirectoryFlags(probe, flags | FS_TOPDIR_FL) || !(directoryFlags(probe) & FS_TOPDIR_FL))
            QSKIP("the file system of the temporary directory keeps no top-of-hierarchy flag");
        const QString output = m_dir.filePath(QStringLiteral("topdir"));
        generate(sceneSettings(1), output);
        QVERIFY(directoryFlags(output + QStringLiteral("/scene")) & FS_TOPDIR_FL);
        QVERIFY(!(directoryFlags(output) & FS_TOPDIR_FL)); // the output directory is left as it was
#else
        QSKIP("no top-of-hierarchy flag on this system");
#endif
    }

    void leftoversOfAKilledRunAreCleanedUp()
    {
        const QString output = m_dir.filePath(QStringLiteral("leftovers"));
        // pid 1 is alive (and never ours); a number beyond pid_max is not.
        QVERIFY(QDir().mkpath(output + QStringLiteral("/.scene.partial-99999999/0/0/0")));
        QVERIFY(QDir().mkpath(output + QStringLiteral("/.scene.old-99999998")));
        QVERIFY(QDir().mkpath(output + QStringLiteral("/.scene.partial-1")));
        QVERIFY(QDir().mkpath(output + QStringLiteral("/.other.partial-99999999")));
        generate(sceneSettings(2), output);
        QCOMPARE(QDir(output).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList({QStringLiteral(".other.partial-99999999"), QStringLiteral(".scene.partial-1"),
                              QStringLiteral("scene"), QStringLiteral("tilesources.json")}));
    }

    void exportsAnnotationsAsWorkspaceItems()
    {
        SignalInfo signal;
        signal.sampleRate = 1000.0;
        signal.centerFrequency = 1500.0;
        signal.startTime = 1700000000.0;
        signal.complex = true;
        signal.sampleCount = 10000;

        const auto annotation = [](qint64 start, std::optional<qint64> count, std::optional<double> low,
                                   std::optional<double> high, const char* label, const char* uuid) {
            SigMfAnnotation a;
            a.sampleStart = start;
            a.sampleCount = count;
            a.freqLowerEdge = low;
            a.freqUpperEdge = high;
            a.label = QString::fromLatin1(label);
            a.uuid = QString::fromLatin1(uuid);
            return a;
        };
        const QVector<SigMfAnnotation> annotations = {
            annotation(500, 250, 1200.0, 1300.0, "burst", "a-uuid"),
            annotation(9000, std::nullopt, std::nullopt, std::nullopt, "rest", ""), // the band, to the end
            annotation(0, 10, -100.0, 50.0, "", "dup"),
            annotation(0, 10, -100.0, -50.0, "below", ""),
            annotation(1, 1, std::nullopt, std::nullopt, "", "dup"),
        };

        QStringList warnings;
        const QVector<WorkspaceItem> items
            = workspaceItemsFromAnnotations(annotations, signal, QStringLiteral("rec"), &warnings);
        QCOMPARE(items.size(), 4);
        const QJsonObject json = QJsonDocument::fromJson(workspaceJson(QStringLiteral("rec"), items)).object();
        QCOMPARE(json.value(QStringLiteral("id")).toString(), QStringLiteral("rec"));
        const QJsonArray expected = QJsonArray{
            QJsonObject{{"id", "a-uuid"},
                        {"label", "burst"},
                        {"x", 1200.0},
                        {"y", 1700000000.5},
                        {"width", 100.0},
                        {"height", 0.25}},
            QJsonObject{{"id", "rec-2"},
                        {"label", "rest"},
                        {"x", 1000.0},
                        {"y", 1700000009.0},
                        {"width", 1000.0},
                        {"height", 1.0}},
            QJsonObject{
                {"id", "rec-3"}, {"label", ""}, {"x", 0.0}, {"y", 1700000000.0}, {"width", 50.0}, {"height", 0.01}},
            QJsonObject{{"id", "rec-5"},
                        {"label", ""},
                        {"x", 1000.0},
                        {"y", 1700000000.001},
                        {"width", 1000.0},
                        {"height", 0.001}},
        };
        QCOMPARE(json.value(QStringLiteral("items")).toArray(), expected);
        QCOMPARE(warnings,
                 QStringList({QStringLiteral("annotation #3 is cut at 0 Hz"),
                              QStringLiteral("annotation below lies below 0 Hz and is left out")}));
    }

    void sigMfInputGetsAWorkspaceFile()
    {
        const QString base = m_dir.filePath(QStringLiteral("annotated"));
        QFile::copy(m_scene, base + QStringLiteral(".sigmf-data"));
        QVERIFY(testfiles::writeBytes(base + QStringLiteral(".sigmf-meta"), R"({
  "global": {"core:datatype": "cf32_le", "core:sample_rate": 125000, "core:version": "1.0.0"},
  "captures": [{"core:sample_start": 0, "core:frequency": 1000000, "core:datetime": "2024-01-01T12:00:00Z"}],
  "annotations": [{"core:sample_start": 12500, "core:sample_count": 25000, "core:freq_lower_edge": 980000,
                   "core:freq_upper_edge": 990000, "core:label": "FSK burst"}]
})"));
        const QString output = m_dir.filePath(QStringLiteral("workspace"));
        TileGeneratorSettings settings = sceneSettings(2);
        settings.sourceId.clear();
        TileGenerator generator(settings, openInput(base + QStringLiteral(".sigmf-meta"), {}), output);
        QStringList warnings;
        generator.setWarningCallback([&warnings](const QString& warning) { warnings.append(warning); });
        const TileGeneratorResult result = generator.run();
        QCOMPARE(warnings, QStringList());
        QCOMPARE(result.sourceId, QStringLiteral("annotated"));
        const QJsonObject json = jsonObject(output + QStringLiteral("/annotated/workspace.json"));
        QCOMPARE(json,
                 (QJsonObject{{"id", "annotated"},
                              {"items",
                               QJsonArray{QJsonObject{{"id", "annotated-1"},
                                                      {"label", "FSK burst"},
                                                      {"x", 980000.0},
                                                      {"y", 1704110400.1},
                                                      {"width", 10000.0},
                                                      {"height", 0.2}}}}}));
    }

    void whatTheReaderLeavesOutIsWarnedAbout()
    {
        const QString base = m_dir.filePath(QStringLiteral("recaptured"));
        QFile::copy(m_scene, base + QStringLiteral(".sigmf-data"));
        QVERIFY(testfiles::writeBytes(base + QStringLiteral(".sigmf-meta"),
                                      "{\"global\": {\"core:datatype\": \"cf32_le\", \"core:sample_rate\": 125000},"
                                      " \"captures\": [{\"core:sample_start\": 0, \"core:frequency\": 1000000},"
                                      " {\"core:sample_start\": 1000, \"core:frequency\": 2000000}]}"));
        TileGenerator generator(sceneSettings(2), openInput(base + QStringLiteral(".sigmf-meta"), {}),
                                m_dir.filePath(QStringLiteral("recaptured-out")));
        QStringList warnings;
        generator.setWarningCallback([&warnings](const QString& warning) { warnings.append(warning); });
        generator.run();
        QCOMPARE(warnings,
                 QStringList{base
                             + QStringLiteral(".sigmf-meta: holds 2 captures; the first one's frequency "
                                              "and start time apply to the whole recording")});
    }
};

QTEST_GUILESS_MAIN(TestTilegenOutput)
#include "tst_tilegen_output.moc"
