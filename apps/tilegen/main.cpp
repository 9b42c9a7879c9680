// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "CommandLine.h"
#include "ProgressReporter.h"

#include "core/InputOpener.h"
#include "core/LiveInputOpener.h"
#include "core/StopSignals.h"
#include "core/TileGenerator.h"
#include <common/Error.h>

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

using namespace mivo::tilegen;
using mivo::apps::Error;
using mivo::apps::UsageError;

namespace {

void printError(const QString& message)
{
    std::fprintf(stderr, "mivo-tilegen: %s\n", message.toLocal8Bit().constData());
}

// --follow: runs the event loop until the stream ends or a stop signal arrives.
int follow(QCoreApplication& app, const CommandLine& commandLine)
{
    StopSignals stopSignals;
    OpenedLiveInput opened = openLiveInput(commandLine.inputPath, commandLine.input);
    const QString sourceId
        = commandLine.generator.sourceId.isEmpty() ? opened.defaultSourceId : commandLine.generator.sourceId;
    if (!SourcePublisher::isValidSourceId(sourceId))
        throw Error(commandLine.inputPath, QStringLiteral("cannot make a source id from the input; give --source-id"));
    LiveGenerator generator(commandLine.generator, commandLine.live, opened.stream, *opened.input,
                            commandLine.outputDirectory, sourceId);
    QObject::connect(&generator, &LiveGenerator::si_message, &app, &printError);
    QObject::connect(&generator, &LiveGenerator::si_finished, &app, &QCoreApplication::exit);
    QObject::connect(&stopSignals, &StopSignals::si_stopRequested, &generator, &LiveGenerator::stop);
    if (commandLine.verbose) {
        QObject::connect(&generator, &LiveGenerator::si_published, &app, [](int tiles, double end, double delay) {
            std::fprintf(stderr, "mivo-tilegen: published %d tiles up to %.3f s, %.3f s after its samples arrived\n",
                         tiles, end, delay);
        });
    }
    generator.start();
    const int exitCode = app.exec();
    if (!commandLine.quiet && exitCode == 0 && generator.frames() > 0) {
        std::fprintf(stderr, "mivo-tilegen: %s: %llu tiles written for %lld frames, zoom levels x 0..%d, y 0..%d\n",
                     generator.sourceDirectory().toLocal8Bit().constData(),
                     static_cast<unsigned long long>(generator.tilesWritten()),
                     static_cast<long long>(generator.frames()), generator.topXZoom(), generator.topYZoom());
    }
    return exitCode;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mivo-tilegen"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MIVO_VERSION));

    ProgressReporter progress(false);
    try {
        const CommandLine commandLine = parseCommandLine(QCoreApplication::arguments());
        if (commandLine.helpShown)
            return 0;
        if (commandLine.follow)
            return follow(app, commandLine);
        progress = ProgressReporter(!commandLine.quiet && ::isatty(STDERR_FILENO));

        TileGenerator generator(commandLine.generator, openInput(commandLine.inputPath, commandLine.input),
                                commandLine.outputDirectory);
        generator.setProgressCallback([&progress](const TileGeneratorProgress& p) { progress.update(p); });
        generator.setWarningCallback([&progress](const QString& warning) {
            progress.finish();
            printError(QStringLiteral("warning: ") + warning);
        });
        const TileGeneratorResult result = generator.run();
        progress.finish();
        if (!commandLine.quiet) {
            std::fprintf(stderr, "mivo-tilegen: %s: %llu tiles for %.1f s of signal, zoom levels x 0..%d, y 0..%d\n",
                         result.sourceDirectory.toLocal8Bit().constData(),
                         static_cast<unsigned long long>(result.tilesWritten), result.signalSeconds, result.topXZoom,
                         result.topYZoom);
        }
        return 0;
    } catch (const UsageError& error) {
        progress.finish();
        printError(error.message());
        return 2;
    } catch (const Error& error) {
        progress.finish();
        printError(error.message());
        return 1;
    } catch (const std::exception& error) {
        progress.finish();
        printError(QString::fromLocal8Bit(error.what()));
        return 1;
    }
}
