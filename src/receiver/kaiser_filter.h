// Low-pass filters by windowing: the ideal response under a Kaiser window.
// Source: J. F. Kaiser, "Nonrecursive digital filter design using the I0-sinh window function",
// 1974: the window's shape and length for an attenuation and a width of the transition.
#pragma once

#include <cmath>
#include <cstddef>

namespace tonelink {

/// A low-pass of unit gain over continuous time, counted in samples of its input.
class kaiser_filter {
public:
    /// @param cutoff  the middle of the transition, in cycles a sample
    /// @param half_length  samples to each side of its middle
    kaiser_filter(double cutoff, double half_length, double attenuation_db)
        : cutoff_{cutoff}, half_length_{half_length}, beta_{0.1102 * (attenuation_db - 8.7)},
          at_middle_{bessel_i0(beta_)}
    {
    }

    /// Its response at a time from its middle.
    double operator()(double time) const
    {
        const double share = time / half_length_;
        if (share <= -1 || share >= 1) return 0;
        const double window = bessel_i0(beta_ * std::sqrt(1 - share * share)) / at_middle_;
        const double angle = 2 * 3.141592653589793 * cutoff_ * time;
        return 2 * cutoff_ * window * (angle == 0 ? 1 : std::sin(angle) / angle);
    }

    /// How many samples a filter needs whose transition is `width` cycles a sample wide.
    static double length_for(double width, double attenuation_db)
    {
        return (attenuation_db - 7.95) / (2.285 * 2 * 3.141592653589793 * width) + 1;
    }

private:
    /// The modified Bessel function of the first kind and order 0, by its power series.
    static double bessel_i0(double x)
    {
        double term = 1, sum = 1;
        for (int k = 1; term > 1e-12 * sum; ++k) {
            term *= x * x / (4.0 * k * k);
            sum += term;
        }
        return sum;
    }

    double cutoff_;
    double half_length_;
    double beta_;
    double at_middle_;
};

} // namespace tonelink
