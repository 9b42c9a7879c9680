// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// What the selection panel costs when it measures again while the view moves: the
// level statistics of a selection that fills a whole view, read from cached tiles.

#include "LevelStatistics.h"

#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileSystem.h>

#include "../BenchmarkTileSystem.h"

#include <benchmark/benchmark.h>

#include <QHash>
#include <QImage>

#include <random>

using namespace mivo::tiling;
using namespace mivo::viewer;

namespace {

// Answers every tile with one of a few noisy 256 x 256 images.
class NoiseProvider : public ITileProvider
{
public:
    NoiseProvider()
    {
        std::mt19937 random(3);
        std::uniform_int_distribution<int> index(1, 255);
        for (int i = 0; i < 4; ++i) {
            QImage image(256, 256, QImage::Format_Indexed8);
            image.setColorCount(256);
            for (int y = 0; y < 256; ++y) {
                uchar* line = image.scanLine(y);
                for (int x = 0; x < 256; ++x)
                    line[x] = uchar(index(random));
            }
            m_images.append(image);
        }
    }

    void setColorTable(const QVector<unsigned int>&) override {}
    void setRequiredTiles(const QList<TileId>&) override {}
    std::shared_ptr<Tile> tile(const TileId& id) override
    {
        auto found = m_tiles.find(id);
        if (found == m_tiles.end())
            found = m_tiles.insert(id, std::make_shared<Tile>(id, m_images.at(int(id.x + id.y) % m_images.size())));
        return found.value();
    }

private:
    QList<QImage> m_images;
    QHash<TileId, std::shared_ptr<Tile>> m_tiles;
};

// A view of state.range(0) x state.range(1) screen pixels at 1.5 times the finest
// level's scale (so level 0 tiles are read: about 2.25 tile pixels per screen pixel),
// wholly selected.
void BM_MeasureWholeView(benchmark::State& state)
{
    TileSystem system;
    benchmarkgeometry::configure(system);
    using benchmarkgeometry::xScale;
    using benchmarkgeometry::yScale;
    NoiseProvider provider;
    const SelectionStatistics statistics(system, provider);
    const QRectF view(100.0e6 + 3.0, 1.7e9 + 1000.05, double(state.range(0)) * xScale, double(state.range(1)) * yScale);
    double pixels = 0.0;
    for (auto _ : state) {
        const LevelStatistics figures = statistics.measure(view, view, xScale, yScale);
        pixels = figures.dataPixels;
        benchmark::DoNotOptimize(figures.meanLevel);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["tile_pixels"] = pixels;
    state.counters["tile_pixels_per_s"]
        = benchmark::Counter(pixels * double(state.iterations()), benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(BM_MeasureWholeView)
    ->Args({1280, 800})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
