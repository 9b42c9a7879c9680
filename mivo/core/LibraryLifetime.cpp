// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// What happens when the library is loaded into a process and unloaded from it.
//
// The host's translation registry learns the context of the library's texts at load
// and forgets it at unload. The context name is the one hosts already know and is
// kept as it is. Threads starting and ending in the process need nothing.

#include <quillo/TranslationCenter.h>

#include <QLatin1String>
#include <QString>

namespace {

QString translationContext()
{
    return QStringLiteral("MshCommandsXml");
}

struct LibraryLifetime
{
    LibraryLifetime() { TranslationCenter::Instance().Register(translationContext()); }
    ~LibraryLifetime() { TranslationCenter::Instance().Unregister(translationContext()); }
    LibraryLifetime(const LibraryLifetime&) = delete;
    LibraryLifetime& operator=(const LibraryLifetime&) = delete;
};

// Constructed when the dynamic loader maps the library, destroyed when it unmaps it
// (dlclose) or at process exit. The registry it talks to is created first and
// therefore destroyed after it.
const LibraryLifetime libraryLifetime;

} // namespace
