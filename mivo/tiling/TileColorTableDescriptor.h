// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QColor>
#include <QMetaType>

namespace mivo::tiling {

/**
 * The user's choice of waterfall colours: three colours over a level range (dBµV).
 * Levels below rangeLower show lowColor, above rangeUpper highColor. Nothing checks
 * that rangeLower is below rangeUpper.
 */
struct TileColorTableDescriptor
{
    QColor lowColor = QColor(QStringLiteral("#001829"));
    QColor midColor = QColor(QStringLiteral("#0A99FF"));
    QColor highColor = QColor(QStringLiteral("#D6EEFF"));
    double rangeLower = -127.0;
    double rangeUpper = 127.0;
};

inline bool operator==(const TileColorTableDescriptor& a, const TileColorTableDescriptor& b)
{
    return a.lowColor == b.lowColor && a.midColor == b.midColor && a.highColor == b.highColor
        && a.rangeLower == b.rangeLower && a.rangeUpper == b.rangeUpper;
}

inline bool operator!=(const TileColorTableDescriptor& a, const TileColorTableDescriptor& b)
{
    return !(a == b);
}

} // namespace mivo::tiling

Q_DECLARE_METATYPE(mivo::tiling::TileColorTableDescriptor)
