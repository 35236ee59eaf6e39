#include "callback_thread.h"

#include <cassert>

#include <pthread.h>

namespace tonelink::host {

namespace {

thread_local const callback_thread *this_thread = nullptr;

} // namespace

callback_thread::callback_thread(const char *name, std::function<duration()> call)
    : name_{name}, call_{std::move(call)}
{
}

callback_thread::~callback_thread() { stop(); }

bool callback_thread::inside() const noexcept { return this_thread == this; }

void callback_thread::start()
{
    assert(!inside());
    std::unique_lock lock{mutex_};
    changed_.wait(lock, [this] { return wanted_ || !running_; }); // one may still be leaving
    if (wanted_) return;
    thread_ = std::thread{[this] { run(); }};
    wanted_ = running_ = true;
    detaches_ = woken_ = false;
}

void callback_thread::stop()
{
    std::unique_lock lock{mutex_};
    wanted_ = false;
    changed_.notify_all();
    if (inside()) {
        detaches_ = true;
        return;
    }
    changed_.wait(lock, [this] { return !running_; });
    if (thread_.joinable()) thread_.join(); // it has nothing more to lock
}

void callback_thread::wake()
{
    const std::lock_guard lock{mutex_};
    woken_ = true;
    changed_.notify_all();
}

void callback_thread::run()
{
    this_thread = this;
    pthread_setname_np(pthread_self(), name_);
    std::unique_lock lock{mutex_};
    const auto due = [this] { return !wanted_ || woken_; };
    duration pause{0};
    while (wanted_) {
        woken_ = false;
        lock.unlock();
        pause = call_();
        lock.lock();
        if (pause == kUntilWoken)
            changed_.wait(lock, due);
        else
            changed_.wait_for(lock, pause, due);
    }
    running_ = false;
    if (detaches_) thread_.detach();
    changed_.notify_all();
}

} // namespace tonelink::host
