// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The library's German translation: complete for every text of the library (lupdate
// run over the sources into a copy of the kept .ts finds nothing new, nothing
// untranslated and nothing stale), and, once installed, shown by the widgets and the
// default formatters. Runs with TZ=UTC and the C locale.

#include <mivo/core/DefaultFormatters.h>
#include <mivo/core/InstallTranslator.h>
#include <mivo/tiling/TileColorTableEditorWidget.h>
#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include <QDoubleSpinBox>
#include <QFile>
#include <QLayout>
#include <QProcess>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QTranslator>
#include <QXmlStreamReader>

using namespace mivo::tiling;

namespace {

const QString keptTranslation = QStringLiteral(LIBRARY_SOURCE_DIR "/translations/mivo_de.ts");

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Message
{
    QString context;
    QString source;
    QString type; // of the translation: "", "unfinished", "vanished", "obsolete"
    QString translation;

    QString describe() const { return QStringLiteral("%1: \"%2\" (%3)").arg(context, source, type); }
};

QList<Message> messagesOf(const QByteArray& ts)
{
    QList<Message> messages;
    QXmlStreamReader xml(ts);
    QString context;
    Message message;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement() && xml.name() == QLatin1String("message")) {
            messages.append(message);
        } else if (xml.isStartElement()) {
            if (xml.name() == QLatin1String("name")) {
                context = xml.readElementText();
            } else if (xml.name() == QLatin1String("message")) {
                message = Message{context, QString(), QString(), QString()};
            } else if (xml.name() == QLatin1String("source")) {
                message.source = xml.readElementText();
            } else if (xml.name() == QLatin1String("translation")) {
                message.type = xml.attributes().value(QLatin1String("type")).toString();
                message.translation = xml.readElementText();
            }
        }
    }
    return messages;
}

QString noneButtonText()
{
    TileSourceManager manager;
    TileSourceSelectionWidget widget(manager);
    return qobject_cast<QRadioButton*>(widget.layout()->itemAt(0)->widget())->text();
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        mivo::installTranslator(*QCoreApplication::instance(), QLocale::c());
        QLocale::setDefault(QLocale::c());
    }

    void theGermanTranslationCoversEveryLibraryText()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString copy = dir.filePath(QStringLiteral("mivo_de.ts"));
        QVERIFY(QFile::copy(keptTranslation, copy));
        QProcess lupdate;
        QStringList arguments = QStringLiteral(LUPDATE_ARGUMENTS).split(QLatin1Char('|'));
        arguments << QStringLiteral("-ts") << copy;
        lupdate.start(QStringLiteral(LUPDATE_EXECUTABLE), arguments);
        QVERIFY(lupdate.waitForFinished(120000));
        QVERIFY2(lupdate.exitStatus() == QProcess::NormalExit && lupdate.exitCode() == 0,
                 lupdate.readAllStandardError().constData());
        // lupdate names what it could not place (a class it cannot resolve gives the
        // wrong context).
        QCOMPARE(QString::fromLocal8Bit(lupdate.readAllStandardError()), QString());

        const QList<Message> messages = messagesOf(readFile(copy));
        QVERIFY(messages.size() >= 10);
        QStringList missing;
        QStringList stale;
        for (const Message& message : messages) {
            if (message.type == QLatin1String("unfinished") || message.translation.isEmpty())
                missing.append(message.describe());
            else if (!message.type.isEmpty())
                stale.append(message.describe());
        }
        QVERIFY2(missing.isEmpty(),
                 qPrintable(QStringLiteral("texts without German translation (build the target "
                                           "mivo_update_translations, then translate them in "
                                           "mivo/translations/mivo_de.ts): ")
                            + missing.join(QStringLiteral("; "))));
        QVERIFY2(stale.isEmpty(),
                 qPrintable(QStringLiteral("texts no longer in the library (build the target "
                                           "mivo_update_translations): ")
                            + stale.join(QStringLiteral("; "))));
        // The kept file is exactly what lupdate makes of it.
        QVERIFY2(readFile(copy) == readFile(keptTranslation),
                 "mivo_de.ts is not as lupdate writes it: build the target mivo_update_translations");
    }

    void withoutATranslationTheTextsAreEnglish()
    {
        QCOMPARE(noneButtonText(), QStringLiteral("None"));
        QCOMPARE(mivo::defaultFrequencyFormatter(98.5e6), QStringLiteral("98500.000 KHz"));
    }

    void germanIsShownByTheWidgets()
    {
        QVERIFY(mivo::installTranslator(*QCoreApplication::instance(), QLocale(QLocale::German, QLocale::Germany)));
        QCOMPARE(noneButtonText(), QStringLiteral("Keine"));

        TileColorTableEditorWidget editor;
        QCOMPARE(editor.windowTitle(), QStringLiteral("Formular"));
        QCOMPARE(editor.findChild<QToolButton*>(QStringLiteral("resetButton"))->toolTip(),
                 QStringLiteral("Auf Standardwerte zurücksetzen"));
        QCOMPARE(editor.findChild<QToolButton*>(QStringLiteral("adjustButton"))->toolTip(),
                 QStringLiteral("Pegel automatisch anpassen"));
        for (const char* name : {"rangeLowerSpinBox", "rangeUppperSpinBox"})
            QCOMPARE(editor.findChild<QDoubleSpinBox*>(QLatin1String(name))->suffix(), QStringLiteral("dBµV"));
        QCOMPARE(TileColorTableEditorWidgetSettings().suffix, QStringLiteral("dBµV"));
        QCOMPARE(TileColorTableEditorWidget::tr("Select gradient color"), QStringLiteral("Verlaufsfarbe auswählen"));
        QCOMPARE(TileSourceSelectionWidget::tr("%1\n%2 - %3\n%4 - %5"), QStringLiteral("%1\n%2 – %3\n%4 – %5"));
    }

    void germanUnitsAndDatesFollowTheLocale()
    {
        QVERIFY(mivo::installTranslator(*QCoreApplication::instance(), QLocale(QLocale::German, QLocale::Germany)));
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        QCOMPARE(mivo::defaultFrequencyFormatter(98.5e6), QStringLiteral("98.500,000 kHz"));
        QCOMPARE(mivo::defaultLevelFormatter(-20.26), QStringLiteral("-20,3 dBµV"));
        QCOMPARE(mivo::defaultTimeFormatter(1704110400.25), QStringLiteral("01.01.24 12:00:00.250"));
    }

    void aRegionalLocaleFindsItsLanguage()
    {
        QVERIFY(mivo::installTranslator(*QCoreApplication::instance(), QLocale(QLocale::German, QLocale::Austria)));
        QCOMPARE(noneButtonText(), QStringLiteral("Keine"));
    }

    void aSecondCallReplacesTheFirst()
    {
        QCoreApplication& application = *QCoreApplication::instance();
        QVERIFY(mivo::installTranslator(application, QLocale(QLocale::German)));
        QVERIFY(mivo::installTranslator(application, QLocale(QLocale::German)));
        QCOMPARE(application.findChildren<QTranslator*>(QStringLiteral("mivoTranslator")).size(), 1);

        // No French translation: false, and the German one is gone too.
        QVERIFY(!mivo::installTranslator(application, QLocale(QLocale::French, QLocale::France)));
        QVERIFY(application.findChildren<QTranslator*>(QStringLiteral("mivoTranslator")).isEmpty());
        QCOMPARE(noneButtonText(), QStringLiteral("None"));
        QVERIFY(!mivo::installTranslator(application, QLocale(QLocale::English, QLocale::UnitedStates)));
    }

    void theHostsOwnTranslatorsStay()
    {
        QCoreApplication& application = *QCoreApplication::instance();
        QTranslator hosts;
        QVERIFY(hosts.load(QLocale(QLocale::German), QStringLiteral("mivo"), QStringLiteral("_"),
                           QStringLiteral(":/mivo/translations")));
        QVERIFY(QCoreApplication::installTranslator(&hosts));
        QVERIFY(!mivo::installTranslator(application, QLocale::c()));
        // Still translated, by the host's translator.
        QCOMPARE(noneButtonText(), QStringLiteral("Keine"));
        QCoreApplication::removeTranslator(&hosts);
        QCOMPARE(noneButtonText(), QStringLiteral("None"));
    }
};

QTEST_MAIN(TestTranslations)
#include "tst_translations.moc"
