// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QLocale>

class QCoreApplication;

namespace mivo {

/**
 * Installs the library's translation for @p locale into @p application, so that the
 * texts of the library (widget texts and tool tips, the default formatters' units)
 * appear in that language. The translations are compiled into the library, one per
 * language (German: "de"); the locale's languages are tried in the order of
 * QLocale::uiLanguages(), so "de_AT" finds German.
 *
 * Call it before the library's widgets are made and before settings records are
 * default-constructed: texts already made are not changed. A second call replaces the
 * translation an earlier one installed (the translator is a child of @p application
 * named "mivoTranslator", deleted with it). Without a translation for @p locale it
 * returns false, and the library's texts are in English, the language they are
 * written in (an earlier translation is removed then too).
 *
 *     QApplication app(argc, argv);
 *     mivo::installTranslator(app);            // the system's language
 */
MIVO_EXPORT bool installTranslator(QCoreApplication& application, const QLocale& locale = QLocale());

} // namespace mivo
