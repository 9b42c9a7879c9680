// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QImage>
#include <QMetaType>
#include <QObject>
#include <QPair>
#include <QRectF>
#include <QSize>

#include <memory>

namespace mivo::sdm {

class SdmWorkspace;

/// What an AsyncItemRenderer is asked to paint: the items of @c workspace that meet
/// @c valueRange, into an image of @c imageSize pixels that the range fills exactly.
struct RenderRequest
{
    /// The image size in pixels; (-1, -1) by default.
    QSize imageSize = QSize(-1, -1);
    /// The value rectangle the image shows (x: Hz, y: seconds since the epoch).
    QRectF valueRange;
    /// The workspace whose items are painted; none paints a transparent image.
    std::shared_ptr<SdmWorkspace> workspace;
    /// Counts changes of the workspace's contents, so that a change asks anew.
    quint32 generation = 0;
};

/// The same request: equal generations, the same workspace object, equal image widths
/// and heights, and value ranges equal under QRectF's fuzzy comparison.
inline bool operator==(const RenderRequest& a, const RenderRequest& b)
{
    return a.generation == b.generation && a.workspace == b.workspace && a.imageSize.width() == b.imageSize.width()
        && a.imageSize.height() == b.imageSize.height() && a.valueRange == b.valueRange;
}

inline bool operator!=(const RenderRequest& a, const RenderRequest& b)
{
    return !(a == b);
}

/**
 * Paints the items of a workspace into an image on a thread of its own, so that very
 * many items cost the GUI thread nothing but drawing one image.
 *
 * The GUI thread hands a request over with requestRender(); the renderer's thread
 * paints the items that meet the request's value range into a transparent image in
 * QImage::Format_RGBA8888_Premultiplied, in eight classes by selected, flagged and
 * marked, each class with one pen, brush and drawRects() call: first the selected items
 * area (only while more than one item is selected), then unmarked items (dimmed to
 * 0.4 opacity while the workspace has marked items), then marked ones, then selected
 * ones on top. It then publishes the request and the image together and emits
 * si_prerenderFinished(). Items are always drawn with the default pens and brushes of
 * SdmWorkspacePaintHandlerSettings (kept: no setter changes them).
 *
 * A request equal to the pending one is dropped; requests arriving while a render runs
 * replace the pending one, and a render finds nothing to do when the pending request
 * equals the published one. The workspace's calls are separate, so a change between
 * them may mix states within one image; the next render corrects it.
 *
 * A request with an empty image size publishes a null image; one with a value range
 * that is not finite or has no positive width and height publishes a transparent image
 * of the size, without asking the workspace.
 *
 * The constructor starts the thread (inherited priority); the destructor stops a render
 * under way at its next item, ends the thread and waits for it, then frees everything:
 * nothing the renderer made outlives it, and si_prerenderFinished() is not emitted for
 * a render cut short.
 *
 * requestRender(), pendingRequest() and lastResult() belong to the thread that made the
 * renderer (the GUI thread); sl_doRender() runs on the renderer's thread.
 */
class MIVO_EXPORT AsyncItemRenderer : public QObject
{
    Q_OBJECT

public:
    /// No parent: the renderer moves itself to its own thread.
    AsyncItemRenderer();
    ~AsyncItemRenderer() override;

    /// Hands @p request over and queues a render, unless it equals the pending request.
    void requestRender(const RenderRequest& request);
    /// The request last handed over; a default one before the first.
    RenderRequest pendingRequest() const;
    /// The last published request with the image made for it; a default request and a
    /// null image before the first render is published.
    QPair<RenderRequest, QImage> lastResult() const;

public Q_SLOTS:
    /// Renders the pending request on the renderer's thread (queued by requestRender(),
    /// called by name). Called directly, it renders in the calling thread; renders
    /// never overlap.
    void sl_doRender();

Q_SIGNALS:
    /// A render was published; emitted on the renderer's thread.
    void si_prerenderFinished();

private:
    Q_DISABLE_COPY(AsyncItemRenderer)

    bool prepare();
    bool render();
    void publish();

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace mivo::sdm

Q_DECLARE_METATYPE(mivo::sdm::RenderRequest)
