// From the cells and the channel to soft values of the code, and from what the code makes of them
// back to the cells.
#pragma once

#include "receiver/far/cells.h"
#include "receiver/far/channel_estimate.h"
#include "receiver/far/trellis.h"

namespace tonelink {

/// What a burst's data say: log likelihood ratios of bit 0 to bit 1, in the order of transmission.
using data_values = std::array<float, kChannelBits>;

/// The data as they look through a channel that is known up to an error of a variance.
data_values read_data(const cell_evidence &cells, const subcarrier_row &channel,
                      const cell_row &error, const symbol_gains &gains);

/// The sum of ln cosh(L/2) over the data: how likely they are if they are no code word, but random.
double randomness_of(const data_values &data);

/// Undoes interleaver and rate matching for a message of 32 or 48 bits.
code_values sum_repeats(const data_values &data, std::size_t message_bits);

/// Expected code bits, 1 for bit 1 to -1 for bit 0, as sum_repeats() orders them.
using expected_bits = std::array<std::array<float, kStepValues>, kMostSteps>;

/// The cells as the code expects them; pilots are 1.
void expect_cells(const expected_bits &bits, std::size_t message_bits, expected_cells &cells);

} // namespace tonelink
