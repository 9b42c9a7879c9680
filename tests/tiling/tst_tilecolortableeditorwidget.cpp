// The colour table editor: its parts, names, layouts and looks, the level spin boxes
// that keep a step apart, live colour editing, and the two buttons that only signal.

#include <mivo/tiling/TileColorTableEditorWidget.h>

#include <QBoxLayout>
#include <QColorDialog>
#include <QDoubleSpinBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include <cmath>
#include <limits>

using namespace mivo::tiling;

namespace {

struct Levels
{
    double lower;
    double upper;
};

QList<Levels> levelsOf(const QSignalSpy& spy)
{
    QList<Levels> list;
    for (const QList<QVariant>& arguments : spy) {
        const auto descriptor = arguments.at(0).value<TileColorTableDescriptor>();
        list.append({descriptor.rangeLower, descriptor.rangeUpper});
    }
    return list;
}

void checkLevels(const QSignalSpy& spy, const QList<Levels>& expected)
{
    const QList<Levels> actual = levelsOf(spy);
    QCOMPARE(actual.size(), expected.size());
    for (int i = 0; i < actual.size(); ++i) {
        QCOMPARE(actual.at(i).lower, expected.at(i).lower);
        QCOMPARE(actual.at(i).upper, expected.at(i).upper);
    }
}

TileColorTableDescriptor descriptorOf(const QSignalSpy& spy, int index)
{
    return spy.at(index).at(0).value<TileColorTableDescriptor>();
}

// The editor's parts, found by their object names.
struct Parts
{
    explicit Parts(const TileColorTableEditorWidget& widget)
        : upper(widget.findChild<QDoubleSpinBox*>(QStringLiteral("rangeUppperSpinBox")))
        , lower(widget.findChild<QDoubleSpinBox*>(QStringLiteral("rangeLowerSpinBox")))
        , high(widget.findChild<QPushButton*>(QStringLiteral("highColorButton")))
        , mid(widget.findChild<QPushButton*>(QStringLiteral("midColorButton")))
        , low(widget.findChild<QPushButton*>(QStringLiteral("lowColorButton")))
        , reset(widget.findChild<QToolButton*>(QStringLiteral("resetButton")))
        , adjust(widget.findChild<QToolButton*>(QStringLiteral("adjustButton")))
        , dialog(widget.findChild<QColorDialog*>(QStringLiteral("colorDialog")))
    {
    }

    bool complete() const { return upper && lower && high && mid && low && reset && adjust && dialog; }

    QDoubleSpinBox* upper;
    QDoubleSpinBox* lower;
    QPushButton* high;
    QPushButton* mid;
    QPushButton* low;
    QToolButton* reset;
    QToolButton* adjust;
    QColorDialog* dialog;
};

QString style(const char* colour)
{
    return QStringLiteral("background-color: ") + QLatin1String(colour);
}

QImage iconImage(const QIcon& icon, int size)
{
    return icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32);
}

} // namespace

class TestTileColorTableEditorWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Construction, parts and looks

    void theParentIsNotPassedOn()
    {
        QWidget parent;
        TileColorTableEditorWidget widget(&parent);
        QVERIFY(widget.parent() == nullptr);
        QVERIFY(widget.isWindow());
    }

    void theWidgetIsNamedSizedAndTitled()
    {
        TileColorTableEditorWidget widget;
        QCOMPARE(widget.objectName(), QStringLiteral("ColorTableEditorWidget"));
        QCOMPARE(widget.size(), QSize(884, 1278));
        QCOMPARE(widget.windowTitle(), QStringLiteral("Form"));
        QVERIFY(Parts(widget).complete());
    }

    void theLayoutsNestAsListed()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        auto* top = qobject_cast<QHBoxLayout*>(widget.layout());
        QVERIFY(top);
        QCOMPARE(top->objectName(), QStringLiteral("horizontalLayout"));
        QCOMPARE(top->contentsMargins(), QMargins(5, 5, 5, 0));
        QCOMPARE(top->count(), 2);
        QVERIFY(top->itemAt(1)->widget() == parts.dialog);

        auto* column = qobject_cast<QVBoxLayout*>(top->itemAt(0)->layout());
        QVERIFY(column);
        QCOMPARE(column->objectName(), QStringLiteral("verticalLayout"));
        QCOMPARE(column->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(column->count(), 4);
        QVERIFY(column->itemAt(0)->widget() == parts.upper);
        QVERIFY(column->itemAt(2)->widget() == parts.lower);

        auto* colours = qobject_cast<QVBoxLayout*>(column->itemAt(1)->layout());
        QVERIFY(colours);
        QCOMPARE(colours->objectName(), QStringLiteral("verticalLayout_2"));
        QCOMPARE(colours->spacing(), 0);
        QCOMPARE(colours->count(), 3);
        QVERIFY(colours->itemAt(0)->widget() == parts.high);
        QVERIFY(colours->itemAt(1)->widget() == parts.mid);
        QVERIFY(colours->itemAt(2)->widget() == parts.low);

        auto* tools = qobject_cast<QHBoxLayout*>(column->itemAt(3)->layout());
        QVERIFY(tools);
        QCOMPARE(tools->objectName(), QStringLiteral("horizontalLayout_2"));
        QCOMPARE(tools->count(), 2);
        QVERIFY(tools->itemAt(0)->widget() == parts.reset);
        QVERIFY(tools->itemAt(1)->widget() == parts.adjust);

        for (QWidget* child : {static_cast<QWidget*>(parts.upper), static_cast<QWidget*>(parts.lower),
                               static_cast<QWidget*>(parts.high), static_cast<QWidget*>(parts.mid),
                               static_cast<QWidget*>(parts.low), static_cast<QWidget*>(parts.reset),
                               static_cast<QWidget*>(parts.adjust), static_cast<QWidget*>(parts.dialog)})
            QVERIFY2(child->parent() == &widget, qPrintable(child->objectName()));
    }

    void theColourButtonsShowTheDefaultColours()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QCOMPARE(parts.low->styleSheet(), style("#001829"));
        QCOMPARE(parts.mid->styleSheet(), style("#0a99ff"));
        QCOMPARE(parts.high->styleSheet(), style("#d6eeff"));
        for (const QPushButton* button : {parts.low, parts.mid, parts.high}) {
            const QSizePolicy policy = button->sizePolicy();
            QCOMPARE(policy.horizontalPolicy(), QSizePolicy::Minimum);
            QCOMPARE(policy.verticalPolicy(), QSizePolicy::Minimum);
            QCOMPARE(policy.horizontalStretch(), 0);
            QCOMPARE(policy.verticalStretch(), 0);
            QCOMPARE(policy.hasHeightForWidth(), QPushButton().sizePolicy().hasHeightForWidth());
            QVERIFY(!button->isCheckable());
            QVERIFY(!button->autoExclusive());
            QVERIFY(button->text().isEmpty());
        }
    }

    void theToolButtonsHaveIconsAndToolTips()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QCOMPARE(parts.reset->toolTip(), QStringLiteral("Reset to defaults"));
        QCOMPARE(parts.adjust->toolTip(), QStringLiteral("Auto adjust levels"));
        QVERIFY(parts.reset->text().isEmpty());
        QVERIFY(parts.adjust->text().isEmpty());
        for (int size : {16, 32}) {
            const QImage reset = iconImage(parts.reset->icon(), size);
            QVERIFY(!reset.isNull());
            QCOMPARE(reset, iconImage(QIcon(QStringLiteral(":/mivo/Reset.svg")), size));
            const QImage adjust = iconImage(parts.adjust->icon(), size);
            QCOMPARE(adjust, iconImage(QIcon(QStringLiteral(":/mivo/TileColor.svg")), size));
            QVERIFY(reset != adjust);
        }
    }

    void theColourDialogIsAHiddenPopupChild()
    {
        TileColorTableEditorWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const Parts parts(widget);
        // Window type value 9 (Qt::Popup), kept as it has always been.
        QCOMPARE(int(parts.dialog->windowType()), 9);
        QVERIFY(parts.dialog->isHidden());
        QVERIFY(!parts.dialog->isVisible());
        QVERIFY(parts.dialog->parentWidget() == &widget);
    }

    void theSpinBoxesStartAtTheDefaults()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QCOMPARE(parts.lower->value(), -127.0);
        QCOMPARE(parts.upper->value(), 127.0);
        QCOMPARE(parts.lower->text(), QStringLiteral("-127dbµV"));
        QCOMPARE(parts.upper->text(), QStringLiteral("127dbµV"));
        for (const QDoubleSpinBox* box : {parts.lower, parts.upper}) {
            QCOMPARE(box->suffix(), QStringLiteral("dbµV"));
            QCOMPARE(box->decimals(), 0);
            QCOMPARE(box->singleStep(), 1.0);
        }
        // One step apart: each box's far bound follows the other's value.
        QCOMPARE(parts.lower->minimum(), -127.0);
        QCOMPARE(parts.lower->maximum(), 126.0);
        QCOMPARE(parts.upper->minimum(), -126.0);
        QCOMPARE(parts.upper->maximum(), 127.0);
    }

    void theDefaultsAreTheDocumentedOnes()
    {
        const TileColorTableEditorWidgetSettings settings;
        QCOMPARE(settings.rangeMinimum, -127.0);
        QCOMPARE(settings.rangeMaximum, 127.0);
        QCOMPARE(settings.singleStep, 1.0);
        QCOMPARE(settings.decimals, 0);
        QCOMPARE(settings.suffix, QStringLiteral("dbµV"));
        QCOMPARE(settings.levelCount, 256);

        TileColorTableEditorWidget widget;
        QVERIFY(widget.colorTableDescriptor() == TileColorTableDescriptor());
        QCOMPARE(widget.colorTableDescriptor().lowColor, QColor(QStringLiteral("#001829")));
        QCOMPARE(widget.colorTableDescriptor().midColor, QColor(QStringLiteral("#0A99FF")));
        QCOMPARE(widget.colorTableDescriptor().highColor, QColor(QStringLiteral("#D6EEFF")));
        QCOMPARE(widget.settings().levelCount, 256);
    }

    // Levels

    void raisingTheLowerLevelRaisesTheUpperMinimum()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.lower->setValue(126);
        checkLevels(changed, {{126, 127}});
        QCOMPARE(parts.upper->minimum(), 127.0);
        QCOMPARE(parts.upper->value(), 127.0);
        QCOMPARE(widget.colorTableDescriptor().rangeLower, 126.0);

        // The lower box stops one step below the upper level.
        parts.lower->setValue(127);
        QCOMPARE(parts.lower->value(), 126.0);
        QCOMPARE(changed.count(), 1);
    }

    void loweringTheUpperLevelLowersTheLowerMaximum()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.upper->setValue(-20);
        checkLevels(changed, {{-127, -20}});
        QCOMPARE(parts.lower->maximum(), -21.0);
        QCOMPARE(widget.colorTableDescriptor().rangeUpper, -20.0);
    }

    void aLevelPassingTheOtherClampsItAndEmitsTwice()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        // Applying the settings again lifts the one-step bounds to the full range.
        widget.setSettings(TileColorTableEditorWidgetSettings());
        QCOMPARE(parts.lower->maximum(), 127.0);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.lower->setValue(127);
        // The upper box is pushed to 128 and its slot emits first, with the old lower level.
        checkLevels(changed, {{-127, 128}, {127, 128}});
        QCOMPARE(parts.upper->value(), 128.0);
        QVERIFY(widget.colorTableDescriptor().rangeLower == 127.0 && widget.colorTableDescriptor().rangeUpper == 128.0);
    }

    void anUpperLevelPassingTheLowerClampsItAndEmitsTwice()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        widget.setSettings(TileColorTableEditorWidgetSettings());
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.upper->setValue(-127);
        checkLevels(changed, {{-128, 127}, {-128, -127}});
        QCOMPARE(parts.lower->value(), -128.0);
    }

    void aLargerStepPushesTheUpperLevel()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        TileColorTableEditorWidgetSettings settings;
        settings.singleStep = 10.0;
        widget.setSettings(settings);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.lower->setValue(120);
        checkLevels(changed, {{-127, 130}, {120, 130}});
        QCOMPARE(parts.upper->minimum(), 130.0);
        QCOMPARE(parts.lower->maximum(), 120.0);
    }

    void setColorTableDescriptorEmitsOncePerChangedLevel()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        TileColorTableDescriptor descriptor;
        descriptor.lowColor = QColor(1, 2, 3);
        descriptor.midColor = QColor(40, 50, 60);
        descriptor.highColor = QColor(0xfe, 0xdc, 0xba);
        descriptor.rangeLower = -50;
        descriptor.rangeUpper = 50;
        widget.setColorTableDescriptor(descriptor);
        // Everything is stored first; then the lower box and the upper box each announce
        // the whole descriptor.
        checkLevels(changed, {{-50, 50}, {-50, 50}});
        QCOMPARE(descriptorOf(changed, 0).lowColor, QColor(1, 2, 3));
        QVERIFY(widget.colorTableDescriptor() == descriptor);
        QCOMPARE(parts.low->styleSheet(), style("#010203"));
        QCOMPARE(parts.mid->styleSheet(), style("#28323c"));
        QCOMPARE(parts.high->styleSheet(), style("#fedcba"));
        QCOMPARE(parts.lower->value(), -50.0);
        QCOMPARE(parts.upper->value(), 50.0);
        QCOMPARE(parts.upper->minimum(), -49.0);
        QCOMPARE(parts.lower->maximum(), 49.0);
    }

    void setColorTableDescriptorWithTheSameLevelsEmitsNothing()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        TileColorTableDescriptor descriptor;
        descriptor.highColor = QColor(Qt::red);
        widget.setColorTableDescriptor(descriptor);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(parts.high->styleSheet(), style("#ff0000"));
        QCOMPARE(widget.colorTableDescriptor().highColor, QColor(Qt::red));
    }

    void aLevelTheBoxCannotTakeIsClamped()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = -500;
        descriptor.rangeUpper = 20;
        widget.setColorTableDescriptor(descriptor);
        // -500 is clamped to -127, the value the box already has: only the upper emits,
        // and the stored lower level keeps what was asked for.
        checkLevels(changed, {{-500, 20}});
        QCOMPARE(parts.lower->value(), -127.0);
        QCOMPARE(widget.colorTableDescriptor().rangeLower, -500.0);

        descriptor.rangeLower = 10.4;
        widget.setColorTableDescriptor(descriptor);
        // No decimals: the box rounds, and its slot stores what it shows.
        checkLevels(changed, {{-500, 20}, {10, 20}});
        QCOMPARE(widget.colorTableDescriptor().rangeLower, 10.0);
    }

    void theSignalLoopedBackIsHarmless()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        connect(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged, &widget,
                &TileColorTableEditorWidget::setColorTableDescriptor);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.lower->setValue(-30);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(widget.colorTableDescriptor().rangeLower, -30.0);
        QCOMPARE(widget.colorTableDescriptor().rangeUpper, 127.0);
    }

    // Settings

    void aSmallerRangeClampsTheLevelsThroughTheSlots()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        TileColorTableEditorWidgetSettings settings;
        settings.rangeMinimum = -50;
        settings.rangeMaximum = 50;
        settings.singleStep = 0.5;
        settings.decimals = 1;
        settings.suffix = QStringLiteral(" dB");
        settings.levelCount = 17;
        widget.setSettings(settings);
        checkLevels(changed, {{-50, 127}, {-50, 50}});
        for (const QDoubleSpinBox* box : {parts.lower, parts.upper}) {
            QCOMPARE(box->suffix(), QStringLiteral(" dB"));
            QCOMPARE(box->decimals(), 1);
            QCOMPARE(box->singleStep(), 0.5);
        }
        QCOMPARE(parts.lower->text(), QStringLiteral("-50.0 dB"));
        QCOMPARE(parts.lower->minimum(), -50.0);
        QCOMPARE(parts.upper->maximum(), 50.0);
        // The upper slot ran last, with the new step; the lower slot's bound for the
        // upper box was replaced by the range's minimum right after.
        QCOMPARE(parts.lower->maximum(), 49.5);
        QCOMPARE(parts.upper->minimum(), -50.0);
        QCOMPARE(widget.settings().levelCount, 17);
        QCOMPARE(widget.settings().suffix, QStringLiteral(" dB"));
    }

    void settingsThatChangeNoValueEmitNothing()
    {
        TileColorTableEditorWidget widget;
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        TileColorTableEditorWidgetSettings settings;
        settings.suffix = QStringLiteral("x");
        settings.rangeMinimum = -200;
        settings.rangeMaximum = 200;
        widget.setSettings(settings);
        QCOMPARE(changed.count(), 0);
        QVERIFY(widget.colorTableDescriptor() == TileColorTableDescriptor());
    }

    void unusableNumbersDoNotBreakTheWidget()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        TileColorTableEditorWidgetSettings settings;
        settings.rangeMinimum = std::numeric_limits<double>::quiet_NaN();
        settings.rangeMaximum = std::numeric_limits<double>::infinity();
        settings.decimals = -3;
        settings.singleStep = -1;
        widget.setSettings(settings);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = std::numeric_limits<double>::quiet_NaN();
        descriptor.rangeUpper = -std::numeric_limits<double>::infinity();
        widget.setColorTableDescriptor(descriptor);
        widget.setSettings(TileColorTableEditorWidgetSettings());
        widget.setColorTableDescriptor(TileColorTableDescriptor());
        QCOMPARE(parts.lower->value(), -127.0);
        QCOMPARE(parts.upper->value(), 127.0);
    }

    // Buttons

    void resetAndAdjustOnlySignal()
    {
        TileColorTableEditorWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        QSignalSpy reset(&widget, &TileColorTableEditorWidget::si_resetClicked);
        QSignalSpy adjust(&widget, &TileColorTableEditorWidget::si_autoAdjustClicked);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = -90;
        widget.setColorTableDescriptor(descriptor);
        changed.clear();

        QTest::mouseClick(parts.reset, Qt::LeftButton);
        QCOMPARE(reset.count(), 1);
        QCOMPARE(adjust.count(), 0);
        QTest::mouseClick(parts.adjust, Qt::LeftButton);
        QTest::mouseClick(parts.adjust, Qt::LeftButton);
        QCOMPARE(reset.count(), 1);
        QCOMPARE(adjust.count(), 2);
        QCOMPARE(changed.count(), 0);
        QVERIFY(widget.colorTableDescriptor() == descriptor);
        QVERIFY(!parts.dialog->isVisible());
    }

    void aColourButtonOpensTheDialogOnItsColour_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("low") << QStringLiteral("lowColorButton") << QColor(QStringLiteral("#001829"));
        QTest::newRow("mid") << QStringLiteral("midColorButton") << QColor(QStringLiteral("#0A99FF"));
        QTest::newRow("high") << QStringLiteral("highColorButton") << QColor(QStringLiteral("#D6EEFF"));
    }

    void aColourButtonOpensTheDialogOnItsColour()
    {
        QFETCH(QString, button);
        QFETCH(QColor, colour);
        TileColorTableEditorWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        auto* clicked = widget.findChild<QPushButton*>(button);
        QTest::mouseClick(clicked, Qt::LeftButton);
        QVERIFY(parts.dialog->isVisible());
        QCOMPARE(parts.dialog->windowModality(), Qt::WindowModal);
        QCOMPARE(parts.dialog->currentColor(), colour);
        // The dialog reported its move from white to the button's colour: the same
        // descriptor is announced once.
        QCOMPARE(changed.count(), 1);
        QVERIFY(descriptorOf(changed, 0) == TileColorTableDescriptor());
        parts.dialog->reject();
        QVERIFY(!parts.dialog->isVisible());
    }

    void browsingColoursChangesTheEditedColourLive_data()
    {
        QTest::addColumn<QString>("button");
        QTest::newRow("low") << QStringLiteral("lowColorButton");
        QTest::newRow("mid") << QStringLiteral("midColorButton");
        QTest::newRow("high") << QStringLiteral("highColorButton");
    }

    void browsingColoursChangesTheEditedColourLive()
    {
        QFETCH(QString, button);
        TileColorTableEditorWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const Parts parts(widget);
        auto* edited = widget.findChild<QPushButton*>(button);
        QTest::mouseClick(edited, Qt::LeftButton);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);

        for (const QColor& colour : {QColor(255, 0, 0), QColor(0, 128, 64)}) {
            parts.dialog->setCurrentColor(colour);
            QCOMPARE(edited->styleSheet(), QStringLiteral("background-color: ") + colour.name());
        }
        QCOMPARE(changed.count(), 2);
        TileColorTableDescriptor expected;
        QColor* slot = button == QLatin1String("lowColorButton")   ? &expected.lowColor
            : button == QLatin1String("midColorButton") ? &expected.midColor
                                                        : &expected.highColor;
        *slot = QColor(255, 0, 0);
        QVERIFY(descriptorOf(changed, 0) == expected);
        *slot = QColor(0, 128, 64);
        QVERIFY(descriptorOf(changed, 1) == expected);

        // Cancelling keeps what was browsed last.
        parts.dialog->reject();
        QVERIFY(widget.colorTableDescriptor() == expected);
        QCOMPARE(changed.count(), 2);
        // The other buttons kept their colours.
        for (const QPushButton* other : {parts.low, parts.mid, parts.high}) {
            if (other != edited)
                QVERIFY(other->styleSheet() != edited->styleSheet());
        }
    }

    void theLastClickedButtonIsTheEditedOne()
    {
        TileColorTableEditorWidget widget;
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        const Parts parts(widget);
        QTest::mouseClick(parts.low, Qt::LeftButton);
        parts.dialog->reject();
        QTest::mouseClick(parts.high, Qt::LeftButton);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.dialog->setCurrentColor(QColor(Qt::yellow));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(descriptorOf(changed, 0).highColor, QColor(Qt::yellow));
        QCOMPARE(descriptorOf(changed, 0).lowColor, QColor(QStringLiteral("#001829")));
        QCOMPARE(parts.low->styleSheet(), style("#001829"));
        QCOMPARE(parts.high->styleSheet(), style("#ffff00"));
        parts.dialog->reject();
    }

    void aDialogColourBeforeAnyClickChangesNothingButIsAnnounced()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QSignalSpy changed(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged);
        parts.dialog->setCurrentColor(QColor(Qt::green));
        QCOMPARE(changed.count(), 1);
        QVERIFY(descriptorOf(changed, 0) == TileColorTableDescriptor());
        QCOMPARE(parts.low->styleSheet(), style("#001829"));
        QCOMPARE(parts.mid->styleSheet(), style("#0a99ff"));
        QCOMPARE(parts.high->styleSheet(), style("#d6eeff"));
    }

    void theDescriptorTravelsThroughQueuedConnections()
    {
        TileColorTableEditorWidget widget;
        const Parts parts(widget);
        QList<TileColorTableDescriptor> received;
        connect(&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged, this,
                [&received](const TileColorTableDescriptor& descriptor) { received.append(descriptor); },
                Qt::QueuedConnection);
        parts.upper->setValue(3);
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.at(0).rangeUpper, 3.0);
    }
};

QTEST_MAIN(TestTileColorTableEditorWidget)
#include "tst_tilecolortableeditorwidget.moc"
