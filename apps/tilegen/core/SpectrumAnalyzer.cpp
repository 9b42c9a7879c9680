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
template<typename T>
using FftwArray = std::unique_ptr<T, FftwDeleter>;

template<typename T>
FftwArray<T> allocate(size_t count)
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
};

SpectrumAnalyzer::SpectrumAnalyzer(const SpectrumSettings& settings)
    : m_settings(settings)
    , m_plan(FftPlan::shared(settings.fftSize, settings.complex))
    , m_window(makeWindow(settings.window, settings.fftSize))
    , m_buffers(std::make_unique<Buffers>())
{
    const auto size = size_t(settings.fftSize);
    if (settings.complex)
        m_buffers->complexIn = allocate<fftwf_complex>(size);
    else
        m_buffers->realIn = allocate<float>(size);
    m_buffers->out = allocate<fftwf_complex>(size);

    // A sine of amplitude A centred on a bin gives |X| = A * sum(w) for complex input
    // and A/2 * sum(w) for real input; scale both to A^2.
    const double windowSum = std::accumulate(m_window.begin(), m_window.end(), 0.0);
    const double powerScale = (settings.complex ? 1.0 : 4.0) / (windowSum * windowSum);
    m_decibelOffset = float(10.0 * std::log10(powerScale) + settings.levelOffset);
}

SpectrumAnalyzer::~SpectrumAnalyzer() = default;

void SpectrumAnalyzer::analyze(const float* samples, quint8* indices)
{
    const int size = m_settings.fftSize;
    fftwf_complex* out = m_buffers->out.get();
    const LevelQuantizer& quantizer = m_settings.quantizer;
    const auto level = [this](const fftwf_complex& bin) {
        const float power = bin[0] * bin[0] + bin[1] * bin[1];
        return double(10.0f * std::log10(power) + m_decibelOffset);
    };

    if (m_settings.complex) {
        fftwf_complex* in = m_buffers->complexIn.get();
        for (int i = 0; i < size; ++i) {
            in[i][0] = samples[2 * i] * m_window[size_t(i)];
            in[i][1] = samples[2 * i + 1] * m_window[size_t(i)];
        }
        m_plan->executeComplex(in, out);
        const int half = size / 2;
        for (int k = 0; k < size; ++k)
            indices[k] = quantizer.indexOf(level(out[(k + half) % size]));
    } else {
        float* in = m_buffers->realIn.get();
        for (int i = 0; i < size; ++i)
            in[i] = samples[i] * m_window[size_t(i)];
        m_plan->executeReal(in, out);
        for (int k = 0; k <= size / 2; ++k)
            indices[k] = quantizer.indexOf(level(out[k]));
    }
}

} // namespace mivo::tilegen
