// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileLoadFailure.h>

namespace mivo::tiling {

bool TileLoadFailure::isTransient() const
{
    switch (kind) {
    case Kind::Timeout:
    case Kind::ConnectionClosed:
        return true;
    case Kind::HttpError:
        return httpStatus == 408 || httpStatus == 429 || (httpStatus >= 500 && httpStatus <= 599);
    case Kind::Network:
    case Kind::TooLarge:
    case Kind::BadEncoding:
    case Kind::FileError:
        return false;
    }
    return false;
}

} // namespace mivo::tiling
