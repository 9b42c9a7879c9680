// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SampleFormat.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <optional>

namespace mivo::tilegen {

// One entry of a SigMF recording's "annotations" array.
struct SigMfAnnotation
{
    qint64 sampleStart = 0;
    std::optional<qint64> sampleCount; // absent: to the end of the recording
    std::optional<double> freqLowerEdge; // Hz; absent: the whole band
    std::optional<double> freqUpperEdge;
    QString label;
    QString uuid;
};

// The parts of a .sigmf-meta document the tile generator uses: the global datatype
// and sample rate, the first capture's frequency and start time, the annotations.
struct SigMfMetadata
{
    SampleFormat format;
    double sampleRate = 0.0;
    std::optional<double> frequency;
    std::optional<double> startTime; // seconds since 1970-01-01 UTC
    int captureCount = 0; // entries of "captures"; only the first is used
    QVector<SigMfAnnotation> annotations;

    // Throws apps::Error naming `fileName` for malformed JSON, missing or invalid required
    // fields (core:datatype, core:sample_rate) and malformed optional ones.
    static SigMfMetadata parse(const QByteArray& json, const QString& fileName);

    // "rec.sigmf-meta" and "rec.sigmf-data" name each other; other names give nothing.
    static QString dataPathFor(const QString& metaPath);
    static QString metaPathFor(const QString& dataPath);
};

} // namespace mivo::tilegen
