// Throughput of mivo-tilegen on two recordings it makes itself, and sox's spectrogram
// on the same WAV with the same FFT size, side by side.
//
// Matching sox: `sox IN -n spectrogram` takes its FFT size from the height, -y N
// giving a DFT of 2 (N - 1) points, so -y 513 is a 1024-point FFT. Its hop is the
// sample rate divided by the pixels per second -X, so -X 93.75 at 48 kHz is a hop of
// 512 samples, the tile generator's default hop for a 1024-point FFT. -x (the width)
// must then hold the whole recording: 600 s * 93.75 = 56250 columns. -r leaves out
// axes and legend. Both use a Hann window. sox renders one PNG of 56250 x 513 pixels;
// the tile generator renders every level of the pyramid.
//
// Usage: mivo-tilegen-bench [work directory]   (default: a temporary directory)

#include "core/Error.h"
#include "core/InputOpener.h"
#include "core/TileGenerator.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QtEndian>

#include <sndfile.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace mivo::tilegen;

namespace {

// Cheap deterministic noise in -1..1.
class Noise
{
public:
    float next()
    {
        m_state = m_state * 6364136223846793005ull + 1442695040888963407ull;
        return float(double(m_state >> 11) * 0x1.0p-53 * 2.0 - 1.0);
    }

private:
    quint64 m_state = 1;
};

bool writeWav(const QString& path, int rate, qint64 frames)
{
    SF_INFO info{};
    info.channels = 1;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    Noise noise;
    std::vector<float> block(1 << 16);
    for (qint64 done = 0; done < frames;) {
        const auto count = std::min<qint64>(qint64(block.size()), frames - done);
        for (qint64 i = 0; i < count; ++i) {
            const double t = double(done + i) / rate;
            const double sweep = 2000.0 + 8000.0 * std::fmod(t, 20.0) / 20.0;
            block[size_t(i)] = float(0.2 * std::sin(2 * M_PI * 1000.0 * t) + 0.1 * std::sin(2 * M_PI * sweep * t)
                                     + 0.01 * noise.next());
        }
        sf_writef_float(file, block.data(), count);
        done += count;
    }
    sf_close(file);
    return true;
}

bool writeCf32(const QString& path, double rate, qint64 samples)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    Noise noise;
    std::vector<char> bytes(size_t(1 << 16) * 8);
    const std::complex<double> step = std::polar(1.0, 2 * M_PI * 200e3 / rate);
    std::complex<double> tone = 0.1;
    for (qint64 done = 0; done < samples;) {
        const auto count = std::min<qint64>(1 << 16, samples - done);
        for (qint64 i = 0; i < count; ++i) {
            tone *= step;
            const float values[2] = {float(tone.real()) + 0.01f * noise.next(), float(tone.imag()) + 0.01f * noise.next()};
            quint32 bits[2];
            std::memcpy(bits, values, sizeof bits);
            qToLittleEndian(bits[0], bytes.data() + i * 8);
            qToLittleEndian(bits[1], bytes.data() + i * 8 + 4);
        }
        tone /= std::abs(tone) / 0.1;
        if (file.write(bytes.data(), count * 8) != count * 8)
            return false;
        done += count;
    }
    return true;
}

struct Measurement
{
    double seconds = 0.0;
    double signalSeconds = 0.0;
    quint64 tiles = 0;
};

Measurement runTilegen(const QString& input, const InputSettings& inputSettings, const QString& output, int threads)
{
    QDir(output).removeRecursively();
    TileGeneratorSettings settings;
    settings.fftSize = 1024;
    settings.threads = threads;
    QElapsedTimer clock;
    clock.start();
    TileGenerator generator(settings, openInput(input, inputSettings), output);
    const TileGeneratorResult result = generator.run();
    Measurement m;
    m.seconds = clock.nsecsElapsed() / 1e9;
    m.signalSeconds = result.signalSeconds;
    m.tiles = result.tilesWritten;
    return m;
}

void print(const char* what, const Measurement& m)
{
    std::printf("%-44s %8.2f s wall  %8.1f s signal/s  %8.0f tiles/s  (%llu tiles)\n", what, m.seconds,
                m.signalSeconds / m.seconds, double(m.tiles) / m.seconds, static_cast<unsigned long long>(m.tiles));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    const QString work = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();
    if (!QDir().mkpath(work)) {
        std::fprintf(stderr, "mivo-tilegen-bench: cannot use %s\n", qPrintable(work));
        return 1;
    }
    const QString wav = work + QStringLiteral("/ten-minutes-48k.wav");
    const QString iq = work + QStringLiteral("/one-minute-2.4M.cf32");
    std::printf("work directory %s, %d cores\n", qPrintable(work), QThread::idealThreadCount());
    std::printf("generating 600 s of 48 kHz WAV and 60 s of 2.4 MS/s cf32 ...\n");
    std::fflush(stdout);
    if (!writeWav(wav, 48000, 48000LL * 600) || !writeCf32(iq, 2.4e6, 2400000LL * 60)) {
        std::fprintf(stderr, "mivo-tilegen-bench: cannot write the recordings into %s\n", qPrintable(work));
        return 1;
    }

    try {
        InputSettings wavInput;
        wavInput.startTime = 1700000000.0;
        InputSettings iqInput;
        iqInput.sampleRate = 2.4e6;
        iqInput.centerFrequency = 100e6;
        iqInput.startTime = 1700000000.0;

        std::printf("\nmivo-tilegen, FFT 1024, hop 512, Hann, tiles 256, peak hold\n");
        const Measurement wavAll = runTilegen(wav, wavInput, work + QStringLiteral("/tiles-wav"), 0);
        print("600 s 48 kHz WAV, all cores", wavAll);
        const Measurement wavOne = runTilegen(wav, wavInput, work + QStringLiteral("/tiles-wav"), 1);
        print("600 s 48 kHz WAV, 1 thread", wavOne);
        const Measurement iqAll = runTilegen(iq, iqInput, work + QStringLiteral("/tiles-iq"), 0);
        print("60 s 2.4 MS/s cf32, all cores", iqAll);
        const Measurement iqOne = runTilegen(iq, iqInput, work + QStringLiteral("/tiles-iq"), 1);
        print("60 s 2.4 MS/s cf32, 1 thread", iqOne);

        const QString sox = QStandardPaths::findExecutable(QStringLiteral("sox"));
        if (sox.isEmpty()) {
            std::printf("\nsox not found: no comparison\n");
            return 0;
        }
        QProcess process;
        QElapsedTimer clock;
        clock.start();
        process.start(sox, {wav, QStringLiteral("-n"), QStringLiteral("spectrogram"), QStringLiteral("-y"), QStringLiteral("513"),
                            QStringLiteral("-X"), QStringLiteral("93.75"), QStringLiteral("-x"), QStringLiteral("56250"),
                            QStringLiteral("-r"), QStringLiteral("-o"), work + QStringLiteral("/sox.png")});
        if (!process.waitForFinished(-1) || process.exitCode() != 0) {
            std::printf("\nsox failed: %s\n", process.readAllStandardError().constData());
            return 1;
        }
        Measurement soxRun;
        soxRun.seconds = clock.nsecsElapsed() / 1e9;
        soxRun.signalSeconds = 600.0;
        std::printf("\nsox spectrogram -y 513 -X 93.75 -x 56250 -r (FFT 1024, hop 512, one PNG)\n");
        print("600 s 48 kHz WAV, sox (one thread)", soxRun);
        std::printf("\nspeed of mivo-tilegen / sox on the WAV: %.2fx (all cores), %.2fx (1 thread)\n",
                    soxRun.seconds / wavAll.seconds, soxRun.seconds / wavOne.seconds);
    } catch (const Error& error) {
        std::fprintf(stderr, "mivo-tilegen-bench: %s\n", qPrintable(error.message()));
        return 1;
    }
    return 0;
}
