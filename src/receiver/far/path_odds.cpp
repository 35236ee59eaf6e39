#include "receiver/far/path_odds.h"

#include <algorithm>
#include <cmath>

#include "receiver/far/path_queue.h"

namespace tonelink {

namespace {

// Weights of the regression. Evidence is over-confident, as it holds what it brought about: 0.2 in
// place of 1.
constexpr double kOfEvidence = 0.20;
constexpr double kOfExcess = 0.22;
constexpr double kMostExcess = 15;
constexpr double kAtFirst = -6.5;
constexpr double kAtLast = -7.3;
constexpr double kCrowd = 10; // candidates a second: more of them are each worth less
constexpr double kOfSidePeak = -3;

// Where to stop: less than a path in 2000 would be right.
constexpr double kLeastAtFirst = -6;
constexpr double kLeastEvidence = -8;
constexpr double kLeastForList = -9.3;

/// Paths' metrics are over-confident, too: they count half.
constexpr float kTemperature = 2;

/// What paths to come could add to the sum at most when the list ends before its bound.
constexpr double kShareLeft = 0.02;

} // namespace

double odds_at_first(const candidate_odds &candidate, double evidence)
{
    return kOfEvidence * evidence + kOfExcess * std::min(double{candidate.excess}, kMostExcess) +
           kAtFirst;
}

double odds_at_last(const candidate_odds &candidate, double evidence)
{
    return kOfEvidence * evidence + kOfExcess * std::min(double{candidate.excess}, kMostExcess) +
           kAtLast - std::log(std::max(1.0, double{candidate.crowding} / kCrowd)) +
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

bool likely_paths::find(std::size_t count)
{
    for (std::size_t n = 0; n < count; ++n) {
        if (!list_.next()) return false;
        if (count_ == 0) best_ = list_.metric();
        const float weight = std::exp((list_.metric() - best_) / (2 * kTemperature));
        bits_[count_] = list_.bits();
        weights_[count_] = weight;
        sum_ += double{weight};
        ++count_;
        const double left = double{weight} * static_cast<double>(path_list::kMostPaths - count_);
        if (left < kShareLeft * sum_ && probability(count_ - 1) < path_queue::kLeastProbable)
            return false;
    }
    return true;
}

float likely_paths::probability(std::size_t n) const
{
    // Among all words of the code, too, by metrics that are taken at their word.
    const double of_all = std::exp(log_sum_ - double{best_} / 2);
    return static_cast<float>(probability_ * double{weights_[n]} / std::max(sum_, of_all));
}

} // namespace tonelink
