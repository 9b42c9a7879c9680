// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "RawSignalSource.h"

#include <QByteArray>
#include <QString>

namespace mivo::tilegen {

// A SigMF archive (".sigmf"): an uncompressed tar file holding one recording's
// "<name>.sigmf-meta" and "<name>.sigmf-data", usually in a folder of their own.
// The metadata is read into memory; the samples stay in the archive and are read in
// place through `data`.
struct SigMfArchive
{
    QString metaName; // member name, e.g. "rec/rec.sigmf-meta"
    QByteArray meta;
    FileRegion data; // its name reads "<archive>: <member>"

    // Reads the member list of POSIX (ustar and pax) and GNU tar files, long names
    // included. Throws apps::Error naming the archive when it is not a tar file, is cut
    // short, holds no recording, a recording without its data, or several recordings.
    static SigMfArchive read(const QString& path);
};

} // namespace mivo::tilegen
