// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ScreenshotTaker.h"

#include "WaterfallView.h"

#include <QFileInfo>
#include <QImage>

namespace mivo::viewer {

ScreenshotTaker::ScreenshotTaker(WaterfallView& view, QString file, int timeoutSeconds, QObject* parent)
    : QObject(parent)
    , m_view(view)
    , m_file(std::move(file))
    , m_timeoutSeconds(timeoutSeconds)
{
    m_clock.start();
    m_poll.setInterval(25);
    connect(&m_poll, &QTimer::timeout, this, &ScreenshotTaker::poll);
    connect(&m_view, &WaterfallView::si_failed, this, [this](const QString& reason) { finish(1, reason); });
    m_poll.start();
}

void ScreenshotTaker::poll()
{
    if (m_clock.elapsed() > qint64(m_timeoutSeconds) * 1000) {
        QString reason;
        if (!m_view.isReady())
            reason = tr("timed out after %1 s waiting for the tile descriptor and extents").arg(m_timeoutSeconds);
        else if (m_view.unsettledTileCount() > 0)
            reason = tr("timed out after %1 s: %2 of %3 visible tiles have not arrived")
                         .arg(m_timeoutSeconds)
                         .arg(m_view.unsettledTileCount())
                         .arg(m_view.requiredTileCount());
        else
            reason = tr("timed out after %1 s waiting for the annotations to be drawn").arg(m_timeoutSeconds);
        finish(3, reason);
        return;
    }
    if (!m_view.isReady())
        return;
    if (!m_primed) {
        // A first frame works out which tiles the view requires and asks for them.
        m_view.widget().grabFramebuffer();
        m_primed = true;
        return;
    }
    // The annotations as well: their image is made on the renderer's thread.
    if (m_view.unsettledTileCount() > 0 || !m_view.annotationsSettled())
        return;
    const QImage frame = m_view.grabView();
    if (frame.isNull() || !frame.save(m_file, "PNG")) {
        finish(1, tr("%1: cannot write the screenshot").arg(m_file));
        return;
    }
    finish(0, QFileInfo(m_file).absoluteFilePath());
}

void ScreenshotTaker::finish(int exitCode, const QString& message)
{
    if (m_finished)
        return;
    m_finished = true;
    m_poll.stop();
    Q_EMIT si_finished(exitCode, message);
}

} // namespace mivo::viewer
