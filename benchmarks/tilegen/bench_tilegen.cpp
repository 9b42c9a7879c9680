// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Throughput of mivo-tilegen on two recordings it makes itself, and sox's spectrogram
// on the same WAV with the same FFT size, side by side; then the tile encoder's
// choices of PNG filter and compressor on the tiles of that WAV's pyramid.
//
// Matching sox: `sox IN -n spectrogram` takes its FFT size from the height, -y N
// giving a DFT of 2 (N - 1) points, so -y 513 is a 1024-point FFT. Its hop is the
// sample rate divided by the pixels per second -X, so -X 93.75 at 48 kHz is a hop of
// 512 samples, the tile generator's default hop for a 1024-point FFT. -x (the width)
// must then hold the whole recording: 600 s * 93.75 = 56250 columns. -r leaves out
// axes and legend. Both use a Hann window. sox renders one PNG of 56250 x 513 pixels;
// the tile generator renders every level of the pyramid.
//
// The WAV runs alternate (all cores, one thread, sox) so that a load on the machine
// hits all three alike; the ratios are of the medians.
//
// Every WAV series runs twice: with the outputs in the work directory and on the tmpfs
// /dev/shm, where the file system's own costs hardly count. On this project's
// development machine the work directory's disk is ext4 without a journal, which
// makes creating files slow next to directories where other programs delete many.
//
// Usage: mivo-tilegen-bench [--runs N] [--no-iq] [--no-encoders] [--no-tmpfs] [work directory]
// (default: 3 runs in a temporary directory). Recordings already in the work
// directory with the right size are used again; the pyramids (in <dir>/pyramids)
// are removed at the end.

#include "LibpngTileEncoder.h"

#include "core/InputOpener.h"
#include "core/TileEncoder.h"
#include "core/TileGenerator.h"
#include <common/Error.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QtEndian>

#include <png.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

using namespace mivo::tilegen;

namespace {

// The targets of the comparison with sox on the WAV: speed = sox time / mivo time.
constexpr double targetAllCores = 3.0;
constexpr double targetOneThread = 2.0;

// Cheap deterministic noise in -1..1.
class Noise
{
public:
    float next()
    {
        m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
        return float(double(m_state >> 11) * 0x1.0p-53 * 2.0 - 1.0);
    }

private:
    quint64 m_state = 1;
};

bool writeWav(const QString& path, int rate, qint64 frames)
{
    SF_INFO info{};
    info.channels = 1;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    Noise noise;
    std::vector<float> block(1 << 16);
    for (qint64 done = 0; done < frames;) {
        const auto count = std::min<qint64>(qint64(block.size()), frames - done);
        for (qint64 i = 0; i < count; ++i) {
            const double t = double(done + i) / rate;
            const double sweep = 2000.0 + 8000.0 * std::fmod(t, 20.0) / 20.0;
            block[size_t(i)] = float(0.2 * std::sin(2 * M_PI * 1000.0 * t) + 0.1 * std::sin(2 * M_PI * sweep * t)
                                     + 0.01 * noise.next());
        }
        sf_writef_float(file, block.data(), count);
        done += count;
    }
    sf_close(file);
    return true;
}

bool writeCf32(const QString& path, double rate, qint64 samples)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    Noise noise;
    std::vector<char> bytes(size_t(1 << 16) * 8);
    const std::complex<double> step = std::polar(1.0, 2 * M_PI * 200e3 / rate);
    std::complex<double> tone = 0.1;
    for (qint64 done = 0; done < samples;) {
        const auto count = std::min<qint64>(1 << 16, samples - done);
        for (qint64 i = 0; i < count; ++i) {
            tone *= step;
            const float values[2]
                = {float(tone.real()) + 0.01f * noise.next(), float(tone.imag()) + 0.01f * noise.next()};
            quint32 bits[2];
            std::memcpy(bits, values, sizeof bits);
            qToLittleEndian(bits[0], bytes.data() + i * 8);
            qToLittleEndian(bits[1], bytes.data() + i * 8 + 4);
        }
        tone /= std::abs(tone) / 0.1;
        if (file.write(bytes.data(), count * 8) != count * 8)
            return false;
        done += count;
    }
    return true;
}

// Writes a recording unless a file of that size is already there.
bool ensureRecording(const QString& path, qint64 bytes, const std::function<bool()>& write)
{
    if (QFileInfo(path).size() == bytes)
        return true;
    return write() && QFileInfo(path).size() == bytes;
}

// User and system CPU time of this process (RUSAGE_SELF) or of its waited-for children.
struct CpuTime
{
    double user = 0.0;
    double system = 0.0;
};

CpuTime cpuTime(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    CpuTime time;
    time.user = double(usage.ru_utime.tv_sec) + double(usage.ru_utime.tv_usec) / 1e6;
    time.system = double(usage.ru_stime.tv_sec) + double(usage.ru_stime.tv_usec) / 1e6;
    return time;
}

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

struct Measurement
{
    double seconds = 0.0; // wall clock
    double cpuSeconds = 0.0; // all threads, user + system
    double systemSeconds = 0.0; // of cpuSeconds, in the kernel (mostly creating files)
    double signalSeconds = 0.0;
    quint64 tiles = 0;

    void setCpu(const CpuTime& before, const CpuTime& after)
    {
        systemSeconds = after.system - before.system;
        cpuSeconds = after.user - before.user + systemSeconds;
    }
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// The median run by wall time.
Measurement medianRun(const std::vector<Measurement>& runs)
{
    std::vector<Measurement> sorted = runs;
    std::sort(sorted.begin(), sorted.end(),
              [](const Measurement& a, const Measurement& b) { return a.seconds < b.seconds; });
    Measurement m = sorted[sorted.size() / 2];
    std::vector<double> walls, cpus, systems;
    for (const Measurement& run : runs) {
        walls.push_back(run.seconds);
        cpus.push_back(run.cpuSeconds);
        systems.push_back(run.systemSeconds);
    }
    m.seconds = median(walls);
    m.cpuSeconds = median(cpus);
    m.systemSeconds = median(systems);
    return m;
}

// Every run writes a pyramid of its own, and all are removed at the end: removing one
// right before the next run would make that run pay for it on ext4 without a journal,
// which skips every inode freed in the last minutes when it allocates one.
class PyramidDirectories
{
public:
    explicit PyramidDirectories(const QString& work)
        : m_root(work + QStringLiteral("/pyramids"))
    {
        QDir(m_root).removeRecursively(); // left by an interrupted run
    }
    ~PyramidDirectories() { QDir(m_root).removeRecursively(); }
    PyramidDirectories(const PyramidDirectories&) = delete;
    PyramidDirectories& operator=(const PyramidDirectories&) = delete;

    QString next(const QString& name) { return m_root + QStringLiteral("/%1-%2").arg(name).arg(++m_count); }

private:
    QString m_root;
    int m_count = 0;
};

Measurement runTilegen(const QString& input, const InputSettings& inputSettings, const QString& output, int threads)
{
    TileGeneratorSettings settings;
    settings.fftSize = 1024;
    settings.threads = threads;
    const CpuTime cpuBefore = cpuTime(RUSAGE_SELF);
    QElapsedTimer clock;
    clock.start();
    TileGenerator generator(settings, openInput(input, inputSettings), output);
    const TileGeneratorResult result = generator.run();
    Measurement m;
    m.seconds = double(clock.nsecsElapsed()) / 1e9;
    m.setCpu(cpuBefore, cpuTime(RUSAGE_SELF));
    m.signalSeconds = result.signalSeconds;
    m.tiles = result.tilesWritten;
    return m;
}

Measurement runSox(const QString& sox, const QString& wav, const QString& png)
{
    QProcess process;
    const CpuTime cpuBefore = cpuTime(RUSAGE_CHILDREN);
    QElapsedTimer clock;
    clock.start();
    process.start(sox,
                  {wav, QStringLiteral("-n"), QStringLiteral("spectrogram"), QStringLiteral("-y"),
                   QStringLiteral("513"), QStringLiteral("-X"), QStringLiteral("93.75"), QStringLiteral("-x"),
                   QStringLiteral("56250"), QStringLiteral("-r"), QStringLiteral("-o"), png});
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        throw mivo::apps::Error(QStringLiteral("sox"), QString::fromLocal8Bit(process.readAllStandardError()));
    Measurement m;
    m.seconds = double(clock.nsecsElapsed()) / 1e9;
    m.setCpu(cpuBefore, cpuTime(RUSAGE_CHILDREN));
    m.signalSeconds = 600.0;
    return m;
}

void print(const char* what, const Measurement& m)
{
    std::printf("%-38s %6.3f s wall %6.3f s CPU (%5.3f system) %6.1f s signal/s %5.0f tiles/s (%llu tiles)\n", what,
                m.seconds, m.cpuSeconds, m.systemSeconds, m.signalSeconds / m.seconds, double(m.tiles) / m.seconds,
                static_cast<unsigned long long>(m.tiles));
    std::fflush(stdout);
}

// Bytes of the tiles below `root`, and what they take on the disk.
void printPyramidSize(const char* what, const QString& root)
{
    quint64 files = 0, bytes = 0, allocated = 0;
    QDirIterator it(root, {QStringLiteral("*.png")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        struct stat info
        {};
        if (::stat(QFile::encodeName(it.next()).constData(), &info) != 0)
            continue;
        ++files;
        bytes += quint64(info.st_size);
        allocated += quint64(info.st_blocks) * 512;
    }
    std::printf("%-40s %llu tiles, %.1f MB of PNG (%.0f bytes/tile), %.1f MB on the disk\n", what,
                static_cast<unsigned long long>(files), double(bytes) / 1e6,
                files ? double(bytes) / double(files) : 0.0, double(allocated) / 1e6);
}

// Indices of every tile below `root`, decoded as the waterfall decodes them.
std::vector<QImage> loadTiles(const QString& root)
{
    QStringList paths;
    QDirIterator it(root, {QStringLiteral("*.png")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next());
    paths.sort();
    std::vector<QImage> tiles;
    for (const QString& path : qAsConst(paths)) {
        QImage image;
        if (image.load(path, "PNG"))
            tiles.push_back(image.convertToFormat(QImage::Format_Indexed8));
    }
    return tiles;
}

bool sameIndices(const QImage& a, const QImage& b)
{
    if (a.size() != b.size())
        return false;
    for (int y = 0; y < a.height(); ++y) {
        if (std::memcmp(a.constScanLine(y), b.constScanLine(y), size_t(a.width())) != 0)
            return false;
    }
    return true;
}

// Encodes every tile on this thread; CPU time, so that other load does not count.
void measureEncoder(const char* what, const std::vector<QImage>& tiles,
                    const std::function<QByteArray(const QImage&)>& encode)
{
    quint64 bytes = 0;
    const double before = threadCpuSeconds();
    std::vector<QByteArray> encoded;
    encoded.reserve(tiles.size());
    for (const QImage& tile : tiles) {
        encoded.push_back(encode(tile));
        bytes += quint64(encoded.back().size());
    }
    const double seconds = threadCpuSeconds() - before;
    int wrong = 0;
    for (size_t i = 0; i < tiles.size(); ++i) {
        QImage decoded;
        if (!decoded.loadFromData(encoded[i], "PNG")
            || !sameIndices(decoded.convertToFormat(QImage::Format_Indexed8), tiles[i]))
            ++wrong;
    }
    const double pixels = double(tiles.size()) * tiles.front().width() * tiles.front().height();
    std::printf("%-40s %7.0f bytes/tile %7.1f us/tile %7.1f Mpixel/s%s\n", what, double(bytes) / double(tiles.size()),
                seconds / double(tiles.size()) * 1e6, pixels / seconds / 1e6,
                wrong ? qPrintable(QStringLiteral("  %1 tiles DO NOT DECODE to their indices").arg(wrong)) : "");
    std::fflush(stdout);
}

void compareEncoders(const QString& pyramid)
{
    const std::vector<QImage> tiles = loadTiles(pyramid);
    if (tiles.empty())
        return;
    std::printf("\ntile encoders on the %zu tiles of the WAV pyramid (one thread, CPU time)\n", tiles.size());
    const QVector<QRgb> palette = TileEncoder::palette();
    const struct
    {
        const char* name;
        int filters;
        int strategy;
        int level;
    } former[] = {
        {"libpng+zlib none, Z_RLE 1 (former)", PNG_FILTER_NONE, Z_RLE, 1},
        {"libpng+zlib none, Z_HUFFMAN_ONLY", PNG_FILTER_NONE, Z_HUFFMAN_ONLY, 1},
        {"libpng+zlib none, default 1", PNG_FILTER_NONE, Z_DEFAULT_STRATEGY, 1},
        {"libpng+zlib none, default 6", PNG_FILTER_NONE, Z_DEFAULT_STRATEGY, 6},
        {"libpng+zlib sub, Z_RLE 1", PNG_FILTER_SUB, Z_RLE, 1},
        {"libpng+zlib up, Z_RLE 1", PNG_FILTER_UP, Z_RLE, 1},
        {"libpng+zlib paeth, Z_RLE 1", PNG_FILTER_PAETH, Z_RLE, 1},
        {"libpng+zlib all filters, Z_FILTERED 1", PNG_ALL_FILTERS, Z_FILTERED, 1},
    };
    for (const auto& choice : former) {
        const LibpngTileEncoder encoder(palette, choice.filters, choice.strategy, choice.level);
        measureEncoder(choice.name, tiles, [&encoder](const QImage& tile) { return encoder.encode(tile); });
    }
    const struct
    {
        const char* name;
        PngFilter filter;
    } runLength[] = {
        {"run-length none", PngFilter::None},   {"run-length sub", PngFilter::Sub},
        {"run-length up", PngFilter::Up},       {"run-length average", PngFilter::Average},
        {"run-length paeth", PngFilter::Paeth}, {"run-length adaptive", PngFilter::Adaptive},
    };
    for (const auto& choice : runLength) {
        TileEncoderSettings settings;
        settings.filter = choice.filter;
        settings.compressor = TileCompressor::RunLength;
        const TileEncoder encoder(settings);
        measureEncoder(choice.name, tiles, [&encoder](const QImage& tile) { return encoder.encode(tile); });
    }
    const struct
    {
        const char* name;
        PngFilter filter;
        int level;
    } libdeflate[] = {
        {"libdeflate none, level 0 (stored)", PngFilter::None, 0},
        {"libdeflate none, level 1", PngFilter::None, 1},
        {"libdeflate none, level 2", PngFilter::None, 2},
        {"libdeflate none, level 4", PngFilter::None, 4},
        {"libdeflate none, level 6", PngFilter::None, 6},
        {"libdeflate sub, level 1", PngFilter::Sub, 1},
        {"libdeflate up, level 1", PngFilter::Up, 1},
        {"libdeflate average, level 1", PngFilter::Average, 1},
        {"libdeflate paeth, level 1", PngFilter::Paeth, 1},
        {"libdeflate adaptive, level 1", PngFilter::Adaptive, 1},
    };
    for (const auto& choice : libdeflate) {
        TileEncoderSettings settings;
        settings.filter = choice.filter;
        settings.compressor = TileCompressor::Libdeflate;
        settings.compressionLevel = choice.level;
        const TileEncoder encoder(settings);
        measureEncoder(choice.name, tiles, [&encoder](const QImage& tile) { return encoder.encode(tile); });
    }
    const TileEncoderSettings defaults;
    std::printf("the generator's choice: %s, filter %d\n",
                defaults.compressor == TileCompressor::RunLength ? "run-length" : "libdeflate", int(defaults.filter));
}

void printRatio(const char* what, const Measurement& mivo, const Measurement& sox, double target)
{
    const double ratio = sox.seconds / mivo.seconds;
    std::printf("%-24s mivo %6.3f s  sox %6.3f s  ratio %5.2fx  target >= %.2fx  %s   (CPU: %.3f s, %.3f s, %.2fx)\n",
                what, mivo.seconds, sox.seconds, ratio, target, ratio >= target ? "met" : "NOT MET", mivo.cpuSeconds,
                sox.cpuSeconds, sox.cpuSeconds / mivo.cpuSeconds);
    std::fflush(stdout); // before the pyramids are removed, which takes a while on a slow disk
}

QString fileSystemType(const QString& directory)
{
    struct statfs info
    {};
    if (::statfs(QFile::encodeName(directory).constData(), &info) != 0)
        return QStringLiteral("unknown file system");
    switch (quint64(info.f_type)) {
    case 0xEF53:
        return QStringLiteral("ext4");
    case 0x01021994:
        return QStringLiteral("tmpfs");
    case 0x58465342:
        return QStringLiteral("xfs");
    case 0x9123683E:
        return QStringLiteral("btrfs");
    case 0x794C7630:
        return QStringLiteral("overlayfs");
    default:
        return QStringLiteral("file system 0x%1").arg(quint64(info.f_type), 0, 16);
    }
}

// One place the outputs go to, with its series of runs.
struct OutputPlace
{
    explicit OutputPlace(const QString& directory)
        : directory(directory)
        , fileSystem(fileSystemType(directory))
        , pyramids(directory)
    {
    }
    QString name() const { return QStringLiteral("%1 (%2)").arg(directory, fileSystem); }

    QString directory;
    QString fileSystem;
    PyramidDirectories pyramids;
    QString lastWavPyramid;
    std::vector<Measurement> wavAll, wavOne, sox;
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("WAV runs per series (median)"),
                                        QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption noIqOption(QStringLiteral("no-iq"), QStringLiteral("skip the 2.4 MS/s recording"));
    const QCommandLineOption noEncodersOption(QStringLiteral("no-encoders"),
                                              QStringLiteral("skip the encoder comparison"));
    const QCommandLineOption noTmpfsOption(QStringLiteral("no-tmpfs"),
                                           QStringLiteral("only the work directory's file system, not also /dev/shm"));
    parser.addOptions({runsOption, noIqOption, noEncodersOption, noTmpfsOption});
    parser.addPositionalArgument(QStringLiteral("work-dir"), QStringLiteral("where recordings and pyramids go"));
    parser.process(app);
    const int runs = std::max(1, parser.value(runsOption).toInt());

    QTemporaryDir temporary;
    const QString work
        = parser.positionalArguments().isEmpty() ? temporary.path() : parser.positionalArguments().first();
    if (!QDir().mkpath(work)) {
        std::fprintf(stderr, "mivo-tilegen-bench: cannot use %s\n", qPrintable(work));
        return 1;
    }
    const QString wav = work + QStringLiteral("/ten-minutes-48k.wav");
    const QString iq = work + QStringLiteral("/one-minute-2.4M.cf32");
    std::printf("work directory %s, %d cores\n", qPrintable(work), QThread::idealThreadCount());
    std::fflush(stdout);
    const bool written
        = ensureRecording(wav, 44 + 2 * 48000LL * 600, [&] { return writeWav(wav, 48000, 48000LL * 600); })
        && (parser.isSet(noIqOption)
            || ensureRecording(iq, 8 * 2400000LL * 60, [&] { return writeCf32(iq, 2.4e6, 2400000LL * 60); }));
    if (!written) {
        std::fprintf(stderr, "mivo-tilegen-bench: cannot write the recordings into %s\n", qPrintable(work));
        return 1;
    }

    // Where the outputs go: the work directory, and a tmpfs where the file system's
    // own costs (creating 4500 files and directories, the flush) hardly count.
    QTemporaryDir tmpfs(QStringLiteral("/dev/shm/mivo-tilegen-bench-XXXXXX"));
    std::vector<std::unique_ptr<OutputPlace>> places;
    places.push_back(std::make_unique<OutputPlace>(work));
    if (!parser.isSet(noTmpfsOption) && places.front()->fileSystem != QLatin1String("tmpfs") && tmpfs.isValid())
        places.push_back(std::make_unique<OutputPlace>(tmpfs.path()));

    try {
        InputSettings wavInput;
        wavInput.startTime = 1700000000.0;
        InputSettings iqInput;
        iqInput.sampleRate = 2.4e6;
        iqInput.centerFrequency = 100e6;
        iqInput.startTime = 1700000000.0;
        const QString sox = QStandardPaths::findExecutable(QStringLiteral("sox"));

        std::printf("\nmivo-tilegen, FFT 1024, hop 512, Hann, tiles 256, peak hold; "
                    "sox spectrogram -y 513 -X 93.75 -x 56250 -r (FFT 1024, hop 512, one PNG)\n");
        for (int run = 1; run <= runs; ++run) {
            for (const auto& place : places) {
                std::printf("run %d of %d, output on %s\n", run, runs, qPrintable(place->name()));
                place->wavAll.push_back(runTilegen(wav, wavInput, place->pyramids.next(QStringLiteral("wav")), 0));
                print("  600 s 48 kHz WAV, all cores", place->wavAll.back());
                place->lastWavPyramid = place->pyramids.next(QStringLiteral("wav"));
                place->wavOne.push_back(runTilegen(wav, wavInput, place->lastWavPyramid, 1));
                print("  600 s 48 kHz WAV, 1 thread", place->wavOne.back());
                if (!sox.isEmpty()) {
                    place->sox.push_back(runSox(sox, wav, place->directory + QStringLiteral("/sox.png")));
                    print("  600 s 48 kHz WAV, sox (one thread)", place->sox.back());
                }
            }
        }
        for (const auto& place : places) {
            std::printf("\nmedians of %d runs, output on %s\n", runs, qPrintable(place->name()));
            print("600 s 48 kHz WAV, all cores", medianRun(place->wavAll));
            print("600 s 48 kHz WAV, 1 thread", medianRun(place->wavOne));
            if (!place->sox.empty())
                print("600 s 48 kHz WAV, sox (one thread)", medianRun(place->sox));
        }
        printPyramidSize("WAV pyramid", places.front()->lastWavPyramid);

        if (!parser.isSet(noIqOption)) {
            std::printf("\noutput on %s\n", qPrintable(places.front()->name()));
            const QString iqTiles = places.front()->pyramids.next(QStringLiteral("cf32"));
            print("60 s 2.4 MS/s cf32, all cores",
                  runTilegen(iq, iqInput, places.front()->pyramids.next(QStringLiteral("cf32")), 0));
            print("60 s 2.4 MS/s cf32, 1 thread", runTilegen(iq, iqInput, iqTiles, 1));
            printPyramidSize("cf32 pyramid", iqTiles);
        }

        if (!parser.isSet(noEncodersOption))
            compareEncoders(places.front()->lastWavPyramid);

        if (sox.isEmpty()) {
            std::printf("\nsox not found: no comparison\n");
            return 0;
        }
        std::printf("\nspeed against sox on the WAV (sox wall time / mivo wall time, medians of %d runs)\n", runs);
        for (const auto& place : places) {
            std::printf("output on %s\n", qPrintable(place->name()));
            const Measurement soxMedian = medianRun(place->sox);
            printRatio(qPrintable(QStringLiteral("  all cores (%1 threads)").arg(QThread::idealThreadCount())),
                       medianRun(place->wavAll), soxMedian, targetAllCores);
            printRatio("  1 thread", medianRun(place->wavOne), soxMedian, targetOneThread);
        }
    } catch (const mivo::apps::Error& error) {
        std::fprintf(stderr, "mivo-tilegen-bench: %s\n", qPrintable(error.message()));
        return 1;
    }
    return 0;
}
