// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The servers the network tests run against, driven by the client the library uses
// (QNetworkAccessManager) and, where the client would hide what the server does, by raw sockets.

#include <NginxServer.h>
#include <TestHttpServer.h>

#include <QBuffer>
#include <QColor>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QImage>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <memory>
#include <vector>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <signal.h>
#endif

namespace {

constexpr int kReplyTimeoutMs = 10000;

struct FetchResult
{
    bool finished = false;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    int status = 0; // 0 when no HTTP answer arrived
    QByteArray body;
    QByteArray contentType;
};

FetchResult resultOf(QNetworkReply& reply)
{
    FetchResult result;
    result.finished = reply.isFinished();
    result.error = reply.error();
    result.status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.body = reply.readAll();
    result.contentType = reply.rawHeader("Content-Type");
    return result;
}

void waitForFinished(QNetworkReply& reply, int timeoutMs = kReplyTimeoutMs)
{
    if (reply.isFinished())
        return;
    QSignalSpy finished(&reply, &QNetworkReply::finished);
    finished.wait(timeoutMs);
}

FetchResult fetch(QNetworkAccessManager& manager, const QString& url, int timeoutMs = kReplyTimeoutMs)
{
    std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(QUrl(url))));
    waitForFinished(*reply, timeoutMs);
    return resultOf(*reply);
}

// The library talks to servers directly; a proxy from the environment must not get in between.
void useNoProxy(QNetworkAccessManager& manager)
{
    manager.setProxy(QNetworkProxy::NoProxy);
}

struct RawResponse
{
    int status = 0;
    QByteArray head;
    QByteArray body;
};

// Reads whole answers (Content-Length framed) from a plain socket until `count` have arrived,
// the peer closed, or the time ran out. Answers to HEAD must not be read this way.
QList<RawResponse> readResponses(QTcpSocket& socket, int count, int timeoutMs = kReplyTimeoutMs)
{
    QList<RawResponse> responses;
    QByteArray buffer;
    QElapsedTimer clock;
    clock.start();
    while (responses.size() < count) {
        const int headEnd = buffer.indexOf("\r\n\r\n");
        if (headEnd >= 0) {
            RawResponse response;
            response.head = buffer.left(headEnd + 2);
            const QByteArray length = TestHttpServer::headerValue(response.head, "Content-Length");
            const int bodyLength = length.toInt();
            if (buffer.size() >= headEnd + 4 + bodyLength) {
                response.status = response.head.mid(9, 3).toInt();
                response.body = buffer.mid(headEnd + 4, bodyLength);
                buffer.remove(0, headEnd + 4 + bodyLength);
                responses.append(response);
                continue;
            }
        }
        if (clock.elapsed() > timeoutMs)
            break;
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(int(qMax<qint64>(1, timeoutMs - clock.elapsed())))
            && socket.bytesAvailable() == 0)
            break;
        buffer += socket.readAll();
    }
    return responses;
}

QByteArray getRequest(const QByteArray& path, const QByteArray& extraHeaders = QByteArray())
{
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + extraHeaders + "\r\n";
}

QByteArray pngBytes(const QColor& color, int size)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

bool writeFile(const QString& fileName, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(fileName).absolutePath());
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

class TestServersTest : public QObject
{
    Q_OBJECT

private:
    // Most cases talk to one started server through one client that bypasses proxies.
    std::unique_ptr<TestHttpServer> m_server;
    std::unique_ptr<QNetworkAccessManager> m_manager;

private slots:
    void init();
    void cleanup();

    // In-process server
    void startListensOnLoopbackOnAPortChosenBySystem();
    void servesDocumentWithStatusBodyAndContentType_data();
    void servesDocumentWithStatusBodyAndContentType();
    void headAnswersHeadersWithoutBody();
    void unknownPathAnswers404();
    void removedDocumentAnswers404();
    void countsRequestsPerPathInArrivalOrder();
    void resetCountsForgetsCountsLogAndHeaders();
    void recordsRawRequestHeaders();
    void emitsRequestReceivedWithThePath();
    void statusFaultAnswersWithThatStatus_data();
    void statusFaultAnswersWithThatStatus();
    void closeWithoutAnswerClosesBeforeAnyByte();
    void truncatedBodyEndsTheReplyWithAnError();
    void notPngAnswers200WithABodyNoImageDecoderAccepts();
    void redirectPointsBelowMoved();
    void clearedFaultServesTheDocumentAgain();
    void countedFaultAppliesToThatManyRequests();
    void prefixDocumentServesPathsWithoutTheirOwn();
    void generatedBodiesArriveWhole_data();
    void generatedBodiesArriveWhole();
    void generatedBodyWithoutEndKeepsComingUntilTheClientLeaves();
    void compressedBodiesInflateToTheirData();
    void holdKeepsRequestUnansweredUntilReleased();
    void releaseAllHeldAnswersEveryPath();
    void heldRequestAbandonedByItsClientIsNoLongerHeld();
    void delayedAnswerArrivesAfterTheDelayWithoutBlockingOtherPaths();
    void delayAlsoAppliesToFaults();
    void doubleSlashPathIsRecordedAndMatchedAsSent();
    void percentEncodedPathIsNotDecoded();
    void threeHundredConcurrentRequestsOverSeveralManagersAreAllAnswered();
    void answersWhileTheMainThreadIsBlocked();
    void keepAliveReusesOneConnection();
    void http10RequestWithoutKeepAliveIsAnsweredAndClosed();
    void pipelinedRequestsAreAnsweredInOrder();
    void requestSplitAcrossPacketsIsAnsweredOnceComplete();
    void otherMethodsAnswer405();
    void garbageAnswers400AndCloses();
    void clientsLeavingInTheMiddleOfAnswersDoNotDisturbTheServer();
    void destroyingTheServerClosesItsConnections();

    // nginx
    void nginxServesFilesWrittenToItsRoot();
    void nginxCountsRequestsFromItsAccessLog();
    void nginxAnswers404ForAMissingFile();
    void twoNginxInstancesRunAtOnce();
    void nginxStopsWhenDestroyed();
};

void TestServersTest::init()
{
    m_server = std::make_unique<TestHttpServer>();
    QVERIFY(m_server->start());
    m_manager = std::make_unique<QNetworkAccessManager>();
    useNoProxy(*m_manager);
}

void TestServersTest::cleanup()
{
    m_manager.reset();
    m_server.reset();
}

void TestServersTest::startListensOnLoopbackOnAPortChosenBySystem()
{
    TestHttpServer server;
    QCOMPARE(server.port(), quint16(0));
    QVERIFY(server.start());
    QVERIFY(server.port() != 0);
    QCOMPARE(server.baseUrl(), QStringLiteral("http://127.0.0.1:%1").arg(server.port()));
    QVERIFY(server.start()); // a second start changes nothing
    QCOMPARE(server.baseUrl(), QStringLiteral("http://127.0.0.1:%1").arg(server.port()));

    TestHttpServer other;
    QVERIFY(other.start());
    QVERIFY(other.port() != server.port());
}

void TestServersTest::servesDocumentWithStatusBodyAndContentType_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("contentType");

    QTest::newRow("png tile") << "/tiles/3/1/2.png" << pngBytes(Qt::red, 16) << QByteArray("image/png");
    QTest::newRow("json document") << "/tilesystem.json" << QByteArray(R"({"axes":[]})")
                                   << QByteArray("application/json");
    QTest::newRow("empty body") << "/empty" << QByteArray() << QByteArray("application/octet-stream");
    QByteArray large(3 * 1024 * 1024, '\0');
    for (int i = 0; i < large.size(); ++i)
        large[i] = char(i * 7 + i / 4096);
    QTest::newRow("3 MiB binary") << "/large.bin" << large << QByteArray("application/octet-stream");
}

void TestServersTest::servesDocumentWithStatusBodyAndContentType()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, contentType);

    TestHttpServer& server = *m_server;
    server.setDocument(path, body, contentType);
    QNetworkAccessManager& manager = *m_manager;

    const FetchResult result = fetch(manager, server.baseUrl() + path);
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::NoError);
    QCOMPARE(result.status, 200);
    QCOMPARE(result.contentType, contentType);
    QCOMPARE(result.body.size(), body.size());
    QVERIFY(result.body == body);
    QCOMPARE(server.requestCount(path), 1);
}

void TestServersTest::headAnswersHeadersWithoutBody()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), QByteArray(1234, 'a'), "text/plain");
    QNetworkAccessManager& manager = *m_manager;

    std::unique_ptr<QNetworkReply> reply(manager.head(QNetworkRequest(QUrl(server.baseUrl() + "/doc"))));
    waitForFinished(*reply);
    QVERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
    QCOMPARE(reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(), 1234);
    QVERIFY(reply->readAll().isEmpty());

    // The connection stays usable: the HEAD answer carried no body to skip.
    const FetchResult next = fetch(manager, server.baseUrl() + "/doc");
    QCOMPARE(next.status, 200);
    QCOMPARE(next.body, QByteArray(1234, 'a'));
    QCOMPARE(server.requestLog(), QStringList({"/doc", "/doc"}));
    QVERIFY(server.requestHeaders(QStringLiteral("/doc")).at(0).startsWith("HEAD /doc HTTP/1.1\r\n"));
}

void TestServersTest::unknownPathAnswers404()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/known"), "known");
    QNetworkAccessManager& manager = *m_manager;

    const FetchResult result = fetch(manager, server.baseUrl() + "/unknown");
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::ContentNotFoundError);
    QCOMPARE(result.status, 404);
    QCOMPARE(server.requestCount(QStringLiteral("/unknown")), 1);
    QCOMPARE(server.requestCount(QStringLiteral("/known")), 0);
}

void TestServersTest::removedDocumentAnswers404()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "first");
    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").body, QByteArray("first"));

    server.setDocument(QStringLiteral("/doc"), "second");
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").body, QByteArray("second"));

    server.removeDocument(QStringLiteral("/doc"));
    const FetchResult result = fetch(manager, server.baseUrl() + "/doc");
    QCOMPARE(result.error, QNetworkReply::ContentNotFoundError);
    QCOMPARE(result.status, 404);
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 3);
}

void TestServersTest::countsRequestsPerPathInArrivalOrder()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/a"), "a");
    server.setDocument(QStringLiteral("/b"), "b");
    QNetworkAccessManager& manager = *m_manager;

    for (const char* path : {"/a", "/b", "/a", "/missing", "/a"})
        QVERIFY(fetch(manager, server.baseUrl() + path).finished);

    QCOMPARE(server.requestCount(QStringLiteral("/a")), 3);
    QCOMPARE(server.requestCount(QStringLiteral("/b")), 1);
    QCOMPARE(server.requestCount(QStringLiteral("/missing")), 1);
    QCOMPARE(server.requestCount(QStringLiteral("/never")), 0);
    QCOMPARE(server.totalRequestCount(), 5);
    QCOMPARE(server.requestLog(), QStringList({"/a", "/b", "/a", "/missing", "/a"}));
}

void TestServersTest::resetCountsForgetsCountsLogAndHeaders()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/a"), "a");
    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/a").status, 200);
    QCOMPARE(server.requestCount(QStringLiteral("/a")), 1);

    server.resetCounts();
    QCOMPARE(server.requestCount(QStringLiteral("/a")), 0);
    QCOMPARE(server.totalRequestCount(), 0);
    QVERIFY(server.requestLog().isEmpty());
    QVERIFY(server.requestHeaders(QStringLiteral("/a")).isEmpty());

    // Documents survive a reset; counting starts again from zero.
    QCOMPARE(fetch(manager, server.baseUrl() + "/a").body, QByteArray("a"));
    QCOMPARE(server.requestCount(QStringLiteral("/a")), 1);
}

void TestServersTest::recordsRawRequestHeaders()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");
    QNetworkAccessManager& manager = *m_manager;

    QNetworkRequest first(QUrl(server.baseUrl() + "/doc"));
    first.setRawHeader("X-Mivo-Test", "first");
    std::unique_ptr<QNetworkReply> reply(manager.get(first));
    waitForFinished(*reply);
    QNetworkRequest second(QUrl(server.baseUrl() + "/doc"));
    second.setRawHeader("X-Mivo-Test", "second");
    reply.reset(manager.get(second));
    waitForFinished(*reply);
    QCOMPARE(reply->error(), QNetworkReply::NoError);

    const QList<QByteArray> blocks = server.requestHeaders(QStringLiteral("/doc"));
    QCOMPARE(blocks.size(), 2);
    QVERIFY2(blocks.at(0).startsWith("GET /doc HTTP/1.1\r\n"), blocks.at(0).constData());
    QVERIFY(blocks.at(0).endsWith("\r\n"));
    QVERIFY(!blocks.at(0).endsWith("\r\n\r\n"));
    QCOMPARE(TestHttpServer::headerValue(blocks.at(0), "x-mivo-test"), QByteArray("first"));
    QCOMPARE(TestHttpServer::headerValue(blocks.at(1), "X-Mivo-Test"), QByteArray("second"));
    QCOMPARE(TestHttpServer::headerValue(blocks.at(1), "Host"),
             QByteArray("127.0.0.1:" + QByteArray::number(server.port())));
    QVERIFY(TestHttpServer::headerValue(blocks.at(1), "X-Absent").isNull());
}

void TestServersTest::emitsRequestReceivedWithThePath()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");
    QSignalSpy received(&server, &TestHttpServer::requestReceived);
    QNetworkAccessManager& manager = *m_manager;

    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").status, 200);
    QCOMPARE(fetch(manager, server.baseUrl() + "/other").status, 404);
    QTRY_COMPARE(received.count(), 2);
    QCOMPARE(received.at(0).at(0).toString(), QStringLiteral("/doc"));
    QCOMPARE(received.at(1).at(0).toString(), QStringLiteral("/other"));
}

void TestServersTest::statusFaultAnswersWithThatStatus_data()
{
    QTest::addColumn<TestHttpServer::Fault>("fault");
    QTest::addColumn<QNetworkReply::NetworkError>("expectedError");
    QTest::addColumn<int>("expectedStatus");

    QTest::newRow("not found") << TestHttpServer::Fault::NotFound << QNetworkReply::ContentNotFoundError << 404;
    QTest::newRow("server error") << TestHttpServer::Fault::ServerError << QNetworkReply::InternalServerError << 500;
    QTest::newRow("request timeout") << TestHttpServer::Fault::RequestTimeout << QNetworkReply::UnknownContentError
                                     << 408;
    QTest::newRow("too many requests") << TestHttpServer::Fault::TooManyRequests << QNetworkReply::UnknownContentError
                                       << 429;
    QTest::newRow("service unavailable") << TestHttpServer::Fault::ServiceUnavailable
                                         << QNetworkReply::ServiceUnavailableError << 503;
}

void TestServersTest::statusFaultAnswersWithThatStatus()
{
    QFETCH(TestHttpServer::Fault, fault);
    QFETCH(QNetworkReply::NetworkError, expectedError);
    QFETCH(int, expectedStatus);

    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "the document");
    server.setFault(QStringLiteral("/doc"), fault);
    QNetworkAccessManager& manager = *m_manager;

    const FetchResult result = fetch(manager, server.baseUrl() + "/doc");
    QVERIFY(result.finished);
    QCOMPARE(result.error, expectedError);
    QCOMPARE(result.status, expectedStatus);
    QVERIFY(result.body != "the document");
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 1);

    // The fault is per path: another path on the same connection is served normally.
    server.setDocument(QStringLiteral("/other"), "other");
    QCOMPARE(fetch(manager, server.baseUrl() + "/other").body, QByteArray("other"));
}

void TestServersTest::countedFaultAppliesToThatManyRequests()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "the document");
    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::ServiceUnavailable, 2);
    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").status, 503);
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").status, 503);
    const FetchResult third = fetch(manager, server.baseUrl() + "/doc");
    QCOMPARE(third.status, 200);
    QCOMPARE(third.body, QByteArray("the document"));
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 3);
}

void TestServersTest::prefixDocumentServesPathsWithoutTheirOwn()
{
    TestHttpServer& server = *m_server;
    server.setPrefixDocument(QStringLiteral("/a/"), "any a", "text/plain");
    server.setPrefixDocument(QStringLiteral("/a/b/"), "any b", "text/plain");
    server.setDocument(QStringLiteral("/a/b/own"), "own");
    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/a/x/y.png").body, QByteArray("any a"));
    QCOMPARE(fetch(manager, server.baseUrl() + "/a/b/c").body, QByteArray("any b"));
    QCOMPARE(fetch(manager, server.baseUrl() + "/a/b/own").body, QByteArray("own"));
    QCOMPARE(fetch(manager, server.baseUrl() + "/ab").status, 404);
}

void TestServersTest::generatedBodiesArriveWhole_data()
{
    QTest::addColumn<TestHttpServer::Framing>("framing");
    QTest::addColumn<int>("dripIntervalMs");
    QTest::newRow("content length") << TestHttpServer::Framing::ContentLength << 0;
    QTest::newRow("chunked") << TestHttpServer::Framing::Chunked << 0;
    QTest::newRow("until close") << TestHttpServer::Framing::UntilClose << 0;
    QTest::newRow("chunked, dripped") << TestHttpServer::Framing::Chunked << 1;
}

void TestServersTest::generatedBodiesArriveWhole()
{
    QFETCH(TestHttpServer::Framing, framing);
    QFETCH(int, dripIntervalMs);
    TestHttpServer& server = *m_server;
    TestHttpServer::GeneratedBody body;
    body.prefix = "head:";
    body.fill = 'z';
    body.length = dripIntervalMs > 0 ? 200 : 3 * 1024 * 1024 + 7;
    body.framing = framing;
    body.contentType = "text/plain";
    body.dripBytes = 50;
    body.dripIntervalMs = dripIntervalMs;
    server.setGeneratedBody(QStringLiteral("/big"), body);
    const FetchResult result = fetch(*m_manager, server.baseUrl() + "/big");
    QCOMPARE(result.error, QNetworkReply::NoError);
    QCOMPARE(result.contentType, QByteArray("text/plain"));
    QCOMPARE(result.body.size(), int(body.length));
    QVERIFY(result.body.startsWith("head:zzz"));
    QCOMPARE(result.body.count('z'), int(body.length) - 5);
}

void TestServersTest::generatedBodyWithoutEndKeepsComingUntilTheClientLeaves()
{
    TestHttpServer& server = *m_server;
    TestHttpServer::GeneratedBody body;
    body.framing = TestHttpServer::Framing::Chunked;
    server.setGeneratedBody(QStringLiteral("/endless"), body);
    std::unique_ptr<QNetworkReply> reply(m_manager->get(QNetworkRequest(QUrl(server.baseUrl() + "/endless"))));
    qint64 received = 0;
    connect(reply.get(), &QIODevice::readyRead, reply.get(), [&] { received += reply->readAll().size(); });
    QTRY_VERIFY(received > 16 * 1024 * 1024);
    QVERIFY(!reply->isFinished());
    reply->abort();
    QTRY_COMPARE(server.openConnectionCount(), 0);
}

void TestServersTest::compressedBodiesInflateToTheirData()
{
    TestHttpServer& server = *m_server;
    TestHttpServer::GeneratedBody body;
    body.prefix = TestHttpServer::compressed("the document, packed", true);
    body.length = body.prefix.size();
    body.framing = TestHttpServer::Framing::ContentLength;
    body.contentEncoding = "gzip";
    server.setGeneratedBody(QStringLiteral("/gz"), body);
    // Qt asks for gzip by itself and inflates what it gets.
    QCOMPARE(fetch(*m_manager, server.baseUrl() + "/gz").body, QByteArray("the document, packed"));
    body.prefix = TestHttpServer::gzipOfZeros(5 * 1024 * 1024);
    body.length = body.prefix.size();
    server.setGeneratedBody(QStringLiteral("/zeros"), body);
    QVERIFY(body.length < 64 * 1024);
    QCOMPARE(fetch(*m_manager, server.baseUrl() + "/zeros").body, QByteArray(5 * 1024 * 1024, '\0'));
}

void TestServersTest::closeWithoutAnswerClosesBeforeAnyByte()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "the document");
    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::CloseWithoutAnswer);

    // What the server sends: nothing, then the end of the connection.
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    QSignalSpy disconnected(&socket, &QTcpSocket::disconnected);
    socket.write(getRequest("/doc"));
    QVERIFY(disconnected.wait(kReplyTimeoutMs));
    QVERIFY(socket.readAll().isEmpty());
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 1);

    // What the library's client makes of it.
    QNetworkAccessManager& manager = *m_manager;
    const FetchResult result = fetch(manager, server.baseUrl() + "/doc");
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::RemoteHostClosedError);
    QCOMPARE(result.status, 0);
    QVERIFY(result.body.isEmpty());
    // Qt resends a request once when its connection closed before any answer.
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 1 + 2);
}

void TestServersTest::truncatedBodyEndsTheReplyWithAnError()
{
    TestHttpServer& server = *m_server;
    const QByteArray document(10000, 'd');
    server.setDocument(QStringLiteral("/doc"), document, "application/json");
    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::TruncatedBody);

    // What the server sends: the full length announced, half the bytes, then the end.
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    QSignalSpy disconnected(&socket, &QTcpSocket::disconnected);
    socket.write(getRequest("/doc"));
    QByteArray received;
    QVERIFY(QTest::qWaitFor(
        [&] {
            received += socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState;
        },
        kReplyTimeoutMs));
    received += socket.readAll();
    const int headEnd = received.indexOf("\r\n\r\n");
    QVERIFY(headEnd > 0);
    QCOMPARE(TestHttpServer::headerValue(received.left(headEnd + 2), "Content-Length"), QByteArray("10000"));
    QCOMPARE(received.mid(headEnd + 4), document.left(5000));

    // What the library's client makes of it.
    QNetworkAccessManager& manager = *m_manager;
    const FetchResult result = fetch(manager, server.baseUrl() + "/doc");
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::RemoteHostClosedError);
    QCOMPARE(result.status, 200);
    QCOMPARE(result.body, document.left(5000));
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 1 + 1); // part of an answer came: no resend
}

void TestServersTest::notPngAnswers200WithABodyNoImageDecoderAccepts()
{
    TestHttpServer& server = *m_server;
    const QByteArray png = pngBytes(Qt::blue, 8);
    QVERIFY(!QImage::fromData(png).isNull()); // the document itself decodes
    server.setDocument(QStringLiteral("/tile.png"), png, "image/png");
    server.setFault(QStringLiteral("/tile.png"), TestHttpServer::Fault::NotPng);
    QNetworkAccessManager& manager = *m_manager;

    const FetchResult result = fetch(manager, server.baseUrl() + "/tile.png");
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::NoError);
    QCOMPARE(result.status, 200);
    QCOMPARE(result.contentType, QByteArray("image/png"));
    QVERIFY(!result.body.isEmpty());
    QVERIFY(result.body != png);
    QVERIFY(QImage::fromData(result.body).isNull());
    QVERIFY(QImage::fromData(result.body, "PNG").isNull());
}

void TestServersTest::redirectPointsBelowMoved()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "the document");
    server.setDocument(QStringLiteral("/moved/doc"), "moved document");
    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::Redirect);

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    socket.write(getRequest("/doc"));
    const QList<RawResponse> responses = readResponses(socket, 1);
    QCOMPARE(responses.size(), 1);
    QCOMPARE(responses.at(0).status, 301);
    QCOMPARE(TestHttpServer::headerValue(responses.at(0).head, "Location"), QByteArray("/moved/doc"));

    // Qt follows it when asked to, and the target is served as usual.
    QNetworkAccessManager& manager = *m_manager;
    QNetworkRequest request(QUrl(server.baseUrl() + "/doc"));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    std::unique_ptr<QNetworkReply> reply(manager.get(request));
    waitForFinished(*reply);
    QCOMPARE(resultOf(*reply).body, QByteArray("moved document"));
    QCOMPARE(server.requestCount(QStringLiteral("/moved/doc")), 1);
}

void TestServersTest::clearedFaultServesTheDocumentAgain()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");
    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::ServerError);
    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").status, 500);

    server.setFault(QStringLiteral("/doc"), TestHttpServer::Fault::None);
    const FetchResult result = fetch(manager, server.baseUrl() + "/doc");
    QCOMPARE(result.status, 200);
    QCOMPARE(result.body, QByteArray("doc"));
}

void TestServersTest::holdKeepsRequestUnansweredUntilReleased()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/held"), "held document");
    server.setDocument(QStringLiteral("/free"), "free document");
    server.setFault(QStringLiteral("/held"), TestHttpServer::Fault::Hold);
    QNetworkAccessManager& manager = *m_manager;

    std::unique_ptr<QNetworkReply> held(manager.get(QNetworkRequest(QUrl(server.baseUrl() + "/held"))));
    QTRY_COMPARE(server.heldCount(QStringLiteral("/held")), 1);
    QCOMPARE(server.heldCount(), 1);
    QCOMPARE(server.heldCount(QStringLiteral("/free")), 0);

    // The server goes on answering other requests meanwhile.
    const FetchResult free = fetch(manager, server.baseUrl() + "/free");
    QCOMPARE(free.body, QByteArray("free document"));
    QVERIFY(!QTest::qWaitFor([&] { return held->isFinished(); }, 300));
    QCOMPARE(held->bytesAvailable(), 0);

    QSignalSpy finished(held.get(), &QNetworkReply::finished);
    server.releaseHeld(QStringLiteral("/held"));
    QCOMPARE(server.heldCount(), 0); // released before releaseHeld() returned
    QVERIFY(finished.wait(kReplyTimeoutMs));
    const FetchResult result = resultOf(*held);
    QCOMPARE(result.error, QNetworkReply::NoError);
    QCOMPARE(result.status, 200);
    QCOMPARE(result.body, QByteArray("held document"));

    // The fault stays: the next request is held again.
    std::unique_ptr<QNetworkReply> again(manager.get(QNetworkRequest(QUrl(server.baseUrl() + "/held"))));
    QTRY_COMPARE(server.heldCount(QStringLiteral("/held")), 1);
    QCOMPARE(server.requestCount(QStringLiteral("/held")), 2);
    server.releaseHeld(QStringLiteral("/held"));
    waitForFinished(*again);
    QCOMPARE(resultOf(*again).body, QByteArray("held document"));
}

void TestServersTest::releaseAllHeldAnswersEveryPath()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/one"), "one");
    server.setFault(QStringLiteral("/one"), TestHttpServer::Fault::Hold);
    server.setFault(QStringLiteral("/two"), TestHttpServer::Fault::Hold); // no document: 404 once released
    QNetworkAccessManager& manager = *m_manager;

    std::vector<std::unique_ptr<QNetworkReply>> replies;
    for (const char* path : {"/one", "/one", "/two"})
        replies.emplace_back(manager.get(QNetworkRequest(QUrl(server.baseUrl() + path))));
    QTRY_COMPARE(server.heldCount(), 3);
    QCOMPARE(server.heldCount(QStringLiteral("/one")), 2);
    QCOMPARE(server.heldCount(QStringLiteral("/two")), 1);

    server.releaseHeld(QStringLiteral("/nothing-held"));
    QCOMPARE(server.heldCount(), 3);

    server.releaseAllHeld();
    QCOMPARE(server.heldCount(), 0);
    for (const auto& reply : replies)
        waitForFinished(*reply);
    QCOMPARE(resultOf(*replies.at(0)).body, QByteArray("one"));
    QCOMPARE(resultOf(*replies.at(1)).body, QByteArray("one"));
    const FetchResult two = resultOf(*replies.at(2));
    QCOMPARE(two.error, QNetworkReply::ContentNotFoundError);
    QCOMPARE(two.status, 404);
}

void TestServersTest::heldRequestAbandonedByItsClientIsNoLongerHeld()
{
    TestHttpServer& server = *m_server;
    server.setFault(QStringLiteral("/held"), TestHttpServer::Fault::Hold);
    QNetworkAccessManager& manager = *m_manager;

    std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(QUrl(server.baseUrl() + "/held"))));
    QTRY_COMPARE(server.heldCount(QStringLiteral("/held")), 1);
    QCOMPARE(server.openConnectionCount(), 1);
    reply->abort();
    QTRY_COMPARE(server.heldCount(QStringLiteral("/held")), 0);
    QTRY_COMPARE(server.openConnectionCount(), 0);
    QCOMPARE(server.requestCount(QStringLiteral("/held")), 1);
}

void TestServersTest::delayedAnswerArrivesAfterTheDelayWithoutBlockingOtherPaths()
{
    constexpr int delayMs = 1000;
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/slow"), "slow");
    server.setDocument(QStringLiteral("/fast"), "fast");
    server.setDelay(QStringLiteral("/slow"), delayMs);
    QNetworkAccessManager& manager = *m_manager;

    QElapsedTimer clock;
    clock.start();
    std::unique_ptr<QNetworkReply> slow(manager.get(QNetworkRequest(QUrl(server.baseUrl() + "/slow"))));
    QTRY_COMPARE(server.requestCount(QStringLiteral("/slow")), 1);
    std::unique_ptr<QNetworkReply> fast(manager.get(QNetworkRequest(QUrl(server.baseUrl() + "/fast"))));
    waitForFinished(*fast);
    QVERIFY(fast->isFinished());
    QVERIFY2(!slow->isFinished(), "the delayed reply must still be outstanding");
    QVERIFY(clock.elapsed() < delayMs);
    QCOMPARE(resultOf(*fast).body, QByteArray("fast"));

    waitForFinished(*slow);
    QVERIFY(slow->isFinished());
    QVERIFY2(clock.elapsed() >= delayMs, QByteArray::number(clock.elapsed()).constData());
    const FetchResult result = resultOf(*slow);
    QCOMPARE(result.status, 200);
    QCOMPARE(result.body, QByteArray("slow"));

    // Removing the delay answers at once again.
    server.setDelay(QStringLiteral("/slow"), 0);
    clock.restart();
    QCOMPARE(fetch(manager, server.baseUrl() + "/slow").body, QByteArray("slow"));
    QVERIFY(clock.elapsed() < delayMs);
}

void TestServersTest::delayAlsoAppliesToFaults()
{
    constexpr int delayMs = 500;
    TestHttpServer& server = *m_server;
    server.setFault(QStringLiteral("/broken"), TestHttpServer::Fault::ServerError);
    server.setDelay(QStringLiteral("/broken"), delayMs);
    QNetworkAccessManager& manager = *m_manager;

    QElapsedTimer clock;
    clock.start();
    const FetchResult result = fetch(manager, server.baseUrl() + "/broken");
    QVERIFY(clock.elapsed() >= delayMs);
    QCOMPARE(result.error, QNetworkReply::InternalServerError);
    QCOMPARE(result.status, 500);
}

void TestServersTest::doubleSlashPathIsRecordedAndMatchedAsSent()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/source/tiles/1.png"), "single");
    server.setDocument(QStringLiteral("/source//tiles/1.png"), "double");
    QNetworkAccessManager& manager = *m_manager;

    // A base URL with a trailing slash joined with a path that starts with one.
    const QString base = server.baseUrl() + QStringLiteral("/source/");
    QCOMPARE(fetch(manager, base + "/tiles/1.png").body, QByteArray("double"));
    QCOMPARE(fetch(manager, server.baseUrl() + "/source/tiles/1.png").body, QByteArray("single"));
    QCOMPARE(server.requestLog(), QStringList({"/source//tiles/1.png", "/source/tiles/1.png"}));

    server.removeDocument(QStringLiteral("/source//tiles/1.png"));
    QCOMPARE(fetch(manager, base + "/tiles/1.png").status, 404);

    // Qt sends a leading "//" as "/"; the server itself keeps it.
    server.setDocument(QStringLiteral("//leading"), "leading");
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    socket.write(getRequest("//leading") + getRequest("/leading"));
    const QList<RawResponse> responses = readResponses(socket, 2);
    QCOMPARE(responses.size(), 2);
    QCOMPARE(responses.at(0).body, QByteArray("leading"));
    QCOMPARE(responses.at(1).status, 404);
    QCOMPARE(server.requestCount(QStringLiteral("//leading")), 1);
    QCOMPARE(server.requestCount(QStringLiteral("/leading")), 1);
}

void TestServersTest::percentEncodedPathIsNotDecoded()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/a%20b"), "encoded");
    QNetworkAccessManager& manager = *m_manager;

    QCOMPARE(fetch(manager, server.baseUrl() + "/a%20b").body, QByteArray("encoded"));
    QCOMPARE(fetch(manager, server.baseUrl() + "/a%20b?x=1").status, 404); // the query is part of the path
    QCOMPARE(server.requestLog(), QStringList({"/a%20b", "/a%20b?x=1"}));
}

void TestServersTest::threeHundredConcurrentRequestsOverSeveralManagersAreAllAnswered()
{
    constexpr int managerCount = 3;
    constexpr int requestsPerManager = 100;
    constexpr int pathCount = 30;
    TestHttpServer& server = *m_server;
    const auto pathOf = [](int i) { return QStringLiteral("/doc/%1").arg(i % pathCount); };
    const auto bodyOf = [](int i) { return QByteArray("document ") + QByteArray::number(i % pathCount); };
    for (int i = 0; i < pathCount; ++i)
        server.setDocument(pathOf(i), bodyOf(i));

    std::vector<std::unique_ptr<QNetworkAccessManager>> managers;
    std::vector<std::unique_ptr<QNetworkReply>> replies;
    for (int m = 0; m < managerCount; ++m) {
        managers.push_back(std::make_unique<QNetworkAccessManager>());
        useNoProxy(*managers.back());
    }
    int finished = 0;
    for (int i = 0; i < managerCount * requestsPerManager; ++i) {
        QNetworkAccessManager& manager = *managers.at(size_t(i % managerCount));
        replies.emplace_back(manager.get(QNetworkRequest(QUrl(server.baseUrl() + pathOf(i)))));
        connect(replies.back().get(), &QNetworkReply::finished, this, [&finished] { ++finished; });
    }
    QTRY_COMPARE_WITH_TIMEOUT(finished, managerCount * requestsPerManager, 60000);

    for (int i = 0; i < int(replies.size()); ++i) {
        const FetchResult result = resultOf(*replies.at(size_t(i)));
        QCOMPARE(result.error, QNetworkReply::NoError);
        QCOMPARE(result.status, 200);
        QCOMPARE(result.body, bodyOf(i));
    }
    QCOMPARE(server.totalRequestCount(), managerCount * requestsPerManager);
    for (int i = 0; i < pathCount; ++i)
        QCOMPARE(server.requestCount(pathOf(i)), managerCount * requestsPerManager / pathCount);
    // Each manager opened several connections of its own, and kept them.
    QVERIFY(server.openConnectionCount() > managerCount);
    QVERIFY(server.openConnectionCount() <= managerCount * 6);
}

void TestServersTest::answersWhileTheMainThreadIsBlocked()
{
    constexpr int requestCount = 20;
    TestHttpServer& server = *m_server;
    for (int i = 0; i < requestCount; ++i)
        server.setDocument(QStringLiteral("/doc/%1").arg(i), QByteArray::number(i * i));
    server.setDelay(QStringLiteral("/doc/0"), 200); // answered while the main thread waits for sure
    const QString baseUrl = server.baseUrl();

    QList<QByteArray> bodies;
    bool allFinished = false;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        QNetworkAccessManager manager;
        useNoProxy(manager);
        QEventLoop loop;
        QTimer::singleShot(20000, &loop, &QEventLoop::quit); // gives up rather than hangs
        std::vector<std::unique_ptr<QNetworkReply>> replies;
        int remaining = requestCount;
        for (int i = 0; i < requestCount; ++i) {
            replies.emplace_back(manager.get(QNetworkRequest(QUrl(baseUrl + QStringLiteral("/doc/%1").arg(i)))));
            connect(replies.back().get(), &QNetworkReply::finished, &loop, [&] {
                if (--remaining == 0)
                    loop.quit();
            });
        }
        loop.exec();
        allFinished = remaining == 0;
        for (const auto& reply : replies)
            bodies.append(reply->readAll());
    }));
    worker->start();
    // Blocks the main thread, as a destructor waiting for the library's worker threads would.
    QVERIFY(worker->wait(30000));

    QVERIFY(allFinished);
    QCOMPARE(bodies.size(), requestCount);
    for (int i = 0; i < requestCount; ++i)
        QCOMPARE(bodies.at(i), QByteArray::number(i * i));
    QCOMPARE(server.totalRequestCount(), requestCount);
}

void TestServersTest::keepAliveReusesOneConnection()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");
    QNetworkAccessManager& manager = *m_manager;

    for (int i = 0; i < 5; ++i)
        QCOMPARE(fetch(manager, server.baseUrl() + "/doc").body, QByteArray("doc"));
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 5);
    QCOMPARE(server.openConnectionCount(), 1);
    QVERIFY(TestHttpServer::headerValue(server.requestHeaders(QStringLiteral("/doc")).at(4), "Connection").toLower()
            != "close");
}

void TestServersTest::http10RequestWithoutKeepAliveIsAnsweredAndClosed()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    QSignalSpy disconnected(&socket, &QTcpSocket::disconnected);
    socket.write("GET /doc HTTP/1.0\r\n\r\n");
    const QList<RawResponse> responses = readResponses(socket, 1);
    QCOMPARE(responses.size(), 1);
    QCOMPARE(responses.at(0).status, 200);
    QCOMPARE(responses.at(0).body, QByteArray("doc"));
    QCOMPARE(TestHttpServer::headerValue(responses.at(0).head, "Connection"), QByteArray("close"));
    QVERIFY(disconnected.count() == 1 || disconnected.wait(kReplyTimeoutMs));
    QTRY_COMPARE(server.openConnectionCount(), 0);
}

void TestServersTest::pipelinedRequestsAreAnsweredInOrder()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/p1"), "first");
    server.setDocument(QStringLiteral("/p2"), "second");
    server.setDocument(QStringLiteral("/p3"), "third");
    // The first answer is ready last; the order must still be the order of the requests.
    server.setDelay(QStringLiteral("/p1"), 300);

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    socket.write(getRequest("/p1") + getRequest("/p2") + getRequest("/missing") + getRequest("/p3"));
    const QList<RawResponse> responses = readResponses(socket, 4);
    QCOMPARE(responses.size(), 4);
    QCOMPARE(responses.at(0).body, QByteArray("first"));
    QCOMPARE(responses.at(1).body, QByteArray("second"));
    QCOMPARE(responses.at(2).status, 404);
    QCOMPARE(responses.at(3).body, QByteArray("third"));
    QCOMPARE(server.requestLog(), QStringList({"/p1", "/p2", "/missing", "/p3"}));
    QCOMPARE(socket.state(), QAbstractSocket::ConnectedState);
    QCOMPARE(server.openConnectionCount(), 1);
}

void TestServersTest::requestSplitAcrossPacketsIsAnsweredOnceComplete()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/split"), "whole");

    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, server.port());
    QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    const QByteArray request = getRequest("/split", "X-Padding: 0123456789\r\n");
    const QList<int> cuts = {2, 9, 20, request.size() - 3, request.size() - 1};
    int sent = 0;
    for (const int cut : cuts) {
        socket.write(request.mid(sent, cut - sent));
        QVERIFY(socket.waitForBytesWritten(kReplyTimeoutMs));
        sent = cut;
        // No answer to an incomplete request (and time for the piece to travel alone).
        QVERIFY(!socket.waitForReadyRead(50));
        QCOMPARE(server.totalRequestCount(), 0);
    }
    socket.write(request.mid(sent));
    const QList<RawResponse> responses = readResponses(socket, 1);
    QCOMPARE(responses.size(), 1);
    QCOMPARE(responses.at(0).status, 200);
    QCOMPARE(responses.at(0).body, QByteArray("whole"));
    QCOMPARE(server.requestLog(), QStringList({"/split"}));
    QCOMPARE(server.requestHeaders(QStringLiteral("/split")).at(0), request.left(request.size() - 2));
}

void TestServersTest::otherMethodsAnswer405()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");
    QNetworkAccessManager& manager = *m_manager;

    QNetworkRequest request(QUrl(server.baseUrl() + "/doc"));
    request.setHeader(QNetworkRequest::ContentTypeHeader, "text/plain");
    std::unique_ptr<QNetworkReply> reply(manager.post(request, QByteArray("a request body")));
    waitForFinished(*reply);
    QVERIFY(reply->isFinished());
    QCOMPARE(reply->error(), QNetworkReply::ContentOperationNotPermittedError);
    QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 405);
    QCOMPARE(reply->rawHeader("Allow"), QByteArray("GET, HEAD"));
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 1);

    // The body was skipped: the same connection goes on with the next request.
    QCOMPARE(fetch(manager, server.baseUrl() + "/doc").body, QByteArray("doc"));
    QCOMPARE(server.requestLog(), QStringList({"/doc", "/doc"}));
    QCOMPARE(server.openConnectionCount(), 1);
}

void TestServersTest::garbageAnswers400AndCloses()
{
    TestHttpServer& server = *m_server;
    server.setDocument(QStringLiteral("/doc"), "doc");

    for (const QByteArray& garbage :
         {QByteArray("THIS IS NOT HTTP\r\n\r\n"), QByteArray("GET /doc SPDY/3\r\n\r\n"),
          QByteArray("GET /doc HTTP/1.1\r\nno colon here\r\n\r\n"), QByteArray("\x01\x02\xff\xfe\r\n\r\n", 8)}) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, server.port());
        QVERIFY(socket.waitForConnected(kReplyTimeoutMs));
        QSignalSpy disconnected(&socket, &QTcpSocket::disconnected);
        socket.write(garbage + getRequest("/doc")); // nothing after garbage is answered
        const QList<RawResponse> responses = readResponses(socket, 2, 2000);
        QCOMPARE(responses.size(), 1);
        QCOMPARE(responses.at(0).status, 400);
        QVERIFY(disconnected.count() == 1 || disconnected.wait(kReplyTimeoutMs));
    }
    QCOMPARE(server.requestCount(QStringLiteral("/doc")), 0);
    QTRY_COMPARE(server.openConnectionCount(), 0);
}

void TestServersTest::clientsLeavingInTheMiddleOfAnswersDoNotDisturbTheServer()
{
    constexpr int leavingClients = 5;
    TestHttpServer& server = *m_server;
    // Far more than the socket buffers hold, so the clients leave with most of it unsent.
    const QByteArray big(8 * 1024 * 1024, 'b');
    server.setDocument(QStringLiteral("/big"), big);
    server.setDocument(QStringLiteral("/small"), "small");

    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    for (int i = 0; i < leavingClients; ++i) {
        sockets.push_back(std::make_unique<QTcpSocket>());
        sockets.back()->connectToHost(QHostAddress::LocalHost, server.port());
        QVERIFY(sockets.back()->waitForConnected(kReplyTimeoutMs));
        sockets.back()->write(getRequest("/big"));
    }
    for (const auto& socket : sockets) {
        QVERIFY(socket->waitForReadyRead(kReplyTimeoutMs));
        QVERIFY(socket->readAll().startsWith("HTTP/1.1 200 OK\r\n"));
        socket->abort();
    }
    QTRY_COMPARE(server.openConnectionCount(), 0);

    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, server.baseUrl() + "/small").body, QByteArray("small"));
    const FetchResult result = fetch(manager, server.baseUrl() + "/big");
    QCOMPARE(result.body.size(), big.size());
    QCOMPARE(server.requestCount(QStringLiteral("/big")), leavingClients + 1);
}

void TestServersTest::destroyingTheServerClosesItsConnections()
{
    auto server = std::make_unique<TestHttpServer>();
    QVERIFY(server->start());
    const quint16 port = server->port();
    server->setDocument(QStringLiteral("/doc"), "doc");
    server->setFault(QStringLiteral("/held"), TestHttpServer::Fault::Hold);

    QTcpSocket idle;
    idle.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(idle.waitForConnected(kReplyTimeoutMs));
    idle.write(getRequest("/doc"));
    QCOMPARE(readResponses(idle, 1).size(), 1); // now an idle keep-alive connection
    QTcpSocket waiting;
    waiting.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(waiting.waitForConnected(kReplyTimeoutMs));
    waiting.write(getRequest("/held"));
    QTRY_COMPARE(server->heldCount(), 1);
    QCOMPARE(server->openConnectionCount(), 2);

    QSignalSpy idleClosed(&idle, &QTcpSocket::disconnected);
    QSignalSpy waitingClosed(&waiting, &QTcpSocket::disconnected);
    server.reset();
    QTRY_COMPARE(idleClosed.count(), 1);
    QTRY_COMPARE(waitingClosed.count(), 1);
    QVERIFY(waiting.readAll().isEmpty());

    QTcpSocket late;
    late.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(!late.waitForConnected(kReplyTimeoutMs));
    QCOMPARE(late.error(), QAbstractSocket::ConnectionRefusedError);
}

void TestServersTest::nginxServesFilesWrittenToItsRoot()
{
    if (!NginxServer::isAvailable())
        QSKIP("nginx is not installed");
    QTemporaryDir root;
    QVERIFY(root.isValid());
    NginxServer nginx(root.path());
    QString error;
    QVERIFY2(nginx.start(&error), qPrintable(error));
    QVERIFY(nginx.isRunning());
    QVERIFY(nginx.port() != 0);
    QCOMPARE(nginx.baseUrl(), QStringLiteral("http://127.0.0.1:%1").arg(nginx.port()));

    // Written after the start: nginx reads the files when asked.
    const QByteArray png = pngBytes(Qt::green, 8);
    const QByteArray json = R"({"levels": 4})";
    const QByteArray binary("\x00\x01\x02\x03", 4);
    QVERIFY(writeFile(root.filePath("tiles/2/1/3.png"), png));
    QVERIFY(writeFile(root.filePath("tilesystem.json"), json));
    QVERIFY(writeFile(root.filePath("raw.bin"), binary));

    QNetworkAccessManager& manager = *m_manager;
    const FetchResult tile = fetch(manager, nginx.baseUrl() + "/tiles/2/1/3.png");
    QCOMPARE(tile.error, QNetworkReply::NoError);
    QCOMPARE(tile.status, 200);
    QCOMPARE(tile.contentType, QByteArray("image/png"));
    QVERIFY(tile.body == png);
    const QImage image = QImage::fromData(tile.body, "PNG");
    QCOMPARE(image.size(), QSize(8, 8));
    QCOMPARE(image.pixelColor(3, 3), QColor(Qt::green));

    const FetchResult document = fetch(manager, nginx.baseUrl() + "/tilesystem.json");
    QCOMPARE(document.status, 200);
    QCOMPARE(document.contentType, QByteArray("application/json"));
    QCOMPARE(document.body, json);

    const FetchResult raw = fetch(manager, nginx.baseUrl() + "/raw.bin");
    QCOMPARE(raw.status, 200);
    QCOMPARE(raw.contentType, QByteArray("application/octet-stream"));
    QCOMPARE(raw.body, binary);

    // A changed file is served changed.
    QVERIFY(writeFile(root.filePath("tilesystem.json"), "{}"));
    QCOMPARE(fetch(manager, nginx.baseUrl() + "/tilesystem.json").body, QByteArray("{}"));
}

void TestServersTest::nginxCountsRequestsFromItsAccessLog()
{
    if (!NginxServer::isAvailable())
        QSKIP("nginx is not installed");
    QTemporaryDir root;
    QVERIFY(root.isValid());
    QVERIFY(writeFile(root.filePath("a.json"), "{}"));
    QVERIFY(writeFile(root.filePath("b.png"), pngBytes(Qt::red, 2)));
    QVERIFY(writeFile(root.filePath("sub/c.json"), "[]"));
    NginxServer nginx(root.path());
    QString error;
    QVERIFY2(nginx.start(&error), qPrintable(error));
    QVERIFY(nginx.accessLog().isEmpty()); // the start-up probe is not logged

    QNetworkAccessManager& manager = *m_manager;
    const QStringList uris = {"/a.json", "/b.png", "/a.json", "/missing", "/sub//c.json", "/a.json?v=2"};
    for (const QString& uri : uris)
        QVERIFY(fetch(manager, nginx.baseUrl() + uri).finished);
    QCOMPARE(fetch(manager, nginx.baseUrl() + "/sub//c.json").body, QByteArray("[]")); // nginx merges the slashes

    QTRY_COMPARE(nginx.accessLog(), uris + QStringList({"/sub//c.json"}));
    QCOMPARE(nginx.requestCount(QStringLiteral("/a.json")), 2);
    QCOMPARE(nginx.requestCount(QStringLiteral("/b.png")), 1);
    QCOMPARE(nginx.requestCount(QStringLiteral("/missing")), 1);
    QCOMPARE(nginx.requestCount(QStringLiteral("/sub//c.json")), 2); // logged as sent
    QCOMPARE(nginx.requestCount(QStringLiteral("/sub/c.json")), 0);
    QCOMPARE(nginx.requestCount(QStringLiteral("/a.json?v=2")), 1);
    QCOMPARE(nginx.requestCount(QStringLiteral("/never")), 0);
}

void TestServersTest::nginxAnswers404ForAMissingFile()
{
    if (!NginxServer::isAvailable())
        QSKIP("nginx is not installed");
    QTemporaryDir root;
    QVERIFY(root.isValid());
    NginxServer nginx(root.path());
    QString error;
    QVERIFY2(nginx.start(&error), qPrintable(error));

    QNetworkAccessManager& manager = *m_manager;
    const FetchResult result = fetch(manager, nginx.baseUrl() + "/tiles/0/0/0.png");
    QVERIFY(result.finished);
    QCOMPARE(result.error, QNetworkReply::ContentNotFoundError);
    QCOMPARE(result.status, 404);
    QTRY_COMPARE(nginx.requestCount(QStringLiteral("/tiles/0/0/0.png")), 1);
}

void TestServersTest::twoNginxInstancesRunAtOnce()
{
    if (!NginxServer::isAvailable())
        QSKIP("nginx is not installed");
    QTemporaryDir firstRoot;
    QTemporaryDir secondRoot;
    QVERIFY(firstRoot.isValid() && secondRoot.isValid());
    QVERIFY(writeFile(firstRoot.filePath("which.json"), "\"first\""));
    QVERIFY(writeFile(secondRoot.filePath("which.json"), "\"second\""));
    NginxServer first(firstRoot.path());
    NginxServer second(secondRoot.path());
    QString error;
    QVERIFY2(first.start(&error), qPrintable(error));
    QVERIFY2(second.start(&error), qPrintable(error));
    QVERIFY(first.port() != second.port());
    QVERIFY(first.processId() != second.processId());

    QNetworkAccessManager& manager = *m_manager;
    QCOMPARE(fetch(manager, first.baseUrl() + "/which.json").body, QByteArray("\"first\""));
    QCOMPARE(fetch(manager, second.baseUrl() + "/which.json").body, QByteArray("\"second\""));
    QCOMPARE(fetch(manager, second.baseUrl() + "/which.json").body, QByteArray("\"second\""));
    QTRY_COMPARE(first.requestCount(QStringLiteral("/which.json")), 1);
    QTRY_COMPARE(second.requestCount(QStringLiteral("/which.json")), 2);
}

void TestServersTest::nginxStopsWhenDestroyed()
{
    if (!NginxServer::isAvailable())
        QSKIP("nginx is not installed");
    QTemporaryDir root;
    QVERIFY(root.isValid());
    auto nginx = std::make_unique<NginxServer>(root.path());
    QString error;
    QVERIFY2(nginx->start(&error), qPrintable(error));
    const quint16 port = nginx->port();
    const qint64 pid = nginx->processId();
    QVERIFY(pid > 0);

    nginx.reset();
#ifdef Q_OS_UNIX
    QCOMPARE(::kill(pid_t(pid), 0), -1); // gone and reaped
    QCOMPARE(errno, ESRCH);
#endif
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(!socket.waitForConnected(kReplyTimeoutMs));
    QCOMPARE(socket.error(), QAbstractSocket::ConnectionRefusedError);
}

QTEST_GUILESS_MAIN(TestServersTest)

#include "tst_testservers.moc"
