// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

namespace mivo::viewer {

class WaterfallView;

/**
 * The headless mode: once the view shows its range, every tile the view requires has
 * arrived (or failed) and the annotations of the active workspace are drawn, grabs the view (the drawing with the panel and the action bar
 * over it) and writes it as PNG.
 * Finishes with exit code 0, or with a message and a non-zero code on failure (1) or
 * when the tiles or the annotations are not ready in time (3).
 */
class ScreenshotTaker : public QObject
{
    Q_OBJECT

public:
    ScreenshotTaker(WaterfallView& view, QString file, int timeoutSeconds, QObject* parent = nullptr);

Q_SIGNALS:
    void si_finished(int exitCode, const QString& message);

private:
    void poll();
    void finish(int exitCode, const QString& message);

    WaterfallView& m_view;
    QString m_file;
    int m_timeoutSeconds;
    QTimer m_poll;
    QElapsedTimer m_clock;
    bool m_primed = false;
    bool m_finished = false;
};

} // namespace mivo::viewer
