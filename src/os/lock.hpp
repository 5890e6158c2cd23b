// A mutex for which the compiler knows what it guards: clang checks that a member marked GUARDED_BY
// is touched, and a function marked REQUIRES called, only with the lock held. To other compilers
// the marks are nothing.
#pragma once

#include "os/clock.hpp"

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define ELVANTRIS_THREAD_MARK(mark) __attribute__((mark))
#else
#define ELVANTRIS_THREAD_MARK(mark)
#endif

#define GUARDED_BY(lock) ELVANTRIS_THREAD_MARK(guarded_by(lock))
#define REQUIRES(...) ELVANTRIS_THREAD_MARK(requires_capability(__VA_ARGS__))
#define ACQUIRES(...) ELVANTRIS_THREAD_MARK(acquire_capability(__VA_ARGS__))
#define RELEASES(...) ELVANTRIS_THREAD_MARK(release_capability(__VA_ARGS__))

namespace elvantris::operator_control {

class ELVANTRIS_THREAD_MARK(capability("mutex")) checked_mutex {
public:
    void lock() ACQUIRES() { mutex_.lock(); }
    void unlock() RELEASES() { mutex_.unlock(); }
    std::mutex& native() { return mutex_; }

private:
    std::mutex mutex_;
};

// Holds a checked mutex for a scope; it may be released and taken again in between.
class ELVANTRIS_THREAD_MARK(scoped_lockable) held_lock {
public:
    explicit held_lock(checked_mutex& mutex) ACQUIRES(mutex) : lock_(mutex.native()) {}
    ~held_lock() RELEASES() = default;
    held_lock(const held_lock&) = delete;
    held_lock& operator=(const held_lock&) = delete;
    held_lock(held_lock&&) = delete;
    held_lock& operator=(held_lock&&) = delete;

    void unlock() RELEASES() { lock_.unlock(); }
    void lock() ACQUIRES() { lock_.lock(); }

    // The lock is free during the wait. A wait may end without cause, so call it in a loop.
    void wait(std::condition_variable& wake_up) { wake_up.wait(lock_); }
    // False once the time has come.
    bool wait_until(std::condition_variable& wake_up, steady_time time) {
        return wake_up.wait_until(lock_, time) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> lock_;
};

} // namespace elvantris::operator_control
