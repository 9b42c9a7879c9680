// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "LiveInput.h"

#include <QFile>
#include <QTimer>

namespace mivo::tilegen {

// Follows a file that another program is still writing, as `tail -f` does: reads
// what is new every pollIntervalMs and never ends by itself. A file that shrinks was
// started again: it is read from its beginning as a new stream.
class GrowingFileInput : public LiveInput
{
    Q_OBJECT

public:
    explicit GrowingFileInput(const QString& path, int pollIntervalMs = 50, QObject* parent = nullptr);

    void start() override; // throws apps::Error when the file cannot be opened
    void stop() override;
    QString name() const override { return m_file.fileName(); }

private:
    void readNew();

    QFile m_file;
    QTimer m_poll;
};

} // namespace mivo::tilegen
