// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Records the signals of several objects in one sequence, so a test can assert the
// order in which they were emitted across objects.

#include <QObject>
#include <QString>
#include <QStringList>

#include <utility>

class SignalLog : public QObject
{
public:
    /// Appends "<name>" for every emission of a signal without arguments.
    template <typename Sender, typename Signal> void watch(const Sender* sender, Signal signal, const QString& name)
    {
        connect(sender, signal, this, [this, name] { m_entries.append(name); });
    }

    /// Appends "<name>(<value>)" for every emission of a signal with one double.
    template <typename Sender>
    void watchValue(const Sender* sender, void (Sender::*signal)(double), const QString& name)
    {
        connect(sender, signal, this, [this, name](double value) {
            m_entries.append(QStringLiteral("%1(%2)").arg(name).arg(value, 0, 'g', 17));
        });
    }

    void append(const QString& entry) { m_entries.append(entry); }
    const QStringList& entries() const { return m_entries; }
    void clear() { m_entries.clear(); }

private:
    QStringList m_entries;
};
