// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "RadioScene.h"

#include <QByteArray>
#include <QString>

namespace mivo::synth {

struct RecordingSettings
{
    double centerFrequency = 100e6; // Hz
    double startTime = 0.0; // seconds since 1970-01-01 UTC
    std::uint64_t seed = 1;
};

// The .sigmf-meta document of a scene: global core:datatype "cf32_le",
// core:sample_rate and core:version, one capture at sample 0 with core:frequency and
// core:datetime, and one annotation per emission (absolute frequency edges).
QByteArray sigMfMetadata(const RadioScene& scene, const RecordingSettings& settings);

// Renders the scene into <base>.sigmf-data (cf32_le) and writes <base>.sigmf-meta,
// each through a temporary file and a rename. Throws mivo::apps::Error.
void writeRecording(RadioScene& scene, const RecordingSettings& settings, const QString& basePath);

} // namespace mivo::synth
