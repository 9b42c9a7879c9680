// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/DefaultFormatters.h>

#include "NumericConversions_p.h"

#include <QCoreApplication>
#include <QDateTime>

namespace mivo {

QString defaultFrequencyFormatter(double hertz)
{
    //: A frequency in kilohertz; the source text writes "KHz" on purpose.
    return QCoreApplication::translate("mivo::DefaultFormatters", "%1 KHz").arg(hertz / 1000.0, 0, 'f', 3);
}

QString defaultTimeFormatter(double secondsSinceEpoch)
{
    const qint64 milliseconds = numeric::truncateToInt64(secondsSinceEpoch * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC)
        .toLocalTime()
        //: A QDateTime::toString() pattern for a time of day with its date.
        .toString(QCoreApplication::translate("mivo::DefaultFormatters", "dd MMM yy HH:mm:ss.zzz"));
}

QString defaultLevelFormatter(double level)
{
    //: A level in decibel microvolt.
    return QCoreApplication::translate("mivo::DefaultFormatters", "%1 dBµV").arg(level, 0, 'f', 1);
}

} // namespace mivo
