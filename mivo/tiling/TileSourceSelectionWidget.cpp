// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileSourceSelectionWidget.h>

#include <mivo/core/DefaultFormatters.h>
#include <mivo/tiling/TileSource.h>
#include <mivo/tiling/TileSourceManager.h>

#include <QRadioButton>
#include <QVBoxLayout>
#include <QVariant>

#include <algorithm>

namespace mivo::tiling {

namespace {

// The dynamic property of each button that carries its source's id; the name says
// "baseUrl", the value is the id (kept).
const char sourceProperty[] = "baseUrl";

} // namespace

TileSourceSelectionWidgetSettings::TileSourceSelectionWidgetSettings()
    : frequencyFormatter(&defaultFrequencyFormatter)
    , timeFormatter(&defaultTimeFormatter)
{
}

TileSourceSelectionWidget::TileSourceSelectionWidget(TileSourceManager& tileSourceManager, QWidget* parent)
    : QWidget(nullptr) // kept: the parent is not passed on
    , m_tileSourceManager(tileSourceManager)
{
    Q_UNUSED(parent)
    setupUi();
    connect(&m_tileSourceManager, &TileSourceManager::si_tileSourceListChanged, this,
            &TileSourceSelectionWidget::sl_tileSourceListChanged);
}

TileSourceSelectionWidget::~TileSourceSelectionWidget() = default;

void TileSourceSelectionWidget::setupUi()
{
    m_layout = new QVBoxLayout(this);
    setLayout(m_layout);
    sl_tileSourceListChanged();
}

void TileSourceSelectionWidget::setSettings(const TileSourceSelectionWidgetSettings& settings)
{
    m_settings.frequencyFormatter = settings.frequencyFormatter;
    m_settings.timeFormatter = settings.timeFormatter;
}

void TileSourceSelectionWidget::setActiveTileSource(const QString& id)
{
    m_activeTileSource = id;
    if (QRadioButton* button = m_buttons.value(id))
        button->setChecked(true);
}

void TileSourceSelectionWidget::sl_tileSourceListChanged()
{
    // Every button of the layout goes, also one that a second source with the same id
    // has pushed out of the map.
    m_buttons.clear();
    while (QLayoutItem* item = m_layout->takeAt(0)) {
        if (QWidget* button = item->widget()) {
            button->hide();
            button->deleteLater();
        }
        delete item;
    }

    QList<TileSource> sources = m_tileSourceManager.tileSources();
    std::stable_sort(sources.begin(), sources.end(),
                     [](const TileSource& a, const TileSource& b) { return a.name > b.name; });
    TileSource none;
    none.name = tr("None");
    sources.append(none);

    // Each button goes to the top: "None" ends up first, then the names ascend.
    for (const TileSource& source : qAsConst(sources)) {
        auto* button = new QRadioButton(tileSourceText(source), this);
        m_buttons.insert(source.id, button);
        m_layout->insertWidget(0, button);
        button->setProperty(sourceProperty, QVariant(source.id));
        connect(button, &QRadioButton::clicked, this, &TileSourceSelectionWidget::sl_tileSourceSelected);
    }

    if (QRadioButton* active = m_buttons.value(m_activeTileSource))
        active->setChecked(true);
}

void TileSourceSelectionWidget::sl_tileSourceSelected()
{
    const QObject* button = sender();
    if (!button)
        return;
    const QVariant id = button->property(sourceProperty);
    if (!id.isValid())
        return;
    m_activeTileSource = id.toString();
    Q_EMIT si_activeTileSourceChanged(m_activeTileSource);
}

QString TileSourceSelectionWidget::tileSourceText(const TileSource& tileSource) const
{
    if (tileSource.descriptor.name.isNull())
        return tileSource.name;
    const QRectF& extents = tileSource.extents;
    //: A tile source's button: its name, its frequency range, its time range.
    return tr("%1\n%2 - %3\n%4 - %5")
        .arg(tileSource.name, m_settings.frequencyFormatter(extents.left()),
             m_settings.frequencyFormatter(extents.left() + extents.width()), m_settings.timeFormatter(extents.top()),
             m_settings.timeFormatter(extents.top() + extents.height()));
}

} // namespace mivo::tiling
