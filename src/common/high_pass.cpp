#include "common/high_pass.h"

#include <cfloat>

float xv[3];
float yv[3];

namespace tonelink {

namespace {

// Second-order Butterworth high-pass by the bilinear transform: corner at 17000 Hz of 44100 Hz,
// gain 1 at half the sample rate.
constexpr double kGain = 11.82886719;
constexpr double kOutputBeforeLast = -0.364264717;
constexpr double kLastOutput = -1.0261089211;

static_assert(FLT_EVAL_METHOD == 0,
              "the filter's steps round to the precision they are written in");

/// One step of the filter. What is float and what is double is part of the burst's definition.
float next_output(int16_t sample)
{
    xv[0] = xv[1];
    xv[1] = xv[2];
    xv[2] = static_cast<float>(sample / kGain);
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

void high_pass(std::span<int16_t> samples)
{
    for (int16_t &sample : samples) {
        // Towards zero; what leaves 16 bits wraps, and nothing leaves 32.
        sample = static_cast<int16_t>(static_cast<int32_t>(next_output(sample)));
    }
}

} // namespace tonelink
