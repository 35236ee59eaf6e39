#include "modem/reference/output_filter.h"

#include <cfloat>

#include "modem/filter_taps.h"

namespace tonelink::reference {

namespace {

static_assert(FLT_EVAL_METHOD == 0,
              "the filter's steps round to the precision they are written in");

/// One step of the filter. What is float and what is double is part of the burst's definition.
float next_output(int16_t sample)
{
    xv[0] = xv[1];
    xv[1] = xv[2];
    xv[2] = static_cast<float>(sample / kOutputFilterGain);
    yv[0] = yv[1];
    yv[1] = yv[2];
    const float forward = (xv[2] + xv[0]) - (xv[1] + xv[1]);
    const double sum = static_cast<double>(forward) +
                       kOutputBeforeLast * static_cast<double>(yv[0]) +
                       kLastOutput * static_cast<double>(yv[1]);
    yv[2] = static_cast<float>(sum);
    return yv[2];
}

} // namespace

void filter_output(std::span<int16_t> samples)
{
    for (int16_t &sample : samples) {
        // Towards zero; what leaves 16 bits wraps, and nothing leaves 32.
        sample = static_cast<int16_t>(static_cast<int32_t>(next_output(sample)));
    }
}

} // namespace tonelink::reference
