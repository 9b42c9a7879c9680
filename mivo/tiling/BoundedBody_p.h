// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Reading what a server or a file sends within the loader's limits: a byte limit
// checked against Content-Length and while reading (before and after decompression),
// and a time limit on the body once the answer has begun.

#include <mivo/tiling/TileLoadFailure.h>

#include <QBasicTimer>
#include <QByteArray>
#include <QObject>
#include <QSharedPointer>
#include <QString>

#include <memory>
#include <optional>

class QNetworkReply;
class QNetworkRequest;

namespace mivo::tiling {

/// A body read within limits: its bytes, or why it was not read to its end (the
/// bytes are then empty when the loader refused the body, and what the server sent
/// with an HTTP or network error otherwise). The bytes may lie in @c storage, the
/// reply's own download buffer, rather than be copied out of it: keep the BoundedBody
/// while using them.
struct BoundedBody
{
    QByteArray bytes;
    std::optional<TileLoadFailure> failure;
    QSharedPointer<char> storage;
};

/// Asks for gzip and deflate explicitly: Qt then leaves the compressed bytes to the
/// reader, which inflates them under its limit (Qt's own inflation has none).
void prepareBoundedRequest(QNetworkRequest& request);

/// For replies that are deleted once read: a body of up to @p maximumBytes whose
/// Content-Length is known is written by Qt's network thread straight into one buffer
/// of that size, which take() hands over without a copy. Saves a copy and a hand-over
/// between threads per piece of the body. Not for replies that are kept: the buffer
/// lives as long as the reply.
void allowZeroCopyBody(QNetworkRequest& request, qint64 maximumBytes);

/**
 * Reads the body of one reply as it arrives. Attached to the reply as its child, so
 * it goes with it. A body that grows past the limit, declares a larger
 * Content-Length, uses an unknown content encoding or outlasts the time limit is
 * refused: the reply is aborted (its finished() follows at once).
 */
class BoundedBodyReader : public QObject
{
    Q_OBJECT

public:
    /// Reads @p reply's body within @p maximumBytes; once its header has arrived, the
    /// body must end within @p bodyTimeoutMs milliseconds.
    static void attach(QNetworkReply& reply, qint64 maximumBytes, int bodyTimeoutMs);
    /// The body of a finished reply, handed over once: a second take() of the same
    /// reply gives an empty body. A reply without a reader is read now, within
    /// @p maximumBytes.
    static BoundedBody take(QNetworkReply& reply, qint64 maximumBytes);
    /// Drops the reader of a finished reply that is kept, with any body still held.
    static void release(QNetworkReply& reply);

    ~BoundedBodyReader() override;

private:
    class Decoder;

    BoundedBodyReader(QNetworkReply& reply, qint64 maximumBytes, int bodyTimeoutMs);
    Q_DISABLE_COPY(BoundedBodyReader)

    void sl_metaDataChanged();
    void sl_readyRead();
    void timerEvent(QTimerEvent* event) override;
    void refuse(TileLoadFailure::Kind kind, const QString& reason);
    void readAvailable();
    BoundedBody result();
    BoundedBody takeZeroCopy();

    QNetworkReply& m_reply;
    qint64 m_maximumBytes;
    int m_bodyTimeoutMs;
    qint64 m_wireBytes = 0;
    QByteArray m_body;
    std::unique_ptr<Decoder> m_decoder; // set once the header named an encoding
    QSharedPointer<char> m_zeroCopy; // Qt's buffer for the whole body, when it made one
    bool m_zeroCopyTaken = false;
    QBasicTimer m_bodyTimer; // started by the header
    bool m_headerSeen = false;
    std::optional<TileLoadFailure> m_refusal;
};

/// Reads a local file of at most @p maximumBytes bytes. Never blocks on what is not a
/// regular file (FIFOs, devices, sockets), which is refused like a missing file.
BoundedBody readLocalFile(const QString& path, qint64 maximumBytes);

} // namespace mivo::tiling
