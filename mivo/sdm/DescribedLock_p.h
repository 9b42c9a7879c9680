// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMutex>
#include <QReadWriteLock>

#include <type_traits>

#if defined(__SANITIZE_THREAD__)
#define MIVO_DESCRIBE_LOCKS 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define MIVO_DESCRIBE_LOCKS 1
#endif
#endif

#ifdef MIVO_DESCRIBE_LOCKS
#include <sanitizer/tsan_interface.h>
#endif

namespace mivo::sdm {

/**
 * A QMutex or QReadWriteLock that ThreadSanitizer knows about. Qt's locks hand over
 * through atomics and futexes inside an uninstrumented Qt, invisible to ThreadSanitizer;
 * in such builds the lock's life and every lock and unlock through Locker are described
 * to it, so it checks what the lock orders. Elsewhere this is the plain lock.
 */
template <typename Lock> class DescribedLock
{
public:
    DescribedLock()
    {
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_create(&m_lock, __tsan_mutex_not_static);
#endif
    }

    ~DescribedLock()
    {
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_destroy(&m_lock, __tsan_mutex_not_static);
#endif
    }

    Lock& lock()
    {
        return m_lock;
    }

private:
    Q_DISABLE_COPY(DescribedLock)

    Lock m_lock;
};

/// Holds a DescribedLock for a scope: a QMutex always alone, a QReadWriteLock alone
/// when @p Exclusive, shared otherwise.
template <typename Lock, bool Exclusive> class Locker
{
public:
    explicit Locker(DescribedLock<Lock>& lock)
        : m_lock(lock.lock())
    {
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_pre_lock(&m_lock, flags);
#endif
        if constexpr (std::is_same_v<Lock, QMutex>)
            m_lock.lock();
        else if constexpr (Exclusive)
            m_lock.lockForWrite();
        else
            m_lock.lockForRead();
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_post_lock(&m_lock, flags, 0);
#endif
    }

    ~Locker()
    {
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_pre_unlock(&m_lock, flags);
#endif
        m_lock.unlock();
#ifdef MIVO_DESCRIBE_LOCKS
        __tsan_mutex_post_unlock(&m_lock, flags);
#endif
    }

private:
    Q_DISABLE_COPY(Locker)

    static_assert(Exclusive || !std::is_same_v<Lock, QMutex>, "a mutex is never shared");
#ifdef MIVO_DESCRIBE_LOCKS
    static constexpr unsigned flags = Exclusive ? 0u : __tsan_mutex_read_lock;
#endif
    Lock& m_lock;
};

using ReadLocker = Locker<QReadWriteLock, false>;
using WriteLocker = Locker<QReadWriteLock, true>;
using MutexLocker = Locker<QMutex, true>;

} // namespace mivo::sdm
