// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <cstdint>

namespace mivo::synth {

struct SceneStreamSettings
{
    double sampleRate = 125000.0;
    double duration = 60.0; // seconds; 0: no end
    std::uint64_t seed = 1;
};

// Writes the radio scene as cf32_le samples to a file descriptor at the pace of its
// sample rate, so that it can stand in for a receiver: sample n leaves no earlier than
// n / sampleRate seconds after the start. An endless stream is made of one-minute
// scenes drawn from seed, seed + 1, ...: each scene lays out its emissions for its
// own length, so memory stays bounded however long it runs.
class SceneStreamer
{
public:
    // `fd` is not owned; `name` names it in messages.
    SceneStreamer(const SceneStreamSettings& settings, int fd, const QString& name);

    // Returns after the duration, or as soon as the reader has gone (EPIPE; the
    // caller ignores SIGPIPE so that a closed pipe ends the stream without a signal).
    // Throws mivo::apps::Error on any other write failure.
    void run();

    // Samples written so far.
    qint64 samplesWritten() const { return m_written; }

private:
    bool writeAll(const char* data, qint64 size);

    SceneStreamSettings m_settings;
    int m_fd;
    QString m_name;
    qint64 m_written = 0;
};

} // namespace mivo::synth
