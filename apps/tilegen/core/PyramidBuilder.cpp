#include "PyramidBuilder.h"

#include "AxisGrid.h"

#include <algorithm>
#include <cstring>

namespace mivo::tilegen {

// Rows of pixels over absolute columns origin .. origin + width - 1 of one x level.
struct PyramidBuilder::Plane
{
    qint64 origin = 0;
    int width = 0;
    int rows = 0;
    std::vector<quint8> pixels;

    quint8* row(int r) { return pixels.data() + size_t(r) * size_t(width); }
    const quint8* row(int r) const { return pixels.data() + size_t(r) * size_t(width); }
};

namespace {

// The combining rules as plain loops over whole rows without a branch per pixel, so
// that the compiler makes vector code of them. Both rules are symmetric in a and b.
inline quint8 combineMaximum(unsigned a, unsigned b)
{
    return quint8(a > b ? a : b);
}

inline quint8 combineMean(unsigned a, unsigned b)
{
    // The one holding data, or 0 for none; both: the rounded mean.
    const unsigned mean = (a + b + 1) >> 1;
    return quint8(a != 0 && b != 0 ? mean : (a | b));
}

template<quint8 (*combine)(unsigned, unsigned)>
void combineRowsWith(const quint8* a, const quint8* b, int count, quint8* out)
{
    for (int i = 0; i < count; ++i)
        out[i] = combine(a[i], b[i]);
}

void combineRows(const quint8* a, const quint8* b, int count, quint8* out, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        combineRowsWith<combineMaximum>(a, b, count, out);
    else
        combineRowsWith<combineMean>(a, b, count, out);
}

// out[i] = combine(in[2i], in[2i + 1]); the pair is read as one 16-bit word.
template<quint8 (*combine)(unsigned, unsigned)>
void halveRowWith(const quint8* in, int count, quint8* out)
{
    for (int i = 0; i < count; ++i) {
        quint16 pair;
        std::memcpy(&pair, in + 2 * i, sizeof pair);
        out[i] = combine(pair & 0xffu, unsigned(pair) >> 8);
    }
}

void halveRow(const quint8* in, int count, quint8* out, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        halveRowWith<combineMaximum>(in, count, out);
    else
        halveRowWith<combineMean>(in, count, out);
}

bool anyNonZero(const quint8* pixels, int count)
{
    quint8 any = 0;
    for (int i = 0; i < count; ++i)
        any |= pixels[i];
    return any != 0;
}

// Tile-aligned column range of an x level holding level-0 columns first..last.
void placePlane(const AxisGrid& grid, qint64 firstColumn0, qint64 lastColumn0, int xZoom, qint64& origin, int& width)
{
    const qint64 firstTile = grid.tileOf(AxisGrid::pixelAtLevel(firstColumn0, xZoom));
    const qint64 lastTile = grid.tileOf(AxisGrid::pixelAtLevel(lastColumn0, xZoom));
    origin = firstTile * grid.tileSize();
    width = int((lastTile - firstTile + 1) * grid.tileSize());
}

} // namespace

class PyramidBuilder::Strip
{
public:
    Strip(int yZoom, Plane plane)
        : yZoom(yZoom)
        , plane(std::move(plane))
        , reducedRow(size_t(this->plane.width))
    {
    }

    void clear()
    {
        std::fill(plane.pixels.begin(), plane.pixels.end(), quint8(0));
        active = false;
    }

    const int yZoom;
    Plane plane; // tileSize rows of level-0 columns
    std::vector<quint8> reducedRow; // one row pair combined, on its way to the strip above
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
    const auto makePlane = [&](int xZoom) {
        Plane plane;
        placePlane(grid, settings.firstColumn, settings.lastColumn, xZoom, plane.origin, plane.width);
        plane.rows = settings.tileSize;
        plane.pixels.assign(size_t(plane.width) * size_t(plane.rows), 0);
        return plane;
    };
    for (int yZoom = 0; yZoom <= settings.topYZoom; ++yZoom)
        m_strips.push_back(std::make_unique<Strip>(yZoom, makePlane(0)));
    for (int xZoom = 1; xZoom <= settings.topXZoom; ++xZoom)
        m_coarser.push_back(std::make_unique<Plane>(makePlane(xZoom)));
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
    addRow(row, values, ColumnMap(columnOf));
}

void PyramidBuilder::addRow(qint64 row, const quint8* values, const ColumnMap& columns)
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
        const int width = strip.plane.width;
        // Per strip: stripFor() below may flush the strip above, which reduces too.
        quint8* reduced = strip.reducedRow.data();
        for (int r = 0; r < tileSize; r += 2) {
            combineRows(strip.plane.row(r), strip.plane.row(r + 1), width, reduced, m_settings.reduction);
            // Rows without data do not start the upper strip: it may begin later.
            if (!anyNonZero(reduced, width))
                continue;
            const qint64 upperRow = (firstRow + r) / 2;
            Strip& upper = stripFor(yZoom + 1, upperRow);
            // Each upper row comes from exactly one pixel pair of this strip: a copy.
            std::memcpy(upper.plane.row(int(upperRow - upper.tileRow * tileSize)), reduced, size_t(width));
        }
    }
    strip.clear();
}

void PyramidBuilder::emitTiles(const Strip& strip)
{
    const int tileSize = m_settings.tileSize;
    const Plane* level = &strip.plane;
    emitTilesOf(*level, 0, strip);
    for (int xZoom = 1; xZoom <= m_settings.topXZoom; ++xZoom) {
        Plane& next = *m_coarser[size_t(xZoom) - 1];
        // The finer plane starts at 2 * next.origin or one tile after it, and both
        // widths are whole tiles, so pixel pairs never straddle its edges.
        const qint64 shift = level->origin - 2 * next.origin;
        Q_ASSERT((shift == 0 || shift == tileSize) && "planes are tile-aligned at every level");
        const int begin = int(shift / 2);
        const int end = std::min(next.width, int((shift + level->width) / 2));
        for (int r = 0; r < tileSize; ++r) {
            quint8* out = next.row(r);
            std::fill(out, out + begin, quint8(0));
            halveRow(level->row(r), end - begin, out + begin, m_settings.reduction);
            std::fill(out + end, out + next.width, quint8(0));
        }
        emitTilesOf(next, xZoom, strip);
        level = &next;
    }
}

void PyramidBuilder::emitTilesOf(const Plane& plane, int xZoom, const Strip& strip)
{
    const int tileSize = m_settings.tileSize;
    const int tiles = plane.width / tileSize;
    for (int t = 0; t < tiles; ++t) {
        const int left = t * tileSize;
        bool holdsData = false;
        for (int r = 0; r < tileSize && !holdsData; ++r)
            holdsData = anyNonZero(plane.row(r) + left, tileSize);
        if (!holdsData)
            continue;
        QImage image(tileSize, tileSize, QImage::Format_Indexed8);
        for (int r = 0; r < tileSize; ++r)
            std::memcpy(image.scanLine(r), plane.row(r) + left, size_t(tileSize));
        TileKey key;
        key.xZoom = xZoom;
        key.yZoom = strip.yZoom;
        key.x = plane.origin / tileSize + t;
        key.y = strip.tileRow;
        m_sink(key, image);
        ++m_tilesEmitted;
    }
}

void PyramidBuilder::finish()
{
    for (int yZoom = 0; yZoom <= m_settings.topYZoom; ++yZoom)
        flushLevel(yZoom);
}

} // namespace mivo::tilegen
