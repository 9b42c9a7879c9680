// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SignalSource.h"

#include <vector>

namespace mivo::tilegen {

// Frames of a recording in blocks, read front to back: frame i covers samples
// i * hop .. i * hop + fftSize - 1. Consecutive blocks overlap by fftSize - hop
// samples, which are kept rather than read twice; where hop exceeds fftSize the
// samples between frames are skipped.
class FrameReader
{
public:
    // Does not take ownership of `source`, which must outlive the reader.
    FrameReader(ISignalSource& source, int fftSize, int hop);

    // Fills `samples` with frames first .. first + count - 1 (frame first + j starts
    // j * hop samples in; interleaved I/Q for complex input). Blocks must follow one
    // another: first is where the previous block ended. Throws apps::Error when the
    // recording ends early.
    void load(qint64 first, int count, std::vector<float>& samples);

private:
    [[noreturn]] void truncated(qint64 at) const;

    ISignalSource& m_source;
    const int m_fftSize;
    const int m_hop;
    const int m_components;
    qint64 m_readEnd = 0; // samples read from the source so far
    std::vector<float> m_tail; // the last samples read: up to fftSize, ending at m_readEnd
};

} // namespace mivo::tilegen
