#include "modem/spectrum_mirror.h"

#include <bit>
#include <cstring>

#include "modem/fixed_point.h"

namespace tonelink {

void mirror_spectrum(std::span<int16_t> samples, std::size_t first)
{
    if (first == 0 && !samples.empty()) {
        samples[0] = low16(-samples[0]);
        samples = samples.subspan(1);
    }
    if constexpr (std::endian::native == std::endian::big) {
        for (std::size_t i = 1; i < samples.size(); i += 2) samples[i] = low16(-samples[i]);
        return;
    }
    // Two samples a word, of which the second is in the upper half: -x is ~x + 1 there.
    for (std::size_t i = 0; i + 1 < samples.size(); i += 2) {
        uint32_t word;
        std::memcpy(&word, &samples[i], sizeof word);
        word = (word ^ 0xFFFF0000u) + 0x10000u;
        std::memcpy(&samples[i], &word, sizeof word);
    }
}

} // namespace tonelink
