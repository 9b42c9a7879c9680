// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SampleEncoding.h"

#include <QtEndian>

#include <cstring>

namespace mivo::synth {

void encodeCf32Le(const std::complex<float>* samples, int count, char* out)
{
    for (int i = 0; i < count; ++i) {
        quint32 re;
        quint32 im;
        const float reValue = samples[i].real();
        const float imValue = samples[i].imag();
        std::memcpy(&re, &reValue, 4);
        std::memcpy(&im, &imValue, 4);
        qToLittleEndian(re, out + size_t(i) * 8);
        qToLittleEndian(im, out + size_t(i) * 8 + 4);
    }
}

} // namespace mivo::synth
