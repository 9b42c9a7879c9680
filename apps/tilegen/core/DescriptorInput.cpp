// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "DescriptorInput.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace mivo::tilegen {

DescriptorInput::DescriptorInput(int fd, const QString& name, QObject* parent)
    : LiveInput(parent)
    , m_fd(fd)
    , m_name(name)
    , m_notifier(fd, QSocketNotifier::Read)
    , m_buffer(1 << 18, Qt::Uninitialized)
{
    m_notifier.setEnabled(false);
    connect(&m_notifier, &QSocketNotifier::activated, this, &DescriptorInput::readAvailable);
}

void DescriptorInput::start()
{
    m_notifier.setEnabled(true);
}

void DescriptorInput::stop()
{
    m_notifier.setEnabled(false);
}

void DescriptorInput::readAvailable()
{
    // One read per wake-up: the notifier says it will not block, and the event loop
    // stays free for the publication timer and the stop signals.
    const ssize_t n = ::read(m_fd, m_buffer.data(), size_t(m_buffer.size()));
    if (n > 0) {
        Q_EMIT si_received(QByteArray(m_buffer.constData(), int(n)));
        return;
    }
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    m_notifier.setEnabled(false);
    if (n < 0)
        Q_EMIT si_warning(
            QStringLiteral("%1: read error: %2").arg(m_name, QString::fromLocal8Bit(std::strerror(errno))));
    Q_EMIT si_ended();
}

} // namespace mivo::tilegen
