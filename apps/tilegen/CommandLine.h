// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "core/InputOpener.h"
#include "core/LiveGenerator.h"
#include "core/TileGenerator.h"

#include <QStringList>

#include <common/Error.h>

namespace mivo::tilegen {

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

// Parses mivo-tilegen's arguments (arguments[0] is the program). Prints help and
// version texts to stdout itself. Throws UsageError.
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace mivo::tilegen
