// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LevelQuantizer.h"
#include "PowerQuantizer.h"
#include "Window.h"

#include <QtGlobal>

#include <memory>
#include <vector>

namespace mivo::tilegen {

class FftPlan;

// What turns one frame of samples into one row of level indices.
struct SpectrumSettings
{
    int fftSize = 1024;
    WindowKind window = WindowKind::Hann;
    double levelOffset = 0.0; // dB added after the dBFS normalisation
    bool complex = true;
    LevelQuantizer quantizer;
};

// Windowed FFT of one frame, as level indices per bin. Levels are in dBFS: a full-
// scale sine centred on a bin reads 0 dB (amplitude 1 for complex input, peak 1 for
// real input), then levelOffset is added and the result quantised.
// Complex input gives fftSize bins in ascending frequency (DC in the middle, bin k at
// centre + (k - fftSize/2) * fs / fftSize); real input gives fftSize/2 + 1 bins from
// 0 Hz to fs/2.
// One analyser per thread: it owns its buffers. The FFTW plan is shared and read-only,
// so all analysers compute bit-identical rows.
class SpectrumAnalyzer
{
public:
    explicit SpectrumAnalyzer(const SpectrumSettings& settings);
    ~SpectrumAnalyzer();
    SpectrumAnalyzer(const SpectrumAnalyzer&) = delete;
    SpectrumAnalyzer& operator=(const SpectrumAnalyzer&) = delete;

    static int binCount(int fftSize, bool complex) { return complex ? fftSize : fftSize / 2 + 1; }
    int binCount() const { return binCount(m_settings.fftSize, m_settings.complex); }

    // `samples` holds fftSize samples (interleaved I/Q for complex input); writes
    // binCount() indices.
    void analyze(const float* samples, quint8* indices);

private:
    struct Buffers;
    SpectrumSettings m_settings;
    std::shared_ptr<const FftPlan> m_plan;
    std::vector<float> m_window; // complex input: each weight twice, for I and Q
    std::unique_ptr<Buffers> m_buffers;
    PowerQuantizer m_quantizer;
};

} // namespace mivo::tilegen
