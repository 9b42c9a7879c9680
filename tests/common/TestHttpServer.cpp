// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TestHttpServer.h"

#include <QHash>
#include <QHostAddress>
#include <QPointer>
#include <QScopeGuard>
#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>

#include <zlib.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Fault = TestHttpServer::Fault;

// A header larger than this is garbage, not a request a test would send.
constexpr int kMaxHeaderBytes = 64 * 1024;
// Body of a truncated answer when the path has no document of its own.
constexpr int kSyntheticBodyBytes = 1024;

const QByteArray kNotPngBody = QByteArrayLiteral("mivo test server: deliberately not a PNG image\n");

struct Document
{
    QByteArray body;
    QByteArray contentType;
};

class Worker;

// Everything the test's threads read or change, guarded by `mutex`. The server thread
// takes the same mutex to record requests and to look up what to answer. std::mutex rather
// than QMutex: it is built on pthreads, whose synchronisation ThreadSanitizer sees.
struct SharedState
{
    mutable std::mutex mutex;
    // Work the test's threads hand to the server thread, and how much of it is done.
    std::deque<std::function<void(Worker&)>> commands;
    quint64 commandsQueued = 0;
    quint64 commandsDone = 0;
    std::condition_variable commandDone;
    QHash<QString, Document> documents;
    QHash<QString, Document> prefixDocuments;
    QHash<QString, Fault> faults;
    QHash<QString, int> faultCounts; // faults that apply to so many more requests only
    QHash<QString, TestHttpServer::GeneratedBody> generated;
    QHash<QString, int> delays;
    QHash<QString, int> counts;
    QHash<QString, QList<QByteArray>> headers;
    QStringList log;
    QHash<QString, int> held;
    int openConnections = 0;
    int acceptedConnections = 0;
};

struct PendingRequest
{
    enum class State
    {
        Waiting,
        Held,
        Ready
    };

    quint64 sequence = 0;
    QString path;
    QByteArray method;
    Fault fault = Fault::None;
    State state = State::Ready;
    int protocolError = 0; // 400 or 405: answered without looking at documents or faults
    bool keepAlive = true;
};

// A generated body on its way out.
struct Stream
{
    TestHttpServer::GeneratedBody body;
    qint64 sent = 0;
    std::unique_ptr<QTimer> drip;

    bool done() const { return body.length >= 0 && sent >= body.length; }
};

struct Connection
{
    QPointer<QTcpSocket> socket;
    QByteArray buffer;
    // Requests in arrival order; only the front one may be answered, which keeps pipelined
    // answers in request order.
    std::deque<PendingRequest> pending;
    quint64 nextSequence = 0;
    qint64 bodyToSkip = 0;
    bool readingStopped = false; // a request ended the conversation: ignore what follows
    bool closing = false; // the last answer has been written
    std::unique_ptr<Stream> stream; // a generated body being sent; the last answer
};

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return QByteArrayLiteral("OK");
    case 301:
        return QByteArrayLiteral("Moved Permanently");
    case 400:
        return QByteArrayLiteral("Bad Request");
    case 404:
        return QByteArrayLiteral("Not Found");
    case 405:
        return QByteArrayLiteral("Method Not Allowed");
    case 408:
        return QByteArrayLiteral("Request Timeout");
    case 429:
        return QByteArrayLiteral("Too Many Requests");
    case 500:
        return QByteArrayLiteral("Internal Server Error");
    case 503:
        return QByteArrayLiteral("Service Unavailable");
    default:
        return QByteArrayLiteral("Unknown");
    }
}

QByteArray responseHead(int status, const QByteArray& contentType, qint64 contentLength, bool keepAlive,
                        const QByteArray& extraHeaders = QByteArray())
{
    QByteArray head;
    head += "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    head += "Content-Type: " + contentType + "\r\n";
    head += "Content-Length: " + QByteArray::number(contentLength) + "\r\n";
    head += keepAlive ? QByteArrayLiteral("Connection: keep-alive\r\n") : QByteArrayLiteral("Connection: close\r\n");
    head += extraHeaders;
    head += "\r\n";
    return head;
}

bool isToken(const QByteArray& text)
{
    if (text.isEmpty())
        return false;
    for (const char c : text) {
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum && (c == '\0' || !std::strchr("!#$%&'*+-.^_`|~", c)))
            return false;
    }
    return true;
}

class Worker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Worker)

public:
    explicit Worker(SharedState& shared)
        : m_shared(shared)
    {
        connect(&m_server, &QTcpServer::newConnection, this, &Worker::accept);
    }

    ~Worker() override
    {
        // The sockets die with m_server; nothing of theirs may reach this half-destroyed object.
        for (auto& entry : m_connections) {
            if (entry.second.socket)
                entry.second.socket->disconnect(this);
        }
        m_connections.clear();
        m_wakeNotifier.reset();
        for (const int fd : m_wakePipe) {
            if (fd >= 0)
                ::close(fd);
        }
        std::lock_guard<std::mutex> lock(m_shared.mutex);
        m_shared.openConnections = 0;
        m_shared.held.clear();
    }

    bool listen()
    {
        if (::pipe2(m_wakePipe, O_CLOEXEC | O_NONBLOCK) != 0) {
            m_wakePipe[0] = m_wakePipe[1] = -1;
            return false;
        }
        m_wakeNotifier = std::make_unique<QSocketNotifier>(m_wakePipe[0], QSocketNotifier::Read);
        connect(m_wakeNotifier.get(), &QSocketNotifier::activated, this, [this] {
            char drain[64];
            while (::read(m_wakePipe[0], drain, sizeof drain) > 0) {}
            runCommands();
        });
        // Hundreds of clients may connect at once in a test.
        m_server.setMaxPendingConnections(1024);
        return m_server.listen(QHostAddress::LocalHost, 0);
    }

    /// Makes the server thread run the queued commands; callable from any thread.
    void wake()
    {
        const char byte = 'w';
        // A full pipe already holds a wake-up, so a failed write loses nothing.
        [[maybe_unused]] const ssize_t written = ::write(m_wakePipe[1], &byte, 1);
    }

    quint16 port() const { return m_server.serverPort(); }

    /// Runs the commands queued in the shared state, in order.
    void runCommands()
    {
        std::unique_lock<std::mutex> lock(m_shared.mutex);
        while (!m_shared.commands.empty()) {
            const std::function<void(Worker&)> command = std::move(m_shared.commands.front());
            m_shared.commands.pop_front();
            lock.unlock(); // the command takes the mutex itself
            command(*this);
            lock.lock();
            ++m_shared.commandsDone;
            m_shared.commandDone.notify_all();
        }
    }

    /// Answers the held requests for `path` (all paths when `all`) as if they had no fault.
    void release(const QString& path, bool all)
    {
        for (auto& entry : m_connections) {
            Connection& connection = entry.second;
            bool released = false;
            for (PendingRequest& request : connection.pending) {
                if (request.state != PendingRequest::State::Held || (!all && request.path != path))
                    continue;
                request.state = PendingRequest::State::Ready;
                request.fault = Fault::None;
                forgetHeld(request.path);
                released = true;
            }
            if (released)
                pump(connection);
        }
    }

signals:
    void requestReceived(const QString& path);

private:
    void accept()
    {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            const quint64 id = ++m_lastConnectionId;
            m_connections[id].socket = socket;
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            connect(socket, &QTcpSocket::readyRead, this, [this, id] { read(id); });
            // Queued: the socket may emit these from inside our own write or close calls, while
            // a reference to its Connection is still in use.
            connect(
                socket, &QTcpSocket::disconnected, this, [this, id] { drop(id); }, Qt::QueuedConnection);
            connect(
                socket, &QAbstractSocket::errorOccurred, this,
                [this, id](QAbstractSocket::SocketError) { dropIfUnconnected(id); }, Qt::QueuedConnection);
            std::lock_guard<std::mutex> lock(m_shared.mutex);
            ++m_shared.openConnections;
            ++m_shared.acceptedConnections;
        }
    }

    void dropIfUnconnected(quint64 id)
    {
        const auto it = m_connections.find(id);
        if (it != m_connections.end()
            && (!it->second.socket || it->second.socket->state() == QAbstractSocket::UnconnectedState))
            drop(id);
    }

    void drop(quint64 id)
    {
        const auto it = m_connections.find(id);
        if (it == m_connections.end())
            return;
        Connection& connection = it->second;
        for (const PendingRequest& request : connection.pending) {
            if (request.state == PendingRequest::State::Held)
                forgetHeld(request.path);
        }
        if (connection.socket) {
            connection.socket->disconnect(this);
            connection.socket->abort();
            connection.socket->deleteLater();
        }
        m_connections.erase(it);
        std::lock_guard<std::mutex> lock(m_shared.mutex);
        --m_shared.openConnections;
    }

    void forgetHeld(const QString& path)
    {
        std::lock_guard<std::mutex> lock(m_shared.mutex);
        const auto it = m_shared.held.find(path);
        Q_ASSERT(it != m_shared.held.end() && "every held request was counted when it arrived");
        if (it != m_shared.held.end() && --it.value() == 0)
            m_shared.held.erase(it);
    }

    void read(quint64 id)
    {
        const auto it = m_connections.find(id);
        if (it == m_connections.end() || !it->second.socket)
            return;
        Connection& connection = it->second;
        const QByteArray data = connection.socket->readAll();
        if (connection.readingStopped)
            return;
        connection.buffer += data;
        parse(id, connection);
        pump(connection);
    }

    void parse(quint64 id, Connection& connection)
    {
        QByteArray& buffer = connection.buffer;
        while (!connection.readingStopped) {
            if (connection.bodyToSkip > 0) {
                const qint64 skipped = qMin<qint64>(connection.bodyToSkip, buffer.size());
                buffer.remove(0, int(skipped));
                connection.bodyToSkip -= skipped;
                if (connection.bodyToSkip > 0)
                    return;
            }
            // Empty lines before a request line are allowed (robustness rule of HTTP/1.1).
            int start = 0;
            while (start < buffer.size() && (buffer.at(start) == '\r' || buffer.at(start) == '\n'))
                ++start;
            buffer.remove(0, start);

            const int crlfEnd = buffer.indexOf("\r\n\r\n");
            const int lfEnd = buffer.indexOf("\n\n");
            int blockLength = -1;
            int consumed = 0;
            if (crlfEnd >= 0 && (lfEnd < 0 || crlfEnd < lfEnd)) {
                blockLength = crlfEnd + 2;
                consumed = crlfEnd + 4;
            } else if (lfEnd >= 0) {
                blockLength = lfEnd + 1;
                consumed = lfEnd + 2;
            }
            if (blockLength < 0) {
                if (buffer.size() > kMaxHeaderBytes)
                    rejectAsBadRequest(connection);
                return;
            }
            if (blockLength > kMaxHeaderBytes) {
                rejectAsBadRequest(connection);
                return;
            }
            const QByteArray block = buffer.left(blockLength);
            buffer.remove(0, consumed);
            handleRequest(id, connection, block);
        }
    }

    void rejectAsBadRequest(Connection& connection)
    {
        PendingRequest request;
        request.sequence = connection.nextSequence++;
        request.protocolError = 400;
        request.keepAlive = false;
        connection.pending.push_back(request);
        connection.readingStopped = true;
        connection.buffer.clear();
    }

    void handleRequest(quint64 id, Connection& connection, const QByteArray& block)
    {
        QList<QByteArray> lines = block.split('\n');
        lines.removeLast(); // the block ends with a line end
        for (QByteArray& line : lines) {
            if (line.endsWith('\r'))
                line.chop(1);
        }
        const QList<QByteArray> parts = lines.first().split(' ');
        if (parts.size() != 3 || !isToken(parts.at(0)) || parts.at(1).isEmpty() || !parts.at(2).startsWith("HTTP/1.")) {
            rejectAsBadRequest(connection);
            return;
        }
        const QByteArray& method = parts.at(0);
        const QByteArray& version = parts.at(2);

        qint64 contentLength = 0;
        bool chunked = false;
        bool closeRequested = false;
        bool keepAliveRequested = false;
        for (int i = 1; i < lines.size(); ++i) {
            const QByteArray& line = lines.at(i);
            const int colon = line.indexOf(':');
            if (colon <= 0 || !isToken(line.left(colon))) {
                rejectAsBadRequest(connection);
                return;
            }
            const QByteArray name = line.left(colon).toLower();
            const QByteArray value = line.mid(colon + 1).trimmed();
            if (name == "content-length") {
                bool ok = false;
                contentLength = value.toLongLong(&ok);
                if (!ok || contentLength < 0) {
                    rejectAsBadRequest(connection);
                    return;
                }
            } else if (name == "transfer-encoding") {
                chunked = true;
            } else if (name == "connection") {
                for (const QByteArray& token : value.split(',')) {
                    const QByteArray option = token.trimmed().toLower();
                    closeRequested = closeRequested || option == "close";
                    keepAliveRequested = keepAliveRequested || option == "keep-alive";
                }
            }
        }

        PendingRequest request;
        request.sequence = connection.nextSequence++;
        request.path = QString::fromLatin1(parts.at(1)); // raw target: Latin-1 keeps every byte
        request.method = method;
        request.keepAlive = !closeRequested && (version == "HTTP/1.1" || keepAliveRequested);
        if (chunked) {
            // Requests carry no body here; rather than decode chunks, end the conversation.
            request.keepAlive = false;
            connection.readingStopped = true;
            connection.buffer.clear();
        } else {
            connection.bodyToSkip = contentLength;
        }

        const bool allowed = method == "GET" || method == "HEAD";
        int delay = 0;
        {
            std::lock_guard<std::mutex> lock(m_shared.mutex);
            ++m_shared.counts[request.path];
            m_shared.log.append(request.path);
            m_shared.headers[request.path].append(block);
            if (allowed) {
                request.fault = m_shared.faults.value(request.path, Fault::None);
                const auto counted = m_shared.faultCounts.find(request.path);
                if (counted != m_shared.faultCounts.end() && --counted.value() <= 0) {
                    m_shared.faultCounts.erase(counted);
                    m_shared.faults.remove(request.path);
                }
                delay = m_shared.delays.value(request.path, 0);
                if (request.fault == Fault::Hold)
                    ++m_shared.held[request.path];
            }
        }

        if (!allowed) {
            request.protocolError = 405;
        } else if (request.fault == Fault::Hold) {
            request.state = PendingRequest::State::Held;
        } else if (delay > 0) {
            request.state = PendingRequest::State::Waiting;
            const quint64 sequence = request.sequence;
            QTimer::singleShot(delay, this, [this, id, sequence] { delayElapsed(id, sequence); });
        }
        connection.pending.push_back(request);
        emit requestReceived(request.path);
    }

    void delayElapsed(quint64 id, quint64 sequence)
    {
        const auto it = m_connections.find(id);
        if (it == m_connections.end())
            return;
        for (PendingRequest& request : it->second.pending) {
            if (request.sequence == sequence && request.state == PendingRequest::State::Waiting) {
                request.state = PendingRequest::State::Ready;
                pump(it->second);
                return;
            }
        }
    }

    void pump(Connection& connection)
    {
        while (!connection.closing && !connection.pending.empty()
               && connection.pending.front().state == PendingRequest::State::Ready) {
            const PendingRequest request = connection.pending.front();
            connection.pending.pop_front();
            if (!answer(connection, request))
                connection.closing = true;
        }
        if (connection.closing) {
            for (const PendingRequest& request : connection.pending) {
                if (request.state == PendingRequest::State::Held)
                    forgetHeld(request.path);
            }
            connection.pending.clear();
        }
    }

    /// Writes the answer; returns false when the connection is (being) closed.
    bool answer(Connection& connection, const PendingRequest& request)
    {
        QTcpSocket* const socket = connection.socket;
        if (!socket || socket->state() != QAbstractSocket::ConnectedState)
            return false;
        const bool head = request.method == "HEAD";
        const auto send = [&](int status, const QByteArray& contentType, const QByteArray& body,
                              const QByteArray& extraHeaders = QByteArray()) {
            socket->write(responseHead(status, contentType, body.size(), request.keepAlive, extraHeaders));
            if (!head)
                socket->write(body);
            if (!request.keepAlive)
                socket->disconnectFromHost();
            return request.keepAlive;
        };
        const QByteArray text = QByteArrayLiteral("text/plain");

        switch (request.protocolError) {
        case 400:
            return send(400, text, "bad request\n");
        case 405:
            return send(405, text, "method not allowed\n", "Allow: GET, HEAD\r\n");
        default:
            break;
        }

        Document document;
        bool found = false;
        std::optional<TestHttpServer::GeneratedBody> generated;
        {
            std::lock_guard<std::mutex> lock(m_shared.mutex);
            const auto it = m_shared.documents.constFind(request.path);
            found = it != m_shared.documents.constEnd();
            if (found)
                document = it.value();
            int longest = -1;
            for (auto prefix = m_shared.prefixDocuments.constBegin();
                 !found && prefix != m_shared.prefixDocuments.constEnd(); ++prefix) {
                if (request.path.startsWith(prefix.key()) && prefix.key().size() > longest) {
                    longest = prefix.key().size();
                    document = prefix.value();
                }
            }
            found = found || longest >= 0;
            const auto body = m_shared.generated.constFind(request.path);
            if (body != m_shared.generated.constEnd())
                generated = body.value();
        }

        switch (request.fault) {
        case Fault::CloseWithoutAnswer:
            socket->disconnectFromHost();
            return false;
        case Fault::NotFound:
            return send(404, text, "not found\n");
        case Fault::ServerError:
            return send(500, text, "internal server error\n");
        case Fault::NotPng:
            return send(200, "image/png", kNotPngBody);
        case Fault::Redirect:
            return send(301, text, "moved\n", "Location: /moved" + request.path.toUtf8() + "\r\n");
        case Fault::RequestTimeout:
            return send(408, text, "request timeout\n");
        case Fault::TooManyRequests:
            return send(429, text, "too many requests\n");
        case Fault::ServiceUnavailable:
            return send(503, text, "service unavailable\n");
        case Fault::TruncatedBody: {
            const QByteArray body
                = found && !document.body.isEmpty() ? document.body : QByteArray(kSyntheticBodyBytes, 'x');
            const QByteArray contentType = found ? document.contentType : text;
            socket->write(responseHead(200, contentType, body.size(), false));
            if (!head)
                socket->write(body.left(body.size() / 2));
            socket->disconnectFromHost();
            return false;
        }
        case Fault::None:
        case Fault::Hold: // released: answered as usual
            break;
        }
        if (generated && !head) {
            startStream(connection, *generated);
            return false;
        }
        return found ? send(200, document.contentType, document.body) : send(404, text, "not found\n");
    }

    void startStream(Connection& connection, const TestHttpServer::GeneratedBody& body)
    {
        using Framing = TestHttpServer::Framing;
        QByteArray head = "HTTP/1.1 200 OK\r\nContent-Type: " + body.contentType + "\r\n";
        if (body.framing == Framing::ContentLength)
            head += "Content-Length: " + QByteArray::number(body.length) + "\r\n";
        else if (body.framing == Framing::Chunked)
            head += "Transfer-Encoding: chunked\r\n";
        if (!body.contentEncoding.isEmpty())
            head += "Content-Encoding: " + body.contentEncoding + "\r\n";
        head += "Connection: close\r\n\r\n";
        QTcpSocket* const socket = connection.socket;
        socket->write(head);
        connection.stream = std::make_unique<Stream>();
        connection.stream->body = body;
        QPointer<QTcpSocket> guarded(socket);
        if (body.dripIntervalMs > 0) {
            connection.stream->drip = std::make_unique<QTimer>();
            connect(connection.stream->drip.get(), &QTimer::timeout, this, [this, guarded] {
                if (guarded)
                    feed(*guarded, true);
            });
            connection.stream->drip->start(body.dripIntervalMs);
        } else {
            connect(socket, &QTcpSocket::bytesWritten, this, [this, guarded] {
                if (guarded)
                    feed(*guarded, false);
            });
            feed(*socket, false);
        }
    }

    /// Sends more of the socket's generated body: one drip, or as much as keeps a few
    /// hundred kilobytes queued.
    void feed(QTcpSocket& socket, bool drip)
    {
        Connection* connection = nullptr;
        for (auto& entry : m_connections) {
            if (entry.second.socket == &socket)
                connection = &entry.second;
        }
        if (!connection || !connection->stream || socket.state() != QAbstractSocket::ConnectedState)
            return;
        Stream& stream = *connection->stream;
        const bool chunked = stream.body.framing == TestHttpServer::Framing::Chunked;
        constexpr qint64 queued = 256 * 1024;
        while (!stream.done() && socket.bytesToWrite() < queued) {
            qint64 n = drip ? stream.body.dripBytes : 64 * 1024;
            if (stream.body.length >= 0)
                n = qMin(n, stream.body.length - stream.sent);
            QByteArray bytes;
            if (stream.sent < stream.body.prefix.size())
                bytes = stream.body.prefix.mid(int(stream.sent), int(n));
            bytes += QByteArray(int(n - bytes.size()), stream.body.fill);
            if (chunked)
                socket.write(QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n");
            else
                socket.write(bytes);
            stream.sent += n;
            if (drip)
                break;
        }
        if (stream.done()) {
            if (chunked)
                socket.write("0\r\n\r\n");
            connection->stream.reset();
            socket.disconnectFromHost();
        }
    }

    SharedState& m_shared;
    QTcpServer m_server;
    std::map<quint64, Connection> m_connections;
    quint64 m_lastConnectionId = 0;
    int m_wakePipe[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_wakeNotifier;
};

// Runs the worker on its own stack, so the sockets are created, used and destroyed in this
// thread only.
class ServerThread final : public QThread
{
public:
    ServerThread(SharedState& shared, TestHttpServer& owner)
        : m_shared(shared)
        , m_owner(owner)
    {
        setObjectName(QStringLiteral("TestHttpServer"));
    }

    /// Starts the thread once and waits until it listens (or failed to).
    bool startListening()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_startRequested) {
            m_startRequested = true;
            start();
            m_readyCondition.wait(lock, [this] { return m_ready; });
        }
        return m_worker != nullptr;
    }

    /// Stops the event loop and waits until run() has returned. The end is also handed over
    /// through m_mutex, not only through QThread::wait(), so ThreadSanitizer sees it.
    void stop()
    {
        quit();
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (m_startRequested)
                m_finishedCondition.wait(lock, [this] { return m_finished; });
        }
        wait();
    }

    quint16 port() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_port;
    }

    /// Runs `command` in the server thread and waits for it; does nothing when the server
    /// does not run.
    void runInServerThread(std::function<void(Worker&)> command)
    {
        Worker* worker = nullptr;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            worker = m_worker;
        }
        if (!worker)
            return;
        if (QThread::currentThread() == this) {
            command(*worker);
            return;
        }
        // The command travels through the shared state and a pipe rather than through Qt's
        // event queue, so that ThreadSanitizer sees the hand-over.
        std::unique_lock<std::mutex> lock(m_shared.mutex);
        m_shared.commands.push_back(std::move(command));
        const quint64 ticket = ++m_shared.commandsQueued;
        lock.unlock();
        worker->wake();
        lock.lock();
        m_shared.commandDone.wait(lock, [this, ticket] { return m_shared.commandsDone >= ticket; });
    }

protected:
    void run() override
    {
        // Declared first, so it runs last: after the worker and its sockets are gone.
        const auto finished = qScopeGuard([this] { markFinished(); });
        Worker worker(m_shared);
        connect(&worker, &Worker::requestReceived, &m_owner, &TestHttpServer::requestReceived);
        const bool listening = worker.listen();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_worker = listening ? &worker : nullptr;
            m_port = listening ? worker.port() : 0;
            m_ready = true;
        }
        m_readyCondition.notify_all();
        if (listening)
            exec();
    }

private:
    void markFinished()
    {
        // Notified under the lock: stop() may destroy the condition as soon as it can lock.
        std::lock_guard<std::mutex> lock(m_mutex);
        m_worker = nullptr;
        m_finished = true;
        m_finishedCondition.notify_all();
    }

    SharedState& m_shared;
    TestHttpServer& m_owner;
    mutable std::mutex m_mutex;
    std::condition_variable m_readyCondition;
    std::condition_variable m_finishedCondition;
    bool m_startRequested = false;
    bool m_ready = false;
    bool m_finished = false;
    Worker* m_worker = nullptr; // not owned: lives on the stack of run()
    quint16 m_port = 0;
};

} // namespace

class TestHttpServer::Private
{
public:
    explicit Private(TestHttpServer& owner)
        : thread(shared, owner)
    {
    }

    SharedState shared;
    ServerThread thread;
};

TestHttpServer::TestHttpServer(QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(*this))
{
}

TestHttpServer::~TestHttpServer()
{
    d->thread.stop();
}

bool TestHttpServer::start()
{
    return d->thread.startListening();
}

quint16 TestHttpServer::port() const
{
    return d->thread.port();
}

QString TestHttpServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void TestHttpServer::setDocument(const QString& path, const QByteArray& body, const QByteArray& contentType)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.documents.insert(path, Document{body, contentType});
}

void TestHttpServer::removeDocument(const QString& path)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.documents.remove(path);
    d->shared.generated.remove(path);
}

void TestHttpServer::setPrefixDocument(const QString& prefix, const QByteArray& body, const QByteArray& contentType)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.prefixDocuments.insert(prefix, Document{body, contentType});
}

void TestHttpServer::setGeneratedBody(const QString& path, const GeneratedBody& body)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.documents.remove(path);
    d->shared.generated.insert(path, body);
}

QByteArray TestHttpServer::compressedStream(qint64 length, const std::function<QByteArray(qint64)>& next, bool gzip)
{
    // 16 + 15 window bits give gzip.
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzip ? 15 + 16 : 15, 9, Z_DEFAULT_STRATEGY) != Z_OK)
        return {};
    QByteArray out;
    char buffer[64 * 1024];
    qint64 left = length;
    int flush = Z_NO_FLUSH;
    do {
        const QByteArray piece = next(qMin<qint64>(left, 1 << 20));
        left -= piece.size();
        flush = left == 0 ? Z_FINISH : Z_NO_FLUSH;
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.constData()));
        stream.avail_in = uInt(piece.size());
        do {
            stream.next_out = reinterpret_cast<Bytef*>(buffer);
            stream.avail_out = sizeof buffer;
            deflate(&stream, flush);
            out.append(buffer, int(sizeof buffer - stream.avail_out));
        } while (stream.avail_out == 0);
    } while (flush != Z_FINISH);
    deflateEnd(&stream);
    return out;
}

QByteArray TestHttpServer::gzipOfZeros(qint64 length)
{
    const QByteArray zeros(1 << 20, '\0');
    return compressedStream(
        length, [&zeros](qint64 n) { return zeros.left(int(n)); }, true);
}

QByteArray TestHttpServer::compressed(const QByteArray& data, bool gzip)
{
    qint64 at = 0;
    return compressedStream(
        data.size(),
        [&](qint64 n) {
            const QByteArray piece = data.mid(int(at), int(n));
            at += n;
            return piece;
        },
        gzip);
}

void TestHttpServer::setFault(const QString& path, Fault fault)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.faultCounts.remove(path);
    if (fault == Fault::None)
        d->shared.faults.remove(path);
    else
        d->shared.faults.insert(path, fault);
}

void TestHttpServer::setFault(const QString& path, Fault fault, int times)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.faultCounts.remove(path);
    if (fault == Fault::None || times <= 0) {
        d->shared.faults.remove(path);
        return;
    }
    d->shared.faults.insert(path, fault);
    d->shared.faultCounts.insert(path, times);
}

void TestHttpServer::setDelay(const QString& path, int milliseconds)
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    if (milliseconds <= 0)
        d->shared.delays.remove(path);
    else
        d->shared.delays.insert(path, milliseconds);
}

void TestHttpServer::releaseHeld(const QString& path)
{
    d->thread.runInServerThread([path](Worker& worker) { worker.release(path, false); });
}

void TestHttpServer::releaseAllHeld()
{
    d->thread.runInServerThread([](Worker& worker) { worker.release(QString(), true); });
}

int TestHttpServer::heldCount(const QString& path) const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    if (!path.isEmpty())
        return d->shared.held.value(path, 0);
    int total = 0;
    for (const int count : qAsConst(d->shared.held))
        total += count;
    return total;
}

int TestHttpServer::requestCount(const QString& path) const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.counts.value(path, 0);
}

int TestHttpServer::totalRequestCount() const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.log.size();
}

QStringList TestHttpServer::requestLog() const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.log;
}

QList<QByteArray> TestHttpServer::requestHeaders(const QString& path) const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.headers.value(path);
}

void TestHttpServer::resetCounts()
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    d->shared.counts.clear();
    d->shared.headers.clear();
    d->shared.log.clear();
    d->shared.acceptedConnections = 0;
}

int TestHttpServer::acceptedConnectionCount() const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.acceptedConnections;
}

int TestHttpServer::openConnectionCount() const
{
    std::lock_guard<std::mutex> lock(d->shared.mutex);
    return d->shared.openConnections;
}

QByteArray TestHttpServer::headerValue(const QByteArray& headerBlock, const QByteArray& name)
{
    const QList<QByteArray> lines = headerBlock.split('\n');
    for (int i = 1; i < lines.size(); ++i) {
        const QByteArray& line = lines.at(i);
        const int colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).compare(name, Qt::CaseInsensitive) == 0) {
            const QByteArray value = line.mid(colon + 1).trimmed();
            return value.isNull() ? QByteArray("", 0) : value; // present but empty is not null
        }
    }
    return QByteArray();
}

#include "TestHttpServer.moc"
