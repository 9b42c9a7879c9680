// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileColorTableEditorWidget.h>

#include "TilingMetaTypes_p.h"

#include <QColorDialog>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace mivo::tiling {

namespace {

QString colorStyleSheet(const QColor& color)
{
    return QStringLiteral("background-color: ") + color.name();
}

QPushButton* makeColorButton(QWidget* form, const QString& objectName)
{
    auto* button = new QPushButton(form);
    button->setObjectName(objectName);
    QSizePolicy policy(QSizePolicy::Minimum, QSizePolicy::Minimum);
    policy.setHorizontalStretch(0);
    policy.setVerticalStretch(0);
    policy.setHeightForWidth(button->sizePolicy().hasHeightForWidth());
    button->setSizePolicy(policy);
    button->setCheckable(false);
    button->setAutoExclusive(false);
    return button;
}

QToolButton* makeToolButton(QWidget* form, const QString& objectName, const QString& iconFile)
{
    auto* button = new QToolButton(form);
    button->setObjectName(objectName);
    QIcon icon;
    icon.addFile(iconFile, QSize(), QIcon::Normal, QIcon::Off);
    button->setIcon(icon);
    return button;
}

} // namespace

// The widget's parts, laid out as a designer form would: its texts are translated in
// the form's context "ColorTableEditorWidget".
struct TileColorTableEditorWidget::Ui
{
    QHBoxLayout* horizontalLayout = nullptr;
    QVBoxLayout* verticalLayout = nullptr;
    QDoubleSpinBox* rangeUppperSpinBox = nullptr;
    QVBoxLayout* verticalLayout_2 = nullptr;
    QPushButton* highColorButton = nullptr;
    QPushButton* midColorButton = nullptr;
    QPushButton* lowColorButton = nullptr;
    QDoubleSpinBox* rangeLowerSpinBox = nullptr;
    QHBoxLayout* horizontalLayout_2 = nullptr;
    QToolButton* resetButton = nullptr;
    QToolButton* adjustButton = nullptr;
    QColorDialog* colorDialog = nullptr;

    void setupUi(QWidget* form)
    {
        if (form->objectName().isEmpty())
            form->setObjectName(QStringLiteral("ColorTableEditorWidget"));
        form->resize(884, 1278);
        horizontalLayout = new QHBoxLayout(form);
        horizontalLayout->setObjectName(QStringLiteral("horizontalLayout"));
        horizontalLayout->setContentsMargins(5, 5, 5, 0);

        verticalLayout = new QVBoxLayout();
        verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
        // The spelling with three p is the name hosts and style sheets know.
        rangeUppperSpinBox = new QDoubleSpinBox(form);
        rangeUppperSpinBox->setObjectName(QStringLiteral("rangeUppperSpinBox"));
        verticalLayout->addWidget(rangeUppperSpinBox);

        verticalLayout_2 = new QVBoxLayout();
        verticalLayout_2->setSpacing(0);
        verticalLayout_2->setObjectName(QStringLiteral("verticalLayout_2"));
        highColorButton = makeColorButton(form, QStringLiteral("highColorButton"));
        verticalLayout_2->addWidget(highColorButton);
        midColorButton = makeColorButton(form, QStringLiteral("midColorButton"));
        verticalLayout_2->addWidget(midColorButton);
        lowColorButton = makeColorButton(form, QStringLiteral("lowColorButton"));
        verticalLayout_2->addWidget(lowColorButton);
        verticalLayout->addLayout(verticalLayout_2);

        rangeLowerSpinBox = new QDoubleSpinBox(form);
        rangeLowerSpinBox->setObjectName(QStringLiteral("rangeLowerSpinBox"));
        verticalLayout->addWidget(rangeLowerSpinBox);

        horizontalLayout_2 = new QHBoxLayout();
        horizontalLayout_2->setObjectName(QStringLiteral("horizontalLayout_2"));
        resetButton = makeToolButton(form, QStringLiteral("resetButton"), QStringLiteral(":/mivo/Reset.svg"));
        horizontalLayout_2->addWidget(resetButton);
        adjustButton = makeToolButton(form, QStringLiteral("adjustButton"), QStringLiteral(":/mivo/TileColor.svg"));
        horizontalLayout_2->addWidget(adjustButton);
        verticalLayout->addLayout(horizontalLayout_2);

        horizontalLayout->addLayout(verticalLayout);

        colorDialog = new QColorDialog(form);
        colorDialog->setObjectName(QStringLiteral("colorDialog"));
        horizontalLayout->addWidget(colorDialog);

        retranslateUi(form);
    }

    void retranslateUi(QWidget* form)
    {
        form->setWindowTitle(QCoreApplication::translate("ColorTableEditorWidget", "Form"));
        highColorButton->setText(QString());
        midColorButton->setText(QString());
        lowColorButton->setText(QString());
        resetButton->setToolTip(QCoreApplication::translate("ColorTableEditorWidget", "Reset to defaults"));
        resetButton->setText(QString());
        adjustButton->setToolTip(QCoreApplication::translate("ColorTableEditorWidget", "Auto adjust levels"));
        adjustButton->setText(QString());
    }
};

TileColorTableEditorWidgetSettings::TileColorTableEditorWidgetSettings()
    : suffix(TileColorTableEditorWidget::tr("dbµV"))
{
}

TileColorTableEditorWidget::TileColorTableEditorWidget(QWidget* parent)
    : QWidget(nullptr) // kept: the parent is not passed on
    , m_ui(std::make_unique<Ui>())
{
    Q_UNUSED(parent)
    registerTilingMetaTypes();
    setupUi();
    // kept: window type value 9, which is Qt::Popup (Qt::Sheet would be 5), although
    // it has always been called the sheet flag.
    m_ui->colorDialog->setWindowFlags(Qt::WindowFlags(9));
    // Qt's own dialog reports every colour the user browses; a native one may not.
    m_ui->colorDialog->setOption(QColorDialog::DontUseNativeDialog);
    m_ui->colorDialog->hide();
    setSettings(m_settings);
    setColorTableDescriptor(m_descriptor);
    connect(m_ui->resetButton, &QToolButton::clicked, this, &TileColorTableEditorWidget::si_resetClicked);
    connect(m_ui->adjustButton, &QToolButton::clicked, this, &TileColorTableEditorWidget::si_autoAdjustClicked);
}

TileColorTableEditorWidget::~TileColorTableEditorWidget() = default;

void TileColorTableEditorWidget::setupUi()
{
    m_ui->setupUi(this);
    connect(m_ui->rangeUppperSpinBox, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
            &TileColorTableEditorWidget::sl_rangeUpperSpinBoxChanged);
    connect(m_ui->rangeLowerSpinBox, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
            &TileColorTableEditorWidget::sl_rangeLowerSpinBoxChanged);
    connect(m_ui->lowColorButton, &QPushButton::clicked, this, &TileColorTableEditorWidget::sl_lowColorButtonClicked);
    connect(m_ui->midColorButton, &QPushButton::clicked, this, &TileColorTableEditorWidget::sl_midColorButtonClicked);
    connect(m_ui->highColorButton, &QPushButton::clicked, this, &TileColorTableEditorWidget::sl_highColorButtonClicked);
    connect(m_ui->colorDialog, &QColorDialog::currentColorChanged, this,
            &TileColorTableEditorWidget::sl_currentColorChanged);
    // As a designer form does; no slot here is named on_<object>_<signal>, so this
    // connects nothing today.
    QMetaObject::connectSlotsByName(this);
}

TileColorTableDescriptor TileColorTableEditorWidget::colorTableDescriptor() const
{
    return m_descriptor;
}

void TileColorTableEditorWidget::setColorTableDescriptor(const TileColorTableDescriptor& descriptor)
{
    // A copy: the argument may be our own descriptor (a host looping the signal back),
    // which the spin box slots change underway.
    const TileColorTableDescriptor wanted = descriptor;
    m_descriptor.lowColor = wanted.lowColor;
    m_descriptor.midColor = wanted.midColor;
    m_descriptor.highColor = wanted.highColor;
    m_descriptor.rangeLower = wanted.rangeLower;
    m_descriptor.rangeUpper = wanted.rangeUpper;
    m_ui->rangeLowerSpinBox->setValue(wanted.rangeLower);
    m_ui->rangeUppperSpinBox->setValue(wanted.rangeUpper);
    m_ui->lowColorButton->setStyleSheet(colorStyleSheet(wanted.lowColor));
    m_ui->midColorButton->setStyleSheet(colorStyleSheet(wanted.midColor));
    m_ui->highColorButton->setStyleSheet(colorStyleSheet(wanted.highColor));
}

void TileColorTableEditorWidget::setSettings(const TileColorTableEditorWidgetSettings& settings)
{
    m_settings = settings;
    for (QDoubleSpinBox* box : {m_ui->rangeLowerSpinBox, m_ui->rangeUppperSpinBox}) {
        box->setMinimum(m_settings.rangeMinimum);
        box->setMaximum(m_settings.rangeMaximum);
        box->setDecimals(m_settings.decimals);
        box->setSuffix(m_settings.suffix);
        box->setSingleStep(m_settings.singleStep);
    }
}

void TileColorTableEditorWidget::sl_rangeLowerSpinBoxChanged(double value)
{
    // May clamp the upper value, whose slot then emits first.
    adjustOtherBound([&] { m_ui->rangeUppperSpinBox->setMinimum(value + m_settings.singleStep); });
    m_descriptor.rangeLower = value;
    Q_EMIT si_colorTableDescriptorChanged(m_descriptor);
}

void TileColorTableEditorWidget::sl_rangeUpperSpinBoxChanged(double value)
{
    adjustOtherBound([&] { m_ui->rangeLowerSpinBox->setMaximum(value - m_settings.singleStep); });
    m_descriptor.rangeUpper = value;
    Q_EMIT si_colorTableDescriptorChanged(m_descriptor);
}

template <typename Adjust> void TileColorTableEditorWidget::adjustOtherBound(const Adjust& adjust)
{
    // One slot clamping the other box runs the other slot, which moves this box's
    // bound in turn; that is as far as it goes with numbers. Values the boxes cannot
    // order (NaN) would bounce between the two for ever: a third round is left out.
    if (m_boundAdjustmentDepth >= 2)
        return;
    ++m_boundAdjustmentDepth;
    adjust();
    --m_boundAdjustmentDepth;
}

void TileColorTableEditorWidget::sl_currentColorChanged(const QColor& color)
{
    // Before any colour button was clicked no button is being edited: nothing is stored.
    if (m_editedButton)
        m_editedButton->setStyleSheet(colorStyleSheet(color));
    if (m_editedButton == m_ui->lowColorButton)
        m_descriptor.lowColor = color;
    else if (m_editedButton == m_ui->midColorButton)
        m_descriptor.midColor = color;
    else if (m_editedButton == m_ui->highColorButton)
        m_descriptor.highColor = color;
    Q_EMIT si_colorTableDescriptorChanged(m_descriptor);
}

void TileColorTableEditorWidget::sl_lowColorButtonClicked()
{
    editColor(m_ui->lowColorButton, m_descriptor.lowColor);
}

void TileColorTableEditorWidget::sl_midColorButtonClicked()
{
    editColor(m_ui->midColorButton, m_descriptor.midColor);
}

void TileColorTableEditorWidget::sl_highColorButtonClicked()
{
    editColor(m_ui->highColorButton, m_descriptor.highColor);
}

void TileColorTableEditorWidget::editColor(QPushButton* button, const QColor& color)
{
    m_editedButton = button;
    m_ui->colorDialog->setCurrentColor(QColor(color));
    // Window-modal and at once back: the dialog stays open until the user closes it.
    m_ui->colorDialog->open();
}

QColor TileColorTableEditorWidget::selectColor(const QColor& initial, QPushButton* button)
{
    const QColor color = QColorDialog::getColor(initial, this, tr("Select gradient color"));
    if (!color.isValid())
        return initial;
    button->setStyleSheet(colorStyleSheet(color));
    return color;
}

} // namespace mivo::tiling
