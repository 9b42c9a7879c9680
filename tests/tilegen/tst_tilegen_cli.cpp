// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TestFiles.h"

#include "core/SigMfMetadata.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sndfile.h>

using mivo::tilegen::SigMfMetadata;
using testfiles::readBytes;
using testfiles::snapshot;
using testfiles::writeBytes;

namespace {

struct Outcome
{
    int exitCode = -1;
    QString out;
    QString err;
};

Outcome run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    Outcome outcome;
    if (!process.waitForFinished(120000)) {
        process.kill();
        process.waitForFinished();
        outcome.err = QStringLiteral("(did not finish)");
        return outcome;
    }
    outcome.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    outcome.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    outcome.err = QString::fromLocal8Bit(process.readAllStandardError());
    return outcome;
}

Outcome tilegen(const QStringList& arguments)
{
    return run(QStringLiteral(TILEGEN_EXECUTABLE), arguments);
}

Outcome synth(const QStringList& arguments)
{
    return run(QStringLiteral(SYNTH_EXECUTABLE), arguments);
}

// 16-bit mono WAV of a tone over noise.
void writeWav(const QString& path, int rate, qint64 frames)
{
    SF_INFO info{};
    info.channels = 1;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    QVERIFY(file);
    std::vector<short> block(4096);
    quint32 noise = 12345;
    for (qint64 done = 0; done < frames;) {
        const auto count = sf_count_t(std::min<qint64>(qint64(block.size()), frames - done));
        for (sf_count_t i = 0; i < count; ++i) {
            noise = noise * 1664525u + 1013904223u;
            const double tone = 0.3 * std::sin(2.0 * M_PI * 1000.0 * double(done + i) / rate);
            block[size_t(i)] = short(32767.0 * (tone + 0.01 * (double(noise >> 16) / 65536.0 - 0.5)));
        }
        QCOMPARE(sf_writef_short(file, block.data(), count), count);
        done += count;
    }
    sf_close(file);
}

} // namespace

class TestTilegenCli : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString path(const QString& name) const { return m_dir.filePath(name); }

    // Exactly one line on stderr, starting with the program name, and nothing published.
    void expectFailure(const QStringList& arguments, int exitCode, const QString& message, const QString& output)
    {
        const Outcome outcome = tilegen(arguments);
        QCOMPARE(outcome.exitCode, exitCode);
        QCOMPARE(outcome.err, QStringLiteral("mivo-tilegen: ") + message + QLatin1Char('\n'));
        QCOMPARE(outcome.out, QString());
        QVERIFY(!QFileInfo::exists(output + QStringLiteral("/tilesources.json")));
        if (QFileInfo::exists(output)) {
            QCOMPARE(QDir(output).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
        }
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        writeWav(path(QStringLiteral("short.wav")), 8000, 8000 * 4);
    }

    void missingInputFile()
    {
        const QString input = path(QStringLiteral("nothere.wav"));
        expectFailure({input, path(QStringLiteral("out-missing"))}, 1,
                      input + QStringLiteral(": cannot open: No such file or directory"),
                      path(QStringLiteral("out-missing")));
    }

    void unknownFormat()
    {
        const QString input = path(QStringLiteral("notes.txt"));
        QVERIFY(writeBytes(input, "not a recording\n"));
        const Outcome outcome = tilegen({input, path(QStringLiteral("out-unknown"))});
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.err.startsWith(QStringLiteral("mivo-tilegen: ") + input
                                       + QStringLiteral(": not a sound file libsndfile can read")));
        QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
        QVERIFY(!QFileInfo::exists(path(QStringLiteral("out-unknown"))));
    }

    void malformedSigMf()
    {
        const QString meta = path(QStringLiteral("broken.sigmf-meta"));
        QVERIFY(writeBytes(meta, "{\"global\": {\"core:datatype\": \"cf32_le\",}"));
        QVERIFY(writeBytes(path(QStringLiteral("broken.sigmf-data")), QByteArray(800, '\0')));
        const Outcome outcome = tilegen({meta, path(QStringLiteral("out-sigmf"))});
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.err.startsWith(QStringLiteral("mivo-tilegen: ") + meta
                                       + QStringLiteral(": malformed JSON at byte")));
        QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
    }

    void sigMfWithoutData()
    {
        const QString meta = path(QStringLiteral("nodata.sigmf-meta"));
        QVERIFY(writeBytes(meta, R"({"global": {"core:datatype": "cf32_le", "core:sample_rate": 1000}})"));
        expectFailure({meta, path(QStringLiteral("out-nodata"))}, 1,
                      path(QStringLiteral("nodata.sigmf-data"))
                          + QStringLiteral(": the data file of nodata.sigmf-meta is missing"),
                      path(QStringLiteral("out-nodata")));
    }

    void sampleRateZero()
    {
        const QString input = path(QStringLiteral("zero.cu8"));
        QVERIFY(writeBytes(input, QByteArray(4096, '\x80')));
        expectFailure({input, path(QStringLiteral("out-rate")), QStringLiteral("--sample-rate"), QStringLiteral("0")},
                      2, QStringLiteral("--sample-rate: must be positive, got 0"), path(QStringLiteral("out-rate")));
        const QString meta = path(QStringLiteral("rate0.sigmf-meta"));
        QVERIFY(writeBytes(meta, R"({"global": {"core:datatype": "cu8", "core:sample_rate": 0}})"));
        expectFailure({meta, path(QStringLiteral("out-rate"))}, 1,
                      meta + QStringLiteral(": global core:sample_rate must be positive, the file says 0"),
                      path(QStringLiteral("out-rate")));
    }

    void fftSizeNotAPowerOfTwo()
    {
        expectFailure({path(QStringLiteral("short.wav")), path(QStringLiteral("out-fft")), QStringLiteral("--fft-size"),
                       QStringLiteral("1000")},
                      2, QStringLiteral("--fft-size: 1000 is not a power of two from 16 to 1048576"),
                      path(QStringLiteral("out-fft")));
    }

    void badOptions_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown option") << QStringList{"--bogus"} << "Unknown option 'bogus'. (see --help)";
        QTest::newRow("odd tile size") << QStringList{"--tile-size", "255"}
                                       << "--tile-size: 255 is not an even number from 16 to 4096";
        QTest::newRow("window") << QStringList{"--window", "kaiser"}
                                << "--window: \"kaiser\" is not hann, blackman-harris or rectangular";
        QTest::newRow("reduce") << QStringList{"--reduce", "median"} << "--reduce: \"median\" is not max or mean";
        QTest::newRow("hop") << QStringList{"--hop", "0"} << "--hop: must be a positive number of samples, got 0";
        QTest::newRow("start time") << QStringList{"--start-time", "noon"}
                                    << "--start-time: \"noon\" is neither ISO 8601 nor seconds since 1970";
        QTest::newRow("source id")
            << QStringList{"--source-id", "../x"}
            << "--source-id: \"../x\" is not a plain name of letters, digits, '.', '_' and '-' (not starting with '.')";
        QTest::newRow("datatype") << QStringList{"--datatype", "cf16"}
                                  << "--datatype: \"cf16\" is not one of cu8, cs8, cs16, cf32 or a SigMF datatype such "
                                     "as ci16_le, cf32_le, rf32_le";
    }

    void badOptions()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, message);
        expectFailure(QStringList{path(QStringLiteral("short.wav")), path(QStringLiteral("out-options"))} + options, 2,
                      message, path(QStringLiteral("out-options")));
    }

    void missingArguments()
    {
        const Outcome outcome = tilegen({path(QStringLiteral("short.wav"))});
        QCOMPARE(outcome.exitCode, 2);
        QCOMPARE(outcome.err,
                 QStringLiteral(
                     "mivo-tilegen: expected an input file and an output directory, got 1 argument(s) (see --help)\n"));
    }

    void unwritableOutput()
    {
        const QString blocker = path(QStringLiteral("a-file"));
        QVERIFY(writeBytes(blocker, "x"));
        const QString output = blocker + QStringLiteral("/out");
        const Outcome outcome = tilegen({path(QStringLiteral("short.wav")), output});
        QCOMPARE(outcome.exitCode, 1);
        QVERIFY(outcome.err.startsWith(QStringLiteral("mivo-tilegen: ") + output
                                       + QStringLiteral(": cannot create the output directory")));
        QCOMPARE(outcome.err.count(QLatin1Char('\n')), 1);
    }

    void rawFileOfBrokenSize()
    {
        const QString input = path(QStringLiteral("odd.cf32"));
        QVERIFY(writeBytes(input, QByteArray(8 * 1000 + 5, '\0')));
        expectFailure({input, path(QStringLiteral("out-odd")), QStringLiteral("--sample-rate"), QStringLiteral("1e6")},
                      1, input + QStringLiteral(": size of 8005 bytes is not a whole number of 8-byte cf32_le samples"),
                      path(QStringLiteral("out-odd")));
    }

    void quietRunPrintsNothingAndPublishes()
    {
        const QString output = path(QStringLiteral("out-ok"));
        const Outcome outcome = tilegen({path(QStringLiteral("short.wav")), output, QStringLiteral("--quiet"),
                                         QStringLiteral("--start-time"), QStringLiteral("2024-01-01T00:00:00Z")});
        QCOMPARE(outcome.exitCode, 0);
        QCOMPARE(outcome.err, QString());
        QCOMPARE(outcome.out, QString());
        QCOMPARE(readBytes(output + QStringLiteral("/tilesources.json")), QByteArray("[\n    \"short\"\n]\n"));
        QVERIFY(QFileInfo::exists(output + QStringLiteral("/short/tiledescriptor.json")));
        QVERIFY(QFileInfo::exists(output + QStringLiteral("/short/tileextents.json")));

        // Without --quiet (and not on a terminal): no progress, one summary line.
        const Outcome summary = tilegen({path(QStringLiteral("short.wav")), output});
        QCOMPARE(summary.exitCode, 0);
        QVERIFY(summary.err.startsWith(QStringLiteral("mivo-tilegen: ") + output + QStringLiteral("/short: ")));
        QVERIFY(!summary.err.contains(QLatin1Char('\r')));
    }

    void progressLineOnATerminal()
    {
        // util-linux's script(1) gives the tool a pseudo-terminal as its stderr; the
        // terminal turns line ends into CR LF.
        const auto quoted = [](const QString& text) { return QLatin1Char('\'') + text + QLatin1Char('\''); };
        const QString command = quoted(QStringLiteral(TILEGEN_EXECUTABLE)) + QLatin1Char(' ')
            + quoted(path(QStringLiteral("short.wav"))) + QLatin1Char(' ') + quoted(path(QStringLiteral("out-tty")));
        const Outcome onTerminal
            = run(QStringLiteral("script"), {QStringLiteral("-qefc"), command, QStringLiteral("/dev/null")});
        QCOMPARE(onTerminal.exitCode, 0);
        // Status lines overwrite each other; the last one counts every tile the summary does.
        const QRegularExpression progressThenSummary(QStringLiteral(
            "^(\r[ 0-9.]{5} %  [0-9.]+x real time  [0-9]+ tiles \\([0-9]+/s\\)  [0-9]+ s left   )*"
            "\r100\\.0 %  [0-9.]+x real time  (?<counted>[0-9]+) tiles \\([0-9]+/s\\)  0 s left   \r\n"
            "mivo-tilegen: [^\r\n]*/out-tty/short: (?<written>[0-9]+) tiles for 4\\.0 s of signal[^\r\n]*\r\n$"));
        const QRegularExpressionMatch match = progressThenSummary.match(onTerminal.out);
        QVERIFY2(match.hasMatch(), qPrintable(onTerminal.out));
        QVERIFY(match.captured(QStringLiteral("written")).toInt() > 0);
        QCOMPARE(match.captured(QStringLiteral("counted")), match.captured(QStringLiteral("written")));

        const Outcome quiet
            = run(QStringLiteral("script"),
                  {QStringLiteral("-qefc"), command + QStringLiteral(" --quiet"), QStringLiteral("/dev/null")});
        QCOMPARE(quiet.exitCode, 0);
        QCOMPARE(quiet.out, QString());
    }

    void killedRunLeavesThePublishedPyramidIntact()
    {
        // A run of many small tiles takes long enough to be killed in the middle.
        const QString input = path(QStringLiteral("long.wav"));
        writeWav(input, 48000, 48000 * 120);
        const QString output = path(QStringLiteral("out-killed"));
        const QStringList common = {input,
                                    output,
                                    QStringLiteral("--source-id"),
                                    QStringLiteral("rec"),
                                    QStringLiteral("--threads"),
                                    QStringLiteral("1"),
                                    QStringLiteral("-q")};
        // The published pyramid: a short recording under the same id.
        QCOMPARE(tilegen({path(QStringLiteral("short.wav")), output, QStringLiteral("--source-id"),
                          QStringLiteral("rec"), QStringLiteral("-q")})
                     .exitCode,
                 0);
        const QMap<QString, QByteArray> before = snapshot(output);

        QProcess process;
        process.start(QStringLiteral(TILEGEN_EXECUTABLE),
                      common
                          + QStringList{QStringLiteral("--fft-size"), QStringLiteral("64"),
                                        QStringLiteral("--tile-size"), QStringLiteral("16")});
        QVERIFY(process.waitForStarted());
        const QString staging = output + QStringLiteral("/.rec.partial-%1").arg(process.processId());
        QTRY_VERIFY_WITH_TIMEOUT(
            QDir(staging + QStringLiteral("/0")).exists()
                && QDir(staging + QStringLiteral("/0")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size() > 20,
            60000);
        QCOMPARE(process.state(), QProcess::Running);
        process.kill();
        QVERIFY(process.waitForFinished());

        // The published files are untouched; only the hidden staging directory is new.
        QMap<QString, QByteArray> after = snapshot(output);
        for (auto it = after.begin(); it != after.end();) {
            it = it.key().startsWith(QStringLiteral(".rec.partial-")) ? after.erase(it) : std::next(it);
        }
        QCOMPARE(after.keys(), before.keys());
        QVERIFY(after == before);

        // The next run clears the leftover.
        QCOMPARE(tilegen({path(QStringLiteral("short.wav")), output, QStringLiteral("--source-id"),
                          QStringLiteral("rec"), QStringLiteral("-q")})
                     .exitCode,
                 0);
        QVERIFY(!QFileInfo::exists(staging));
    }

    void sigMfArchiveGivesThePyramidOfItsFiles()
    {
        const QString folder = path(QStringLiteral("packed"));
        QVERIFY(QDir().mkpath(folder + QStringLiteral("/scene")));
        QCOMPARE(synth({QStringLiteral("--duration"), QStringLiteral("2"), folder + QStringLiteral("/scene/scene")})
                     .exitCode,
                 0);
        const QString archive = folder + QStringLiteral("/scene.sigmf");
        QCOMPARE(run(QStringLiteral("tar"),
                     {QStringLiteral("-cf"), archive, QStringLiteral("-C"), folder, QStringLiteral("scene")})
                     .exitCode,
                 0);
        const QString fromFiles = path(QStringLiteral("out-files"));
        const QString fromArchive = path(QStringLiteral("out-archive"));
        QCOMPARE(
            tilegen({folder + QStringLiteral("/scene/scene.sigmf-meta"), fromFiles, QStringLiteral("-q")}).exitCode, 0);
        QCOMPARE(tilegen({archive, fromArchive, QStringLiteral("-q")}).exitCode, 0);
        const QMap<QString, QByteArray> files = snapshot(fromFiles);
        QVERIFY(files.contains(QStringLiteral("scene/workspace.json")));
        QVERIFY(files.size() > 10);
        QCOMPARE(snapshot(fromArchive), files);
    }

    void synthIsDeterministic()
    {
        const QStringList options
            = {QStringLiteral("--duration"), QStringLiteral("3"), QStringLiteral("--seed"), QStringLiteral("7")};
        QCOMPARE(synth(options + QStringList{path(QStringLiteral("a"))}).exitCode, 0);
        QCOMPARE(synth(options + QStringList{path(QStringLiteral("b"))}).exitCode, 0);
        QCOMPARE(synth({QStringLiteral("--duration"), QStringLiteral("3"), QStringLiteral("--seed"),
                        QStringLiteral("8"), path(QStringLiteral("c"))})
                     .exitCode,
                 0);
        const QByteArray dataA = readBytes(path(QStringLiteral("a.sigmf-data")));
        QCOMPARE(dataA.size(), 3 * 125000 * 8);
        QVERIFY(dataA == readBytes(path(QStringLiteral("b.sigmf-data"))));
        QVERIFY(readBytes(path(QStringLiteral("a.sigmf-meta"))) == readBytes(path(QStringLiteral("b.sigmf-meta"))));
        QVERIFY(dataA != readBytes(path(QStringLiteral("c.sigmf-data"))));
    }

    void synthDescribesItsEmissions()
    {
        const QString base = path(QStringLiteral("scene"));
        const Outcome outcome
            = synth({QStringLiteral("--duration"), QStringLiteral("20"), QStringLiteral("--sample-rate"),
                     QStringLiteral("250k"), QStringLiteral("--center-frequency"), QStringLiteral("433.9M"),
                     QStringLiteral("--start-time"), QStringLiteral("1700000000.5"), base});
        QCOMPARE(outcome.exitCode, 0);
        QCOMPARE(outcome.err, QString());
        const QByteArray json = readBytes(base + QStringLiteral(".sigmf-meta"));
        const QJsonObject root = QJsonDocument::fromJson(json).object();
        const QJsonObject global = root.value(QStringLiteral("global")).toObject();
        QCOMPARE(global.value(QStringLiteral("core:datatype")).toString(), QStringLiteral("cf32_le"));
        QCOMPARE(global.value(QStringLiteral("core:sample_rate")).toDouble(), 250000.0);
        QVERIFY(global.contains(QStringLiteral("core:version")));
        const QJsonObject capture = root.value(QStringLiteral("captures")).toArray().first().toObject();
        QCOMPARE(capture.value(QStringLiteral("core:sample_start")).toInt(), 0);
        QCOMPARE(capture.value(QStringLiteral("core:frequency")).toDouble(), 433.9e6);
        QCOMPARE(capture.value(QStringLiteral("core:datetime")).toString(),
                 QStringLiteral("2023-11-14T22:13:20.500000Z"));

        const SigMfMetadata meta = SigMfMetadata::parse(json, base);
        QSet<QString> labels;
        qint64 previousStart = 0;
        for (const auto& annotation : meta.annotations) {
            labels.insert(annotation.label);
            QVERIFY(annotation.sampleStart >= previousStart); // sorted
            previousStart = annotation.sampleStart;
            QVERIFY(*annotation.sampleCount > 0);
            QVERIFY(annotation.sampleStart + *annotation.sampleCount <= 20 * 250000);
            QVERIFY(*annotation.freqLowerEdge >= 433.9e6 - 125000);
            QVERIFY(*annotation.freqUpperEdge <= 433.9e6 + 125000);
            QVERIFY(*annotation.freqLowerEdge < *annotation.freqUpperEdge);
        }
        QCOMPARE(labels, (QSet<QString>{"AM broadcast", "FM voice", "FSK burst", "Chirp", "Hop"}));
        QVERIFY(meta.annotations.size() > 20); // bursts and hops one by one

        // Into tiles: one workspace item per annotation, and the AM carrier stands out
        // of the noise in its column.
        const QString output = path(QStringLiteral("out-scene"));
        QCOMPARE(tilegen({base + QStringLiteral(".sigmf-meta"), output, QStringLiteral("-q")}).exitCode, 0);
        const QJsonObject workspace
            = QJsonDocument::fromJson(readBytes(output + QStringLiteral("/scene/workspace.json"))).object();
        QCOMPARE(workspace.value(QStringLiteral("items")).toArray().size(), meta.annotations.size());

        // Carrier at 433.9 MHz - 90 kHz (-45 kHz at 125 kS/s, scaled by 2); bins of
        // 250000 / 1024 Hz; compare with a quiet column 10 kHz beside it.
        const double base0 = 250000.0 / 1024;
        const auto meanInColumn = [&](double frequency) {
            const qint64 column = qint64(std::floor(frequency / base0));
            const QString dir = output + QStringLiteral("/scene/0");
            double sum = 0;
            int count = 0;
            for (const QString& row : QDir(dir).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
                const QImage tile = testfiles::decodeTile(
                    readBytes(dir + QLatin1Char('/') + row + QStringLiteral("/0/%1.png").arg(column / 256)));
                for (int y = 0; y < tile.height(); ++y) {
                    const int v = tile.pixelIndex(int(column % 256), y);
                    if (v > 0) {
                        sum += v;
                        ++count;
                    }
                }
            }
            return count > 0 ? sum / count : 0.0;
        };
        const double carrier = meanInColumn(433.9e6 - 90000.0);
        const double quiet = meanInColumn(433.9e6 - 100000.0);
        QVERIFY2(quiet > 10 && carrier > quiet + 20, qPrintable(QStringLiteral("%1 vs %2").arg(carrier).arg(quiet)));
    }

    void synthStreamsTheRecordingsSamples()
    {
        // Half a second of stream is the same scene as the half-second recording.
        const QStringList options
            = {QStringLiteral("--duration"), QStringLiteral("0.5"),    QStringLiteral("--sample-rate"),
               QStringLiteral("100k"),       QStringLiteral("--seed"), QStringLiteral("3")};
        QCOMPARE(synth(options + QStringList{path(QStringLiteral("rec"))}).exitCode, 0);
        QProcess process;
        process.start(QStringLiteral(SYNTH_EXECUTABLE),
                      options + QStringList{QStringLiteral("--stream"), QStringLiteral("-")});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        const QByteArray streamed = process.readAllStandardOutput();
        QCOMPARE(streamed.size(), 50000 * 8);
        QVERIFY(streamed == readBytes(path(QStringLiteral("rec.sigmf-data"))));

        // The same into a file.
        QCOMPARE(synth(options + QStringList{QStringLiteral("--stream"), path(QStringLiteral("raw.cf32"))}).exitCode,
                 0);
        QVERIFY(readBytes(path(QStringLiteral("raw.cf32"))) == streamed);
    }

    void synthStreamWithoutEndStopsQuietlyWhenTheReaderGoes()
    {
        // head takes 10000 samples and leaves; the stream must end with code 0 and no
        // message rather than die of SIGPIPE. bash reports both exit codes.
        QProcess process;
        process.start(QStringLiteral("bash"),
                      {QStringLiteral("-c"),
                       QStringLiteral("\"$0\" --stream --duration 0 --sample-rate 100k - | head -c 80000 | wc -c; "
                                      "echo \"${PIPESTATUS[0]}\""),
                       QStringLiteral(SYNTH_EXECUTABLE)});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(process.readAllStandardOutput(), QByteArray("80000\n0\n"));
        QCOMPARE(process.readAllStandardError(), QByteArray());
    }

    void synthRejectsBadOptions()
    {
        const Outcome outcome = synth({QStringLiteral("--duration"), QStringLiteral("-1"), path(QStringLiteral("x"))});
        QCOMPARE(outcome.exitCode, 2);
        QCOMPARE(outcome.err,
                 QStringLiteral("mivo-synth: --duration: must be positive and at most 4e9 samples, got -1 s\n"));
        const Outcome noDir
            = synth({QStringLiteral("--duration"), QStringLiteral("1"), path(QStringLiteral("no/such/x"))});
        QCOMPARE(noDir.exitCode, 1);
        QCOMPARE(noDir.err,
                 QStringLiteral("mivo-synth: ") + path(QStringLiteral("no/such"))
                     + QStringLiteral(": no such directory\n"));
        const Outcome toStdout = synth({QStringLiteral("-")});
        QCOMPARE(toStdout.exitCode, 2);
        QCOMPARE(toStdout.err, QStringLiteral("mivo-synth: the output base - (standard output) needs --stream\n"));
        const Outcome negative = synth(
            {QStringLiteral("--stream"), QStringLiteral("--duration"), QStringLiteral("-2"), QStringLiteral("-")});
        QCOMPARE(negative.exitCode, 2);
        QCOMPARE(negative.err, QStringLiteral("mivo-synth: --duration: must be 0 (no end) or positive, got -2 s\n"));
    }
};

QTEST_GUILESS_MAIN(TestTilegenCli)
#include "tst_tilegen_cli.moc"
