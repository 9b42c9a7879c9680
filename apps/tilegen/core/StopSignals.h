// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace mivo::tilegen {

// Turns SIGINT and SIGTERM into a Qt signal in the event loop: the handler only
// writes a byte into a pipe (all a signal handler may safely do), and a socket
// notifier on the pipe's other end emits si_stopRequested. One instance per process;
// the handlers stay installed until it is destroyed.
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject* parent = nullptr);
    ~StopSignals() override;

Q_SIGNALS:
    // Once per signal received.
    void si_stopRequested(int signalNumber);

private:
    void drain();

    int m_pipe[2] = {-1, -1};
    QSocketNotifier* m_notifier = nullptr; // child
    Q_DISABLE_COPY(StopSignals)
};

} // namespace mivo::tilegen
