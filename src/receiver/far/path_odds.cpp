#include "receiver/far/path_odds.h"

#include <algorithm>
#include <cmath>

#include "receiver/far/path_queue.h"

namespace tonelink {

namespace {

// Weights of the regression over candidates of bench/far/far_mixed. Evidence is over-confident, as
// that of the last look holds what it has itself brought about: a quarter in place of 1.
constexpr double kOfFirstEvidence = 0.20;
constexpr double kOfFirstExcess = 0.22;
constexpr double kAtFirst = -6.5;
constexpr double kOfEvidence = 0.24;
constexpr double kOfExcess = 0.20;
constexpr double kAtLast = -6.5;
constexpr double kMostExcess = 15;
constexpr double kCrowd = 10; // candidates a second: more of them are each worth less
constexpr double kOfSidePeak = -2;

// Where to stop: less than a path in 2000 would be right.
constexpr double kLeastAtFirst = -6;
constexpr double kLeastEvidence = -8;
constexpr double kLeastForList = -9.3;

/// Paths' metrics are over-confident, too: with this temperature, the rank of the right path among
/// the others is likeliest.
constexpr float kTemperature = 1.5f;

/// What paths to come could add to the sum at most when the list ends before its bound.
constexpr double kShareLeft = 0.02;

} // namespace

double odds_at_first(const candidate_odds &candidate, double evidence)
{
    const double excess = std::min(double{candidate.excess}, kMostExcess);
    return kOfFirstEvidence * evidence + kOfFirstExcess * excess + kAtFirst;
}

double odds_at_last(const candidate_odds &candidate, double evidence)
{
    const double excess = std::min(double{candidate.excess}, kMostExcess);
    const double crowd = std::log(std::max(1.0, double{candidate.crowding} / kCrowd));
    return kOfEvidence * evidence + kOfExcess * excess + kAtLast - crowd +
           (candidate.is_side_peak ? kOfSidePeak : 0);
}

bool is_worth_estimating(double odds, double evidence)
{
    return odds >= kLeastAtFirst && evidence >= kLeastEvidence;
}

bool is_worth_a_list(double odds) { return odds >= kLeastForList; }

void likely_paths::begin(const code_values &values, double probability, double log_sum)
{
    list_.begin(values, path_list::kMostPaths);
    probability_ = probability;
    log_sum_ = log_sum;
    count_ = 0;
    sum_ = 0;
}

void likely_paths::begin_with(float metric)
{
    best_ = metric;
    of_all_ = std::exp(log_sum_ - double{metric} / 2);
}

bool likely_paths::find(std::size_t count)
{
    for (std::size_t n = 0; n < count; ++n) {
        if (!list_.next()) return false;
        if (count_ == 0) begin_with(list_.metric());
        const float weight = std::exp((list_.metric() - best_) / (2 * kTemperature));
        bits_[count_] = list_.bits();
        weights_[count_] = weight;
        sum_ += double{weight};
        ++count_;
        // The sum only grows: when even the best path is not worth a trial, none will be.
        if (probability(0) < path_queue::kLeastProbable) return false;
        const double left = double{weight} * static_cast<double>(path_list::kMostPaths - count_);
        if (left < kShareLeft * sum_ && probability(count_ - 1) < path_queue::kLeastProbable)
            return false;
    }
    return true;
}

float likely_paths::probability(std::size_t n) const
{
    return static_cast<float>(probability_ * double{weights_[n]} / std::max(sum_, of_all_));
}

} // namespace tonelink
