// The service: starts and stops the process's one transmission, for any number of threads, and has
// the volumes looked after while it runs.
#include "audioapi/SoundMgr.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <utility>

#include "audioapi/volume_policy.h"
#include "common/common.h"
#include "common/format_msg.h"
#include "common/guards.h"
#include "common/log.h"
#include "common/playing.h"
#include "common/tonelink_tx.h"

tonelink_tx_h *tx_handler = nullptr;
pthread_mutex_t audio_start_mutex = PTHREAD_MUTEX_INITIALIZER;

namespace tonelink {

namespace {

/// Held by whoever starts or stops, all the while. The thread that holds it may come again, from
/// within its own call. Threads and callbacks that play never take it: a stop waits for them.
pthread_mutex_t service_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

constexpr int32_t kStarted = 1;
constexpr int32_t kNothingDone = 0;
constexpr int32_t kRefused = -1;
constexpr int32_t kStopped = 1;

constexpr prepared_message kFreshPin{kRandomPin};

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

/// The service's own record of a handle.
struct owned_handle {
    tonelink_tx_h handle; // the first member: its address is the record's
    owned_handle *next;   // of `kept_handles`
};
static_assert(offsetof(owned_handle, handle) == 0);

/// Records of which the platform has refused to remove the callback: it may still call them. They
/// do nothing any more, and each start and stop tries again.
owned_handle *kept_handles = nullptr;

/// Closes a handle and releases its record, unless the platform still needs it.
void release_handle(owned_handle *owned, int32_t (*close)(tonelink_tx_h **))
{
    tonelink_tx_h *handle = &owned->handle;
    if (close(&handle) == tx_result::success)
        std::free(owned);
    else
        owned->next = std::exchange(kept_handles, owned);
}

void release_kept_handles()
{
    for (owned_handle *left = std::exchange(kept_handles, nullptr); left != nullptr;)
        release_handle(std::exchange(left, left->next), tonelink_tx_close_async);
}

/// Closes the handle, releases its record and forgets it.
void discard_handle(int32_t (*close)(tonelink_tx_h **))
{
    auto *const owned = reinterpret_cast<owned_handle *>(handler().exchange(nullptr));
    if (owned != nullptr) release_handle(owned, close);
}

/// Loads the handle with a pairing message, or else with the prepared one. False without a
/// Bluetooth address.
bool load_message(tonelink_tx_h *handle, const prepared_message &message, int32_t pin,
                  int32_t nbits, const char *caller)
{
    const auto count = static_cast<uint32_t>(nbits);
    if (message.pin_type != kRandomPin) {
        tonelink_tx_put_bin(handle, message.bits.data(), count);
        return true;
    }
    const unique_handle<char, std::free> address{Get_TV_BD_Addr()};
    if (!address) {
        TONELINK_LOG_AS(caller, "Failed to get BD Address");
        return false;
    }
    message_row row{};
    format_msg(row.data(), pin, address.get(), nbits);
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

int32_t log_started_already(const char *caller)
{
    TONELINK_LOG_AS(caller, "Transmission is already started");
    return kNothingDone;
}

/// Composes the message into a new handle, unless there is one. kStarted: it can be played.
int32_t compose_message(int32_t packet_type, const prepared_message *own, const char *caller)
{
    if (handler() != nullptr) return log_started_already(caller);
    if (generate_message(bits_of_packet(packet_type), own != nullptr ? *own : prepared()) != 0) {
        TONELINK_LOG_AS(caller, "Failed to Generate Message ");
        return kRefused;
    }
    return kStarted;
}

/// Plays the message that has been composed.
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

/// A start by the writer thread. `own`: the message that the start has prepared itself, whatever
/// others prepare meanwhile; null: the one that is prepared.
int32_t start_writer(int32_t packet_type, const prepared_message *own)
{
    constexpr auto kCaller = "start_audio_transmitting_type";
    TONELINK_LOG_AS(kCaller, "ENTER\n");
    if (is_refused(packet_type, kCaller)) return kRefused;
    int32_t result = kNothingDone;
    if (const pthread_try_lock service{service_mutex}; service.is_held()) {
        release_kept_handles();
        result = compose_message(packet_type, own, kCaller);
        if (result == kStarted) result = play_message(kWriterThread, kCaller);
    } else {
        log_started_already(kCaller);
    }
    TONELINK_LOG_AS(kCaller, "EXIT\n");
    return result;
}

/// The same by the stream callback; it holds the starts' mutex as well, while it composes.
int32_t start_stream(int32_t packet_type, const prepared_message *own)
{
    constexpr auto kCaller = "start_audio_transmitting_async_type";
    TONELINK_LOG_AS(kCaller, "ENTER\n");
    int32_t result = kNothingDone;
    if (is_refused(packet_type, kCaller)) {
        result = kRefused;
    } else if (const pthread_try_lock service{service_mutex}; service.is_held()) {
        release_kept_handles();
        {
            const pthread_lock lock{audio_start_mutex};
            result = compose_message(packet_type, own, kCaller);
        }
        if (result == kStarted) result = play_message(kStreamCallback, kCaller);
    } else {
        log_started_already(kCaller);
    }
    TONELINK_LOG_AS(kCaller, "EXIT\n");
    return result;
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
    const pthread_lock service{service_mutex};
    release_kept_handles();
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

int32_t generate_message(int32_t nbits, const prepared_message &message)
{
    const int32_t pin = message.pin_type == kRandomPin ? draw_random_pin() : 0;
    if (handler() != nullptr) return 2;

    auto *const owned = static_cast<owned_handle *>(std::malloc(sizeof(owned_handle)));
    if (owned == nullptr) {
        TONELINK_LOG("Failed to allocate memory");
        return kRefused;
    }
    tonelink_tx_h *handle = &owned->handle;
    handler() = handle;
    if (tonelink_tx_open(&handle) != tx_result::success) {
        TONELINK_LOG("Failed to open Tone Link");
        discard_handle(tonelink_tx_close);
        return kRefused;
    }
    if (!load_message(handle, message, pin, nbits, __func__)) {
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
    return start_writer(packet_type, nullptr);
}

int32_t start_audio_transmitting(void)
{
    TONELINK_LOG("ENTER\n");
    prepare_type(kRandomPin);
    return start_writer(1, &kFreshPin);
}

int32_t start_audio_transmitting_async_type(int32_t packet_type)
{
    return start_stream(packet_type, nullptr);
}

int32_t start_audio_transmitting_async(void)
{
    prepare_type(kRandomPin);
    return start_stream(1, &kFreshPin);
}

int32_t start_audiodata_transmission(const uint8_t *data, int32_t length, int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    prepared_message message{kPreparedPin};
    format_msgm(message.bits.data(), data, length, packet_type);
    prepare(message);
    TONELINK_LOG("EXIT\n");
    return start_stream(packet_type, &message);
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
    const pthread_try_lock service{service_mutex};
    if (!service.is_held() || handler() != nullptr) {
        TONELINK_LOG("Transmission has already started");
        return 0;
    }
    TONELINK_LOG("Setting sample rate to [%d]", rate);
    std::atomic_ref{tx_sampleRate} = rate;
    return 1;
}
