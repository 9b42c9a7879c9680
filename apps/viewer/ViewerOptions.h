// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>

namespace mivo::viewer {

struct ViewerOptions
{
    QString source; ///< a pyramid directory or a base/discovery URL
    QString sourceId; ///< --source: picks a source under a discovery URL or directory
    std::optional<double> frequencyMin; ///< --frequency-range, Hz
    std::optional<double> frequencyMax;
    std::optional<double> timeMin; ///< --time-range, seconds since the epoch
    std::optional<double> timeMax;
    std::optional<QRectF> selection; ///< --selection: a selection to start with (x: Hz, y: seconds)
    QSize windowSize = QSize(1280, 800); ///< --size WIDTHxHEIGHT
    double levelLower = -100.0; ///< --level-range: levels shown from the low to the high colour
    double levelUpper = -30.0; ///  (dB; mivo-tilegen writes dBFS)
    QString palette = QStringLiteral("default"); ///< --palette: a colour preset's name (ColourScheme.h)
    int refreshIntervalMs = 0; ///< --refresh, extents re-poll period for live sources
    bool follow = false; ///< --follow: keep the newest data in view (re-polled every
        ///  second unless --refresh or the source says otherwise)
    QString screenshotFile; ///< --screenshot: headless mode, write a PNG and quit
    int timeoutSeconds = 60; ///< --timeout, how long the screenshot mode waits for tiles
    int cacheMegabytes = 512; ///< --cache-mb, memory budget of the tile cache (MiB)
    QStringList workspaceFiles; ///< --workspace FILE (repeatable): annotation workspaces to show
};

struct ViewerOptionsResult
{
    std::optional<ViewerOptions> options;
    QString error; ///< set when options is empty; "help" and "version" texts are errors too
    int exitCode = 0;
};

/// Parses the command line (arguments including the program name). Needs a
/// QCoreApplication (for the help text) but no display.
ViewerOptionsResult parseViewerOptions(const QStringList& arguments);

} // namespace mivo::viewer
