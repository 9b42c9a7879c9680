// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/AsyncItemRenderer.h>

#include "DescribedLock_p.h"
#include "PixelRects_p.h"
#include "SdmMetaTypes_p.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>

#include <QPainter>
#include <QThread>
#include <QVector>

#include <array>
#include <atomic>
#include <cmath>

namespace mivo::sdm {

namespace {

// Items are sorted into classes by (selected ? 1 : 0) + (flagged ? 2 : 0) + (marked ? 4 : 0).
constexpr int classCount = 8;
// How many items are sorted between looks at whether the renderer is being destroyed.
constexpr int itemsBetweenStopChecks = 4096;

bool isDrawable(const RenderRequest& request)
{
    const QRectF& range = request.valueRange;
    return std::isfinite(range.x()) && std::isfinite(range.y()) && std::isfinite(range.width())
        && std::isfinite(range.height()) && range.width() > 0.0 && range.height() > 0.0;
}

// One axis shows exactly [minimum, maximum] over @p pixelSpan pixels.
void fit(Axis& axis, double pixelSpan, double minimum, double maximum)
{
    axis.setDisplayedPixelSpan(pixelSpan);
    axis.setDisplayedValueRangeLimits(minimum, maximum);
    // The largest scale is clamped to (maximum - minimum) / span. It is set before the
    // offset: the offset's clamp reads the scale, and a larger one left from an earlier
    // request would push the offset below the minimum.
    axis.setScale(axis.maxScale());
    axis.setOffset(axis.minDisplayedValue());
}

} // namespace

class AsyncItemRenderer::Private
{
public:
    QThread thread;
    DescribedLock<QMutex> requestLock;
    RenderRequest pendingRequest;
    RenderRequest currentRequest;
    CoordSystem coordSystem;
    QImage workImage;
    mutable DescribedLock<QMutex> resultLock;
    RenderRequest resultRequest;
    QImage resultImage;
    // Held for a whole render, so renders never overlap (a direct call and a queued
    // one), and taken by the destructor to see the renderer thread's last one end.
    DescribedLock<QMutex> paintLock;
    const SdmWorkspacePaintHandlerSettings settings;
    std::atomic<bool> stopping{false};
};

AsyncItemRenderer::AsyncItemRenderer()
    : QObject(nullptr)
    , d(std::make_unique<Private>())
{
    registerSdmMetaTypes();
    moveToThread(&d->thread);
    // The axes are not children of their coordinate system: each moves on its own, so
    // that their signals stay within the renderer's thread.
    d->coordSystem.moveToThread(&d->thread);
    d->coordSystem.x().moveToThread(&d->thread);
    d->coordSystem.y().moveToThread(&d->thread);
    d->thread.start(QThread::InheritPriority);
}

AsyncItemRenderer::~AsyncItemRenderer()
{
    d->stopping = true;
    d->thread.quit();
    // Freeing the members under a render still running would crash; a render stops at
    // its next item, so the second, unbounded wait is never expected to be needed.
    if (!d->thread.wait(10000))
        d->thread.wait();
    const MutexLocker lastRenderEnded(d->paintLock);
}

void AsyncItemRenderer::requestRender(const RenderRequest& request)
{
    // Read without the lock: only this thread writes the pending request.
    if (request == d->pendingRequest)
        return;
    const MutexLocker locker(d->requestLock);
    d->pendingRequest = request;
    QMetaObject::invokeMethod(this, "sl_doRender", Qt::AutoConnection);
}

RenderRequest AsyncItemRenderer::pendingRequest() const
{
    return d->pendingRequest;
}

QPair<RenderRequest, QImage> AsyncItemRenderer::lastResult() const
{
    const MutexLocker locker(d->resultLock);
    return qMakePair(d->resultRequest, d->resultImage);
}

void AsyncItemRenderer::sl_doRender()
{
    const MutexLocker locker(d->paintLock);
    if (!prepare())
        return;
    if (!render())
        return;
    publish();
}

bool AsyncItemRenderer::prepare()
{
    {
        const MutexLocker locker(d->requestLock);
        // Only renders change the result request, and they never overlap.
        if (d->pendingRequest == d->resultRequest)
            return false;
        d->currentRequest = d->pendingRequest;
    }
    const RenderRequest& request = d->currentRequest;
    if (isDrawable(request)) {
        const QRectF& range = request.valueRange;
        fit(d->coordSystem.x(), request.imageSize.width(), range.left(), range.left() + range.width());
        fit(d->coordSystem.y(), request.imageSize.height(), range.top(), range.top() + range.height());
    }
    const QSize size = request.imageSize.isEmpty() ? QSize() : request.imageSize;
    // A work image still shared with the published one would be copied only to be
    // cleared: a new one is cheaper.
    if (d->workImage.size() != size || !d->workImage.isDetached())
        d->workImage = size.isEmpty() ? QImage() : QImage(size, QImage::Format_RGBA8888_Premultiplied);
    d->workImage.fill(Qt::transparent);
    return true;
}

bool AsyncItemRenderer::render()
{
    const RenderRequest& request = d->currentRequest;
    SdmWorkspace* const workspace = request.workspace.get();
    if (!workspace || d->workImage.isNull() || !isDrawable(request))
        return true; // the transparent (or null) image is published

    const CoordSystem& coords = d->coordSystem;
    const QRectF bounds = drawingBounds(QRectF(d->workImage.rect()));
    const QList<SdmWorkspaceItem> items = workspace->itemsIntersecting(coords.displayedValueRange());
    const int selectionSize = workspace->selectionSize();
    std::array<QVector<QRectF>, classCount> classes;
    int untilStopCheck = itemsBetweenStopChecks;
    for (const SdmWorkspaceItem& item : items) {
        if (--untilStopCheck == 0) {
            if (d->stopping)
                return false;
            untilStopCheck = itemsBetweenStopChecks;
        }
        // With nothing selected no item is: the selection's lock is not taken per item.
        const bool selected = selectionSize > 0 && workspace->isSelected(item);
        const int itemClass = (selected ? 1 : 0) + (item.flagged ? 2 : 0) + (item.marked ? 4 : 0);
        classes[std::size_t(itemClass)].append(clippedForDrawing(coords.valueToPixel(item.rect), bounds));
    }
    if (d->stopping)
        return false;

    const SdmWorkspacePaintHandlerSettings& s = d->settings;
    QPainter painter(&d->workImage);
    const auto drawClass = [&painter, &classes](int itemClass, const QPen& pen, const QBrush& brush) {
        const QVector<QRectF>& rects = classes[std::size_t(itemClass)];
        if (rects.isEmpty())
            return;
        painter.setPen(pen);
        painter.setBrush(brush);
        painter.drawRects(rects.constData(), rects.size());
    };
    if (selectionSize > 1) {
        painter.setPen(s.selectionAreaPen);
        painter.setBrush(s.selectionAreaBrush);
        painter.drawRect(clippedForDrawing(coords.valueToPixel(workspace->selectedItemsArea()), bounds));
    }
    painter.setOpacity(workspace->hasMarkedItems() ? s.unmarkedItemOpacity : 1.0);
    drawClass(0, s.itemPen, s.itemBrush);
    drawClass(2, s.flaggedItemPen, s.flaggedItemBrush);
    painter.setOpacity(1.0);
    drawClass(4, s.itemPen, s.itemBrush);
    drawClass(6, s.flaggedItemPen, s.flaggedItemBrush);
    painter.setOpacity(1.0);
    drawClass(1, s.selectedItemPen, s.itemBrush);
    drawClass(3, s.selectedItemPen, s.flaggedItemBrush);
    drawClass(5, s.selectedItemPen, s.itemBrush);
    drawClass(7, s.selectedItemPen, s.flaggedItemBrush);
    return true;
}

void AsyncItemRenderer::publish()
{
    const MutexLocker locker(d->resultLock);
    d->resultRequest = d->currentRequest;
    d->resultImage = d->workImage; // shared: the next render paints a new image
    Q_EMIT si_prerenderFinished();
}

} // namespace mivo::sdm
