// The numbers along an axis.
#pragma once

#include <cstdint>
#include <string>

namespace tonelink::tool {

/// A number with so many digits after the point and a true minus sign.
std::string decimal(double value, int decimals);

/// The multiples of some step that fall into a range: which ones, and how they are written. The
/// step is 1, 2 or 5 times a power of ten.
struct ticks {
    double step;
    int64_t first, last;
    int decimals;

    /// @param most  how many fit
    ticks(double low, double high, double most);

    double value(int64_t tick) const { return static_cast<double>(tick) * step; }
    std::string text(int64_t tick) const { return decimal(value(tick), decimals); }
};

} // namespace tonelink::tool
