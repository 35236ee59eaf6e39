#include "common/playing.h"

#include <algorithm>
#include <utility>

#include "common/AudioOutput.h"
#include "common/transmit_volume.h"
#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/sound_manager.h"

int32_t b_audio_write_ = 0;
int32_t vol_aud_write = 0;

namespace tonelink {

namespace {

using word = playing_state::word;

/// What the word says. Three bits more than it needs are fixed, so that hardly any is one by
/// accident.
struct content {
    player who = player::none;
    output_stage stage = output_stage::closed;

    static constexpr unsigned kMark = 0b101u << 5;

    word as_word() const
    {
        const unsigned byte =
            kMark | static_cast<unsigned>(stage) << 3 | static_cast<unsigned>(who);
        return static_cast<word>((byte | (~byte & 0xFFu) << 8) * 0x10001u);
    }
};

content content_of(word now)
{
    const content said{static_cast<player>(now & 7u), static_cast<output_stage>(now >> 3 & 3u)};
    return said.as_word() == now && said.who <= player::halted ? said : content{};
}

/// Replaces the content by what `change` makes of it, and returns what it was before.
template <class Change> content update(const std::atomic_ref<word> &state, Change change)
{
    word now = state;
    while (!state.compare_exchange_weak(now, change(content_of(now)).as_word())) {
    }
    return content_of(now);
}

} // namespace

player playing_state::has_handle() const { return content_of(word_).who; }

output_stage playing_state::stage() const { return content_of(word_).stage; }

void playing_state::clear() const { word_ = content{}.as_word(); }

player playing_state::exchange_player(player next) const
{
    return update(word_, [next](content now) { return content{next, now.stage}; }).who;
}

player playing_state::replace_player(player expected, player next) const
{
    return update(word_,
                  [=](content now) {
                      return now.who == expected ? content{next, now.stage} : now;
                  })
        .who;
}

void playing_state::set_stage(output_stage next) const
{
    update(word_, [next](content now) { return content{now.who, next}; });
}

bool is_taken(tonelink_tx_h &handle)
{
    const player now = playing_state{handle}.has_handle();
    return running(handle) != 0 || now == player::armed || now == player::stream;
}

callback_turn begin_callback(tonelink_tx_h &handle)
{
    const playing_state state{handle};
    const player before = state.replace_player(player::armed, player::stream);
    if (before == player::halted) return callback_turn::refused;
    running(handle) = 1;
    if (state.has_handle() == player::halted) {
        running(handle) = 0; // a stop has cleared it in between, for good
        return callback_turn::refused;
    }
    return before == player::armed ? callback_turn::first : callback_turn::later;
}

bool takes_volume(tonelink_tx_h &handle, callback_turn turn)
{
    const std::atomic_ref has_volume{b_audio_write_};
    if (has_volume.exchange(1) != 0) return false;
    if (turn == callback_turn::first || playing_state{handle}.has_handle() != player::halted)
        return true;
    has_volume = 0;
    return false;
}

namespace {

/// Notes how a step down from `from` to `to` went. A callback that is still set stays noted
/// whatever happens below it, until its output is gone.
bool stepped_down(tonelink_tx_h &handle, output_stage from, output_stage to, int32_t result)
{
    const playing_state state{handle};
    const output_stage now = state.stage();
    const bool leads_down = result == 0 && (now <= from || to == output_stage::closed);
    state.set_stage(leads_down ? to : std::max(now, from));
    return result == 0;
}

} // namespace

bool remove_callback(tonelink_tx_h &handle)
{
    const int32_t result = audio_out_unset_stream_cb(handle.audio_out);
    return stepped_down(handle, output_stage::called_back, output_stage::prepared, result);
}

bool unprepare_output(tonelink_tx_h &handle)
{
    const int32_t result = audio_out_unprepare(handle.audio_out);
    return stepped_down(handle, output_stage::prepared, output_stage::created, result);
}

bool close_output(tonelink_tx_h &handle)
{
    const int32_t result = destroy_output(handle.audio_out);
    return stepped_down(handle, output_stage::created, output_stage::closed, result);
}

void disarm(tonelink_tx_h &handle)
{
    const playing_state state{handle};
    const bool has_played = state.exchange_player(player::halted) == player::stream;
    if (has_played) remove_callback(handle); // which waits until it has ended
    if (close_output(handle)) state.set_player(player::none);
    if (!has_played) return;
    running(handle) = 0;
    if (std::atomic_ref{b_audio_write_}.exchange(0) != 0)
        sound_manager_set_volume(kUsedSoundType, std::atomic_ref{vol_aud_write});
}

void abandon_playing(tonelink_tx_h &handle)
{
    const playing_state state{handle};
    const player before = state.exchange_player(player::halted);
    const output_stage stage = state.stage();
    if (stage >= output_stage::called_back) remove_callback(handle);
    if (before == player::stream) std::atomic_ref{b_audio_write_} = 0;
    if (stage >= output_stage::prepared) unprepare_output(handle);
    if (stage >= output_stage::created) close_output(handle);
    running(handle) = 0;
    if (state.stage() != output_stage::closed) return;
    state.set_player(before == player::joined ? player::joined : player::none);
}

bool make_way(tonelink_tx_h &handle)
{
    abandon_playing(handle);
    const playing_state state{handle};
    if (state.stage() == output_stage::called_back) return false;
    if (state.stage() == output_stage::closed) return true;
    leave_output(handle.audio_out);
    state.clear();
    return true;
}

} // namespace tonelink
