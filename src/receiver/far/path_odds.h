// How probable it is that a path is the word that was sent: from the energy of its candidate, from
// how well any word fits, and from how much better this path fits than the others.
//
// The weights come from a logistic regression over simulated recordings, and a table of how often
// paths of a probability were right holds them: bench/far.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/far/path_list.h"

namespace tonelink {

/// What is known of a candidate before its data are looked at.
struct candidate_odds {
    float excess = 0;          ///< of its energy over the threshold
    float crowding = 0;        ///< candidates a second, of those that nothing explains
    bool is_side_peak = false; ///< it looks like a part of a burst that is known
};

/// Natural logarithms of odds that a candidate holds a word of a length within the first paths.
/// @param evidence  that the data are a code word, as a natural logarithm: of the first look,
double odds_at_first(const candidate_odds &candidate, double evidence);
/// and of the last one.
double odds_at_last(const candidate_odds &candidate, double evidence);

/// Whether it is worth while to go on with a length after the first look.
bool is_worth_estimating(double odds, double evidence);
/// And with its list after the last look.
bool is_worth_a_list(double odds);

/// The paths of one candidate and one length that are worth a trial.
class likely_paths {
public:
    /// @param probability  that the word is among the first paths at all
    /// @param log_sum      ln of the sum of e^(M/2) over all paths, M being a path's metric
    void begin(const code_values &values, double probability, double log_sum);

    /// Finds more paths; false: these were all.
    bool find(std::size_t count);

    std::size_t size() const { return count_; }
    const path_bits &bits(std::size_t n) const { return bits_[n]; }
    /// After the last find().
    float probability(std::size_t n) const;

private:
    void begin_with(float metric);

    path_list list_;
    std::array<path_bits, path_list::kMostPaths> bits_;
    std::array<float, path_list::kMostPaths> weights_; // falling from 1
    std::size_t count_ = 0;
    double probability_ = 0;
    double log_sum_ = 0;
    float best_ = 0; // the first path's metric
    /// What the weights of all words of the code add up to, by metrics that are taken at their
    /// word.
    double of_all_ = 0;
    double sum_ = 0; // of the weights
};

} // namespace tonelink
