// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "BlockAnalyzer.h"

#include <algorithm>

namespace mivo::tilegen {

struct BlockAnalyzer::Slot
{
    std::vector<float> samples;
    std::vector<quint8> rows;
    std::shared_ptr<WorkerPool::Batch> batch;
    qint64 first = 0;
    int count = 0;
};

namespace {

// Blocks of at most 256 frames, a MiB of samples and a MiB of rows (at least one frame).
int framesPerBlock(int fftSize, int hop, int bins)
{
    const qint64 limit = qint64(1) << 20;
    const qint64 bySamples = std::max<qint64>(1, (limit - fftSize) / hop + 1);
    const qint64 byRows = std::max<qint64>(1, limit / bins);
    return int(std::min<qint64>({256, bySamples, byRows}));
}

} // namespace

BlockAnalyzer::BlockAnalyzer(WorkerPool& workers, FrameReader& reader, const SpectrumSettings& spectrum, qint64 frames,
                             int hop)
    : m_workers(workers)
    , m_reader(reader)
    , m_spectrum(spectrum)
    , m_frames(frames)
    , m_bins(SpectrumAnalyzer::binCount(spectrum.fftSize, spectrum.complex))
    , m_frameStride(qint64(hop) * (spectrum.complex ? 2 : 1))
    , m_blockFrames(framesPerBlock(spectrum.fftSize, hop, m_bins))
    // Several chunks per block, so that a thread that comes free takes the rest.
    , m_chunkFrames(std::max(1, std::min(32, m_blockFrames / 8)))
{
    for (auto& slot : m_slots)
        slot = std::make_unique<Slot>();
    // As many analysers as threads can use at once, made here rather than in a job.
    for (int i = 0; i < workers.threadCount(); ++i)
        m_idleAnalyzers.push_back(std::make_unique<SpectrumAnalyzer>(spectrum));
}

BlockAnalyzer::~BlockAnalyzer()
{
    for (const auto& slot : m_slots) {
        if (slot->batch)
            m_workers.wait(slot->batch);
    }
}

std::unique_ptr<SpectrumAnalyzer> BlockAnalyzer::borrowAnalyzer()
{
    {
        const std::lock_guard<std::mutex> lock(m_analyzerMutex);
        if (!m_idleAnalyzers.empty()) {
            std::unique_ptr<SpectrumAnalyzer> analyzer = std::move(m_idleAnalyzers.back());
            m_idleAnalyzers.pop_back();
            return analyzer;
        }
    }
    return std::make_unique<SpectrumAnalyzer>(m_spectrum);
}

void BlockAnalyzer::returnAnalyzer(std::unique_ptr<SpectrumAnalyzer> analyzer)
{
    const std::lock_guard<std::mutex> lock(m_analyzerMutex);
    m_idleAnalyzers.push_back(std::move(analyzer));
}

void BlockAnalyzer::startNext()
{
    Slot& slot = *m_slots[size_t((m_front + m_inFlight) % blocksAhead)];
    slot.first = m_nextFrame;
    slot.count = int(std::min<qint64>(m_blockFrames, m_frames - m_nextFrame));
    m_reader.load(slot.first, slot.count, slot.samples);
    slot.rows.resize(size_t(slot.count) * size_t(m_bins));
    std::vector<std::function<void()>> jobs;
    for (int begin = 0; begin < slot.count; begin += m_chunkFrames) {
        const int end = std::min(slot.count, begin + m_chunkFrames);
        jobs.emplace_back([this, &slot, begin, end] {
            std::unique_ptr<SpectrumAnalyzer> analyzer = borrowAnalyzer();
            for (int f = begin; f < end; ++f)
                analyzer->analyze(slot.samples.data() + f * m_frameStride,
                                  slot.rows.data() + size_t(f) * size_t(m_bins));
            returnAnalyzer(std::move(analyzer));
        });
    }
    slot.batch = m_workers.start(std::move(jobs));
    m_nextFrame += slot.count;
    ++m_inFlight;
}

BlockAnalyzer::Block BlockAnalyzer::next()
{
    if (m_handedOut) {
        m_front = (m_front + 1) % blocksAhead;
        m_handedOut = false;
    }
    while (m_inFlight < blocksAhead && m_nextFrame < m_frames)
        startNext();
    if (m_inFlight == 0)
        return Block{m_frames, 0, nullptr};

    Slot& slot = *m_slots[size_t(m_front)];
    m_workers.wait(slot.batch);
    slot.batch.reset();
    --m_inFlight;
    m_handedOut = true;
    return Block{slot.first, slot.count, slot.rows.data()};
}

} // namespace mivo::tilegen
