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

    /// Where the share reaches a level, on straight lines between the places, after those shares
    /// were pooled that fall from one place to the next; infinite: beyond the first place or the
    /// last. The interval is that of 400 repetitions drawn by the shares seen.
    estimate crossing(double share) const;
};

/// Prints an estimate as a row of three numbers in JSON, with something added to each; an infinite
/// one as 1e999, which readers take for that.
void print_estimate(const estimate &of, double plus = 0);

/// Prints a row for each place in JSON: the place, with something added, and the share of those
/// that were right with its interval.
void print_points(const arrivals &of, double plus = 0);

} // namespace tonelink::bench
