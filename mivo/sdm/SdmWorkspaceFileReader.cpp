// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceFileReader.h>

#include "../core/Logging_p.h"

#include "WorkspaceFileFormat_p.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cfloat>
#include <cmath>

namespace mivo::sdm {

namespace {

using namespace workspacefile;

// Each reader of a field returns a null string when the field is fine, else the message,
// which names the field as @p prefix + key ("items[3]." + "x", or "" + "id" at the top).

QString readString(const QJsonObject& object, QLatin1String key, const QString& prefix, bool required, QString* value)
{
    const QJsonValue field = object.value(key);
    if (field.isUndefined())
        return required ? prefix + key + QStringLiteral(" is missing") : QString();
    if (!field.isString())
        return prefix + key + QStringLiteral(" is not a string");
    *value = field.toString();
    return QString();
}

QString readNumber(const QJsonObject& object, QLatin1String key, const QString& prefix, bool required, double* value)
{
    const QJsonValue field = object.value(key);
    if (field.isUndefined())
        return required ? prefix + key + QStringLiteral(" is missing") : QString();
    if (!field.isDouble())
        return prefix + key + QStringLiteral(" is not a number");
    *value = field.toDouble();
    return QString();
}

QString readBool(const QJsonObject& object, QLatin1String key, const QString& prefix, bool* value)
{
    const QJsonValue field = object.value(key);
    if (field.isUndefined())
        return QString();
    if (!field.isBool())
        return prefix + key + QStringLiteral(" is not true or false");
    *value = field.toBool();
    return QString();
}

QString readItem(const QJsonObject& object, const QString& place, SdmWorkspaceItem* item,
                 SdmWorkspaceItemDetails* details)
{
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;
    double userValue = 0.0;
    const QString prefix = place + QLatin1Char('.');
    QString problem = readString(object, idKey, prefix, true, &item->id);
    if (problem.isNull())
        problem = readNumber(object, xKey, prefix, true, &x);
    if (problem.isNull())
        problem = readNumber(object, yKey, prefix, true, &y);
    if (problem.isNull())
        problem = readNumber(object, widthKey, prefix, true, &width);
    if (problem.isNull())
        problem = readNumber(object, heightKey, prefix, true, &height);
    if (problem.isNull())
        problem = readString(object, labelKey, prefix, false, &details->label);
    if (problem.isNull())
        problem = readBool(object, markedKey, prefix, &item->marked);
    if (problem.isNull())
        problem = readBool(object, flaggedKey, prefix, &item->flagged);
    if (problem.isNull())
        problem = readNumber(object, userValueKey, prefix, false, &userValue);
    if (!problem.isNull())
        return problem;
    // Converting a double beyond the range of a float is undefined.
    if (!(std::fabs(userValue) <= double(FLT_MAX)))
        return place + QStringLiteral(".userValue is outside the range of a float (") + numberText(userValue)
            + QLatin1Char(')');
    item->userValue = float(userValue);
    item->rect = QRectF(x, y, width, height);
    problem = itemProblem(*item, place);
    if (!problem.isNull())
        return problem;
    for (auto field = object.constBegin(); field != object.constEnd(); ++field) {
        if (!isItemKey(field.key()))
            details->extraFields.insert(field.key(), field.value());
    }
    return QString();
}

} // namespace

bool SdmWorkspaceFileReader::read(const QString& fileName)
{
    m_document = SdmWorkspaceDocument();
    m_errorString = QString();
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return fail(fileName + QStringLiteral(": cannot be opened: ") + file.errorString());
    const QString tooLarge = fileName + QStringLiteral(": larger than %1 bytes").arg(maximumFileSize);
    if (file.size() > maximumFileSize)
        return fail(tooLarge);
    // Bounded even for files whose size is not known in advance (pipes, devices).
    const QByteArray bytes = file.read(maximumFileSize + 1);
    if (bytes.size() > maximumFileSize)
        return fail(tooLarge);
    if (file.error() != QFileDevice::NoError)
        return fail(fileName + QStringLiteral(": cannot be read: ") + file.errorString());
    if (!parse(bytes)) {
        // parse() has failed (and logged) already; only the file name is added.
        m_errorString = fileName + QStringLiteral(": ") + m_errorString;
        return false;
    }
    return true;
}

bool SdmWorkspaceFileReader::parse(const QByteArray& json)
{
    m_document = SdmWorkspaceDocument();
    m_errorString = QString();
    if (json.size() > maximumFileSize)
        return fail(QStringLiteral("larger than %1 bytes").arg(maximumFileSize));

    QJsonParseError parseError{};
    const QJsonDocument parsed = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return fail(QStringLiteral("not JSON: %1 at byte %2").arg(parseError.errorString()).arg(parseError.offset));
    if (!parsed.isObject())
        return fail(QStringLiteral("the document is not a JSON object"));
    const QJsonObject root = parsed.object();

    SdmWorkspaceDocument document;
    QString problem = readString(root, idKey, QString(), true, &document.id);
    if (!problem.isNull())
        return fail(problem);
    const QJsonValue itemsValue = root.value(itemsKey);
    if (itemsValue.isUndefined())
        return fail(QStringLiteral("items is missing"));
    if (!itemsValue.isArray())
        return fail(QStringLiteral("items is not an array"));
    const QJsonArray items = itemsValue.toArray();
    if (items.size() > maximumItemCount)
        return fail(QStringLiteral("%1 items, more than the %2 that are read").arg(items.size()).arg(maximumItemCount));

    document.items.reserve(items.size());
    document.itemDetails.reserve(items.size());
    UniqueIds ids(items.size());
    for (int i = 0; i < items.size(); ++i) {
        const QString place = itemPlace(i);
        const QJsonValue value = items.at(i);
        if (!value.isObject())
            return fail(place + QStringLiteral(" is not an object"));
        SdmWorkspaceItem item;
        SdmWorkspaceItemDetails details;
        problem = readItem(value.toObject(), place, &item, &details);
        if (problem.isNull())
            problem = ids.add(item.id, i);
        if (!problem.isNull())
            return fail(problem);
        document.itemDetails.insert(item.id, details);
        document.items.append(item);
    }
    for (auto field = root.constBegin(); field != root.constEnd(); ++field) {
        if (field.key() != idKey && field.key() != itemsKey)
            document.extraFields.insert(field.key(), field.value());
    }
    m_document = std::move(document);
    return true;
}

bool SdmWorkspaceFileReader::fail(const QString& message)
{
    m_document = SdmWorkspaceDocument();
    m_errorString = message;
    qCDebug(lcSdm).noquote() << "workspace document refused:" << message;
    return false;
}

} // namespace mivo::sdm
