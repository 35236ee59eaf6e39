// The exported receiver: takes up the stream that a modem state keeps, pauses as it goes through a
// block, and reports what it hears in the state. The receiving itself is stream_receiver's.
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <type_traits>

#include "modem/channel_encoder.h"
#include "modem/modem_state.h"
#include "modem/spectrum_mirror.h"
#include "modem/stream_receiver.h"
#include "toolkit/containers.h"
#include "toolkit/scoped_vector.h"

namespace tonelink {

namespace {

constexpr useconds_t kPause = 1500000; // microseconds
constexpr int32_t kRecordWords = 4;    // is new, value's high and low word, sample's index

struct memory_release {
    void operator()(void *memory) const { ac_free_memory(memory); }
};

/// All the memory that a call needs, so that a call that cannot have it changes nothing.
class working_memory {
public:
    /// For a block of `count` samples and messages of `bits` bits.
    bool obtain(int32_t count, int32_t bits)
    {
        // At most a hop for the samples that wait in the state, and one every 80 samples.
        const int64_t hops = count / 80 + int64_t{2};
        return make_receiver() && make_room<vec16>(samples, count) &&
               make_room<vec32>(records, kRecordWords * hops) && make_room<bvec>(msg_bits, bits) &&
               make_room<bvec>(msg_bytes, bits / 8) && make_room<bvec>(prev_msg_bytes, bits / 8);
    }

    stream_receiver *receiver = nullptr;
    scoped_vector<vec16> samples;
    scoped_vector<vec32> records;
    // For a state that has none of this length yet.
    scoped_vector<bvec> msg_bits;
    scoped_vector<bvec> msg_bytes;
    scoped_vector<bvec> prev_msg_bytes;

private:
    /// A receiver wants to begin with a cache line, of which the allocator knows nothing.
    bool make_receiver()
    {
        static_assert(std::is_trivially_destructible_v<stream_receiver>);
        std::size_t size = sizeof(stream_receiver) + alignof(stream_receiver);
        room_.reset(ac_allocate_memory(static_cast<uint32_t>(size)));
        void *at = room_.get();
        if (at == nullptr ||
            std::align(alignof(stream_receiver), sizeof(stream_receiver), at, size) == nullptr)
            return false;
        receiver = ::new (at) stream_receiver;
        return true;
    }

    std::unique_ptr<void, memory_release> room_;
};

/// Fields that a caller has set to what no receiver leaves there would lead out of arrays.
void bound_fields(snfc_state &state)
{
    state.fft_fill = std::clamp(state.fft_fill, 0, static_cast<int32_t>(kBodySamples) - 1);
    state.decim_phase = std::clamp(state.decim_phase, 0, 9);
}

/// The working copy of a block, moved up and turned back to where a burst is before it is sent.
void shift_and_mirror(const int16_t *block, const snfc_state &state, vec16 &copy)
{
    std::copy_n(block, copy.length, copy.data);
    {
        const shifters_lock lock;
        makeBandShift(copy.data, copy.length, &sInfoRx);
    }
    if (state.spectral_inversion == 0) return;
    // The pattern starts afresh with each block, whatever its length.
    mirror_spectrum({copy.data, static_cast<std::size_t>(copy.length)},
                    state.invert_phase != 0 ? 0 : 1);
}

/// Gives `v` the array of `room`, which holds `length` bytes, unless it has one of that length.
void settle(bvec &v, std::size_t length, scoped_vector<bvec> &room)
{
    if (v.length != static_cast<int32_t>(length)) std::swap<bvec>(v, room);
}

bool equal(const bvec &a, const bvec &b)
{
    return a.length == b.length && std::equal(a.data, a.data + a.length, b.data);
}

/// One more; the largest number is followed by the smallest.
void count_up(int32_t &count) { count = static_cast<int32_t>(static_cast<uint32_t>(count) + 1u); }

/// Makes a message heard the state's last one; returns whether it is new.
bool remember(std::span<const uint8_t> message, snfc_state &state, working_memory &memory)
{
    settle(state.msg_bits, message.size(), memory.msg_bits);
    std::ranges::copy(message, state.msg_bits.data);

    settle(state.msg_bytes, message.size() / 8, memory.msg_bytes);
    std::fill_n(state.msg_bytes.data, state.msg_bytes.length, uint8_t{0});
    for (std::size_t i = 0; i < message.size(); ++i)
        state.msg_bytes.data[i / 8] |= static_cast<uint8_t>(message[i] << (7 - i % 8));

    count_up(state.decode_count);
    if (state.repeat_count != 0 && equal(state.msg_bytes, state.prev_msg_bytes)) {
        count_up(state.repeat_count);
        return false;
    }
    settle(state.prev_msg_bytes, message.size() / 8, memory.prev_msg_bytes);
    std::copy_n(state.msg_bytes.data, state.msg_bytes.length, state.prev_msg_bytes.data);
    state.repeat_count = 1;
    return true;
}

/// The record of a message: the 64 bits of its value, whatever its length, between what is new and
/// where it was.
void write_record(const heard_message &heard, bool is_new, int32_t *record)
{
    uint64_t value = 0;
    for (const uint8_t bit : heard.message()) value = value << 1 | bit;
    record[0] = is_new ? 1 : 0;
    record[1] = static_cast<int32_t>(value >> 32);
    record[2] = static_cast<int32_t>(value & 0xFFFFFFFF);
    record[3] = static_cast<int32_t>(heard.position);
}

/// Goes through the block with a pause at its first sample, at its middle, and once more at the
/// last of an odd number.
void receive_with_pauses(const vec16 &samples, stream_receiver &receiver, message_lengths lengths,
                         message_sink sink)
{
    std::span<const int16_t> left{samples.data, static_cast<std::size_t>(samples.length)};
    const std::size_t half = std::max<std::size_t>(left.size() / 2, 1);
    while (!left.empty()) {
        usleep(kPause);
        const std::size_t size = std::min(half, left.size());
        receiver.receive_shifted(left.first(size), lengths, sink);
        left = left.subspan(size);
    }
}

void receive_block(const int16_t *block, message_lengths lengths, snfc_state &state,
                   working_memory &memory)
{
    shift_and_mirror(block, state, memory.samples);
    int32_t words = 0;
    bound_fields(state);
    memory.receiver->take_up(state);
    receive_with_pauses(memory.samples, *memory.receiver, lengths, [&](const heard_message &heard) {
        const bool is_new = remember(heard.message(), state, memory);
        write_record(heard, is_new, memory.records.data + words);
        words += kRecordWords;
        state.rx_status = std::max(state.rx_status, is_new ? 1 : 0);
    });
    memory.receiver->hand_back(state);
    if (words == 0) return;
    std::swap<vec32>(state.results, memory.records);
    state.results.length = words;
}

} // namespace

} // namespace tonelink

int32_t receiver_snfc(snfc_state **state, const int16_t *samples, int32_t count,
                      int32_t **results_out, int32_t **results_length_out, int32_t nbits)
{
    using namespace tonelink;
    if (*state == nullptr) return modem_result::no_state;
    if (nbits != 32 && nbits != 48) return modem_result::bad_length;

    snfc_state &modem = **state;
    working_memory memory;
    if (count > 0 && !(memory.obtain(count, nbits) && restore_receive_buffers(modem)))
        return modem_result::no_memory;
    modem.rx_status = -1;
    vec32_set_length(&modem.results, 0);
    if (count > 0)
        receive_block(samples, nbits == 32 ? message_lengths::only_32 : message_lengths::only_48,
                      modem, memory);
    *results_out = modem.results.data;
    *results_length_out = &modem.results.length;
    return modem.rx_status;
}
