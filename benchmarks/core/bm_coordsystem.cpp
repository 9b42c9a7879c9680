// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Conversions between value space and pixels run for every grid line, tile, item
// and label of every frame, so they must stay a handful of arithmetic operations.

#include <mivo/core/CoordSystem.h>

#include <benchmark/benchmark.h>

#include <QPointF>
#include <QRectF>

#include <random>
#include <vector>

namespace {

constexpr std::size_t inputCount = 4096; // a power of two, for cheap wrap-around

// A view of one hour of a 10 MHz band on a 1920 x 1080 widget.
void setUpView(mivo::CoordSystem& coords)
{
    coords.x().setDisplayedPixelSpan(1920.0);
    coords.y().setDisplayedPixelSpan(1080.0);
    coords.setDisplayedValueRange(QRectF(100.0e6, 1.7e9, 10.0e6, 3600.0));
}

std::vector<QPointF> randomPoints(const QRectF& area)
{
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> xs(area.left(), area.right());
    std::uniform_real_distribution<double> ys(area.top(), area.bottom());
    std::vector<QPointF> points(inputCount);
    for (QPointF& point : points)
        point = QPointF(xs(random), ys(random));
    return points;
}

std::vector<QRectF> randomRects(const QRectF& area)
{
    std::vector<QRectF> rects;
    rects.reserve(inputCount);
    for (const QPointF& corner : randomPoints(area))
        rects.emplace_back(corner, QSizeF(area.width() / 50.0, area.height() / 20.0));
    return rects;
}

template <typename Input, typename Convert>
void runConversions(benchmark::State& state, const std::vector<Input>& inputs, Convert convert)
{
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(convert(inputs[i]));
        i = (i + 1) & (inputCount - 1);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_ValueToPixelPoint(benchmark::State& state)
{
    mivo::CoordSystem coords;
    setUpView(coords);
    const auto inputs = randomPoints(coords.displayedValueRange());
    runConversions(state, inputs, [&coords](const QPointF& p) { return coords.valueToPixel(p); });
}

void BM_PixelToValuePoint(benchmark::State& state)
{
    mivo::CoordSystem coords;
    setUpView(coords);
    const auto inputs = randomPoints(coords.displayedPixelRange());
    runConversions(state, inputs, [&coords](const QPointF& p) { return coords.pixelToValue(p); });
}

void BM_ValueToPixelRect(benchmark::State& state)
{
    mivo::CoordSystem coords;
    setUpView(coords);
    const auto inputs = randomRects(coords.displayedValueRange());
    runConversions(state, inputs, [&coords](const QRectF& r) { return coords.valueToPixel(r); });
}

void BM_PixelToValueRect(benchmark::State& state)
{
    mivo::CoordSystem coords;
    setUpView(coords);
    const auto inputs = randomRects(coords.displayedPixelRange());
    runConversions(state, inputs, [&coords](const QRectF& r) { return coords.pixelToValue(r); });
}

} // namespace

BENCHMARK(BM_ValueToPixelPoint);
BENCHMARK(BM_PixelToValuePoint);
BENCHMARK(BM_ValueToPixelRect);
BENCHMARK(BM_PixelToValueRect);

BENCHMARK_MAIN();
