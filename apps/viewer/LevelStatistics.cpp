// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LevelStatistics.h"

#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileSystem.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace mivo::viewer {

namespace {

bool isEmpty(const QRectF& rect)
{
    return !(rect.width() > 0.0 && rect.height() > 0.0);
}

// Pixels [first, last] of one axis of a tile that overlap [low, high), with the length
// each overlaps. A sliver below a millionth of a pixel (a border met by rounding) does
// not count.
struct PixelSpan
{
    int first = 0;
    std::vector<double> overlaps;
};

PixelSpan overlappingPixels(double tileStart, double pixelSize, int pixelCount, double low, double high)
{
    PixelSpan span;
    const double firstPixel = std::max(0.0, std::floor((low - tileStart) / pixelSize));
    const double lastPixel = std::min(double(pixelCount - 1), std::ceil((high - tileStart) / pixelSize) - 1.0);
    if (!(firstPixel <= lastPixel))
        return span;
    span.first = int(firstPixel);
    for (int pixel = span.first; pixel <= int(lastPixel); ++pixel) {
        const double start = tileStart + pixel * pixelSize;
        const double overlap = std::min(high, start + pixelSize) - std::max(low, start);
        span.overlaps.push_back(overlap > 1e-6 * pixelSize ? overlap : 0.0);
    }
    return span;
}

// Levels met so far: the weight of every pixel index, and the first highest pixel.
struct Accumulator
{
    std::array<double, 256> weights{};
    int peakIndex = -1;
    QPointF peakPosition;
    double frequencyResolution = 0.0;
    double timeResolution = 0.0;

    void add(const QImage& image, const QRectF& tileArea, double pixelWidth, double pixelHeight, const QRectF& area)
    {
        const PixelSpan columns
            = overlappingPixels(tileArea.left(), pixelWidth, image.width(), area.left(), area.right());
        const PixelSpan rows
            = overlappingPixels(tileArea.top(), pixelHeight, image.height(), area.top(), area.bottom());
        frequencyResolution = std::max(frequencyResolution, pixelWidth);
        timeResolution = std::max(timeResolution, pixelHeight);
        for (std::size_t row = 0; row < rows.overlaps.size(); ++row) {
            const double rowWeight = rows.overlaps[row];
            if (rowWeight == 0.0)
                continue;
            const int y = rows.first + int(row);
            const uchar* line = image.constScanLine(y);
            for (std::size_t column = 0; column < columns.overlaps.size(); ++column) {
                const double weight = rowWeight * columns.overlaps[column];
                const int x = columns.first + int(column);
                const int index = line[x];
                if (weight == 0.0 || index == 0) // 0: no data
                    continue;
                weights[std::size_t(index)] += weight;
                if (index > peakIndex) {
                    peakIndex = index;
                    const QRectF pixel(tileArea.left() + x * pixelWidth, tileArea.top() + y * pixelHeight, pixelWidth,
                                       pixelHeight);
                    peakPosition = pixel.intersected(area).center();
                }
            }
        }
    }
};

} // namespace

SelectionStatistics::SelectionStatistics(const tiling::TileSystem& tileSystem, tiling::ITileProvider& provider)
    : m_tileSystem(tileSystem)
    , m_provider(provider)
{
}

LevelStatistics SelectionStatistics::measure(const QRectF& region, const QRectF& view, double xScale,
                                             double yScale) const
{
    LevelStatistics result;
    if (!m_tileSystem.isValid())
        return result;
    const QRectF inData = region.normalized().intersected(m_tileSystem.extents());
    const QRectF measured = inData.intersected(view.normalized());
    result.clippedByView = !isEmpty(inData) && measured != inData;
    if (isEmpty(measured))
        return result;
    result.measuredArea = measured;

    Accumulator levels;
    double levelPixelArea = 0.0;
    const QList<tiling::TileId> ids = m_tileSystem.tilesInRange(measured, xScale, yScale);
    for (const tiling::TileId& id : ids) {
        const QRectF wanted = m_tileSystem.tileIdToValue(id);
        const QRectF area = wanted.intersected(measured);
        if (isEmpty(area)) // the tile beyond a far edge that ends on a tile border
            continue;
        ++result.tileCount;
        if (levelPixelArea == 0.0)
            levelPixelArea = wanted.width() / m_tileSystem.x().tilesize * wanted.height() / m_tileSystem.y().tilesize;
        const std::shared_ptr<tiling::Tile> tile = m_provider.tile(id);
        if (!tile || tile->image.format() != QImage::Format_Indexed8) {
            ++result.missingTiles;
            continue;
        }
        const tiling::TileId& got = tile->tileId;
        const QRectF tileArea = m_tileSystem.tileIdToValue(got);
        const double pixelWidth = tileArea.width() / m_tileSystem.x().tilesize;
        const double pixelHeight = tileArea.height() / m_tileSystem.y().tilesize;
        if (!(pixelWidth > 0.0 && pixelHeight > 0.0 && std::isfinite(pixelWidth) && std::isfinite(pixelHeight))) {
            ++result.missingTiles; // a level whose geometry makes no sense
            continue;
        }
        if (got.xZoomLevel != id.xZoomLevel || got.yZoomLevel != id.yZoomLevel || got.x != id.x || got.y != id.y)
            ++result.standInTiles;
        levels.add(tile->image, tileArea, pixelWidth, pixelHeight, area);
    }

    double total = 0.0;
    double power = 0.0;
    for (int index = 1; index < 256; ++index) {
        const double weight = levels.weights[std::size_t(index)];
        total += weight;
        power += weight * std::pow(10.0, m_tileSystem.pixelIndexToValue(quint32(index)) / 10.0);
    }
    result.frequencyResolution = levels.frequencyResolution;
    result.timeResolution = levels.timeResolution;
    if (!(total > 0.0) || !(levelPixelArea > 0.0))
        return result;
    result.dataPixels = total / levelPixelArea;
    result.peakLevel = m_tileSystem.pixelIndexToValue(quint32(levels.peakIndex));
    result.peakPosition = levels.peakPosition;
    result.meanLevel = 10.0 * std::log10(power / total);
    for (int index = 1; index < 256; ++index) {
        const double weight = levels.weights[std::size_t(index)];
        if (weight > 0.0)
            result.distribution.append({m_tileSystem.pixelIndexToValue(quint32(index)), weight / levelPixelArea});
    }
    // A level mapping may run downwards; the quantiles want ascending levels.
    std::stable_sort(result.distribution.begin(), result.distribution.end(),
                     [](const LevelShare& a, const LevelShare& b) { return a.level < b.level; });
    result.medianLevel = result.levelAt(0.5);
    return result;
}

double LevelStatistics::levelAt(double fraction) const
{
    double total = 0.0;
    for (const LevelShare& share : distribution)
        total += share.pixels;
    double below = 0.0;
    for (const LevelShare& share : distribution) {
        below += share.pixels;
        if (below >= fraction * total)
            return share.level;
    }
    return distribution.isEmpty() ? 0.0 : distribution.constLast().level;
}

std::optional<LevelRange> autoLevelRange(const LevelStatistics& statistics, double lowFraction, double highFraction)
{
    if (!statistics.hasData() || statistics.distribution.isEmpty())
        return std::nullopt;
    LevelRange range;
    range.lower = std::floor(statistics.levelAt(lowFraction));
    range.upper = std::ceil(statistics.levelAt(highFraction));
    if (!(range.upper >= range.lower + 1.0)) // one level only, or an odd fraction
        range.upper = range.lower + 1.0;
    return range;
}

} // namespace mivo::viewer
