// One candidate straight through: from where copies of a burst were detected to the paths that may
// be its message. The lengths differ from the soft values on.
#pragma once

#include "receiver/far/copy_sum.h"
#include "receiver/far/forward_backward.h"
#include "receiver/far/path_list.h"
#include "receiver/far/refinement.h"
#include "receiver/far/turning_channel.h"

namespace tonelink {

class burst_decoder {
public:
    /// Refines the copies' places, adds them up and estimates the channel from the pilots.
    /// @returns false: there is nothing but silence
    bool begin(const cell_reader &reader, const far_sound &sound, const copy_set &copies);

    /// Reads the data for a message length through the channel that the pilots have told.
    /// @returns how much likelier they are a code word of that length than random, as a natural
    ///          logarithm
    double look(std::size_t message_bits);

    /// Estimates the channel once more, with what the code makes of the data, and reads the data
    /// again, after look(). The evidence then holds what it has itself brought about.
    double look_again();

    /// Of the last look.
    const code_values &values() const { return values_; }
    double randomness() const { return randomness_; }
    /// ln of the sum of e^(M/2) over all paths.
    double log_sum() const { return log_sum_; }

    const copy_set &copies() const { return copies_; }

private:
    void estimate_channel(const expected_cells &expected, int rounds);
    double read();

    copy_refiner refiner_;
    copy_set copies_;
    copy_sum sum_;
    turning_channel turning_;
    channel_estimate<float> first_channel_; // from the pilots
    symbol_gains first_gains_;
    channel_estimate<float> channel_;
    symbol_gains gains_;

    std::size_t message_bits_ = 0;
    forward_backward code_;
    code_values values_;
    expected_bits bits_;
    expected_cells expected_;
    double randomness_ = 0;
    double log_sum_ = 0;
};

} // namespace tonelink
