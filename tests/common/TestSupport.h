// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Helpers shared by the QtTest suites (the interface target mivo_test_support, linked
// into every suite by mivo_add_test): the one bare wait, a barrier into another
// thread's event loop, and a thread-safe recorder of log messages.

#include <QMetaObject>
#include <QObject>
#include <QRegularExpression>
#include <QStringList>
#include <QTest>
#include <QThread>

#include <cstdio>
#include <cstring>
#include <mutex>

namespace testsupport {

/**
 * The only bare wait the suites use, and only to check that nothing (more) happens:
 * that no signal fires, no request is sent, no repaint comes. What is awaited would
 * arrive within milliseconds (loopback answers, queued calls, timers of a few ms), so
 * @p ms leaves it ample time. Everything that does happen is awaited with QTRY_* or
 * QSignalSpy::wait() instead.
 */
inline void letNothingHappen(int ms = 300)
{
    QTest::qWait(ms);
}

/**
 * Returns once @p object's thread has run every call queued to @p object before this
 * one: a blocking queued call into that thread, used as a barrier. @p object must live
 * in another thread that runs an event loop. It is not touched, only named as the
 * receiver of an empty call.
 */
inline bool drainQueuedCalls(const QObject& object)
{
    Q_ASSERT(object.thread() != QThread::currentThread() && "a barrier into the own thread would deadlock");
    return QMetaObject::invokeMethod(
        const_cast<QObject*>(&object), [] {}, Qt::BlockingQueuedConnection);
}

/**
 * Records the messages of the logging categories whose names start with a prefix, from
 * any thread, while it lives; other messages go on to the handler it replaced.
 *
 * Use it instead of QTest::ignoreMessage() for messages logged on worker threads: Qt 5's
 * test logger keeps its list of expected messages without a lock, so two threads
 * logging at once corrupt it. While a recorder lives, every message (also one passed
 * on) goes through one lock, so the test logger never sees two at once either. Only
 * one recorder may live at a time.
 */
class MessageRecorder
{
public:
    explicit MessageRecorder(const char* categoryPrefix)
        : m_prefix(categoryPrefix)
    {
        const std::lock_guard<std::mutex> lock(mutex());
        Q_ASSERT(!s_active && "one message recorder at a time");
        s_active = this;
        m_previous = qInstallMessageHandler(&MessageRecorder::handle);
    }

    ~MessageRecorder()
    {
        // A worker may be logging right now: it holds the lock for the whole message,
        // so the recorder goes only after that message, and later ones find none.
        const std::lock_guard<std::mutex> lock(mutex());
        qInstallMessageHandler(m_previous);
        s_active = nullptr;
    }

    MessageRecorder(const MessageRecorder&) = delete;
    MessageRecorder& operator=(const MessageRecorder&) = delete;

    /** The recorded messages that match @p pattern, in the order they were logged. */
    QStringList matching(const QRegularExpression& pattern) const
    {
        QStringList found;
        const QStringList all = messages();
        for (const QString& message : all) {
            if (pattern.match(message).hasMatch()) {
                found.append(message);
            }
        }
        return found;
    }

    /** Every recorded message. */
    QStringList messages() const
    {
        const std::lock_guard<std::mutex> lock(mutex());
        return m_messages;
    }

private:
    // A pthread lock rather than a QMutex: ThreadSanitizer sees what it orders. Not
    // recursive: Qt sends a message logged inside a handler straight to stderr.
    static std::mutex& mutex()
    {
        static std::mutex instance;
        return instance;
    }

    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        const std::lock_guard<std::mutex> lock(mutex());
        MessageRecorder* const recorder = s_active;
        if (!recorder) {
            // The recorder went between Qt's look at the handler and this call.
            std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
            return;
        }
        if (context.category
            && std::strncmp(context.category, recorder->m_prefix, std::strlen(recorder->m_prefix)) == 0) {
            recorder->m_messages.append(message);
            return;
        }
        recorder->m_previous(type, context, message);
    }

    static inline MessageRecorder* s_active = nullptr;

    const char* m_prefix;
    QtMessageHandler m_previous = nullptr;
    QStringList m_messages;
};

} // namespace testsupport
