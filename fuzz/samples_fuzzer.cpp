// Sound in blocks of any size: the fast receiver hears what the reference one hears in one block,
// in every width of vectors, and leaves the same stream behind. The exported receiver does not show
// where a sound is cut into blocks of even length.
#include <algorithm>
#include <memory>

#include "fuzz/input.h"
#include "modem/reference/stream_receiver.h"
#include "modem/stream_receiver.h"
#include "support/fake_platform.h"
#include "support/receiving.h"

namespace {

using namespace tonelink;
using namespace tonelink::test;

constexpr std::size_t kLongest = 27000;

/// Requires that the exported function hears the same, and leaves the same stream behind.
void require_exported(std::span<const int16_t> sound, const std::vector<std::size_t> &sizes,
                      int32_t nbits, const reception &expected)
{
    open_modem modem;
    uint64_t position = 0;
    std::vector<uint64_t> positions;
    in_blocks(sound, sizes, [&](std::span<const int16_t> block) {
        int32_t *records = nullptr;
        int32_t *length = nullptr;
        receiver_snfc(&modem, block.data(), static_cast<int32_t>(block.size()), &records, &length,
                      nbits);
        for (int32_t i = 3; i < *length; i += 4)
            positions.push_back(position + static_cast<uint64_t>(records[i]));
        position += block.size();
    });
    REQUIRE(std::ranges::equal(positions, expected.first, {}, {}, &heard_message::position));
    REQUIRE(stream_of(**&modem) == expected.second);
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    platform.has_pauses = false;
    fuzz::input from{data, size};
    const auto lengths = static_cast<message_lengths>(1 + from.byte() % 3);
    std::vector<std::size_t> sizes, even_sizes;
    for (int i = 0; i < 5; ++i) {
        sizes.push_back(1 + from.below(i < 2 ? 200 : 6000));
        // Each call of the exported receiver has a price, however short its block.
        even_sizes.push_back(sizes.back() + sizes.back() % 2 + (i == 4 ? 1000 : 0));
    }
    const std::vector<int16_t> sound = fuzz::make_sound(from, kLongest);

    const auto reference = std::make_unique<reference::stream_receiver>();
    const reception expected = hear(*reference, sound, {kLongest}, lengths);
    for (const vector_stages *const stages : available_stages()) {
        const auto fast = std::make_unique<stream_receiver>(*stages);
        REQUIRE(hear(*fast, sound, sizes, lengths) == expected);
    }
    const int32_t nbits = lengths == message_lengths::only_32 ? 32 : 48;
    if (lengths != message_lengths::both) require_exported(sound, even_sizes, nbits, expected);
    return 0;
}
