#include "modem/channel_decoder.h"

#include <algorithm>

namespace tonelink {

template <std::size_t Bits> received_message<Bits> de_getCrc24(const encoder_input<Bits> &decoded)
{
    protected_block<Bits> block;
    for (std::size_t k = 0; k < block.size(); ++k)
        block[message_format<Bits>::permutation[k]] = decoded[k];
    whiten<Bits>(block);

    received_message<Bits> received{};
    std::copy_n(block.begin(), Bits, received.bits.begin());
    for (std::size_t k = Bits; k < block.size(); ++k) received.crc = received.crc << 1 | block[k];
    return received;
}

template received_message<32> de_getCrc24<32>(const encoder_input<32> &);
template received_message<48> de_getCrc24<48>(const encoder_input<48> &);

} // namespace tonelink
