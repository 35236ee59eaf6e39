// A thread that makes calls into the program, one after another. It can be stopped from anywhere:
// from outside, where stop() returns once no call runs and the thread is gone, and from inside a
// call, which then is the last.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace tonelink::host {

class callback_thread {
public:
    using duration = std::chrono::nanoseconds;

    /// The pause that ends with wake() alone.
    static constexpr duration kUntilWoken = duration::max();

    /// @param name  the thread's name in the system's lists, at most 15 characters
    /// @param call  makes a call and returns the pause before the next
    callback_thread(const char *name, std::function<duration()> call);
    callback_thread(const callback_thread &) = delete;
    callback_thread &operator=(const callback_thread &) = delete;
    ~callback_thread();

    /// Starts the calls, unless they run. Not from inside.
    void start();

    /// Ends the calls.
    void stop();

    /// Ends the pause before the next call.
    void wake();

    /// Whether the caller is inside one of the calls.
    bool inside() const noexcept;

private:
    void run();

    const char *const name_;
    const std::function<duration()> call_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread thread_;
    bool wanted_ = false;  // calls are to be made
    bool running_ = false; // the thread has not left run()
    bool woken_ = false;
    bool detaches_ = false; // stopped from inside: nobody may come to join
};

} // namespace tonelink::host
