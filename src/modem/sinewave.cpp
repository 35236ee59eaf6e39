// The sine table that transforms and oscillators read. It is exported as a plain C array, while
// only a std::array can be computed at compile time: so that is what is computed, under a name with
// C linkage, and the C array is its alias.
#include <array>

#include "modem/burst_format.h"
#include "modem/sine.h"
#include "tonelink/modem.h"

namespace {

using three_quarters = std::array<int16_t, tonelink::kSinePeriod / 4 * 3>;

constexpr three_quarters make_sinewave()
{
    three_quarters table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table[i] = tonelink::sine_q15(i, tonelink::kSinePeriod);
    return table;
}

} // namespace

extern "C" {
extern const three_quarters tonelink_sinewave_values;
constexpr three_quarters tonelink_sinewave_values = make_sinewave();
extern const int16_t Sinewave[6144] __attribute__((alias("tonelink_sinewave_values")));
}
