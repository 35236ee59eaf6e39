// The subcarriers of one burst, estimated without regard to cost: in double precision, timed to a
// fraction of a sample, turned back by the scrambling and freed from the channel. For pictures and
// measurements; the receiver that decodes knows nothing of it.
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>

#include "burst_shape.h"
#include "message.h"

namespace tonelink::tool {

/// Of one burst in a row of samples at 44100 Hz.
struct subcarrier_estimate {
    struct point {
        std::complex<double> value; ///< near `ideal` when the burst is clear
        double ideal;               ///< what was sent: 1 or -1, always 1 for pilots
        double error() const { return std::norm(value - ideal); }
        bool is_wrong() const { return value.real() * ideal < 0; }
    };

    /// The burst's first sample, and how much longer it lasts than at its sender's 44100 Hz.
    double start;
    double stretch;
    bool knows_message; ///< `ideal` comes from the message; else it is the nearest one
    std::array<std::array<point, kSubcarriers>, kSymbols> points;

    /// Symbols count from 1 to 16, subcarriers from 2 to 62.
    const point &at(std::size_t symbol, std::size_t subcarrier) const
    {
        return points[symbol - 1][subcarrier - kFirstSubcarrier];
    }

    /// The offset of the two clocks: by how many millionths its tones are higher than they should
    /// be.
    double clock_offset_ppm() const { return (1 / stretch - 1) * 1e6; }

    /// Mean square error against the ideal points' power, in dB.
    double data_error_db() const;
    double pilot_error_db() const;
    double error_db() const;

    /// Data subcarriers on the wrong side.
    int wrong_data() const;
};

/// An error of a single point or a mean of them as decibels, -100 at least.
double error_in_db(double error);

/// @param samples  with the whole burst in it; what is missing counts as silence
/// @param start    about the burst's first sample: 200 too early or too late are made good
/// @param message  of 32 or 48 bits; empty when it is not known
subcarrier_estimate estimate_subcarriers(std::span<const int16_t> samples, double start,
                                         const message_bits &message);

} // namespace tonelink::tool
