// What each copy says of itself once the word is known that it should hold: whether there is a
// burst at all, and how far it is above the noise. A sum over copies does not tell: it is as well
// heard where one of them is noise.
#pragma once

#include "receiver/far/cell_reader.h"
#include "receiver/far/channel_estimate.h"
#include "receiver/far/copy_set.h"
#include "receiver/far/known_words.h"

namespace tonelink {

/// What the copies of a candidate share.
struct shared_channel {
    subcarrier_row channel{};
    symbol_gains gains{};
};

/// Copies of which each holds a burst, as far as can be told.
struct present_copies {
    /// Those; and behind each write as many as were not there before it, which the sum takes for
    /// its own and does not know yet.
    copy_set write;
    burst_place last{};    ///< the last one that is there
    std::size_t count = 0; ///< how many are there
    float snr = 0;         ///< of one in its band, on average
};

class copy_evidence {
public:
    /// Leaves out what is noise at the ends of each write.
    present_copies look(const copy_set &copies, const code_word &word, const shared_channel &shared,
                        const cell_reader &reader, const far_sound &sound);

private:
    void read(const burst_place &place, const shared_channel &shared, const cell_reader &reader,
              const far_sound &sound);
    float likeness(const subcarrier_row &channel) const;
    float snr() const;

    expected_cells expected_;
    cell_grid cells_;
    subcarrier_row mean_;  // of each subcarrier of a copy, the data taken off
    cell_row variance_;    // of its noise; 0: nothing is known
    float noise_ = 0;      // of a cell
    float gain_power_ = 0; // of a symbol, on average
};

} // namespace tonelink
