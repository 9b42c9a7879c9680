// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "OptionValues.h"

#include "Error.h"
#include "Quantity.h"

#include <QCommandLineParser>

#include <optional>

namespace mivo::apps {

double quantityOption(const QCommandLineParser& parser, const QString& name)
{
    const QString text = parser.value(name);
    const std::optional<double> value = parseQuantity(text);
    if (!value)
        throw UsageError(QStringLiteral("--") + name, QStringLiteral("\"%1\" is not a number").arg(text));
    return *value;
}

int integerOption(const QCommandLineParser& parser, const QString& name)
{
    const QString text = parser.value(name);
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok)
        throw UsageError(QStringLiteral("--") + name, QStringLiteral("\"%1\" is not a whole number").arg(text));
    return value;
}

} // namespace mivo::apps
