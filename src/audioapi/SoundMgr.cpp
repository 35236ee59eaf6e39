// The service: starts and stops the process's one transmission, and has the volumes looked after
// while it runs.
#include "audioapi/SoundMgr.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "audioapi/volume_policy.h"
#include "common/format_msg.h"
#include "common/guards.h"
#include "common/log.h"
#include "common/playing.h"
#include "common/tonelink_tx.h"

tonelink_tx_h *tx_handler = nullptr;
pthread_mutex_t audio_start_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace tonelink {

namespace {

constexpr int32_t kStarted = 1;
constexpr int32_t kNothingDone = 0;
constexpr int32_t kRefused = -1;
constexpr int32_t kStopped = 1;

/// The player of a family of calls.
struct engine {
    int32_t (*start)(tonelink_tx_h *);
    int32_t (*stop)(tonelink_tx_h *);
    int32_t (*close)(tonelink_tx_h **);
    void (*log_success)(const char *caller); // of a start
};

void log_start(const char *caller) { TONELINK_LOG_AS(caller, "\n StartTransmitting Success \n\n"); }

void log_async_start(const char *caller)
{
    TONELINK_LOG_AS(caller, "\n StartTransmitting Async Success \n\n");
}

constexpr engine kWriterThread = {tonelink_tx_start, tonelink_tx_stop, tonelink_tx_close,
                                  log_start};
constexpr engine kStreamCallback = {tonelink_tx_start_async, tonelink_tx_stop_async,
                                    tonelink_tx_close_async, log_async_start};

const engine *current_engine = &kWriterThread; // that plays `tx_handler`

std::atomic_ref<tonelink_tx_h *> handler() { return std::atomic_ref{tx_handler}; }

int32_t bits_of_packet(int32_t packet_type) { return packet_type == 1 ? 32 : 48; }

/// Closes the handle, releases its record and forgets it.
void discard_handle(int32_t (*close)(tonelink_tx_h **))
{
    tonelink_tx_h *handle = handler();
    close(&handle);
    std::free(handle);
    handler() = nullptr;
}

/// Loads the handle with a pairing message, or else with the prepared one. False without a
/// Bluetooth address.
bool load_message(tonelink_tx_h *handle, bool is_pairing, int32_t nbits, const char *caller)
{
    const auto count = static_cast<uint32_t>(nbits);
    if (!is_pairing) {
        tonelink_tx_put_bin(handle, pin_array, count);
        return true;
    }
    const unique_handle<char, std::free> address{Get_TV_BD_Addr()};
    if (!address) {
        TONELINK_LOG_AS(caller, "Failed to get BD Address");
        return false;
    }
    message_row row{};
    format_msg(row.data(), Get_Random_PIN(), address.get(), nbits);
    tonelink_tx_put_bin(handle, row.data(), count);
    return true;
}

/// The first checks of a start: logs what is wrong.
bool is_refused(int32_t packet_type, const char *caller)
{
    if (packet_type != 1 && packet_type != 2) {
        TONELINK_LOG_AS(caller, "Unsupported packet type");
        return true;
    }
    if (get_tv_volume() == 0) {
        TONELINK_LOG_AS(caller, "No Ultra Sound as Tv volume is 0");
        return true;
    }
    return false;
}

/// Composes the message into a new handle, unless there is one. kStarted: it can be played.
int32_t prepare_message(int32_t packet_type, const char *caller)
{
    if (handler() != nullptr) {
        TONELINK_LOG_AS(caller, "Transmission is already started");
        return kNothingDone;
    }
    if (generate_message(bits_of_packet(packet_type)) != 0) {
        TONELINK_LOG_AS(caller, "Failed to Generate Message ");
        return kRefused;
    }
    return kStarted;
}

/// Plays the message that has been prepared.
int32_t play_message(const engine &player, const char *caller)
{
    save_volume(caller);
    get_set_tv_volume();
    if (player.start(handler()) != tx_result::success) {
        TONELINK_LOG_AS(caller, "\n StartTransmitting Fail \n\n");
        discard_handle(tonelink_tx_close);
        return kNothingDone;
    }
    current_engine = &player;
    player.log_success(caller);
    if (!listen_to_master_volume())
        TONELINK_LOG_AS(caller, "sound_manager_set_master_volume_changed_cb failed");
    return kStarted;
}

/// Stops the engine that plays, removes the listener and releases the handle, whatever fails.
int32_t end_playing(const char *caller)
{
    const int32_t result = current_engine->stop(handler());
    const bool stopped = result == tx_result::success;
    if (stopped) {
        stop_listening();
        TONELINK_LOG_AS(caller, "\n StopTransmitting Success \n\n");
    } else {
        mute_listener(); // it stays registered
        TONELINK_LOG_AS(caller, "\n StopTransmitting Fail \n\n");
        // Before the close, which leaves alone what a first callback has begun to play since.
        if (result == tx_result::wrong_state) abandon_playing(*handler());
    }
    discard_handle(current_engine->close);
    return stopped ? kStopped : kNothingDone;
}

/// A stop, whichever family's: they differ in the order in which they put the volumes back.
int32_t stop_transmission(void (*put_back_first)(const char *caller),
                          void (*put_back_last)(const char *caller), const char *caller)
{
    TONELINK_LOG_AS(caller, "ENTER\n");
    int32_t result = kNothingDone;
    if (handler() == nullptr) {
        TONELINK_LOG_AS(caller, "Transmitted not started");
    } else {
        result = end_playing(caller);
        put_back_first(caller);
        put_back_last(caller);
        forget_volumes();
    }
    TONELINK_LOG_AS(caller, "EXIT\n");
    return result;
}

} // namespace

} // namespace tonelink

using namespace tonelink;

int32_t generate_message(int32_t nbits)
{
    const bool is_pairing = m_pin_Type == kRandomPin;
    if (is_pairing) Generate_Random_PIN();
    if (handler() != nullptr) return 2;

    auto *handle = static_cast<tonelink_tx_h *>(std::malloc(sizeof(tonelink_tx_h)));
    handler() = handle;
    if (handle == nullptr) {
        TONELINK_LOG("Failed to allocate memory");
        return kRefused;
    }
    if (tonelink_tx_open(&handle) != tx_result::success) {
        TONELINK_LOG("Failed to open Tone Link");
        discard_handle(tonelink_tx_close);
        return kRefused;
    }
    if (!load_message(handle, is_pairing, nbits, __func__)) {
        discard_handle(tonelink_tx_close);
        return kRefused;
    }
    if (tonelink_tx_generate(handle, nbits) != tx_result::success) {
        TONELINK_LOG("\n GenerateMessage Fail \n\n");
        discard_handle(tonelink_tx_close);
        return kRefused;
    }
    TONELINK_LOG("\n GenerateMessage Success \n\n");
    return 0;
}

int32_t start_audio_transmitting_type(int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    if (is_refused(packet_type, __func__)) return kRefused;
    int32_t result = prepare_message(packet_type, __func__);
    if (result == kStarted) result = play_message(kWriterThread, __func__);
    TONELINK_LOG("EXIT\n");
    return result;
}

int32_t start_audio_transmitting(void)
{
    TONELINK_LOG("ENTER\n");
    m_pin_Type = kRandomPin;
    return start_audio_transmitting_type(1);
}

int32_t start_audio_transmitting_async_type(int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    int32_t result = kRefused;
    if (!is_refused(packet_type, __func__)) {
        {
            const pthread_lock lock{audio_start_mutex};
            result = prepare_message(packet_type, __func__);
        }
        if (result == kStarted) result = play_message(kStreamCallback, __func__);
    }
    TONELINK_LOG("EXIT\n");
    return result;
}

int32_t start_audio_transmitting_async(void)
{
    m_pin_Type = kRandomPin;
    return start_audio_transmitting_async_type(1);
}

int32_t start_audiodata_transmission(const uint8_t *data, int32_t length, int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    m_pin_Type = kPreparedPin;
    std::ranges::fill(pin_array, uint8_t{0});
    format_msgm(pin_array, data, length, packet_type);
    TONELINK_LOG("EXIT\n");
    return start_audio_transmitting_async_type(packet_type);
}

int32_t stop_audio_transmitting(void)
{
    return stop_transmission(remove_floor, restore_volume, __func__);
}

int32_t stop_audio_transmitting_async(void)
{
    return stop_transmission(restore_volume, remove_floor, __func__);
}

int32_t set_tx_sample_rate(int32_t rate)
{
    if (handler() != nullptr) {
        TONELINK_LOG("Transmission has already started");
        return 0;
    }
    TONELINK_LOG("Setting sample rate to [%d]", rate);
    tx_sampleRate = rate;
    return 1;
}
