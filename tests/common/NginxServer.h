// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// A real nginx on 127.0.0.1 serving a directory of static files, for integration tests.
//
// Use: link the CMake target `mivo_test_servers`, which puts tests/common on the include
// path, and write `#include <NginxServer.h>`. Skip the test when isAvailable() is false.
//
// nginx runs as a single foreground process, a child of the test, with its configuration,
// logs, pid file and every temporary path in a private temporary directory; nothing under
// /etc, /var or /run is read or written. Running as a single process also means there is no
// switch to an unprivileged user when the test runs as root, so the served tree only has to
// be readable by the test itself.
//
// Served: the files under the root directory as they are when requested (no file cache),
// with Content-Type image/png for .png, application/json for .json and
// application/octet-stream otherwise, keep-alive connections, 404 for missing files.
//
// Call every method from the thread that created the object; that thread must outlive nginx
// (the child is killed when that thread ends). The log readers only read files, so they may
// also be called from other threads while no start() runs.

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>

class NginxServer
{
public:
    /// `rootDirectory` is served as "/"; it need not exist yet, but must not contain the
    /// characters `"`, `\` or `$`, which nginx's configuration syntax would interpret.
    explicit NginxServer(const QString& rootDirectory);
    /// Stops nginx if it runs: see stop().
    ~NginxServer();

    /// The nginx executable: /usr/sbin/nginx, or nginx found in PATH; empty when there is none.
    static QString executable();
    /// True when executable() found one.
    static bool isAvailable();

    /// Starts nginx on a free port of 127.0.0.1 and returns once it answers there (at most
    /// about 10 s). On failure returns false and, if `error` is given, sets it to a message
    /// with nginx's error log. Returns true at once when already running.
    bool start(QString* error = nullptr);
    /// Stops nginx (SIGTERM, then SIGKILL if it has not exited within 5 s) and waits for it.
    /// The logs stay readable until the object is destroyed or started again.
    void stop();
    bool isRunning() const;
    /// The process id of the running nginx, 0 when it does not run.
    qint64 processId() const;

    /// 0 before a successful start().
    quint16 port() const;
    /// "http://127.0.0.1:<port>", without a trailing slash.
    QString baseUrl() const;

    /// Requests whose raw request URI (path and query, exactly as sent) equals `uri`, read
    /// from nginx's access log. nginx writes the line right after sending the answer, so a
    /// client can see the answer a moment before the count changes: wait with QTRY_COMPARE.
    int requestCount(const QString& uri) const;
    /// The raw request URIs of all requests since start(), in the order nginx finished them
    /// (an empty string for a request line nginx could not parse).
    QStringList accessLog() const;
    /// The contents of nginx's error log, for diagnostics.
    QString errorLog() const;

private:
    Q_DISABLE_COPY(NginxServer)
    class Private;
    std::unique_ptr<Private> const d;
};
