// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "SignalSource.h"

#include <memory>
#include <vector>

namespace mivo::tilegen {

// Any file libsndfile reads (WAV, FLAC, AIFF, OGG, ...): one channel of it, as real
// samples scaled to -1..1.
class SoundFileSource : public ISignalSource
{
public:
    // Throws apps::Error if libsndfile cannot open the file or the channel does not exist.
    // `startTime` is the instant of the first sample.
    SoundFileSource(const QString& path, int channel, double startTime);
    ~SoundFileSource() override;

    const SignalInfo& info() const override { return m_info; }
    QString fileName() const override { return m_path; }
    int channelCount() const { return m_channels; }
    qint64 read(float* out, qint64 count) override;
    qint64 skip(qint64 count) override;

private:
    struct Handle;
    std::unique_ptr<Handle> m_handle;
    QString m_path;
    SignalInfo m_info;
    int m_channels = 0;
    int m_channel = 0;
    bool m_pcm16 = false; // read as 16-bit integers and scaled here
    std::vector<float> m_frames;
    std::vector<short> m_shortFrames;
};

} // namespace mivo::tilegen
