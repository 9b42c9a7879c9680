#include "LiveInput.h"

namespace mivo::tilegen {

LiveInput::LiveInput(QObject* parent)
    : QObject(parent)
{
}

LiveInput::~LiveInput() = default;

} // namespace mivo::tilegen
