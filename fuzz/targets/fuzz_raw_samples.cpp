// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Raw interleaved samples: the first byte picks the sample format, the rest is the
// file. Every sample is read, some skipped.

#include "FuzzInput.h"
#include "SignalReading.h"

#include <common/Error.h>
#include <core/RawSignalSource.h>

using namespace mivo::tilegen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    SampleFormat format;
    format.type = SampleFormat::Type(data[0] % 8);
    format.complex = (data[0] & 0x10) != 0;
    format.bigEndian = (data[0] & 0x20) != 0;
    FileRegion region;
    region.offset = (data[0] & 0x40) ? 3 : 0;
    const QString path
        = fuzz::writeFile(QStringLiteral("input.raw"), reinterpret_cast<const char*>(data + 1), qint64(size - 1));
    try {
        SignalInfo info;
        info.sampleRate = 48000.0;
        RawSignalSource source(path, format, info, region);
        if (data[0] & 0x80)
            source.skip(7);
        // A source never gives more samples than it says it holds.
        if (fuzz::readAllSamples(source, source.info().sampleCount + 1) > source.info().sampleCount)
            abort();
    } catch (const mivo::apps::Error&) {
    }
    return 0;
}
