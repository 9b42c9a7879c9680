#include "SignalSource.h"

namespace mivo::tilegen {

ISignalSource::~ISignalSource() = default;

} // namespace mivo::tilegen
