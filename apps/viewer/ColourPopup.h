// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LevelStatistics.h"

#include <QMap>
#include <QWidget>

#include <functional>
#include <optional>

class QAbstractButton;
class QAction;

namespace mivo::tiling {
class TileColorTableEditorWidget;
}

namespace mivo::viewer {

class WaterfallColours;

/**
 * The colour panel of the action bar: the library's colour table editor (two levels,
 * three colours, Reset, Auto adjust) beside a column of buttons, one per colour
 * preset. Every edit, preset, reset and automatic adjustment goes through the
 * WaterfallColours, and the editor follows every change of their scheme, whoever
 * made it; the button of the preset the scheme shows is checked.
 *
 * The editor's level boxes span -127 to 127 dB, widened to whole dB for levels
 * beyond that (they never narrow again).
 *
 * Reset restores the scheme the viewer started with. Auto adjust takes the levels
 * that @p measure finds for the data in view; without any (no tile of the view has
 * arrived yet) nothing changes.
 *
 * The colours are not owned and must outlive the panel.
 */
class ColourPopup : public QWidget
{
    Q_OBJECT

public:
    using LevelMeasure = std::function<std::optional<LevelRange>()>;

    ColourPopup(WaterfallColours& colours, LevelMeasure measure, QWidget* parent = nullptr);
    ~ColourPopup() override;

    /// Opens the panel (the action bar gives it its button); a child of the panel.
    QAction* action() const { return m_action; }
    tiling::TileColorTableEditorWidget& editor() const { return *m_editor; }
    /// The button of the preset named @p name, or nullptr.
    QAbstractButton* presetButton(const QString& name) const { return m_presetButtons.value(name, nullptr); }

public Q_SLOTS:
    /// Sets the levels from the data in view; false, with nothing changed, without data.
    bool autoAdjust();

private:
    Q_DISABLE_COPY(ColourPopup)

    void showScheme();
    /// Lets the editor's level boxes reach @p lower and @p upper (dB); never narrows them.
    void widenEditorRange(double lower, double upper);

    WaterfallColours& m_colours;
    const LevelMeasure m_measure;
    tiling::TileColorTableEditorWidget* m_editor; ///< a child
    QAction* m_action = nullptr;
    QMap<QString, QAbstractButton*> m_presetButtons; ///< by preset name; children
};

} // namespace mivo::viewer
