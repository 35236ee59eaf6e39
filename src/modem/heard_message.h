// What a receiver tells its caller: which messages it listens for, and each one that it hears.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "toolkit/function_ref.h"

namespace tonelink {

/// The messages that a receiver listens for. Listening for both decodes twice and does the rest
/// once.
enum class message_lengths : uint8_t { only_32 = 1, only_48 = 2, both = 3 };

/// Whether messages of `Bits` bits are among them.
template <std::size_t Bits> constexpr bool includes(message_lengths lengths)
{
    static_assert(Bits == 32 || Bits == 48);
    return (static_cast<unsigned>(lengths) & (Bits == 32 ? 1u : 2u)) != 0;
}

/// A message whose CRC agrees. A burst is heard at some dozen hops in a row, 80 samples apart.
struct heard_message {
    uint64_t position = 0;          // of the sample that completed it, from the stream's start
    std::size_t length = 0;         // 32 or 48
    std::array<uint8_t, 48> bits{}; // one per byte

    std::span<const uint8_t> message() const { return std::span{bits}.first(length); }
    friend bool operator==(const heard_message &, const heard_message &) = default;
};

/// Is told of messages in the order of their positions; of one position, the shorter first.
using message_sink = function_ref<void(const heard_message &)>;

} // namespace tonelink
