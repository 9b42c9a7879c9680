// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "InputOpener.h"
#include "LiveGenerator.h"
#include "LiveInput.h"

#include <memory>

namespace mivo::tilegen {

struct OpenedLiveInput
{
    std::unique_ptr<LiveInput> input;
    LiveStream stream;
    QString defaultSourceId; // "live" for standard input, "rtl_tcp", or the file's base name
};

// The input of --follow, not yet started: "-" is standard input (needs a datatype),
// "rtl_tcp://HOST:PORT" a receiver (cu8; the tuner is set to the centre frequency and
// sample rate), anything else a file still being written (datatype from the settings
// or the extension). The sample rate is required. Throws apps::Error naming the input or
// the option.
OpenedLiveInput openLiveInput(const QString& path, const InputSettings& settings);

} // namespace mivo::tilegen
