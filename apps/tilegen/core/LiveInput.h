// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

namespace mivo::tilegen {

// A stream of sample bytes that grows while it is read: standard input, a file still
// being written, a receiver on the network. Runs in the thread's event loop.
class LiveInput : public QObject
{
    Q_OBJECT

public:
    explicit LiveInput(QObject* parent = nullptr);
    ~LiveInput() override;

    // Starts reading. Throws apps::Error when the input cannot be opened at all.
    virtual void start() = 0;
    // Stops reading; nothing is emitted afterwards.
    virtual void stop() = 0;
    // For messages.
    virtual QString name() const = 0;

Q_SIGNALS:
    // The next bytes of the stream, in order.
    void si_received(const QByteArray& bytes);
    // The stream starts over (a new connection): what follows does not continue the
    // bytes before, neither in time nor in sample alignment.
    void si_restarted();
    // No more bytes will come. Not emitted after stop().
    void si_ended();
    // Something the user should know that does not stop the stream.
    void si_warning(const QString& message);

private:
    Q_DISABLE_COPY(LiveInput)
};

} // namespace mivo::tilegen
