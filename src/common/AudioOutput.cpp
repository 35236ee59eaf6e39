// Opens, feeds and closes the platform's audio output, and names its errors. Every output is made
// by audio_create() and goes through destroy_output(), so that its stream information goes with it.
#include "common/AudioOutput.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "common/guards.h"
#include "common/log.h"
#include "tonelink/toolkit.h"
#include "tonelink_platform/audio_out.h"
#include "tonelink_platform/sound_manager.h"

namespace tonelink {

namespace {

constexpr int kMono = 128;
constexpr int kSigned16 = 113;
constexpr int kNotification = 3; // stream type
constexpr int32_t kOutOfMemory = -12;

struct audio_error {
    int32_t code;
    const char *name;
};

constexpr audio_error kAudioErrors[] = {
    {-22, "AUDIO_IO_ERROR_INVALID_PARAMETER"},
    {-12, "AUDIO_IO_ERROR_OUT_OF_MEMORY"},
    {-38, "AUDIO_IO_ERROR_INVALID_OPERATION"},
    {-26214399, "AUDIO_IO_ERROR_DEVICE_NOT_OPENED"},
    {-26214398, "AUDIO_IO_ERROR_DEVICE_NOT_CLOSED"},
    {-26214397, "AUDIO_IO_ERROR_INVALID_BUFFER"},
    {-26214396, "AUDIO_IO_ERROR_SOUND_POLICY"},
};

/// A live output and what was made for it.
struct output_pair {
    audio_out_h out;
    sound_stream_info_h info;
    bool is_bound; // else `info` stays: the platform may hold on to what it refuses
    bool is_left;  // to destroy_left_outputs()
    output_pair *next;
};

output_pair *first_pair = nullptr;
pthread_mutex_t pairs_mutex = PTHREAD_MUTEX_INITIALIZER; // never held while calling out

using pair_ptr = unique_handle<output_pair, ac_free_memory>;

void keep(pair_ptr pair)
{
    const pthread_lock lock{pairs_mutex};
    pair->next = first_pair;
    first_pair = pair.release();
}

/// Takes the first pair that fits out of the list; null when none does.
template <class Condition> pair_ptr take_if(Condition fits)
{
    const pthread_lock lock{pairs_mutex};
    for (output_pair **link = &first_pair; *link != nullptr; link = &(*link)->next) {
        output_pair *const pair = *link;
        if (!fits(*pair)) continue;
        *link = pair->next;
        return pair_ptr{pair};
    }
    return nullptr;
}

pair_ptr take(audio_out_h out)
{
    return take_if([out](const output_pair &pair) { return pair.out == out; });
}

/// Destroys the output and then its stream information. Returns the platform's code.
int32_t destroy(const output_pair &pair)
{
    const int32_t result = audio_out_destroy(pair.out);
    if (result == 0 && pair.is_bound) sound_manager_destroy_stream_information(pair.info);
    return result;
}

} // namespace

int32_t destroy_output(audio_out_h out)
{
    // Out of the list first: once destroyed, another thread's new output may have the same handle.
    pair_ptr pair = take(out);
    if (!pair) return audio_out_destroy(out);
    const int32_t result = destroy(*pair);
    if (result != 0) keep(std::move(pair));
    return result;
}

bool is_alive(audio_out_h out)
{
    const pthread_lock lock{pairs_mutex};
    const output_pair *pair = first_pair;
    while (pair != nullptr && pair->out != out) pair = pair->next;
    return pair != nullptr;
}

void leave_output(audio_out_h out)
{
    pair_ptr pair = take(out);
    if (!pair) return;
    pair->is_left = true;
    keep(std::move(pair));
}

void destroy_left_outputs()
{
    pair_ptr pair = take_if([](const output_pair &p) { return p.is_left; });
    if (!pair) return;
    const bool is_gone = destroy(*pair) == 0;
    destroy_left_outputs(); // the others, before one that is refused again is back in the list
    if (!is_gone) keep(std::move(pair));
}

} // namespace tonelink

int32_t audio_create(int32_t rate, audio_out_h *out)
{
    using namespace tonelink;
    TONELINK_LOG("### Enter :>>>>>>>>>>>>>>>>>>>>>>>>  audio_create  \n\n");
    pair_ptr pair{static_cast<output_pair *>(ac_allocate_memory(sizeof(output_pair)))};
    if (!pair) return kOutOfMemory;

    sound_stream_info_h info = nullptr;
    int32_t result =
        sound_manager_create_stream_information(kNotification, nullptr, nullptr, &info);
    if (result != 0) {
        TONELINK_LOG("sound_manager_create_stream_information failed(%d)\n", result);
        return result;
    }
    result = audio_out_create_new(rate, kMono, kSigned16, out);
    if (result != 0) {
        TONELINK_LOG("audio_out_create_new failed(%d)\n", result);
        sound_manager_destroy_stream_information(info);
        return result;
    }
    // The program may have destroyed an earlier output of this handle by itself. What was made for
    // that one is not known to be nobody's: its handle, too, may be in use again.
    take(*out).reset();
    result = audio_out_set_sound_stream_info(*out, info);
    *pair = {*out, info, result == 0, result != 0, nullptr};
    if (result != 0) TONELINK_LOG("audio_out_set_sound_stream_info failed(%d)\n", result);
    if (result == 0 || destroy(*pair) != 0) keep(std::move(pair));
    TONELINK_LOG("### Exit :>>>>>>>>>>>>>>>>>>>>>>>>  audio_create  \n\n");
    return result;
}

int32_t tonelink::initialize_output(int32_t rate, audio_out_h *out)
{
    constexpr auto kCaller = "Initialize";
    TONELINK_LOG_AS(kCaller, "### Enter : audio_out_create\n\n");
    const int32_t result = audio_create(rate, out);
    if (result != 0)
        TONELINK_LOG_AS(kCaller, "### audio_out_create Fail ret = [%s] \n\n",
                        convert_audio_io_error_to_string(result));
    else
        TONELINK_LOG_AS(kCaller, "### audio_out_create Success \n\n");
    TONELINK_LOG_AS(kCaller, "### Exit : audio_out_create\n");
    return result;
}

void Initialize(int32_t rate, audio_out_h *out) { tonelink::initialize_output(rate, out); }

void Start(audio_out_h out)
{
    TONELINK_LOG("### Enter : Audio_Start\n\n");
    const int32_t result = audio_out_prepare(out);
    if (result != 0)
        TONELINK_LOG("### audio_out_prepare Fail ret = [%s] \n\n",
                     convert_audio_io_error_to_string(result));
    else
        TONELINK_LOG("### audio_out_prepare Success \n\n");
    TONELINK_LOG("### Exit : Audio_end\n\n");
}

int32_t tonelink::stop_output(audio_out_h out)
{
    constexpr auto kCaller = "Stop";
    TONELINK_LOG_AS(kCaller, "### Enter : Audio_Stop\n\n");
    int32_t result = audio_out_unprepare(out);
    if (result != 0)
        TONELINK_LOG_AS(kCaller, "### audio_out_unprepare Fail ret = [%s] \n\n",
                        convert_audio_io_error_to_string(result));
    else
        TONELINK_LOG_AS(kCaller, "### audio_out_unprepare Success \n\n");
    result = destroy_output(out);
    if (result != 0)
        TONELINK_LOG_AS(kCaller, "### audio_out_destroy Fail ret = [%s] \n\n",
                        convert_audio_io_error_to_string(result));
    else
        TONELINK_LOG_AS(kCaller, "### audio_out_destroy Success \n\n");
    TONELINK_LOG_AS(kCaller, "### Exit : Audio_Stop\n\n");
    return result;
}

void Stop(audio_out_h out)
{
    const std::atomic_ref standalone{output};
    // Before it goes: then another thread's new output may have the same handle.
    const bool is_standalones = standalone == out;
    if (tonelink::stop_output(out) != 0 || !is_standalones) return;
    audio_out_s *expected = out;
    standalone.compare_exchange_strong(expected, nullptr);
}

void SubmitAudioBuffer(const int16_t *samples, int32_t count, audio_out_h out)
{
    TONELINK_LOG("### Enter : audio_out_write \n\n");
    const auto bytes = static_cast<unsigned int>(std::max(count, 0)) * 2u;
    const int32_t result = audio_out_write(out, samples, bytes);
    if (result < 0) {
        TONELINK_LOG("### audio_out_write Fail ret = [%d] \n\n", result);
        TONELINK_LOG("### audio_out_write Fail ret = [%s] \n\n",
                     convert_audio_io_error_to_string(result));
    } else {
        TONELINK_LOG("### audio_out_write Success \n\n");
    }
    TONELINK_LOG("### Exit : audio_out_write\n\n");
}

const char *convert_audio_io_error_to_string(int32_t code)
{
    using namespace tonelink;
    const auto *const error = std::ranges::find(kAudioErrors, code, &audio_error::code);
    return error == std::end(kAudioErrors) ? "NONE default case" : error->name;
}
