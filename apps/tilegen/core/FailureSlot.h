#pragma once

#include "Error.h"

#include <atomic>
#include <mutex>
#include <optional>

namespace mivo::tilegen {

// The first failure of any of several tasks running at once; later ones are dropped.
class FailureSlot
{
public:
    void capture(const Error& error)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_error)
            m_error = error;
        m_failed = true;
    }
    bool failed() const { return m_failed; }
    // Throws the captured failure, if any.
    void rethrow() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_error)
            throw *m_error;
    }

private:
    mutable std::mutex m_mutex;
    std::optional<Error> m_error;
    std::atomic<bool> m_failed{false};
};

} // namespace mivo::tilegen
