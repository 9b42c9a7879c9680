// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "BoundedBody_p.h"

#include <QFile>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimerEvent>

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// How Qt hands out a reply's download buffer (QNetworkRequest::DownloadBufferAttribute),
// declared under the name Qt registers it with.
Q_DECLARE_METATYPE(QSharedPointer<char>)

namespace mivo::tiling {

namespace {

// Qt buffers no more than this for a reply before the reader has taken it: a server
// sending faster than the reader reads waits rather than filling memory.
constexpr qint64 replyBufferBytes = 256 * 1024;
constexpr qint64 readChunkBytes = 64 * 1024;

TileLoadFailure failureOf(TileLoadFailure::Kind kind, const QString& reason, int httpStatus = 0)
{
    TileLoadFailure failure;
    failure.kind = kind;
    failure.reason = reason;
    failure.httpStatus = httpStatus;
    return failure;
}

// The failure a reply finished with, when it has one of its own.
std::optional<TileLoadFailure> replyFailure(const QNetworkReply& reply)
{
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply.error() == QNetworkReply::NoError)
        return std::nullopt;
    if (status >= 400)
        return failureOf(TileLoadFailure::Kind::HttpError, QStringLiteral("HTTP status %1").arg(status), status);
    switch (reply.error()) {
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return failureOf(TileLoadFailure::Kind::Timeout, reply.errorString());
    case QNetworkReply::RemoteHostClosedError:
        return failureOf(TileLoadFailure::Kind::ConnectionClosed, reply.errorString());
    default:
        return failureOf(TileLoadFailure::Kind::Network, reply.errorString());
    }
}

// Why inflating stopped, from the decoder's message: past the limit, or a corrupt stream.
TileLoadFailure::Kind inflateFailureKind(const QString& error)
{
    return error.startsWith(QLatin1String("inflates")) ? TileLoadFailure::Kind::TooLarge
                                                       : TileLoadFailure::Kind::BadEncoding;
}

TileLoadFailure cutShort()
{
    return failureOf(TileLoadFailure::Kind::BadEncoding, QStringLiteral("compressed body cut short"));
}

} // namespace

void prepareBoundedRequest(QNetworkRequest& request)
{
    // The same value Qt sends by itself; set here, it stops Qt from inflating.
    request.setRawHeader(QByteArrayLiteral("Accept-Encoding"), QByteArrayLiteral("gzip, deflate"));
}

void allowZeroCopyBody(QNetworkRequest& request, qint64 maximumBytes)
{
    request.setAttribute(QNetworkRequest::MaximumDownloadBufferSizeAttribute, maximumBytes);
}

// Inflates gzip or zlib ("deflate") bodies, several gzip members included.
class BoundedBodyReader::Decoder
{
public:
    Decoder()
    {
        m_stream.zalloc = Z_NULL;
        m_stream.zfree = Z_NULL;
        m_stream.opaque = Z_NULL;
        // 15 + 32: a zlib or a gzip header, told apart by the stream itself.
        m_ready = inflateInit2(&m_stream, 15 + 32) == Z_OK;
    }
    ~Decoder()
    {
        if (m_ready)
            inflateEnd(&m_stream);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// Appends what @p input inflates to onto @p out; false for a corrupt stream or
    /// when @p out would grow past @p limit (what was inflated so far stays in @p out).
    bool feed(const QByteArray& input, QByteArray& out, qint64 limit, QString& error)
    {
        if (!m_ready) {
            error = QStringLiteral("cannot inflate");
            return false;
        }
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.constData()));
        m_stream.avail_in = uInt(input.size());
        char buffer[16 * 1024];
        while (m_stream.avail_in > 0) {
            if (m_ended) {
                // Another gzip member follows.
                if (inflateReset(&m_stream) != Z_OK) {
                    error = QStringLiteral("corrupt compressed body");
                    return false;
                }
                m_ended = false;
            }
            m_stream.next_out = reinterpret_cast<Bytef*>(buffer);
            m_stream.avail_out = sizeof buffer;
            const int result = inflate(&m_stream, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END && !(result == Z_BUF_ERROR && m_stream.avail_in == 0)) {
                error = QStringLiteral("corrupt compressed body");
                return false;
            }
            const qint64 produced = qint64(sizeof buffer - m_stream.avail_out);
            if (out.size() + produced > limit) {
                error = QStringLiteral("inflates to more than %1 bytes").arg(limit);
                return false;
            }
            out.append(buffer, int(produced));
            m_ended = result == Z_STREAM_END;
            if (result == Z_BUF_ERROR)
                break;
        }
        return true;
    }

    bool complete() const { return m_ended; }

private:
    z_stream m_stream{};
    bool m_ready = false;
    bool m_ended = false;
};

void BoundedBodyReader::attach(QNetworkReply& reply, qint64 maximumBytes, int bodyTimeoutMs)
{
    new BoundedBodyReader(reply, maximumBytes, bodyTimeoutMs);
}

BoundedBodyReader::BoundedBodyReader(QNetworkReply& reply, qint64 maximumBytes, int bodyTimeoutMs)
    : QObject(&reply)
    , m_reply(reply)
    , m_maximumBytes(maximumBytes)
    , m_bodyTimeoutMs(bodyTimeoutMs)
{
    reply.setReadBufferSize(replyBufferBytes);
    connect(&reply, &QNetworkReply::metaDataChanged, this, &BoundedBodyReader::sl_metaDataChanged);
    connect(&reply, &QIODevice::readyRead, this, &BoundedBodyReader::sl_readyRead);
}

BoundedBodyReader::~BoundedBodyReader() = default;

void BoundedBodyReader::sl_metaDataChanged()
{
    if (m_headerSeen || m_refusal)
        return;
    m_headerSeen = true;
    // A basic timer rather than a QTimer object: one allocation and connection less
    // per reply.
    m_bodyTimer.start(m_bodyTimeoutMs, this);

    const QVariant length = m_reply.header(QNetworkRequest::ContentLengthHeader);
    if (length.isValid() && length.toLongLong() > m_maximumBytes) {
        refuse(TileLoadFailure::Kind::TooLarge,
               QStringLiteral("declares %1 bytes, more than %2").arg(length.toLongLong()).arg(m_maximumBytes));
        return;
    }
    // Qt sets the buffer up before it announces the header, for a body whose length it
    // knows within the request's maximum (allowZeroCopyBody()).
    m_zeroCopy = m_reply.attribute(QNetworkRequest::DownloadBufferAttribute).value<QSharedPointer<char>>();
    const QByteArray encoding = m_reply.rawHeader(QByteArrayLiteral("Content-Encoding")).trimmed().toLower();
    if (encoding == "gzip" || encoding == "x-gzip" || encoding == "deflate") {
        m_decoder = std::make_unique<Decoder>();
    } else if (!encoding.isEmpty() && encoding != "identity") {
        refuse(TileLoadFailure::Kind::BadEncoding,
               QStringLiteral("content encoding \"%1\" is not supported").arg(QString::fromLatin1(encoding)));
    }
}

void BoundedBodyReader::sl_readyRead()
{
    // A zero-copy body stays in Qt's buffer until taken (its size is within the limit).
    if (!m_refusal && !m_zeroCopy)
        readAvailable();
}

void BoundedBodyReader::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_bodyTimer.timerId())
        return QObject::timerEvent(event);
    m_bodyTimer.stop();
    if (!m_refusal && m_reply.isRunning())
        refuse(TileLoadFailure::Kind::Timeout, QStringLiteral("body not complete after %1 ms").arg(m_bodyTimeoutMs));
}

void BoundedBodyReader::readAvailable()
{
    while (!m_refusal && m_reply.bytesAvailable() > 0) {
        const QByteArray chunk = m_reply.read(readChunkBytes);
        if (chunk.isEmpty())
            break;
        m_wireBytes += chunk.size();
        if (m_wireBytes > m_maximumBytes) {
            refuse(TileLoadFailure::Kind::TooLarge, QStringLiteral("body is larger than %1 bytes").arg(m_maximumBytes));
            return;
        }
        if (!m_decoder) {
            m_body.append(chunk);
            continue;
        }
        QString error;
        if (!m_decoder->feed(chunk, m_body, m_maximumBytes, error)) {
            refuse(inflateFailureKind(error), error);
            return;
        }
    }
}

void BoundedBodyReader::refuse(TileLoadFailure::Kind kind, const QString& reason)
{
    m_refusal = failureOf(kind, reason);
    m_body = QByteArray();
    m_bodyTimer.stop();
    // finished() follows from inside abort(); whoever handles it takes the refusal.
    if (m_reply.isRunning())
        m_reply.abort();
}

BoundedBody BoundedBodyReader::result()
{
    m_bodyTimer.stop();
    if (m_zeroCopy && !m_refusal)
        return takeZeroCopy();
    if (m_zeroCopyTaken)
        return {QByteArray(), std::nullopt, {}};
    if (!m_refusal)
        readAvailable();
    if (m_refusal)
        return {QByteArray(), m_refusal, {}};
    QByteArray body = std::exchange(m_body, QByteArray());
    if (const std::optional<TileLoadFailure> failure = replyFailure(m_reply))
        return {std::move(body), failure, {}};
    if (m_decoder && !m_decoder->complete())
        return {QByteArray(), cutShort(), {}};
    return {std::move(body), std::nullopt, {}};
}

BoundedBody BoundedBodyReader::takeZeroCopy()
{
    QSharedPointer<char> storage = std::exchange(m_zeroCopy, QSharedPointer<char>());
    // What arrived of the body, which Qt keeps within the length it declared. Left
    // unread in the reply; a second take() finds the body gone.
    const qint64 size = m_reply.bytesAvailable();
    m_zeroCopyTaken = true;
    const QByteArray raw = QByteArray::fromRawData(storage.data(), int(std::min(size, m_maximumBytes)));
    if (const std::optional<TileLoadFailure> failure = replyFailure(m_reply))
        return {QByteArray(raw.constData(), raw.size()), failure, {}};
    if (!m_decoder)
        return {raw, std::nullopt, std::move(storage)};
    QString error;
    if (!m_decoder->feed(raw, m_body, m_maximumBytes, error)) {
        m_body = QByteArray();
        return {QByteArray(), failureOf(inflateFailureKind(error), error), {}};
    }
    if (!m_decoder->complete())
        return {QByteArray(), cutShort(), {}};
    return {std::exchange(m_body, QByteArray()), std::nullopt, {}};
}

BoundedBody BoundedBodyReader::take(QNetworkReply& reply, qint64 maximumBytes)
{
    if (auto* reader = reply.findChild<BoundedBodyReader*>(QString(), Qt::FindDirectChildrenOnly))
        return reader->result();
    // A reply the loader did not start (no reader): read what is there, within the limit.
    if (reply.bytesAvailable() > maximumBytes)
        return {QByteArray(),
                failureOf(TileLoadFailure::Kind::TooLarge,
                          QStringLiteral("body is larger than %1 bytes").arg(maximumBytes)),
                {}};
    const QByteArray bytes = reply.read(maximumBytes);
    if (const std::optional<TileLoadFailure> failure = replyFailure(reply))
        return {bytes, failure, {}};
    return {bytes, std::nullopt, {}};
}

void BoundedBodyReader::release(QNetworkReply& reply)
{
    delete reply.findChild<BoundedBodyReader*>(QString(), Qt::FindDirectChildrenOnly);
    if (reply.isOpen())
        reply.skip(reply.bytesAvailable());
}

BoundedBody readLocalFile(const QString& path, qint64 maximumBytes)
{
    const auto fileFailure = [&path](const QString& why) {
        return BoundedBody{QByteArray(),
                           failureOf(TileLoadFailure::Kind::FileError, path + QStringLiteral(": ") + why),
                           {}};
    };
    // Non-blocking: opening a FIFO for reading would otherwise wait for a writer.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return fileFailure(QString::fromLocal8Bit(std::strerror(errno)));
    struct Closer
    {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    struct stat status = {};
    if (::fstat(fd, &status) != 0)
        return fileFailure(QString::fromLocal8Bit(std::strerror(errno)));
    if (!S_ISREG(status.st_mode))
        return fileFailure(QStringLiteral("not a regular file"));
    const auto tooLarge = [&] {
        return BoundedBody{QByteArray(),
                           failureOf(TileLoadFailure::Kind::TooLarge,
                                     QStringLiteral("%1: larger than %2 bytes").arg(path).arg(maximumBytes)),
                           {}};
    };
    if (status.st_size > maximumBytes)
        return tooLarge();
    QByteArray bytes(int(status.st_size), Qt::Uninitialized);
    qint64 got = 0;
    // One byte more than the size, to notice a file that grew since fstat().
    char probe = 0;
    while (true) {
        char* target = got < bytes.size() ? bytes.data() + got : &probe;
        const qint64 wanted = got < bytes.size() ? bytes.size() - got : 1;
        const ssize_t n = ::read(fd, target, size_t(wanted));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return fileFailure(QString::fromLocal8Bit(std::strerror(errno)));
        if (n == 0)
            break;
        if (target == &probe)
            return tooLarge();
        got += n;
    }
    bytes.truncate(int(got));
    return {bytes, std::nullopt, {}};
}

} // namespace mivo::tiling
