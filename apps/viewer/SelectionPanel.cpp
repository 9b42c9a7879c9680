// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SelectionPanel.h"

#include "ViewerFormatters.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/tiling/ITileProvider.h>

#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QLabel>

namespace mivo::viewer {

namespace {

// Arriving tiles and view steps come in bursts: one measurement per burst.
constexpr int refreshDelayMs = 40;

QString approximationNote(const LevelStatistics& statistics)
{
    QStringList reasons;
    if (statistics.standInTiles > 0) {
        reasons << SelectionPanel::tr("coarser tiles stand in for %1 of %2 tiles")
                       .arg(statistics.standInTiles)
                       .arg(statistics.tileCount);
    }
    if (statistics.missingTiles > 0)
        reasons
            << SelectionPanel::tr("%1 of %2 tiles not loaded").arg(statistics.missingTiles).arg(statistics.tileCount);
    if (statistics.clippedByView)
        reasons << SelectionPanel::tr("only the part in view is measured");
    return reasons.join(QStringLiteral("; "));
}

} // namespace

SelectionPanel::SelectionPanel(BaseDrawWidget& widget, SelectionManager& selection,
                               const tiling::TileSystem& tileSystem, tiling::ITileProvider& provider)
    : IInfoWidget(&widget)
    , m_widget(widget)
    , m_selection(selection)
    , m_measure(tileSystem, provider)
{
    setObjectName(QStringLiteral("selectionPanel"));
    // Light text on a dark, slightly translucent ground: it floats over the waterfall.
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor(18, 20, 26, 232));
    colours.setColor(QPalette::WindowText, QColor(232, 232, 232));
    colours.setColor(QPalette::Text, QColor(232, 232, 232));
    setPalette(colours);
    setFrameShape(QFrame::Box);
    auto* grid = new QGridLayout(this);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(2);

    m_refreshTimer.setSingleShot(true);
    m_refreshTimer.setInterval(refreshDelayMs);
    connect(&m_refreshTimer, &QTimer::timeout, this, &SelectionPanel::refresh);
    connect(&m_selection, &SelectionManager::si_selectionChanged, this, &SelectionPanel::sl_selectionChanged);
    connect(&m_widget.coordSystem(), &CoordSystem::si_displayedValueRangeChanged, this,
            &SelectionPanel::scheduleRefresh);
    connect(&provider, &tiling::ITileProvider::si_tileAvailable, this, &SelectionPanel::scheduleRefresh);
    sl_selectionChanged(m_selection.selection(), m_selection.state());
}

SelectionPanel::~SelectionPanel() = default;

bool SelectionPanel::hasInfo() const
{
    return m_hasInfo;
}

QRectF SelectionPanel::infoArea() const
{
    return m_area;
}

void SelectionPanel::sl_selectionChanged(const QRectF& selection, SelectionState state)
{
    const bool hasInfo = state == SelectionFinished;
    const QRectF area = hasInfo ? selection.normalized() : QRectF();
    const bool areaChanged = area != m_area;
    const bool hasInfoChanged = hasInfo != m_hasInfo;
    m_area = area;
    m_hasInfo = hasInfo;
    if (m_hasInfo)
        refresh();
    else
        m_refreshTimer.stop();
    if (hasInfoChanged)
        Q_EMIT si_hasInfoChanged();
    else if (areaChanged)
        Q_EMIT si_infoAreaChanged();
}

void SelectionPanel::scheduleRefresh()
{
    if (m_hasInfo && !m_refreshTimer.isActive())
        m_refreshTimer.start();
}

void SelectionPanel::refresh()
{
    m_refreshTimer.stop();
    if (!m_hasInfo)
        return;
    const CoordSystem& coords = m_widget.coordSystem();
    m_statistics = m_measure.measure(m_area, coords.displayedValueRange(), coords.x().scale(), coords.y().scale());

    const QSize before = sizeHint();
    auto* grid = static_cast<QGridLayout*>(layout());
    const QList<QPair<QString, QString>> texts = rows();
    for (int row = 0; row < texts.size(); ++row) {
        if (row == m_labels.size()) {
            m_labels.append(qMakePair(new QLabel(this), new QLabel(this)));
            grid->addWidget(m_labels.constLast().first, row, 0, Qt::AlignLeft | Qt::AlignTop);
            grid->addWidget(m_labels.constLast().second, row, 1, Qt::AlignLeft | Qt::AlignTop);
        }
        m_labels.at(row).first->setText(texts.at(row).first);
        m_labels.at(row).second->setText(texts.at(row).second);
        m_labels.at(row).first->show();
        m_labels.at(row).second->show();
    }
    for (int row = texts.size(); row < m_labels.size(); ++row) {
        m_labels.at(row).first->hide();
        m_labels.at(row).second->hide();
    }
    // A new size must be placed again: the displayer fixes the panel's size.
    if (sizeHint() != before)
        Q_EMIT si_infoAreaChanged();
    Q_EMIT si_figuresChanged();
}

QList<QPair<QString, QString>> SelectionPanel::rows() const
{
    const CoordSystem& coords = m_widget.coordSystem();
    const double frequencyStep = coords.x().scale(); // a screen pixel: the selection's precision
    const double timeStep = coords.y().scale();
    const QRectF& area = m_area;
    const LevelStatistics& levels = m_statistics;

    QList<QPair<QString, QString>> rows;
    rows.append({tr("Frequency"), formatFrequencyRange(area.left(), area.right(), frequencyStep)});
    rows.append({tr("Bandwidth"), formatFrequency(area.width(), frequencyStep)});
    rows.append({tr("Time"),
                 formatTime(area.top(), timeStep) + QStringLiteral(" – ")
                     + formatTime(area.bottom(), timeStep, startsNewDay(area.bottom(), area.height()))
                     + QStringLiteral(" UTC")});
    rows.append({tr("Duration"), formatDuration(area.height(), timeStep)});
    if (levels.hasData()) {
        // The peak stands at a pixel's centre: one digit more than the pixel shows it.
        rows.append({tr("Peak"),
                     tr("%1 at %2, %3")
                         .arg(formatLevel(levels.peakLevel),
                              formatFrequency(levels.peakPosition.x(), levels.frequencyResolution / 10.0),
                              formatTime(levels.peakPosition.y(), levels.timeResolution / 10.0, false))});
        rows.append({tr("Mean (power)"), formatLevel(levels.meanLevel)});
        rows.append({tr("Median"), formatLevel(levels.medianLevel)});
    } else if (levels.measuredArea.isNull()) {
        rows.append({tr("Levels"), tr("not in view")});
    } else {
        rows.append({tr("Levels"), levels.missingTiles > 0 ? tr("not loaded yet") : tr("no data")});
    }
    if (levels.isApproximate())
        rows.append({tr("Approximate"), approximationNote(levels)});
    return rows;
}

QString SelectionPanel::figuresText() const
{
    if (!m_hasInfo)
        return QString();
    QStringList lines;
    for (const auto& row : rows())
        lines << row.first + QStringLiteral(": ") + row.second;
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

void SelectionPanel::copyToClipboard() const
{
    if (m_hasInfo)
        QApplication::clipboard()->setText(figuresText());
}

} // namespace mivo::viewer
