// The sine table that transforms and oscillators read. It is exported as a plain C array, while
// only a std::array can be computed at compile time: so that is what is computed, under a name with
// C linkage, and the C array is its alias.
#include <array>

#include "modem/sine.h"
#include "tonelink/modem.h"

namespace {

constexpr std::array<int16_t, 6144> make_sinewave()
{
    std::array<int16_t, 6144> table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = tonelink::sine_q15(i, 8192);
    return table;
}

} // namespace

extern "C" {
extern const std::array<int16_t, 6144> tonelink_sinewave_values;
constexpr std::array<int16_t, 6144> tonelink_sinewave_values = make_sinewave();
extern const int16_t Sinewave[6144] __attribute__((alias("tonelink_sinewave_values")));
}
