#include "instant_platform.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/bluetooth.h"
#include "tonelink_platform/log.h"
#include "tonelink_platform/sound_manager.h"
#include "tonelink_platform/system_info.h"

struct audio_out_s {
    audio_out_stream_cb callback = nullptr;
    void *user_data = nullptr;
};

namespace {

using tonelink::bench::clock;

audio_out_s output;
std::atomic<clock::rep> first_write{0};

int give(int *where, int value)
{
    *where = value;
    return 0;
}

} // namespace

namespace tonelink::bench {

void await_first_write() { first_write = 0; }

clock::time_point time_of_first_write()
{
    first_write.wait(0);
    return clock::time_point{clock::duration{first_write}};
}

} // namespace tonelink::bench

int audio_out_create_new(int, int, int, audio_out_h *out)
{
    output = {};
    *out = &output;
    return 0;
}

int audio_out_set_sound_stream_info(audio_out_h, sound_stream_info_h) { return 0; }

int audio_out_prepare(audio_out_h out)
{
    if (out->callback) out->callback(out, 0, out->user_data);
    return 0;
}

int audio_out_unprepare(audio_out_h) { return 0; }
int audio_out_destroy(audio_out_h) { return 0; }

int audio_out_write(audio_out_h, const void *, unsigned int bytes)
{
    clock::rep none = 0;
    if (first_write.compare_exchange_strong(none, clock::now().time_since_epoch().count()))
        first_write.notify_one();
    return static_cast<int>(bytes);
}

int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data)
{
    *out = {callback, user_data};
    return 0;
}

int audio_out_unset_stream_cb(audio_out_h out)
{
    *out = {};
    return 0;
}

int sound_manager_create_stream_information(int, void *, void *, sound_stream_info_h *info)
{
    *info = nullptr;
    return 0;
}

int sound_manager_destroy_stream_information(sound_stream_info_h) { return 0; }
int sound_manager_get_volume(int, int *volume) { return give(volume, 9); }
int sound_manager_set_volume(int, int) { return 0; }
int sound_manager_get_max_volume(int, int *volume) { return give(volume, 15); }
int sound_manager_get_master_volume(int *volume) { return give(volume, 50); }
int sound_manager_set_master_volume(int) { return 0; }
int sound_manager_get_tv_master_volume(int *volume) { return give(volume, 50); }
int sound_manager_set_ultrasound_volume_min(int) { return 0; }
int sound_manager_unset_ultrasound_volume_min(void) { return 0; }

int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb, void *)
{
    return 0;
}

int sound_manager_unset_master_volume_changed_cb(void) { return 0; }

int bt_adapter_get_address(char **address)
{
    *address = strdup("01:23:45:67:89:AB");
    return *address ? 0 : -12;
}

int system_info_get_custom_bool(const char *, bool *) { return -22; }
int __dlog_print(int, int, const char *, const char *, ...) { return 0; }
