// Handles given out to programs: numbers that are never used twice, so that a stale one is refused
// instead of followed; and an object lives on while another thread is still inside a call on it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace tonelink::host {

template <class Handle, class Object> class handle_table {
public:
    Handle add(std::shared_ptr<Object> object)
    {
        const std::lock_guard lock{mutex_};
        // NOLINTNEXTLINE(performance-no-int-to-ptr): nobody follows it.
        const auto handle = reinterpret_cast<Handle>(last_ + 1);
        objects_.emplace(handle, std::move(object));
        ++last_;
        return handle;
    }

    /// The object, or null.
    std::shared_ptr<Object> find(Handle handle) const
    {
        const std::lock_guard lock{mutex_};
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second;
    }

    /// Takes the object out: true for one caller alone.
    bool remove(Handle handle)
    {
        const std::lock_guard lock{mutex_};
        return objects_.erase(handle) == 1;
    }

    /// Whether somebody holds the object beside the table.
    bool is_in_use(Handle handle) const
    {
        const std::lock_guard lock{mutex_};
        const auto found = objects_.find(handle);
        return found != objects_.end() && found->second.use_count() > 1;
    }

private:
    mutable std::mutex mutex_;
    std::uintptr_t last_ = 0;
    std::unordered_map<Handle, std::shared_ptr<Object>> objects_;
};

} // namespace tonelink::host
