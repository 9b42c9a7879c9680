// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RawSignalSource.h"

#include <common/Error.h>

#include <algorithm>

namespace mivo::tilegen {

RawSignalSource::RawSignalSource(const QString& path, const SampleFormat& format, const SignalInfo& info,
                                 const FileRegion& region)
    : m_file(path)
    , m_name(region.name.isEmpty() ? path : region.name)
    , m_format(format)
    , m_info(info)
{
    if (!m_file.open(QIODevice::ReadOnly))
        throw apps::Error(m_name, QStringLiteral("cannot open: %1").arg(m_file.errorString()));
    const qint64 fileSize = m_file.size();
    const qint64 size = region.size < 0 ? fileSize - region.offset : region.size;
    if (region.offset < 0 || region.offset > fileSize || size < 0 || size > fileSize - region.offset)
        throw apps::Error(m_name, QStringLiteral("ends before its %1 bytes of samples").arg(std::max<qint64>(size, 0)));
    const int sampleBytes = format.bytesPerSample();
    if (size % sampleBytes != 0) {
        throw apps::Error(m_name,
                          QStringLiteral("size of %1 bytes is not a whole number of %2-byte %3 samples")
                              .arg(size)
                              .arg(sampleBytes)
                              .arg(format.sigMfName()));
    }
    if (!m_file.seek(region.offset))
        throw apps::Error(m_name, QStringLiteral("seek failed: %1").arg(m_file.errorString()));
    m_end = region.offset + size;
    m_info.complex = format.complex;
    m_info.sampleCount = size / sampleBytes;
}

qint64 RawSignalSource::read(float* out, qint64 count)
{
    const int sampleBytes = m_format.bytesPerSample();
    const qint64 wanted = std::min(count * sampleBytes, m_end - m_file.pos());
    m_buffer.resize(size_t(std::max<qint64>(wanted, 0)));
    qint64 got = 0;
    while (got < wanted) {
        const qint64 n = m_file.read(m_buffer.data() + got, wanted - got);
        if (n < 0)
            throw apps::Error(m_name, QStringLiteral("read error: %1").arg(m_file.errorString()));
        if (n == 0)
            break;
        got += n;
    }
    const qint64 samples = got / sampleBytes;
    m_format.decode(m_buffer.data(), samples, out);
    return samples;
}

qint64 RawSignalSource::skip(qint64 count)
{
    const qint64 sampleBytes = m_format.bytesPerSample();
    const qint64 remaining = (m_end - m_file.pos()) / sampleBytes;
    const qint64 skipped = std::min(count, remaining);
    if (!m_file.seek(m_file.pos() + skipped * sampleBytes))
        throw apps::Error(m_name, QStringLiteral("seek failed: %1").arg(m_file.errorString()));
    return skipped;
}

} // namespace mivo::tilegen
