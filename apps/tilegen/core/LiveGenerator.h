// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "AxisGrid.h"
#include "BandLayout.h"
#include "ColumnMap.h"
#include "LiveInput.h"
#include "LivePyramid.h"
#include "SampleFormat.h"
#include "SourcePublisher.h"
#include "TileEncoder.h"
#include "TileGenerator.h"
#include "TileWriter.h"
#include "WorkerPool.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <optional>
#include <vector>

namespace mivo::tilegen {

class SpectrumAnalyzer;

struct LiveSettings
{
    int publishIntervalMs = 1000; // also the descriptor's updateInterval
    std::optional<double> retainSeconds; // unset: keep everything
};

// What is known of a stream before it starts.
struct LiveStream
{
    SampleFormat format;
    double sampleRate = 0.0;
    double centerFrequency = 0.0; // complex formats only
    std::optional<double> startTime; // unset: the time the first samples arrive
};

// Keeps the tile pyramid of a growing stream current. Samples go through the batch
// pipeline's pieces (the sample decoder, the spectrum analyser with its quantiser,
// the row reductions, the tile encoder, the publisher) into a LivePyramid; every
// publishIntervalMs the tiles that changed are written, each atomically, and then
// tileextents.json with the new end time. The first publication makes the source
// (descriptor with "updateInterval", extents, tiles) visible in one rename and lists
// it in tilesources.json, as a batch run does; later ones write in place.
//
// Time: sample n of a stream is at start + n / sampleRate, the start being the given
// time or the arrival of its first bytes (rounded down to a whole level-0 pixel). A
// new stream after a reconnection starts at its own arrival, but never before the end
// of what came before, so rows never go back. The extents' time span runs from the
// first to the end of the newest level-0 row that holds data. With retainSeconds, every tile row that ends before the newest time minus
// the window is removed after the extents have moved past it.
//
// Runs in the event loop of its thread; errors end it with si_finished(1).
class LiveGenerator : public QObject
{
    Q_OBJECT

public:
    // The input is not owned and must outlive the generator. Throws apps::Error for
    // settings that cannot work.
    LiveGenerator(const TileGeneratorSettings& settings, const LiveSettings& live, const LiveStream& stream,
                  LiveInput& input, const QString& outputDirectory, const QString& sourceId, QObject* parent = nullptr);
    ~LiveGenerator() override;

    // Prepares the output and starts reading. Throws apps::Error.
    void start();
    // Stops reading, publishes what it has and finishes (si_finished(0), or 1 when
    // the final publication fails). Does nothing once finished. The end of the input
    // does the same, except that a stream that ended before its first whole frame is
    // an error (nothing published, si_finished(1)).
    void stop();

    int topYZoom() const { return m_pyramidSettings.topYZoom; }
    int topXZoom() const { return m_pyramidSettings.topXZoom; }
    quint64 tilesWritten() const { return m_writer.tilesWritten(); }
    qint64 frames() const { return m_frames; }
    QString sourceDirectory() const { return m_publisher.sourceDirectory(); }

Q_SIGNALS:
    // A warning or the error that ends the run, as one line for the user.
    void si_message(const QString& message);
    // Once, at the end: 0 when everything received was published, 1 on failure.
    void si_finished(int exitCode);
    // After every publication that wrote something: the tiles written, the end of
    // the newest row in them (seconds since 1970) and the seconds from the arrival of
    // the bytes that completed that row to the end of the publication.
    void si_published(int tiles, double dataEndTime, double arrivalDelay);

private:
    void onReceived(const QByteArray& bytes);
    void onRestarted();
    void onEnded();
    void analyseFrames();
    void publish();
    void removeExpired(double windowStart);
    void fail(const QString& message);
    void finish(int exitCode);
    double now() const;

    TileGeneratorSettings m_settings;
    LiveSettings m_live;
    LiveStream m_stream;
    LiveInput& m_input;
    QString m_name;
    int m_fftSize;
    int m_hop;
    int m_components;
    AxisGrid m_xGrid;
    AxisGrid m_yGrid;
    BandLayout m_band;
    ColumnMap m_columns;
    PyramidBuilder::Settings m_pyramidSettings;
    std::unique_ptr<LivePyramid> m_pyramid;
    std::unique_ptr<SpectrumAnalyzer> m_analyzer;
    TileEncoder m_encoder;
    WorkerPool m_workers;
    SourcePublisher m_publisher;
    TileWriter m_writer; // after what it uses
    QTimer m_publishTimer;

    QByteArray m_partialSample; // bytes of a sample not yet complete
    std::vector<float> m_samples; // samples of the current stream from m_bufferStart on
    std::vector<float> m_decoded;
    std::vector<quint8> m_row;
    qint64 m_bufferStart = 0; // stream sample index of m_samples[0]
    qint64 m_nextFrame = 0; // frame index within the current stream
    std::optional<double> m_streamStart; // time of the current stream's sample 0
    double m_firstTime = 0.0; // start of the oldest row with data
    double m_dataEnd = 0.0; // end of the newest row with data
    double m_newestArrival = 0.0; // wall clock when the bytes completing that row came
    qint64 m_frames = 0;
    bool m_sourcePublished = false;
    bool m_finished = false;
    std::vector<std::deque<qint64>> m_tileRows; // with retention: tile rows on disk per y level
};

} // namespace mivo::tilegen
