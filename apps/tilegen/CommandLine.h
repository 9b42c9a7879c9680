// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "core/Error.h"
#include "core/InputOpener.h"
#include "core/LiveGenerator.h"
#include "core/TileGenerator.h"

#include <QStringList>

namespace mivo::tilegen {

// A mistake on the command line (exit code 2), as opposed to a problem with the
// input or output files (exit code 1).
class UsageError : public Error
{
public:
    using Error::Error;
};

struct CommandLine
{
    QString inputPath;
    QString outputDirectory;
    InputSettings input;
    TileGeneratorSettings generator;
    bool follow = false; // --follow: a growing stream, published as it grows
    bool verbose = false; // --verbose: a line per publication (with --follow)
    LiveSettings live;
    bool quiet = false;
    bool helpShown = false; // --help or --version was answered; nothing else to do
};

// A duration such as "90", "90s", "15m", "24h" or "7d", in seconds; nothing for
// anything else or a value that is not positive.
std::optional<double> parseDuration(const QString& text);

// Parses mivo-tilegen's arguments (arguments[0] is the program). Prints help and
// version texts to stdout itself. Throws UsageError.
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace mivo::tilegen
