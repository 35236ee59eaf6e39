#include "link/arrivals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace tonelink::bench {

namespace {

constexpr double kSigmas = 1.96; // hold 95 % of a normal distribution
constexpr int kDraws = 400;

/// The shares that fit best among those that never fall from one place to the next: where they do,
/// neighbours are pooled.
/// Source: M. Ayer and others, "An empirical distribution function for sampling with incomplete
/// information", 1955.
std::vector<double> rising_shares(const arrivals &of)
{
    struct pool {
        double sum;
        std::size_t places;
        double mean() const { return sum / static_cast<double>(places); }
    };
    std::vector<pool> pools;
    for (auto place = of.right.begin(); place != of.right.end(); ++place) {
        pool last{of.share_at(place), 1};
        while (!pools.empty() && pools.back().mean() >= last.mean()) {
            last.sum += pools.back().sum;
            last.places += pools.back().places;
            pools.pop_back();
        }
        pools.push_back(last);
    }
    std::vector<double> shares;
    for (const pool &each : pools) shares.insert(shares.end(), each.places, each.mean());
    return shares;
}

double place_of(const arrivals &of, double share)
{
    const std::vector<double> shares = rising_shares(of);
    const auto above = std::ranges::lower_bound(shares, share);
    if (above == shares.end()) return INFINITY;
    if (above == shares.begin()) return -INFINITY;
    const auto place = std::next(of.right.begin(), above - shares.begin());
    const double before = std::prev(place)->first, below = *std::prev(above);
    return before + (place->first - before) * (share - below) / (*above - below);
}

} // namespace

estimate share_of(int right, int trials)
{
    const double n = trials, p = right / n, z2 = kSigmas * kSigmas;
    const double middle = (p + z2 / (2 * n)) / (1 + z2 / n);
    const double half = kSigmas / (1 + z2 / n) * std::sqrt(p * (1 - p) / n + z2 / (4 * n * n));
    return {p, std::max(0.0, middle - half), std::min(1.0, middle + half)};
}

estimate arrivals::crossing(double share) const
{
    std::mt19937_64 random{1};
    std::vector<double> places;
    for (int draw = 0; draw < kDraws; ++draw) {
        arrivals drawn{trials, {}};
        for (auto it = right.begin(); it != right.end(); ++it) {
            // A rate between what was seen and half a trial less sure.
            const double rate = (it->second + 0.25) / (trials + 0.5);
            drawn.right[it->first] = std::binomial_distribution<int>{trials, rate}(random);
        }
        places.push_back(place_of(drawn, share));
    }
    std::ranges::sort(places);
    return {place_of(*this, share), places[kDraws / 40], places[kDraws - 1 - kDraws / 40]};
}

void print_estimate(const estimate &of, double plus)
{
    const char *before = "[";
    for (const double number : {of.value, of.low, of.high}) {
        if (std::isinf(number))
            std::printf("%s%s", before, number < 0 ? "-1e999" : "1e999");
        else
            std::printf("%s%.4f", before, number + plus);
        before = ", ";
    }
    std::printf("]");
}

void print_points(const arrivals &of, double plus)
{
    const char *before = "[";
    for (const auto &[place, right] : of.right) {
        const estimate share = share_of(right, of.trials);
        std::printf("%s[%g, %.4f, %.4f, %.4f]", before, place + plus, share.value, share.low,
                    share.high);
        before = ", ";
    }
    std::printf("]");
}

} // namespace tonelink::bench
