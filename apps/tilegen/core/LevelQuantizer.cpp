#include "LevelQuantizer.h"

#include <cmath>

namespace mivo::tilegen {

LevelQuantizer::LevelQuantizer(double minValue, double maxValue, int valueSteps)
    : m_min(minValue)
    , m_max(maxValue)
    , m_steps(valueSteps)
{
    Q_ASSERT(maxValue > minValue && "an empty level range cannot be quantised");
    Q_ASSERT(valueSteps >= 1 && valueSteps <= 255 && "indices are 8 bits and 0 means no data");
}

quint8 LevelQuantizer::indexOf(double level) const
{
    const double position = (level - m_min) / (m_max - m_min) * m_steps;
    // Written so that NaN falls to the lowest data index.
    if (!(position >= 1.0))
        return 1;
    if (position >= m_steps)
        return quint8(m_steps);
    return quint8(std::lround(position));
}

double LevelQuantizer::levelOf(int index) const
{
    return double(index) / m_steps * (m_max - m_min) + m_min;
}

} // namespace mivo::tilegen
