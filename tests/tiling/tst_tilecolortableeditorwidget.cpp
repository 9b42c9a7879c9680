// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

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

// A fresh editor with its parts, its descriptor emissions counted from the start.
struct Editor
{
    bool show()
    {
        widget.show();
        return QTest::qWaitForWindowExposed(&widget);
    }

    TileColorTableEditorWidget widget;
    Parts parts{widget};
    QSignalSpy changed{&widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged};
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
        Editor editor;
        QCOMPARE(editor.widget.objectName(), QStringLiteral("ColorTableEditorWidget"));
        QCOMPARE(editor.widget.size(), QSize(884, 1278));
        QCOMPARE(editor.widget.windowTitle(), QStringLiteral("Form"));
        QVERIFY(Parts(editor.widget).complete());
    }

    void theLayoutsNestAsListed()
    {
        Editor editor;
        auto* top = qobject_cast<QHBoxLayout*>(editor.widget.layout());
        QVERIFY(top);
        QCOMPARE(top->objectName(), QStringLiteral("horizontalLayout"));
        QCOMPARE(top->contentsMargins(), QMargins(5, 5, 5, 0));
        QCOMPARE(top->count(), 2);
        QVERIFY(top->itemAt(1)->widget() == editor.parts.dialog);

        auto* column = qobject_cast<QVBoxLayout*>(top->itemAt(0)->layout());
        QVERIFY(column);
        QCOMPARE(column->objectName(), QStringLiteral("verticalLayout"));
        QCOMPARE(column->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(column->count(), 4);
        QVERIFY(column->itemAt(0)->widget() == editor.parts.upper);
        QVERIFY(column->itemAt(2)->widget() == editor.parts.lower);

        auto* colours = qobject_cast<QVBoxLayout*>(column->itemAt(1)->layout());
        QVERIFY(colours);
        QCOMPARE(colours->objectName(), QStringLiteral("verticalLayout_2"));
        QCOMPARE(colours->spacing(), 0);
        QCOMPARE(colours->count(), 3);
        QVERIFY(colours->itemAt(0)->widget() == editor.parts.high);
        QVERIFY(colours->itemAt(1)->widget() == editor.parts.mid);
        QVERIFY(colours->itemAt(2)->widget() == editor.parts.low);

        auto* tools = qobject_cast<QHBoxLayout*>(column->itemAt(3)->layout());
        QVERIFY(tools);
        QCOMPARE(tools->objectName(), QStringLiteral("horizontalLayout_2"));
        QCOMPARE(tools->count(), 2);
        QVERIFY(tools->itemAt(0)->widget() == editor.parts.reset);
        QVERIFY(tools->itemAt(1)->widget() == editor.parts.adjust);

        for (QWidget* child : {static_cast<QWidget*>(editor.parts.upper), static_cast<QWidget*>(editor.parts.lower),
                               static_cast<QWidget*>(editor.parts.high), static_cast<QWidget*>(editor.parts.mid),
                               static_cast<QWidget*>(editor.parts.low), static_cast<QWidget*>(editor.parts.reset),
                               static_cast<QWidget*>(editor.parts.adjust), static_cast<QWidget*>(editor.parts.dialog)})
            QVERIFY2(child->parent() == &editor.widget, qPrintable(child->objectName()));
    }

    void theColourButtonsShowTheDefaultColours()
    {
        Editor editor;
        QCOMPARE(editor.parts.low->styleSheet(), style("#001829"));
        QCOMPARE(editor.parts.mid->styleSheet(), style("#0a99ff"));
        QCOMPARE(editor.parts.high->styleSheet(), style("#d6eeff"));
        for (const QPushButton* button : {editor.parts.low, editor.parts.mid, editor.parts.high}) {
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
        Editor editor;
        QCOMPARE(editor.parts.reset->toolTip(), QStringLiteral("Reset to defaults"));
        QCOMPARE(editor.parts.adjust->toolTip(), QStringLiteral("Auto adjust levels"));
        QVERIFY(editor.parts.reset->text().isEmpty());
        QVERIFY(editor.parts.adjust->text().isEmpty());
        for (int size : {16, 32}) {
            const QImage reset = iconImage(editor.parts.reset->icon(), size);
            QVERIFY(!reset.isNull());
            QCOMPARE(reset, iconImage(QIcon(QStringLiteral(":/mivo/Reset.svg")), size));
            const QImage adjust = iconImage(editor.parts.adjust->icon(), size);
            QCOMPARE(adjust, iconImage(QIcon(QStringLiteral(":/mivo/TileColor.svg")), size));
            QVERIFY(reset != adjust);
        }
    }

    void theColourDialogIsAHiddenPopupChild()
    {
        Editor editor;
        QVERIFY(editor.show());
        // Window type value 9 (Qt::Popup), kept as it has always been.
        QCOMPARE(int(editor.parts.dialog->windowType()), 9);
        QVERIFY(editor.parts.dialog->isHidden());
        QVERIFY(!editor.parts.dialog->isVisible());
        QVERIFY(editor.parts.dialog->parentWidget() == &editor.widget);
    }

    void theSpinBoxesStartAtTheDefaults()
    {
        Editor editor;
        QCOMPARE(editor.parts.lower->value(), -127.0);
        QCOMPARE(editor.parts.upper->value(), 127.0);
        QCOMPARE(editor.parts.lower->text(), QStringLiteral("-127dbµV"));
        QCOMPARE(editor.parts.upper->text(), QStringLiteral("127dbµV"));
        for (const QDoubleSpinBox* box : {editor.parts.lower, editor.parts.upper}) {
            QCOMPARE(box->suffix(), QStringLiteral("dbµV"));
            QCOMPARE(box->decimals(), 0);
            QCOMPARE(box->singleStep(), 1.0);
        }
        // One step apart: each box's far bound follows the other's value.
        QCOMPARE(editor.parts.lower->minimum(), -127.0);
        QCOMPARE(editor.parts.lower->maximum(), 126.0);
        QCOMPARE(editor.parts.upper->minimum(), -126.0);
        QCOMPARE(editor.parts.upper->maximum(), 127.0);
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
        Editor editor;
        editor.parts.lower->setValue(126);
        checkLevels(editor.changed, {{126, 127}});
        QCOMPARE(editor.parts.upper->minimum(), 127.0);
        QCOMPARE(editor.parts.upper->value(), 127.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeLower, 126.0);

        // The lower box stops one step below the upper level.
        editor.parts.lower->setValue(127);
        QCOMPARE(editor.parts.lower->value(), 126.0);
        QCOMPARE(editor.changed.count(), 1);
    }

    void loweringTheUpperLevelLowersTheLowerMaximum()
    {
        Editor editor;
        editor.parts.upper->setValue(-20);
        checkLevels(editor.changed, {{-127, -20}});
        QCOMPARE(editor.parts.lower->maximum(), -21.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeUpper, -20.0);
    }

    void aLevelPassingTheOtherClampsItAndEmitsTwice()
    {
        Editor editor;
        // Applying the settings again lifts the one-step bounds to the full range.
        editor.widget.setSettings(TileColorTableEditorWidgetSettings());
        QCOMPARE(editor.parts.lower->maximum(), 127.0);
        editor.changed.clear();
        editor.parts.lower->setValue(127);
        // The upper box is pushed to 128 and its slot emits first, with the old lower level.
        checkLevels(editor.changed, {{-127, 128}, {127, 128}});
        QCOMPARE(editor.parts.upper->value(), 128.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeLower, 127.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeUpper, 128.0);
    }

    void anUpperLevelPassingTheLowerClampsItAndEmitsTwice()
    {
        Editor editor;
        editor.widget.setSettings(TileColorTableEditorWidgetSettings());
        editor.changed.clear();
        editor.parts.upper->setValue(-127);
        checkLevels(editor.changed, {{-128, 127}, {-128, -127}});
        QCOMPARE(editor.parts.lower->value(), -128.0);
    }

    void aLargerStepPushesTheUpperLevel()
    {
        Editor editor;
        TileColorTableEditorWidgetSettings settings;
        settings.singleStep = 10.0;
        editor.widget.setSettings(settings);
        editor.changed.clear();
        editor.parts.lower->setValue(120);
        checkLevels(editor.changed, {{-127, 130}, {120, 130}});
        QCOMPARE(editor.parts.upper->minimum(), 130.0);
        QCOMPARE(editor.parts.lower->maximum(), 120.0);
    }

    void setColorTableDescriptorEmitsOncePerChangedLevel()
    {
        Editor editor;
        TileColorTableDescriptor descriptor;
        descriptor.lowColor = QColor(1, 2, 3);
        descriptor.midColor = QColor(40, 50, 60);
        descriptor.highColor = QColor(0xfe, 0xdc, 0xba);
        descriptor.rangeLower = -50;
        descriptor.rangeUpper = 50;
        editor.widget.setColorTableDescriptor(descriptor);
        // Everything is stored first; then the lower box and the upper box each announce
        // the whole descriptor.
        checkLevels(editor.changed, {{-50, 50}, {-50, 50}});
        QCOMPARE(descriptorOf(editor.changed, 0).lowColor, QColor(1, 2, 3));
        QVERIFY(editor.widget.colorTableDescriptor() == descriptor);
        QCOMPARE(editor.parts.low->styleSheet(), style("#010203"));
        QCOMPARE(editor.parts.mid->styleSheet(), style("#28323c"));
        QCOMPARE(editor.parts.high->styleSheet(), style("#fedcba"));
        QCOMPARE(editor.parts.lower->value(), -50.0);
        QCOMPARE(editor.parts.upper->value(), 50.0);
        QCOMPARE(editor.parts.upper->minimum(), -49.0);
        QCOMPARE(editor.parts.lower->maximum(), 49.0);
    }

    void setColorTableDescriptorWithTheSameLevelsEmitsNothing()
    {
        Editor editor;
        TileColorTableDescriptor descriptor;
        descriptor.highColor = QColor(Qt::red);
        editor.widget.setColorTableDescriptor(descriptor);
        QCOMPARE(editor.changed.count(), 0);
        QCOMPARE(editor.parts.high->styleSheet(), style("#ff0000"));
        QCOMPARE(editor.widget.colorTableDescriptor().highColor, QColor(Qt::red));
    }

    void aLevelTheBoxCannotTakeIsClamped()
    {
        Editor editor;
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = -500;
        descriptor.rangeUpper = 20;
        editor.widget.setColorTableDescriptor(descriptor);
        // -500 is clamped to -127, the value the box already has: only the upper emits,
        // and the stored lower level keeps what was asked for.
        checkLevels(editor.changed, {{-500, 20}});
        QCOMPARE(editor.parts.lower->value(), -127.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeLower, -500.0);

        descriptor.rangeLower = 10.4;
        editor.widget.setColorTableDescriptor(descriptor);
        // No decimals: the box rounds, and its slot stores what it shows.
        checkLevels(editor.changed, {{-500, 20}, {10, 20}});
        QCOMPARE(editor.widget.colorTableDescriptor().rangeLower, 10.0);
    }

    void theSignalLoopedBackIsHarmless()
    {
        Editor editor;
        connect(&editor.widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged, &editor.widget,
                &TileColorTableEditorWidget::setColorTableDescriptor);
        editor.changed.clear();
        editor.parts.lower->setValue(-30);
        QCOMPARE(editor.changed.count(), 1);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeLower, -30.0);
        QCOMPARE(editor.widget.colorTableDescriptor().rangeUpper, 127.0);
    }

    // Settings

    void aSmallerRangeClampsTheLevelsThroughTheSlots()
    {
        Editor editor;
        TileColorTableEditorWidgetSettings settings;
        settings.rangeMinimum = -50;
        settings.rangeMaximum = 50;
        settings.singleStep = 0.5;
        settings.decimals = 1;
        settings.suffix = QStringLiteral(" dB");
        settings.levelCount = 17;
        editor.widget.setSettings(settings);
        checkLevels(editor.changed, {{-50, 127}, {-50, 50}});
        for (const QDoubleSpinBox* box : {editor.parts.lower, editor.parts.upper}) {
            QCOMPARE(box->suffix(), QStringLiteral(" dB"));
            QCOMPARE(box->decimals(), 1);
            QCOMPARE(box->singleStep(), 0.5);
        }
        QCOMPARE(editor.parts.lower->text(), QStringLiteral("-50.0 dB"));
        QCOMPARE(editor.parts.lower->minimum(), -50.0);
        QCOMPARE(editor.parts.upper->maximum(), 50.0);
        // The upper slot ran last, with the new step; the lower slot's bound for the
        // upper box was replaced by the range's minimum right after.
        QCOMPARE(editor.parts.lower->maximum(), 49.5);
        QCOMPARE(editor.parts.upper->minimum(), -50.0);
        QCOMPARE(editor.widget.settings().levelCount, 17);
        QCOMPARE(editor.widget.settings().suffix, QStringLiteral(" dB"));
    }

    void settingsThatChangeNoValueEmitNothing()
    {
        Editor editor;
        TileColorTableEditorWidgetSettings settings;
        settings.suffix = QStringLiteral("x");
        settings.rangeMinimum = -200;
        settings.rangeMaximum = 200;
        editor.widget.setSettings(settings);
        QCOMPARE(editor.changed.count(), 0);
        QVERIFY(editor.widget.colorTableDescriptor() == TileColorTableDescriptor());
    }

    void unusableNumbersDoNotBreakTheWidget()
    {
        Editor editor;
        TileColorTableEditorWidgetSettings settings;
        settings.rangeMinimum = std::numeric_limits<double>::quiet_NaN();
        settings.rangeMaximum = std::numeric_limits<double>::infinity();
        settings.decimals = -3;
        settings.singleStep = -1;
        editor.widget.setSettings(settings);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = std::numeric_limits<double>::quiet_NaN();
        descriptor.rangeUpper = -std::numeric_limits<double>::infinity();
        editor.widget.setColorTableDescriptor(descriptor);
        editor.widget.setSettings(TileColorTableEditorWidgetSettings());
        editor.widget.setColorTableDescriptor(TileColorTableDescriptor());
        QCOMPARE(editor.parts.lower->value(), -127.0);
        QCOMPARE(editor.parts.upper->value(), 127.0);
    }

    // Buttons

    void resetAndAdjustOnlySignal()
    {
        Editor editor;
        QVERIFY(editor.show());
        QSignalSpy reset(&editor.widget, &TileColorTableEditorWidget::si_resetClicked);
        QSignalSpy adjust(&editor.widget, &TileColorTableEditorWidget::si_autoAdjustClicked);
        TileColorTableDescriptor descriptor;
        descriptor.rangeLower = -90;
        editor.widget.setColorTableDescriptor(descriptor);
        editor.changed.clear();

        QTest::mouseClick(editor.parts.reset, Qt::LeftButton);
        QCOMPARE(reset.count(), 1);
        QCOMPARE(adjust.count(), 0);
        QTest::mouseClick(editor.parts.adjust, Qt::LeftButton);
        QTest::mouseClick(editor.parts.adjust, Qt::LeftButton);
        QCOMPARE(reset.count(), 1);
        QCOMPARE(adjust.count(), 2);
        QCOMPARE(editor.changed.count(), 0);
        QVERIFY(editor.widget.colorTableDescriptor() == descriptor);
        QVERIFY(!editor.parts.dialog->isVisible());
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
        Editor editor;
        QVERIFY(editor.show());
        QTest::mouseClick(editor.widget.findChild<QPushButton*>(button), Qt::LeftButton);
        QColorDialog* dialog = editor.parts.dialog;
        QVERIFY(dialog->isVisible());
        QCOMPARE(dialog->windowModality(), Qt::WindowModal);
        QCOMPARE(dialog->currentColor(), colour);
        // The dialog reported its move from white to the button's colour: the same
        // descriptor is announced once.
        QCOMPARE(editor.changed.count(), 1);
        QVERIFY(descriptorOf(editor.changed, 0) == TileColorTableDescriptor());
        dialog->reject();
        QVERIFY(!dialog->isVisible());
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
        Editor editor;
        QVERIFY(editor.show());
        const Parts& parts = editor.parts;
        QSignalSpy& changed = editor.changed;
        auto* edited = editor.widget.findChild<QPushButton*>(button);
        QTest::mouseClick(edited, Qt::LeftButton);
        changed.clear();

        for (const QColor& colour : {QColor(255, 0, 0), QColor(0, 128, 64)}) {
            parts.dialog->setCurrentColor(colour);
            QCOMPARE(edited->styleSheet(), QStringLiteral("background-color: ") + colour.name());
        }
        QCOMPARE(changed.count(), 2);
        TileColorTableDescriptor expected;
        QColor* slot = button == QLatin1String("lowColorButton") ? &expected.lowColor
            : button == QLatin1String("midColorButton")          ? &expected.midColor
                                                                 : &expected.highColor;
        *slot = QColor(255, 0, 0);
        QVERIFY(descriptorOf(changed, 0) == expected);
        *slot = QColor(0, 128, 64);
        QVERIFY(descriptorOf(changed, 1) == expected);

        // Cancelling keeps what was browsed last.
        parts.dialog->reject();
        QVERIFY(editor.widget.colorTableDescriptor() == expected);
        QCOMPARE(changed.count(), 2);
        // The other buttons kept their colours.
        for (const QPushButton* other : {parts.low, parts.mid, parts.high}) {
            if (other != edited)
                QVERIFY(other->styleSheet() != edited->styleSheet());
        }
    }

    void theLastClickedButtonIsTheEditedOne()
    {
        Editor editor;
        QVERIFY(editor.show());
        QTest::mouseClick(editor.parts.low, Qt::LeftButton);
        editor.parts.dialog->reject();
        QTest::mouseClick(editor.parts.high, Qt::LeftButton);
        editor.changed.clear();
        editor.parts.dialog->setCurrentColor(QColor(Qt::yellow));
        QCOMPARE(editor.changed.count(), 1);
        QCOMPARE(descriptorOf(editor.changed, 0).highColor, QColor(Qt::yellow));
        QCOMPARE(descriptorOf(editor.changed, 0).lowColor, QColor(QStringLiteral("#001829")));
        QCOMPARE(editor.parts.low->styleSheet(), style("#001829"));
        QCOMPARE(editor.parts.high->styleSheet(), style("#ffff00"));
        editor.parts.dialog->reject();
    }

    void aDialogColourBeforeAnyClickChangesNothingButIsAnnounced()
    {
        Editor editor;
        editor.parts.dialog->setCurrentColor(QColor(Qt::green));
        QCOMPARE(editor.changed.count(), 1);
        QVERIFY(descriptorOf(editor.changed, 0) == TileColorTableDescriptor());
        QCOMPARE(editor.parts.low->styleSheet(), style("#001829"));
        QCOMPARE(editor.parts.mid->styleSheet(), style("#0a99ff"));
        QCOMPARE(editor.parts.high->styleSheet(), style("#d6eeff"));
    }

    void theDescriptorTravelsThroughQueuedConnections()
    {
        Editor editor;
        QList<TileColorTableDescriptor> received;
        connect(
            &editor.widget, &TileColorTableEditorWidget::si_colorTableDescriptorChanged, this,
            [&received](const TileColorTableDescriptor& descriptor) { received.append(descriptor); },
            Qt::QueuedConnection);
        editor.parts.upper->setValue(3);
        QTRY_COMPARE(received.size(), 1);
        QCOMPARE(received.at(0).rangeUpper, 3.0);
    }
};

QTEST_MAIN(TestTileColorTableEditorWidget)
#include "tst_tilecolortableeditorwidget.moc"
