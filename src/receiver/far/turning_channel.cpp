#include "receiver/far/turning_channel.h"

#include <algorithm>
#include <cmath>

namespace tonelink {

namespace {

/// How long a gain stays about the same: at 0.1 m/s the path becomes half a wave longer in 90 ms.
constexpr double kSteadySeconds = 0.15;

/// Variance that keeps the equations solvable: symbols side by side are almost the same one.
constexpr double kLeastVariance = 1e-4;

/// A symbol of which nothing is known has gains of any size.
constexpr double kUnknown = 1e6;

} // namespace

turning_channel::turning_channel()
{
    for (std::size_t n = 0; n < likeness_.size(); ++n) {
        const double distance = kSymbolSeconds * static_cast<double>(n) / kSteadySeconds;
        likeness_[n] = std::exp(-distance * distance / 2);
    }
}

symbol_gains turning_channel::estimate(const cell_evidence &cells, const expected_cells &expected,
                                       const subcarrier_row &channel) const
{
    // Each symbol by itself, and the variance of that; then K (K + variances)^-1 times it.
    std::array<basic_complex<double>, kSymbols> solution;
    std::array<std::array<double, kSymbols>, kSymbols> matrix; // its lower triangle
    for (std::size_t s = 0; s < kSymbols; ++s) {
        float_complex value{};
        float weight = 0;
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const float known = expected[s][i];
            value += cells.value[s][i] * conjugate(channel[i]) * known;
            weight += cells.weight[s][i] * power_of(channel[i]) * known * known;
        }
        const double variance = weight > 0 ? std::min(1.0 / double{weight}, kUnknown) : kUnknown;
        solution[s] = {double{value.re} * variance, double{value.im} * variance};
        for (std::size_t q = 0; q <= s; ++q) matrix[s][q] = likeness_[s - q];
        matrix[s][s] += variance + kLeastVariance;
    }
    // Cholesky: forward with the factorisation, then back.
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t q = 0; q < s; ++q) {
            for (std::size_t k = 0; k < q; ++k) matrix[s][q] -= matrix[s][k] * matrix[q][k];
            matrix[s][q] /= matrix[q][q];
            matrix[s][s] -= matrix[s][q] * matrix[s][q];
            solution[s].re -= matrix[s][q] * solution[q].re;
            solution[s].im -= matrix[s][q] * solution[q].im;
        }
        matrix[s][s] = std::sqrt(matrix[s][s]);
        solution[s].re /= matrix[s][s];
        solution[s].im /= matrix[s][s];
    }
    for (std::size_t s = kSymbols; s-- > 0;) {
        solution[s].re /= matrix[s][s];
        solution[s].im /= matrix[s][s];
        for (std::size_t q = 0; q < s; ++q) {
            solution[q].re -= matrix[s][q] * solution[s].re;
            solution[q].im -= matrix[s][q] * solution[s].im;
        }
    }
    symbol_gains gains;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        basic_complex<double> sum{};
        for (std::size_t q = 0; q < kSymbols; ++q) {
            const double likeness = likeness_[s > q ? s - q : q - s];
            sum.re += likeness * solution[q].re;
            sum.im += likeness * solution[q].im;
        }
        gains[s] = {static_cast<float>(sum.re), static_cast<float>(sum.im)};
    }
    return gains;
}

} // namespace tonelink
