// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the suites of workspace painting and input share: drawing widgets (one never
// shown, for painting into images, and one shown), the item renderer observed from the
// GUI thread, its thread held still, and events built by the test.

#include "SdmTestSupport.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QSemaphore>
#include <QTest>

#include <initializer_list>
#include <memory>

namespace sdmpaint {

using mivo::sdm::AsyncItemRenderer;
using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspaceItem;

/// A drawing widget that is never shown, with the spans a widget of its size has: one
/// value unit per pixel from (0, 0) until the test moves the axes.
struct HiddenView
{
    explicit HiddenView(const QSize& size = QSize(200, 100))
    {
        widget.resize(size);
        widget.coordSystem().x().setDisplayedPixelSpan(size.width());
        widget.coordSystem().y().setDisplayedPixelSpan(size.height());
    }
    mivo::BaseDrawWidget widget;
};

/// Counts the paints of the widget it is added to.
struct PaintCounter : mivo::IPaintHandler
{
    void handlePaint(QPainter&) override { ++paints; }
    int paints = 0;
};

/// A drawing widget of @p size in a host window. Add the layers, then showAndPaint().
struct ShownView
{
    explicit ShownView(const QSize& size = QSize(200, 100))
    {
        window.resize(size);
        widget->setGeometry(QRect(QPoint(0, 0), size));
    }

    /// Adds a paint counter on top of the layers added so far, shows the window and
    /// waits for its first paint.
    bool showAndPaint()
    {
        widget->addPaintHandler(counter);
        window.show();
        return QTest::qWaitForWindowExposed(&window) && QTest::qWaitFor([this] { return paints() > 0; });
    }
    int paints() const { return counter->paints; }
    mivo::CoordSystem& coords() { return widget->coordSystem(); }

    QWidget window;
    mivo::BaseDrawWidget* widget = new mivo::BaseDrawWidget(&window); // owned by the window
    std::shared_ptr<PaintCounter> counter = std::make_shared<PaintCounter>();
};

/// Counts the renderer's si_prerenderFinished() in the GUI thread, where it arrives
/// queued, as it does for the paint handler.
class RenderCounter : public QObject
{
public:
    explicit RenderCounter(const AsyncItemRenderer& renderer)
    {
        connect(&renderer, &AsyncItemRenderer::si_prerenderFinished, this, [this] { ++m_renders; });
    }
    int renders() const { return m_renders; }

private:
    int m_renders = 0;
};

/// Holds the renderer's thread in a queued call until release() (or destruction), so
/// that requests made meanwhile wait behind it.
class RendererBlocker
{
public:
    explicit RendererBlocker(AsyncItemRenderer& renderer)
    {
        QMetaObject::invokeMethod(
            &renderer,
            [this] {
                m_entered.release();
                m_release.acquire();
            },
            Qt::QueuedConnection);
        m_entered.acquire();
    }
    ~RendererBlocker() { release(); }

    void release()
    {
        if (!m_released)
            m_release.release();
        m_released = true;
    }

private:
    Q_DISABLE_COPY(RendererBlocker)

    QSemaphore m_entered;
    QSemaphore m_release;
    bool m_released = false;
};

/// Whether the renderer has published the image of its pending request (within 10 s).
inline bool waitForCurrentImage(const AsyncItemRenderer& renderer)
{
    return QTest::qWaitFor([&renderer] { return renderer.lastResult().first == renderer.pendingRequest(); }, 10000);
}

/// For checks that something does not happen: lets the event loop run for a while in
/// which it would have happened. The one bare wait of these suites.
inline void letNothingHappen()
{
    QTest::qWait(150);
}

/// A workspace with @p id holding @p items.
inline std::shared_ptr<SdmWorkspace> workspaceOf(const QString& id, const QList<SdmWorkspaceItem>& items = {})
{
    auto workspace = std::make_shared<SdmWorkspace>(id);
    workspace->setItems(items);
    return workspace;
}

/// A workspace with @p id, no items and declared @p extents.
inline std::shared_ptr<SdmWorkspace> areaOf(const QString& id, const QRectF& extents)
{
    auto workspace = std::make_shared<SdmWorkspace>(id);
    workspace->setExtents(extents);
    return workspace;
}

/// A mouse event at widget pixel @p pos.
inline QMouseEvent mouseEvent(QEvent::Type type, const QPoint& pos, Qt::MouseButton button = Qt::LeftButton,
                              Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    return QMouseEvent(type, QPointF(pos), QPointF(pos), button, button, modifiers);
}

/// One colour laid over a pixel at an opacity.
struct Layer
{
    QColor colour;
    double opacity = 1.0;
};

/// The pixel that @p layers, bottom first, make when QPainter lays them over a
/// transparent premultiplied RGBA pixel, the renderer's image format.
inline QRgb composed(std::initializer_list<Layer> layers)
{
    QImage pixel(1, 1, QImage::Format_RGBA8888_Premultiplied);
    pixel.fill(Qt::transparent);
    QPainter painter(&pixel);
    for (const Layer& layer : layers) {
        painter.setOpacity(layer.opacity);
        painter.fillRect(QRectF(0, 0, 1, 1), layer.colour);
    }
    painter.end();
    return pixel.pixel(0, 0);
}

/// "#AARRGGBB" or "#RRGGBB" and the pixel's colour, for failure messages.
inline QString describePixel(QRgb pixel)
{
    return QColor::fromRgba(pixel).name(QColor::HexArgb);
}

} // namespace sdmpaint

/// Fails the test unless pixel (@p x, @p y) of @p image is @p expected, naming both.
#define COMPARE_PIXEL(image, x, y, expected)                                                                           \
    QVERIFY2((image).pixel((x), (y)) == (expected),                                                                    \
             qPrintable(QStringLiteral("pixel (%1, %2) is %3, expected %4")                                            \
                            .arg(x)                                                                                    \
                            .arg(y)                                                                                    \
                            .arg(sdmpaint::describePixel((image).pixel((x), (y))))                                     \
                            .arg(sdmpaint::describePixel(expected))))
