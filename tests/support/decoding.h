// What a decoder is to undo, and its vector forms held to its reference form.
#pragma once

#include <span>
#include <string>

#include "modem/channel_decoder.h"
#include "modem/reference/channel_decoder.h"
#include "modem/vector_stages.h"
#include "support/signals.h"

namespace tonelink::test {

/// A message as it enters the convolutional code.
template <std::size_t Bits> encoder_input<Bits> encoder_input_of(const std::string &text)
{
    const auto bits = bits_of(text);
    const std::span<const uint8_t, Bits> message{bits.data(), Bits};
    return mask_tail_Message<Bits>(message, message_crc<Bits>(message));
}

/// Puts what the soft values of a candidate add up to into one lane.
template <std::size_t Bits>
void put_sums(const reference::soft_code<Bits> &code, std::size_t lane, code_sums<Bits> &sums)
{
    for (std::size_t t = 0; t < sums.kSteps; ++t) {
        sums.sums[3 * t][lane] = code[4 * t] + code[4 * t + 3];
        sums.sums[3 * t + 1][lane] = code[4 * t + 1];
        sums.sums[3 * t + 2][lane] = code[4 * t + 2];
    }
}

/// Whether vector stages decide on a batch of candidates as the reference form does, and accept the
/// same.
template <std::size_t Bits>
bool decides_as_reference(const vector_stages &stages,
                          std::span<const reference::soft_code<Bits>> codes)
{
    code_sums<Bits> sums{};
    for (std::size_t lane = 0; lane < codes.size(); ++lane) put_sums<Bits>(codes[lane], lane, sums);
    survivors<Bits> surviving;
    if constexpr (Bits == 32)
        stages.select_short_survivors(sums, codes.size(), surviving);
    else
        stages.select_long_survivors(sums, codes.size(), surviving);

    unsigned accepted = 0;
    for (std::size_t lane = 0; lane < codes.size(); ++lane) {
        const auto expected = reference::viterbi_decoder<Bits>(codes[lane]);
        if (trace_back(surviving, lane) != expected) return false;
        if (passes_crc_check(de_getCrc24<Bits>(expected))) accepted |= 1u << lane;
    }
    return check_crcs(surviving, codes.size()) == accepted;
}

} // namespace tonelink::test
