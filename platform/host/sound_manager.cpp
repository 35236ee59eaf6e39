// The sound manager: the volumes of the process, the floor under the ultrasound, and who is told.

#include "sound_manager.h"

#include <algorithm>
#include <array>
#include <mutex>

#include "result.h"
#include "tonelink_platform/host.h"
#include "volume_listener.h"

namespace tonelink::host {

namespace {

constexpr int kHighestMasterVolume = 100;
constexpr int kMasterVolumeAtStart = 20;
constexpr int kLevelAtStart = 8;
constexpr int kNoFloor = -1;
constexpr std::size_t kHeardType = 1;

struct sound_manager {
    // Guards the volumes; held while a change is queued, so that the listener is told in order.
    std::mutex mutex;
    int master_volume = kMasterVolumeAtStart;
    std::array<int, 8> levels; // by sound type
    int floor = kNoFloor;
    volume_listener listener;

    sound_manager() { levels.fill(kLevelAtStart); }
};

// Never destroyed: a thread may use it while the process ends.
sound_manager &manager()
{
    static auto &only = *new sound_manager;
    return only;
}

bool is_sound_type(int type)
{
    return type >= 0 && static_cast<std::size_t>(type) < manager().levels.size();
}

int read_master_volume(int *volume)
{
    return at_boundary([&] {
        if (volume == nullptr) return kInvalidParameter;
        const std::lock_guard lock{manager().mutex};
        *volume = manager().master_volume;
        return kOk;
    });
}

} // namespace

int heard_level() noexcept
{
    auto &sound = manager();
    const std::lock_guard lock{sound.mutex};
    return std::max(sound.levels[kHeardType], sound.floor);
}

} // namespace tonelink::host

using namespace tonelink::host;

int sound_manager_get_volume(int type, int *volume)
{
    return at_boundary([&] {
        if (!is_sound_type(type) || volume == nullptr) return kInvalidParameter;
        const std::lock_guard lock{manager().mutex};
        *volume = manager().levels[static_cast<std::size_t>(type)];
        return kOk;
    });
}

int sound_manager_set_volume(int type, int volume)
{
    return at_boundary([&] {
        if (!is_sound_type(type) || volume < 0 || volume > kHighestLevel) return kInvalidParameter;
        const std::lock_guard lock{manager().mutex};
        manager().levels[static_cast<std::size_t>(type)] = volume;
        return kOk;
    });
}

int sound_manager_get_max_volume(int type, int *volume)
{
    return at_boundary([&] {
        if (!is_sound_type(type) || volume == nullptr) return kInvalidParameter;
        *volume = kHighestLevel;
        return kOk;
    });
}

int sound_manager_get_master_volume(int *volume) { return read_master_volume(volume); }

int sound_manager_set_master_volume(int volume)
{
    return at_boundary([&] {
        if (volume < 0 || volume > kHighestMasterVolume) return kInvalidParameter;
        const std::lock_guard lock{manager().mutex};
        if (manager().master_volume == volume) return kOk;
        manager().listener.notify(static_cast<unsigned int>(volume));
        manager().master_volume = volume;
        return kOk;
    });
}

int sound_manager_get_tv_master_volume(int *volume) { return read_master_volume(volume); }

int sound_manager_set_ultrasound_volume_min(int volume)
{
    return at_boundary([&] {
        if (volume < 0 || volume > kHighestLevel) return kInvalidParameter;
        const std::lock_guard lock{manager().mutex};
        manager().floor = volume;
        return kOk;
    });
}

int sound_manager_unset_ultrasound_volume_min(void)
{
    return at_boundary([&] {
        const std::lock_guard lock{manager().mutex};
        if (manager().floor == kNoFloor) return kInvalidOperation;
        manager().floor = kNoFloor;
        return kOk;
    });
}

int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                               void *user_data)
{
    return at_boundary([&] { return manager().listener.set(callback, user_data); });
}

int sound_manager_unset_master_volume_changed_cb(void)
{
    return at_boundary([&] { return manager().listener.unset(); });
}

int tonelink_host_get_heard_level(void) { return heard_level(); }

int tonelink_host_get_ultrasound_floor(void)
{
    return at_boundary([] {
        const std::lock_guard lock{manager().mutex};
        return manager().floor;
    });
}
