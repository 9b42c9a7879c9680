// Out-of-line constructors and destructors anchor the interfaces' vtables in the library.

#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/ITileProvider.h>

namespace mivo::tiling {

ITileLoader::ITileLoader(QObject* parent)
    : QObject(parent)
{
}

ITileLoader::~ITileLoader() = default;

ITileProvider::ITileProvider(QObject* parent)
    : QObject(parent)
{
}

ITileProvider::~ITileProvider() = default;

} // namespace mivo::tiling
