// How the threads of a conversion pass values to each other.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace convert {

/// Passes values from one thread to another, in order, and holds one at a time, so that a fast producer doesn't fill
/// the memory.
template <typename T>
class Channel {
public:
    /// Waits while there is a value. @return false if the channel is closed; the value is then lost.
    bool Put(T value)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_value || m_closed; });
        if (m_closed) {
            return false;
        }
        m_value.emplace(std::move(value));
        m_changed.notify_all();
        return true;
    }

    /// Waits for a value. @return nothing if the channel is closed and the last value has been taken.
    std::optional<T> Take()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_value || m_closed; });
        std::optional<T> value = std::exchange(m_value, std::nullopt);
        m_changed.notify_all();
        return value;
    }

    /// Either side has finished.
    void Close()
    {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::optional<T> m_value;
    bool m_closed = false;
};

/// A thread that does one job. What the job throws is kept for whoever waits for it.
class Worker {
public:
    /// @param job ends by itself once `stop` has been called. @param stop called when the job has ended as well.
    Worker(std::function<void()> job, std::function<void()> stop)
        : m_stop(std::move(stop))
        , m_thread([this, job = std::move(job)] { Run(job); })
    {
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker()
    {
        if (m_thread.joinable()) {
            m_stop();
            m_thread.join();
        }
    }

    /// Waits for the end of the job, and throws what the job threw.
    void Finish()
    {
        m_thread.join();
        if (m_failure) {
            std::rethrow_exception(m_failure);
        }
    }

private:
    void Run(const std::function<void()>& job) noexcept
    {
        try {
            job();
        } catch (...) {
            m_failure = std::current_exception();
        }
        m_stop();
    }

    std::function<void()> m_stop;
    std::exception_ptr m_failure;
    std::thread m_thread; ///< last, since it uses the others
};

} // namespace convert
