// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QMap>
#include <QString>
#include <QWidget>

#include <functional>

class QRadioButton;
class QVBoxLayout;

namespace mivo::tiling {

class TileSourceManager;
struct TileSource;

struct MIVO_EXPORT TileSourceSelectionWidgetSettings
{
    TileSourceSelectionWidgetSettings();

    std::function<QString(double)> frequencyFormatter; ///< Hz; default defaultFrequencyFormatter
    std::function<QString(double)> timeFormatter; ///< seconds since the epoch; default defaultTimeFormatter
};

/**
 * One radio button per tile source of a TileSourceManager, below a button "None",
 * with which the user picks a source. A button shows the source's name and, once its
 * descriptor is known, two more lines: the frequency range and the time range of its
 * extents.
 *
 * The buttons are made anew whenever the manager's list changes (the old ones are
 * deleted later, by the event loop). From top to bottom: "None", then the sources in
 * ascending order of name (by character code, case-sensitive). The active source
 * survives the rebuild: its button is checked again. Meant for tens of sources: every
 * change of the manager (three per source) makes all buttons anew.
 *
 * The host connects si_activeTileSourceChanged() to whatever switches the provider
 * (TileSourceManager::tileSource(id).baseUrl gives the URL) and reports the source
 * it shows with setActiveTileSource().
 *
 * GUI thread only. The manager is not owned and must outlive the widget.
 */
class MIVO_EXPORT TileSourceSelectionWidget : public QWidget
{
    Q_OBJECT

public:
    /// @p parent is not passed on (kept): the widget is made without a parent, and the
    /// host places and owns it. Shows the manager's current list at once.
    explicit TileSourceSelectionWidget(TileSourceManager& tileSourceManager, QWidget* parent = nullptr);
    ~TileSourceSelectionWidget() override;

    /// Takes both formatters. Buttons already shown keep their text until the next rebuild.
    void setSettings(const TileSourceSelectionWidgetSettings& settings);

    /// The id last picked or set; null at start (the "None" choice).
    const QString& activeTileSource() const { return m_activeTileSource; }

public Q_SLOTS:
    /// Stores @p id and checks its button if there is one (the others uncheck); an
    /// unknown id checks nothing and leaves the checked button as it was. Emits nothing.
    void setActiveTileSource(const QString& id);

Q_SIGNALS:
    /// The user clicked a button: the source's id, null for "None". Emitted on every
    /// click, also on the button that is checked already.
    void si_activeTileSourceChanged(const QString& id);

private Q_SLOTS:
    void sl_tileSourceListChanged();
    void sl_tileSourceSelected();

private:
    Q_DISABLE_COPY(TileSourceSelectionWidget)

    void setupUi();
    QString tileSourceText(const TileSource& tileSource) const;

    TileSourceManager& m_tileSourceManager;
    TileSourceSelectionWidgetSettings m_settings;
    QVBoxLayout* m_layout = nullptr; ///< owned through the parent chain
    QString m_activeTileSource;
    QMap<QString, QRadioButton*> m_buttons; ///< by source id; owned through the parent chain
};

} // namespace mivo::tiling
