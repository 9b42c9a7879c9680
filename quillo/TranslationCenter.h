// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <quillo/quillo_export.h>

#include <QMap>
#include <QString>
#include <QStringList>

#include <mutex>

/**
 * The host application's process-wide registry of translation contexts.
 *
 * Libraries loaded into the host register the contexts their texts are translated
 * in when they are loaded, and unregister them when they are unloaded. Registration
 * is reference-counted: a context registered twice stays registered until it has
 * been unregistered twice. All operations are thread-safe.
 *
 * The registry owns copies of the names it holds, so a library may register a name
 * that lives in its own read-only data and be unloaded later.
 */
class QUILLO_EXPORT TranslationCenter
{
public:
    /// The one instance of the process; created on first use.
    static TranslationCenter& Instance();

    /// Adds one reference to @p context; the first reference makes it registered.
    void Register(const QString& context);

    /// Drops one reference to @p context; unregistering an unknown context does nothing.
    void Unregister(const QString& context);

    /// The contexts that are registered now, sorted, each named once.
    QStringList registeredContexts() const;

    TranslationCenter(const TranslationCenter&) = delete;
    TranslationCenter& operator=(const TranslationCenter&) = delete;

private:
    TranslationCenter() = default;
    ~TranslationCenter() = default;

    // std::mutex rather than QMutex: it is built on pthreads, whose synchronisation
    // ThreadSanitizer sees, so the registry can be checked under it.
    mutable std::mutex m_mutex;
    QMap<QString, int> m_referenceCounts;
};
