// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "FrameReader.h"

#include <common/Error.h>

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

FrameReader::FrameReader(ISignalSource& source, int fftSize, int hop)
    : m_source(source)
    , m_fftSize(fftSize)
    , m_hop(hop)
    , m_components(source.info().complex ? 2 : 1)
{
}

void FrameReader::load(qint64 first, int count, std::vector<float>& samples)
{
    const qint64 start = first * m_hop;
    const qint64 end = (first + count - 1) * m_hop + m_fftSize;
    const qint64 needed = end - start;
    samples.resize(size_t(needed * m_components));

    qint64 have = 0;
    const qint64 tailStart = m_readEnd - qint64(m_tail.size()) / m_components;
    if (start < m_readEnd) {
        Q_ASSERT(start >= tailStart && "blocks follow one another");
        have = std::min(needed, m_readEnd - start);
        std::memcpy(samples.data(), m_tail.data() + (start - tailStart) * m_components,
                    size_t(have * m_components) * sizeof(float));
    } else if (start > m_readEnd) {
        const qint64 gap = start - m_readEnd;
        if (m_source.skip(gap) != gap)
            truncated(start);
        m_readEnd = start;
    }
    while (have < needed) {
        const qint64 n = m_source.read(samples.data() + have * m_components, needed - have);
        if (n <= 0)
            truncated(start + have);
        have += n;
        m_readEnd = start + have;
    }

    const qint64 keep = std::min<qint64>(needed, m_fftSize);
    m_tail.assign(samples.end() - keep * m_components, samples.end());
}

void FrameReader::truncated(qint64 at) const
{
    throw apps::Error(
        m_source.fileName(),
        QStringLiteral("ends after %1 samples although it should hold %2").arg(at).arg(m_source.info().sampleCount));
}

} // namespace mivo::tilegen
