// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LevelStatistics.h"

#include <mivo/navigation/SelectionState.h>
#include <mivo/overlays/IInfoWidget.h>

#include <QList>
#include <QPair>
#include <QTimer>

class QLabel;

namespace mivo {
class BaseDrawWidget;
class SelectionManager;
} // namespace mivo

namespace mivo::viewer {

/**
 * The panel beside a finished selection: its frequency range and bandwidth, its time
 * range and duration, and the level statistics of the data under it (peak with where it
 * is, power mean, median) read from the tiles the view has cached. It says when the
 * figures are approximate: coarser tiles standing in, tiles not loaded yet, or a
 * selection reaching beyond the view.
 *
 * The figures follow the selection at once, and the view and arriving tiles shortly
 * after (changes within a few tens of milliseconds are measured once).
 *
 * A child of the drawing widget; the selection manager, tile system and provider are
 * not owned and must outlive it. Show it through an InfoWidgetDisplayer.
 */
class SelectionPanel : public IInfoWidget
{
    Q_OBJECT

public:
    SelectionPanel(BaseDrawWidget& widget, SelectionManager& selection, const tiling::TileSystem& tileSystem,
                   tiling::ITileProvider& provider);
    ~SelectionPanel() override;

    /// A finished selection exists.
    bool hasInfo() const override;
    /// The selection.
    QRectF infoArea() const override;

    /// The level figures last measured.
    const LevelStatistics& statistics() const { return m_statistics; }
    /// The figures as "name: value" lines, as shown.
    QString figuresText() const;

public Q_SLOTS:
    /// Puts figuresText() on the clipboard, when there is a selection.
    void copyToClipboard() const;
    /// Measures again now.
    void refresh();

Q_SIGNALS:
    /// The figures were measured again (they may be the same).
    void si_figuresChanged();

private:
    Q_DISABLE_COPY(SelectionPanel)

    void sl_selectionChanged(const QRectF& selection, mivo::SelectionState state);
    void scheduleRefresh();
    QList<QPair<QString, QString>> rows() const;

    BaseDrawWidget& m_widget;
    SelectionManager& m_selection;
    SelectionStatistics m_measure;
    LevelStatistics m_statistics;
    QRectF m_area;
    bool m_hasInfo = false;
    QTimer m_refreshTimer;
    QList<QPair<QLabel*, QLabel*>> m_labels;
};

} // namespace mivo::viewer
