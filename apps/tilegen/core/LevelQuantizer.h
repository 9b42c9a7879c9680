// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

namespace mivo::tilegen {

// Maps a level in dB to the 8-bit pixel index the waterfall reads back as
// index / steps * (max - min) + min. Index 0 is reserved for "no data", so every
// level, however low, high or undefined (NaN), gets an index in 1..steps.
class LevelQuantizer
{
public:
    // The waterfall's defaults: -127 dB .. 127 dB in 255 steps.
    LevelQuantizer() = default;
    LevelQuantizer(double minValue, double maxValue, int valueSteps);

    // Inline: called for every bin of every frame.
    quint8 indexOf(double level) const
    {
        const double position = (level - m_min) * m_scale;
        // Written so that NaN falls to the lowest data index.
        if (!(position >= 1.0))
            return 1;
        if (position >= m_steps)
            return quint8(m_steps);
        return quint8(position + 0.5); // round half up; position is positive here
    }

    // The level index `index` stands for.
    double levelOf(int index) const;

    double minValue() const { return m_min; }
    double maxValue() const { return m_max; }
    int valueSteps() const { return m_steps; }

private:
    double m_min = -127.0;
    double m_max = 127.0;
    int m_steps = 255;
    double m_scale = 255.0 / 254.0;
};

} // namespace mivo::tilegen
