// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SceneStreamer.h"

#include "RadioScene.h"
#include "SampleEncoding.h"

#include <common/Error.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <thread>
#include <unistd.h>
#include <vector>

namespace mivo::synth {

namespace {

constexpr double sceneSeconds = 60.0;

} // namespace

SceneStreamer::SceneStreamer(const SceneStreamSettings& settings, int fd, const QString& name)
    : m_settings(settings)
    , m_fd(fd)
    , m_name(name)
{
}

bool SceneStreamer::writeAll(const char* data, qint64 size)
{
    while (size > 0) {
        const ssize_t n = ::write(m_fd, data, size_t(size));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            if (errno == EPIPE)
                return false;
            throw apps::Error(m_name,
                              QStringLiteral("cannot write: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
        }
        data += n;
        size -= n;
    }
    return true;
}

void SceneStreamer::run()
{
    using Clock = std::chrono::steady_clock;
    const double rate = m_settings.sampleRate;
    const qint64 total = m_settings.duration > 0 ? qint64(std::llround(m_settings.duration * rate)) : -1;
    const qint64 perScene = qint64(std::llround(sceneSeconds * rate));
    // Blocks of 10 ms: fine enough for a reader to see a steady flow.
    const int block = int(std::max<qint64>(1, qint64(rate / 100)));
    std::vector<std::complex<float>> samples(static_cast<size_t>(block));
    std::vector<char> bytes(size_t(block) * 8);
    const Clock::time_point start = Clock::now();

    for (std::uint64_t scene = 0; total < 0 || m_written < total; ++scene) {
        SceneTiming timing;
        timing.sampleRate = rate;
        timing.sampleCount = total < 0 ? perScene : std::min(perScene, total - m_written);
        RadioScene radio(timing, m_settings.seed + scene);
        for (qint64 first = 0; first < timing.sampleCount; first += block) {
            const int count = int(std::min<qint64>(block, timing.sampleCount - first));
            radio.render(first, count, samples.data());
            encodeCf32Le(samples.data(), count, bytes.data());
            const auto due = start
                + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(double(m_written) / rate));
            std::this_thread::sleep_until(due);
            if (!writeAll(bytes.data(), qint64(count) * 8))
                return;
            m_written += count;
        }
    }
}

} // namespace mivo::synth
