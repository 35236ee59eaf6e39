#include "modem/channel_decoder.h"

#include <algorithm>

namespace tonelink {

namespace {

/// The four decisions of a state in a group of steps, the first one in bit 0.
template <std::size_t Bits>
unsigned decisions_at(const survivors<Bits> &surviving, std::size_t group, unsigned state,
                      std::size_t lane)
{
    return surviving.words[group][state / 8][lane] >> 4 * (state % 8) & 15;
}

/// Four bits in reverse. A decision is the oldest bit of a predecessor: so four of them, the first
/// one on top, are the four bits that the encoder took in six steps before and that now leave the
/// state.
constexpr std::array<uint8_t, 16> kReversed = {0, 8, 4, 12, 2, 10, 6, 14,
                                               1, 9, 5, 13, 3, 11, 7, 15};

/// The state four steps earlier.
constexpr unsigned predecessor(unsigned state, unsigned decided)
{
    return state >> 4 | unsigned{kReversed[decided]} << 2;
}

template <std::size_t Bits> constexpr const syndrome_table<Bits> &syndromes()
{
    if constexpr (Bits == 32)
        return kSyndromes32;
    else
        return kSyndromes48;
}

} // namespace

template <std::size_t Bits> unsigned check_crcs(const survivors<Bits> &surviving, std::size_t count)
{
    const syndrome_table<Bits> &table = syndromes<Bits>();
    std::array<unsigned, kBatch> states{}; // every path ends in state 0
    std::array<uint32_t, kBatch> sums{};
    for (std::size_t group = table.kNibbles; group-- > 0;) {
        for (std::size_t lane = 0; lane < count; ++lane) {
            const unsigned decided = decisions_at(surviving, group, states[lane], lane);
            states[lane] = predecessor(states[lane], decided);
            sums[lane] ^= table.of[group][kReversed[decided]];
        }
    }
    unsigned accepted = 0;
    for (std::size_t lane = 0; lane < count; ++lane)
        accepted |= (sums[lane] == table.wanted ? 1u : 0u) << lane;
    return accepted;
}

template <std::size_t Bits>
encoder_input<Bits> trace_back(const survivors<Bits> &surviving, std::size_t lane)
{
    encoder_input<Bits> decoded{}; // the tail is the last state's: zeros
    unsigned state = 0;
    for (std::size_t group = survivors<Bits>::kGroups; group-- > 0;) {
        const unsigned decided = decisions_at(surviving, group, state, lane);
        state = predecessor(state, decided);
        for (std::size_t bit = 0; bit < 4; ++bit) decoded[4 * group + bit] = decided >> bit & 1;
    }
    return decoded;
}

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

#define INSTANTIATE(Bits)                                                                          \
    template unsigned check_crcs(const survivors<Bits> &, std::size_t);                            \
    template encoder_input<Bits> trace_back(const survivors<Bits> &, std::size_t);                 \
    template received_message<Bits> de_getCrc24<Bits>(const encoder_input<Bits> &);
INSTANTIATE(32)
INSTANTIATE(48)
#undef INSTANTIATE

} // namespace tonelink
