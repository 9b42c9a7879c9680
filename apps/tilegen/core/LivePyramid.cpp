#include "LivePyramid.h"

#include "RowReduction.h"
#include "StripTiler.h"

#include <algorithm>

namespace mivo::tilegen {

class LivePyramid::Strip
{
public:
    Strip(int yZoom, TilePlane plane)
        : yZoom(yZoom)
        , plane(std::move(plane))
    {
    }

    const int yZoom;
    TilePlane plane; // tileSize rows of level-0 columns
    bool active = false;
    bool changed = false; // since it was last cut into tiles
    qint64 tileRow = 0;
};

LivePyramid::LivePyramid(const PyramidBuilder::Settings& settings)
    : m_settings(settings)
    , m_tiler(std::make_unique<StripTiler>(settings))
{
    Q_ASSERT(settings.tileSize > 0 && settings.tileSize % 2 == 0 && "halving needs whole pixel pairs per tile");
    for (int yZoom = 0; yZoom <= settings.topYZoom; ++yZoom)
        m_strips.push_back(std::make_unique<Strip>(yZoom, m_tiler->makePlane(0)));
}

LivePyramid::~LivePyramid() = default;

void LivePyramid::cut(Strip& strip, Tiles& into)
{
    m_tiler->emitTiles(strip.plane, strip.yZoom, strip.tileRow, [&](const TileKey& key, const QImage& tile) {
        into.emplace_back(key, tile);
    });
    strip.changed = false;
}

LivePyramid::Strip& LivePyramid::stripFor(int yZoom, qint64 row)
{
    Q_ASSERT(row >= 0 && "rows before the grid's origin cannot be stored");
    Strip& strip = *m_strips[size_t(yZoom)];
    const qint64 tileRow = row / m_settings.tileSize;
    if (strip.active && strip.tileRow != tileRow) {
        Q_ASSERT(tileRow > strip.tileRow && "rows must arrive in time order");
        // Left behind: its last state goes out with the next publication.
        if (strip.changed)
            cut(strip, m_finished);
        std::fill(strip.plane.pixels.begin(), strip.plane.pixels.end(), quint8(0));
        strip.active = false;
    }
    if (!strip.active) {
        strip.active = true;
        strip.tileRow = tileRow;
    }
    return strip;
}

void LivePyramid::addRow(qint64 row, const quint8* values, const ColumnMap& columns)
{
    Strip& strip = stripFor(0, row);
    quint8* target = strip.plane.row(int(row - strip.tileRow * m_settings.tileSize));
    const qint64 origin = strip.plane.origin;
    for (const ColumnMap::Run& run : columns.runs()) {
        Q_ASSERT(run.firstColumn >= origin && run.firstColumn + run.count <= origin + strip.plane.width);
        // Merged by maximum: several bins or frames may share a pixel.
        combineRowsWith<combineMaximum>(target + (run.firstColumn - origin), values + run.firstBin, run.count,
                                        target + (run.firstColumn - origin));
    }
    strip.changed = true;
    propagate(0, row);
}

void LivePyramid::propagate(int yZoom, qint64 row)
{
    const int tileSize = m_settings.tileSize;
    for (int z = yZoom; z < m_settings.topYZoom; ++z) {
        const Strip& strip = *m_strips[size_t(z)];
        // The pair lies in one strip: tile rows hold an even number of rows.
        const int first = int((row & ~qint64(1)) - strip.tileRow * tileSize);
        const qint64 upperRow = row / 2;
        Strip& upper = stripFor(z + 1, upperRow);
        combineRows(strip.plane.row(first), strip.plane.row(first + 1), strip.plane.width,
                    upper.plane.row(int(upperRow - upper.tileRow * tileSize)), m_settings.reduction);
        upper.changed = true;
        row = upperRow;
    }
}

LivePyramid::Tiles LivePyramid::takeChanges()
{
    Tiles tiles;
    tiles.swap(m_finished);
    for (const auto& strip : m_strips) {
        if (strip->active && strip->changed)
            cut(*strip, tiles);
    }
    return tiles;
}

} // namespace mivo::tilegen
