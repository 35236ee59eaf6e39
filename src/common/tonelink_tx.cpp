// The transmitter handle: one modem, the burst that it makes of one message, and the two players
// that write this burst to the audio output: a writer thread and the output's stream callback.
#include "common/tonelink_tx.h"

#include <algorithm>
#include <atomic>
#include <span>
#include <unistd.h>

#include "common/AudioOutput.h"
#include "common/guards.h"
#include "common/log.h"
#include "common/playing.h"
#include "common/repeated_burst.h"
#include "common/transmit_volume.h"
#include "modem/output_filter.h"
#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/sound_manager.h"

int32_t tx_sampleRate = 44100;
pthread_mutex_t audio_stop_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace tonelink {

namespace {

pthread_mutex_t filter_mutex = PTHREAD_MUTEX_INITIALIZER; // of the output filter's histories

constexpr useconds_t kPauseAfterWrite = 100000; // 100 ms
constexpr int32_t kCopiesPerWrite = 5;
constexpr uint32_t kBytesPerWrite =
    kCopiesPerWrite * sizeof(int16_t); // for each sample of the burst

/// Empty: the handle has none.
std::span<int16_t> burst_of(const tonelink_tx_h &handle)
{
    if (handle.burst == nullptr || handle.burst_length == nullptr) return {};
    return {handle.burst, static_cast<std::size_t>(std::max(*handle.burst_length, int32_t{0}))};
}

bool has_burst(const tonelink_tx_h &handle) { return !burst_of(handle).empty(); }

samples_ptr make_copies(std::span<const int16_t> burst)
{
    return repeat_burst(burst, kCopiesPerWrite * static_cast<int64_t>(burst.size()));
}

/// Writes what `copies` holds of a burst of `length` samples, or of a shorter one that it has
/// become.
void write_copies(tonelink_tx_h &handle, const samples_ptr &copies, std::size_t length)
{
    const std::size_t count = std::min(burst_of(handle).size(), length);
    if (count == 0) return;
    audio_out_write(handle.audio_out, copies.get(), kBytesPerWrite * static_cast<uint32_t>(count));
}

/// Whether there is a writer thread to be joined: the library's own, or that of a handle which a
/// caller has filled by hand.
bool has_thread(tonelink_tx_h &handle)
{
    return playing_state{handle}.has_handle() != player::joined &&
           !pthread_equal(handle.thread, pthread_t{});
}

bool open_output(tonelink_tx_h &handle)
{
    destroy_left_outputs(); // of earlier starts
    return make_way(handle) && audio_create(handle.sample_rate, &handle.audio_out) == 0;
}

/// The body of the writer thread.
void *tx_function(void *argument)
{
    auto &handle = *static_cast<tonelink_tx_h *>(argument);
    const auto burst = burst_of(handle);
    if (burst.empty()) return nullptr;
    const samples_ptr copies = make_copies(burst);
    if (!copies) return nullptr;

    transmit_volumes volumes = read_transmit_volumes(0, __func__);
    set_transmit_volume(product_volume, volumes, __func__);
    TONELINK_LOG("BLEAPP USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] Thread Writing\n\n",
                 volumes.set, volumes.maximum);
    while (keep_writing(handle) != 0) {
        write_copies(handle, copies, burst.size());
        usleep(kPauseAfterWrite);
    }
    sound_manager_set_volume(kUsedSoundType, volumes.prior);
    TONELINK_LOG("BLEAPP USED_SOUND_TYPE revert vol[%d] and audio_out_write complete \n\n",
                 volumes.prior);
    return nullptr;
}

/// Closes the modem of a handle that nothing plays; not while an output may call back.
int32_t close_handle(tonelink_tx_h &handle)
{
    playing_state{handle}.replace_player(player::armed, player::halted);
    if (is_taken(handle)) return tx_result::wrong_state;
    if (!make_way(handle) && is_alive(handle.audio_out)) return tx_result::wrong_state;
    if (handle.modem != nullptr) close_snfc(&handle.modem);
    handle.burst = nullptr;
    handle.burst_length = nullptr;
    return tx_result::success;
}

} // namespace

} // namespace tonelink

using namespace tonelink;

int32_t tonelink_tx_open(tonelink_tx_h **handle)
{
    const int32_t rate = std::atomic_ref{tx_sampleRate};
    TONELINK_LOG("Creating handler with sample rate : [%d] \n", rate);
    if (handle == nullptr) return tx_result::bad_argument;
    if (*handle == nullptr) return tx_result::null_handle;
    tonelink_tx_h &opened = **handle;
    opened.modem = nullptr;
    opened.burst = nullptr;
    opened.burst_length = nullptr;
    std::ranges::fill(opened.message, uint8_t{0});
    opened.keep_writing = 0;
    opened.is_running = 0;
    opened.sample_rate = rate;
    playing_state{opened}.clear();

    return open_snfc(&opened.modem) == 1 ? tx_result::success : tx_result::no_modem;
}

int32_t tonelink_tx_put_bin(tonelink_tx_h *handle, const uint8_t *bits, uint32_t count)
{
    if (handle == nullptr) return tx_result::no_handle;
    if (bits == nullptr || count > sizeof handle->message) return tx_result::bad_argument;
    std::copy_n(bits, count, handle->message);
    return tx_result::success;
}

int32_t tonelink_tx_generate(tonelink_tx_h *handle, int32_t nbits)
{
    if (handle == nullptr) return tx_result::null_handle;
    if (is_taken(*handle)) return tx_result::wrong_state;
    if (nbits != 32 && nbits != 48) return tx_result::no_burst_made;
    // A failure leaves no burst or, on a handle that a caller has filled by hand, the one there is.
    get_burst_snfc(&handle->modem, handle->message, nbits, &handle->burst, &handle->burst_length);
    if (!has_burst(*handle)) return tx_result::no_burst_made;

    TONELINK_LOG("Buffer length is 1 %d\n", *handle->burst_length);
    {
        const pthread_lock lock{filter_mutex};
        filter_output(burst_of(*handle));
    }
    TONELINK_LOG("high-pass filter success\n");
    return tx_result::success;
}

int32_t tonelink_tx_set_samplerate(tonelink_tx_h *handle, uint32_t rate)
{
    if (handle == nullptr) return tx_result::no_handle;
    if (rate == 0) return tx_result::bad_argument;
    handle->sample_rate = static_cast<int32_t>(rate);
    return tx_result::success;
}

int32_t tonelink_tx_close(tonelink_tx_h **handle)
{
    if (handle == nullptr) return tx_result::bad_argument;
    if (*handle == nullptr) return tx_result::no_handle;
    if (running(**handle) == 1) tonelink_tx_stop(*handle);
    return close_handle(**handle);
}

int32_t tonelink_tx_start(tonelink_tx_h *handle)
{
    TONELINK_LOG("ENTER\n");
    if (handle == nullptr) return tx_result::null_handle;
    if (is_taken(*handle)) return tx_result::wrong_state;
    if (!has_burst(*handle)) return tx_result::no_burst;
    if (!open_output(*handle)) return tx_result::output_failed;
    if (audio_out_prepare(handle->audio_out) != 0) {
        close_output(*handle);
        return tx_result::output_failed;
    }
    const playing_state state{*handle};
    state.set_stage(output_stage::prepared);
    keep_writing(*handle) = 1;
    if (pthread_create(&handle->thread, nullptr, tx_function, handle) != 0) {
        keep_writing(*handle) = 0;
        unprepare_output(*handle);
        close_output(*handle);
        return tx_result::thread_failed;
    }
    state.set_player(player::writer_thread);
    running(*handle) = 1;
    TONELINK_LOG("EXIT\n");
    return tx_result::success;
}

int32_t tonelink_tx_stop(tonelink_tx_h *handle)
{
    TONELINK_LOG("ENTER\n");
    if (handle == nullptr) return tx_result::null_handle;
    const playing_state state{*handle};
    if (running(*handle) != 1 || state.has_handle() == player::stream)
        return tx_result::wrong_state;
    keep_writing(*handle) = 0;
    {
        const pthread_lock lock{audio_stop_mutex};
        if (has_thread(*handle)) pthread_join(handle->thread, nullptr);
        state.set_player(player::joined);
        running(*handle) = 0;
        if (!unprepare_output(*handle) || !close_output(*handle)) return tx_result::output_failed;
    }
    TONELINK_LOG("EXIT\n");
    return tx_result::success;
}

int32_t tonelink_tx_start_async(tonelink_tx_h *handle)
{
    TONELINK_LOG("ENTER\n");
    TONELINK_LOG("ASYNC AUDIO START\n");
    if (handle == nullptr) return tx_result::null_handle;
    if (is_taken(*handle)) return tx_result::wrong_state;
    if (!has_burst(*handle)) return tx_result::no_burst;
    TONELINK_LOG("Buffer length is 2  %d\n", *handle->burst_length);
    if (!open_output(*handle)) return tx_result::output_failed;
    // Before the first callback, which may come at once.
    const playing_state state{*handle};
    state.set_stage(output_stage::called_back);
    state.set_player(player::armed);
    if (audio_out_set_stream_cb(handle->audio_out, _audio_io_stream_write_async_cb, handle) != 0 ||
        audio_out_prepare(handle->audio_out) != 0) {
        disarm(*handle);
        return tx_result::output_failed;
    }
    keep_writing(*handle) = 0;
    TONELINK_LOG("EXIT\n");
    return tx_result::success;
}

int32_t tonelink_tx_stop_async(tonelink_tx_h *handle)
{
    TONELINK_LOG("ENTER\n");
    if (handle == nullptr) return tx_result::null_handle;
    const playing_state state{*handle};
    if (running(*handle) != 1 || state.has_handle() == player::writer_thread)
        return tx_result::wrong_state;
    keep_writing(*handle) = 0;
    state.set_player(player::halted);
    running(*handle) = 0;
    std::atomic_ref{b_audio_write_} = 0;
    {
        const pthread_lock lock{audio_stop_mutex};
        const bool removed = remove_callback(*handle);
        std::atomic_ref{b_audio_write_} = 0; // which a callback under way may have set again
        if (!removed) return tx_result::output_failed;
        TONELINK_LOG("ASYNC audio_out_unset_stream_cb and audio_out_unprepare\n");
        if (!unprepare_output(*handle)) return tx_result::output_failed;
        TONELINK_LOG("ASYNC audio_out_unprepare called\n");
        if (!close_output(*handle)) return tx_result::output_failed;
        state.set_player(player::none);
    }
    TONELINK_LOG("ASYNC audio_out_destroy called\n");
    const int32_t volume = std::atomic_ref{vol_aud_write};
    sound_manager_set_volume(kUsedSoundType, volume);
    TONELINK_LOG("Resetting USED_SOUND_TYPE to %d\n", volume);
    TONELINK_LOG("EXIT\n");
    return tx_result::success;
}

int32_t tonelink_tx_close_async(tonelink_tx_h **handle)
{
    if (handle == nullptr) return tx_result::bad_argument;
    if (*handle == nullptr) return tx_result::no_handle;
    return close_handle(**handle);
}

void _audio_io_stream_write_async_cb(audio_out_h, size_t, void *user_data)
{
    TONELINK_LOG("_audio_io_stream_write_async_cb Entry\n");
    if (user_data == nullptr) return;
    auto &handle = *static_cast<tonelink_tx_h *>(user_data);
    const callback_turn turn = begin_callback(handle);
    if (turn == callback_turn::refused) return;
    const auto burst = burst_of(handle);
    if (burst.empty()) return;
    TONELINK_LOG("Buffer length is 3 %d\n", static_cast<int32_t>(burst.size()));
    const samples_ptr copies = make_copies(burst);
    if (!copies) return;

    const std::atomic_ref saved_volume{vol_aud_write};
    if (takes_volume(handle, turn)) {
        transmit_volumes volumes = read_transmit_volumes(saved_volume, __func__);
        saved_volume = volumes.prior;
        set_transmit_volume(ordinary_product_volume, volumes, __func__);
        TONELINK_LOG("BLEAPP USED_SOUND_TYPE get_volume[%d] get_max_volume[%d] Async Writing\n\n",
                     volumes.set, volumes.maximum);
    }
    write_copies(handle, copies, burst.size());
    TONELINK_LOG("BLEAPP USED_SOUND_TYPE audio_out_write complete vol is %d\n\n",
                 saved_volume.load());
    TONELINK_LOG("_audio_io_stream_write_async_cb Exit\n");
}
