// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LiveInput.h"

namespace mivo::tilegen {

LiveInput::LiveInput(QObject* parent)
    : QObject(parent)
{
}

LiveInput::~LiveInput() = default;

} // namespace mivo::tilegen
