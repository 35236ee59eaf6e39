// One candidate straight through: from where copies of a burst were detected to the paths that may
// be its message. The lengths differ from the soft values on.
#pragma once

#include "receiver/far/copy_evidence.h"
#include "receiver/far/copy_sum.h"
#include "receiver/far/forward_backward.h"
#include "receiver/far/path_list.h"
#include "receiver/far/refinement.h"
#include "receiver/far/turning_channel.h"

namespace tonelink {

/// The work is cut into slices of up to about 0.1 ms.
class burst_decoder {
public:
    /// Turns to another candidate.
    void begin(const copy_set &copies);

    /// Does a slice of what comes first: refines the copies' places, adds them up and estimates the
    /// channel from the pilots. Returns whether it was the last one.
    bool prepare(const cell_reader &reader, const far_sound &sound);

    /// About what the next slice costs, of prepare() or of estimate_again(): microseconds of an
    /// ordinary processor, by estimate and not by a clock, so that they are the same everywhere.
    int slice_cost() const;

    /// Whether prepare() has found nothing but silence.
    bool is_silent() const { return sum_.is_silent(); }

    /// Reads the data for a message length through the channel that the pilots have told, a slice.
    /// @returns how much likelier they are a code word of that length than random, as a natural
    ///          logarithm
    double look(std::size_t message_bits);

    /// After a look, does a slice of estimating the channel once more with what the code makes of
    /// the data. Returns whether it was the last one; then read_again() can follow.
    bool estimate_again();

    /// Reads the data through that channel, as look() does. Such evidence holds what it has itself
    /// brought about.
    double read_again() { return read(); }

    /// Both.
    double look_again()
    {
        while (!estimate_again()) {
        }
        return read_again();
    }

    /// Of the last look.
    const code_values &values() const { return values_; }
    double randomness() const { return randomness_; }
    /// ln of the sum of e^(M/2) over all paths.
    double log_sum() const { return log_sum_; }

    const copy_set &copies() const { return refiner_.copies(); }

    /// As the pilots have told it.
    shared_channel channel() const { return {first_channel_.channel(), first_gains_}; }

private:
    enum class stage { refining, adding, estimating };

    bool estimate_channel(const expected_cells &expected, int rounds);
    double read();

    stage stage_ = stage::refining;
    int alternations_ = 0; // that the estimate has had
    copy_refiner refiner_;
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
