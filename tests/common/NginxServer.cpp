// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NginxServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QUuid>

#ifdef Q_OS_LINUX
#include <signal.h>
#include <sys/prctl.h>
#endif

namespace {

constexpr int kStartAttempts = 5;
constexpr int kStartTimeoutMs = 10000;
constexpr int kProcessTimeoutMs = 5000; // for nginx to start running, and to stop
const QString kReadyPath = QStringLiteral("/.mivo-nginx-ready");

class NginxProcess final : public QProcess
{
protected:
    void setupChildProcess() override
    {
#ifdef Q_OS_LINUX
        // A test that crashes or is killed by a time-out must not leave nginx holding a port.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#endif
    }
};

quint16 freeLoopbackPort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

bool isSafeForConfig(const QString& path)
{
    for (const QChar c : path) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\') || c == QLatin1Char('$') || c.unicode() < 0x20)
            return false;
    }
    return true;
}

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QByteArray readFile(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool bindFailed(const QString& errorLogFile)
{
    return readFile(errorLogFile).contains("bind() to 127.0.0.1:");
}

} // namespace

class NginxServer::Private
{
public:
    QString rootDirectory;
    std::unique_ptr<QTemporaryDir> prefix;
    std::unique_ptr<NginxProcess> process;
    quint16 port = 0;
    QString readyToken;

    QString prefixFile(const QString& name) const { return prefix->filePath(name); }

    QString configuration() const
    {
        const auto path = [this](const QString& name) { return quoted(prefixFile(name)); };
        QString text;
        text += QStringLiteral("daemon off;\nmaster_process off;\nworker_processes 1;\n");
        text += QStringLiteral("pid %1;\n").arg(path(QStringLiteral("nginx.pid")));
        text += QStringLiteral("lock_file %1;\n").arg(path(QStringLiteral("nginx.lock")));
        text += QStringLiteral("error_log %1 notice;\n").arg(path(QStringLiteral("error.log")));
        text += QStringLiteral("events { worker_connections 1024; }\n");
        text += QStringLiteral("http {\n");
        text += QStringLiteral("    client_body_temp_path %1;\n").arg(path(QStringLiteral("client_body_temp")));
        text += QStringLiteral("    proxy_temp_path %1;\n").arg(path(QStringLiteral("proxy_temp")));
        text += QStringLiteral("    fastcgi_temp_path %1;\n").arg(path(QStringLiteral("fastcgi_temp")));
        text += QStringLiteral("    uwsgi_temp_path %1;\n").arg(path(QStringLiteral("uwsgi_temp")));
        text += QStringLiteral("    scgi_temp_path %1;\n").arg(path(QStringLiteral("scgi_temp")));
        // One line per request, the raw URI last; unbuffered, so the line is there as soon
        // as the request is done.
        text += QStringLiteral("    log_format mivo escape=none '$status $request_uri';\n");
        text += QStringLiteral("    access_log %1 mivo;\n").arg(path(QStringLiteral("access.log")));
        text += QStringLiteral("    sendfile on;\n    keepalive_timeout 65;\n");
        text += QStringLiteral("    types { image/png png; application/json json; }\n");
        text += QStringLiteral("    default_type application/octet-stream;\n");
        text += QStringLiteral("    server {\n");
        text += QStringLiteral("        listen 127.0.0.1:%1;\n").arg(port);
        text += QStringLiteral("        root %1;\n").arg(quoted(rootDirectory));
        // Answers start()'s readiness probe with this instance's token, so a probe can never
        // mistake another server that took the port for ours; left out of the access log.
        text
            += QStringLiteral("        location = %1 { access_log off; default_type text/plain; return 200 \"%2\"; }\n")
                   .arg(kReadyPath, readyToken);
        text += QStringLiteral("    }\n}\n");
        return text;
    }

    /// True when our nginx answered the probe with our token.
    bool answersProbe() const
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, port);
        if (!socket.waitForConnected(200))
            return false;
        socket.write("GET " + kReadyPath.toLatin1() + " HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n");
        QByteArray answer;
        const QDeadlineTimer deadline(1000);
        while (!deadline.hasExpired() && socket.state() == QAbstractSocket::ConnectedState) {
            socket.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
            answer += socket.readAll();
            if (answer.contains(readyToken.toLatin1()))
                return true;
        }
        answer += socket.readAll();
        return answer.contains(readyToken.toLatin1());
    }

    QString failure(const QString& what) const
    {
        QString message = what;
        const QString log = QString::fromLocal8Bit(readFile(prefixFile(QStringLiteral("error.log"))));
        message += QStringLiteral("\nnginx error log:\n") + (log.isEmpty() ? QStringLiteral("(empty)") : log);
        if (process) {
            const QString output = QString::fromLocal8Bit(process->readAll());
            if (!output.isEmpty())
                message += QStringLiteral("\nnginx output:\n") + output;
        }
        return message;
    }

    void stopProcess()
    {
        if (!process)
            return;
        if (process->state() != QProcess::NotRunning) {
            process->terminate(); // SIGTERM: nginx's fast shutdown
            if (!process->waitForFinished(kProcessTimeoutMs)) {
                process->kill();
                process->waitForFinished(kProcessTimeoutMs);
            }
        }
        process.reset();
    }

    /// The URIs of the access log's lines ("<status> <uri>").
    QStringList accessLogUris() const
    {
        QStringList uris;
        if (!prefix)
            return uris;
        const QByteArray log = readFile(prefixFile(QStringLiteral("access.log")));
        int start = 0;
        // Only complete lines: nginx may be writing the next one right now.
        for (int end = log.indexOf('\n'); end >= 0; start = end + 1, end = log.indexOf('\n', start)) {
            const QByteArray line = log.mid(start, end - start);
            const int space = line.indexOf(' ');
            if (space >= 0)
                uris.append(QString::fromLatin1(line.mid(space + 1)));
        }
        return uris;
    }
};

NginxServer::NginxServer(const QString& rootDirectory)
    : d(std::make_unique<Private>())
{
    d->rootDirectory = QFileInfo(rootDirectory).absoluteFilePath();
}

NginxServer::~NginxServer()
{
    d->stopProcess();
}

QString NginxServer::executable()
{
    const QFileInfo standard(QStringLiteral("/usr/sbin/nginx"));
    if (standard.isFile() && standard.isExecutable())
        return standard.absoluteFilePath();
    const QString inPath = QStandardPaths::findExecutable(QStringLiteral("nginx"));
    if (!inPath.isEmpty())
        return inPath;
    return QStandardPaths::findExecutable(QStringLiteral("nginx"),
                                          {QStringLiteral("/usr/local/sbin"), QStringLiteral("/usr/local/nginx/sbin")});
}

bool NginxServer::isAvailable()
{
    return !executable().isEmpty();
}

bool NginxServer::start(QString* error)
{
    const auto fail = [error](const QString& message) {
        if (error)
            *error = message;
        return false;
    };
    if (isRunning())
        return true;
    const QString program = executable();
    if (program.isEmpty())
        return fail(QStringLiteral("nginx is not installed (looked for /usr/sbin/nginx and nginx in PATH)"));
    if (!isSafeForConfig(d->rootDirectory))
        return fail(
            QStringLiteral("cannot serve %1: nginx's configuration cannot express that path").arg(d->rootDirectory));

    d->process.reset();
    d->prefix = std::make_unique<QTemporaryDir>();
    if (!d->prefix->isValid())
        return fail(QStringLiteral("cannot create a temporary directory for nginx: %1").arg(d->prefix->errorString()));
    if (!isSafeForConfig(d->prefix->path()))
        return fail(QStringLiteral("the temporary directory %1 cannot be used in nginx's configuration")
                        .arg(d->prefix->path()));
    d->readyToken = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString configFile = d->prefixFile(QStringLiteral("nginx.conf"));
    const QString errorLogFile = d->prefixFile(QStringLiteral("error.log"));

    QString lastFailure;
    // Another process may take the port between freeLoopbackPort() and nginx's bind().
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        d->port = freeLoopbackPort();
        if (d->port == 0)
            return fail(QStringLiteral("no free port on 127.0.0.1"));
        QFile::remove(errorLogFile);
        QFile::remove(d->prefixFile(QStringLiteral("access.log")));
        QFile config(configFile);
        if (!config.open(QIODevice::WriteOnly | QIODevice::Truncate) || config.write(d->configuration().toUtf8()) < 0
            || !config.flush())
            return fail(QStringLiteral("cannot write %1: %2").arg(configFile, config.errorString()));
        config.close();

        d->process = std::make_unique<NginxProcess>();
        d->process->setProcessChannelMode(QProcess::MergedChannels);
        d->process->setProgram(program);
        d->process->setArguments({QStringLiteral("-p"), d->prefix->path() + QLatin1Char('/'), QStringLiteral("-c"),
                                  configFile, QStringLiteral("-e"), errorLogFile});
        d->process->start();
        if (!d->process->waitForStarted(kProcessTimeoutMs)) {
            const QString reason = d->process->errorString();
            d->process.reset();
            d->port = 0;
            return fail(QStringLiteral("cannot run %1: %2").arg(program, reason));
        }

        bool portTaken = false;
        const QDeadlineTimer deadline(kStartTimeoutMs);
        while (!deadline.hasExpired()) {
            // Also the poll interval: returns at once if nginx exits.
            if (d->process->waitForFinished(50)) {
                lastFailure = d->failure(QStringLiteral("nginx exited with code %1 while starting on 127.0.0.1:%2")
                                             .arg(d->process->exitCode())
                                             .arg(d->port));
                break;
            }
            if (bindFailed(errorLogFile)) {
                portTaken = true;
                lastFailure = d->failure(QStringLiteral("port %1 was taken").arg(d->port));
                break;
            }
            if (d->answersProbe())
                return true;
        }
        if (!portTaken && lastFailure.isEmpty())
            lastFailure = d->failure(
                QStringLiteral("nginx did not answer on 127.0.0.1:%1 within %2 ms").arg(d->port).arg(kStartTimeoutMs));
        const bool retry = portTaken || bindFailed(errorLogFile);
        d->stopProcess();
        d->port = 0;
        if (!retry)
            return fail(lastFailure);
        lastFailure.clear();
    }
    return fail(QStringLiteral("nginx found no free port in %1 attempts").arg(kStartAttempts));
}

void NginxServer::stop()
{
    d->stopProcess();
}

bool NginxServer::isRunning() const
{
    return d->process && d->process->state() == QProcess::Running;
}

qint64 NginxServer::processId() const
{
    return isRunning() ? d->process->processId() : 0;
}

quint16 NginxServer::port() const
{
    return d->port;
}

QString NginxServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(d->port);
}

int NginxServer::requestCount(const QString& uri) const
{
    return d->accessLogUris().count(uri);
}

QStringList NginxServer::accessLog() const
{
    return d->accessLogUris();
}

QString NginxServer::errorLog() const
{
    return d->prefix ? QString::fromLocal8Bit(readFile(d->prefixFile(QStringLiteral("error.log")))) : QString();
}
