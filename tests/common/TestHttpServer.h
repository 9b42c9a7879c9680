// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// A small HTTP/1.1 server on 127.0.0.1 for network tests, with faults injected per path.
//
// Use: link the CMake target `mivo_test_servers`, which puts tests/common on the include
// path, and write `#include <TestHttpServer.h>`.
//
// The server runs in a thread of its own, so it keeps answering while the test's thread is
// blocked (for example in a destructor that waits for the library's worker threads), and it
// serves requests from several threads and connections concurrently. Every public method is
// thread-safe and may be called at any time from any thread.
//
// Protocol: GET and HEAD, keep-alive (HTTP/1.1 default, "Connection: close" honoured),
// pipelined requests answered in order. Other methods get 405, malformed requests 400 (and the
// connection is closed). Paths are the raw request target of the request line: no
// percent-decoding and no normalisation, so "//a" and "/a" are different paths, and a query
// string is part of the path.

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class TestHttpServer : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(TestHttpServer)

public:
    /// What the server does with a request for a path, decided when the request arrives.
    enum class Fault
    {
        None, ///< 200 with the document, or 404 when there is none
        NotFound, ///< 404
        ServerError, ///< 500
        CloseWithoutAnswer, ///< reads the request, then closes the connection without sending a byte
        TruncatedBody, ///< declares the Content-Length of the whole document, sends half of it, closes
        NotPng, ///< 200, Content-Type image/png, with a body that is no image at all
        Hold, ///< leaves the request unanswered until releaseHeld() or releaseAllHeld()
        Redirect, ///< 301 with "Location: /moved<path>" on this server
        RequestTimeout, ///< 408
        TooManyRequests, ///< 429
        ServiceUnavailable, ///< 503
    };
    Q_ENUM(Fault)

    /// How a generated body is delimited on the wire.
    enum class Framing
    {
        ContentLength, ///< "Content-Length" with the body's length (which must then be known)
        Chunked, ///< "Transfer-Encoding: chunked"
        UntilClose, ///< no length: the body ends when the server closes the connection
    };
    Q_ENUM(Framing)

    /// A body made up while it is sent, never held whole: `prefix`, then `fill` bytes up
    /// to `length` bytes in all (-1: without end). Sent as fast as the client reads, or,
    /// with `dripIntervalMs`, `dripBytes` at a time every `dripIntervalMs` milliseconds.
    /// The connection is closed after it.
    struct GeneratedBody
    {
        QByteArray prefix;
        qint64 length = -1;
        char fill = ' ';
        Framing framing = Framing::Chunked;
        QByteArray contentType = "application/octet-stream";
        QByteArray contentEncoding; ///< sent as "Content-Encoding" unless empty
        int dripBytes = 1;
        int dripIntervalMs = 0;
    };

    explicit TestHttpServer(QObject* parent = nullptr);
    /// Stops the server thread and closes every connection; held requests are never answered.
    ~TestHttpServer() override;

    /// Starts the thread and listens on 127.0.0.1 on a port chosen by the system.
    /// Returns false if listening failed. A second call returns the first call's result.
    bool start();
    /// 0 before a successful start().
    quint16 port() const;
    /// "http://127.0.0.1:<port>", without a trailing slash.
    QString baseUrl() const;

    /// Serves `body` for `path` (replacing any earlier document of that path).
    void setDocument(const QString& path, const QByteArray& body,
                     const QByteArray& contentType = "application/octet-stream");
    /// Later requests for `path` answer 404 (unless a fault says otherwise).
    void removeDocument(const QString& path);
    /// Serves `body` for every path that starts with `prefix` and has no document or
    /// generated body of its own (the longest matching prefix wins).
    void setPrefixDocument(const QString& prefix, const QByteArray& body,
                           const QByteArray& contentType = "application/octet-stream");
    /// Serves `body` for `path`, generated while it is sent (replacing a document or an
    /// earlier generated body; removeDocument() removes it too). Faults apply first.
    void setGeneratedBody(const QString& path, const GeneratedBody& body);
    /// `length` zero bytes compressed by gzip, for bodies that inflate far beyond their size.
    static QByteArray gzipOfZeros(qint64 length);
    /// `data` compressed as a "gzip" body, or as a "deflate" (zlib) body.
    static QByteArray compressed(const QByteArray& data, bool gzip);
    /// `length` bytes handed out in pieces by `next` (asked for at most the count it is
    /// given) compressed as gzip or zlib data, without holding them all.
    static QByteArray compressedStream(qint64 length, const std::function<QByteArray(qint64)>& next, bool gzip);

    /// Applies to requests for `path` that arrive from now on; Fault::None removes the fault.
    /// The document itself is looked up when the answer is written.
    void setFault(const QString& path, Fault fault);
    /// Applies `fault` to the next `times` requests for `path` only; later ones are answered
    /// as if there were no fault.
    void setFault(const QString& path, Fault fault, int times);
    /// Requests for `path` that arrive from now on are answered (or faulted) `milliseconds`
    /// after their arrival; other requests, even on the same connection, are not held up
    /// except that answers on one connection keep the order of the requests. 0 removes the
    /// delay. Ignored for Fault::Hold: a held request is answered when released.
    void setDelay(const QString& path, int milliseconds);

    /// Answers the held requests for `path` now, as if they had no fault (the document, or 404).
    /// Returns once the answers are queued on their connections.
    void releaseHeld(const QString& path);
    void releaseAllHeld();
    /// Requests currently held for `path`, or for all paths when `path` is empty. A held
    /// request whose client closed the connection stops counting once the server thread has
    /// noticed the close, so wait for that with QTRY_COMPARE.
    int heldCount(const QString& path = QString()) const;

    /// Requests that arrived for `path` since start() or the last resetCounts(), whatever
    /// their method or fault. A request counts as soon as its header has been read.
    int requestCount(const QString& path) const;
    int totalRequestCount() const;
    /// The paths of all counted requests, in order of arrival.
    QStringList requestLog() const;
    /// The header blocks of the counted requests for `path`, in order of arrival: the request
    /// line and the header lines exactly as received, each with its line end (CRLF from any
    /// ordinary client), without the empty line that ends the block.
    QList<QByteArray> requestHeaders(const QString& path) const;
    /// Forgets counts, log, recorded headers and the accepted connections (documents, faults,
    /// delays and held requests stay).
    void resetCounts();

    /// Client connections currently open. A connection closed by the client is noticed by the
    /// server thread shortly after, so wait with QTRY_COMPARE.
    int openConnectionCount() const;
    /// Client connections accepted since start() or the last resetCounts(), open or closed.
    int acceptedConnectionCount() const;

    /// The value of header `name` (compared without case) in a block from requestHeaders(),
    /// or a null QByteArray when the block has no such header.
    static QByteArray headerValue(const QByteArray& headerBlock, const QByteArray& name);

signals:
    /// A request for `path` arrived and is counted. Queued from the server thread to the
    /// thread this object lives in, so it is delivered by that thread's event loop.
    void requestReceived(const QString& path);

private:
    class Private;
    std::unique_ptr<Private> const d;
};
