// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SampleFormat.h"
#include "SigMfMetadata.h"
#include "SignalSource.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <memory>
#include <optional>

namespace mivo::tilegen {

// How to read an input file; unset fields come from the file or its defaults.
struct InputSettings
{
    enum class Kind
    {
        Auto,
        SoundFile,
        Raw,
        SigMf
    };

    Kind kind = Kind::Auto;
    std::optional<SampleFormat> datatype; // raw files; chosen by extension if unset
    std::optional<double> sampleRate; // required for raw files
    std::optional<double> centerFrequency; // complex input; overrides SigMF's
    std::optional<double> startTime; // overrides SigMF's core:datetime; default 0
    int channel = 0; // sound files, counted from 0
};

struct OpenedInput
{
    std::unique_ptr<ISignalSource> source;
    bool fromSigMf = false;
    QVector<SigMfAnnotation> annotations; // SigMF only
    QStringList warnings; // what the file holds that is not used
    QString baseName; // "rec" for rec.wav, rec.cf32, rec.sigmf-meta
};

// Picks the reader by the settings or, for Kind::Auto, by the file name:
// .sigmf-meta/.sigmf-data are SigMF, .cu8/.cs8/.cs16/.cf32/... or a given datatype are
// raw, everything else goes to libsndfile. Throws apps::Error naming the file.
OpenedInput openInput(const QString& path, const InputSettings& settings);

} // namespace mivo::tilegen
