// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RtlTcpInput.h"

#include <QtEndian>

#include <algorithm>

namespace mivo::tilegen {

RtlTcpInput::RtlTcpInput(const Settings& settings, QObject* parent)
    : LiveInput(parent)
    , m_settings(settings)
    , m_retryMs(settings.minimumRetryMs)
{
    // A server faster than the analysis waits in TCP rather than filling memory.
    m_socket.setReadBufferSize(qint64(4) << 20);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &RtlTcpInput::connectNow);
    connect(&m_socket, &QTcpSocket::connected, this, &RtlTcpInput::onConnected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &RtlTcpInput::onReadyRead);
    connect(&m_socket, &QTcpSocket::disconnected, this, &RtlTcpInput::onLost);
    connect(&m_socket, &QAbstractSocket::errorOccurred, this, [this](QAbstractSocket::SocketError) {
        // A refused or failed connection never reaches "disconnected".
        if (m_socket.state() != QAbstractSocket::ConnectedState)
            onLost();
    });
}

QString RtlTcpInput::name() const
{
    return QStringLiteral("rtl_tcp://%1:%2").arg(m_settings.host).arg(m_settings.port);
}

void RtlTcpInput::start()
{
    m_stopped = false;
    connectNow();
}

void RtlTcpInput::stop()
{
    m_stopped = true;
    m_retry.stop();
    m_socket.abort();
}

void RtlTcpInput::connectNow()
{
    if (m_stopped)
        return;
    m_header.clear();
    m_headerSeen = false;
    m_socket.abort();
    m_socket.connectToHost(m_settings.host, m_settings.port);
}

void RtlTcpInput::sendCommand(quint8 code, quint32 value)
{
    char command[5];
    command[0] = char(code);
    qToBigEndian(value, command + 1);
    m_socket.write(command, sizeof command);
}

void RtlTcpInput::onConnected()
{
    if (m_settings.sampleRate > 0)
        sendCommand(0x02, m_settings.sampleRate);
    if (m_settings.centerFrequency > 0)
        sendCommand(0x01, m_settings.centerFrequency);
}

void RtlTcpInput::onReadyRead()
{
    if (m_stopped)
        return;
    QByteArray bytes = m_socket.readAll();
    if (!m_headerSeen) {
        const int missing = headerSize - m_header.size();
        m_header += bytes.left(missing);
        bytes.remove(0, missing);
        if (m_header.size() < headerSize)
            return;
        if (!m_header.startsWith("RTL0")) {
            Q_EMIT si_warning(
                QStringLiteral("%1: the server did not answer as rtl_tcp does (no \"RTL0\" header)").arg(name()));
            m_socket.abort();
            onLost();
            return;
        }
        m_headerSeen = true;
        m_retryMs = m_settings.minimumRetryMs;
        Q_EMIT si_restarted();
    }
    if (!bytes.isEmpty())
        Q_EMIT si_received(bytes);
}

void RtlTcpInput::onLost()
{
    if (m_stopped || m_retry.isActive())
        return;
    Q_EMIT si_warning(QStringLiteral("%1: %2; trying again in %3 s")
                          .arg(name(), m_headerSeen ? QStringLiteral("connection lost") : m_socket.errorString())
                          .arg(m_retryMs / 1000.0));
    m_retry.start(m_retryMs);
    m_retryMs = std::min(m_retryMs * 2, m_settings.maximumRetryMs);
}

} // namespace mivo::tilegen
