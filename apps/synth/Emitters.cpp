// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Emitters.h"

#include <algorithm>
#include <cmath>

namespace mivo::synth {

namespace {

constexpr double twoPi = 2.0 * M_PI;

double wrapPhase(double phase)
{
    return phase - twoPi * std::floor(phase / twoPi);
}

std::complex<float> phasor(double amplitude, double phase)
{
    return {float(amplitude * std::cos(phase)), float(amplitude * std::sin(phase))};
}

// A stretch [start, start + count) of samples in which an emitter is on.
struct Burst
{
    qint64 start = 0;
    qint64 count = 0;
    double offset = 0.0; // Hz from the centre
    std::vector<bool> bits; // symbols of keyed emitters
};

// Lays out bursts of random length with random gaps from `first` seconds on, all of
// them inside the recording.
std::vector<Burst> scheduleBursts(SynthRandom& random, const SceneTiming& timing, double first, double minLength,
                                  double maxLength, double minGap, double maxGap, double until = -1.0)
{
    std::vector<Burst> bursts;
    const double end = until < 0 ? double(timing.sampleCount) / timing.sampleRate
                                 : std::min(until, double(timing.sampleCount) / timing.sampleRate);
    double t = first;
    while (t < end) {
        const double length = random.uniform(minLength, maxLength);
        Burst burst;
        burst.start = qint64(t * timing.sampleRate);
        burst.count = std::min<qint64>(qint64(length * timing.sampleRate), timing.sampleCount - burst.start);
        if (burst.count > 0)
            bursts.push_back(burst);
        t += length + random.uniform(minGap, maxGap);
    }
    return bursts;
}

// Index range of the samples [first, first + count) that fall into `burst`, relative
// to `first`; empty when they do not meet.
std::pair<int, int> overlap(const Burst& burst, qint64 first, int count)
{
    const qint64 begin = std::max(first, burst.start);
    const qint64 end = std::min(first + count, burst.start + burst.count);
    if (begin >= end)
        return {0, 0};
    return {int(begin - first), int(end - first)};
}

QVector<Emission> emissionsOf(const std::vector<Burst>& bursts, double halfWidth, const QString& label)
{
    QVector<Emission> result;
    for (const Burst& burst : bursts)
        result.append(Emission{burst.start, burst.count, burst.offset - halfWidth, burst.offset + halfWidth, label});
    return result;
}

class AmEmitter : public IEmitter
{
public:
    AmEmitter(const SceneTiming& timing, std::uint64_t seed)
        : m_random(seed)
        , m_timing(timing)
        , m_offset(-45000.0 * timing.scale())
        , m_fading(m_random, timing.sampleRate, 0.7)
        , m_voice(m_random, timing.sampleRate, timing.scale())
    {
    }

    void render(qint64 first, int count, std::complex<float>* out) override
    {
        const double step = twoPi * m_offset / m_timing.sampleRate;
        for (int i = 0; i < count; ++i) {
            const qint64 n = first + i;
            const double envelope = 1.0 + 0.7 * m_voice.at(n);
            out[i] += phasor(0.05 * m_fading.gainAt(n) * envelope, m_phase);
            m_phase = wrapPhase(m_phase + step);
        }
    }

    QVector<Emission> emissions() const override
    {
        const double halfWidth = 3000.0 * m_timing.scale();
        return {Emission{0, m_timing.sampleCount, m_offset - halfWidth, m_offset + halfWidth,
                         QStringLiteral("AM broadcast")}};
    }

private:
    SynthRandom m_random;
    SceneTiming m_timing;
    double m_offset;
    Fading m_fading;
    VoiceAudio m_voice;
    double m_phase = 0.0;
};

class FmVoiceEmitter : public IEmitter
{
public:
    FmVoiceEmitter(const SceneTiming& timing, std::uint64_t seed)
        : m_random(seed)
        , m_timing(timing)
        , m_offset(22000.0 * timing.scale())
        , m_deviation(2500.0 * timing.scale())
        , m_fading(m_random, timing.sampleRate, 0.5)
        , m_voice(m_random, timing.sampleRate, timing.scale())
        , m_bursts(scheduleBursts(m_random, timing, 2.0, 4.0, 9.0, 2.0, 6.0))
    {
        for (Burst& burst : m_bursts)
            burst.offset = m_offset;
    }

    void render(qint64 first, int count, std::complex<float>* out) override
    {
        for (const Burst& burst : m_bursts) {
            const auto [begin, end] = overlap(burst, first, count);
            for (int i = begin; i < end; ++i) {
                const qint64 n = first + i;
                const double frequency = m_offset + m_deviation * m_voice.at(n);
                out[i] += phasor(0.03 * m_fading.gainAt(n), m_phase);
                m_phase = wrapPhase(m_phase + twoPi * frequency / m_timing.sampleRate);
            }
        }
    }

    QVector<Emission> emissions() const override
    {
        return emissionsOf(m_bursts, m_deviation + 3000.0 * m_timing.scale(), QStringLiteral("FM voice"));
    }

private:
    SynthRandom m_random;
    SceneTiming m_timing;
    double m_offset;
    double m_deviation;
    Fading m_fading;
    VoiceAudio m_voice;
    std::vector<Burst> m_bursts;
    double m_phase = 0.0;
};

// Phase-continuous binary FSK in bursts; the hopping emitter is the same with a new
// channel for every burst.
class KeyedEmitter : public IEmitter
{
public:
    KeyedEmitter(const SceneTiming& timing, std::uint64_t seed, double shift, double baud, double amplitude,
                 QString label)
        : m_random(seed)
        , m_timing(timing)
        , m_shift(shift)
        , m_baud(baud)
        , m_amplitude(amplitude)
        , m_label(std::move(label))
        , m_fading(m_random, timing.sampleRate, 0.4)
    {
    }

    void render(qint64 first, int count, std::complex<float>* out) override
    {
        for (const Burst& burst : m_bursts) {
            const auto [begin, end] = overlap(burst, first, count);
            for (int i = begin; i < end; ++i) {
                const qint64 n = first + i;
                const auto symbol = size_t(double(n - burst.start) * m_baud / m_timing.sampleRate);
                const bool mark = burst.bits[std::min(symbol, burst.bits.size() - 1)];
                const double frequency = burst.offset + (mark ? m_shift : -m_shift);
                out[i] += phasor(m_amplitude * m_fading.gainAt(n), m_phase);
                m_phase = wrapPhase(m_phase + twoPi * frequency / m_timing.sampleRate);
            }
        }
    }

    QVector<Emission> emissions() const override { return emissionsOf(m_bursts, m_shift + m_baud / 2, m_label); }

protected:
    void setBursts(std::vector<Burst> bursts)
    {
        m_bursts = std::move(bursts);
        for (Burst& burst : m_bursts) {
            const auto symbols = size_t(double(burst.count) * m_baud / m_timing.sampleRate) + 1;
            for (size_t s = 0; s < symbols; ++s)
                burst.bits.push_back(m_random.bit());
        }
    }

    SynthRandom m_random;
    SceneTiming m_timing;

private:
    double m_shift;
    double m_baud;
    double m_amplitude;
    QString m_label;
    Fading m_fading;
    std::vector<Burst> m_bursts;
    double m_phase = 0.0;
};

class FskBurstEmitter : public KeyedEmitter
{
public:
    FskBurstEmitter(const SceneTiming& timing, std::uint64_t seed)
        : KeyedEmitter(timing, seed, 1200.0 * timing.scale(), 2400.0 * timing.scale(), 0.04,
                       QStringLiteral("FSK burst"))
    {
        std::vector<Burst> bursts = scheduleBursts(m_random, timing, 0.7, 0.25, 0.7, 1.5, 4.0);
        for (Burst& burst : bursts)
            burst.offset = -20000.0 * timing.scale();
        setBursts(std::move(bursts));
    }
};

class HoppingEmitter : public KeyedEmitter
{
public:
    HoppingEmitter(const SceneTiming& timing, std::uint64_t seed)
        : KeyedEmitter(timing, seed, 300.0 * timing.scale(), 600.0 * timing.scale(), 0.03, QStringLiteral("Hop"))
    {
        // Two sessions of hops, a quarter and three fifths into the recording.
        const double duration = double(timing.sampleCount) / timing.sampleRate;
        std::vector<Burst> hops;
        for (const double session : {0.25, 0.6}) {
            const double start = duration * session;
            std::vector<Burst> some = scheduleBursts(m_random, timing, start, 0.12, 0.12, 0.03, 0.03,
                                                     start + std::min(8.0, duration * 0.2));
            for (Burst& hop : some)
                hop.offset = (-10000.0 + 1250.0 * m_random.integer(0, 15)) * timing.scale();
            hops.insert(hops.end(), some.begin(), some.end());
        }
        setBursts(std::move(hops));
    }
};

class ChirpEmitter : public IEmitter
{
public:
    ChirpEmitter(const SceneTiming& timing, std::uint64_t seed)
        : m_random(seed)
        , m_timing(timing)
        , m_low(30000.0 * timing.scale())
        , m_high(58000.0 * timing.scale())
        , m_bursts(scheduleBursts(m_random, timing, 4.0, 6.0, 6.0, 7.0, 12.0))
    {
    }

    void render(qint64 first, int count, std::complex<float>* out) override
    {
        for (const Burst& burst : m_bursts) {
            const auto [begin, end] = overlap(burst, first, count);
            const double length = double(burst.count) / m_timing.sampleRate;
            const double rate = (m_high - m_low) / length; // Hz per second
            for (int i = begin; i < end; ++i) {
                // Phase from the closed form, so no error accumulates over a chirp.
                const double t = double(first + i - burst.start) / m_timing.sampleRate;
                out[i] += phasor(0.02, wrapPhase(twoPi * (m_low * t + 0.5 * rate * t * t)));
            }
        }
    }

    QVector<Emission> emissions() const override
    {
        QVector<Emission> result;
        for (const Burst& burst : m_bursts)
            result.append(Emission{burst.start, burst.count, m_low, m_high, QStringLiteral("Chirp")});
        return result;
    }

private:
    SynthRandom m_random;
    SceneTiming m_timing;
    double m_low;
    double m_high;
    std::vector<Burst> m_bursts;
};

} // namespace

IEmitter::~IEmitter() = default;

Fading::Fading(SynthRandom& random, double sampleRate, double depth)
    : m_sampleRate(sampleRate)
    , m_depth(depth)
    , m_periods{random.uniform(7.0, 13.0), random.uniform(3.0, 5.0)}
    , m_phases{random.uniform(0.0, twoPi), random.uniform(0.0, twoPi)}
{
}

float Fading::gainAt(qint64 sample) const
{
    const double t = double(sample & ~qint64(255)) / m_sampleRate;
    const double wave = 0.7 * std::sin(twoPi * t / m_periods[0] + m_phases[0])
        + 0.3 * std::sin(twoPi * t / m_periods[1] + m_phases[1]); // -1..1
    return float(1.0 - m_depth * (0.5 + 0.5 * wave));
}

VoiceAudio::VoiceAudio(SynthRandom& random, double sampleRate, double pitchScale)
    : m_audioRate(sampleRate / 16.0)
    , m_pitchScale(pitchScale)
    , m_basePitch(random.uniform(110.0, 200.0))
    , m_wobble{random.uniform(0.0, twoPi), random.uniform(0.0, twoPi)}
    , m_syllableRate(random.uniform(3.0, 4.5))
{
}

float VoiceAudio::computeNext()
{
    const double t = m_t;
    m_t += 1.0 / m_audioRate;
    const double pitch = m_basePitch
        * (1.0 + 0.15 * std::sin(twoPi * 0.4 * t + m_wobble[0]) + 0.08 * std::sin(twoPi * 1.3 * t + m_wobble[1]));
    m_pitchPhase = wrapPhase(m_pitchPhase + twoPi * pitch * m_pitchScale / m_audioRate);
    double buzz = 0.0;
    for (int h = 1; h <= 12; ++h)
        buzz += std::sin(h * m_pitchPhase) / h;
    // Syllables of a few per second, grouped into phrases of about two seconds.
    const double syllable = std::max(0.0, std::sin(twoPi * m_syllableRate * t));
    const double phrase = std::sin(twoPi * 0.23 * t + m_wobble[0]) > -0.3 ? 1.0 : 0.0;
    return float(0.55 * buzz * syllable * syllable * phrase);
}

float VoiceAudio::at(qint64 sample)
{
    const qint64 step = sample / 16;
    while (m_step < step) {
        m_previous = m_next;
        m_next = computeNext();
        ++m_step;
    }
    const float fraction = float(sample % 16) / 16.0f;
    return std::clamp(m_previous + (m_next - m_previous) * fraction, -1.0f, 1.0f);
}

std::unique_ptr<IEmitter> makeAmEmitter(const SceneTiming& timing, std::uint64_t seed)
{
    return std::make_unique<AmEmitter>(timing, seed);
}

std::unique_ptr<IEmitter> makeFmVoiceEmitter(const SceneTiming& timing, std::uint64_t seed)
{
    return std::make_unique<FmVoiceEmitter>(timing, seed);
}

std::unique_ptr<IEmitter> makeFskBurstEmitter(const SceneTiming& timing, std::uint64_t seed)
{
    return std::make_unique<FskBurstEmitter>(timing, seed);
}

std::unique_ptr<IEmitter> makeChirpEmitter(const SceneTiming& timing, std::uint64_t seed)
{
    return std::make_unique<ChirpEmitter>(timing, seed);
}

std::unique_ptr<IEmitter> makeHoppingEmitter(const SceneTiming& timing, std::uint64_t seed)
{
    return std::make_unique<HoppingEmitter>(timing, seed);
}

} // namespace mivo::synth
