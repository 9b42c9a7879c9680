// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// What the tools share on their command lines: numbers with SI suffixes, durations,
// instants, option values and the errors they raise.

#include <common/Error.h>
#include <common/OptionValues.h>
#include <common/Quantity.h>
#include <common/TimeValue.h>

#include <QCommandLineParser>
#include <QTest>

#include <limits>

using namespace mivo::apps;

namespace {

// A parser that knows one option, --value, and has read "--value <text>".
struct ParsedValue
{
    explicit ParsedValue(const QString& text)
    {
        parser.addOption(QCommandLineOption(QStringLiteral("value"), QString(), QStringLiteral("v")));
        parsed = parser.parse({QStringLiteral("tool"), QStringLiteral("--value"), text});
    }

    QCommandLineParser parser;
    bool parsed = false;
};

} // namespace

class TestAppsCommon : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesQuantities_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::newRow("plain") << "2400000" << 2400000.0;
        QTest::newRow("exponent") << "2.4e6" << 2.4e6;
        QTest::newRow("kilo") << "250k" << 250e3;
        QTest::newRow("capital kilo") << "250K" << 250e3;
        QTest::newRow("mega") << "2.4M" << 2.4e6;
        QTest::newRow("giga") << "1.5G" << 1.5e9;
        QTest::newRow("negative") << "-100" << -100.0;
        QTest::newRow("spaces around") << " 10k " << 10e3;
        QTest::newRow("zero") << "0" << 0.0;
    }

    void parsesQuantities()
    {
        QFETCH(QString, text);
        QFETCH(double, value);
        const std::optional<double> parsed = parseQuantity(text);
        QVERIFY(parsed);
        QCOMPARE(*parsed, value);
    }

    void rejectsWhatIsNoQuantity_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << "";
        QTest::newRow("suffix only") << "k";
        QTest::newRow("word") << "ten";
        QTest::newRow("milli is not a suffix") << "5m";
        QTest::newRow("two suffixes") << "1kM";
        QTest::newRow("infinite") << "inf";
        QTest::newRow("not a number") << "nan";
        QTest::newRow("beyond double") << "1e308G";
    }

    void rejectsWhatIsNoQuantity()
    {
        QFETCH(QString, text);
        QVERIFY(!parseQuantity(text));
    }

    void parsesDurations_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("seconds");
        QTest::newRow("bare seconds") << "90" << 90.0;
        QTest::newRow("seconds") << "90s" << 90.0;
        QTest::newRow("minutes") << "15m" << 900.0;
        QTest::newRow("hours") << "24h" << 86400.0;
        QTest::newRow("days") << "7d" << 604800.0;
        QTest::newRow("fraction") << "1.5h" << 5400.0;
    }

    void parsesDurations()
    {
        QFETCH(QString, text);
        QFETCH(double, seconds);
        const std::optional<double> parsed = parseDuration(text);
        QVERIFY(parsed);
        QCOMPARE(*parsed, seconds);
    }

    void rejectsWhatIsNoDuration_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << "";
        QTest::newRow("zero") << "0s";
        QTest::newRow("negative") << "-1h";
        QTest::newRow("unknown unit") << "3w";
        QTest::newRow("unit only") << "h";
        QTest::newRow("overflowing") << "1e308d";
    }

    void rejectsWhatIsNoDuration()
    {
        QFETCH(QString, text);
        QVERIFY(!parseDuration(text));
    }

    void parsesTimes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("seconds");
        QTest::newRow("epoch seconds") << "1704110400" << 1704110400.0;
        QTest::newRow("epoch with fraction") << "1704110400.25" << 1704110400.25;
        QTest::newRow("ISO UTC") << "2024-01-01T12:00:00Z" << 1704110400.0;
        QTest::newRow("ISO microseconds") << "2024-01-01T12:00:00.123456Z" << 1704110400.123456;
        QTest::newRow("ISO nanoseconds") << "2024-01-01T12:00:00.5000000Z" << 1704110400.5;
        QTest::newRow("ISO with offset") << "2024-01-01T13:30:00+01:30" << 1704110400.0;
        QTest::newRow("ISO with negative offset") << "2024-01-01T07:00:00-05:00" << 1704110400.0;
        QTest::newRow("ISO without zone is UTC") << "2024-01-01T12:00:00" << 1704110400.0;
        QTest::newRow("ISO without seconds") << "2024-01-01T12:00Z" << 1704110400.0;
    }

    void parsesTimes()
    {
        QFETCH(QString, text);
        QFETCH(double, seconds);
        const std::optional<double> parsed = parseTimeValue(text);
        QVERIFY(parsed);
        QCOMPARE(*parsed, seconds);
    }

    void rejectsWhatIsNoTime_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << "";
        QTest::newRow("word") << "yesterday";
        QTest::newRow("bad month") << "2024-13-01T00:00:00Z";
        QTest::newRow("date only") << "2024-01-01";
        QTest::newRow("infinite") << "inf";
    }

    void rejectsWhatIsNoTime()
    {
        QFETCH(QString, text);
        QVERIFY(!parseTimeValue(text));
    }

    void formatsIsoTimeWithMicroseconds()
    {
        QCOMPARE(formatIsoTime(1704110400.0), QStringLiteral("2024-01-01T12:00:00.000000Z"));
        QCOMPARE(formatIsoTime(1704110400.25), QStringLiteral("2024-01-01T12:00:00.250000Z"));
        QCOMPARE(formatIsoTime(1704110400.9999996), QStringLiteral("2024-01-01T12:00:01.000000Z"));
        QCOMPARE(*parseTimeValue(formatIsoTime(1704110400.123456)), 1704110400.123456);
    }
    void quantityOptionsReadSuffixes()
    {
        const ParsedValue option(QStringLiteral("2.5M"));
        QVERIFY(option.parsed);
        QCOMPARE(quantityOption(option.parser, QStringLiteral("value")), 2.5e6);
    }

    void aQuantityOptionThatIsNoNumberIsAUsageError()
    {
        const ParsedValue option(QStringLiteral("fast"));
        QVERIFY(option.parsed);
        try {
            quantityOption(option.parser, QStringLiteral("value"));
            QFAIL("no error thrown");
        } catch (const UsageError& error) {
            QCOMPARE(error.message(), QStringLiteral("--value: \"fast\" is not a number"));
        }
    }

    void integerOptionsReadWholeNumbers()
    {
        const ParsedValue option(QStringLiteral("-12"));
        QVERIFY(option.parsed);
        QCOMPARE(integerOption(option.parser, QStringLiteral("value")), -12);
    }

    void anIntegerOptionThatIsNoWholeNumberIsAUsageError_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("fraction") << "1.5";
        QTest::newRow("suffix") << "2k";
        QTest::newRow("beyond int") << "3000000000";
    }

    void anIntegerOptionThatIsNoWholeNumberIsAUsageError()
    {
        QFETCH(QString, text);
        const ParsedValue option(text);
        QVERIFY(option.parsed);
        try {
            integerOption(option.parser, QStringLiteral("value"));
            QFAIL("no error thrown");
        } catch (const UsageError& error) {
            QCOMPARE(error.message(), QStringLiteral("--value: \"%1\" is not a whole number").arg(text));
        }
    }

    void errorsJoinSubjectAndProblem()
    {
        const Error error(QStringLiteral("in.wav"), QStringLiteral("not a sound file"));
        QCOMPARE(error.message(), QStringLiteral("in.wav: not a sound file"));
        QCOMPARE(QString::fromStdString(error.what()), QStringLiteral("in.wav: not a sound file"));
        const Error whole(QStringLiteral("nothing to do"));
        QCOMPARE(whole.message(), QStringLiteral("nothing to do"));
    }

    void usageErrorsAreErrors()
    {
        try {
            throw UsageError(QStringLiteral("--x"), QStringLiteral("bad"));
        } catch (const Error& error) {
            QCOMPARE(error.message(), QStringLiteral("--x: bad"));
            QVERIFY(dynamic_cast<const UsageError*>(&error));
        }
    }
};

QTEST_GUILESS_MAIN(TestAppsCommon)
#include "tst_appscommon.moc"
