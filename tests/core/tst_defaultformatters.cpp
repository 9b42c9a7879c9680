// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/DefaultFormatters.h>

#include <QTest>

#include <cmath>
#include <limits>

// Runs with TZ=UTC and the C locale (see CMakeLists), so local time is UTC and month
// names are English.
class TestDefaultFormatters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frequencyIsKilohertzWithThreeDecimals_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::addColumn<QString>("text");
        QTest::newRow("98.5 MHz") << 98.5e6 << QStringLiteral("98500.000 KHz");
        QTest::newRow("zero") << 0.0 << QStringLiteral("0.000 KHz");
        QTest::newRow("fraction rounds") << 1234.5678 << QStringLiteral("1.235 KHz");
        QTest::newRow("negative") << -2500.0 << QStringLiteral("-2.500 KHz");
        QTest::newRow("2.4 GHz") << 2.4e9 << QStringLiteral("2400000.000 KHz");
    }

    void frequencyIsKilohertzWithThreeDecimals()
    {
        QFETCH(double, hertz);
        QFETCH(QString, text);
        QCOMPARE(mivo::defaultFrequencyFormatter(hertz), text);
    }

    void timeIsLocalWithMilliseconds_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("2024 new year noon") << 1704110400.25 << QStringLiteral("01 Jan 24 12:00:00.250");
        QTest::newRow("epoch") << 0.0 << QStringLiteral("01 Jan 70 00:00:00.000");
        QTest::newRow("milliseconds are truncated") << 1.0009 << QStringLiteral("01 Jan 70 00:00:01.000");
        QTest::newRow("before the epoch truncates toward zero") << -0.5 << QStringLiteral("31 Dec 69 23:59:59.500");
        QTest::newRow("leap day") << 1709210096.789 << QStringLiteral("29 Feb 24 12:34:56.789");
    }

    void timeIsLocalWithMilliseconds()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(mivo::defaultTimeFormatter(seconds), text);
    }

    void timeOfValuesWithoutADateDoesNotCrash()
    {
        for (double value : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(), 1e300})
            mivo::defaultTimeFormatter(value);
    }

    void levelIsDecibelMicrovoltWithOneDecimal_data()
    {
        QTest::addColumn<double>("level");
        QTest::addColumn<QString>("text");
        QTest::newRow("-20.26") << -20.26 << QString::fromUtf8("-20.3 dB\xc2\xb5V");
        QTest::newRow("zero") << 0.0 << QString::fromUtf8("0.0 dB\xc2\xb5V");
        QTest::newRow("127") << 127.0 << QString::fromUtf8("127.0 dB\xc2\xb5V");
    }

    void levelIsDecibelMicrovoltWithOneDecimal()
    {
        QFETCH(double, level);
        QFETCH(QString, text);
        QCOMPARE(mivo::defaultLevelFormatter(level), text);
    }
};

QTEST_GUILESS_MAIN(TestDefaultFormatters)
#include "tst_defaultformatters.moc"
