// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ColourScheme.h"

#include <QObject>

#include <memory>

namespace mivo::tiling {
class TilePaintHandler;
}

namespace mivo::viewer {

/**
 * The colours of the waterfall: the scheme shown now, and the one the viewer started
 * with. Every change goes to the tile painter at once, which recolours the tiles the
 * provider holds (nothing is fetched again), and is announced once by
 * si_schemeChanged(); a change to the scheme shown already does nothing.
 *
 * The painter is shared, so that it lives as long as this object whatever the order
 * in which a widget's children go.
 */
class WaterfallColours : public QObject
{
    Q_OBJECT

public:
    /// Applies @p start at once.
    WaterfallColours(std::shared_ptr<tiling::TilePaintHandler> painter, const ColourScheme& start,
                     QObject* parent = nullptr);
    ~WaterfallColours() override;

    const ColourScheme& scheme() const { return m_scheme; }
    const ColourScheme& startScheme() const { return m_start; }

    void setScheme(const ColourScheme& scheme);
    /**
     * An edit in the colour editor: its levels and three colours. The inner stops of a
     * preset stay while the three colours are the scheme's; a changed colour makes the
     * map a plain three-colour one (the preset's other colours would clash with it).
     */
    void setDescriptor(const tiling::TileColorTableDescriptor& descriptor);
    /// New levels (dB), colours kept.
    void setLevels(double lower, double upper);
    /// The colours of @p preset, levels kept.
    void applyPreset(const ColourPreset& preset);
    /// Back to the scheme the viewer started with.
    void reset();
    /// Builds the colour table again, for a tile system whose level mapping may have
    /// changed (a new source). Announces nothing: the scheme is the same.
    void reapply();

Q_SIGNALS:
    /// scheme() changed.
    void si_schemeChanged();

private:
    Q_DISABLE_COPY(WaterfallColours)

    const std::shared_ptr<tiling::TilePaintHandler> m_painter;
    const ColourScheme m_start;
    ColourScheme m_scheme;
};

} // namespace mivo::viewer
