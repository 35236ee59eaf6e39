// Soft values of up to sixteen candidates: the fast decoder decides as the reference one in every
// lane, and accepts the same.
#include <algorithm>

#include "fuzz/input.h"
#include "support/decoding.h"

namespace {

using namespace tonelink;

/// Soft values as the bytes have them: in turn any, small ones with many ties, or the largest.
reference::soft_channel read_soft_values(fuzz::input &from)
{
    const uint8_t kind = from.byte();
    reference::soft_channel soft;
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

template <std::size_t Bits> void decode(fuzz::input &from, std::size_t count)
{
    std::vector<reference::soft_code<Bits>> codes;
    for (std::size_t lane = 0; lane < count; ++lane)
        codes.push_back(reference::recover_rate<Bits>(read_soft_values(from)));
    for (const vector_stages *const stages : available_stages())
        REQUIRE(test::decides_as_reference<Bits>(*stages, codes));
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
