#include <mivo/overlays/IInfoWidget.h>

namespace mivo {

IInfoWidget::IInfoWidget(QWidget* parent)
    : QFrame(parent)
{
}

IInfoWidget::~IInfoWidget() = default;

} // namespace mivo
