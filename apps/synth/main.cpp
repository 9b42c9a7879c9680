// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RadioScene.h"
#include "SceneStreamer.h"
#include "SigMfWriter.h"

#include <common/Error.h>
#include <common/OptionValues.h>
#include <common/TimeValue.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

using mivo::apps::Error;
using mivo::apps::quantityOption;
using mivo::apps::UsageError;

namespace {

std::uint64_t seedOption(const QCommandLineParser& parser)
{
    bool ok = false;
    const std::uint64_t seed = parser.value(QStringLiteral("seed")).toULongLong(&ok);
    if (!ok)
        throw UsageError(
            QStringLiteral("--seed"),
            QStringLiteral("\"%1\" is not a non-negative whole number").arg(parser.value(QStringLiteral("seed"))));
    return seed;
}

// Streams to standard output ("-") or to a file created (or emptied) for it.
int streamScene(double sampleRate, double duration, std::uint64_t seed, const QString& target)
{
    // A reader that goes away ends the stream through EPIPE, not a signal.
    std::signal(SIGPIPE, SIG_IGN);
    int fd = STDOUT_FILENO;
    if (target != QLatin1String("-")) {
        fd = ::open(QFile::encodeName(target).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0)
            throw Error(target, QStringLiteral("cannot write: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
    }
    mivo::synth::SceneStreamSettings settings;
    settings.sampleRate = sampleRate;
    settings.duration = duration;
    settings.seed = seed;
    mivo::synth::SceneStreamer streamer(settings, fd,
                                        target == QLatin1String("-") ? QStringLiteral("standard output") : target);
    try {
        streamer.run();
    } catch (...) {
        if (fd != STDOUT_FILENO)
            ::close(fd);
        throw;
    }
    if (fd != STDOUT_FILENO)
        ::close(fd);
    return 0;
}

int run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Writes a synthetic SigMF recording (cf32_le) of a radio scene: noise, an AM\n"
                       "broadcast, FM voice, FSK bursts, chirps and a frequency hopper, with slow fading.\n"
                       "Every emission is listed as an annotation. The same seed gives the same files.\n"
                       "With --stream it writes the raw samples (cf32_le, no metadata) at the real-time\n"
                       "pace of the sample rate instead, to a file or with the base \"-\" to standard\n"
                       "output, standing in for a receiver."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("output-base"),
                                 QStringLiteral(
                                     "Path without extension; writes <base>.sigmf-data and <base>.sigmf-meta.\n"
                                     "With --stream: the file to write, or - for standard output."));
    parser.addOptions({
        {QStringLiteral("duration"), QStringLiteral("Seconds of signal (default 60; with --stream 0 is no end)."),
         QStringLiteral("s"), QStringLiteral("60")},
        {QStringLiteral("stream"), QStringLiteral("Write raw cf32_le samples at real-time pace (see above).")},
        {QStringLiteral("sample-rate"), QStringLiteral("Samples per second (default 125k)."), QStringLiteral("Hz"),
         QStringLiteral("125000")},
        {QStringLiteral("center-frequency"), QStringLiteral("Centre frequency (default 100M)."), QStringLiteral("Hz"),
         QStringLiteral("100e6")},
        {QStringLiteral("start-time"),
         QStringLiteral("First sample's time, ISO 8601 or seconds since 1970 (default 2024-01-01T12:00:00Z)."),
         QStringLiteral("time"), QStringLiteral("2024-01-01T12:00:00Z")},
        {QStringLiteral("seed"), QStringLiteral("Seed of the scene (default 1)."), QStringLiteral("n"),
         QStringLiteral("1")},
    });
    if (!parser.parse(arguments))
        throw UsageError(parser.errorText() + QStringLiteral(" (see --help)"));
    if (parser.isSet(QStringLiteral("help"))) {
        std::cout << qPrintable(parser.helpText());
        return 0;
    }
    if (parser.positionalArguments().size() != 1)
        throw UsageError(QStringLiteral("expected one output base path (see --help)"));

    mivo::synth::SceneTiming timing;
    timing.sampleRate = quantityOption(parser, QStringLiteral("sample-rate"));
    if (!(timing.sampleRate >= 1000.0 && timing.sampleRate <= 100e6))
        throw UsageError(QStringLiteral("--sample-rate"),
                         QStringLiteral("must be from 1000 to 1e8, got %1").arg(timing.sampleRate));
    const double duration = quantityOption(parser, QStringLiteral("duration"));
    const bool stream = parser.isSet(QStringLiteral("stream"));
    const QString base = parser.positionalArguments().constFirst();
    if (stream) {
        if (!(duration >= 0 && std::isfinite(duration)))
            throw UsageError(QStringLiteral("--duration"),
                             QStringLiteral("must be 0 (no end) or positive, got %1 s").arg(duration));
        return streamScene(timing.sampleRate, duration, seedOption(parser), base);
    }
    if (base == QLatin1String("-"))
        throw UsageError(QStringLiteral("the output base - (standard output) needs --stream"));
    if (!(duration > 0 && duration * timing.sampleRate <= 4e9))
        throw UsageError(QStringLiteral("--duration"),
                         QStringLiteral("must be positive and at most 4e9 samples, got %1 s").arg(duration));
    timing.sampleCount = qint64(std::llround(duration * timing.sampleRate));

    mivo::synth::RecordingSettings settings;
    settings.centerFrequency = quantityOption(parser, QStringLiteral("center-frequency"));
    const std::optional<double> start = mivo::apps::parseTimeValue(parser.value(QStringLiteral("start-time")));
    if (!start)
        throw UsageError(QStringLiteral("--start-time"),
                         QStringLiteral("\"%1\" is neither ISO 8601 nor seconds since 1970")
                             .arg(parser.value(QStringLiteral("start-time"))));
    settings.startTime = *start;
    settings.seed = seedOption(parser);

    const QString directory = QFileInfo(base).absolutePath();
    if (!QFileInfo(directory).isDir())
        throw Error(directory, QStringLiteral("no such directory"));

    mivo::synth::RadioScene scene(timing, settings.seed);
    mivo::synth::writeRecording(scene, settings, base);
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mivo-synth"));
    try {
        return run(QCoreApplication::arguments());
    } catch (const UsageError& error) {
        std::fprintf(stderr, "mivo-synth: %s\n", error.message().toLocal8Bit().constData());
        return 2;
    } catch (const Error& error) {
        std::fprintf(stderr, "mivo-synth: %s\n", error.message().toLocal8Bit().constData());
        return 1;
    }
}
