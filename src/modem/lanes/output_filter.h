// The output filter's steps, side by side for the parts of a block. These are plain loops: the
// compilers find the vectors of floats and doubles by themselves.
#pragma once

#include <cfloat>

#include "modem/filter_taps.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace output_filter {

static_assert(FLT_EVAL_METHOD == 0,
              "the filter's steps round to the precision they are written in");

// Its product with any sample rounds to the same float as the sample divided by the gain.
inline constexpr double kInverseGain = 1 / kOutputFilterGain;

/// One step of part `p`. What is float and what is double is part of the burst's definition.
TONELINK_INLINE int16_t next_output(int16_t sample, filter_histories &h, std::size_t p)
{
    const auto input = static_cast<float>(sample * kInverseGain);
    const float forward = (input + h.older_input[p]) - (h.newer_input[p] + h.newer_input[p]);
    const auto output =
        static_cast<float>(static_cast<double>(forward) + kOutputBeforeLast * h.older_output[p] +
                           kLastOutput * h.newer_output[p]);
    h.older_input[p] = h.newer_input[p];
    h.newer_input[p] = input;
    h.older_output[p] = h.newer_output[p];
    h.newer_output[p] = static_cast<double>(output);
    // Towards zero; what leaves 16 bits wraps, and nothing leaves 32.
    return static_cast<int16_t>(static_cast<int32_t>(output));
}

} // namespace output_filter

inline void filter_rows(filter_row *rows, std::size_t count, filter_histories &histories)
{
    for (std::size_t i = 0; i < count; ++i)
#pragma GCC unroll 1
        for (std::size_t p = 0; p < kFilterParts; ++p)
            rows[i][p] = output_filter::next_output(rows[i][p], histories, p);
}

} // namespace tonelink::TONELINK_SIMD
