// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QFrame>

class QAction;
class QToolButton;

namespace mivo {

class BaseDrawWidget;

/// Settings of a GlobalActionBar. Lengths are device-independent pixels, converted with
/// the drawing widget's horizontal DPI and truncated to whole pixels.
struct GlobalActionBarDisplayerSettings
{
    double margin = 20.0; ///< distance of the bar from the widget's top and right edges
    double spacing = 6.0; ///< spacing between the items of the bar
    double separatorSize = 15.0; ///< width and height of each separator gap
};

/**
 * A narrow vertical strip of tool buttons floating in the top-right corner of a
 * drawing widget, for commands over the whole view. The host adds actions; an action
 * may open a popup panel (any widget) from its button.
 *
 * The bar is a child of the drawing widget and dies with it; buttons, menus and popup
 * panels are children of the bar or of their button. Created before the widget is
 * shown it shows with it; otherwise call show().
 *
 * Its place is set at each resize of the drawing widget from the bar's own width at
 * that moment: buttons added later do not move it until the next resize (kept). Size
 * the bar (adjustSize()) before the widget's first resize for it to stand flush.
 * GUI thread only.
 */
class MIVO_EXPORT GlobalActionBar : public QFrame
{
    Q_OBJECT

public:
    /// @p widget becomes the parent and must outlive every use of the bar.
    explicit GlobalActionBar(BaseDrawWidget& widget);
    ~GlobalActionBar() override;

    /// Appends a tool button for @p action (not owned) and returns it for styling.
    QToolButton* addAction(QAction* action);
    /**
     * Appends a tool button for @p action whose press opens @p popup at once, without
     * a menu arrow on the button. @p popup is resized to its size hint and taken over
     * (it lives in a menu owned by the button). Returns the button.
     */
    QToolButton* addActionWithWidgetPopup(QAction* action, QWidget* popup);
    /// Appends a square gap of separatorSize.
    void addSeparator();

    /// Copies the settings and applies spacing and separator sizes; a changed margin
    /// takes effect at the drawing widget's next resize.
    void setSettings(const GlobalActionBarDisplayerSettings& settings);
    const GlobalActionBarDisplayerSettings& settings() const { return m_settings; }

private Q_SLOTS:
    void sl_widgetResized();

private:
    Q_DISABLE_COPY(GlobalActionBar)

    void setupUi();
    void updateUi();
    QToolButton* appendButton(QToolButton* button, QAction* action);

    BaseDrawWidget& m_widget;
    GlobalActionBarDisplayerSettings m_settings;
};

} // namespace mivo
