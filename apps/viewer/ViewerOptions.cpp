// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerOptions.h"

#include "ColourScheme.h"

#include <common/Quantity.h>
#include <common/TimeValue.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>

namespace mivo::viewer {

namespace {

struct Range
{
    double first;
    double second;
};

// "FIRST:SECOND" with quantities (2.4M) or times (ISO 8601 / epoch seconds).
template <typename Parse> std::optional<Range> parseRange(const QString& text, Parse parse)
{
    // ISO times contain colons: split at the colon that separates two valid values.
    for (int at = text.indexOf(QLatin1Char(':')); at >= 0; at = text.indexOf(QLatin1Char(':'), at + 1)) {
        const std::optional<double> first = parse(text.left(at));
        const std::optional<double> second = parse(text.mid(at + 1));
        if (first && second && *first < *second)
            return Range{*first, *second};
    }
    return std::nullopt;
}

ViewerOptionsResult failure(const QString& message, int exitCode = 2)
{
    ViewerOptionsResult result;
    result.error = message;
    result.exitCode = exitCode;
    return result;
}

} // namespace

ViewerOptionsResult parseViewerOptions(const QStringList& arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Shows the waterfall of a tile source: a pyramid directory (as written by mivo-tilegen) "
                       "or the base URL of a tile source on a web server."));
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("source"),
                                 QStringLiteral("Pyramid directory, or http(s)/file URL of a tile source"));
    const QCommandLineOption source(QStringLiteral("source"),
                                    QStringLiteral("Source id under a discovery URL or pyramid directory"),
                                    QStringLiteral("id"));
    const QCommandLineOption frequency(QStringLiteral("frequency-range"),
                                       QStringLiteral("Initial frequency range, e.g. 99.5M:100.5M"),
                                       QStringLiteral("min:max"));
    const QCommandLineOption time(QStringLiteral("time-range"),
                                  QStringLiteral("Initial time range, ISO 8601 or epoch seconds, start:end"),
                                  QStringLiteral("start:end"));
    const QCommandLineOption selection(QStringLiteral("selection"),
                                       QStringLiteral("A selection to start with, e.g. "
                                                      "99.99M:100.01M,2024-01-01T12:00:10Z:2024-01-01T12:00:20Z"),
                                       QStringLiteral("min:max,start:end"));
    const QCommandLineOption levels(QStringLiteral("level-range"),
                                    QStringLiteral("Levels spread over the colours, in dB (default -100:-30)"),
                                    QStringLiteral("low:high"));
    const QCommandLineOption palette(QStringLiteral("palette"),
                                     QStringLiteral("Colours of the levels: %1 (default: default)")
                                         .arg(colourPresetNames().join(QStringLiteral(", "))),
                                     QStringLiteral("name"));
    const QCommandLineOption size(QStringLiteral("size"), QStringLiteral("Window size (default 1280x800)"),
                                  QStringLiteral("WIDTHxHEIGHT"));
    const QCommandLineOption refresh(QStringLiteral("refresh"),
                                     QStringLiteral("Re-read the data extents every ms milliseconds (live sources)"),
                                     QStringLiteral("ms"));
    const QCommandLineOption follow(QStringLiteral("follow"),
                                    QStringLiteral("Keep the newest data of a live source in view (implied when "
                                                   "its descriptor has an updateInterval)"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Write the view to a PNG once every visible tile has "
                                                       "arrived, then quit"),
                                        QStringLiteral("file"));
    const QCommandLineOption timeout(QStringLiteral("timeout"),
                                     QStringLiteral("Seconds the screenshot mode waits for tiles (default 60)"),
                                     QStringLiteral("seconds"));
    const QCommandLineOption cache(QStringLiteral("cache-mb"),
                                   QStringLiteral("Memory the tile cache may take, in MiB (default 512)"),
                                   QStringLiteral("MiB"));
    const QCommandLineOption workspace(QStringLiteral("workspace"),
                                       QStringLiteral("A workspace file of annotations to show besides the "
                                                      "source's own workspace.json (repeatable)"),
                                       QStringLiteral("file"));
    parser.addOptions({source, frequency, time, selection, levels, palette, size, refresh, screenshot, timeout, cache,
                       workspace, follow});

    if (!parser.parse(arguments))
        return failure(parser.errorText() + QStringLiteral(" (see --help)"));
    if (parser.isSet(help))
        return failure(parser.helpText(), 0);
    if (parser.isSet(version))
        return failure(QStringLiteral("mivo-viewer %1").arg(QStringLiteral(MIVO_VERSION)), 0);
    if (parser.positionalArguments().size() != 1)
        return failure(QStringLiteral("give exactly one source (see --help)"));

    ViewerOptions options;
    options.source = parser.positionalArguments().constFirst();
    options.sourceId = parser.value(source);
    if (parser.isSet(frequency)) {
        const auto range = parseRange(parser.value(frequency), &apps::parseQuantity);
        if (!range)
            return failure(
                QStringLiteral("--frequency-range: \"%1\" is not min:max in Hz").arg(parser.value(frequency)));
        options.frequencyMin = range->first;
        options.frequencyMax = range->second;
    }
    if (parser.isSet(time)) {
        const auto range = parseRange(parser.value(time), &apps::parseTimeValue);
        if (!range)
            return failure(QStringLiteral("--time-range: \"%1\" is not start:end").arg(parser.value(time)));
        options.timeMin = range->first;
        options.timeMax = range->second;
    }
    if (parser.isSet(selection)) {
        const QString text = parser.value(selection);
        const int comma = text.indexOf(QLatin1Char(','));
        const auto frequencies = parseRange(text.left(comma), &apps::parseQuantity);
        const auto times = comma < 0 ? std::nullopt : parseRange(text.mid(comma + 1), &apps::parseTimeValue);
        if (!frequencies || !times)
            return failure(QStringLiteral("--selection: \"%1\" is not min:max,start:end").arg(text));
        options.selection
            = QRectF(QPointF(frequencies->first, times->first), QPointF(frequencies->second, times->second));
    }
    if (parser.isSet(levels)) {
        const auto range = parseRange(parser.value(levels), &apps::parseQuantity);
        if (!range)
            return failure(QStringLiteral("--level-range: \"%1\" is not low:high").arg(parser.value(levels)));
        options.levelLower = range->first;
        options.levelUpper = range->second;
    }
    if (parser.isSet(palette)) {
        options.palette = parser.value(palette);
        if (!findColourPreset(options.palette))
            return failure(QStringLiteral("--palette: unknown palette \"%1\" (known: %2)")
                               .arg(options.palette, colourPresetNames().join(QStringLiteral(", "))));
    }
    if (parser.isSet(size)) {
        const QRegularExpressionMatch match
            = QRegularExpression(QStringLiteral("^(\\d{2,5})x(\\d{2,5})$")).match(parser.value(size));
        if (!match.hasMatch())
            return failure(QStringLiteral("--size: \"%1\" is not WIDTHxHEIGHT").arg(parser.value(size)));
        options.windowSize = QSize(match.captured(1).toInt(), match.captured(2).toInt());
    }
    if (parser.isSet(refresh)) {
        bool ok = false;
        options.refreshIntervalMs = parser.value(refresh).toInt(&ok);
        if (!ok || options.refreshIntervalMs < 0)
            return failure(
                QStringLiteral("--refresh: \"%1\" is not a number of milliseconds").arg(parser.value(refresh)));
    }
    options.follow = parser.isSet(follow);
    options.screenshotFile = parser.value(screenshot);
    if (parser.isSet(timeout)) {
        bool ok = false;
        options.timeoutSeconds = parser.value(timeout).toInt(&ok);
        if (!ok || options.timeoutSeconds <= 0)
            return failure(QStringLiteral("--timeout: \"%1\" is not a number of seconds").arg(parser.value(timeout)));
    }
    if (parser.isSet(cache)) {
        bool ok = false;
        options.cacheMegabytes = parser.value(cache).toInt(&ok);
        if (!ok || options.cacheMegabytes <= 0 || options.cacheMegabytes > 1024 * 1024)
            return failure(QStringLiteral("--cache-mb: \"%1\" is not a number of MiB").arg(parser.value(cache)));
    }
    options.workspaceFiles = parser.values(workspace);
    ViewerOptionsResult result;
    result.options = options;
    return result;
}

} // namespace mivo::viewer
