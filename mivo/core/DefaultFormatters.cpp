#include <mivo/core/DefaultFormatters.h>

#include "NumericConversions_p.h"

#include <QDateTime>

namespace mivo {

QString defaultFrequencyFormatter(double hertz)
{
    return QStringLiteral("%1 KHz").arg(hertz / 1000.0, 0, 'f', 3);
}

QString defaultTimeFormatter(double secondsSinceEpoch)
{
    const qint64 milliseconds = numeric::truncateToInt64(secondsSinceEpoch * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC)
        .toLocalTime()
        .toString(QStringLiteral("dd MMM yy HH:mm:ss.zzz"));
}

QString defaultLevelFormatter(double level)
{
    return QStringLiteral("%1 dB\u00b5V").arg(level, 0, 'f', 1);
}

} // namespace mivo
