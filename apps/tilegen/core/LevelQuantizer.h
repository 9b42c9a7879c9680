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

    quint8 indexOf(double level) const;

    // The level index `index` stands for.
    double levelOf(int index) const;

    double minValue() const { return m_min; }
    double maxValue() const { return m_max; }
    int valueSteps() const { return m_steps; }

private:
    double m_min = -127.0;
    double m_max = 127.0;
    int m_steps = 255;
};

} // namespace mivo::tilegen
