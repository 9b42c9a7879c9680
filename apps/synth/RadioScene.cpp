// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RadioScene.h"

#include <algorithm>
#include <cmath>

namespace mivo::synth {

namespace {

// Noise power per complex sample, split over I and Q.
const double noiseSigma = std::sqrt(std::pow(10.0, -45.0 / 10.0) / 2.0);

} // namespace

RadioScene::RadioScene(const SceneTiming& timing, std::uint64_t seed)
    : m_timing(timing)
    , m_noise(seed)
{
    // Each emitter draws from a generator of its own, so that one emitter's schedule
    // does not shift when another changes.
    m_emitters.push_back(makeAmEmitter(timing, seed * 7919 + 1));
    m_emitters.push_back(makeFmVoiceEmitter(timing, seed * 7919 + 2));
    m_emitters.push_back(makeFskBurstEmitter(timing, seed * 7919 + 3));
    m_emitters.push_back(makeChirpEmitter(timing, seed * 7919 + 4));
    m_emitters.push_back(makeHoppingEmitter(timing, seed * 7919 + 5));
}

void RadioScene::render(qint64 first, int count, std::complex<float>* out)
{
    Q_ASSERT(first == m_next && "emitters keep phase from block to block");
    for (int i = 0; i < count; ++i)
        out[i] = {float(noiseSigma * m_noise.normal()), float(noiseSigma * m_noise.normal())};
    for (const auto& emitter : m_emitters)
        emitter->render(first, count, out);
    m_next = first + count;
}

QVector<Emission> RadioScene::emissions() const
{
    QVector<Emission> all;
    for (const auto& emitter : m_emitters)
        all += emitter->emissions();
    std::stable_sort(all.begin(), all.end(),
                     [](const Emission& a, const Emission& b) { return a.sampleStart < b.sampleStart; });
    return all;
}

} // namespace mivo::synth
