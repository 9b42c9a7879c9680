// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspacePaintHandler.h>

#include "PixelRects_p.h"
#include "SdmMetaTypes_p.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QFont>
#include <QLineF>
#include <QPainter>
#include <QVector>

#include <cmath>

namespace mivo::sdm {

namespace {

bool isFinite(const QRectF& rect)
{
    return std::isfinite(rect.x()) && std::isfinite(rect.y()) && std::isfinite(rect.width())
        && std::isfinite(rect.height());
}

// The widget font scaled for captions. A font sized in pixels has no point size to
// scale; its pixel size is scaled instead.
QFont captionFont(const QFont& widgetFont, double scale)
{
    QFont font = widgetFont;
    if (font.pointSizeF() > 0.0) {
        const double size = font.pointSizeF() * scale;
        if (size > 0.0 && std::isfinite(size))
            font.setPointSizeF(size);
    } else if (font.pixelSize() > 0) {
        const double size = font.pixelSize() * scale;
        if (size >= 1.0 && size < 1.0e6)
            font.setPixelSize(int(std::lround(size)));
    }
    return font;
}

} // namespace

SdmWorkspacePaintHandler::SdmWorkspacePaintHandler(BaseDrawWidget& widget, SdmWorkspaceRepository& repository)
    : QObject(nullptr)
    , m_widget(widget)
    , m_repository(repository)
    , m_renderer(std::make_unique<AsyncItemRenderer>())
{
    registerSdmMetaTypes();
    // Emitted on the renderer's thread: queued into this one.
    connect(m_renderer.get(), &AsyncItemRenderer::si_prerenderFinished, this,
            &SdmWorkspacePaintHandler::sl_prerenderFinished);
    connect(&m_repository, &SdmWorkspaceRepository::si_workspaceAdded, this,
            &SdmWorkspacePaintHandler::sl_workspacesChanged);
    connect(&m_repository, &SdmWorkspaceRepository::si_workspaceRemoved, this,
            &SdmWorkspacePaintHandler::sl_workspacesChanged);
    connect(&m_repository, &SdmWorkspaceRepository::si_activeWorkspaceChanged, this,
            &SdmWorkspacePaintHandler::sl_workspacesChanged);
    connect(&m_repository, &SdmWorkspaceRepository::si_workspaceChanged, this,
            &SdmWorkspacePaintHandler::sl_workspacesChanged);
    connect(&m_repository, &SdmWorkspaceRepository::si_workspaceSelectionChanged, this,
            &SdmWorkspacePaintHandler::sl_workspacesChanged);
}

SdmWorkspacePaintHandler::~SdmWorkspacePaintHandler() = default;

void SdmWorkspacePaintHandler::setEnabled(bool enabled)
{
    m_enabled = enabled;
}

void SdmWorkspacePaintHandler::setSettings(const SdmWorkspacePaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void SdmWorkspacePaintHandler::handlePaint(QPainter& painter)
{
    if (!m_enabled)
        return;
    const QRectF range = m_widget.coordSystem().displayedValueRange();
    const std::shared_ptr<SdmWorkspace> active = m_repository.activeWorkspace();
    for (const std::shared_ptr<SdmWorkspace>& workspace : m_repository.workspacesWithin(range)) {
        if (workspace != active)
            drawInactiveWorkspace(painter, workspace);
    }
    // Last, on top, wherever it lies.
    if (active)
        drawActiveWorkspace(painter, active);
}

void SdmWorkspacePaintHandler::drawInactiveWorkspace(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace)
{
    painter.setPen(m_settings.inactiveWorkspacePen);
    painter.setBrush(Qt::NoBrush);
    const QRectF rect = m_widget.coordSystem().valueToPixel(workspace->extents());
    if (!isFinite(rect))
        return;
    const QRectF drawn = clippedForDrawing(rect, drawingBounds(QRectF(m_widget.rect())));
    painter.fillRect(drawn, m_settings.inactiveWorkspaceBrush);
    painter.drawRect(drawn);
    drawWorkspaceBoundaryOutOfViewIndicator(painter, rect);
    drawWorkspaceCaption(painter, workspace);
}

void SdmWorkspacePaintHandler::drawActiveWorkspace(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace)
{
    painter.setPen(m_settings.activeWorkspacePen);
    painter.setBrush(Qt::NoBrush);
    const QRectF rect = m_widget.coordSystem().valueToPixel(workspace->extents());
    // An empty workspace without declared extents has no rectangle, only (no) items.
    const bool hasRect = isFinite(rect);
    const QRectF drawn = hasRect ? clippedForDrawing(rect, drawingBounds(QRectF(m_widget.rect()))) : QRectF();
    if (hasRect)
        painter.fillRect(drawn, m_settings.activeWorkspaceBrush);
    drawItems(painter, workspace);
    if (!hasRect)
        return;
    painter.setPen(m_settings.activeWorkspacePen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(drawn); // over the items
    drawWorkspaceBoundaryOutOfViewIndicator(painter, rect);
    drawWorkspaceCaption(painter, workspace);
}

void SdmWorkspacePaintHandler::drawItems(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace)
{
    const CoordSystem& coords = m_widget.coordSystem();
    RenderRequest request;
    request.imageSize = m_widget.size();
    request.valueRange = coords.displayedValueRange();
    request.workspace = workspace;
    request.generation = m_generation;
    m_renderer->requestRender(request);

    // The last image, wherever its range lies now, until the new one arrives.
    const QPair<RenderRequest, QImage> result = m_renderer->lastResult();
    const QImage& image = result.second;
    const QRectF target = coords.valueToPixel(result.first.valueRange);
    if (image.isNull() || !isFinite(target) || !(target.width() > 0.0) || !(target.height() > 0.0))
        return;
    const QRectF widgetRect(m_widget.rect());
    if (drawingBounds(widgetRect).contains(target)) {
        painter.drawImage(target, image);
        return;
    }
    // Zoomed far into an old image: only the part in view is handed to the engine.
    const QRectF visible = target.intersected(widgetRect);
    if (visible.isEmpty())
        return;
    const double xScale = image.width() / target.width();
    const double yScale = image.height() / target.height();
    const QRectF source((visible.x() - target.x()) * xScale, (visible.y() - target.y()) * yScale,
                        visible.width() * xScale, visible.height() * yScale);
    painter.drawImage(visible, image, source);
}

void SdmWorkspacePaintHandler::drawWorkspaceBoundaryOutOfViewIndicator(QPainter& painter, const QRectF& pixelRect)
{
    const QRectF widgetRect(m_widget.rect());
    const QRectF rect = pixelRect.normalized();
    if (!rect.intersects(widgetRect))
        return;
    const QRectF visible = rect.intersected(widgetRect);
    // The marks run inside the view by half the pen, so that all of their width shows.
    const double half = painter.pen().widthF() / 2.0;
    const QRectF v = visible.adjusted(half, half, -half, -half);
    const double lx = m_settings.boundaryIndicatorLength * v.width();
    const double ly = m_settings.boundaryIndicatorLength * v.height();

    // Sides are compared before the shrinking, which would otherwise make every side
    // differ from the workspace's.
    QVector<QLineF> lines;
    if (!qFuzzyCompare(visible.left(), rect.left())) {
        lines.append(QLineF(v.topLeft(), v.topLeft() + QPointF(0.0, ly)));
        lines.append(QLineF(v.bottomLeft(), v.bottomLeft() - QPointF(0.0, ly)));
    }
    if (!qFuzzyCompare(visible.right(), rect.right())) {
        lines.append(QLineF(v.topRight(), v.topRight() + QPointF(0.0, ly)));
        lines.append(QLineF(v.bottomRight(), v.bottomRight() - QPointF(0.0, ly)));
    }
    if (!qFuzzyCompare(visible.top(), rect.top())) {
        lines.append(QLineF(v.topLeft(), v.topLeft() + QPointF(lx, 0.0)));
        lines.append(QLineF(v.topRight(), v.topRight() - QPointF(lx, 0.0)));
    }
    if (!qFuzzyCompare(visible.bottom(), rect.bottom())) {
        lines.append(QLineF(v.bottomLeft(), v.bottomLeft() + QPointF(lx, 0.0)));
        lines.append(QLineF(v.bottomRight(), v.bottomRight() - QPointF(lx, 0.0)));
    }
    if (!lines.isEmpty())
        painter.drawLines(lines);
}

void SdmWorkspacePaintHandler::drawWorkspaceCaption(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace)
{
    painter.setFont(captionFont(m_widget.font(), m_settings.captionFontScale));
    // An emptied formatter writes the id, as the default does.
    const QString text = m_settings.captionFormatter ? m_settings.captionFormatter(workspace->id()) : workspace->id();
    const double margin = dpToPixel(m_widget, m_settings.captionMargin);
    QRectF textRect
        = painter.boundingRect(QRectF(), Qt::TextSingleLine, text).adjusted(-margin, -margin, margin, margin);
    const QRectF widgetRect(m_widget.rect());
    const QRectF visible = m_widget.coordSystem().valueToPixel(workspace->extents()).intersected(widgetRect);
    textRect.moveBottomRight(visible.bottomRight());
    // Left out when it does not fit inside the visible part.
    if (visible.intersected(widgetRect).contains(textRect))
        painter.drawText(textRect, Qt::AlignCenter, text);
}

void SdmWorkspacePaintHandler::sl_workspacesChanged(const std::shared_ptr<SdmWorkspace>& workspace)
{
    if (workspace == m_repository.activeWorkspace())
        ++m_generation;
    m_widget.update();
}

void SdmWorkspacePaintHandler::sl_prerenderFinished()
{
    m_widget.update();
}

} // namespace mivo::sdm
