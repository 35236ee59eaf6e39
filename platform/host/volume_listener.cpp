#include "volume_listener.h"

#include "result.h"

namespace tonelink::host {

int volume_listener::set(sound_manager_master_volume_changed_cb callback, void *user_data)
{
    if (callback == nullptr) return kInvalidParameter;
    if (thread_.inside()) return kInvalidOperation;
    const std::lock_guard registration_lock{registration_mutex_};
    thread_.stop(); // one that is replaced
    {
        const std::lock_guard lock{mutex_};
        callback_ = callback;
        user_data_ = user_data;
        pending_.clear();
    }
    try {
        thread_.start();
    } catch (...) {
        const std::lock_guard lock{mutex_};
        callback_ = nullptr;
        throw;
    }
    return kOk;
}

int volume_listener::unset()
{
    // The listener must not wait for one who waits for it.
    std::unique_lock registration_lock{registration_mutex_, std::defer_lock};
    if (!thread_.inside()) registration_lock.lock();
    bool was_set = false;
    {
        const std::lock_guard lock{mutex_};
        was_set = callback_ != nullptr;
        callback_ = nullptr;
        pending_.clear();
    }
    thread_.stop();
    return was_set ? kOk : kInvalidOperation;
}

void volume_listener::notify(unsigned int volume)
{
    {
        const std::lock_guard lock{mutex_};
        if (callback_ == nullptr) return;
        pending_.push_back(volume);
    }
    thread_.wake();
}

callback_thread::duration volume_listener::notify_next()
{
    std::unique_lock lock{mutex_};
    if (pending_.empty()) return callback_thread::kUntilWoken;
    const auto volume = pending_.front();
    pending_.pop_front();
    const auto callback = callback_;
    void *const user_data = user_data_;
    lock.unlock();
    callback(volume, user_data);
    return callback_thread::duration::zero();
}

} // namespace tonelink::host
