// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SpectrumAnalyzer.h"

#include <fftw3.h>

#include <cmath>
#include <map>
#include <mutex>
#include <numeric>

namespace mivo::tilegen {

namespace {

// FFTW's planner is not thread-safe: every plan is made and destroyed under this lock.
std::mutex& plannerMutex()
{
    static std::mutex mutex;
    return mutex;
}

struct FftwDeleter
{
    void operator()(void* p) const { fftwf_free(p); }
};
template <typename T> using FftwArray = std::unique_ptr<T, FftwDeleter>;

template <typename T> FftwArray<T> allocate(size_t count)
{
    return FftwArray<T>(static_cast<T*>(fftwf_malloc(sizeof(T) * count)));
}

} // namespace

// One plan per FFT size and kind, made once and shared: execution with other arrays of
// the same alignment (all come from fftwf_malloc) is thread-safe. FFTW_ESTIMATE keeps
// the chosen algorithm, and so every output bit, the same from run to run.
class FftPlan
{
public:
    FftPlan(int size, bool complex)
    {
        const std::lock_guard<std::mutex> lock(plannerMutex());
        auto out = allocate<fftwf_complex>(size_t(size));
        if (complex) {
            auto in = allocate<fftwf_complex>(size_t(size));
            m_plan = fftwf_plan_dft_1d(size, in.get(), out.get(), FFTW_FORWARD, FFTW_ESTIMATE);
        } else {
            auto in = allocate<float>(size_t(size));
            m_plan = fftwf_plan_dft_r2c_1d(size, in.get(), out.get(), FFTW_ESTIMATE);
        }
    }
    ~FftPlan()
    {
        const std::lock_guard<std::mutex> lock(plannerMutex());
        fftwf_destroy_plan(m_plan);
    }
    FftPlan(const FftPlan&) = delete;
    FftPlan& operator=(const FftPlan&) = delete;

    void executeComplex(fftwf_complex* in, fftwf_complex* out) const { fftwf_execute_dft(m_plan, in, out); }
    void executeReal(float* in, fftwf_complex* out) const { fftwf_execute_dft_r2c(m_plan, in, out); }

    static std::shared_ptr<const FftPlan> shared(int size, bool complex)
    {
        static std::mutex cacheMutex;
        static std::map<std::pair<int, bool>, std::weak_ptr<const FftPlan>> cache;
        const std::lock_guard<std::mutex> lock(cacheMutex);
        std::weak_ptr<const FftPlan>& slot = cache[{size, complex}];
        std::shared_ptr<const FftPlan> plan = slot.lock();
        if (!plan) {
            plan = std::make_shared<const FftPlan>(size, complex);
            slot = plan;
        }
        return plan;
    }

private:
    fftwf_plan m_plan = nullptr;
};

struct SpectrumAnalyzer::Buffers
{
    FftwArray<float> realIn;
    FftwArray<fftwf_complex> complexIn;
    FftwArray<fftwf_complex> out;
    std::vector<float> power; // per bin, in output order
};

namespace {

// A sine of amplitude A centred on a bin gives |X| = A * sum(w) for complex input
// and A/2 * sum(w) for real input; the offset scales both to A^2, in dB.
double decibelOffset(const SpectrumSettings& settings)
{
    const std::vector<float> window = makeWindow(settings.window, settings.fftSize);
    const double windowSum = std::accumulate(window.begin(), window.end(), 0.0);
    const double powerScale = (settings.complex ? 1.0 : 4.0) / (windowSum * windowSum);
    return 10.0 * std::log10(powerScale) + settings.levelOffset;
}

std::vector<float> interleavedWindow(const SpectrumSettings& settings)
{
    const std::vector<float> window = makeWindow(settings.window, settings.fftSize);
    if (!settings.complex)
        return window;
    std::vector<float> twice(2 * window.size());
    for (size_t i = 0; i < window.size(); ++i) {
        twice[2 * i] = window[i];
        twice[2 * i + 1] = window[i];
    }
    return twice;
}

} // namespace

SpectrumAnalyzer::SpectrumAnalyzer(const SpectrumSettings& settings)
    : m_settings(settings)
    , m_plan(FftPlan::shared(settings.fftSize, settings.complex))
    , m_window(interleavedWindow(settings))
    , m_buffers(std::make_unique<Buffers>())
    , m_quantizer(settings.quantizer, decibelOffset(settings))
{
    const auto size = size_t(settings.fftSize);
    if (settings.complex)
        m_buffers->complexIn = allocate<fftwf_complex>(size);
    else
        m_buffers->realIn = allocate<float>(size);
    m_buffers->out = allocate<fftwf_complex>(size);
    m_buffers->power.resize(size_t(binCount()));
}

SpectrumAnalyzer::~SpectrumAnalyzer() = default;

namespace {

// Plain loops over float arrays, which the compiler turns into vector code.
void multiply(const float* a, const float* b, int count, float* out)
{
    for (int i = 0; i < count; ++i)
        out[i] = a[i] * b[i];
}

void powers(const fftwf_complex* bins, int count, float* out)
{
    const float* values = bins[0];
    for (int k = 0; k < count; ++k)
        out[k] = values[2 * k] * values[2 * k] + values[2 * k + 1] * values[2 * k + 1];
}

} // namespace

void SpectrumAnalyzer::analyze(const float* samples, quint8* indices)
{
    const int size = m_settings.fftSize;
    fftwf_complex* out = m_buffers->out.get();
    float* power = m_buffers->power.data();
    if (m_settings.complex) {
        fftwf_complex* in = m_buffers->complexIn.get();
        multiply(samples, m_window.data(), 2 * size, in[0]);
        m_plan->executeComplex(in, out);
        // Ascending frequency: the negative half of the FFT's output first.
        const int half = size / 2;
        powers(out + half, half, power);
        powers(out, half, power + half);
    } else {
        float* in = m_buffers->realIn.get();
        multiply(samples, m_window.data(), size, in);
        m_plan->executeReal(in, out);
        powers(out, size / 2 + 1, power);
    }
    m_quantizer.quantize(power, binCount(), indices);
}

} // namespace mivo::tilegen
