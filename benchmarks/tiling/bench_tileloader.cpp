// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Loader throughput: distinct 256 x 256 tiles served by nginx on loopback, fetched and
// decoded through TileLoaderQNetworkAccessManager, next to the time one thread needs to
// decode the same PNG bodies with QImage alone.
//
// Usage: bench_tileloader [tile count = 2000] [rounds = 3]

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

#include <NginxServer.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

using namespace mivo::tiling;

namespace {

constexpr int tileSize = 256;

// CPU seconds of this process (all its threads), in user space and in the kernel.
double processCpuSeconds(bool kernelOnly = false)
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const double kernel = double(usage.ru_stime.tv_sec) + double(usage.ru_stime.tv_usec) / 1e6;
    return kernelOnly ? kernel : kernel + double(usage.ru_utime.tv_sec) + double(usage.ru_utime.tv_usec) / 1e6;
}

// A waterfall-like tile: a noise floor, a few carriers, a burst; palette PNG.
QByteArray makeTile(std::mt19937& random)
{
    QImage image(tileSize, tileSize, QImage::Format_Indexed8);
    QVector<QRgb> palette;
    for (int i = 0; i < 256; ++i)
        palette.append(qRgb(i, (i * 3) % 256, 255 - i));
    image.setColorTable(palette);
    std::normal_distribution<double> noise(60.0, 6.0);
    std::uniform_int_distribution<int> column(0, tileSize - 1);
    const int carriers[3] = {column(random), column(random), column(random)};
    const int burstRow = column(random);
    for (int y = 0; y < tileSize; ++y) {
        uchar* line = image.scanLine(y);
        for (int x = 0; x < tileSize; ++x) {
            double level = noise(random);
            for (int carrier : carriers)
                level += 120.0 * std::max(0.0, 1.0 - std::abs(x - carrier) / 3.0);
            if (std::abs(y - burstRow) < 6 && x > 40 && x < 200)
                level += 50.0;
            line[x] = uchar(std::clamp(level, 1.0, 255.0));
        }
    }
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

struct Round
{
    double seconds;
    double cpuSeconds;
    int loaded;
    int failed;
    double kernelSeconds = 0.0; ///< the part of cpuSeconds spent in the kernel
};

Round fetchAll(const QString& baseUrl, const std::vector<TileId>& tiles)
{
    TileLoaderQNetworkAccessManager loader;
    loader.setBaseUrl(QUrl(baseUrl));
    int loaded = 0;
    int failed = 0;
    QEventLoop loop;
    const int expected = int(tiles.size());
    QObject::connect(&loader, &ITileLoader::si_tileLoaded, &loop, [&](const std::shared_ptr<Tile>& tile) {
        if (tile->image.isNull())
            ++failed;
        else
            ++loaded;
        if (loaded + failed == expected)
            loop.quit();
    });
    QObject::connect(&loader, &ITileLoader::si_tileLoadFailed, &loop, [&] {
        if (++failed + loaded == expected)
            loop.quit();
    });
    QTimer::singleShot(120000, &loop, &QEventLoop::quit);

    const double cpuBefore = processCpuSeconds();
    const double kernelBefore = processCpuSeconds(true);
    QElapsedTimer timer;
    timer.start();
    for (const TileId& id : tiles)
        loader.loadTile(id, true);
    loop.exec();
    return {timer.nsecsElapsed() / 1e9, processCpuSeconds() - cpuBefore, loaded, failed,
            processCpuSeconds(true) - kernelBefore};
}

// Decoding alone, one thread, the same conversion the loader does.
Round decodeAll(const std::vector<QByteArray>& bodies)
{
    QElapsedTimer timer;
    timer.start();
    const double cpuBefore = processCpuSeconds();
    int decoded = 0;
    for (const QByteArray& body : bodies) {
        QImage image;
        if (image.loadFromData(body, "PNG") && !image.convertToFormat(QImage::Format_Indexed8).isNull())
            ++decoded;
    }
    return {timer.nsecsElapsed() / 1e9, processCpuSeconds() - cpuBefore, decoded, int(bodies.size()) - decoded};
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const int tileCount = argc > 1 ? std::max(1, atoi(argv[1])) : 2000;
    const int rounds = argc > 2 ? std::max(1, atoi(argv[2])) : 3;

    if (!NginxServer::isAvailable()) {
        std::fprintf(stderr, "bench_tileloader: nginx is not installed (scripts/install-deps)\n");
        return 1;
    }
    QTemporaryDir dir;
    std::mt19937 random(7);
    std::vector<TileId> tiles;
    std::vector<QByteArray> bodies;
    qint64 bytes = 0;
    for (int i = 0; i < tileCount; ++i) {
        const TileId id(quint64(i % 50), quint64(i / 50), 0, 0);
        const QByteArray body = makeTile(random);
        const QString path = dir.path() + QStringLiteral("/src/0/%1/0/%2.png").arg(id.y).arg(id.x);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(body) != body.size()) {
            std::fprintf(stderr, "bench_tileloader: cannot write %s\n", qPrintable(path));
            return 1;
        }
        tiles.push_back(id);
        bodies.push_back(body);
        bytes += body.size();
    }

    NginxServer nginx(dir.path());
    QString error;
    if (!nginx.start(&error)) {
        std::fprintf(stderr, "bench_tileloader: %s\n", qPrintable(error));
        return 1;
    }

    std::printf("tiles: %d distinct %dx%d palette PNGs, %.1f KiB on average; loader workers: %d\n", tileCount, tileSize,
                tileSize, bytes / 1024.0 / tileCount,
                TileLoaderQNetworkAccessManager::workerCountFor(QThread::idealThreadCount()));
    std::vector<Round> results;
    std::vector<Round> decodes;
    for (int round = 0; round < rounds; ++round) {
        // Side by side in every round, so that the load of the machine weighs on both.
        const Round d = decodeAll(bodies);
        decodes.push_back(d);
        std::printf("round %d: QImage decode of the same bodies, one thread: %.3f s wall, %.3f s CPU\n", round + 1,
                    d.seconds, d.cpuSeconds);
        const Round r = fetchAll(nginx.baseUrl() + QStringLiteral("/src"), tiles);
        results.push_back(r);
        std::printf("round %d: %d loaded, %d failed, %.3f s wall, %.3f s CPU (%.3f s in the kernel) -> %.0f tiles/s, "
                    "%.3f ms CPU/tile\n",
                    round + 1, r.loaded, r.failed, r.seconds, r.cpuSeconds, r.kernelSeconds, r.loaded / r.seconds,
                    1000.0 * r.cpuSeconds / std::max(1, r.loaded));
        if (r.loaded != tileCount)
            return 1;
    }
    std::sort(results.begin(), results.end(), [](const Round& a, const Round& b) { return a.seconds < b.seconds; });
    const Round& median = results[results.size() / 2];
    std::sort(decodes.begin(), decodes.end(), [](const Round& a, const Round& b) { return a.seconds < b.seconds; });
    const Round& decodeMedian = decodes[decodes.size() / 2];
    const int decoded = decodeMedian.loaded;
    const double decodeSeconds = decodeMedian.seconds;
    const double decodeCpu = decodeMedian.cpuSeconds;
    const int workers = TileLoaderQNetworkAccessManager::workerCountFor(QThread::idealThreadCount());
    const double loaderRate = tileCount / median.seconds;
    const double decodeRate = decoded / decodeSeconds;
    const double loaderCpuPerTile = median.cpuSeconds / tileCount;
    const double decodeCpuPerTile = decodeCpu / std::max(1, decoded);
    std::printf("\nloader (median of %d by wall time): %.0f tiles/s, %.3f ms wall/tile, %.3f ms CPU/tile\n", rounds,
                loaderRate, 1000.0 / loaderRate, 1000.0 * loaderCpuPerTile);
    std::printf("QImage decode only, one thread (median): %.0f tiles/s, %.3f ms/tile (%.3f ms CPU/tile)\n", decodeRate,
                1000.0 / decodeRate, 1000.0 * decodeCpuPerTile);
    const double throughputRatio = loaderRate / (workers * decodeRate);
    const double cpuRatio = loaderCpuPerTile / decodeCpuPerTile;
    std::printf("ratio loader throughput / (%d workers x decode rate): %.2f (target >= 0.80: %s)\n", workers,
                throughputRatio, throughputRatio >= 0.8 ? "met" : "not met");
    std::printf("ratio loader CPU / decode CPU per tile: %.2f (target <= 1.30: %s)\n", cpuRatio,
                cpuRatio <= 1.3 ? "met" : "not met");
    return 0;
}
