// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SynthRandom.h"

#include <QString>
#include <QVector>

#include <complex>
#include <memory>
#include <vector>

namespace mivo::synth {

// One stretch of one emission, as it goes into the SigMF annotations. Frequencies
// are offsets from the recording's centre in Hz.
struct Emission
{
    qint64 sampleStart = 0;
    qint64 sampleCount = 0;
    double lowOffset = 0.0;
    double highOffset = 0.0;
    QString label;
};

// Where and how long the scene plays.
struct SceneTiming
{
    double sampleRate = 125000.0;
    qint64 sampleCount = 0;
    // Frequencies and rates of the default scene are given for 125 kS/s and scaled by
    // sampleRate / 125000, so every emitter stays inside the band at any rate.
    double scale() const { return sampleRate / 125000.0; }
};

// An emitter adds its signal to consecutive blocks of the recording, from sample 0
// on, in order; its output depends only on the sample index, not on the block sizes.
class IEmitter
{
public:
    virtual ~IEmitter();
    virtual void render(qint64 firstSample, int count, std::complex<float>* out) = 0;
    virtual QVector<Emission> emissions() const = 0;
};

// Slow fading: a gain between 1 - depth and 1 that changes over seconds, constant
// over absolute runs of 256 samples.
class Fading
{
public:
    Fading(SynthRandom& random, double sampleRate, double depth);
    float gainAt(qint64 sample) const;

private:
    double m_sampleRate;
    double m_depth;
    double m_periods[2];
    double m_phases[2];
};

// Voice-like audio in -1..1: a buzzing fundamental of wandering pitch with a few
// harmonics, chopped into syllables and phrases. Computed at sampleRate / 16 and
// interpolated, which is plenty for a 3 kHz audio band.
class VoiceAudio
{
public:
    VoiceAudio(SynthRandom& random, double sampleRate, double pitchScale);
    // Audio at sample `sample`; calls must come in increasing sample order.
    float at(qint64 sample);

private:
    float computeNext();

    double m_audioRate;
    double m_pitchScale;
    double m_pitchPhase = 0.0;
    double m_basePitch;
    double m_wobble[2];
    double m_syllableRate;
    double m_t = 0.0;
    qint64 m_step = -1;
    float m_previous = 0.0f;
    float m_next = 0.0f;
};

std::unique_ptr<IEmitter> makeAmEmitter(const SceneTiming& timing, std::uint64_t seed);
std::unique_ptr<IEmitter> makeFmVoiceEmitter(const SceneTiming& timing, std::uint64_t seed);
std::unique_ptr<IEmitter> makeFskBurstEmitter(const SceneTiming& timing, std::uint64_t seed);
std::unique_ptr<IEmitter> makeChirpEmitter(const SceneTiming& timing, std::uint64_t seed);
std::unique_ptr<IEmitter> makeHoppingEmitter(const SceneTiming& timing, std::uint64_t seed);

} // namespace mivo::synth
