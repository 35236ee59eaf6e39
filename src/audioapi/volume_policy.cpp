// The volumes around a transmission: sound type 1 follows the master volume while the burst plays,
// a floor lies under the ultrasound while the master volume is low, and what was changed is put
// back. Failures of the sound manager are logged and never stop a transmission.
#define TONELINK_LOG_FILE "SoundMgr.cpp"
#include "audioapi/volume_policy.h"

#include <atomic>
#include <pthread.h>

#include "common/guards.h"
#include "common/log.h"
#include "common/transmit_volume.h"
#include "tonelink_platform/sound_manager.h"
#include "tonelink_platform/system_info.h"

int32_t noti_reset_volume = 0;
int32_t reset_volume = 0;
uint8_t is_ultra_volume_changed = 0;

namespace tonelink {

namespace {

constexpr int kFloor = 10; // under the ultrasound's volume, for master volumes below it

pthread_mutex_t listener_mutex = PTHREAD_MUTEX_INITIALIZER; // of these:
pthread_cond_t listener_is_idle = PTHREAD_COND_INITIALIZER;
bool listener_muted = false;
int32_t listener_calls = 0; // under way

bool enter_listener()
{
    const pthread_lock lock{listener_mutex};
    if (!listener_muted) ++listener_calls;
    return !listener_muted;
}

void leave_listener()
{
    const pthread_lock lock{listener_mutex};
    if (--listener_calls == 0) pthread_cond_broadcast(&listener_is_idle);
}

std::atomic<uint8_t> wanted_floor = 0; // what `is_ultra_volume_changed` is to become
std::atomic<int32_t> floor_movers = 0; // at most one

bool set_floor(const char *caller)
{
    const int result = sound_manager_set_ultrasound_volume_min(kFloor);
    if (result != 0) {
        TONELINK_LOG_AS(caller, " ###### sound_manager_set_ultrasound_volume_min error %d", result);
        return false;
    }
    TONELINK_LOG_AS(caller, " ###### sound_manager_set_ultrasound_volume_min success %d \n\n",
                    kFloor);
    return true;
}

bool unset_floor(const char *caller)
{
    if (sound_manager_unset_ultrasound_volume_min() != 0) {
        TONELINK_LOG_AS(caller, "sound_manager_unset_ultrasound_volume_min unsuccessuful");
        return false;
    }
    TONELINK_LOG_AS(caller, "sound_manager_unset_ultrasound_volume_min successuful");
    return true;
}

/// Sets or removes the floor unless it is so. Without a lock, as the platform is called: a thread
/// that finds another one at it leaves the wish to that one. What fails is not tried again.
void move_floor(uint8_t wanted, const char *caller)
{
    const std::atomic_ref is_set{is_ultra_volume_changed};
    wanted_floor = wanted;
    bool goes_on = true;
    while (goes_on && is_set != wanted_floor && floor_movers.exchange(1) == 0) {
        const uint8_t next = wanted_floor;
        if (is_set != next) goes_on = next != 0 ? set_floor(caller) : unset_floor(caller);
        if (goes_on) is_set = next;
        floor_movers = 0;
    }
}

/// Sets sound type 1 to what the volume map says for a new master volume.
void follow_master_volume(unsigned int master, const char *caller)
{
    const int current = read_volume(0);
    const int maximum = read_max_volume(0);
    TONELINK_LOG_AS(
        caller, "BLEAPP USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] Master Volume [%d]\n\n",
        current, maximum, static_cast<int>(master));
    const int32_t volume = product_volume(master, maximum);
    if (volume == current) return;
    sound_manager_set_volume(kUsedSoundType, volume);
    TONELINK_LOG_AS(caller, "BLEAPP USED_SOUND_TYPE set vol[%d] \n\n", volume);
}

} // namespace

void remove_floor(const char *caller) { move_floor(0, caller); }

void forget_volumes()
{
    std::atomic_ref{reset_volume} = 0;
    std::atomic_ref{noti_reset_volume} = 0;
}

void save_volume(const char *caller)
{
    forget_volumes();
    const int volume = read_volume(0);
    std::atomic_ref{noti_reset_volume} = volume;
    TONELINK_LOG_AS(caller, "get_set_tv_volume noti_reset_volume %d ", volume);
}

void restore_volume(const char *caller)
{
    const int32_t volume = std::atomic_ref{noti_reset_volume};
    sound_manager_set_volume(kUsedSoundType, volume);
    TONELINK_LOG_AS(caller, "\n Reset USED_SOUND_TYPE volume to %d \n\n", volume);
}

bool listen_to_master_volume()
{
    {
        const pthread_lock lock{listener_mutex};
        listener_muted = false;
    }
    return sound_manager_set_master_volume_changed_cb(_sound_manager_master_volume_changed_cb,
                                                      nullptr) >= 0;
}

void stop_listening()
{
    if (sound_manager_unset_master_volume_changed_cb() != 0) mute_listener();
}

void mute_listener()
{
    const pthread_lock lock{listener_mutex};
    listener_muted = true;
    while (listener_calls != 0) pthread_cond_wait(&listener_is_idle, &listener_mutex);
}

} // namespace tonelink

using namespace tonelink;

int32_t get_tv_volume(void)
{
    int volume = -1;
    if (sound_manager_get_master_volume(&volume) != 0) {
        TONELINK_LOG("[call sound_manager_get_master_volume() failed");
        volume = -1;
    }
    TONELINK_LOG(" TV volume is [%d]", volume);
    return volume;
}

void set_tv_volume(int32_t volume)
{
    const int result = sound_manager_set_master_volume(volume);
    if (result != 0)
        TONELINK_LOG("sound_manager_set_master_volume failed(%d)", result);
    else
        TONELINK_LOG("Set TV volume to [%d]", volume);
}

void get_set_tv_volume(void)
{
    int master = 0;
    if (sound_manager_get_master_volume(&master) != 0) {
        TONELINK_LOG(" ###### get master volume error \n\n");
        return;
    }
    std::atomic_ref{reset_volume} = master;
    if (master >= 1 && master < kFloor)
        move_floor(1, __func__);
    else if (master == 0 || master >= kFloor)
        remove_floor(__func__);
}

int32_t IsAVProduct(void)
{
    TONELINK_LOG("ENTER\n");
    bool is_av = false;
    const bool known = system_info_get_custom_bool(
                           "com.orvane/featureconf/tonelink.set_volume_av_type", &is_av) == 0;
    if (known && is_av) TONELINK_LOG("AV product");
    TONELINK_LOG("EXIT\n");
    return known && is_av ? 1 : 0;
}

void _sound_manager_master_volume_changed_cb(unsigned int volume, void *)
{
    if (!enter_listener()) return;
    follow_master_volume(volume, __func__);
    get_set_tv_volume();
    leave_listener();
}
