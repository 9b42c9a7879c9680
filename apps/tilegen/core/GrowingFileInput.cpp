// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "GrowingFileInput.h"

#include <common/Error.h>

#include <algorithm>

namespace mivo::tilegen {

namespace {

// At most this much per poll, so that a long file already written does not hold the
// event loop for long.
constexpr qint64 bytesPerPoll = qint64(4) << 20;

} // namespace

GrowingFileInput::GrowingFileInput(const QString& path, int pollIntervalMs, QObject* parent)
    : LiveInput(parent)
    , m_file(path)
{
    m_poll.setInterval(pollIntervalMs);
    connect(&m_poll, &QTimer::timeout, this, &GrowingFileInput::readNew);
}

void GrowingFileInput::start()
{
    if (!m_file.open(QIODevice::ReadOnly))
        throw apps::Error(m_file.fileName(), QStringLiteral("cannot open: %1").arg(m_file.errorString()));
    if (m_file.isSequential())
        throw apps::Error(m_file.fileName(),
                          QStringLiteral("is not a regular file; give - and redirect it to standard input"));
    m_poll.start();
    readNew();
}

void GrowingFileInput::stop()
{
    m_poll.stop();
}

void GrowingFileInput::readNew()
{
    if (!m_poll.isActive())
        return; // stopped
    const qint64 size = m_file.size();
    if (size < m_file.pos()) {
        Q_EMIT si_warning(
            QStringLiteral("%1: shrank to %2 bytes; reading it again from the start").arg(name()).arg(size));
        m_file.seek(0);
        Q_EMIT si_restarted();
    }
    const qint64 available = std::min(size - m_file.pos(), bytesPerPoll);
    if (available <= 0)
        return;
    const QByteArray bytes = m_file.read(available);
    if (!bytes.isEmpty())
        Q_EMIT si_received(bytes);
    // More is waiting: come back at once rather than after a poll interval.
    if (m_file.pos() < size)
        QTimer::singleShot(0, this, &GrowingFileInput::readNew);
}

} // namespace mivo::tilegen
