// How many of so many messages arrive, over something such as the signal-to-noise ratio: where that
// share crosses a level, and how sure both are.
#pragma once

#include <map>

namespace tonelink::bench {

/// With 95 of 100 repetitions of a measurement the interval holds what is true.
struct estimate {
    double value, low, high;
};

/// Source: E. B. Wilson, "Probable inference, the law of succession, and statistical inference",
/// 1927.
estimate share_of(int right, int trials);

/// Of so many trials at each place, how many were right.
struct arrivals {
    int trials = 0;
    std::map<double, int> right;

    double share_at(std::map<double, int>::const_iterator place) const
    {
        return static_cast<double>(place->second) / trials;
    }

    /// Where the share rises through a level for the last time, on straight lines between the
    /// places; NaN: nowhere. The interval is that of 400 repetitions drawn by the shares seen.
    estimate crossing(double share) const;
};

/// Prints an estimate as a row of three numbers in JSON, with something added to each; nulls where
/// there is none.
void print_estimate(const estimate &of, double plus = 0);

} // namespace tonelink::bench
