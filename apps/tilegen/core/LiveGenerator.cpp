// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LiveGenerator.h"

#include "Documents.h"
#include "SpectrumAnalyzer.h"
#include <common/Error.h>

#include <QDateTime>
#include <QThread>

#include <algorithm>
#include <cmath>

namespace mivo::tilegen {

namespace {

// The coarsest time level holds at least a day (or the retention window) per tile,
// so that a host zoomed out over a day still finds tiles of a sensible level.
int liveTopYZoom(const AxisGrid& yGrid, const std::optional<double>& retainSeconds)
{
    const double span = std::max(86400.0, retainSeconds.value_or(0.0));
    for (int z = 0; z < AxisGrid::maximumZoomLevel; ++z) {
        if (yGrid.pixelSpan(z) * yGrid.tileSize() >= span)
            return z;
    }
    return AxisGrid::maximumZoomLevel;
}

SignalInfo signalInfoOf(const LiveStream& stream)
{
    SignalInfo info;
    info.sampleRate = stream.sampleRate;
    info.centerFrequency = stream.centerFrequency;
    info.complex = stream.format.complex;
    return info;
}

} // namespace

LiveGenerator::LiveGenerator(const TileGeneratorSettings& settings, const LiveSettings& live, const LiveStream& stream,
                             LiveInput& input, const QString& outputDirectory, const QString& sourceId, QObject* parent)
    : QObject(parent)
    , m_settings((TileGenerator::validate(settings), settings))
    , m_live(live)
    , m_stream(stream)
    , m_input(input)
    , m_name(settings.name.isEmpty() ? sourceId : settings.name)
    , m_fftSize(settings.fftSize)
    , m_hop(settings.hop > 0 ? settings.hop : settings.fftSize / 2)
    , m_components(stream.format.componentsPerSample())
    , m_xGrid(settings.xBase.value_or(stream.sampleRate / settings.fftSize), settings.tileSize)
    , m_yGrid(settings.yBase.value_or(m_hop / stream.sampleRate), settings.tileSize)
    , m_band(BandLayout::of(signalInfoOf(stream), settings.fftSize, m_xGrid))
    , m_columns(m_band.columnOf)
    , m_workers(settings.threads > 0 ? settings.threads : std::max(1, QThread::idealThreadCount()))
    , m_publisher(outputDirectory, sourceId)
    , m_writer(m_workers, m_encoder, m_publisher)
{
    if (m_band.empty())
        throw apps::Error(input.name(),
                          QStringLiteral("the whole band lies below 0 Hz (centre %1 Hz); give --center-frequency")
                              .arg(stream.centerFrequency, 0, 'f', 1));
    if (m_live.publishIntervalMs <= 0)
        throw apps::Error(QStringLiteral("--publish-interval"), QStringLiteral("must be positive"));
    if (m_live.retainSeconds && !(*m_live.retainSeconds > 0))
        throw apps::Error(QStringLiteral("--retain"), QStringLiteral("must be positive"));

    m_pyramidSettings.tileSize = settings.tileSize;
    m_pyramidSettings.firstColumn = m_band.firstColumn;
    m_pyramidSettings.lastColumn = m_band.lastColumn;
    m_pyramidSettings.topXZoom = m_xGrid.topZoomLevel(m_band.firstColumn, m_band.lastColumn);
    m_pyramidSettings.topYZoom = liveTopYZoom(m_yGrid, m_live.retainSeconds);
    m_pyramidSettings.reduction = settings.reduction;
    const double stripColumns
        = double((m_xGrid.tileOf(m_band.lastColumn) - m_xGrid.tileOf(m_band.firstColumn) + 1) * settings.tileSize);
    const double stripBytes = (m_pyramidSettings.topYZoom + 3) * double(settings.tileSize) * stripColumns;
    if (stripBytes > 4.0 * 1024 * 1024 * 1024)
        throw apps::Error(QStringLiteral("--x-base"),
                          QStringLiteral(
                              "%1 Hz per pixel makes %2 columns, %3 GiB of working memory; choose a coarser one")
                              .arg(m_xGrid.baseValue())
                              .arg(qint64(stripColumns))
                              .arg(stripBytes / (1024.0 * 1024 * 1024), 0, 'f', 1));
    m_pyramid = std::make_unique<LivePyramid>(m_pyramidSettings);

    SpectrumSettings spectrum;
    spectrum.fftSize = m_fftSize;
    spectrum.window = settings.window;
    spectrum.levelOffset = settings.levelOffset;
    spectrum.complex = stream.format.complex;
    m_analyzer = std::make_unique<SpectrumAnalyzer>(spectrum);
    m_row.resize(size_t(m_analyzer->binCount()));
    if (m_live.retainSeconds)
        m_tileRows.resize(size_t(m_pyramidSettings.topYZoom) + 1);

    m_publishTimer.setInterval(m_live.publishIntervalMs);
    connect(&m_publishTimer, &QTimer::timeout, this, &LiveGenerator::publish);
    connect(&m_input, &LiveInput::si_received, this, &LiveGenerator::onReceived);
    connect(&m_input, &LiveInput::si_restarted, this, &LiveGenerator::onRestarted);
    connect(&m_input, &LiveInput::si_ended, this, &LiveGenerator::onEnded);
    connect(&m_input, &LiveInput::si_warning, this, &LiveGenerator::si_message);
}

LiveGenerator::~LiveGenerator() = default;

double LiveGenerator::now() const
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

void LiveGenerator::start()
{
    if (m_band.droppedBins > 0)
        Q_EMIT si_message(
            QStringLiteral("warning: %1: %2 of %3 FFT bins lie below 0 Hz and are left out (centre %4 Hz); "
                           "the tiles cannot hold negative frequencies")
                .arg(m_input.name())
                .arg(m_band.droppedBins)
                .arg(m_band.columnOf.size())
                .arg(m_stream.centerFrequency, 0, 'f', 1));
    m_publisher.prepare();
    m_publishTimer.start();
    m_input.start();
}

void LiveGenerator::onRestarted()
{
    // What is left of the old stream is less than a frame: it is dropped.
    m_partialSample.clear();
    m_samples.clear();
    m_bufferStart = 0;
    m_nextFrame = 0;
    m_streamStart.reset();
}

void LiveGenerator::onReceived(const QByteArray& bytes)
{
    if (m_finished)
        return;
    if (!m_streamStart) {
        double start = 0.0;
        if (m_stream.startTime && m_frames == 0) {
            start = *m_stream.startTime;
        } else {
            // The arrival, on a whole level-0 pixel, so that frames one pixel apart
            // never share or skip a pixel through rounding; never before what came
            // earlier, so rows do not go back.
            start = std::floor(now() / m_yGrid.baseValue()) * m_yGrid.baseValue();
            if (m_frames > 0)
                start = std::max(start, m_dataEnd);
        }
        if (start < 0) {
            fail(QStringLiteral("%1: starts at %2 s, before 1970-01-01; the tiles cannot hold earlier times")
                     .arg(m_input.name())
                     .arg(start, 0, 'f', 6));
            return;
        }
        m_streamStart = start;
    }
    const int sampleBytes = m_stream.format.bytesPerSample();
    QByteArray data = m_partialSample + bytes;
    const qint64 count = data.size() / sampleBytes;
    m_partialSample = data.mid(int(count * sampleBytes));
    m_decoded.resize(size_t(count * m_components));
    m_stream.format.decode(data.constData(), count, m_decoded.data());
    m_samples.insert(m_samples.end(), m_decoded.begin(), m_decoded.end());
    const qint64 framesBefore = m_frames;
    analyseFrames();
    if (m_frames > framesBefore)
        m_newestArrival = now();
}

void LiveGenerator::analyseFrames()
{
    const qint64 available = qint64(m_samples.size()) / m_components;
    for (;;) {
        const qint64 frameStart = m_nextFrame * m_hop;
        if (frameStart + m_fftSize > m_bufferStart + available)
            break;
        m_analyzer->analyze(m_samples.data() + (frameStart - m_bufferStart) * m_components, m_row.data());
        const double centre = *m_streamStart + double(frameStart + m_fftSize / 2) / m_stream.sampleRate;
        const qint64 row = m_yGrid.pixelOf(centre);
        m_pyramid->addRow(row, m_row.data(), m_columns);
        // The extents cover the rows that hold data, edge to edge.
        if (m_frames == 0)
            m_firstTime = double(row) * m_yGrid.baseValue();
        m_dataEnd = double(row + 1) * m_yGrid.baseValue();
        ++m_nextFrame;
        ++m_frames;
    }
    // Keep the samples from the next frame's start on (none, if it lies beyond them).
    const qint64 drop = std::min(m_nextFrame * m_hop - m_bufferStart, available);
    if (drop > 0) {
        m_samples.erase(m_samples.begin(), m_samples.begin() + drop * m_components);
        m_bufferStart += drop;
    }
}

void LiveGenerator::publish()
{
    if (m_finished)
        return;
    try {
        const LivePyramid::Tiles tiles = m_pyramid->takeChanges();
        if (tiles.empty())
            return;
        for (const auto& [key, image] : tiles)
            m_writer.write(key, image);
        m_workers.waitForBackground();
        m_writer.rethrowFailure();
        if (m_live.retainSeconds) {
            for (const auto& tile : tiles) {
                std::deque<qint64>& rows = m_tileRows[size_t(tile.first.yZoom)];
                if (rows.empty() || rows.back() < tile.first.y)
                    rows.push_back(tile.first.y);
            }
        }

        // The extents after the tiles they describe, the descriptor (first time) last.
        const double windowStart
            = m_live.retainSeconds ? std::max(m_firstTime, m_dataEnd - *m_live.retainSeconds) : m_firstTime;
        m_publisher.writeDocument(QStringLiteral("tileextents.json"),
                                  tileExtentsJson(m_band.low, m_band.high, windowStart, m_dataEnd));
        if (!m_sourcePublished) {
            AxisDescription xAxis;
            xAxis.baseValue = m_xGrid.baseValue();
            xAxis.tileSize = m_settings.tileSize;
            xAxis.maxZoomLevel = m_pyramidSettings.topXZoom;
            AxisDescription yAxis;
            yAxis.baseValue = m_yGrid.baseValue();
            yAxis.tileSize = m_settings.tileSize;
            yAxis.maxZoomLevel = m_pyramidSettings.topYZoom;
            m_publisher.writeDocument(QStringLiteral("tiledescriptor.json"),
                                      tileDescriptorJson(m_name, xAxis, yAxis, quint32(m_live.publishIntervalMs)));
            m_publisher.publish();
            m_sourcePublished = true;
        }
        if (m_live.retainSeconds)
            removeExpired(windowStart);
        Q_EMIT si_published(int(tiles.size()), m_dataEnd, now() - m_newestArrival);
    } catch (const apps::Error& error) {
        fail(error.message());
    }
}

void LiveGenerator::removeExpired(double windowStart)
{
    for (int z = 0; z <= m_pyramidSettings.topYZoom; ++z) {
        const double rowSpan = m_yGrid.pixelSpan(z) * m_settings.tileSize;
        std::deque<qint64>& rows = m_tileRows[size_t(z)];
        // The newest row stays: it is the one still growing.
        while (rows.size() > 1 && double(rows.front() + 1) * rowSpan <= windowStart) {
            m_publisher.removeTileRow(z, rows.front());
            rows.pop_front();
        }
    }
}

void LiveGenerator::onEnded()
{
    if (m_frames == 0) {
        fail(QStringLiteral("%1: ended before one FFT frame of %2 samples; nothing published")
                 .arg(m_input.name())
                 .arg(m_fftSize));
        return;
    }
    stop();
}

void LiveGenerator::stop()
{
    if (m_finished)
        return;
    m_input.stop();
    if (m_frames == 0) {
        finish(0);
        return;
    }
    publish();
    if (!m_finished)
        finish(0);
}

void LiveGenerator::fail(const QString& message)
{
    if (m_finished)
        return;
    m_input.stop();
    Q_EMIT si_message(message);
    finish(1);
}

void LiveGenerator::finish(int exitCode)
{
    m_finished = true;
    m_publishTimer.stop();
    Q_EMIT si_finished(exitCode);
}

} // namespace mivo::tilegen
