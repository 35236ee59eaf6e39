// Soft values of up to sixteen candidates: the fast decoder decides as the plain one in every lane,
// and accepts the same.
#include <algorithm>

#include "fuzz/input.h"
#include "modem/channel_decoder.h"
#include "modem/plain/channel_decoder.h"
#include "modem/vector_stages.h"

namespace {

using namespace tonelink;

/// Soft values as the bytes have them: in turn any, small ones with many ties, or the largest.
plain::soft_channel read_soft_values(fuzz::input &from)
{
    const uint8_t kind = from.byte();
    plain::soft_channel soft;
    for (std::size_t i = 0; i < soft.size(); ++i) {
        if (kind % 4 == 0)
            soft[i] = std::clamp(from.word(), -500000, 500000);
        else if (kind % 4 == 1)
            soft[i] = static_cast<int8_t>(from.byte()) / 64;
        else if (kind % 4 == 2)
            soft[i] = from.byte() % 2 == 0 ? 500000 : -500000;
        else
            soft[i] = from.half() * 15;
    }
    return soft;
}

void search(const vector_stages &stages, const code_sums<32> &sums, std::size_t count,
            path_decisions<32> &decisions)
{
    stages.search_short_paths(sums, count, decisions);
}
void search(const vector_stages &stages, const code_sums<48> &sums, std::size_t count,
            path_decisions<48> &decisions)
{
    stages.search_long_paths(sums, count, decisions);
}

template <std::size_t Bits> void decode(fuzz::input &from, std::size_t count)
{
    code_sums<Bits> sums{};
    std::vector<encoder_input<Bits>> expected;
    unsigned accepted = 0;
    for (std::size_t lane = 0; lane < count; ++lane) {
        const auto code = plain::recover_rate<Bits>(read_soft_values(from));
        for (std::size_t t = 0; t < sums.kSteps; ++t) {
            sums.sums[3 * t][lane] = code[4 * t] + code[4 * t + 3];
            sums.sums[3 * t + 1][lane] = code[4 * t + 1];
            sums.sums[3 * t + 2][lane] = code[4 * t + 2];
        }
        expected.push_back(plain::viterbi_decoder<Bits>(code));
        if (is_accepted(de_getCrc24<Bits>(expected.back()))) accepted |= 1u << lane;
    }
    for (const vector_stages *const stages : available_stages()) {
        path_decisions<Bits> decisions;
        search(*stages, sums, count, decisions);
        for (std::size_t lane = 0; lane < count; ++lane)
            REQUIRE(trace_back(decisions, lane) == expected[lane]);
        REQUIRE(find_accepted(decisions, count) == accepted);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    fuzz::input from{data, size};
    const uint8_t shape = from.byte();
    const std::size_t count = 1 + shape / 2 % kBatch;
    if (shape % 2 == 0)
        decode<32>(from, count);
    else
        decode<48>(from, count);
    return 0;
}
