// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Painting a handler into an image, for pixel checks.

#include <mivo/core/IPaintHandler.h>

#include <QImage>
#include <QPainter>

namespace painttest {

/// A 96 dpi ARGB image filled with @p background.
inline QImage canvas(int width, int height, QColor background = Qt::black)
{
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    image.setDotsPerMeterX(3780);
    image.setDotsPerMeterY(3780);
    image.fill(background);
    return image;
}

/// Paints @p handler into @p image clipped to @p clip (the whole image when null), as
/// the drawing widget does: state saved and restored around the handler.
inline void paint(mivo::IPaintHandler& handler, QImage& image, QRect clip = QRect())
{
    QPainter painter(&image);
    painter.setClipRect(clip.isNull() ? image.rect() : clip, Qt::ReplaceClip);
    painter.save();
    handler.handlePaint(painter);
    painter.restore();
}

/// The rectangle a painter on a 96 dpi image gives @p text in @p font, as handlers
/// measure their labels.
inline QRectF textBox(const QString& text, const QFont& font)
{
    QImage scratch = canvas(1, 1);
    QPainter painter(&scratch);
    painter.setFont(font);
    return painter.boundingRect(QRectF(), Qt::TextDontClip, text);
}

/// Number of pixels in @p area (intersected with the image) whose colour is @p colour.
inline int count(const QImage& image, const QRect& area, QRgb colour)
{
    int n = 0;
    const QRect inside = area.intersected(image.rect());
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x)
            n += image.pixel(x, y) == colour ? 1 : 0;
    }
    return n;
}

/// True when every pixel of @p area has @p colour.
inline bool all(const QImage& image, const QRect& area, QRgb colour)
{
    return count(image, area, colour)
        == area.intersected(image.rect()).width() * area.intersected(image.rect()).height();
}

} // namespace painttest
