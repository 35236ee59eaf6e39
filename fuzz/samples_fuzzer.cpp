// Sound in blocks of any size: the fast receiver hears what the plain one hears in one block, in
// every width of vectors, and leaves the same stream behind. The exported receiver does not show
// where a sound is cut into blocks of even length.
#include <memory>

#include "fuzz/input.h"
#include "modem/band_shift.h"
#include "modem/plain/stream_receiver.h"
#include "modem/stream_receiver.h"
#include "support/modem_guard.h"

namespace {

using namespace tonelink;
using cuts = std::vector<std::size_t>;

constexpr std::size_t kLongest = 27000;

/// Calls `use` with one block after the other, of the sizes in turn.
template <class Use> void cut(std::span<const int16_t> sound, const cuts &sizes, Use use)
{
    for (std::size_t i = 0; !sound.empty(); ++i) {
        const std::size_t size = std::min(sizes[i % sizes.size()], sound.size());
        use(sound.first(size));
        sound = sound.subspan(size);
    }
}

struct outcome {
    std::vector<heard_message> heard;
    std::vector<int16_t> stream;
};

/// The documented fields of the stream that a state keeps.
std::vector<int16_t> stream_of(snfc_state &state)
{
    std::vector<int16_t> stream = {static_cast<int16_t>(state.fft_fill),
                                   static_cast<int16_t>(state.decim_phase), state.agc_gain};
    const auto add = [&](const int16_t *values, int32_t count) {
        stream.insert(stream.end(), values, values + count);
    };
    add(state.dns_delay.data, state.dns_delay.length);
    add(state.fft_input.data, state.fft_fill);
    add(&state.spectrum_history.data->re, 2 * state.spectrum_history.length);
    add(state.exponent_history.data, state.exponent_history.length);
    return stream;
}

template <class Receiver>
outcome hear(Receiver &receiver, std::span<const int16_t> sound, const cuts &sizes,
             message_lengths lengths)
{
    outcome result;
    test::open_modem modem;
    BandShiftInfo shifter;
    openBandShift(&shifter, kBandShiftHz);
    cut(sound, sizes, [&](std::span<const int16_t> block) {
        receiver.receive(block, shifter, lengths,
                         [&](const heard_message &heard) { result.heard.push_back(heard); });
    });
    closeBandShift(&shifter);
    receiver.hand_back(**&modem);
    result.stream = stream_of(**&modem);
    return result;
}

/// The same through the exported function, with positions in the whole stream.
outcome hear_exported(std::span<const int16_t> sound, const cuts &sizes, int32_t nbits)
{
    outcome result;
    test::open_modem modem;
    uint64_t position = 0;
    cut(sound, sizes, [&](std::span<const int16_t> block) {
        int32_t *records = nullptr;
        int32_t *length = nullptr;
        const int32_t status = receiver_snfc(
            &modem, block.data(), static_cast<int32_t>(block.size()), &records, &length, nbits);
        REQUIRE((status == -1) == (*length == 0));
        for (int32_t i = 0; i < *length; i += 4) {
            REQUIRE(records[i + 3] >= 0 && static_cast<std::size_t>(records[i + 3]) < block.size());
            heard_message heard{position + static_cast<uint64_t>(records[i + 3]),
                                static_cast<std::size_t>(nbits),
                                {}};
            const uint64_t value = static_cast<uint64_t>(static_cast<uint32_t>(records[i + 1]))
                                       << 32 |
                                   static_cast<uint32_t>(records[i + 2]);
            for (std::size_t bit = 0; bit < heard.length; ++bit)
                heard.bits[bit] = value >> (heard.length - 1 - bit) & 1;
            result.heard.push_back(heard);
        }
        position += block.size();
    });
    result.stream = stream_of(**&modem);
    return result;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    fuzz::input from{data, size};
    const auto lengths = static_cast<message_lengths>(1 + from.byte() % 3);
    cuts sizes, even_sizes;
    for (int i = 0; i < 5; ++i) {
        sizes.push_back(1 + from.below(i < 2 ? 200 : 6000));
        even_sizes.push_back(sizes.back() + sizes.back() % 2);
    }
    const std::vector<int16_t> sound = fuzz::make_sound(from, kLongest);

    const auto plain = std::make_unique<plain::stream_receiver>();
    const outcome expected = hear(*plain, sound, {kLongest}, lengths);
    for (const vector_stages *const stages : available_stages()) {
        const auto fast = std::make_unique<stream_receiver>(*stages);
        const outcome heard = hear(*fast, sound, sizes, lengths);
        REQUIRE(heard.heard == expected.heard);
        REQUIRE(heard.stream == expected.stream);
    }
    if (lengths == message_lengths::both) return 0;
    const outcome exported =
        hear_exported(sound, even_sizes, lengths == message_lengths::only_32 ? 32 : 48);
    REQUIRE(exported.heard == expected.heard);
    REQUIRE(exported.stream == expected.stream);
    return 0;
}
