// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TimeValue.h"

#include <QDateTime>
#include <QRegularExpression>

#include <cmath>

namespace mivo::apps {

std::optional<double> parseTimeValue(const QString& text)
{
    const QString trimmed = text.trimmed();
    bool isNumber = false;
    const double seconds = trimmed.toDouble(&isNumber);
    if (isNumber)
        return std::isfinite(seconds) ? std::optional<double>(seconds) : std::nullopt;

    // QDateTime parses milliseconds at most; the fraction is split off and added back
    // so that SigMF's microsecond (or finer) timestamps survive.
    static const QRegularExpression pattern(
        QStringLiteral(
            "^(\\d{4}-\\d{2}-\\d{2})[T ](\\d{2}:\\d{2}(?::\\d{2})?)(?:[.,](\\d+))?(Z|[+-]\\d{2}(?::?\\d{2})?)?$"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(trimmed);
    if (!match.hasMatch())
        return std::nullopt;

    QString time = match.captured(2);
    if (time.size() == 5)
        time += QStringLiteral(":00");
    const QDateTime local = QDateTime::fromString(match.captured(1) + QLatin1Char('T') + time, Qt::ISODate);
    if (!local.isValid())
        return std::nullopt;

    int offsetSeconds = 0;
    const QString zone = match.captured(4);
    if (!zone.isEmpty() && zone.compare(QLatin1String("Z"), Qt::CaseInsensitive) != 0) {
        QString digits = zone.mid(1);
        digits.remove(QLatin1Char(':'));
        const int hours = digits.left(2).toInt();
        const int minutes = digits.size() > 2 ? digits.mid(2, 2).toInt() : 0;
        if (hours > 23 || minutes > 59)
            return std::nullopt;
        offsetSeconds = (hours * 3600 + minutes * 60) * (zone.startsWith(QLatin1Char('-')) ? -1 : 1);
    }

    const QDateTime utc(local.date(), local.time(), Qt::UTC);
    double result = double(utc.toSecsSinceEpoch()) - offsetSeconds;
    const QString fraction = match.captured(3);
    if (!fraction.isEmpty())
        result += QString(QStringLiteral("0.") + fraction).toDouble();
    return result;
}

QString formatIsoTime(double secondsSinceEpoch)
{
    const double whole = std::floor(secondsSinceEpoch);
    auto micros = qint64(std::llround((secondsSinceEpoch - whole) * 1e6));
    auto wholeSeconds = qint64(whole);
    if (micros >= 1000000) {
        micros -= 1000000;
        wholeSeconds += 1;
    }
    const QDateTime dateTime = QDateTime::fromSecsSinceEpoch(wholeSeconds, Qt::UTC);
    return dateTime.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('.')
        + QStringLiteral("%1").arg(micros, 6, 10, QLatin1Char('0')) + QLatin1Char('Z');
}

} // namespace mivo::apps
