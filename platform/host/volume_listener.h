// The listener of the master volume: a queue of volumes and a thread of its own that tells them in
// order.
#pragma once

#include <deque>
#include <mutex>

#include "callback_thread.h"
#include "tonelink_platform/sound_manager.h"

namespace tonelink::host {

class volume_listener {
public:
    int set(sound_manager_master_volume_changed_cb callback, void *user_data);
    int unset();

    /// Has the listener, if there is one, told of a new volume; does not wait for it.
    void notify(unsigned int volume);

private:
    callback_thread::duration notify_next();

    // Held by set() and unset(), also while they wait for the thread.
    std::mutex registration_mutex_;
    std::mutex mutex_; // guards what follows
    sound_manager_master_volume_changed_cb callback_ = nullptr;
    void *user_data_ = nullptr;
    std::deque<unsigned int> pending_;
    callback_thread thread_{"tonelink-volume", [this] { return notify_next(); }};
};

} // namespace tonelink::host
