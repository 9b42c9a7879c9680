// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/TileColorTableDescriptor.h>

#include <QString>
#include <QWidget>

#include <memory>

class QColor;
class QPushButton;

namespace mivo::tiling {

struct MIVO_EXPORT TileColorTableEditorWidgetSettings
{
    /// Sets suffix to the translation of "dbµV" (the lower-case b is kept).
    TileColorTableEditorWidgetSettings();

    double rangeMinimum = -127.0; ///< lowest value either spin box takes
    double rangeMaximum = 127.0; ///< highest value either spin box takes
    double singleStep = 1.0; ///< spin box step, and the least distance kept between the levels
    int decimals = 0; ///< decimals the spin boxes show
    QString suffix; ///< unit text behind the spin box values
    int levelCount = 256; ///< stored only; the widget does not use it
};

/**
 * A small panel to edit a TileColorTableDescriptor: three buttons show the high,
 * middle and low colour of the gradient (top to bottom) between a spin box for the
 * upper level above them and one for the lower level below them; two tool buttons
 * ask the host to reset the colours or to adjust the levels automatically.
 *
 * Every edit is announced at once with the whole descriptor, for the host to pass to
 * TilePaintHandler::setTileColorTableDescriptor(). A colour button opens the widget's
 * colour dialog (a popup window, window type value 9, kept) window-modally on that
 * colour; the colour follows the dialog live as the user browses, each change emitted
 * (cancelling does not restore the former colour). Changes in the dialog before any
 * colour button was clicked change no colour but are emitted all the same. The lower level is kept at least
 * one singleStep below the upper one: when a level pushes the other box's bound past
 * its value, the toolkit clamps that value and the descriptor is emitted twice, first
 * with the clamped level, then with the one set. (Levels the boxes cannot order, NaN,
 * stop after that second round instead of bouncing between the boxes for ever.) Reset and automatic adjustment are
 * only signalled; the host answers with setColorTableDescriptor().
 *
 * Object names of the parts, for styling and tests: "ColorTableEditorWidget" (the
 * widget, unless named already), "rangeUppperSpinBox" (three p, kept),
 * "highColorButton", "midColorButton", "lowColorButton", "rangeLowerSpinBox",
 * "resetButton", "adjustButton", "colorDialog"; layouts "horizontalLayout",
 * "verticalLayout", "verticalLayout_2", "horizontalLayout_2".
 *
 * GUI thread only.
 */
class MIVO_EXPORT TileColorTableEditorWidget : public QWidget
{
    Q_OBJECT

public:
    /// @p parent is not passed on (kept): the widget is made without a parent, and the
    /// host places and owns it. Shows the default descriptor with default settings.
    explicit TileColorTableEditorWidget(QWidget* parent = nullptr);
    ~TileColorTableEditorWidget() override;

    TileColorTableDescriptor colorTableDescriptor() const;

    /**
     * Takes the colours and levels, sets the lower spin box, then the upper one, then
     * colours the three buttons. Emits nothing itself, but each spin box whose value
     * changes emits si_colorTableDescriptorChanged() through its slot (so up to two
     * emissions; none when the levels are unchanged). A level the spin box cannot take
     * is clamped by it, and the clamped value is stored only if the box's value changed.
     */
    void setColorTableDescriptor(const TileColorTableDescriptor& descriptor);

    /**
     * Takes all fields and applies range, decimals, suffix and step to the lower, then
     * the upper spin box. Emits nothing itself and does not reapply the descriptor; a
     * value the toolkit clamps into a smaller range is emitted through the slots.
     */
    void setSettings(const TileColorTableEditorWidgetSettings& settings);
    const TileColorTableEditorWidgetSettings& settings() const { return m_settings; }

Q_SIGNALS:
    /// A level or a colour changed; the whole current descriptor.
    void si_colorTableDescriptorChanged(const mivo::tiling::TileColorTableDescriptor& colorTable);
    /// The reset button was clicked; nothing else happens.
    void si_resetClicked();
    /// The auto-adjust button was clicked; nothing else happens.
    void si_autoAdjustClicked();

private Q_SLOTS:
    void sl_rangeLowerSpinBoxChanged(double value);
    void sl_rangeUpperSpinBoxChanged(double value);
    void sl_currentColorChanged(const QColor& color);
    void sl_lowColorButtonClicked();
    void sl_midColorButtonClicked();
    void sl_highColorButtonClicked();

private:
    Q_DISABLE_COPY(TileColorTableEditorWidget)

    struct Ui;

    void setupUi();
    void editColor(QPushButton* button, const QColor& color);
    template <typename Adjust> void adjustOtherBound(const Adjust& adjust);
    /// A modal colour chooser for @p button: the chosen colour, or @p initial when
    /// the user cancels. Not used by the widget itself.
    QColor selectColor(const QColor& initial, QPushButton* button);

    const std::unique_ptr<Ui> m_ui;
    TileColorTableEditorWidgetSettings m_settings;
    TileColorTableDescriptor m_descriptor;
    QPushButton* m_editedButton = nullptr; ///< the button the colour dialog edits; not owned
    int m_boundAdjustmentDepth = 0; ///< range slots moving the other box's bound, nested
};

} // namespace mivo::tiling
