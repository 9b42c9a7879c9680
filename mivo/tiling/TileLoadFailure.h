// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QMetaType>
#include <QString>

namespace mivo::tiling {

/**
 * Why a tile did not load: reported by TileLoaderQNetworkAccessManager next to
 * si_tileLoadFailed(), so that a caller can tell a passing fault from a lasting one.
 */
struct MIVO_EXPORT TileLoadFailure
{
    enum class Kind
    {
        Network, ///< a network error other than those below (refused, host not found, ...)
        HttpError, ///< the server answered with an error status (httpStatus)
        Timeout, ///< the network timed out, or the body outlasted the loader's time limit
        ConnectionClosed, ///< the server closed or reset the connection before the answer was complete
        TooLarge, ///< the body (as sent or as decompressed) is larger than the loader's limit
        BadEncoding, ///< a content encoding the loader does not decode, or a corrupt compressed body
        FileError, ///< a file:// tile that is missing, unreadable or not a regular file
    };

    Kind kind = Kind::Network;
    int httpStatus = 0; ///< the HTTP status when the server sent one, else 0
    QString reason; ///< a short English description, for logs

    /// Worth trying again: timeouts, closed or reset connections, and the statuses 408,
    /// 429 and 5xx.
    bool isTransient() const;
};

} // namespace mivo::tiling

Q_DECLARE_METATYPE(mivo::tiling::TileLoadFailure)
