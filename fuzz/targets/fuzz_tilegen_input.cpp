// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The tile generator's inputs as mivo-tilegen opens them: the first byte picks the
// file name (and so the reader: a SigMF archive, a sound file for libsndfile, a raw
// capture), the rest is the file. Every sample is read.

#include "FuzzInput.h"
#include "SignalReading.h"

#include <common/Error.h>
#include <core/InputOpener.h>

using namespace mivo::tilegen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    static const char* const names[]
        = {"input.sigmf", "input.wav", "input.flac", "input.cu8", "input.cs16", "input.cf32", "input.aiff", "input.au"};
    const QString path = fuzz::writeFile(QString::fromLatin1(names[data[0] % 8]),
                                         reinterpret_cast<const char*>(data + 1), qint64(size - 1));
    InputSettings settings;
    settings.sampleRate = 2.4e6; // required for raw captures
    try {
        const OpenedInput input = openInput(path, settings);
        // Bounded: a header may claim more samples than a small file holds.
        fuzz::readAllSamples(*input.source, qint64(1) << 22);
    } catch (const mivo::apps::Error&) {
    }
    return 0;
}
