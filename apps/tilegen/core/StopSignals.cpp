// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "StopSignals.h"

#include <common/Error.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace mivo::tilegen {

namespace {

volatile std::sig_atomic_t writeEnd = -1;

extern "C" void onStopSignal(int signalNumber)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    if (writeEnd >= 0) {
        const ssize_t ignored = ::write(writeEnd, &byte, 1);
        (void)ignored;
    }
    errno = savedErrno;
}

} // namespace

StopSignals::StopSignals(QObject* parent)
    : QObject(parent)
{
    Q_ASSERT(writeEnd < 0 && "one StopSignals per process");
    if (::pipe2(m_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        throw apps::Error(
            QStringLiteral("cannot create a pipe for signals: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
    writeEnd = m_pipe[1];
    m_notifier = new QSocketNotifier(m_pipe[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &StopSignals::drain);
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

StopSignals::~StopSignals()
{
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    writeEnd = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

void StopSignals::drain()
{
    unsigned char received[16];
    ssize_t n;
    while ((n = ::read(m_pipe[0], received, sizeof received)) > 0) {
        for (ssize_t i = 0; i < n; ++i)
            Q_EMIT si_stopRequested(received[i]);
    }
}

} // namespace mivo::tilegen
