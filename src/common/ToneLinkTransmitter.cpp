// The standalone transmitter: a 32-bit value becomes a row of unfiltered bursts, which a thread of
// its own writes a number of times. It shares the modem and the audio output with the handles and
// touches no volume.
#include "tonelink/transmit.h"

#include <array>
#include <atomic>
#include <limits>
#include <span>
#include <unistd.h>

#include "common/AudioOutput.h"
#include "common/guards.h"
#include "common/log.h"
#include "common/repeated_burst.h"

int16_t *buf = nullptr;
int32_t buf_length = 0;
audio_out_h output = nullptr;
int32_t m_samplerate = 0;
int32_t transmit_count = 0;
int32_t transmitting_stopped = 1;
pthread_t repeat_thread{};

namespace tonelink {

namespace {

constexpr int32_t kMessageBits = 32;
constexpr useconds_t kPauseAfterWrite = 100000; // 100 ms

/// Held by whoever starts, stops or makes `buf`, all the while; by the thread that writes never, as
/// a stop waits for it.
pthread_mutex_t standalone_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

bool has_repeat_thread = false; // to be joined

std::atomic_ref<int32_t> stopped() { return std::atomic_ref{transmitting_stopped}; }

std::atomic_ref<audio_out_h> current_output() { return std::atomic_ref{output}; }

/// Waits for the thread, which has ended or is told to.
void join_thread()
{
    if (has_repeat_thread) pthread_join(repeat_thread, nullptr);
    has_repeat_thread = false;
}

void close_output()
{
    audio_out_s *const out = current_output();
    if (stop_output(out) != 0) leave_output(out);
    current_output() = nullptr;
}

/// Takes down what a counted run or a refusing platform has left.
void finish_earlier_runs()
{
    destroy_left_outputs();
    join_thread();
    if (current_output() != nullptr) close_output();
}

/// A new output; null when none could be made.
audio_out_h open_output(int32_t rate)
{
    audio_out_h made = nullptr;
    return initialize_output(rate, &made) == 0 ? made : nullptr;
}

/// Replaces `buf` by the burst of the message, `repeat` times; see GenerateMessage().
bool make_buffer(snfc_state *modem, std::span<const uint8_t, kMessageBits> message, int32_t repeat)
{
    int16_t *samples = nullptr;
    int32_t *count = nullptr;
    get_burst_snfc(&modem, message.data(), kMessageBits, &samples, &count);
    if (samples == nullptr || count == nullptr) return false;

    const int64_t length = int64_t{repeat} * *count;
    constexpr std::numeric_limits<int32_t> kInt32;
    if (length > kInt32.max() || length < kInt32.min()) return false;
    buf_length = static_cast<int32_t>(length);
    if (length < 1) return false;
    samples_ptr made = repeat_burst({samples, static_cast<std::size_t>(*count)}, length);
    if (!made) {
        buf_length = 0;
        return false;
    }
    ac_free_memory(buf);
    buf = made.release();
    return true;
}

} // namespace

} // namespace tonelink

using namespace tonelink;

void bitset(int32_t value, int32_t *bits)
{
    for (int32_t i = 0; i < kMessageBits && value != 0; ++i, value /= 2) bits[i] = value % 2;
}

int32_t GenerateMessage(int32_t message, int32_t repeat)
{
    TONELINK_LOG("### Enter : GenerateMessage\n\n");
    if (stopped() == 0) return 0; // the thread is reading `buf`
    const pthread_lock standalone{standalone_mutex};
    if (stopped() == 0) return 0;
    join_thread(); // which may still be at its last write
    buf_length = 0;
    std::array<int32_t, kMessageBits> digits{};
    bitset(message, digits.data());
    TONELINK_LOG("### msg : [%d]\n", message);

    std::array<uint8_t, kMessageBits> bits{};
    TONELINK_LOG("### SNFC_N_BITS_MESSAGE : [%d]\n", kMessageBits);
    for (std::size_t i = 0; i < bits.size(); ++i) {
        bits[i] = digits[bits.size() - 1 - i] == 1; // not for -1
        TONELINK_LOG("### bitmsg[%dth] : %d]\n", static_cast<int>(i), bits[i]);
    }

    snfc_state *modem = nullptr;
    if (open_snfc(&modem) != 1) return 0;
    const bool made = make_buffer(modem, bits, repeat);
    close_snfc(&modem);
    if (!made) return 0;
    TONELINK_LOG("### exit : GenerateMessage\n\n");
    return 1;
}

int32_t StartTransmitting(int32_t count, int32_t rate)
{
    TONELINK_LOG("### Enter : StartTransmitting\n\n");
    if (stopped() == 0) return 0;
    const pthread_lock standalone{standalone_mutex};
    if (stopped() == 0) return 0;
    finish_earlier_runs();
    stopped() = 0;
    m_samplerate = rate;
    std::atomic_ref{transmit_count} = count;

    audio_out_s *const opened = open_output(rate);
    current_output() = opened;
    if (opened != nullptr)
        Start(opened);
    else
        TONELINK_LOG("### audio_out_h output handle == NULL \n\n");
    has_repeat_thread = pthread_create(&repeat_thread, nullptr, repeat_thread_func, nullptr) == 0;
    TONELINK_LOG("### Exit : StartTransmitting\n\n");
    return 1;
}

void *repeat_thread_func(void *)
{
    TONELINK_LOG("### Enter : repeat_thread_func\n\n");
    if (current_output() != nullptr)
        TONELINK_LOG("### repeat_thread_func audio_out_h output Not NULL\n\n");
    else
        TONELINK_LOG("### repeat_thread_func audio_out_h output = NULL\n\n");

    int32_t written = 0;
    while (stopped() == 0) {
        SubmitAudioBuffer(buf, buf != nullptr ? buf_length : 0, current_output());
        usleep(kPauseAfterWrite);
        const int32_t limit = std::atomic_ref{transmit_count};
        if (limit > 0 && ++written >= limit) {
            stopped() = 1;
            break;
        }
    }
    TONELINK_LOG("### exit : repeat_thread_func\n\n");
    return nullptr;
}

int32_t StopTransmitting(void)
{
    TONELINK_LOG("### Enter : StopTransmitting\n\n");
    const pthread_lock standalone{standalone_mutex};
    if (stopped().exchange(1) != 0) return 0;
    std::atomic_ref{transmit_count} = 0;
    join_thread();
    close_output();
    TONELINK_LOG("### Exit : StopTransmitting\n\n");
    return 1;
}
