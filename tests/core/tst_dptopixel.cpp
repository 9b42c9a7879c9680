// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/DpToPixel.h>

#include <QImage>
#include <QTest>

class TestDpToPixel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageDevice_data()
    {
        QTest::addColumn<int>("dotsPerMeter");
        QTest::addColumn<int>("logicalDpi");
        QTest::addColumn<double>("dp");
        QTest::addColumn<double>("pixels");
        // QImage reports round(dots per metre * 0.0254) as its logical DPI.
        QTest::newRow("96 dpi, one") << 3780 << 96 << 1.0 << 1.0;
        QTest::newRow("96 dpi, fraction") << 3780 << 96 << 2.5 << 2.5;
        QTest::newRow("144 dpi, one") << 5669 << 144 << 1.0 << 1.5;
        QTest::newRow("144 dpi, ten") << 5669 << 144 << 10.0 << 15.0;
        QTest::newRow("192 dpi, zero") << 7559 << 192 << 0.0 << 0.0;
        QTest::newRow("192 dpi, negative") << 7559 << 192 << -3.0 << -6.0;
    }

    void imageDevice()
    {
        QFETCH(int, dotsPerMeter);
        QFETCH(int, logicalDpi);
        QFETCH(double, dp);
        QFETCH(double, pixels);
        QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
        image.setDotsPerMeterX(dotsPerMeter);
        image.setDotsPerMeterY(dotsPerMeter);
        QCOMPARE(image.logicalDpiX(), logicalDpi);
        QCOMPARE(mivo::dpToPixel(image, dp), pixels);
    }

    void onlyTheHorizontalDpiCounts()
    {
        QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
        image.setDotsPerMeterX(5669); // 144 dpi
        image.setDotsPerMeterY(3780); // 96 dpi
        QCOMPARE(mivo::dpToPixel(image, 2.0), 3.0);
    }

    void widgetFollowsTheScreensLogicalDpi()
    {
        // Run once at 96 and once at 144 logical DPI (QT_FONT_DPI, see CMakeLists).
        const int expectedDpi = qEnvironmentVariableIsSet("MIVO_TEST_EXPECTED_DPI")
            ? qEnvironmentVariableIntValue("MIVO_TEST_EXPECTED_DPI")
            : 96;
        mivo::BaseDrawWidget widget;
        widget.resize(50, 50);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCOMPARE(widget.logicalDpiX(), expectedDpi);
        QCOMPARE(widget.dpToPixel(1.0), expectedDpi / 96.0);
        QCOMPARE(widget.dpToPixel(4.0), 4.0 * expectedDpi / 96.0);
        QCOMPARE(mivo::dpToPixel(widget, 4.0), widget.dpToPixel(4.0));
    }
};

QTEST_MAIN(TestDpToPixel)
#include "tst_dptopixel.moc"
