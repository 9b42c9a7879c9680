// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Costs on the painting path: every frame builds tile ids for the view, and every
// tile goes through the cache.

#include <mivo/tiling/TileCache.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileSystem.h>

#include "../BenchmarkTileSystem.h"

#include <benchmark/benchmark.h>

#include <QImage>

#include <vector>

using namespace mivo::tiling;

namespace {

constexpr quint64 cacheSize = 30000;

void BM_TileIdConstruction(benchmark::State& state)
{
    quint64 x = 0;
    for (auto _ : state) {
        const TileId id(x, x >> 3, 3, 5);
        benchmark::DoNotOptimize(id.hash);
        ++x;
    }
    state.SetItemsProcessed(state.iterations());
}

// A 3840 x 2160 view of 10 MHz over an hour, at a scale 1.5 times the finest level's.
void BM_TilesInRange4K(benchmark::State& state)
{
    TileSystem system;
    benchmarkgeometry::configure(system);
    using benchmarkgeometry::xScale;
    using benchmarkgeometry::yScale;
    const QRectF view(100.0e6, 1.7e9 + 1000.0, 3840 * xScale, 2160 * yScale);
    qint64 tiles = 0;
    for (auto _ : state) {
        const QList<TileId> ids = system.tilesInRange(view, xScale, yScale);
        tiles += ids.size();
        benchmark::DoNotOptimize(ids.constFirst());
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["tiles_per_view"] = double(tiles) / double(state.iterations());
}

std::vector<TileId> ids(quint64 count, quint64 offset = 0)
{
    std::vector<TileId> result;
    result.reserve(count);
    for (quint64 i = 0; i < count; ++i)
        result.emplace_back(offset + i % 1000, offset + i / 1000, 0, 0);
    return result;
}

std::shared_ptr<Tile> sharedTile()
{
    static const auto tile = std::make_shared<Tile>(TileId(), QImage(256, 256, QImage::Format_Indexed8));
    return tile;
}

// Inserting into a cache that is full: every insertion evicts the least recent tile.
void BM_TileCacheInsertWithEviction(benchmark::State& state)
{
    TileCache cache(cacheSize);
    const auto warm = ids(cacheSize, 0);
    for (const TileId& id : warm)
        cache.insert(id, sharedTile());
    const auto fresh = ids(1000000, 1000000);
    std::size_t i = 0;
    for (auto _ : state) {
        cache.insert(fresh[i], sharedTile());
        if (++i == fresh.size()) {
            state.PauseTiming();
            i = 0;
            cache.clear();
            for (const TileId& id : warm)
                cache.insert(id, sharedTile());
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_TileCacheInsertBelowCapacity(benchmark::State& state)
{
    const auto fresh = ids(cacheSize);
    TileCache cache(cacheSize);
    std::size_t i = 0;
    for (auto _ : state) {
        cache.insert(fresh[i], sharedTile());
        if (++i == fresh.size()) {
            state.PauseTiming();
            i = 0;
            cache.clear();
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

// Looking up with touch in a full cache, in an order that moves tiles every time.
void BM_TileCacheLookupWithTouch(benchmark::State& state)
{
    TileCache cache(cacheSize);
    const auto all = ids(cacheSize);
    for (const TileId& id : all)
        cache.insert(id, sharedTile());
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(cache.lookup(all[i], true).get());
        i = (i + 7919) % all.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_TileCacheLookupMiss(benchmark::State& state)
{
    TileCache cache(cacheSize);
    for (const TileId& id : ids(cacheSize))
        cache.insert(id, sharedTile());
    const auto missing = ids(cacheSize, 5000000);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(cache.lookup(missing[i], true).get());
        i = (i + 1) % missing.size();
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_TileIdConstruction);
BENCHMARK(BM_TilesInRange4K)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TileCacheInsertBelowCapacity);
BENCHMARK(BM_TileCacheInsertWithEviction);
BENCHMARK(BM_TileCacheLookupWithTouch);
BENCHMARK(BM_TileCacheLookupMiss);

BENCHMARK_MAIN();
