#include <mivo/tiling/TileLoadFailure.h>

#include "TilingLog_p.h"

namespace mivo::tiling {

Q_LOGGING_CATEGORY(lcTiling, "mivo.tiling", QtInfoMsg)

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
