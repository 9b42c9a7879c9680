// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LiveInputOpener.h"

#include "DescriptorInput.h"
#include "GrowingFileInput.h"
#include "RtlTcpInput.h"
#include "TileGenerator.h"
#include <common/Error.h>

#include <QFileInfo>
#include <QUrl>

#include <cmath>
#include <unistd.h>

namespace mivo::tilegen {

namespace {

const QLatin1String rtlTcpScheme("rtl_tcp");

std::unique_ptr<LiveInput> openRtlTcp(const QString& path, const InputSettings& settings, LiveStream& stream)
{
    // "rtl_tcp" is no valid URL scheme (no '_'): the rest is read as a tcp:// URL.
    const QUrl url(QStringLiteral("tcp://") + path.mid(rtlTcpScheme.size() + 3), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || url.port() <= 0
        || (!url.path().isEmpty() && url.path() != QLatin1String("/")))
        throw apps::Error(path, QStringLiteral("an rtl_tcp server is given as rtl_tcp://HOST:PORT"));
    if (settings.datatype && !(*settings.datatype == *SampleFormat::fromName(QStringLiteral("cu8"))))
        throw apps::Error(QStringLiteral("--datatype"), QStringLiteral("rtl_tcp sends cu8 samples"));
    stream.format = *SampleFormat::fromName(QStringLiteral("cu8"));
    const double centre = settings.centerFrequency.value_or(0.0);
    if (!(centre >= 0 && centre <= 4294967295.0))
        throw apps::Error(QStringLiteral("--center-frequency"),
                          QStringLiteral("rtl_tcp takes 0 to 4294967295 Hz, got %1").arg(centre));
    if (stream.sampleRate > 4294967295.0)
        throw apps::Error(QStringLiteral("--sample-rate"),
                          QStringLiteral("rtl_tcp takes at most 4294967295 samples/s"));
    RtlTcpInput::Settings rtl;
    rtl.host = url.host();
    rtl.port = quint16(url.port());
    rtl.centerFrequency = quint32(std::llround(centre));
    rtl.sampleRate = quint32(std::llround(stream.sampleRate));
    return std::make_unique<RtlTcpInput>(rtl);
}

} // namespace

OpenedLiveInput openLiveInput(const QString& path, const InputSettings& settings)
{
    if (settings.kind == InputSettings::Kind::SoundFile || settings.kind == InputSettings::Kind::SigMf)
        throw apps::Error(QStringLiteral("--format"), QStringLiteral("--follow reads raw samples only"));
    if (!settings.sampleRate)
        throw apps::Error(QStringLiteral("--sample-rate"), QStringLiteral("--follow needs the sample rate"));
    if (!(*settings.sampleRate > 0) || !std::isfinite(*settings.sampleRate))
        throw apps::Error(QStringLiteral("--sample-rate"),
                          QStringLiteral("sample rate must be a positive number, got %1").arg(*settings.sampleRate));

    OpenedLiveInput opened;
    LiveStream& stream = opened.stream;
    stream.sampleRate = *settings.sampleRate;
    stream.centerFrequency = settings.centerFrequency.value_or(0.0);
    stream.startTime = settings.startTime;

    if (path.startsWith(rtlTcpScheme + QStringLiteral("://"))) {
        opened.input = openRtlTcp(path, settings, stream);
        opened.defaultSourceId = QStringLiteral("rtl_tcp");
        return opened;
    }
    if (path == QLatin1String("-")) {
        if (!settings.datatype)
            throw apps::Error(
                QStringLiteral("--datatype"),
                QStringLiteral("standard input needs the sample type (%1)").arg(SampleFormat::rawNamesHelp()));
        stream.format = *settings.datatype;
        opened.input = std::make_unique<DescriptorInput>(STDIN_FILENO, QStringLiteral("standard input"));
        opened.defaultSourceId = QStringLiteral("live");
        return opened;
    }
    const std::optional<SampleFormat> format
        = settings.datatype ? settings.datatype : SampleFormat::fromName(QFileInfo(path).suffix().toLower());
    if (!format)
        throw apps::Error(path, QStringLiteral("raw input needs --datatype (%1)").arg(SampleFormat::rawNamesHelp()));
    stream.format = *format;
    opened.input = std::make_unique<GrowingFileInput>(path);
    opened.defaultSourceId = TileGenerator::sourceIdFromBaseName(QFileInfo(path).completeBaseName());
    return opened;
}

} // namespace mivo::tilegen
