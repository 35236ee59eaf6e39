#include "common/playing.h"

#include <algorithm>

#include "common/AudioOutput.h"
#include "common/volume_map.h"
#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/sound_manager.h"

uint8_t b_audio_write_ = 0;
int32_t vol_aud_write = 0;

namespace tonelink {

bool is_taken(tonelink_tx_h &handle)
{
    const int32_t now = player_of(handle);
    return running(handle) != 0 || now == player::armed || now == player::stream;
}

bool begin_callback(tonelink_tx_h &handle)
{
    int32_t now = player::armed;
    if (!player_of(handle).compare_exchange_strong(now, player::stream)) {
        if (now == player::halted) return false;
        if (now == player::stream) return true; // marked already; a stop may be clearing the mark
    }
    running(handle) = 1;
    return true;
}

namespace {

/// Notes how a step down from `stage` went.
bool stepped_down(tonelink_tx_h &handle, int32_t stage, int32_t result)
{
    handle.output_stage = result == 0 ? stage - 1 : std::max(handle.output_stage, stage);
    return result == 0;
}

} // namespace

bool remove_callback(tonelink_tx_h &handle)
{
    const int32_t result = audio_out_unset_stream_cb(handle.audio_out);
    return stepped_down(handle, output_stage::called_back, result);
}

bool unprepare_output(tonelink_tx_h &handle)
{
    return stepped_down(handle, output_stage::prepared, audio_out_unprepare(handle.audio_out));
}

bool close_output(tonelink_tx_h &handle)
{
    return stepped_down(handle, output_stage::created, destroy_output(handle.audio_out));
}

void disarm(tonelink_tx_h &handle)
{
    const bool has_played = player_of(handle).exchange(player::halted) == player::stream;
    if (has_played) remove_callback(handle); // which waits until it has ended
    if (close_output(handle)) player_of(handle) = player::none;
    if (!has_played) return;
    running(handle) = 0;
    if (std::atomic_ref{b_audio_write_}.exchange(0) != 0)
        sound_manager_set_volume(kUsedSoundType, std::atomic_ref{vol_aud_write});
}

void abandon_playing(tonelink_tx_h &handle)
{
    player_of(handle) = player::halted;
    const int32_t stage = handle.output_stage;
    if (stage >= output_stage::called_back) remove_callback(handle);
    if (stage >= output_stage::prepared) unprepare_output(handle);
    if (stage >= output_stage::created) close_output(handle);
    running(handle) = 0;
    if (handle.output_stage == output_stage::closed) player_of(handle) = player::none;
}

} // namespace tonelink
