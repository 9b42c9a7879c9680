// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Frame time of the waterfall: one 1920 x 1080 frame fully covered by 40 cached tiles,
// with both grids and the ruler, painted
//   (a) into a QImage with the raster engine,
//   (b) in the shown QOpenGLWidget (Mesa's renderer under Xvfb in CI),
// next to QCustomPlot's QCPColorMap drawing the same visible data at the same size from a
// matrix, and the time to build a colour table. Each measurement ends in a ratio line:
// mivo's time, the peer's time, their ratio and the target ratio. The time of each layer
// is printed beside, to show where a frame goes.
//
// Usage: bench_waterfall_frame [frames = 40]

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileProvider.h>

#include <qcustomplot.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

using namespace mivo;
using namespace mivo::tiling;

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
constexpr int tileSize = 256;

// Delivers nothing: the tiles are placed in the provider's cache up front.
class IdleLoader : public ITileLoader
{
public:
    void setBaseUrl(const QUrl&) override {}
    void loadTileSystemDescriptor() override {}
    void loadTileExtents() override {}
    void loadTile(const TileId&, bool) override {}
    void cancelTileLoad(const TileId&) override {}
    void deliver(const std::shared_ptr<Tile>& tile) { Q_EMIT si_tileLoaded(tile); }
    void deliver(const TileSystemDescriptor& d) { Q_EMIT si_tileSystemDescriptorLoaded(d); }
    void deliver(const QRectF& extents) { Q_EMIT si_tileSystemExtentsLoaded(extents); }
};

// A waterfall-like level in 1..255 for the value at (x, y).
int levelAt(std::mt19937& random, int x, int y)
{
    std::normal_distribution<double> noise(70.0, 8.0);
    double level = noise(random);
    if (x % 300 < 6)
        level += 120.0;
    if ((y / 40) % 5 == 0 && x % 700 > 200 && x % 700 < 260)
        level += 80.0;
    return int(std::clamp(level, 1.0, 255.0));
}

struct Scene
{
    Scene()
    {
        TileSystemDescriptor descriptor;
        descriptor.name = QStringLiteral("bench");
        descriptor.xaxis.tilesize = descriptor.yaxis.tilesize = tileSize;
        descriptor.xaxis.maxzoomlevel = descriptor.yaxis.maxzoomlevel = 4;
        loader.deliver(descriptor);
        loader.deliver(QRectF(0, 0, 4096, 4096));
        std::mt19937 random(3);
        levels = std::vector<int>(size_t(width) * height);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                levels[size_t(y) * width + x] = levelAt(random, x, y);
        for (quint64 ty = 0; ty < 5; ++ty) {
            for (quint64 tx = 0; tx < 8; ++tx) {
                QImage image(tileSize, tileSize, QImage::Format_Indexed8);
                for (int y = 0; y < tileSize; ++y) {
                    uchar* line = image.scanLine(y);
                    for (int x = 0; x < tileSize; ++x) {
                        const int gx = int(tx) * tileSize + x;
                        const int gy = int(ty) * tileSize + y;
                        line[x] = uchar(gx < width && gy < height ? levels[size_t(gy) * width + gx] : 1);
                    }
                }
                loader.deliver(std::make_shared<Tile>(TileId(tx, ty, 0, 0), image));
            }
        }
    }
    IdleLoader loader;
    TileProvider provider{loader};
    std::vector<int> levels; // the visible data, row by row, for the comparison
};

struct Layers
{
    Layers(BaseDrawWidget& widget, Scene& scene)
        : background(std::make_shared<BackgroundPaintHandler>(widget))
        , tiles(std::make_shared<TilePaintHandler>(widget, widget.coordSystem(), scene.provider,
                                                   scene.provider.tileSystem()))
        , frequencyGrid(std::make_shared<FrequencyGridPaintHandler>(widget, widget.coordSystem()))
        , timeGrid(std::make_shared<TimeGridPaintHandler>(widget, widget.coordSystem()))
        , ruler(std::make_shared<HorizontalRulerPaintHandler>(widget))
    {
        tiles->setTileColorTableDescriptor(TileColorTableDescriptor());
        ruler->setRulerValue(500.0);
    }
    QList<std::shared_ptr<IPaintHandler>> all() const { return {background, tiles, frequencyGrid, timeGrid, ruler}; }

    std::shared_ptr<BackgroundPaintHandler> background;
    std::shared_ptr<TilePaintHandler> tiles;
    std::shared_ptr<FrequencyGridPaintHandler> frequencyGrid;
    std::shared_ptr<TimeGridPaintHandler> timeGrid;
    std::shared_ptr<HorizontalRulerPaintHandler> ruler;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

const char* const layerNames[] = {"background", "tiles", "frequency grid", "time grid", "ruler"};

// Finishes the OpenGL work queued so far, so that a clock reading covers it.
void finishGl(QPainter& painter)
{
    painter.beginNativePainting(); // flush the engine's queued drawing
    QOpenGLContext::currentContext()->functions()->glFinish();
    painter.endNativePainting();
}

// Placed between the layers of the OpenGL widget: the first starts the clock, each
// further one waits for the drawing so far and records the time since the previous.
class Lap : public IPaintHandler
{
public:
    Lap(QElapsedTimer& timer, std::vector<double>* samples, const bool& enabled)
        : m_timer(timer)
        , m_samples(samples)
        , m_enabled(enabled)
    {
    }
    void handlePaint(QPainter& painter) override
    {
        if (!m_enabled)
            return;
        if (m_samples) {
            finishGl(painter);
            m_samples->push_back(m_timer.nsecsElapsed() / 1e6);
        }
        m_timer.start();
    }

private:
    QElapsedTimer& m_timer;
    std::vector<double>* m_samples;
    const bool& m_enabled;
};

// Draws its layer only while enabled, so that the same widget can time an empty frame.
class Switched : public IPaintHandler
{
public:
    Switched(std::shared_ptr<IPaintHandler> layer, const bool& enabled)
        : m_layer(std::move(layer))
        , m_enabled(enabled)
    {
    }
    void handlePaint(QPainter& painter) override
    {
        if (m_enabled)
            m_layer->handlePaint(painter);
    }

private:
    std::shared_ptr<IPaintHandler> m_layer;
    const bool& m_enabled;
};

// One line per measurement: mivo's time, the peer's, their ratio and the target ratio.
void printRatio(const char* what, double mivoMs, const char* peer, double peerMs, double target)
{
    const double ratio = peerMs / mivoMs;
    std::printf("ratio %-34s mivo %7.2f ms | %-26s %7.2f ms | ratio %5.2f | target >= %.2f %s\n", what, mivoMs, peer,
                peerMs, ratio, target, ratio >= target ? "(met)" : "(NOT met)");
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const int frames = argc > 1 ? std::max(3, atoi(argv[1])) : 40;
    Scene scene;

    constexpr int layerCount = 5;

    // (a) raster: a never-shown drawing widget only supplies geometry and fonts.
    BaseDrawWidget rasterWidget;
    rasterWidget.resize(width, height);
    rasterWidget.coordSystem().x().setDisplayedPixelSpan(width);
    rasterWidget.coordSystem().y().setDisplayedPixelSpan(height);
    Layers rasterLayers(rasterWidget, scene);
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> raster;
    std::vector<std::vector<double>> rasterLayerTimes(layerCount);
    for (int i = 0; i < frames; ++i) {
        QElapsedTimer timer;
        timer.start();
        QPainter painter(&image);
        painter.setClipRect(image.rect());
        for (const auto& layer : rasterLayers.all()) {
            painter.save();
            layer->handlePaint(painter);
            painter.restore();
        }
        painter.end();
        raster.push_back(timer.nsecsElapsed() / 1e6);
    }
    // The same frames again, each layer timed on its own.
    for (int i = 0; i < frames; ++i) {
        QPainter painter(&image);
        painter.setClipRect(image.rect());
        int index = 0;
        for (const auto& layer : rasterLayers.all()) {
            QElapsedTimer timer;
            timer.start();
            painter.save();
            layer->handlePaint(painter);
            painter.restore();
            rasterLayerTimes[size_t(index++)].push_back(timer.nsecsElapsed() / 1e6);
        }
    }
    const int tilesPerFrame = rasterLayers.tiles->requiredTiles().size();
    const qint64 paintImageBytes = rasterLayers.tiles->paintImageBytes();
    const qint64 paintImageBudget = rasterLayers.tiles->paintImageBudget();

    // (b) OpenGL: the shown widget.
    QWidget window;
    window.resize(width, height);
    auto* glWidget = new BaseDrawWidget(&window);
    glWidget->setGeometry(0, 0, width, height);
    window.show();
    if (!QTest::qWaitForWindowExposed(&window)) {
        std::fprintf(stderr, "bench_waterfall_frame: no window (run under an X server)\n");
        return 1;
    }
    if (!QTest::qWaitFor([&] { return glWidget->coordSystem().x().displayedPixelSpan() == width; })) {
        std::fprintf(stderr, "bench_waterfall_frame: the widget never got its size\n");
        return 1;
    }
    // Lap handlers: one before the first layer, one after each layer while the layers
    // are timed one by one, one after the last while whole frames are timed.
    QElapsedTimer glTimer;
    std::vector<std::vector<double>> glLayerTimes(layerCount);
    std::vector<double> gl;
    std::vector<double> glEmpty;
    const bool always = true;
    bool perLayer = false;
    bool wholeFrame = true;
    bool emptyFrame = false;
    bool layersOn = true;
    Layers glLayers(*glWidget, scene);
    const auto layers = glLayers.all();
    glWidget->addPaintHandler(std::make_shared<Lap>(glTimer, nullptr, always));
    for (int index = 0; index < layerCount; ++index) {
        glWidget->addPaintHandler(std::make_shared<Switched>(layers.at(index), layersOn));
        glWidget->addPaintHandler(std::make_shared<Lap>(glTimer, &glLayerTimes[size_t(index)], perLayer));
    }
    glWidget->addPaintHandler(std::make_shared<Lap>(glTimer, &gl, wholeFrame));
    glWidget->addPaintHandler(std::make_shared<Lap>(glTimer, &glEmpty, emptyFrame));
    // Through the widget's own render path; the grab reads the frame back afterwards.
    std::vector<double> grab;
    for (int i = 0; i < frames; ++i) {
        QElapsedTimer timer;
        timer.start();
        const QImage frame = glWidget->grabFramebuffer();
        grab.push_back(timer.nsecsElapsed() / 1e6);
    }
    // A repaint of the shown widget: paint event, layers, and the window's composition.
    // Not part of the frame time above: the composition of one repaint still occupies
    // the renderer's threads while the next frame is drawn.
    wholeFrame = false;
    std::vector<double> shown;
    for (int i = 0; i < frames; ++i) {
        QElapsedTimer timer;
        timer.start();
        glWidget->repaint();
        shown.push_back(timer.nsecsElapsed() / 1e6);
    }
    perLayer = true;
    for (int i = 0; i < frames; ++i)
        glWidget->grabFramebuffer();
    perLayer = false;
    // No layer at all: what the renderer costs for a frame that draws nothing.
    layersOn = false;
    emptyFrame = true;
    for (int i = 0; i < frames; ++i)
        glWidget->grabFramebuffer();
    emptyFrame = false;

    // QCustomPlot: a colour map of the same 1920 x 1080 values, same gradient stops.
    QCustomPlot plot;
    plot.resize(width, height);
    plot.axisRect()->setAutoMargins(QCP::msNone);
    plot.axisRect()->setMargins(QMargins());
    plot.xAxis->setVisible(false);
    plot.yAxis->setVisible(false);
    auto* map = new QCPColorMap(plot.xAxis, plot.yAxis);
    map->data()->setSize(width, height);
    map->data()->setRange(QCPRange(0, width - 1), QCPRange(0, height - 1));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            map->data()->setCell(x, y, scene.levels[size_t(y) * width + x]);
    QCPColorGradient gradient;
    gradient.clearColorStops();
    const TileColorTableDescriptor colours;
    gradient.setColorStopAt(0.0, colours.lowColor);
    gradient.setColorStopAt(0.5, colours.midColor);
    gradient.setColorStopAt(1.0, colours.highColor);
    map->setGradient(gradient);
    map->setDataRange(QCPRange(0, 255));
    map->setInterpolate(false);
    plot.xAxis->setRange(0, width - 1);
    plot.yAxis->setRange(0, height - 1);
    std::vector<double> plotFromMatrix;
    std::vector<double> plotCached;
    for (int i = 0; i < frames; ++i) {
        // A changed data range makes the map rebuild its image from the matrix.
        map->setDataRange(QCPRange(0, 255 + (i % 2)));
        QElapsedTimer timer;
        timer.start();
        const QPixmap drawn = plot.toPixmap(width, height);
        plotFromMatrix.push_back(timer.nsecsElapsed() / 1e6);
        timer.start();
        const QPixmap again = plot.toPixmap(width, height);
        plotCached.push_back(timer.nsecsElapsed() / 1e6);
    }

    // Colour table.
    QElapsedTimer tableTimer;
    const int tables = 2000;
    tableTimer.start();
    quint64 sink = 0;
    for (int i = 0; i < tables; ++i)
        sink += TilePaintHandler::buildColorTable(colours, TileSystemDescriptor(), Qt::black).at(i % 255);
    const double tableMicroseconds = tableTimer.nsecsElapsed() / 1e3 / tables;

    std::printf("frame %dx%d, %d tiles of %dx%d, both grids and the ruler; median of %d frames\n", width, height,
                tilesPerFrame, tileSize, tileSize, frames);
    std::printf("(a) raster QImage:                  %7.2f ms\n", median(raster));
    std::printf("(b) QOpenGLWidget, layers+glFinish: %7.2f ms   (grabFramebuffer incl. read-back: %.2f ms; "
                "repaint() of the shown widget incl. composition: %.2f ms)\n",
                median(gl), median(grab), median(shown));
    std::printf("    the same widget drawing no layer, with glFinish: %.2f ms\n", median(glEmpty));
    std::printf("QCPColorMap from the matrix:        %7.2f ms   (cached map image: %.2f ms)\n", median(plotFromMatrix),
                median(plotCached));
    std::printf("converted tile images held by the tile layer: %lld bytes (%.1f MiB, budget %.0f MiB)\n",
                static_cast<long long>(paintImageBytes), double(paintImageBytes) / (1024.0 * 1024.0),
                double(paintImageBudget) / (1024.0 * 1024.0));
    std::printf("per layer, median ms (raster | OpenGL with glFinish after each):\n");
    for (int index = 0; index < layerCount; ++index) {
        std::printf("  %-15s %7.3f | %7.3f\n", layerNames[index], median(rasterLayerTimes[size_t(index)]),
                    median(glLayerTimes[size_t(index)]));
    }
    printRatio("raster frame vs QCPColorMap matrix", median(raster), "QCPColorMap from matrix", median(plotFromMatrix),
               3.0);
    printRatio("raster frame vs QCPColorMap cached", median(raster), "QCPColorMap cached image", median(plotCached),
               1.0);
    printRatio("OpenGL frame vs raster frame", median(gl), "raster frame", median(raster), 1.0);
    std::printf("colour table build: %.1f us (checksum %llu)\n", tableMicroseconds,
                static_cast<unsigned long long>(sink));
    return 0;
}
