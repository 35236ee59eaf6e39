#include "modem/reference/channel_decoder.h"

#include <algorithm>

#include "modem/code_tables.h"

namespace tonelink::reference {

soft_code<32> de_puncture(const soft_channel &soft)
{
    std::array<int32_t, 2 * std::tuple_size_v<soft_code<32>>> copies{}; // an erasure is 0
    std::size_t dropped = 0;
    for (std::size_t position = 0; position < copies.size(); ++position) {
        if (position == static_cast<std::size_t>(punct_msg[dropped]))
            ++dropped;
        else
            copies[position] = soft[position - dropped];
    }
    soft_code<32> code;
    for (std::size_t j = 0; j < code.size(); ++j) code[j] = copies[j] + copies[j + code.size()];
    return code;
}

soft_code<48> de_repeat(const soft_channel &soft)
{
    soft_code<48> code;
    std::copy_n(soft.begin(), code.size(), code.begin());
    for (std::size_t k = 0; k < repeat_perm_msg.size(); ++k)
        code[static_cast<std::size_t>(repeat_perm_msg[k])] += soft[code.size() + k];
    return code;
}

namespace {

constexpr std::size_t kStates = 64;
constexpr int32_t kStartBias = 500000; // what favours state 0 at the start; no state is forbidden

using path_metrics = std::array<int32_t, kStates>;

/// How well the soft values of a step agree with each of the 16 combinations of its code bits.
std::array<int32_t, 16> branch_metrics(const int32_t *soft)
{
    std::array<int32_t, 16> metrics{};
    for (std::size_t code = 0; code < metrics.size(); ++code)
        for (std::size_t k = 0; k < kCodeOutputs; ++k)
            metrics[code] += (code >> k & 1) != 0 ? -soft[k] : soft[k];
    return metrics;
}

} // namespace

template <std::size_t Bits> encoder_input<Bits> viterbi_decoder(const soft_code<Bits> &soft)
{
    constexpr std::size_t kSteps = std::tuple_size_v<encoder_input<Bits>>;
    path_metrics old{};
    old[0] = kStartBias;
    std::array<std::array<uint8_t, kStates>, kSteps> survivors; // the better predecessor

    for (std::size_t t = 0; t < kSteps; ++t) {
        const auto branches = branch_metrics(&soft[kCodeOutputs * t]);
        path_metrics now;
        for (std::size_t s = 0; s < kStates; ++s) {
            const std::size_t zero = s >> 1; // the predecessor whose oldest bit is 0
            const std::size_t one = zero + 32;
            const int32_t m = branches[outBits[s]];
            const int32_t a = old[zero] + m;
            const int32_t b = old[one] - m;
            now[s] = a > b ? a : b;
            survivors[t][s] = static_cast<uint8_t>(a > b ? zero : one);
        }
        for (std::size_t s = 0; s < kStates; ++s) old[s] = now[s] - now[0];
    }

    encoder_input<Bits> decoded;
    std::size_t state = 0;
    for (std::size_t t = kSteps; t-- > 0;) {
        decoded[t] = state & 1;
        state = survivors[t][state];
    }
    return decoded;
}

template encoder_input<32> viterbi_decoder<32>(const soft_code<32> &);
template encoder_input<48> viterbi_decoder<48>(const soft_code<48> &);

} // namespace tonelink::reference
