// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "InputOpener.h"

#include "RawSignalSource.h"
#include "SigMfArchive.h"
#include "SoundFileSource.h"
#include <common/Error.h>

#include <QFile>
#include <QFileInfo>

#include <cmath>

namespace mivo::tilegen {

namespace {

using Kind = InputSettings::Kind;

std::optional<SampleFormat> formatFromExtension(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix.isEmpty())
        return std::nullopt;
    return SampleFormat::fromName(suffix);
}

Kind detectKind(const QString& path, const InputSettings& settings)
{
    if (settings.kind != Kind::Auto)
        return settings.kind;
    if (path.endsWith(QLatin1String(".sigmf-meta")) || path.endsWith(QLatin1String(".sigmf-data"))
        || path.endsWith(QLatin1String(".sigmf")))
        return Kind::SigMf;
    if (settings.datatype || formatFromExtension(path))
        return Kind::Raw;
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("raw") || suffix == QLatin1String("iq") || suffix == QLatin1String("bin"))
        return Kind::Raw;
    return Kind::SoundFile;
}

void checkSampleRate(const QString& subject, double rate)
{
    if (!(rate > 0) || !std::isfinite(rate))
        throw apps::Error(subject, QStringLiteral("sample rate must be a positive number, got %1").arg(rate));
}

void requireExistingFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        throw apps::Error(path, QStringLiteral("cannot open: No such file or directory"));
    if (info.isDir())
        throw apps::Error(path, QStringLiteral("is a directory, not a recording"));
}

OpenedInput openRaw(const QString& path, const InputSettings& settings)
{
    requireExistingFile(path);
    const std::optional<SampleFormat> format = settings.datatype ? settings.datatype : formatFromExtension(path);
    if (!format)
        throw apps::Error(path, QStringLiteral("raw input needs --datatype (%1)").arg(SampleFormat::rawNamesHelp()));
    if (!settings.sampleRate)
        throw apps::Error(path, QStringLiteral("raw input needs --sample-rate"));
    checkSampleRate(QStringLiteral("--sample-rate"), *settings.sampleRate);

    SignalInfo info;
    info.sampleRate = *settings.sampleRate;
    info.centerFrequency = settings.centerFrequency.value_or(0.0);
    info.startTime = settings.startTime.value_or(0.0);
    OpenedInput input;
    input.source = std::make_unique<RawSignalSource>(path, *format, info);
    input.baseName = QFileInfo(path).completeBaseName();
    return input;
}

// A recording whose metadata is read (from `metaName`, as messages name it): the
// samples are in `dataPath`, within `region`.
OpenedInput openSigMfSamples(const SigMfMetadata& meta, const QString& metaName, const QString& dataPath,
                             const FileRegion& region, const InputSettings& settings)
{
    SignalInfo info;
    info.sampleRate = meta.sampleRate;
    info.centerFrequency = settings.centerFrequency ? *settings.centerFrequency : meta.frequency.value_or(0.0);
    info.startTime = settings.startTime ? *settings.startTime : meta.startTime.value_or(0.0);
    if (settings.sampleRate) {
        checkSampleRate(QStringLiteral("--sample-rate"), *settings.sampleRate);
        info.sampleRate = *settings.sampleRate;
    }
    OpenedInput input;
    input.source = std::make_unique<RawSignalSource>(dataPath, meta.format, info, region);
    input.fromSigMf = true;
    input.annotations = meta.annotations;
    if (meta.captureCount > 1) {
        input.warnings.append(QStringLiteral("%1: holds %2 captures; the first one's frequency and start time "
                                             "apply to the whole recording")
                                  .arg(metaName)
                                  .arg(meta.captureCount));
    }
    const QString name = QFileInfo(metaName).fileName();
    input.baseName = name.left(name.size() - int(qstrlen(".sigmf-meta")));
    return input;
}

OpenedInput openSigMfArchive(const QString& path, const InputSettings& settings)
{
    requireExistingFile(path);
    const SigMfArchive archive = SigMfArchive::read(path);
    const QString metaName = path + QStringLiteral(": ") + archive.metaName;
    return openSigMfSamples(SigMfMetadata::parse(archive.meta, metaName), metaName, path, archive.data, settings);
}

OpenedInput openSigMf(const QString& path, const InputSettings& settings)
{
    if (path.endsWith(QLatin1String(".sigmf")))
        return openSigMfArchive(path, settings);
    QString metaPath = path;
    QString dataPath = SigMfMetadata::dataPathFor(path);
    if (dataPath.isEmpty()) {
        metaPath = SigMfMetadata::metaPathFor(path);
        dataPath = path;
    }
    if (metaPath.isEmpty())
        throw apps::Error(
            path,
            QStringLiteral(
                "a SigMF recording is named *.sigmf-meta with its *.sigmf-data beside it, or is a *.sigmf archive"));

    requireExistingFile(metaPath);
    QFile metaFile(metaPath);
    if (!metaFile.open(QIODevice::ReadOnly))
        throw apps::Error(metaPath, QStringLiteral("cannot open: %1").arg(metaFile.errorString()));
    const SigMfMetadata meta = SigMfMetadata::parse(metaFile.readAll(), metaPath);

    if (!QFileInfo::exists(dataPath))
        throw apps::Error(dataPath,
                          QStringLiteral("the data file of %1 is missing").arg(QFileInfo(metaPath).fileName()));
    requireExistingFile(dataPath);
    return openSigMfSamples(meta, metaPath, dataPath, {}, settings);
}

OpenedInput openSoundFile(const QString& path, const InputSettings& settings)
{
    requireExistingFile(path);
    if (settings.centerFrequency)
        throw apps::Error(QStringLiteral("--center-frequency"),
                          QStringLiteral(
                              "applies to complex I/Q input only; %1 holds real samples (0 Hz to half the sample rate)")
                              .arg(path));
    if (settings.sampleRate)
        throw apps::Error(QStringLiteral("--sample-rate"),
                          QStringLiteral("applies to raw and SigMF input; %1 states its own sample rate").arg(path));
    OpenedInput input;
    input.source = std::make_unique<SoundFileSource>(path, settings.channel, settings.startTime.value_or(0.0));
    input.baseName = QFileInfo(path).completeBaseName();
    return input;
}

} // namespace

OpenedInput openInput(const QString& path, const InputSettings& settings)
{
    switch (detectKind(path, settings)) {
    case Kind::SigMf:
        return openSigMf(path, settings);
    case Kind::Raw:
        return openRaw(path, settings);
    case Kind::SoundFile:
    case Kind::Auto:
        break;
    }
    return openSoundFile(path, settings);
}

} // namespace mivo::tilegen
