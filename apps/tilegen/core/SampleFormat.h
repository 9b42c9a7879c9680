// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <optional>

namespace mivo::tilegen {

// The layout of one sample in a raw or SigMF data file: interleaved I/Q for complex
// formats, one value for real ones. Integers are scaled to -1..1 full scale.
struct SampleFormat
{
    enum class Type
    {
        Int8,
        UInt8,
        Int16,
        UInt16,
        Int32,
        UInt32,
        Float32,
        Float64
    };

    Type type = Type::Float32;
    bool complex = true;
    bool bigEndian = false;

    // Bytes of one sample (both components for complex formats).
    int bytesPerSample() const;
    int componentsPerSample() const { return complex ? 2 : 1; }

    // The SigMF name, e.g. "cf32_le", "ci16_le", "cu8".
    QString sigMfName() const;

    // Accepts SigMF datatypes ("cf32_le", "ri16_be", "cu8", ...) and the short raw
    // names used by SDR tools ("cu8", "cs8", "cs16", "cf32"; little endian).
    static std::optional<SampleFormat> fromName(const QString& name);

    // The names fromName() accepts for raw files, for help texts and messages.
    static QString rawNamesHelp();

    // Converts `count` samples from `in` into count * componentsPerSample() floats.
    void decode(const char* in, qint64 count, float* out) const;

    bool operator==(const SampleFormat& other) const
    {
        return type == other.type && complex == other.complex && bigEndian == other.bigEndian;
    }
};

} // namespace mivo::tilegen
