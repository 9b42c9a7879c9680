#include "PyramidBuilder.h"

#include "AxisGrid.h"

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

namespace {

// Rows of pixels over absolute columns origin .. origin + width - 1 of one x level.
struct Plane
{
    qint64 origin = 0;
    int width = 0;
    int rows = 0;
    std::vector<quint8> pixels;

    quint8* row(int r) { return pixels.data() + size_t(r) * size_t(width); }
    const quint8* row(int r) const { return pixels.data() + size_t(r) * size_t(width); }
};

inline quint8 combine(quint8 a, quint8 b, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        return std::max(a, b);
    if (a == 0 || b == 0)
        return quint8(a | b); // the one holding data, or 0 for none
    return quint8((unsigned(a) + unsigned(b) + 1) / 2);
}

// Tile-aligned column range of an x level holding level-0 columns first..last.
Plane planeFor(const AxisGrid& grid, qint64 firstColumn0, qint64 lastColumn0, int xZoom, int rows)
{
    const qint64 firstTile = grid.tileOf(AxisGrid::pixelAtLevel(firstColumn0, xZoom));
    const qint64 lastTile = grid.tileOf(AxisGrid::pixelAtLevel(lastColumn0, xZoom));
    Plane plane;
    plane.origin = firstTile * grid.tileSize();
    plane.width = int((lastTile - firstTile + 1) * grid.tileSize());
    plane.rows = rows;
    plane.pixels.assign(size_t(plane.width) * size_t(rows), 0);
    return plane;
}

void reduceColumns(const Plane& source, Plane& target, Reduction reduction)
{
    const qint64 sourceEnd = source.origin + source.width;
    for (int r = 0; r < source.rows; ++r) {
        const quint8* in = source.row(r);
        quint8* out = target.row(r);
        for (int c = 0; c < target.width; ++c) {
            const qint64 left = 2 * (target.origin + c);
            const quint8 a = left >= source.origin && left < sourceEnd ? in[left - source.origin] : 0;
            const quint8 b = left + 1 >= source.origin && left + 1 < sourceEnd ? in[left + 1 - source.origin] : 0;
            out[c] = combine(a, b, reduction);
        }
    }
}

} // namespace

class PyramidBuilder::Strip
{
public:
    Strip(int yZoom, Plane plane)
        : yZoom(yZoom)
        , plane(std::move(plane))
    {
    }

    void clear()
    {
        std::fill(plane.pixels.begin(), plane.pixels.end(), quint8(0));
        active = false;
    }

    const int yZoom;
    Plane plane; // tileSize rows of level-0 columns
    bool active = false;
    qint64 tileRow = 0;
};

PyramidBuilder::PyramidBuilder(const Settings& settings, TileSink sink)
    : m_settings(settings)
    , m_sink(std::move(sink))
{
    Q_ASSERT(settings.tileSize > 0 && settings.tileSize % 2 == 0 && "halving needs whole pixel pairs per tile");
    Q_ASSERT(settings.firstColumn >= 0 && settings.lastColumn >= settings.firstColumn);
    const AxisGrid grid(1.0, settings.tileSize);
    for (int yZoom = 0; yZoom <= settings.topYZoom; ++yZoom) {
        m_strips.push_back(std::make_unique<Strip>(
            yZoom, planeFor(grid, settings.firstColumn, settings.lastColumn, 0, settings.tileSize)));
    }
}

PyramidBuilder::~PyramidBuilder() = default;

PyramidBuilder::Strip& PyramidBuilder::stripFor(int yZoom, qint64 row)
{
    Q_ASSERT(row >= 0 && "rows before the grid's origin cannot be stored");
    Strip& strip = *m_strips[size_t(yZoom)];
    const qint64 tileRow = row / m_settings.tileSize;
    if (strip.active && strip.tileRow != tileRow) {
        Q_ASSERT(tileRow > strip.tileRow && "rows must arrive in time order");
        flushLevel(yZoom);
    }
    if (!strip.active) {
        strip.active = true;
        strip.tileRow = tileRow;
    }
    return strip;
}

void PyramidBuilder::addRow(qint64 row, const quint8* values, const std::vector<qint64>& columnOf)
{
    Strip& strip = stripFor(0, row);
    quint8* target = strip.plane.row(int(row - strip.tileRow * m_settings.tileSize));
    const qint64 origin = strip.plane.origin;
    for (size_t i = 0; i < columnOf.size(); ++i) {
        const qint64 column = columnOf[i];
        if (column < 0)
            continue;
        quint8& pixel = target[column - origin];
        pixel = std::max(pixel, values[i]);
    }
}

void PyramidBuilder::flushLevel(int yZoom)
{
    Strip& strip = *m_strips[size_t(yZoom)];
    if (!strip.active)
        return;
    emitTiles(strip);

    if (yZoom < m_settings.topYZoom) {
        const int tileSize = m_settings.tileSize;
        const qint64 firstRow = strip.tileRow * tileSize;
        std::vector<quint8> reduced(size_t(strip.plane.width));
        for (int r = 0; r < tileSize; r += 2) {
            const quint8* a = strip.plane.row(r);
            const quint8* b = strip.plane.row(r + 1);
            bool holdsData = false;
            for (size_t c = 0; c < reduced.size(); ++c) {
                reduced[c] = combine(a[c], b[c], m_settings.reduction);
                holdsData = holdsData || reduced[c] != 0;
            }
            if (!holdsData)
                continue;
            const qint64 upperRow = (firstRow + r) / 2;
            Strip& upper = stripFor(yZoom + 1, upperRow);
            // Each upper row comes from exactly one pixel pair of this strip: a copy.
            std::memcpy(upper.plane.row(int(upperRow - upper.tileRow * tileSize)), reduced.data(), reduced.size());
        }
    }
    strip.clear();
}

void PyramidBuilder::emitTiles(const Strip& strip)
{
    const int tileSize = m_settings.tileSize;
    const AxisGrid grid(1.0, tileSize);
    Plane reduced;
    const Plane* level = &strip.plane;
    for (int xZoom = 0; xZoom <= m_settings.topXZoom; ++xZoom) {
        if (xZoom > 0) {
            Plane next = planeFor(grid, m_settings.firstColumn, m_settings.lastColumn, xZoom, tileSize);
            reduceColumns(*level, next, m_settings.reduction);
            reduced = std::move(next);
            level = &reduced;
        }
        const int tiles = level->width / tileSize;
        for (int t = 0; t < tiles; ++t) {
            const int left = t * tileSize;
            bool holdsData = false;
            for (int r = 0; r < tileSize && !holdsData; ++r) {
                const quint8* pixels = level->row(r) + left;
                holdsData = std::any_of(pixels, pixels + tileSize, [](quint8 v) { return v != 0; });
            }
            if (!holdsData)
                continue;
            QImage image(tileSize, tileSize, QImage::Format_Indexed8);
            for (int r = 0; r < tileSize; ++r)
                std::memcpy(image.scanLine(r), level->row(r) + left, size_t(tileSize));
            TileKey key;
            key.xZoom = xZoom;
            key.yZoom = strip.yZoom;
            key.x = level->origin / tileSize + t;
            key.y = strip.tileRow;
            m_sink(key, image);
            ++m_tilesEmitted;
        }
    }
}

void PyramidBuilder::finish()
{
    for (int yZoom = 0; yZoom <= m_settings.topYZoom; ++yZoom)
        flushLevel(yZoom);
}

} // namespace mivo::tilegen
