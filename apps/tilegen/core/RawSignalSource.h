// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SampleFormat.h"
#include "SignalSource.h"

#include <QFile>

#include <vector>

namespace mivo::tilegen {

// Where the samples lie in a file: all of it, or one member of an archive.
struct FileRegion
{
    qint64 offset = 0;
    qint64 size = -1; // -1: to the end of the file
    QString name; // for messages; empty: the file's path
};

// Headerless interleaved samples in one file (raw captures and SigMF data files),
// or in one region of a file (the data member of a SigMF archive).
class RawSignalSource : public ISignalSource
{
public:
    // Opens the file; throws apps::Error if it cannot be read, the region lies beyond its
    // end, or the region is not a whole number of samples. `info.sampleCount` and
    // `info.complex` are taken from the region and the format; the rest is kept.
    RawSignalSource(const QString& path, const SampleFormat& format, const SignalInfo& info,
                    const FileRegion& region = {});

    const SignalInfo& info() const override { return m_info; }
    QString fileName() const override { return m_name; }
    qint64 read(float* out, qint64 count) override;
    qint64 skip(qint64 count) override;

private:
    QFile m_file;
    QString m_name;
    qint64 m_end = 0; // file offset just past the last sample
    SampleFormat m_format;
    SignalInfo m_info;
    std::vector<char> m_buffer;
};

} // namespace mivo::tilegen
