// Measures a burst that is known to be there: where it begins, its clock, its level and its noise.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/symbol_spectra.h"

namespace tonelink {

struct burst_figures {
    double first_sample = 0; ///< of the burst, at 44100 Hz; the loudest path counts
    float clock_ppm = 0;     ///< how much faster the sender's clock runs
    float snr_db = 0;        ///< the burst's power over the noise's, both in its band
    float level_dbfs = 0;    ///< its power; a sine of full scale has 0
    float noise_dbfs = 0;    ///< the noise's, in the same band
};

/// Goes over the burst's symbols three times, each time knowing better where they are. The work is
/// cut into steps, so that a stream's receiver can spread it over time.
class burst_meter {
public:
    explicit burst_meter(const symbol_reader &reader) : reader_{&reader} {}

    /// Turns to the burst that begins about at `sample` at 44100 Hz: 10 ms off at most.
    /// @param clock  by which share its clock is thought to run faster
    void begin(double sample, double clock = 0);

    /// Does one step; returns whether the figures are there.
    bool step(const baseband &sound);

    const burst_figures &figures() const { return figures_; }

private:
    static constexpr int kRounds = 3;

    void correct_clock();
    void correct_start();
    void measure_power();

    const symbol_reader *reader_;
    burst_place place_;
    int round_ = 0;
    std::size_t row_ = 0;
    std::array<subcarrier_row, kSymbols> grid_;
    subcarrier_row channel_; // of each subcarrier, as its pilots have it
    burst_figures figures_;
};

} // namespace tonelink
