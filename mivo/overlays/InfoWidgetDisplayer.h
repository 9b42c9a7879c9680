// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QList>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSizeF>

namespace mivo {

class BaseDrawWidget;
class IInfoWidget;

/// Settings of an InfoWidgetDisplayer (the name is spelt so on purpose). Lengths are
/// device-independent pixels, converted with the drawing widget's horizontal DPI.
struct InfoWdigetDisplayerSettings
{
    double spacing = 10.0; ///< horizontal gap between the info area and the panel
    double margin = 30.0; ///< distance the panel keeps from every edge of the drawing widget
};

/**
 * Shows at most one of its registered info panels over a drawing widget: the first in
 * registration order whose hasInfo() is true. The panel stands beside its info area,
 * which is kept in sight as the view pans and zooms:
 *
 * - to the right of the visible part of the area, @c spacing away; where it would
 *   cross the right margin, to the left of the area; where it would then cross the
 *   left margin, inside the area at its right edge and @c spacing lower than its top;
 * - at the area's top, raised only as far as needed to end at the bottom margin
 *   (the top is not clamped);
 * - hidden when the area leaves the widget less its margins, or when the panel is
 *   taller than that.
 *
 * The displayer reacts to a panel's signals after the event loop turns (queued), and
 * re-places the current panel whenever the displayed value range changes.
 *
 * The displayer owns no panel. A panel destroyed while registered leaves the list and
 * the choice is made again after the event loop turns. The drawing widget is not
 * owned and must outlive the displayer. GUI thread only.
 */
class MIVO_EXPORT InfoWidgetDisplayer : public QObject
{
    Q_OBJECT

public:
    explicit InfoWidgetDisplayer(BaseDrawWidget& widget);
    ~InfoWidgetDisplayer() override;

    /**
     * Appends @p infoWidget (not owned) to the list, hides it, keeps its mouse events
     * from reaching the drawing widget, gives it the arrow cursor, listens to its two
     * signals (queued) and chooses the panel to show at once. A null pointer is ignored.
     */
    void addInfoWidget(IInfoWidget* infoWidget);
    /**
     * Removes every occurrence of @p infoWidget from the list and stops listening to
     * it. The current panel stays current and visible even when it is the one removed
     * (kept): the caller hides or deletes it, and the next choice replaces it.
     */
    void removeInfoWidget(IInfoWidget* infoWidget);

    /// Copies the settings; nothing is re-placed until the next update.
    void setSettings(const InfoWdigetDisplayerSettings& settings);
    const InfoWdigetDisplayerSettings& settings() const { return m_settings; }

    /// The registered panels, in registration order.
    const QList<IInfoWidget*>& infoWidgets() const { return m_infoWidgets; }
    /// The panel chosen to show; null when none.
    IInfoWidget* currentInfoWidget() const { return m_currentInfoWidget; }

    /**
     * The room other overlays should leave for the current panel: its width plus the
     * spacing (in pixels) by its height, or (-1, -1) when no panel is current and visible.
     */
    QSizeF currentInfoWidgetRequiredSize() const;

private Q_SLOTS:
    void sl_widgetHasInfoChanged();
    void sl_widgetInfoAreaChanged();
    void sl_displayedValueRangeChanged();

private:
    Q_DISABLE_COPY(InfoWidgetDisplayer)

    void updateWidget();
    QRectF suitableWidgetPosition() const;
    void forget(IInfoWidget* infoWidget);

    BaseDrawWidget& m_widget;
    InfoWdigetDisplayerSettings m_settings;
    QList<IInfoWidget*> m_infoWidgets;
    // Guarded: the caller may delete the current panel after removing it.
    QPointer<IInfoWidget> m_currentInfoWidget;
};

} // namespace mivo
