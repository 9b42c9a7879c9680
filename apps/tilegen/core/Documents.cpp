// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Documents.h"

#include <common/Error.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace mivo::tilegen {

namespace {

QJsonObject axisObject(const AxisDescription& axis)
{
    QJsonObject object;
    object.insert(QStringLiteral("basevalue"), axis.baseValue);
    object.insert(QStringLiteral("tilesize"), axis.tileSize);
    object.insert(QStringLiteral("minzoomlevel"), axis.minZoomLevel);
    object.insert(QStringLiteral("maxzoomlevel"), axis.maxZoomLevel);
    return object;
}

QJsonObject range(double min, double max)
{
    QJsonObject object;
    object.insert(QStringLiteral("min"), min);
    object.insert(QStringLiteral("max"), max);
    return object;
}

QByteArray toJson(const QJsonDocument& document)
{
    return document.toJson(QJsonDocument::Indented);
}

} // namespace

QByteArray tileDescriptorJson(const QString& name, const AxisDescription& x, const AxisDescription& y,
                              quint32 updateIntervalMs)
{
    QJsonObject root;
    if (updateIntervalMs > 0)
        root.insert(QStringLiteral("updateInterval"), double(updateIntervalMs));
    root.insert(QStringLiteral("name"), name);
    root.insert(QStringLiteral("xaxis"), axisObject(x));
    root.insert(QStringLiteral("yaxis"), axisObject(y));
    return toJson(QJsonDocument(root));
}

QByteArray tileExtentsJson(double xMin, double xMax, double yMin, double yMax)
{
    QJsonObject root;
    root.insert(QStringLiteral("x"), range(xMin, xMax));
    root.insert(QStringLiteral("y"), range(yMin, yMax));
    return toJson(QJsonDocument(root));
}

QByteArray workspaceJson(const QString& sourceId, const QVector<WorkspaceItem>& items)
{
    QJsonArray array;
    for (const WorkspaceItem& item : items) {
        QJsonObject object;
        object.insert(QStringLiteral("id"), item.id);
        object.insert(QStringLiteral("label"), item.label);
        object.insert(QStringLiteral("x"), item.x);
        object.insert(QStringLiteral("y"), item.y);
        object.insert(QStringLiteral("width"), item.width);
        object.insert(QStringLiteral("height"), item.height);
        array.append(object);
    }
    QJsonObject root;
    root.insert(QStringLiteral("id"), sourceId);
    root.insert(QStringLiteral("items"), array);
    return toJson(QJsonDocument(root));
}

QJsonDocument parseJsonFile(const QByteArray& json, const QString& fileName)
{
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        throw apps::Error(
            fileName,
            QStringLiteral("malformed JSON at byte %1: %2").arg(parseError.offset).arg(parseError.errorString()));
    }
    return document;
}

QStringList parseSourceList(const QByteArray& json, const QString& fileName)
{
    const QJsonDocument document = parseJsonFile(json, fileName);
    if (!document.isArray())
        throw apps::Error(fileName, QStringLiteral("must hold a JSON array of source ids"));
    QStringList ids;
    for (const QJsonValue& value : document.array()) {
        if (!value.isString())
            throw apps::Error(fileName, QStringLiteral("must hold a JSON array of source id strings"));
        ids.append(value.toString());
    }
    return ids;
}

QByteArray sourceListJson(const QStringList& ids)
{
    return toJson(QJsonDocument(QJsonArray::fromStringList(ids)));
}

} // namespace mivo::tilegen
