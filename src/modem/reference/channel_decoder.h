// Rate recovery and Viterbi decoder, one candidate at a time: the definitions that the decoder of
// many candidates side by side is held to. A soft value is positive for a code bit 0, negative for
// a 1, and says the more the larger it is; 0 says nothing.
#pragma once

#include <array>
#include <cstdint>

#include "modem/channel_encoder.h"

namespace tonelink::reference {

/// A burst's soft values in the order of its channel bits before the interleaver.
using soft_channel = std::array<int32_t, kChannelBits>;
/// A soft value for each bit of the convolutional code: two subcarriers' worth or less.
template <std::size_t Bits> using soft_code = std::array<int32_t, kCodedBits<Bits>>;

/// 32 bits: adds up the two copies of each code bit, of which `punct_msg` dropped some.
soft_code<32> de_puncture(const soft_channel &soft);

/// 48 bits: adds the repeated code bits to the first ones.
soft_code<48> de_repeat(const soft_channel &soft);

/// recover_rate<32>() is de_puncture(), recover_rate<48>() is de_repeat().
template <std::size_t Bits> soft_code<Bits> recover_rate(const soft_channel &soft);
template <> inline soft_code<32> recover_rate<32>(const soft_channel &soft)
{
    return de_puncture(soft);
}
template <> inline soft_code<48> recover_rate<48>(const soft_channel &soft)
{
    return de_repeat(soft);
}

/// The input of the encoder that the soft values, up to 1000000 in size, speak for most.
template <std::size_t Bits> encoder_input<Bits> viterbi_decoder(const soft_code<Bits> &soft);

} // namespace tonelink::reference
