// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SignalSource.h"

namespace mivo::tilegen {

ISignalSource::~ISignalSource() = default;

} // namespace mivo::tilegen
