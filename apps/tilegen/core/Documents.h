// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QString>
#include <QStringList>
#include <QVector>

namespace mivo::tilegen {

// The JSON documents a tile source is served with. All are written with sorted keys
// and shortest round-trip numbers, so equal input gives equal bytes.

struct AxisDescription
{
    double baseValue = 1.0; // value units per pixel at zoom level 0
    int tileSize = 256;
    int minZoomLevel = 0;
    int maxZoomLevel = 0;
};

// tiledescriptor.json: {"name", "xaxis": {...}, "yaxis": {...}}, and for a live
// source "updateInterval": the milliseconds between its publications, at which hosts
// re-read the extents (left out when 0).
QByteArray tileDescriptorJson(const QString& name, const AxisDescription& x, const AxisDescription& y,
                              quint32 updateIntervalMs = 0);

// tileextents.json: {"x": {"min", "max"}, "y": {"min", "max"}}.
QByteArray tileExtentsJson(double xMin, double xMax, double yMin, double yMax);

// A rectangle in value space (Hz, seconds since 1970) for workspace.json.
struct WorkspaceItem
{
    QString id;
    QString label;
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;
};

// workspace.json: {"id": sourceId, "items": [{"id", "label", "x", "y", "width", "height"}]}.
QByteArray workspaceJson(const QString& sourceId, const QVector<WorkspaceItem>& items);

// tilesources.json is a JSON array of source id strings. Throws apps::Error naming
// `fileName` if `json` is anything else.
// Parses JSON, or throws apps::Error naming `fileName`, the byte offset and the problem.
QJsonDocument parseJsonFile(const QByteArray& json, const QString& fileName);

QStringList parseSourceList(const QByteArray& json, const QString& fileName);
QByteArray sourceListJson(const QStringList& ids);

} // namespace mivo::tilegen
