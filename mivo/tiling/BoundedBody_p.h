#pragma once

// Reading what a server or a file sends within the loader's limits: a byte limit
// checked against Content-Length and while reading (before and after decompression),
// and a time limit on the body once the answer has begun.

#include <mivo/tiling/TileLoadFailure.h>

#include <QByteArray>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class QNetworkReply;
class QNetworkRequest;
class QTimer;

namespace mivo::tiling {

/// A body read within limits: its bytes, or why it was not read to its end (the
/// bytes are then empty when the loader refused the body, and what the server sent
/// with an HTTP or network error otherwise).
struct BoundedBody
{
    QByteArray bytes;
    std::optional<TileLoadFailure> failure;
};

/// Asks for gzip and deflate explicitly: Qt then leaves the compressed bytes to the
/// reader, which inflates them under its limit (Qt's own inflation has none).
void prepareBoundedRequest(QNetworkRequest& request);

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
    /// The body of a finished reply. A reply without a reader is read now, within
    /// @p maximumBytes.
    static BoundedBody take(QNetworkReply& reply, qint64 maximumBytes);

    ~BoundedBodyReader() override;

private:
    class Decoder;

    BoundedBodyReader(QNetworkReply& reply, qint64 maximumBytes, int bodyTimeoutMs);
    Q_DISABLE_COPY(BoundedBodyReader)

    void sl_metaDataChanged();
    void sl_readyRead();
    void sl_timedOut();
    void refuse(TileLoadFailure::Kind kind, const QString& reason);
    void readAvailable();
    BoundedBody result();

    QNetworkReply& m_reply;
    qint64 m_maximumBytes;
    int m_bodyTimeoutMs;
    qint64 m_wireBytes = 0;
    QByteArray m_body;
    std::unique_ptr<Decoder> m_decoder; // set once the header named an encoding
    QTimer* m_bodyTimer = nullptr;      // child; started by the header
    bool m_headerSeen = false;
    std::optional<TileLoadFailure> m_refusal;
};

/// Reads a local file of at most @p maximumBytes bytes. Never blocks on what is not a
/// regular file (FIFOs, devices, sockets), which is refused like a missing file.
BoundedBody readLocalFile(const QString& path, qint64 maximumBytes);

} // namespace mivo::tiling
