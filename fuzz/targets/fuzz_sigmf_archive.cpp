// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A .sigmf archive: its member list, its metadata, and the samples read in place.

#include "FuzzInput.h"
#include "SignalReading.h"

#include <common/Error.h>
#include <core/RawSignalSource.h>
#include <core/SigMfArchive.h>
#include <core/SigMfMetadata.h>

using namespace mivo::tilegen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path
        = fuzz::writeFile(QStringLiteral("input.sigmf"), reinterpret_cast<const char*>(data), qint64(size));
    try {
        const SigMfArchive archive = SigMfArchive::read(path);
        const SigMfMetadata meta = SigMfMetadata::parse(archive.meta, archive.metaName);
        SignalInfo info;
        info.sampleRate = meta.sampleRate;
        RawSignalSource source(path, meta.format, info, archive.data);
        // A source never gives more samples than it says it holds.
        if (fuzz::readAllSamples(source, source.info().sampleCount + 1) > source.info().sampleCount)
            abort();
    } catch (const mivo::apps::Error&) {
    }
    return 0;
}
