// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "core/BlockAnalyzer.h"
#include "core/FrameReader.h"
#include "core/SpectrumAnalyzer.h"
#include "core/WorkerPool.h"
#include <common/Error.h>

#include <QTest>

#include <cmath>
#include <vector>

using namespace mivo::tilegen;

namespace {

// Samples held in memory: value v of sample n is `values[n * components + v]`. It may
// claim more samples than it holds, like a file cut short; it counts what it hands out.
class MemorySource : public ISignalSource
{
public:
    MemorySource(std::vector<float> values, bool complex, qint64 claimedSamples = -1)
        : m_values(std::move(values))
        , m_components(complex ? 2 : 1)
    {
        m_info.sampleRate = 1000.0;
        m_info.complex = complex;
        m_info.sampleCount = claimedSamples >= 0 ? claimedSamples : qint64(m_values.size()) / m_components;
    }

    const SignalInfo& info() const override { return m_info; }
    QString fileName() const override { return QStringLiteral("memory"); }
    qint64 read(float* out, qint64 count) override
    {
        const qint64 n = std::min(count, available());
        std::copy_n(m_values.begin() + m_position * m_components, n * m_components, out);
        m_position += n;
        samplesRead += n;
        return n;
    }
    qint64 skip(qint64 count) override
    {
        const qint64 n = std::min(count, available());
        m_position += n;
        samplesSkipped += n;
        return n;
    }

    qint64 samplesRead = 0;
    qint64 samplesSkipped = 0;

private:
    qint64 available() const { return qint64(m_values.size()) / m_components - m_position; }

    std::vector<float> m_values;
    const int m_components;
    SignalInfo m_info;
    qint64 m_position = 0;
};

// Values 0, 1, 2, ...: each sample tells where it came from.
std::vector<float> ramp(qint64 count)
{
    std::vector<float> values(static_cast<size_t>(count));
    for (qint64 i = 0; i < count; ++i)
        values[size_t(i)] = float(i);
    return values;
}

// A real recording of two tones and a little deterministic noise.
std::vector<float> tones(qint64 count)
{
    std::vector<float> values(static_cast<size_t>(count));
    quint32 state = 7;
    for (qint64 i = 0; i < count; ++i) {
        state = state * 1664525u + 1013904223u;
        values[size_t(i)] = float(0.5 * std::sin(0.3 * double(i)) + 0.05 * std::sin(2.1 * double(i))
                                  + 1e-3 * (double(state >> 8) / double(1 << 24) - 0.5));
    }
    return values;
}

} // namespace

class TestTilegenFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void consecutiveBlocksReuseTheOverlapInsteadOfReadingIt()
    {
        MemorySource source(ramp(100), false);
        FrameReader reader(source, 8, 3);
        std::vector<float> samples;
        // Frames 0..3 cover samples 0..16, frames 4..9 samples 12..34.
        reader.load(0, 4, samples);
        QCOMPARE(samples, std::vector<float>(ramp(17)));
        reader.load(4, 6, samples);
        QCOMPARE(samples.size(), size_t(23));
        for (size_t i = 0; i < samples.size(); ++i)
            QCOMPARE(samples[i], float(12 + i));
        QCOMPARE(source.samplesRead, qint64(35)); // every sample once
        QCOMPARE(source.samplesSkipped, qint64(0));
    }

    void samplesBetweenFramesAreSkippedWhenTheHopExceedsTheFrame()
    {
        MemorySource source(ramp(100), false);
        FrameReader reader(source, 4, 10);
        std::vector<float> samples;
        reader.load(0, 2, samples); // frames at 0 and 10: samples 0..13
        QCOMPARE(samples, std::vector<float>(ramp(14)));
        reader.load(2, 3, samples); // frames at 20, 30, 40: samples 20..43
        QCOMPARE(samples.size(), size_t(24));
        for (size_t i = 0; i < samples.size(); ++i)
            QCOMPARE(samples[i], float(20 + i));
        QCOMPARE(source.samplesSkipped, qint64(6)); // 14..19
        QCOMPARE(source.samplesRead, qint64(14 + 24));
    }

    void complexSamplesStayInterleaved()
    {
        MemorySource source(ramp(40), true); // 20 complex samples
        FrameReader reader(source, 4, 2);
        std::vector<float> samples;
        reader.load(0, 2, samples); // samples 0..5: values 0..11
        QCOMPARE(samples, std::vector<float>(ramp(12)));
        reader.load(2, 1, samples); // samples 4..7: values 8..15
        QCOMPARE(samples, (std::vector<float>{8, 9, 10, 11, 12, 13, 14, 15}));
    }

    void recordingCutShortIsNamed()
    {
        MemorySource source(ramp(20), false, 50);
        FrameReader reader(source, 8, 4);
        std::vector<float> samples;
        reader.load(0, 4, samples); // samples 0..19: all there are
        try {
            reader.load(4, 2, samples);
            QFAIL("a recording cut short was read without an error");
        } catch (const mivo::apps::Error& error) {
            QCOMPARE(error.message(), QStringLiteral("memory: ends after 20 samples although it should hold 50"));
        }
    }

    void blocksHoldTheRowsOfEveryFrameInOrder_data()
    {
        QTest::addColumn<int>("threads");
        QTest::newRow("one thread") << 1;
        QTest::newRow("two threads") << 2;
        QTest::newRow("three threads") << 3;
    }

    void blocksHoldTheRowsOfEveryFrameInOrder()
    {
        QFETCH(int, threads);
        const int fftSize = 64;
        const int hop = 24;
        const qint64 frames = 1500; // several blocks of at most 256 frames
        const qint64 samples = (frames - 1) * hop + fftSize + 5;
        const std::vector<float> values = tones(samples);
        SpectrumSettings spectrum;
        spectrum.fftSize = fftSize;
        spectrum.complex = false;

        // Each frame analysed on its own, as the reference.
        SpectrumAnalyzer reference(spectrum);
        const int bins = reference.binCount();
        std::vector<quint8> expected(size_t(frames) * size_t(bins));
        for (qint64 f = 0; f < frames; ++f)
            reference.analyze(values.data() + f * hop, expected.data() + f * bins);

        MemorySource source(values, false);
        WorkerPool workers(threads);
        FrameReader reader(source, fftSize, hop);
        BlockAnalyzer analyzer(workers, reader, spectrum, frames, hop);
        QCOMPARE(analyzer.bins(), bins);
        qint64 next = 0;
        int blocks = 0;
        for (BlockAnalyzer::Block block = analyzer.next(); block.count > 0; block = analyzer.next()) {
            QCOMPARE(block.first, next);
            QVERIFY(block.count <= analyzer.blockFrames());
            QVERIFY2(std::equal(block.rows, block.rows + size_t(block.count) * size_t(bins),
                                expected.begin() + block.first * bins),
                     qPrintable(QStringLiteral("block from frame %1").arg(block.first)));
            next += block.count;
            ++blocks;
        }
        QCOMPARE(next, frames);
        QCOMPARE(blocks, int((frames + analyzer.blockFrames() - 1) / analyzer.blockFrames()));
        QVERIFY(blocks > BlockAnalyzer::blocksAhead);
        const BlockAnalyzer::Block after = analyzer.next();
        QCOMPARE(after.count, 0);
        QCOMPARE(after.first, frames);
    }

    void analyserStoppedEarlyWaitsForItsBlocks()
    {
        const int fftSize = 32;
        const qint64 frames = 3000;
        MemorySource source(tones((frames - 1) * 16 + fftSize), false);
        SpectrumSettings spectrum;
        spectrum.fftSize = fftSize;
        spectrum.complex = false;
        WorkerPool workers(2);
        FrameReader reader(source, fftSize, 16);
        {
            BlockAnalyzer analyzer(workers, reader, spectrum, frames, 16);
            const BlockAnalyzer::Block first = analyzer.next();
            QCOMPARE(first.first, qint64(0));
            QCOMPARE(first.count, analyzer.blockFrames());
        } // the blocks still in flight use the analyser's buffers: its destructor waits
        // Read ahead: the first block and the ones in flight behind it, no more.
        QCOMPARE(source.samplesRead, qint64(BlockAnalyzer::blocksAhead * 256 - 1) * 16 + fftSize);
    }
};

QTEST_GUILESS_MAIN(TestTilegenFrames)
#include "tst_tilegen_frames.moc"
