// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "WorkspaceFileFormat_p.h"

#include <QLocale>

#include <cmath>
#include <utility>

namespace mivo::sdm::workspacefile {

bool isItemKey(const QString& key)
{
    return key == idKey || key == labelKey || key == xKey || key == yKey || key == widthKey || key == heightKey
        || key == markedKey || key == flaggedKey || key == userValueKey;
}

QString itemPlace(int index)
{
    return QStringLiteral("items[%1]").arg(index);
}

QString itemProblem(const SdmWorkspaceItem& item, const QString& place)
{
    if (item.id.isEmpty())
        return place + QStringLiteral(".id is empty");
    const QRectF& rect = item.rect;
    const std::pair<QLatin1String, double> values[]
        = {{xKey, rect.x()}, {yKey, rect.y()}, {widthKey, rect.width()}, {heightKey, rect.height()}};
    for (const auto& [key, value] : values) {
        if (!std::isfinite(value))
            return place + QLatin1Char('.') + key + QStringLiteral(" is not finite (") + numberText(value)
                + QLatin1Char(')');
    }
    if (rect.width() < 0)
        return place + QStringLiteral(".width is negative (") + numberText(rect.width()) + QLatin1Char(')');
    if (rect.height() < 0)
        return place + QStringLiteral(".height is negative (") + numberText(rect.height()) + QLatin1Char(')');
    if (!std::isfinite(rect.x() + rect.width()))
        return place + QStringLiteral(".x + width overflows");
    if (!std::isfinite(rect.y() + rect.height()))
        return place + QStringLiteral(".y + height overflows");
    return QString();
}

QString UniqueIds::add(const QString& id, int index)
{
    const auto first = m_firstIndex.constFind(id);
    if (first == m_firstIndex.cend()) {
        m_firstIndex.insert(id, index);
        return QString();
    }
    return itemPlace(index) + QStringLiteral(".id ") + quoted(id) + QStringLiteral(" repeats ") + itemPlace(*first)
        + QStringLiteral(".id");
}

QString numberText(double value)
{
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QString quoted(const QString& text)
{
    constexpr int longest = 60;
    if (text.size() <= longest)
        return QLatin1Char('"') + text + QLatin1Char('"');
    return QLatin1Char('"') + text.left(longest) + QStringLiteral("\u2026\"");
}

} // namespace mivo::sdm::workspacefile
