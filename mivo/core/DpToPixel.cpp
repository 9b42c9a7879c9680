#include <mivo/core/DpToPixel.h>

#include <QPaintDevice>

namespace mivo {

double dpToPixel(const QPaintDevice& device, double dp)
{
    return dp * device.logicalDpiX() / 96.0;
}

} // namespace mivo
