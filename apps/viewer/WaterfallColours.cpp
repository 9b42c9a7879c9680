// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "WaterfallColours.h"

#include <mivo/tiling/TilePaintHandler.h>

namespace mivo::viewer {

WaterfallColours::WaterfallColours(std::shared_ptr<tiling::TilePaintHandler> painter, const ColourScheme& start,
                                   QObject* parent)
    : QObject(parent)
    , m_painter(std::move(painter))
    , m_start(start)
    , m_scheme(start)
{
    Q_ASSERT(m_painter && "the colours need a painter to colour");
    reapply();
}

WaterfallColours::~WaterfallColours() = default;

void WaterfallColours::setScheme(const ColourScheme& scheme)
{
    if (scheme == m_scheme)
        return;
    m_scheme = scheme;
    reapply();
    Q_EMIT si_schemeChanged();
}

void WaterfallColours::setDescriptor(const tiling::TileColorTableDescriptor& descriptor)
{
    ColourScheme scheme = m_scheme;
    const tiling::TileColorTableDescriptor& now = m_scheme.descriptor;
    if (descriptor.lowColor != now.lowColor || descriptor.midColor != now.midColor
        || descriptor.highColor != now.highColor) {
        scheme.innerStops.clear();
    }
    scheme.descriptor = descriptor;
    setScheme(scheme);
}

void WaterfallColours::setLevels(double lower, double upper)
{
    ColourScheme scheme = m_scheme;
    scheme.descriptor.rangeLower = lower;
    scheme.descriptor.rangeUpper = upper;
    setScheme(scheme);
}

void WaterfallColours::applyPreset(const ColourPreset& preset)
{
    setScheme(colourSchemeOf(preset, m_scheme.descriptor.rangeLower, m_scheme.descriptor.rangeUpper));
}

void WaterfallColours::reset()
{
    setScheme(m_start);
}

void WaterfallColours::reapply()
{
    m_painter->setTileColorTableGradient(m_scheme.descriptor, m_scheme.innerStops);
}

} // namespace mivo::viewer
