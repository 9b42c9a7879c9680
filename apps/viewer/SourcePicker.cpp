// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SourcePicker.h"

#include "ViewerFormatters.h"
#include "ViewerResources.h"

#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include <QAction>
#include <QIcon>
#include <QMenu>

namespace mivo::viewer {

SourcePicker::SourcePicker(QObject* parent)
    : QObject(parent)
    , m_manager(std::make_unique<tiling::TileSourceManager>())
    , m_ownedPicker(std::make_unique<tiling::TileSourceSelectionWidget>(*m_manager))
    , m_picker(m_ownedPicker.get())
{
    initViewerResources();
    m_action = new QAction(QIcon(QStringLiteral(":/viewer/sources.svg")), tr("Sources"), this);
    m_picker->setObjectName(QStringLiteral("sourcePicker"));
    tiling::TileSourceSelectionWidgetSettings settings;
    settings.frequencyFormatter = [](double hertz) { return formatFrequency(hertz, 100.0); };
    settings.timeFormatter = [](double seconds) { return formatTime(seconds, 0.1); };
    m_picker->setSettings(settings);
    m_action->setToolTip(tr("Pick the tile source to show"));
    m_action->setEnabled(false);

    connect(m_manager.get(), &tiling::TileSourceManager::si_tileSourceListChanged, m_action,
            [this] { m_action->setEnabled(!m_manager->tileSources().isEmpty()); });
    connect(m_manager.get(), &tiling::TileSourceManager::si_discoveryFinished, this,
            &SourcePicker::sl_discoveryFinished);
    connect(m_picker, &tiling::TileSourceSelectionWidget::si_activeTileSourceChanged, this, &SourcePicker::sl_picked);
}

SourcePicker::~SourcePicker() = default;

QWidget* SourcePicker::takePicker()
{
    return m_ownedPicker.release();
}

void SourcePicker::start(const TileSourceLocation& location)
{
    if (!location.discoveryUrl.isEmpty())
        m_manager->discoverTileSources(location.discoveryUrl);
    if (location.awaitDiscovery && !location.discoveryUrl.isEmpty()) {
        m_fallbackUrl = location.baseUrl;
        m_awaitingDiscovery = true;
        return;
    }
    choose(location.baseUrl, location.sourceId);
}

void SourcePicker::sl_discoveryFinished()
{
    if (!m_awaitingDiscovery)
        return;
    m_awaitingDiscovery = false;
    const QList<tiling::TileSource>& sources = m_manager->tileSources();
    if (sources.isEmpty())
        choose(m_fallbackUrl, QString());
    else
        choose(sources.constFirst().baseUrl, sources.constFirst().id);
}

void SourcePicker::sl_picked(const QString& id)
{
    m_awaitingDiscovery = false; // the user's choice wins over the first discovered
    choose(id.isNull() ? QString() : m_manager->tileSource(id).baseUrl, id);
    for (QWidget* up = m_picker->parentWidget(); up; up = up->parentWidget()) {
        if (auto* menu = qobject_cast<QMenu*>(up)) {
            menu->close();
            break;
        }
    }
}

void SourcePicker::choose(const QString& baseUrl, const QString& id)
{
    if (!id.isEmpty())
        m_picker->setActiveTileSource(id);
    Q_EMIT si_sourceChosen(baseUrl);
}

} // namespace mivo::viewer
