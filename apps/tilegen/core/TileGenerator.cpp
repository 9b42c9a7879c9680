// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TileGenerator.h"

#include "AnnotationExport.h"
#include "AxisGrid.h"
#include "BandLayout.h"
#include "BlockAnalyzer.h"
#include "Documents.h"
#include "SpectrumAnalyzer.h"
#include "TileEncoder.h"
#include "TileWriter.h"
#include "WorkerPool.h"
#include <common/Error.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace mivo::tilegen {

namespace {

bool isPowerOfTwo(qint64 n)
{
    return n > 0 && (n & (n - 1)) == 0;
}

} // namespace

void TileGenerator::validate(const TileGeneratorSettings& settings)
{
    if (!isPowerOfTwo(settings.fftSize) || settings.fftSize < 16 || settings.fftSize > (1 << 20))
        throw apps::Error(QStringLiteral("--fft-size"),
                          QStringLiteral("%1 is not a power of two from 16 to 1048576").arg(settings.fftSize));
    if (settings.hop < 0)
        throw apps::Error(QStringLiteral("--hop"),
                          QStringLiteral("must be a positive number of samples, got %1").arg(settings.hop));
    if (settings.tileSize < 16 || settings.tileSize > 4096 || settings.tileSize % 2 != 0)
        throw apps::Error(QStringLiteral("--tile-size"),
                          QStringLiteral("%1 is not an even number from 16 to 4096").arg(settings.tileSize));
    if (settings.xBase && !(*settings.xBase > 0 && std::isfinite(*settings.xBase)))
        throw apps::Error(QStringLiteral("--x-base"),
                          QStringLiteral("must be a positive number of Hz, got %1").arg(*settings.xBase));
    if (settings.yBase && !(*settings.yBase > 0 && std::isfinite(*settings.yBase)))
        throw apps::Error(QStringLiteral("--y-base"),
                          QStringLiteral("must be a positive number of seconds, got %1").arg(*settings.yBase));
    if (!std::isfinite(settings.levelOffset))
        throw apps::Error(QStringLiteral("--level-offset"), QStringLiteral("must be a finite number of dB"));
    if (settings.threads < 0 || settings.threads > 256)
        throw apps::Error(QStringLiteral("--threads"),
                          QStringLiteral("must be from 1 to 256 (0: one per core), got %1").arg(settings.threads));
    if (!settings.sourceId.isEmpty() && !SourcePublisher::isValidSourceId(settings.sourceId))
        throw apps::Error(QStringLiteral("--source-id"),
                          QStringLiteral("\"%1\" is not a plain name of letters, digits, '.', '_' and '-' "
                                         "(not starting with '.')")
                              .arg(settings.sourceId));
}

QString TileGenerator::sourceIdFromBaseName(const QString& baseName)
{
    static const QRegularExpression unsafe(QStringLiteral("[^A-Za-z0-9._-]"));
    QString id = baseName;
    id.replace(unsafe, QStringLiteral("_"));
    while (id.startsWith(QLatin1Char('.')))
        id.remove(0, 1);
    return id.left(200);
}

TileGenerator::TileGenerator(const TileGeneratorSettings& settings, OpenedInput input, const QString& outputDirectory)
    : m_settings(settings)
    , m_input(std::move(input))
    , m_outputDir(outputDirectory)
{
}

TileGenerator::~TileGenerator() = default;

void TileGenerator::warn(const QString& message) const
{
    if (m_warning)
        m_warning(message);
}

TileGeneratorResult TileGenerator::run()
{
    validate(m_settings);
    Q_ASSERT(m_input.source && "run() needs an opened input");
    ISignalSource& source = *m_input.source;
    const SignalInfo& info = source.info();
    const QString fileName = source.fileName();
    for (const QString& warning : qAsConst(m_input.warnings))
        warn(warning);

    const int fftSize = m_settings.fftSize;
    const int hop = m_settings.hop > 0 ? m_settings.hop : fftSize / 2;
    if (!(info.sampleRate > 0) || !std::isfinite(info.sampleRate))
        throw apps::Error(fileName, QStringLiteral("sample rate must be positive, got %1").arg(info.sampleRate));
    if (info.startTime < 0 || !std::isfinite(info.startTime))
        throw apps::Error(fileName,
                          QStringLiteral("starts at %1 s, before 1970-01-01; the tiles cannot hold earlier "
                                         "times (give --start-time)")
                              .arg(info.startTime, 0, 'f', 6));
    if (info.sampleCount < fftSize)
        throw apps::Error(
            fileName,
            QStringLiteral("holds %1 samples, fewer than one FFT frame of %2").arg(info.sampleCount).arg(fftSize));

    TileGeneratorResult result;
    result.sourceId = m_settings.sourceId.isEmpty() ? sourceIdFromBaseName(m_input.baseName) : m_settings.sourceId;
    if (!SourcePublisher::isValidSourceId(result.sourceId))
        throw apps::Error(fileName, QStringLiteral("cannot make a source id from the file name; give --source-id"));
    const QString name = m_settings.name.isEmpty() ? result.sourceId : m_settings.name;

    // Geometry: level-0 column of every bin, level-0 row of every frame.
    const int bins = SpectrumAnalyzer::binCount(fftSize, info.complex);
    result.xBase = m_settings.xBase.value_or(info.sampleRate / fftSize);
    result.yBase = m_settings.yBase.value_or(hop / info.sampleRate);
    const AxisGrid xGrid(result.xBase, m_settings.tileSize);
    const AxisGrid yGrid(result.yBase, m_settings.tileSize);

    const BandLayout band = BandLayout::of(info, fftSize, xGrid);
    if (band.empty())
        throw apps::Error(fileName,
                          QStringLiteral("the whole band lies below 0 Hz (centre %1 Hz); give --center-frequency")
                              .arg(info.centerFrequency, 0, 'f', 1));
    if (band.droppedBins > 0)
        warn(QStringLiteral("%1: %2 of %3 FFT bins lie below 0 Hz and are left out (centre %4 Hz); "
                            "the tiles cannot hold negative frequencies")
                 .arg(fileName)
                 .arg(band.droppedBins)
                 .arg(bins)
                 .arg(info.centerFrequency, 0, 'f', 1));
    const qint64 firstColumn = band.firstColumn;
    const qint64 lastColumn = band.lastColumn;

    const qint64 frames = (info.sampleCount - fftSize) / hop + 1;
    const auto frameTime
        = [&](qint64 frame) { return info.startTime + double(frame * hop + fftSize / 2) / info.sampleRate; };
    const qint64 firstRow = yGrid.pixelOf(frameTime(0));
    const qint64 lastRow = yGrid.pixelOf(frameTime(frames - 1));
    result.topXZoom = xGrid.topZoomLevel(firstColumn, lastColumn);
    result.topYZoom = yGrid.topZoomLevel(firstRow, lastRow);
    if (xGrid.tileOf(AxisGrid::pixelAtLevel(firstColumn, result.topXZoom))
        != xGrid.tileOf(AxisGrid::pixelAtLevel(lastColumn, result.topXZoom)))
        warn(QStringLiteral("the frequency span does not fit one tile even at zoom level %1").arg(result.topXZoom));
    if (yGrid.tileOf(AxisGrid::pixelAtLevel(firstRow, result.topYZoom))
        != yGrid.tileOf(AxisGrid::pixelAtLevel(lastRow, result.topYZoom)))
        warn(QStringLiteral("the time span does not fit one tile even at zoom level %1").arg(result.topYZoom));

    // The pyramid holds one strip of tile rows per y level: refuse what cannot fit.
    const double stripColumns
        = double((xGrid.tileOf(lastColumn) - xGrid.tileOf(firstColumn) + 1) * m_settings.tileSize);
    const double stripBytes = (result.topYZoom + 3) * double(m_settings.tileSize) * stripColumns;
    if (stripBytes > 4.0 * 1024 * 1024 * 1024)
        throw apps::Error(QStringLiteral("--x-base"),
                          QStringLiteral(
                              "%1 Hz per pixel makes %2 columns, %3 GiB of working memory; choose a coarser one")
                              .arg(result.xBase)
                              .arg(qint64(stripColumns))
                              .arg(stripBytes / (1024.0 * 1024 * 1024), 0, 'f', 1));

    SourcePublisher publisher(m_outputDir, result.sourceId, m_writer);
    publisher.prepare();
    result.sourceDirectory = publisher.sourceDirectory();

    const int threads = m_settings.threads > 0 ? m_settings.threads : std::max(1, QThread::idealThreadCount());
    const TileEncoder encoder;
    WorkerPool workers(threads);
    TileWriter tiles(workers, encoder, publisher);

    PyramidBuilder::Settings pyramidSettings;
    pyramidSettings.tileSize = m_settings.tileSize;
    pyramidSettings.firstColumn = firstColumn;
    pyramidSettings.lastColumn = lastColumn;
    pyramidSettings.topXZoom = result.topXZoom;
    pyramidSettings.topYZoom = result.topYZoom;
    pyramidSettings.reduction = m_settings.reduction;
    PyramidBuilder pyramid(pyramidSettings,
                           [&tiles](const TileKey& key, const QImage& tile) { tiles.write(key, tile); });

    SpectrumSettings spectrum;
    spectrum.fftSize = fftSize;
    spectrum.window = m_settings.window;
    spectrum.levelOffset = m_settings.levelOffset;
    spectrum.complex = info.complex;
    const ColumnMap columns(band.columnOf);
    const auto reportProgress = [&](qint64 framesDone) {
        if (!m_progress)
            return;
        TileGeneratorProgress progress;
        progress.framesDone = framesDone;
        progress.framesTotal = frames;
        progress.signalSecondsDone = double(framesDone * hop) / info.sampleRate;
        progress.tilesWritten = tiles.tilesWritten();
        m_progress(progress);
    };
    try {
        FrameReader reader(source, fftSize, hop);
        BlockAnalyzer analyzer(workers, reader, spectrum, frames, hop); // after the reader, which it uses
        for (BlockAnalyzer::Block block = analyzer.next(); block.count > 0; block = analyzer.next()) {
            for (int f = 0; f < block.count; ++f) {
                pyramid.addRow(yGrid.pixelOf(frameTime(block.first + f)),
                               block.rows + size_t(f) * size_t(analyzer.bins()), columns);
            }
            tiles.rethrowFailure();
            reportProgress(block.first + block.count);
        }
        pyramid.finish();
        workers.waitForBackground();
        tiles.rethrowFailure();
        // The coarser levels are written after the last frame: a final report counts them.
        reportProgress(frames);
    } catch (...) {
        workers.cancelQueued();
        workers.waitForBackground();
        throw;
    }

    result.frames = frames;
    result.signalSeconds = double(info.sampleCount) / info.sampleRate;
    result.tilesWritten = tiles.tilesWritten();

    // Documents after the tiles they describe; the descriptor last of them.
    if (m_input.fromSigMf) {
        QStringList warnings;
        const QVector<WorkspaceItem> items
            = workspaceItemsFromAnnotations(m_input.annotations, info, result.sourceId, &warnings);
        for (const QString& warning : qAsConst(warnings))
            warn(QStringLiteral("%1: %2").arg(fileName, warning));
        publisher.writeDocument(QStringLiteral("workspace.json"), workspaceJson(result.sourceId, items));
    }
    publisher.writeDocument(QStringLiteral("tileextents.json"),
                            tileExtentsJson(band.low, band.high, info.startTime,
                                            info.startTime + result.signalSeconds));
    AxisDescription xAxis;
    xAxis.baseValue = result.xBase;
    xAxis.tileSize = m_settings.tileSize;
    xAxis.maxZoomLevel = result.topXZoom;
    AxisDescription yAxis;
    yAxis.baseValue = result.yBase;
    yAxis.tileSize = m_settings.tileSize;
    yAxis.maxZoomLevel = result.topYZoom;
    publisher.writeDocument(QStringLiteral("tiledescriptor.json"), tileDescriptorJson(name, xAxis, yAxis));
    publisher.publish();
    return result;
}

} // namespace mivo::tilegen
