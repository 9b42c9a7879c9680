// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Helpers shared by the QtTest suites (the interface target mivo_test_support, linked
// into every suite by mivo_add_test): the one bare wait, and a barrier into another
// thread's event loop.

#include <QMetaObject>
#include <QObject>
#include <QTest>
#include <QThread>

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

} // namespace testsupport
