// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "CommandLine.h"

#include <common/OptionValues.h>
#include <common/Quantity.h>
#include <common/TimeValue.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cmath>
#include <iostream>

namespace mivo::tilegen {

using apps::integerOption;
using apps::quantityOption;
using apps::UsageError;

CommandLine parseCommandLine(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Builds the tile pyramid of a recording's spectrogram for the mivo waterfall.\n"
                       "Input: sound files (WAV, FLAC, ... via libsndfile), raw interleaved I/Q\n"
                       "(cu8, cs8, cs16, cf32, ...) or SigMF (.sigmf-meta with its .sigmf-data,\n"
                       "or a .sigmf archive).\n"
                       "Output: <output-dir>/<source-id>/ with tiles and documents, and\n"
                       "<output-dir>/tilesources.json listing the source.\n"
                       "With --follow the input grows while it is read: - (standard input), a file\n"
                       "still being written, or rtl_tcp://HOST:PORT; the pyramid is published every\n"
                       "--publish-interval until the stream ends or SIGINT/SIGTERM arrives."));
    const QCommandLineOption help(QStringList{QStringLiteral("h"), QStringLiteral("help")},
                                  QStringLiteral("Show this help."));
    parser.addOption(help);
    const QCommandLineOption version(QStringList{QStringLiteral("version")}, QStringLiteral("Show the version."));
    parser.addOption(version);
    parser.addPositionalArgument(QStringLiteral("input"), QStringLiteral("The recording."));
    parser.addPositionalArgument(QStringLiteral("output-dir"),
                                 QStringLiteral("Directory that holds the tile sources."));

    const QList<QCommandLineOption> options = {
        {QStringLiteral("format"), QStringLiteral("auto (default), sndfile, raw or sigmf."), QStringLiteral("kind"),
         QStringLiteral("auto")},
        {QStringLiteral("datatype"), QStringLiteral("Raw sample type: %1.").arg(SampleFormat::rawNamesHelp()),
         QStringLiteral("type")},
        {QStringLiteral("sample-rate"), QStringLiteral("Samples per second of raw input (2.4e6, 2.4M, 250k)."),
         QStringLiteral("Hz")},
        {QStringLiteral("center-frequency"), QStringLiteral("Centre frequency of complex input; overrides SigMF's."),
         QStringLiteral("Hz")},
        {QStringLiteral("start-time"),
         QStringLiteral("Time of the first sample: ISO 8601 (2024-01-01T12:00:00Z) or seconds since 1970; overrides "
                        "SigMF's; default 0."),
         QStringLiteral("time")},
        {QStringLiteral("channel"), QStringLiteral("Channel of a sound file, from 0 (default 0)."), QStringLiteral("n"),
         QStringLiteral("0")},
        {QStringLiteral("fft-size"), QStringLiteral("FFT length, a power of two (default 1024)."), QStringLiteral("n"),
         QStringLiteral("1024")},
        {QStringLiteral("hop"), QStringLiteral("Samples from one frame to the next (default fft-size / 2)."),
         QStringLiteral("n")},
        {QStringLiteral("window"), QStringLiteral("hann (default), blackman-harris or rectangular."),
         QStringLiteral("name"), QStringLiteral("hann")},
        {QStringLiteral("level-offset"), QStringLiteral("dB added to the dBFS levels (default 0)."),
         QStringLiteral("dB"), QStringLiteral("0")},
        {QStringLiteral("x-base"), QStringLiteral("Hz per pixel at zoom level 0 (default: one FFT bin)."),
         QStringLiteral("Hz")},
        {QStringLiteral("y-base"), QStringLiteral("Seconds per pixel at zoom level 0 (default: one hop)."),
         QStringLiteral("s")},
        {QStringLiteral("tile-size"), QStringLiteral("Pixels per tile side, even, 16 to 4096 (default 256)."),
         QStringLiteral("n"), QStringLiteral("256")},
        {QStringLiteral("reduce"), QStringLiteral("Coarser levels by max (peak hold, default) or mean."),
         QStringLiteral("how"), QStringLiteral("max")},
        {QStringLiteral("source-id"), QStringLiteral("Directory name of the source (default: input base name)."),
         QStringLiteral("id")},
        {QStringLiteral("name"), QStringLiteral("Name in the tile descriptor (default: the source id)."),
         QStringLiteral("name")},
        {QStringLiteral("threads"), QStringLiteral("Worker threads (default: one per core)."), QStringLiteral("n"),
         QStringLiteral("0")},
        {QStringList{QStringLiteral("q"), QStringLiteral("quiet")}, QStringLiteral("No progress and no summary.")},
        {QStringLiteral("follow"),
         QStringLiteral("Follow a growing stream: -, a file being written, or rtl_tcp://HOST:PORT.")},
        {QStringLiteral("publish-interval"), QStringLiteral("With --follow: seconds between publications (default 1)."),
         QStringLiteral("s"), QStringLiteral("1")},
        {QStringLiteral("retain"), QStringLiteral("With --follow: remove tiles older than this (90s, 15m, 24h, 7d)."),
         QStringLiteral("duration")},
        {QStringList{QStringLiteral("v"), QStringLiteral("verbose")},
         QStringLiteral("With --follow: a line per publication on stderr.")},
    };
    parser.addOptions(options);

    CommandLine commandLine;
    if (!parser.parse(arguments))
        throw UsageError(parser.errorText() + QStringLiteral(" (see --help)"));
    if (parser.isSet(help)) {
        std::cout << qPrintable(parser.helpText());
        commandLine.helpShown = true;
        return commandLine;
    }
    if (parser.isSet(version)) {
        std::cout << "mivo-tilegen " << qPrintable(QCoreApplication::applicationVersion()) << '\n';
        commandLine.helpShown = true;
        return commandLine;
    }
    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 2)
        throw UsageError(
            QStringLiteral("expected an input file and an output directory, got %1 argument(s) (see --help)")
                .arg(positional.size()));
    commandLine.inputPath = positional.at(0);
    commandLine.outputDirectory = positional.at(1);

    InputSettings& input = commandLine.input;
    const QString format = parser.value(QStringLiteral("format")).toLower();
    if (format == QLatin1String("auto"))
        input.kind = InputSettings::Kind::Auto;
    else if (format == QLatin1String("sndfile"))
        input.kind = InputSettings::Kind::SoundFile;
    else if (format == QLatin1String("raw"))
        input.kind = InputSettings::Kind::Raw;
    else if (format == QLatin1String("sigmf"))
        input.kind = InputSettings::Kind::SigMf;
    else
        throw UsageError(QStringLiteral("--format"),
                         QStringLiteral("\"%1\" is not auto, sndfile, raw or sigmf").arg(format));
    if (parser.isSet(QStringLiteral("datatype"))) {
        const QString name = parser.value(QStringLiteral("datatype"));
        input.datatype = SampleFormat::fromName(name);
        if (!input.datatype)
            throw UsageError(QStringLiteral("--datatype"),
                             QStringLiteral("\"%1\" is not one of %2").arg(name, SampleFormat::rawNamesHelp()));
    }
    if (parser.isSet(QStringLiteral("sample-rate"))) {
        input.sampleRate = quantityOption(parser, QStringLiteral("sample-rate"));
        if (!(*input.sampleRate > 0))
            throw UsageError(QStringLiteral("--sample-rate"),
                             QStringLiteral("must be positive, got %1").arg(*input.sampleRate));
    }
    if (parser.isSet(QStringLiteral("center-frequency")))
        input.centerFrequency = quantityOption(parser, QStringLiteral("center-frequency"));
    if (parser.isSet(QStringLiteral("start-time"))) {
        const QString text = parser.value(QStringLiteral("start-time"));
        input.startTime = apps::parseTimeValue(text);
        if (!input.startTime)
            throw UsageError(QStringLiteral("--start-time"),
                             QStringLiteral("\"%1\" is neither ISO 8601 nor seconds since 1970").arg(text));
    }
    input.channel = integerOption(parser, QStringLiteral("channel"));
    if (input.channel < 0)
        throw UsageError(QStringLiteral("--channel"),
                         QStringLiteral("channels count from 0, got %1").arg(input.channel));

    TileGeneratorSettings& generator = commandLine.generator;
    generator.fftSize = integerOption(parser, QStringLiteral("fft-size"));
    if (parser.isSet(QStringLiteral("hop"))) {
        generator.hop = integerOption(parser, QStringLiteral("hop"));
        if (generator.hop <= 0)
            throw UsageError(QStringLiteral("--hop"),
                             QStringLiteral("must be a positive number of samples, got %1").arg(generator.hop));
    }
    const QString window = parser.value(QStringLiteral("window"));
    const std::optional<WindowKind> windowKind = windowKindFromName(window);
    if (!windowKind)
        throw UsageError(QStringLiteral("--window"),
                         QStringLiteral("\"%1\" is not hann, blackman-harris or rectangular").arg(window));
    generator.window = *windowKind;
    generator.levelOffset = quantityOption(parser, QStringLiteral("level-offset"));
    if (parser.isSet(QStringLiteral("x-base")))
        generator.xBase = quantityOption(parser, QStringLiteral("x-base"));
    if (parser.isSet(QStringLiteral("y-base")))
        generator.yBase = quantityOption(parser, QStringLiteral("y-base"));
    generator.tileSize = integerOption(parser, QStringLiteral("tile-size"));
    const QString reduce = parser.value(QStringLiteral("reduce")).toLower();
    if (reduce == QLatin1String("max"))
        generator.reduction = Reduction::Maximum;
    else if (reduce == QLatin1String("mean"))
        generator.reduction = Reduction::Mean;
    else
        throw UsageError(QStringLiteral("--reduce"), QStringLiteral("\"%1\" is not max or mean").arg(reduce));
    generator.sourceId = parser.value(QStringLiteral("source-id"));
    if (parser.isSet(QStringLiteral("source-id")) && generator.sourceId.isEmpty())
        throw UsageError(QStringLiteral("--source-id"), QStringLiteral("must not be empty"));
    generator.name = parser.value(QStringLiteral("name"));
    generator.threads = integerOption(parser, QStringLiteral("threads"));
    commandLine.quiet = parser.isSet(QStringLiteral("quiet"));

    commandLine.follow = parser.isSet(QStringLiteral("follow"));
    commandLine.verbose = parser.isSet(QStringLiteral("verbose"));
    if (commandLine.follow) {
        const std::optional<double> interval = apps::parseQuantity(parser.value(QStringLiteral("publish-interval")));
        if (!interval || !(*interval >= 0.05 && *interval <= 3600))
            throw UsageError(QStringLiteral("--publish-interval"),
                             QStringLiteral("\"%1\" is not a number of seconds from 0.05 to 3600")
                                 .arg(parser.value(QStringLiteral("publish-interval"))));
        commandLine.live.publishIntervalMs = int(std::lround(*interval * 1000));
        if (parser.isSet(QStringLiteral("retain"))) {
            commandLine.live.retainSeconds = apps::parseDuration(parser.value(QStringLiteral("retain")));
            if (!commandLine.live.retainSeconds)
                throw UsageError(QStringLiteral("--retain"),
                                 QStringLiteral("\"%1\" is not a duration such as 90s, 15m, 24h or 7d")
                                     .arg(parser.value(QStringLiteral("retain"))));
        }
        if (!input.sampleRate)
            throw UsageError(QStringLiteral("--follow"), QStringLiteral("needs --sample-rate"));
    } else {
        if (parser.isSet(QStringLiteral("retain")))
            throw UsageError(QStringLiteral("--retain"), QStringLiteral("applies to --follow only"));
    }

    try {
        TileGenerator::validate(generator);
    } catch (const apps::Error& error) {
        throw UsageError(error.message());
    }
    return commandLine;
}

} // namespace mivo::tilegen
