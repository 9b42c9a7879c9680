// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceFileWriter.h>

#include <mivo/sdm/SdmWorkspaceFileReader.h>

#include "WorkspaceFileFormat_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cmath>

namespace mivo::sdm {

namespace {

using namespace workspacefile;

// Null when written; otherwise why not.
QString itemObject(const SdmWorkspaceItem& item, const SdmWorkspaceItemDetails& details, const QString& place,
                   QJsonObject* object)
{
    const QString problem = itemProblem(item, place);
    if (!problem.isNull())
        return problem;
    if (!std::isfinite(item.userValue))
        return place + QStringLiteral(".userValue is not finite");
    for (auto field = details.extraFields.constBegin(); field != details.extraFields.constEnd(); ++field) {
        if (!isItemKey(field.key()))
            object->insert(field.key(), field.value());
    }
    object->insert(idKey, item.id);
    object->insert(labelKey, details.label);
    object->insert(xKey, item.rect.x());
    object->insert(yKey, item.rect.y());
    object->insert(widthKey, item.rect.width());
    object->insert(heightKey, item.rect.height());
    if (item.marked)
        object->insert(markedKey, true);
    if (item.flagged)
        object->insert(flaggedKey, true);
    if (item.userValue != 0.0f)
        object->insert(userValueKey, double(item.userValue));
    return QString();
}

} // namespace

QByteArray SdmWorkspaceFileWriter::toJson(const SdmWorkspaceDocument& document)
{
    m_errorString = QString();
    const auto fail = [this](const QString& message) {
        m_errorString = message;
        return QByteArray();
    };
    if (document.items.size() > SdmWorkspaceFileReader::maximumItemCount) {
        return fail(QStringLiteral("%1 items, more than the %2 that are read")
                        .arg(document.items.size())
                        .arg(SdmWorkspaceFileReader::maximumItemCount));
    }
    QJsonArray items;
    UniqueIds ids(document.items.size());
    for (int i = 0; i < document.items.size(); ++i) {
        const SdmWorkspaceItem& item = document.items.at(i);
        const QString place = itemPlace(i);
        QJsonObject object;
        QString problem = itemObject(item, document.itemDetails.value(item.id), place, &object);
        if (problem.isNull())
            problem = ids.add(item.id, i);
        if (!problem.isNull())
            return fail(problem);
        items.append(object);
    }
    QJsonObject root = document.extraFields;
    root.insert(idKey, document.id);
    root.insert(itemsKey, items);
    QByteArray json = QJsonDocument(root).toJson(QJsonDocument::Indented);
    if (json.size() > SdmWorkspaceFileReader::maximumFileSize) {
        return fail(QStringLiteral("%1 bytes, more than the %2 that are read")
                        .arg(json.size())
                        .arg(SdmWorkspaceFileReader::maximumFileSize));
    }
    return json;
}

bool SdmWorkspaceFileWriter::write(const QString& fileName, const SdmWorkspaceDocument& document)
{
    const QByteArray json = toJson(document);
    if (!m_errorString.isNull()) {
        m_errorString = fileName + QStringLiteral(": ") + m_errorString;
        return false;
    }
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly)) {
        m_errorString = fileName + QStringLiteral(": cannot be opened: ") + file.errorString();
        return false;
    }
    if (file.write(json) != json.size() || !file.commit()) {
        m_errorString = fileName + QStringLiteral(": cannot be written: ") + file.errorString();
        return false;
    }
    return true;
}

} // namespace mivo::sdm
