// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The library's double-to-integer rules and zoom steps, which several handlers share:
// each gives a defined value for NaN, infinities and values out of range.

#include "../../mivo/core/NumericConversions_p.h"
#include "../../mivo/navigation/ZoomFactor_p.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace mivo;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
const double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr int intMin = std::numeric_limits<int>::min();
constexpr int intMax = std::numeric_limits<int>::max();

} // namespace

class TestNumericConversions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void truncateToIntOrMin_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("positive fraction") << 2.9 << 2;
        QTest::newRow("negative fraction") << -2.9 << -2;
        QTest::newRow("largest") << 2147483647.9 << intMax;
        QTest::newRow("smallest") << -2147483648.9 << intMin;
        QTest::newRow("just above") << 2147483648.0 << intMin;
        QTest::newRow("just below") << -2147483649.0 << intMin;
        QTest::newRow("far above") << 1e300 << intMin;
        QTest::newRow("+inf") << inf << intMin;
        QTest::newRow("-inf") << -inf << intMin;
        QTest::newRow("NaN") << notANumber << intMin;
    }
    void truncateToIntOrMin()
    {
        QFETCH(double, value);
        QFETCH(int, expected);
        QCOMPARE(numeric::truncateToIntOrMin(value), expected);
    }

    void truncateToIntSaturating_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("expected");
        QTest::newRow("positive fraction") << 2.9 << 2;
        QTest::newRow("negative fraction") << -2.9 << -2;
        QTest::newRow("largest") << 2147483646.9 << intMax - 1;
        QTest::newRow("just above") << 2147483648.0 << intMax;
        QTest::newRow("just below") << -2147483649.0 << intMin;
        QTest::newRow("far above") << 1e300 << intMax;
        QTest::newRow("far below") << -1e300 << intMin;
        QTest::newRow("+inf") << inf << intMax;
        QTest::newRow("-inf") << -inf << intMin;
        QTest::newRow("NaN") << notANumber << 0;
    }
    void truncateToIntSaturating()
    {
        QFETCH(double, value);
        QFETCH(int, expected);
        QCOMPARE(numeric::truncateToIntSaturating(value), expected);
    }

    void truncateToInt64()
    {
        QCOMPARE(numeric::truncateToInt64(-7.5), qint64(-7));
        QCOMPARE(numeric::truncateToInt64(9007199254740993.0), qint64(9007199254740992));
        QCOMPARE(numeric::truncateToInt64(9223372036854775808.0), std::numeric_limits<qint64>::min());
        QCOMPARE(numeric::truncateToInt64(-9223372036854775808.0), std::numeric_limits<qint64>::min());
        QCOMPARE(numeric::truncateToInt64(-inf), std::numeric_limits<qint64>::min());
        QCOMPARE(numeric::truncateToInt64(notANumber), std::numeric_limits<qint64>::min());
    }

    void zoomSteps()
    {
        QCOMPARE(detail::zoomedInScale(10.0, 0.3), 10.0 - 10.0 * 0.3);
        QCOMPARE(detail::zoomedInScale(10.0, 0.0), 10.0);
        // Zooming out undoes one zoom-in exactly.
        const double in = detail::zoomedInScale(8.0, 0.5);
        QCOMPARE(in + in * detail::zoomOutFactor(0.5), 8.0);
        QCOMPARE(detail::zoomOutFactor(1.0), inf);
        QCOMPARE(detail::zoomOutFactor(0.0), 0.0);
    }
};

QTEST_APPLESS_MAIN(TestNumericConversions)
#include "tst_numericconversions.moc"
