// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "InputOpener.h"
#include "PyramidBuilder.h"
#include "SourcePublisher.h"
#include "Window.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace mivo::tilegen {

struct TileGeneratorSettings
{
    int fftSize = 1024; // power of two, 16 .. 1048576
    int hop = 0; // samples between frames; 0: fftSize / 2
    WindowKind window = WindowKind::Hann;
    double levelOffset = 0.0; // dB added to the dBFS levels
    std::optional<double> xBase; // Hz per level-0 pixel; default: one FFT bin
    std::optional<double> yBase; // seconds per level-0 pixel; default: one hop
    int tileSize = 256; // even, 16 .. 4096
    Reduction reduction = Reduction::Maximum;
    QString sourceId; // default: the input's base name, cleaned
    QString name; // descriptor name; default: the source id
    int threads = 0; // 0: one per core
};

struct TileGeneratorProgress
{
    qint64 framesDone = 0;
    qint64 framesTotal = 0;
    double signalSecondsDone = 0.0;
    quint64 tilesWritten = 0;
};

struct TileGeneratorResult
{
    QString sourceId;
    QString sourceDirectory;
    qint64 frames = 0;
    double signalSeconds = 0.0;
    quint64 tilesWritten = 0;
    int topXZoom = 0;
    int topYZoom = 0;
    double xBase = 0.0;
    double yBase = 0.0;
};

// Reads a recording, computes its spectrogram and publishes the tile pyramid:
// tiles, workspace.json (SigMF annotations), tileextents.json, tiledescriptor.json,
// then tilesources.json. Frame i covers samples i * hop .. i * hop + fftSize - 1 and
// stands for the instant of the centre of its window, start + (i * hop + fftSize / 2)
// / sampleRate; only whole frames are used. The output is the same, byte for byte,
// for any number of threads.
class TileGenerator
{
public:
    using ProgressCallback = std::function<void(const TileGeneratorProgress&)>;
    using WarningCallback = std::function<void(const QString&)>;

    // Throws apps::Error for settings that can never work (naming the option).
    static void validate(const TileGeneratorSettings& settings);

    // A source id made from a file's base name: characters other than letters,
    // digits, '.', '_' and '-' become '_', and a leading '.' is dropped.
    static QString sourceIdFromBaseName(const QString& baseName);

    TileGenerator(const TileGeneratorSettings& settings, OpenedInput input, const QString& outputDirectory);
    ~TileGenerator();
    TileGenerator(const TileGenerator&) = delete;
    TileGenerator& operator=(const TileGenerator&) = delete;

    // Called on the calling thread of run() after every block of frames.
    void setProgressCallback(ProgressCallback callback) { m_progress = std::move(callback); }
    void setWarningCallback(WarningCallback callback) { m_warning = std::move(callback); }
    // Replaces how files are written (tests inject failures through it).
    void setFileWriter(SourcePublisher::FileWriter writer) { m_writer = std::move(writer); }

    // Throws apps::Error; then nothing has been published and no staging files remain.
    TileGeneratorResult run();

private:
    struct Run;
    void warn(const QString& message) const;

    TileGeneratorSettings m_settings;
    OpenedInput m_input;
    QString m_outputDir;
    ProgressCallback m_progress;
    WarningCallback m_warning;
    SourcePublisher::FileWriter m_writer = &SourcePublisher::writeFileAtomically;
};

} // namespace mivo::tilegen
