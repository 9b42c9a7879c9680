// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QFrame>
#include <QRectF>

namespace mivo {

/**
 * A small panel that floats over a drawing widget beside the region of the plane it
 * describes (a summary of a selection, say). Hosts derive from it; an
 * InfoWidgetDisplayer chooses which panel shows and places it.
 *
 * Create panels as children of the drawing widget: the displayer moves them in the
 * coordinates of their parent, and a panel without a parent would show as a window
 * of its own. The preferred size is sizeHint(); a negative width or height counts as 0.
 *
 * Emit si_hasInfoChanged() when hasInfo() may have changed and si_infoAreaChanged()
 * when infoArea() moved; the displayer reacts after the event loop turns, so both may
 * be emitted from inside the panel's own event handling.
 */
class MIVO_EXPORT IInfoWidget : public QFrame
{
    Q_OBJECT

public:
    explicit IInfoWidget(QWidget* parent = nullptr);
    ~IInfoWidget() override;

    /// True when the panel has something to show.
    virtual bool hasInfo() const = 0;
    /// The value rectangle (x: frequency, y: time) that the panel describes.
    virtual QRectF infoArea() const = 0;

Q_SIGNALS:
    void si_hasInfoChanged();
    void si_infoAreaChanged();

private:
    Q_DISABLE_COPY(IInfoWidget)
};

} // namespace mivo
