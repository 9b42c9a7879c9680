// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Emitters.h"

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace mivo::synth {

// The test scene: complex white noise at -45 dBFS plus an AM broadcast, FM voice
// transmissions, FSK data bursts, linear chirps and a frequency-hopping emitter, each
// with slow fading. Everything is drawn from `seed`: the same seed and timing give
// the same samples, bit for bit.
class RadioScene
{
public:
    RadioScene(const SceneTiming& timing, std::uint64_t seed);

    const SceneTiming& timing() const { return m_timing; }

    // Writes samples first .. first + count - 1; blocks must come in order from 0.
    void render(qint64 first, int count, std::complex<float>* out);

    // Every emission put in, ordered by start sample.
    QVector<Emission> emissions() const;

private:
    SceneTiming m_timing;
    SynthRandom m_noise;
    std::vector<std::unique_ptr<IEmitter>> m_emitters;
    qint64 m_next = 0;
};

} // namespace mivo::synth
