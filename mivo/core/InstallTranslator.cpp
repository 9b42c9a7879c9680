// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/InstallTranslator.h>

#include <QCoreApplication>
#include <QTranslator>

#include <memory>

namespace mivo {

namespace {

// The translator's object name under the application, by which a later call finds it.
QString translatorName()
{
    return QStringLiteral("mivoTranslator");
}

} // namespace

bool installTranslator(QCoreApplication& application, const QLocale& locale)
{
    // One translator of ours at a time; the application owned the earlier one.
    if (QTranslator* previous = application.findChild<QTranslator*>(translatorName(), Qt::FindDirectChildrenOnly)) {
        QCoreApplication::removeTranslator(previous);
        delete previous;
    }
    auto translator = std::make_unique<QTranslator>();
    // ":/mivo/translations/mivo_<language>.qm", compiled from translations/mivo_<language>.ts
    if (!translator->load(locale, QStringLiteral("mivo"), QStringLiteral("_"), QStringLiteral(":/mivo/translations")))
        return false;
    translator->setObjectName(translatorName());
    translator->setParent(&application);
    QCoreApplication::installTranslator(translator.release());
    return true;
}

} // namespace mivo
