// Estimates the channel of a burst from what is known of its subcarriers: as a few paths within a
// window of delays, whose powers are learnt from the burst itself.
// Source: M. E. Tipping, "Sparse Bayesian learning and the relevance vector machine", 2001, with
// D. J. C. MacKay's update of the powers.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/far/cells.h"

namespace tonelink {

/// What the cells say about each subcarrier: the channel is value / weight, give or take a variance
/// of 1 / weight.
struct subcarrier_evidence {
    subcarrier_row value{};
    cell_row weight{};
};

/// A channel that turns from symbol to symbol, but not otherwise: its gain in each.
using symbol_gains = std::array<float_complex, kSymbols>;

/// Adds up a burst's evidence of the channel for cells of expected values: what is known the better
/// counts the more.
subcarrier_evidence gather_evidence(const cell_evidence &cells, const expected_cells &expected,
                                    const symbol_gains &gains);

/// Real is float or double: the taps are twice as dense as the band resolves.
template <class Real> class channel_estimate {
public:
    static constexpr int kEarliest = -6; // baseband samples: paths before the loudest one,
    static constexpr int kLatest = 29;   // and behind it
    static constexpr std::size_t kTaps = kLatest - kEarliest + 1;

    channel_estimate();

    /// Forgets what was learnt: all delays are as likely again.
    void restart(const subcarrier_evidence &evidence);

    /// Learns for some rounds, then estimates the channel; silence has none.
    void estimate(const subcarrier_evidence &evidence, int rounds);

    const subcarrier_row &channel() const { return channel_; }
    /// The variance of its error.
    const cell_row &error() const { return error_; }

private:
    static constexpr std::size_t kRow = 40; // taps, and zeros behind them
    struct row {
        alignas(32) std::array<Real, kRow> re;
        alignas(32) std::array<Real, kRow> im;
    };

    /// e^(j 2 pi n / 128).
    basic_complex<Real> turn(int n) const
    {
        return turns_[static_cast<std::size_t>(n) % kBodySamples];
    }
    void correlate(const subcarrier_evidence &evidence);
    void solve();
    void learn();
    void transform_taps();

    std::array<basic_complex<Real>, kBodySamples> turns_;
    std::array<Real, kTaps> tap_power_;
    Real least_power_ = 0;

    // The evidence in terms of delays: correlations by their distance, and with the values.
    std::array<basic_complex<Real>, kTaps> correlation_;
    std::array<basic_complex<Real>, kTaps> projection_;

    std::array<row, kTaps> factor_; // the inverse of the lower factor, once solved
    std::array<Real, kTaps> pivot_;
    std::array<basic_complex<Real>, kTaps> taps_;
    std::array<Real, kTaps> shrinkage_; // a tap's posterior variance over its prior one

    subcarrier_row channel_{};
    cell_row error_{};
};

extern template class channel_estimate<float>;
extern template class channel_estimate<double>;

} // namespace tonelink
