// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SigMfMetadata.h"

#include "Documents.h"
#include <common/Error.h>
#include <common/TimeValue.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace mivo::tilegen {

namespace {

const QLatin1String metaSuffix(".sigmf-meta");
const QLatin1String dataSuffix(".sigmf-data");

class FieldReader
{
public:
    FieldReader(const QString& fileName, QString where)
        : m_fileName(fileName)
        , m_where(std::move(where))
    {
    }

    [[noreturn]] void fail(const QString& key, const QString& problem) const
    {
        throw apps::Error(m_fileName, QStringLiteral("%1%2 %3").arg(m_where, key, problem));
    }

    std::optional<double> number(const QJsonObject& object, const QString& key) const
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        if (!value.isDouble() || !std::isfinite(value.toDouble()))
            fail(key, QStringLiteral("must be a number"));
        return value.toDouble();
    }

    std::optional<qint64> count(const QJsonObject& object, const QString& key) const
    {
        const std::optional<double> value = number(object, key);
        if (!value)
            return std::nullopt;
        if (*value < 0 || *value != std::floor(*value) || *value > 9.0e15)
            fail(key, QStringLiteral("must be a non-negative integer"));
        return qint64(*value);
    }

    std::optional<QString> string(const QJsonObject& object, const QString& key) const
    {
        const QJsonValue value = object.value(key);
        if (value.isUndefined() || value.isNull())
            return std::nullopt;
        if (!value.isString())
            fail(key, QStringLiteral("must be a string"));
        return value.toString();
    }

private:
    const QString& m_fileName;
    QString m_where;
};

QJsonObject objectAt(const QJsonObject& parent, const QString& key, const QString& fileName, bool required)
{
    const QJsonValue value = parent.value(key);
    if (value.isUndefined() && !required)
        return {};
    if (!value.isObject())
        throw apps::Error(fileName, QStringLiteral("\"%1\" must be a JSON object").arg(key));
    return value.toObject();
}

QJsonArray arrayAt(const QJsonObject& parent, const QString& key, const QString& fileName)
{
    const QJsonValue value = parent.value(key);
    if (value.isUndefined())
        return {};
    if (!value.isArray())
        throw apps::Error(fileName, QStringLiteral("\"%1\" must be a JSON array").arg(key));
    return value.toArray();
}

} // namespace

SigMfMetadata SigMfMetadata::parse(const QByteArray& json, const QString& fileName)
{
    const QJsonDocument document = parseJsonFile(json, fileName);
    if (!document.isObject())
        throw apps::Error(fileName, QStringLiteral("a SigMF metadata file must hold a JSON object"));
    const QJsonObject root = document.object();

    SigMfMetadata meta;
    const QJsonObject global = objectAt(root, QStringLiteral("global"), fileName, true);
    const FieldReader globalFields(fileName, QStringLiteral("global "));

    const std::optional<QString> datatype = globalFields.string(global, QStringLiteral("core:datatype"));
    if (!datatype)
        globalFields.fail(QStringLiteral("core:datatype"), QStringLiteral("is missing"));
    const std::optional<SampleFormat> format = SampleFormat::fromName(*datatype);
    if (!format || datatype->startsWith(QLatin1String("cs")))
        globalFields.fail(QStringLiteral("core:datatype"),
                          QStringLiteral("\"%1\" is not a supported SigMF datatype").arg(*datatype));
    meta.format = *format;

    const std::optional<double> rate = globalFields.number(global, QStringLiteral("core:sample_rate"));
    if (!rate)
        globalFields.fail(QStringLiteral("core:sample_rate"), QStringLiteral("is missing"));
    if (*rate <= 0)
        globalFields.fail(QStringLiteral("core:sample_rate"),
                          QStringLiteral("must be positive, the file says %1").arg(*rate));
    meta.sampleRate = *rate;

    const QJsonArray captures = arrayAt(root, QStringLiteral("captures"), fileName);
    meta.captureCount = captures.size();
    if (!captures.isEmpty()) {
        if (!captures.first().isObject())
            throw apps::Error(fileName, QStringLiteral("captures[0] must be a JSON object"));
        const QJsonObject capture = captures.first().toObject();
        const FieldReader captureFields(fileName, QStringLiteral("captures[0] "));
        meta.frequency = captureFields.number(capture, QStringLiteral("core:frequency"));
        if (const std::optional<QString> datetime = captureFields.string(capture, QStringLiteral("core:datetime"))) {
            meta.startTime = apps::parseTimeValue(*datetime);
            if (!meta.startTime)
                captureFields.fail(QStringLiteral("core:datetime"),
                                   QStringLiteral("\"%1\" is not an ISO 8601 date and time").arg(*datetime));
        }
    }

    const QJsonArray annotations = arrayAt(root, QStringLiteral("annotations"), fileName);
    for (int i = 0; i < annotations.size(); ++i) {
        if (!annotations.at(i).isObject())
            throw apps::Error(fileName, QStringLiteral("annotations[%1] must be a JSON object").arg(i));
        const QJsonObject object = annotations.at(i).toObject();
        const FieldReader fields(fileName, QStringLiteral("annotations[%1] ").arg(i));
        SigMfAnnotation annotation;
        const std::optional<qint64> start = fields.count(object, QStringLiteral("core:sample_start"));
        if (!start)
            fields.fail(QStringLiteral("core:sample_start"), QStringLiteral("is missing"));
        annotation.sampleStart = *start;
        annotation.sampleCount = fields.count(object, QStringLiteral("core:sample_count"));
        annotation.freqLowerEdge = fields.number(object, QStringLiteral("core:freq_lower_edge"));
        annotation.freqUpperEdge = fields.number(object, QStringLiteral("core:freq_upper_edge"));
        if (annotation.freqLowerEdge && annotation.freqUpperEdge
            && *annotation.freqUpperEdge < *annotation.freqLowerEdge) {
            fields.fail(QStringLiteral("core:freq_upper_edge"), QStringLiteral("is below core:freq_lower_edge"));
        }
        annotation.label = fields.string(object, QStringLiteral("core:label")).value_or(QString());
        annotation.uuid = fields.string(object, QStringLiteral("core:uuid")).value_or(QString());
        meta.annotations.append(annotation);
    }
    return meta;
}

QString SigMfMetadata::dataPathFor(const QString& metaPath)
{
    if (!metaPath.endsWith(metaSuffix))
        return {};
    return metaPath.left(metaPath.size() - metaSuffix.size()) + dataSuffix;
}

QString SigMfMetadata::metaPathFor(const QString& dataPath)
{
    if (!dataPath.endsWith(dataSuffix))
        return {};
    return dataPath.left(dataPath.size() - dataSuffix.size()) + metaSuffix;
}

} // namespace mivo::tilegen
