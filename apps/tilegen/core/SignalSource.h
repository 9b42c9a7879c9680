// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>
#include <QtGlobal>

namespace mivo::tilegen {

// What the spectrogram needs to know about a recording.
struct SignalInfo
{
    double sampleRate = 0.0; // samples per second
    double centerFrequency = 0.0; // Hz; complex recordings only
    double startTime = 0.0; // seconds since 1970-01-01 UTC of the first sample
    bool complex = false; // interleaved I/Q, else one real value per sample
    qint64 sampleCount = 0; // samples (not values) in the recording
};

// A recording read front to back. Implementations throw apps::Error on read failures.
class ISignalSource
{
public:
    virtual ~ISignalSource();

    virtual const SignalInfo& info() const = 0;

    // The file the samples come from, for messages.
    virtual QString fileName() const = 0;

    // Reads up to `count` samples into `out` (count * 2 floats for complex input,
    // count floats for real input) and returns how many were read; 0 at the end.
    virtual qint64 read(float* out, qint64 count) = 0;

    // Skips up to `count` samples, returns how many were skipped.
    virtual qint64 skip(qint64 count) = 0;
};

} // namespace mivo::tilegen
