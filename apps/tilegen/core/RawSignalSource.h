#pragma once

#include "SampleFormat.h"
#include "SignalSource.h"

#include <QFile>

#include <vector>

namespace mivo::tilegen {

// Headerless interleaved samples in one file (raw captures and SigMF data files).
class RawSignalSource : public ISignalSource
{
public:
    // Opens the file; throws Error if it cannot be read or its size is not a whole
    // number of samples. `info.sampleCount` and `info.complex` are taken from the
    // file and the format; the rest of `info` is kept.
    RawSignalSource(const QString& path, const SampleFormat& format, const SignalInfo& info);

    const SignalInfo& info() const override { return m_info; }
    QString fileName() const override { return m_file.fileName(); }
    qint64 read(float* out, qint64 count) override;
    qint64 skip(qint64 count) override;

private:
    QFile m_file;
    SampleFormat m_format;
    SignalInfo m_info;
    std::vector<char> m_buffer;
};

} // namespace mivo::tilegen
