// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "AnnotationExport.h"

#include <QSet>

#include <algorithm>

namespace mivo::tilegen {

QVector<WorkspaceItem> workspaceItemsFromAnnotations(const QVector<SigMfAnnotation>& annotations,
                                                     const SignalInfo& signal, const QString& sourceId,
                                                     QStringList* warnings)
{
    const double bandLow = signal.complex ? signal.centerFrequency - signal.sampleRate / 2 : 0.0;
    const double bandHigh = signal.complex ? signal.centerFrequency + signal.sampleRate / 2 : signal.sampleRate / 2;

    QSet<QString> seenUuids;
    QSet<QString> duplicateUuids;
    for (const SigMfAnnotation& annotation : annotations) {
        if (annotation.uuid.isEmpty())
            continue;
        if (seenUuids.contains(annotation.uuid))
            duplicateUuids.insert(annotation.uuid);
        seenUuids.insert(annotation.uuid);
    }

    QVector<WorkspaceItem> items;
    for (int i = 0; i < annotations.size(); ++i) {
        const SigMfAnnotation& annotation = annotations.at(i);
        double low = annotation.freqLowerEdge.value_or(bandLow);
        const double high = annotation.freqUpperEdge.value_or(bandHigh);
        const QString name = annotation.label.isEmpty() ? QStringLiteral("#%1").arg(i + 1) : annotation.label;
        if (high < 0) {
            if (warnings)
                warnings->append(QStringLiteral("annotation %1 lies below 0 Hz and is left out").arg(name));
            continue;
        }
        if (low < 0) {
            if (warnings)
                warnings->append(QStringLiteral("annotation %1 is cut at 0 Hz").arg(name));
            low = 0;
        }
        const qint64 count
            = annotation.sampleCount.value_or(std::max<qint64>(0, signal.sampleCount - annotation.sampleStart));

        WorkspaceItem item;
        const bool uniqueUuid = !annotation.uuid.isEmpty() && !duplicateUuids.contains(annotation.uuid);
        item.id = uniqueUuid ? annotation.uuid : QStringLiteral("%1-%2").arg(sourceId).arg(i + 1);
        item.label = annotation.label;
        item.x = low;
        item.width = high - low;
        item.y = signal.startTime + double(annotation.sampleStart) / signal.sampleRate;
        item.height = double(count) / signal.sampleRate;
        items.append(item);
    }
    return items;
}

} // namespace mivo::tilegen
