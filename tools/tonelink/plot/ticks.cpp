#include "plot/ticks.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tonelink::tool {
namespace {

/// The distance of ticks, 1, 2 or 5 times a power of ten, so that at most `most` fit into a range.
double tick_step(double range, double most)
{
    const double power = std::pow(10, std::floor(std::log10(range / most)));
    for (const double step : {1.0, 2.0, 5.0})
        if (range / (step * power) <= most) return step * power;
    return 10 * power;
}

int decimals_of(double step)
{
    return std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
}

} // namespace

std::string decimal(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, std::abs(value));
    return value < 0 ? std::string{"\u2212"} + text : text;
}

ticks::ticks(double low, double high, double most)
    : step{tick_step(high - low, most)}, first{std::llround(std::ceil(low / step - 1e-9))},
      last{std::llround(std::floor(high / step + 1e-9))}, decimals{decimals_of(step)}
{
}

} // namespace tonelink::tool
