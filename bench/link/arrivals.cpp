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

double place_of(const arrivals &of, double share)
{
    double at = NAN;
    for (auto it = of.right.begin(); it != of.right.end(); ++it) {
        const auto next = std::next(it);
        if (next == of.right.end()) break;
        const double below = of.share_at(it), above = of.share_at(next);
        if (below < share && above >= share)
            at = it->first + (next->first - it->first) * (share - below) / (above - below);
    }
    return at;
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
        const double at = place_of(drawn, share);
        if (!std::isnan(at)) places.push_back(at);
    }
    if (places.empty()) return {place_of(*this, share), NAN, NAN};
    std::ranges::sort(places);
    return {place_of(*this, share), places[places.size() / 40], places[places.size() * 39 / 40]};
}

void print_estimate(const estimate &of, double plus)
{
    if (std::isnan(of.value) || std::isnan(of.low))
        std::printf("[null, null, null]");
    else
        std::printf("[%.4f, %.4f, %.4f]", of.value + plus, of.low + plus, of.high + plus);
}

} // namespace tonelink::bench
