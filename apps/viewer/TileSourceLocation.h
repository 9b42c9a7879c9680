// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

namespace mivo::viewer {

struct TileSourceLocation
{
    QString baseUrl; ///< what TileProvider::setTileSource() takes; empty on error
    QString error; ///< why the source cannot be opened
    /// Where tilesources.json lists the sources to pick from (TileSourceManager's
    /// discovery URL); empty when there is none.
    QString discoveryUrl;
    /// The id of baseUrl among the discovered sources; empty when not known.
    QString sourceId;
    /// A URL given without a source id may be a source or a discovery URL: open the
    /// first source the discovery lists, and baseUrl (the URL itself) only when it
    /// lists none.
    bool awaitDiscovery = false;
};

/**
 * Where the tiles of @p source are:
 * - a directory holding tiledescriptor.json: that directory, as a file:// URL (its
 *   parent is the discovery URL when it holds tilesources.json);
 * - a directory holding tilesources.json (a pyramid output directory): the source
 *   @p sourceId, or the first one listed; the directory is the discovery URL;
 * - a URL: URL/sourceId when @p sourceId is given, else the first source the URL's
 *   tilesources.json lists or the URL itself (awaitDiscovery); the URL is the
 *   discovery URL.
 */
TileSourceLocation locateTileSource(const QString& source, const QString& sourceId);

} // namespace mivo::viewer
