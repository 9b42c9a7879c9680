#include "RadioScene.h"
#include "SigMfWriter.h"

#include "core/Error.h"
#include "core/Quantity.h"
#include "core/TimeValue.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <cstdio>
#include <iostream>

using mivo::tilegen::Error;

namespace {

class UsageError : public Error
{
public:
    using Error::Error;
};

double numberOption(const QCommandLineParser& parser, const QString& name)
{
    const std::optional<double> value = mivo::tilegen::parseQuantity(parser.value(name));
    if (!value)
        throw UsageError(QStringLiteral("--") + name, QStringLiteral("\"%1\" is not a number").arg(parser.value(name)));
    return *value;
}

int run(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes a synthetic SigMF recording (cf32_le) of a radio scene: noise, an AM\n"
        "broadcast, FM voice, FSK bursts, chirps and a frequency hopper, with slow fading.\n"
        "Every emission is listed as an annotation. The same seed gives the same files."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("output-base"),
                                 QStringLiteral("Path without extension; writes <base>.sigmf-data and <base>.sigmf-meta."));
    parser.addOptions({
        {QStringLiteral("duration"), QStringLiteral("Seconds of signal (default 60)."), QStringLiteral("s"), QStringLiteral("60")},
        {QStringLiteral("sample-rate"), QStringLiteral("Samples per second (default 125k)."), QStringLiteral("Hz"), QStringLiteral("125000")},
        {QStringLiteral("center-frequency"), QStringLiteral("Centre frequency (default 100M)."), QStringLiteral("Hz"), QStringLiteral("100e6")},
        {QStringLiteral("start-time"), QStringLiteral("First sample's time, ISO 8601 or seconds since 1970 (default 2024-01-01T12:00:00Z)."), QStringLiteral("time"), QStringLiteral("2024-01-01T12:00:00Z")},
        {QStringLiteral("seed"), QStringLiteral("Seed of the scene (default 1)."), QStringLiteral("n"), QStringLiteral("1")},
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
    timing.sampleRate = numberOption(parser, QStringLiteral("sample-rate"));
    if (!(timing.sampleRate >= 1000.0 && timing.sampleRate <= 100e6))
        throw UsageError(QStringLiteral("--sample-rate"), QStringLiteral("must be from 1000 to 1e8, got %1").arg(timing.sampleRate));
    const double duration = numberOption(parser, QStringLiteral("duration"));
    if (!(duration > 0 && duration * timing.sampleRate <= 4e9))
        throw UsageError(QStringLiteral("--duration"), QStringLiteral("must be positive and at most 4e9 samples, got %1 s").arg(duration));
    timing.sampleCount = qint64(std::llround(duration * timing.sampleRate));

    mivo::synth::RecordingSettings settings;
    settings.centerFrequency = numberOption(parser, QStringLiteral("center-frequency"));
    const std::optional<double> start = mivo::tilegen::parseTimeValue(parser.value(QStringLiteral("start-time")));
    if (!start)
        throw UsageError(QStringLiteral("--start-time"),
                         QStringLiteral("\"%1\" is neither ISO 8601 nor seconds since 1970").arg(parser.value(QStringLiteral("start-time"))));
    settings.startTime = *start;
    bool seedOk = false;
    settings.seed = parser.value(QStringLiteral("seed")).toULongLong(&seedOk);
    if (!seedOk)
        throw UsageError(QStringLiteral("--seed"), QStringLiteral("\"%1\" is not a non-negative whole number").arg(parser.value(QStringLiteral("seed"))));

    const QString base = parser.positionalArguments().constFirst();
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
