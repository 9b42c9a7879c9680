// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "AnnotationPanel.h"

#include "AnnotationWorkspaces.h"
#include "ViewerFormatters.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/sdm/SdmWorkspace.h>

#include <QVBoxLayout>

namespace mivo::viewer {

namespace {

QString timeRange(const QRectF& rect, double resolution)
{
    return formatTime(rect.top(), resolution) + QStringLiteral(" – ")
        + formatTime(rect.bottom(), resolution, startsNewDay(rect.bottom(), rect.height())) + QStringLiteral(" UTC");
}

} // namespace

QStringList describeAnnotation(const QString& label, const QRectF& rect, double frequencyResolution,
                               double timeResolution)
{
    return {label, formatFrequencyRange(rect.left(), rect.right(), frequencyResolution),
            timeRange(rect, timeResolution)};
}

AnnotationPanel::AnnotationPanel(BaseDrawWidget& widget, AnnotationWorkspaces& workspaces)
    : IInfoWidget(&widget)
    , m_widget(widget)
    , m_workspaces(workspaces)
    , m_label(new QLabel(this))
{
    setObjectName(QStringLiteral("annotationPanel"));
    // As the selection's panel: light text on a dark, slightly translucent ground.
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor(18, 20, 26, 232));
    colours.setColor(QPalette::WindowText, QColor(232, 232, 232));
    setPalette(colours);
    setFrameShape(QFrame::Box);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    m_label->setTextFormat(Qt::PlainText);

    const sdm::SdmWorkspaceRepository& repository = m_workspaces.repository();
    connect(&repository, &sdm::SdmWorkspaceRepository::si_workspaceSelectionChanged, this, &AnnotationPanel::refresh);
    connect(&repository, &sdm::SdmWorkspaceRepository::si_activeWorkspaceChanged, this, &AnnotationPanel::refresh);
    connect(&repository, &sdm::SdmWorkspaceRepository::si_workspaceChanged, this, &AnnotationPanel::refresh);
    refresh();
}

AnnotationPanel::~AnnotationPanel() = default;

bool AnnotationPanel::hasInfo() const
{
    return m_hasInfo;
}

QRectF AnnotationPanel::infoArea() const
{
    return m_area;
}

QString AnnotationPanel::text() const
{
    return m_hasInfo ? m_label->text() : QString();
}

void AnnotationPanel::refresh()
{
    const std::shared_ptr<sdm::SdmWorkspace> active = m_workspaces.repository().activeWorkspace();
    const QList<sdm::SdmWorkspaceItem> selected = active ? active->selectedItems() : QList<sdm::SdmWorkspaceItem>();
    const bool hadInfo = m_hasInfo;
    const QRectF oldArea = m_area;
    const QSize oldSize = sizeHint();
    m_hasInfo = !selected.isEmpty();
    const CoordSystem& coords = m_widget.coordSystem();
    const double frequencyStep = coords.x().scale();
    const double timeStep = coords.y().scale();
    QStringList lines;
    if (selected.size() == 1) {
        const sdm::SdmWorkspaceItem& item = selected.constFirst();
        const std::optional<Annotation> annotation = m_workspaces.activeAnnotation(item.id);
        const QString label = annotation && !annotation->label.isEmpty() ? annotation->label : item.id;
        m_area = item.rect;
        lines << label
              << tr("Frequency: %1").arg(formatFrequencyRange(item.rect.left(), item.rect.right(), frequencyStep))
              << tr("Bandwidth: %1").arg(formatFrequency(item.rect.width(), frequencyStep))
              << tr("Time: %1").arg(timeRange(item.rect, timeStep))
              << tr("Duration: %1").arg(formatDuration(item.rect.height(), timeStep));
    } else if (m_hasInfo) {
        QRectF area;
        for (const sdm::SdmWorkspaceItem& item : selected)
            area = area.isNull() ? item.rect : area.united(item.rect);
        m_area = area;
        lines << tr("%n annotations", nullptr, selected.size())
              << tr("Frequency: %1").arg(formatFrequencyRange(area.left(), area.right(), frequencyStep))
              << tr("Time: %1").arg(timeRange(area, timeStep));
    } else {
        m_area = QRectF();
    }
    m_label->setText(lines.join(QLatin1Char('\n')));
    if (m_hasInfo != hadInfo)
        Q_EMIT si_hasInfoChanged();
    else if (m_hasInfo && (m_area != oldArea || sizeHint() != oldSize))
        Q_EMIT si_infoAreaChanged();
}

} // namespace mivo::viewer
