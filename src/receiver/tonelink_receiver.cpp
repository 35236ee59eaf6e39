// The C interface of the receiver: checks what comes in, and owns the memory.
#include "tonelink/receiver.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "modem/band_shift.h"
#include "receiver/receiver.h"
#include "tonelink/toolkit.h"

namespace tonelink {

/// Makes samples fit for the receiver, and counts what was wrong with them.
class sample_check {
public:
    float take(float sample, receiver::flaws &found)
    {
        constexpr float kSenseless = 1000; // times full scale: not sound any more
        constexpr float kFullScale = 32767.0f / 32768.0f;
        const float size = std::abs(sample);
        if (!(size <= kSenseless)) {
            ++found.invalid;
            run_ = uncounted_ = 0;
            return 0;
        }
        const bool is_at = size >= kFullScale, is_beyond = size > 1;
        run_ = is_at ? run_ + 1 : 0;
        uncounted_ = !is_at ? 0 : uncounted_ + (is_beyond ? 0 : 1);
        if (is_beyond) ++found.clipped;
        if (run_ >= kShortestRun) found.clipped += std::exchange(uncounted_, 0);
        return std::clamp(sample, -1.0f, 1.0f);
    }

private:
    /// So many samples in a row at full scale are no chance: what they were was cut off.
    static constexpr uint64_t kShortestRun = 3;

    uint64_t run_ = 0;       // samples at full scale or beyond, up to the last one
    uint64_t uncounted_ = 0; // of these, that may be chance so far
};

} // namespace tonelink

/// In one piece of memory with the resampler's coefficients, which are behind it.
struct tonelink_receiver {
    tonelink::receiver inside;
    void *memory; ///< the piece, as it was allocated
    tonelink::sample_check check{};
};

namespace tonelink {

namespace {

/// The settings with their defaults, or the code of what is wrong with them.
int32_t complete_settings(const tonelink_receiver_settings *given, tonelink_receiver_settings &all)
{
    all = {sizeof all, 0, 0, 0};
    if (given != nullptr) {
        const std::size_t size = given->size == 0 ? 16 : given->size; // that of the first version
        if (size < sizeof all.size + sizeof all.sample_rate) return TONELINK_RECEIVER_BAD_ARGUMENT;
        std::memcpy(&all, given, std::min(size, sizeof all));
    }
    if (all.sample_rate == 0) all.sample_rate = kAudioRate;
    if (all.lengths == 0) all.lengths = TONELINK_LENGTH_32 | TONELINK_LENGTH_48;
    if (all.methods == 0) all.methods = TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR;
    if (all.sample_rate < resampler::kLowestRate || all.sample_rate > resampler::kHighestRate)
        return TONELINK_RECEIVER_BAD_RATE;
    if (all.lengths > (TONELINK_LENGTH_32 | TONELINK_LENGTH_48))
        return TONELINK_RECEIVER_BAD_LENGTHS;
    if (all.methods > (TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR))
        return TONELINK_RECEIVER_BAD_METHODS;
    return TONELINK_RECEIVER_OK;
}

/// What a receiver lies in: itself, the far method where it is wanted, the resampler's
/// coefficients.
struct memory_plan {
    explicit memory_plan(const tonelink_receiver_settings &all)
        : coefficients{resampler::table_size(all.sample_rate)}, far_at{(sizeof(tonelink_receiver) +
                                                                        kAlignment - 1) /
                                                                       kAlignment * kAlignment},
          coefficients_at{far_at +
                          ((all.methods & TONELINK_METHOD_FAR) != 0 ? sizeof(far_receiver) : 0)},
          size{coefficients_at + coefficients * sizeof(float) + kAlignment}
    {
    }

    /// A cache line, of which the allocator knows nothing: there is room for it.
    static constexpr std::size_t kAlignment = 64;
    static_assert(alignof(tonelink_receiver) <= kAlignment && alignof(far_receiver) <= kAlignment);

    std::size_t coefficients; ///< how many
    std::size_t far_at;       ///< bytes from the beginning
    std::size_t coefficients_at;
    std::size_t size;
};

/// Pushes samples block by block, up to `full_scale` in size.
template <class Sample>
int32_t push(tonelink_receiver *receiver, const Sample *samples, std::size_t frames,
             std::size_t stride, float full_scale)
{
    if (receiver == nullptr || stride == 0 || (samples == nullptr && frames > 0))
        return TONELINK_RECEIVER_BAD_ARGUMENT;
    std::array<float, 256> block;
    for (std::size_t at = 0; at < frames;) {
        const std::size_t most = std::min(block.size(), receiver->inside.frames_to_tick());
        const std::size_t count = std::min(most, frames - at);
        receiver::flaws found;
        for (std::size_t i = 0; i < count; ++i, ++at)
            block[i] =
                receiver->check.take(static_cast<float>(samples[at * stride]) / full_scale, found);
        receiver->inside.put(std::span{block}.first(count), found);
    }
    return TONELINK_RECEIVER_OK;
}

/// How large records were in the library's first version: what a size of 0 stands for.
template <class Record> constexpr std::size_t kFirstSize = 0;
template <> constexpr std::size_t kFirstSize<tonelink_heard> = 64;
template <> constexpr std::size_t kFirstSize<tonelink_reception> = 184;

/// Writes as much of a record as the caller has room for; its size field stays as it is.
template <class Record> int32_t hand_out(const Record &record, Record *out)
{
    const std::size_t size = out->size == 0 ? kFirstSize<Record> : out->size;
    if (size <= sizeof record.size) return TONELINK_RECEIVER_BAD_ARGUMENT;
    const uint32_t given = out->size;
    std::memcpy(out, &record, std::min(size, sizeof record));
    out->size = given;
    return TONELINK_RECEIVER_OK;
}

} // namespace

} // namespace tonelink

using namespace tonelink;

size_t tonelink_receiver_memory(const tonelink_receiver_settings *settings)
{
    tonelink_receiver_settings all;
    if (complete_settings(settings, all) != TONELINK_RECEIVER_OK) return 0;
    constexpr std::size_t kBandShifter = (kHilbertDelay + kHilbertTaps) * sizeof(int16_t);
    return memory_plan{all}.size + kBandShifter;
}

int32_t tonelink_receiver_open(const tonelink_receiver_settings *settings,
                               tonelink_receiver **receiver)
{
    if (receiver == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    *receiver = nullptr;
    tonelink_receiver_settings all;
    if (const int32_t refused = complete_settings(settings, all)) return refused;
    const memory_plan plan{all};
    void *const memory = ac_allocate_memory(static_cast<uint32_t>(plan.size));
    if (memory == nullptr) return TONELINK_RECEIVER_NO_MEMORY;
    void *at = memory;
    std::size_t room = plan.size;
    std::align(memory_plan::kAlignment, sizeof(tonelink_receiver), at, room);
    char *const begin = static_cast<char *>(at);
    const auto lengths = static_cast<message_lengths>(all.lengths);
    static_assert(std::is_trivially_destructible_v<far_receiver>);
    receiver::parts parts{.coefficients = {reinterpret_cast<float *>(begin + plan.coefficients_at),
                                           plan.coefficients},
                          .far = nullptr,
                          .is_exact = (all.methods & TONELINK_METHOD_EXACT) != 0};
    if ((all.methods & TONELINK_METHOD_FAR) != 0)
        parts.far = ::new (begin + plan.far_at) far_receiver{lengths};
    auto *const opened = ::new (at) tonelink_receiver{{all.sample_rate, lengths, parts}, memory};
    if (!opened->inside.is_open()) {
        tonelink_receiver_close(opened);
        return TONELINK_RECEIVER_NO_MEMORY;
    }
    *receiver = opened;
    return TONELINK_RECEIVER_OK;
}

int32_t tonelink_receiver_push_s16(tonelink_receiver *receiver, const int16_t *samples,
                                   size_t frames, size_t stride)
{
    return push(receiver, samples, frames, stride, 32768.0f);
}

int32_t tonelink_receiver_push_f32(tonelink_receiver *receiver, const float *samples, size_t frames,
                                   size_t stride)
{
    return push(receiver, samples, frames, stride, 1.0f);
}

int32_t tonelink_receiver_lost(tonelink_receiver *receiver, uint64_t frames)
{
    if (receiver == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    if (frames == 0) return TONELINK_RECEIVER_OK;
    receiver->check = {};
    receiver->inside.put_lost(frames);
    return TONELINK_RECEIVER_OK;
}

int32_t tonelink_receiver_settle(tonelink_receiver *receiver)
{
    if (receiver == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    receiver->inside.settle();
    return TONELINK_RECEIVER_OK;
}

int32_t tonelink_receiver_flush(tonelink_receiver *receiver)
{
    if (receiver == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    receiver->check = {};
    receiver->inside.finish();
    return TONELINK_RECEIVER_OK;
}

int32_t tonelink_receiver_next(tonelink_receiver *receiver, tonelink_heard *heard)
{
    if (receiver == nullptr || heard == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    message_queue &queue = receiver->inside.heard();
    if (queue.empty()) return 0;
    if (const int32_t refused = hand_out(queue.oldest(), heard)) return refused;
    queue.drop_oldest();
    return 1;
}

int32_t tonelink_receiver_report(const tonelink_receiver *receiver, tonelink_reception *reception)
{
    if (receiver == nullptr || reception == nullptr) return TONELINK_RECEIVER_BAD_ARGUMENT;
    tonelink_reception all{};
    receiver->inside.report(all);
    return hand_out(all, reception);
}

void tonelink_receiver_close(tonelink_receiver *receiver)
{
    if (receiver == nullptr) return;
    void *const memory = receiver->memory;
    std::destroy_at(receiver);
    ac_free_memory(memory);
}

const char *tonelink_receiver_text(int32_t result)
{
    switch (result) {
    case TONELINK_RECEIVER_OK: return "done";
    case TONELINK_RECEIVER_BAD_ARGUMENT:
        return "an argument is null or a stride 0, or a record too small";
    case TONELINK_RECEIVER_BAD_RATE: return "the sample rate is not between 42000 and 384000 Hz";
    case TONELINK_RECEIVER_BAD_LENGTHS: return "there are no messages of these lengths";
    case TONELINK_RECEIVER_BAD_METHODS: return "there are no such methods";
    case TONELINK_RECEIVER_NO_MEMORY: return "no memory";
    default: return "an unknown result";
    }
}

const char *tonelink_receiver_reason(int32_t reason)
{
    switch (reason) {
    case TONELINK_REASON_NO_BURST: return "no_burst";
    case TONELINK_REASON_HEARD: return "heard";
    case TONELINK_REASON_SILENT: return "silent";
    case TONELINK_REASON_CLIPPED: return "clipped";
    case TONELINK_REASON_BAND_CUT: return "band_cut";
    case TONELINK_REASON_TOO_WEAK: return "too_weak";
    case TONELINK_REASON_CLOCK: return "clock";
    case TONELINK_REASON_SAMPLES_LOST: return "samples_lost";
    default: return "unknown";
    }
}
