// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LiveInput.h"

#include <QTcpSocket>
#include <QTimer>

namespace mivo::tilegen {

// A receiver served by rtl_tcp. The server opens each connection with a 12-byte
// header ("RTL0", the tuner type and the number of gain steps, big endian) and then
// sends cu8 samples; commands are 5 bytes, a code and a big-endian 32-bit value.
// On every connection the tuner is set to the centre frequency (code 0x01) and the
// sample rate (0x02). A connection that fails or drops is tried again after a delay
// that doubles from minimumRetryMs up to maximumRetryMs and starts over once a header
// has arrived; each new connection is a new stream (si_restarted). A server whose
// header is not rtl_tcp's is reported and tried again in the same way. The stream
// never ends by itself.
class RtlTcpInput : public LiveInput
{
    Q_OBJECT

public:
    struct Settings
    {
        QString host;
        quint16 port = 1234;
        quint32 centerFrequency = 0; // Hz; 0: the tuner is left as it is
        quint32 sampleRate = 0; // samples per second; 0: left as it is
        int minimumRetryMs = 250;
        int maximumRetryMs = 8000;
    };

    static constexpr int headerSize = 12;

    explicit RtlTcpInput(const Settings& settings, QObject* parent = nullptr);

    void start() override;
    void stop() override;
    QString name() const override;

    // The delay before the next attempt (for messages and tests).
    int retryDelayMs() const { return m_retryMs; }

private:
    void connectNow();
    void onConnected();
    void onReadyRead();
    void onLost();
    void sendCommand(quint8 code, quint32 value);

    Settings m_settings;
    QTcpSocket m_socket;
    QTimer m_retry;
    QByteArray m_header;
    bool m_headerSeen = false;
    bool m_stopped = true;
    int m_retryMs;
};

} // namespace mivo::tilegen
