// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Workspace painting with a million items in the active workspace (the day of
// detections of bm_sdmworkspace) on a 1920 x 1080 view that shows about 10 000 of them:
//
// (a) the time handlePaint() takes on the GUI thread per frame while the renderer
//     works: each frame pans the view by a pixel, so each asks for a new image;
// (b) the renderer's time for one image of about 10 000 and about 100 000 items, from
//     requestRender() to si_prerenderFinished();
// (c) frames per second of a continuous pan by synthetic mouse moves on a shown drawing
//     widget, with the workspaces and without them.
//
// A timed program: medians of several runs. CPU times are given beside wall-clock
// times where they differ, because the machine is shared.

#include "DayOfDetections.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/navigation/PanMouseHandler.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QSemaphore>
#include <QWindow>

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

using mivo::BaseDrawWidget;
using mivo::sdm::AsyncItemRenderer;
using mivo::sdm::RenderRequest;
using mivo::sdm::SdmWorkspace;
using mivo::sdm::SdmWorkspacePaintHandler;
using mivo::sdm::SdmWorkspaceRepository;

namespace {

const QSize viewSize(1920, 1080);
constexpr int panMoves = 200;

double threadCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

double processCpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// Runs the event loop until @p done holds or @p timeoutMs passed; whether it holds.
template <typename Done> bool waitUntil(Done done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return done();
}

struct Summary
{
    double median = 0.0;
    double p95 = 0.0;
    double max = 0.0;
};

Summary summarise(std::vector<double> values)
{
    if (values.empty())
        return {};
    std::sort(values.begin(), values.end());
    const auto at = [&values](double fraction) {
        return values[std::min(values.size() - 1, std::size_t(fraction * double(values.size() - 1) + 0.5))];
    };
    return {at(0.5), at(0.95), values.back()};
}

// The view of the first of the shared query views, on an axis pair without limits.
void showRange(BaseDrawWidget& widget, const QRectF& range)
{
    widget.coordSystem().x().setDisplayedPixelSpan(viewSize.width());
    widget.coordSystem().y().setDisplayedPixelSpan(viewSize.height());
    widget.coordSystem().setDisplayedValueRange(range);
}

std::shared_ptr<SdmWorkspace> loadDay()
{
    auto workspace = std::make_shared<SdmWorkspace>(QStringLiteral("day"));
    workspace->setItems(sdmbench::day());
    return workspace;
}

// (a) Each frame pans by one pixel and paints the layer into an image, as the widget
// would; only handlePaint() is timed. The renderer keeps working on the requests.
void paintWhileRendering(const std::shared_ptr<SdmWorkspace>& workspace, const QRectF& view)
{
    SdmWorkspaceRepository repository;
    repository.addWorkspace(workspace);
    repository.setActivateWorkspace(workspace);
    BaseDrawWidget widget;
    widget.resize(viewSize);
    showRange(widget, view);
    SdmWorkspacePaintHandler handler(widget, repository);
    QImage frame(viewSize, QImage::Format_ARGB32_Premultiplied);

    // A first image, so that every timed frame draws one.
    {
        QPainter painter(&frame);
        handler.handlePaint(painter);
    }
    waitUntil([&handler] { return !handler.renderer().lastResult().second.isNull(); }, 60000);

    constexpr int frames = 300;
    std::vector<double> wall;
    std::vector<double> cpu;
    int framesWhileBusy = 0;
    int rendersFinished = 0;
    QObject counter;
    QObject::connect(&handler.renderer(), &AsyncItemRenderer::si_prerenderFinished, &counter,
                     [&rendersFinished] { ++rendersFinished; });
    mivo::CoordSystem& coords = widget.coordSystem();
    for (int f = 0; f < frames; ++f) {
        // Right and back again, a pixel a frame.
        const double step = (f / 100) % 2 == 0 ? 1.0 : -1.0;
        coords.x().setOffset(coords.x().offset() + step * coords.x().scale());
        frame.fill(Qt::black);
        QPainter painter(&frame);
        const RenderRequest published = handler.renderer().lastResult().first;
        QElapsedTimer clock;
        const double cpuBefore = threadCpuSeconds();
        clock.start();
        handler.handlePaint(painter);
        const qint64 nanoseconds = clock.nsecsElapsed();
        cpu.push_back(threadCpuSeconds() - cpuBefore);
        wall.push_back(double(nanoseconds) * 1e-9);
        if (!(handler.renderer().pendingRequest() == published))
            ++framesWhileBusy;
        painter.end();
        QCoreApplication::processEvents(); // the finished images' signals
    }
    const Summary w = summarise(wall);
    const Summary c = summarise(cpu);
    std::printf("(a) handlePaint on the GUI thread, %d frames of %dx%d, each a new request:\n", frames,
                viewSize.width(), viewSize.height());
    std::printf("    median %.3f ms, 95th percentile %.3f ms, max %.3f ms (thread cpu: median %.3f ms, 95th %.3f ms)"
                "   target <= 2 ms\n",
                w.median * 1e3, w.p95 * 1e3, w.max * 1e3, c.median * 1e3, c.p95 * 1e3);
    std::printf("    frames drawn while the renderer had a newer request: %d of %d; images finished meanwhile: %d\n",
                framesWhileBusy, frames, rendersFinished);
}

// (b) One image from request to signal, on the renderer's own thread.
void renderImages(const std::shared_ptr<SdmWorkspace>& workspace, const QRectF& view, const char* what, int runs)
{
    AsyncItemRenderer renderer;
    QSemaphore finished;
    QObject::connect(
        &renderer, &AsyncItemRenderer::si_prerenderFinished, &renderer, [&finished] { finished.release(); },
        Qt::DirectConnection);
    std::vector<double> wall;
    const int visible = workspace->itemsIntersecting(view).size();
    const double cpuBefore = processCpuSeconds();
    for (int run = 0; run < runs; ++run) {
        RenderRequest request;
        request.imageSize = viewSize;
        request.valueRange = view;
        request.workspace = workspace;
        request.generation = quint32(run + 1); // a new request each time
        QElapsedTimer clock;
        clock.start();
        renderer.requestRender(request);
        finished.acquire();
        wall.push_back(double(clock.nsecsElapsed()) * 1e-9);
    }
    const double cpuPerImage = (processCpuSeconds() - cpuBefore) / runs;
    const Summary w = summarise(wall);
    std::printf("(b) one image of %s (%d items in view): median %.1f ms, 95th percentile %.1f ms, "
                "process cpu %.1f ms an image (%d runs)\n",
                what, visible, w.median * 1e3, w.p95 * 1e3, cpuPerImage * 1e3, runs);
}

// Counts the paints of the widget it is added to.
struct PaintCounter : mivo::IPaintHandler
{
    void handlePaint(QPainter&) override { ++paints; }
    int paints = 0;
};

// (c) Frames per second of a pan by synthetic mouse moves on a shown widget, with the
// CPU time it takes: press in
// the middle, then moves of 3 pixels, each followed by the event loop until the widget
// has painted the new view.
struct PanFigures
{
    double framesPerSecond = 0.0;
    double guiCpuPerFrame = 0.0; // seconds of the GUI thread's CPU time
    double processCpuPerFrame = 0.0; // seconds of all the program's threads
    double imagesPerFrame = 0.0; // item images the renderer finished
};

PanFigures pan(const std::shared_ptr<SdmWorkspace>& workspace, const QRectF& view, bool withWorkspaces)
{
    SdmWorkspaceRepository repository;
    if (withWorkspaces) {
        repository.addWorkspace(workspace);
        repository.setActivateWorkspace(workspace);
    }
    BaseDrawWidget widget;
    widget.resize(viewSize);
    auto counter = std::make_shared<PaintCounter>();
    widget.addPaintHandler(std::make_shared<mivo::BackgroundPaintHandler>(widget));
    int images = 0;
    QObject imageCounter;
    if (withWorkspaces) {
        auto painter = std::make_shared<SdmWorkspacePaintHandler>(widget, repository);
        QObject::connect(&painter->renderer(), &AsyncItemRenderer::si_prerenderFinished, &imageCounter,
                         [&images] { ++images; });
        widget.addPaintHandler(painter);
    }
    widget.addPaintHandler(counter);
    widget.addMouseHandler(std::make_shared<mivo::PanMouseHandler>(widget, widget.coordSystem()));
    widget.show();
    if (!waitUntil([&widget] { return widget.windowHandle() && widget.windowHandle()->isExposed(); }, 10000))
        return {};
    showRange(widget, view);
    waitUntil([&counter] { return counter->paints > 0; }, 10000);

    const auto send
        = [&widget](QEvent::Type type, const QPoint& pos, Qt::MouseButton button, Qt::MouseButtons buttons) {
              QMouseEvent event(type, QPointF(pos), QPointF(widget.mapToGlobal(pos)), button, buttons, Qt::NoModifier);
              QApplication::sendEvent(&widget, &event);
          };
    QPoint pos(viewSize.width() / 2, viewSize.height() / 2);
    send(QEvent::MouseButtonPress, pos, Qt::LeftButton, Qt::LeftButton);
    constexpr int moves = panMoves;
    int lostFrames = 0;
    QElapsedTimer clock;
    const double guiCpuBefore = threadCpuSeconds();
    const double processCpuBefore = processCpuSeconds();
    clock.start();
    const int imagesBefore = images;
    for (int m = 0; m < moves; ++m) {
        // A square path, so that the view stays over the day's items.
        const int leg = (m / 50) % 4;
        pos += QPoint(leg == 0 ? 3 : leg == 2 ? -3 : 0, leg == 1 ? 3 : leg == 3 ? -3 : 0);
        const int before = counter->paints;
        send(QEvent::MouseMove, pos, Qt::NoButton, Qt::LeftButton);
        if (!waitUntil([&counter, before] { return counter->paints != before; }, 2000))
            ++lostFrames;
    }
    const double seconds = double(clock.nsecsElapsed()) * 1e-9;
    PanFigures figures;
    figures.framesPerSecond = moves / seconds;
    figures.guiCpuPerFrame = (threadCpuSeconds() - guiCpuBefore) / moves;
    figures.processCpuPerFrame = (processCpuSeconds() - processCpuBefore) / moves;
    figures.imagesPerFrame = double(images - imagesBefore) / moves;
    send(QEvent::MouseButtonRelease, pos, Qt::LeftButton, Qt::NoButton);
    if (lostFrames > 0)
        std::printf("    %d moves painted nothing within 2 s\n", lostFrames);
    return figures;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QElapsedTimer loading;
    loading.start();
    const std::shared_ptr<SdmWorkspace> workspace = loadDay();
    std::printf("%d items loaded in %.2f s\n", workspace->itemCount(), double(loading.elapsed()) / 1e3);

    const QRectF view = sdmbench::views().front();
    // Ten times the items: the whole band over the same time.
    const QRectF wideView(sdmbench::bandStart, view.y(), sdmbench::bandWidth, view.height());

    // "pan" as the only argument runs (c) alone.
    const bool panOnly = QCoreApplication::arguments().contains(QStringLiteral("pan"));
    if (!panOnly) {
        paintWhileRendering(workspace, view);
        renderImages(workspace, view, "the 10 MHz view", 20);
        renderImages(workspace, wideView, "the whole band", 8);
    }

    // Alternated, so that the load of the shared machine weighs on both alike.
    std::vector<PanFigures> with;
    std::vector<PanFigures> without;
    for (int run = 0; run < 3; ++run) {
        without.push_back(pan(workspace, view, false));
        with.push_back(pan(workspace, view, true));
    }
    const auto median = [](const std::vector<PanFigures>& runs, double PanFigures::*figure) {
        std::vector<double> values;
        for (const PanFigures& run : runs)
            values.push_back(run.*figure);
        return summarise(values).median;
    };
    const double withFps = median(with, &PanFigures::framesPerSecond);
    const double withoutFps = median(without, &PanFigures::framesPerSecond);
    std::printf("(c) pan of %d moves on a shown %dx%d widget, medians of 3: without workspaces %.1f fps, "
                "with %.1f fps: %.1f %%   target >= 90 %%\n",
                panMoves, viewSize.width(), viewSize.height(), withoutFps, withFps,
                withoutFps > 0.0 ? 100.0 * withFps / withoutFps : 0.0);
    std::printf("    cpu a frame: GUI thread %.1f ms without, %.1f ms with; whole program %.1f ms without, "
                "%.1f ms with\n",
                median(without, &PanFigures::guiCpuPerFrame) * 1e3, median(with, &PanFigures::guiCpuPerFrame) * 1e3,
                median(without, &PanFigures::processCpuPerFrame) * 1e3,
                median(with, &PanFigures::processCpuPerFrame) * 1e3);
    std::printf("    item images finished a frame while panning: %.2f\n", median(with, &PanFigures::imagesPerFrame));
    return 0;
}
