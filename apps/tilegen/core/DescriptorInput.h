// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LiveInput.h"

#include <QSocketNotifier>

namespace mivo::tilegen {

// Reads an open file descriptor (standard input: a pipe, or a file) as bytes arrive;
// the end of the stream is the end of the input. The descriptor is not owned.
class DescriptorInput : public LiveInput
{
    Q_OBJECT

public:
    DescriptorInput(int fd, const QString& name, QObject* parent = nullptr);

    void start() override;
    void stop() override;
    QString name() const override { return m_name; }

private:
    void readAvailable();

    int m_fd;
    QString m_name;
    QSocketNotifier m_notifier;
    QByteArray m_buffer;
};

} // namespace mivo::tilegen
