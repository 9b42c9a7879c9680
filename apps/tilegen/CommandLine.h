#pragma once

#include "core/Error.h"
#include "core/InputOpener.h"
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
    bool quiet = false;
    bool helpShown = false; // --help or --version was answered; nothing else to do
};

// Parses mivo-tilegen's arguments (arguments[0] is the program). Prints help and
// version texts to stdout itself. Throws UsageError.
CommandLine parseCommandLine(const QStringList& arguments);

} // namespace mivo::tilegen
