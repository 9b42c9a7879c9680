// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SigMfWriter.h"

#include "SampleEncoding.h"

#include <common/Error.h>
#include <common/TimeValue.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <vector>

namespace mivo::synth {

using mivo::apps::Error;

QByteArray sigMfMetadata(const RadioScene& scene, const RecordingSettings& settings)
{
    QJsonObject global;
    global.insert(QStringLiteral("core:datatype"), QStringLiteral("cf32_le"));
    global.insert(QStringLiteral("core:sample_rate"), scene.timing().sampleRate);
    global.insert(QStringLiteral("core:version"), QStringLiteral("1.0.0"));
    global.insert(QStringLiteral("core:recorder"), QStringLiteral("mivo-synth"));
    global.insert(QStringLiteral("core:description"),
                  QStringLiteral("Synthetic radio scene, seed %1").arg(settings.seed));

    QJsonObject capture;
    capture.insert(QStringLiteral("core:sample_start"), 0);
    capture.insert(QStringLiteral("core:frequency"), settings.centerFrequency);
    capture.insert(QStringLiteral("core:datetime"), mivo::apps::formatIsoTime(settings.startTime));

    QJsonArray annotations;
    for (const Emission& emission : scene.emissions()) {
        QJsonObject annotation;
        annotation.insert(QStringLiteral("core:sample_start"), double(emission.sampleStart));
        annotation.insert(QStringLiteral("core:sample_count"), double(emission.sampleCount));
        annotation.insert(QStringLiteral("core:freq_lower_edge"), settings.centerFrequency + emission.lowOffset);
        annotation.insert(QStringLiteral("core:freq_upper_edge"), settings.centerFrequency + emission.highOffset);
        annotation.insert(QStringLiteral("core:label"), emission.label);
        annotations.append(annotation);
    }

    QJsonObject root;
    root.insert(QStringLiteral("global"), global);
    root.insert(QStringLiteral("captures"), QJsonArray{capture});
    root.insert(QStringLiteral("annotations"), annotations);
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

namespace {

void openOrThrow(QSaveFile& file)
{
    if (!file.open(QIODevice::WriteOnly))
        throw Error(file.fileName(), QStringLiteral("cannot write: %1").arg(file.errorString()));
}

void commitOrThrow(QSaveFile& file)
{
    if (!file.commit())
        throw Error(file.fileName(), QStringLiteral("cannot write: %1").arg(file.errorString()));
}

} // namespace

void writeRecording(RadioScene& scene, const RecordingSettings& settings, const QString& basePath)
{
    QSaveFile data(basePath + QStringLiteral(".sigmf-data"));
    openOrThrow(data);
    constexpr int block = 65536;
    std::vector<std::complex<float>> samples(block);
    std::vector<char> bytes(size_t(block) * 8);
    const qint64 total = scene.timing().sampleCount;
    for (qint64 first = 0; first < total; first += block) {
        const int count = int(std::min<qint64>(block, total - first));
        scene.render(first, count, samples.data());
        encodeCf32Le(samples.data(), count, bytes.data());
        if (data.write(bytes.data(), qint64(count) * 8) != qint64(count) * 8)
            throw Error(data.fileName(), QStringLiteral("cannot write: %1").arg(data.errorString()));
    }

    QSaveFile meta(basePath + QStringLiteral(".sigmf-meta"));
    openOrThrow(meta);
    const QByteArray json = sigMfMetadata(scene, settings);
    if (meta.write(json) != json.size())
        throw Error(meta.fileName(), QStringLiteral("cannot write: %1").arg(meta.errorString()));
    // The data file first: a metadata file never points at a missing data file.
    commitOrThrow(data);
    commitOrThrow(meta);
}

} // namespace mivo::synth
