#include "RawSignalSource.h"

#include "Error.h"

#include <algorithm>

namespace mivo::tilegen {

RawSignalSource::RawSignalSource(const QString& path, const SampleFormat& format, const SignalInfo& info)
    : m_file(path)
    , m_format(format)
    , m_info(info)
{
    if (!m_file.open(QIODevice::ReadOnly))
        throw Error(path, QStringLiteral("cannot open: %1").arg(m_file.errorString()));
    const qint64 size = m_file.size();
    const int sampleBytes = format.bytesPerSample();
    if (size % sampleBytes != 0) {
        throw Error(path, QStringLiteral("size of %1 bytes is not a whole number of %2-byte %3 samples")
                              .arg(size)
                              .arg(sampleBytes)
                              .arg(format.sigMfName()));
    }
    m_info.complex = format.complex;
    m_info.sampleCount = size / sampleBytes;
}

qint64 RawSignalSource::read(float* out, qint64 count)
{
    const int sampleBytes = m_format.bytesPerSample();
    m_buffer.resize(size_t(count * sampleBytes));
    qint64 got = 0;
    const qint64 wanted = count * sampleBytes;
    while (got < wanted) {
        const qint64 n = m_file.read(m_buffer.data() + got, wanted - got);
        if (n < 0)
            throw Error(m_file.fileName(), QStringLiteral("read error: %1").arg(m_file.errorString()));
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
    const qint64 remaining = (m_file.size() - m_file.pos()) / sampleBytes;
    const qint64 skipped = std::min(count, remaining);
    if (!m_file.seek(m_file.pos() + skipped * sampleBytes))
        throw Error(m_file.fileName(), QStringLiteral("seek failed: %1").arg(m_file.errorString()));
    return skipped;
}

} // namespace mivo::tilegen
