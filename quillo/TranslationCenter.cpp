// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <quillo/TranslationCenter.h>

TranslationCenter& TranslationCenter::Instance()
{
    static TranslationCenter instance;
    return instance;
}

void TranslationCenter::Register(const QString& context)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_referenceCounts.find(context);
    if (it != m_referenceCounts.end()) {
        ++it.value();
        return;
    }
    // Keep a deep copy: the caller's string may be a literal in a library that is
    // unloaded while the registry, and copies handed out of it, live on.
    m_referenceCounts.insert(QString(context.constData(), context.size()), 1);
}

void TranslationCenter::Unregister(const QString& context)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_referenceCounts.find(context);
    if (it == m_referenceCounts.end())
        return;
    if (--it.value() == 0)
        m_referenceCounts.erase(it);
}

QStringList TranslationCenter::registeredContexts() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_referenceCounts.keys();
}
