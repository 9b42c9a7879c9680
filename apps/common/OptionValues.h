// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

class QCommandLineParser;

namespace mivo::apps {

// The value of option --name as a number with an optional SI suffix (see
// parseQuantity). Throws UsageError "--name: "<text>" is not a number" otherwise.
double quantityOption(const QCommandLineParser& parser, const QString& name);

// The value of option --name as a whole number. Throws UsageError
// "--name: "<text>" is not a whole number" otherwise.
int integerOption(const QCommandLineParser& parser, const QString& name);

} // namespace mivo::apps
