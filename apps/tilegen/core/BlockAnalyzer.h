// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "FrameReader.h"
#include "SpectrumAnalyzer.h"
#include "WorkerPool.h"

#include <array>
#include <memory>
#include <mutex>
#include <vector>

namespace mivo::tilegen {

// The level rows of a recording's frames, block by block in order, analysed on a
// WorkerPool several blocks ahead of the caller: while the caller merges one block,
// the pool's threads (and the caller, whenever it waits) analyse the next ones. The
// slack keeps a thread that the system pauses in the middle of a block from
// stalling the others.
//
// Memory: blocksAhead blocks of at most 256 frames, each holding its samples
// (about a MiB at most) and its rows (at most a MiB, or one frame's worth).
class BlockAnalyzer
{
public:
    static constexpr int blocksAhead = 4;

    // Does not take ownership of the pool or the reader, which must outlive it.
    BlockAnalyzer(WorkerPool& workers, FrameReader& reader, const SpectrumSettings& spectrum, qint64 frames, int hop);
    // Waits for the blocks in flight: they use its buffers.
    ~BlockAnalyzer();
    BlockAnalyzer(const BlockAnalyzer&) = delete;
    BlockAnalyzer& operator=(const BlockAnalyzer&) = delete;

    int bins() const { return m_bins; }
    int blockFrames() const { return m_blockFrames; }

    struct Block
    {
        qint64 first = 0; // frame index of the first row
        int count = 0; // rows
        const quint8* rows = nullptr; // count rows of bins() indices; valid until the next call
    };

    // The next block, once analysed; a block of count 0 after the last frame. Reads
    // the recording on the calling thread (and throws apps::Error as FrameReader does).
    Block next();

private:
    struct Slot;
    void startNext();
    std::unique_ptr<SpectrumAnalyzer> borrowAnalyzer();
    void returnAnalyzer(std::unique_ptr<SpectrumAnalyzer> analyzer);

    WorkerPool& m_workers;
    FrameReader& m_reader;
    const SpectrumSettings m_spectrum;
    const qint64 m_frames;
    const int m_bins;
    const qint64 m_frameStride; // floats from one frame to the next
    const int m_blockFrames;
    const int m_chunkFrames;
    std::array<std::unique_ptr<Slot>, blocksAhead> m_slots;
    int m_front = 0; // the slot handed out next (or last)
    int m_inFlight = 0; // slots started and not yet handed out
    bool m_handedOut = false; // the front slot was handed out and is to be recycled
    qint64 m_nextFrame = 0; // first frame of the next block to start

    std::mutex m_analyzerMutex;
    std::vector<std::unique_ptr<SpectrumAnalyzer>> m_idleAnalyzers; // one per thread that needed one
};

} // namespace mivo::tilegen
