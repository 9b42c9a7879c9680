// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A .sigmf-meta document: parsed, or refused with the generator's error.

#include "FuzzInput.h"

#include <common/Error.h>
#include <core/SigMfMetadata.h>

using namespace mivo::tilegen;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try {
        const SigMfMetadata meta = SigMfMetadata::parse(fuzz::bytes(data, size), QStringLiteral("fuzz.sigmf-meta"));
        if (meta.format.bytesPerSample() <= 0)
            abort();
    } catch (const mivo::apps::Error&) {
    }
    return 0;
}
