// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <stdexcept>

namespace mivo::apps {

// Thrown by the tools for every problem with the input, the options or the output. The
// text is complete and meant for the user as it is: "<file or option>: <problem>".
class Error : public std::runtime_error
{
public:
    explicit Error(const QString& message)
        : std::runtime_error(message.toStdString())
        , m_message(message)
    {
    }

    Error(const QString& subject, const QString& problem)
        : Error(subject + QStringLiteral(": ") + problem)
    {
    }

    const QString& message() const { return m_message; }

private:
    QString m_message;
};

// A mistake on the command line (the tools exit with 2), as opposed to a problem with
// the input or output files (exit code 1).
class UsageError : public Error
{
public:
    using Error::Error;
};

} // namespace mivo::apps
