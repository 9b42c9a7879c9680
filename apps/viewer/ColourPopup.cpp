// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ColourPopup.h"

#include "ViewerResources.h"
#include "WaterfallColours.h"

#include <mivo/tiling/TileColorTableEditorWidget.h>

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QPainter>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace mivo::viewer {

namespace {

// The preset's colours from left (lower level) to right, as a button icon.
QIcon swatch(const ColourPreset& preset)
{
    QPixmap pixmap(48, 14);
    QLinearGradient gradient(0.0, 0.0, pixmap.width(), 0.0);
    gradient.setStops(preset.stops);
    QPainter painter(&pixmap);
    painter.fillRect(pixmap.rect(), gradient);
    painter.setPen(QColor(128, 128, 128));
    painter.drawRect(pixmap.rect().adjusted(0, 0, -1, -1));
    return QIcon(pixmap);
}

} // namespace

ColourPopup::ColourPopup(WaterfallColours& colours, LevelMeasure measure, QWidget* parent)
    : QWidget(parent)
    , m_colours(colours)
    , m_measure(std::move(measure))
    , m_editor(new tiling::TileColorTableEditorWidget)
{
    initViewerResources();
    setObjectName(QStringLiteral("colourPopup"));
    m_action = new QAction(QIcon(QStringLiteral(":/viewer/colours.svg")), tr("Colours"), this);
    m_action->setToolTip(tr("Colours and levels of the waterfall"));
    tiling::TileColorTableEditorWidgetSettings settings = m_editor->settings();
    settings.suffix = tr(" dB"); // the levels mivo-tilegen writes are dBFS, not dBµV
    m_editor->setSettings(settings);

    auto* presets = new QVBoxLayout;
    presets->setSpacing(2);
    presets->addWidget(new QLabel(tr("Presets"), this));
    for (const ColourPreset& preset : colourPresets()) {
        auto* button = new QToolButton(this);
        button->setObjectName(QStringLiteral("preset-") + preset.name);
        button->setText(tr(preset.title));
        button->setIcon(swatch(preset));
        button->setIconSize(QSize(48, 14));
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setCheckable(true);
        button->setAutoRaise(true);
        button->setToolTip(tr("Colour the levels with the %1 map (--palette %2)").arg(tr(preset.title), preset.name));
        const QString name = preset.name;
        connect(button, &QToolButton::clicked, this, [this, name] {
            if (const ColourPreset* chosen = findColourPreset(name))
                m_colours.applyPreset(*chosen);
            showScheme(); // also re-checks a button clicked on the preset shown already
        });
        presets->addWidget(button);
        m_presetButtons.insert(preset.name, button);
    }
    presets->addStretch(1);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(m_editor); // the editor is made without a parent; the layout gives it one
    layout->addLayout(presets);

    connect(m_editor, &tiling::TileColorTableEditorWidget::si_colorTableDescriptorChanged, &m_colours,
            &WaterfallColours::setDescriptor);
    connect(m_editor, &tiling::TileColorTableEditorWidget::si_resetClicked, &m_colours, &WaterfallColours::reset);
    connect(m_editor, &tiling::TileColorTableEditorWidget::si_autoAdjustClicked, this, &ColourPopup::autoAdjust);
    connect(&m_colours, &WaterfallColours::si_schemeChanged, this, &ColourPopup::showScheme);
    showScheme();
}

ColourPopup::~ColourPopup() = default;

bool ColourPopup::autoAdjust()
{
    const std::optional<LevelRange> levels = m_measure ? m_measure() : std::nullopt;
    if (!levels)
        return false;
    m_colours.setLevels(levels->lower, levels->upper);
    return true;
}

void ColourPopup::widenEditorRange(double lower, double upper)
{
    // The editor's boxes stop at +-127 dB by default; levels beyond (a --level-range, or
    // a source whose levels reach further) would show clamped. Whole dB, as it shows them.
    tiling::TileColorTableEditorWidgetSettings settings = m_editor->settings();
    const double minimum
        = std::isfinite(lower) ? std::floor(std::min(settings.rangeMinimum, lower)) : settings.rangeMinimum;
    const double maximum
        = std::isfinite(upper) ? std::ceil(std::max(settings.rangeMaximum, upper)) : settings.rangeMaximum;
    if (!(minimum < settings.rangeMinimum || maximum > settings.rangeMaximum))
        return;
    settings.rangeMinimum = minimum;
    settings.rangeMaximum = maximum;
    m_editor->setSettings(settings);
}

void ColourPopup::showScheme()
{
    const ColourScheme& scheme = m_colours.scheme();
    {
        // The editor's echoes of what it is shown are no edits.
        const QSignalBlocker blocker(m_editor);
        widenEditorRange(scheme.descriptor.rangeLower, scheme.descriptor.rangeUpper);
        m_editor->setColorTableDescriptor(scheme.descriptor);
        // The editor sets the lower level first, bounded by the upper one it shows: a
        // range wholly above the old one needs a second pass.
        const tiling::TileColorTableDescriptor shown = m_editor->colorTableDescriptor();
        if (shown.rangeLower != scheme.descriptor.rangeLower || shown.rangeUpper != scheme.descriptor.rangeUpper)
            m_editor->setColorTableDescriptor(scheme.descriptor);
    }
    for (const ColourPreset& preset : colourPresets()) {
        const ColourScheme presetScheme
            = colourSchemeOf(preset, scheme.descriptor.rangeLower, scheme.descriptor.rangeUpper);
        m_presetButtons.value(preset.name)->setChecked(presetScheme == scheme);
    }
}

} // namespace mivo::viewer
