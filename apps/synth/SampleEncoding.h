// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <complex>

namespace mivo::synth {

// Writes `count` samples as cf32_le: I then Q, each a little-endian IEEE float, 8
// bytes per sample, into `out` (count * 8 bytes).
void encodeCf32Le(const std::complex<float>* samples, int count, char* out);

} // namespace mivo::synth
