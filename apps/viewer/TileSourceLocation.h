#pragma once

#include <QString>

namespace mivo::viewer {

struct TileSourceLocation
{
    QString baseUrl; ///< what TileProvider::setTileSource() takes; empty on error
    QString error;   ///< why the source cannot be opened
};

/**
 * Where the tiles of @p source are:
 * - a directory holding tiledescriptor.json: that directory, as a file:// URL;
 * - a directory holding tilesources.json (a pyramid output directory): the source
 *   @p sourceId, or the first one listed;
 * - a URL: the URL itself, or URL/sourceId when @p sourceId is given (a discovery URL).
 */
TileSourceLocation locateTileSource(const QString& source, const QString& sourceId);

} // namespace mivo::viewer
