#include "receiver/far/channel_estimate.h"

#include <algorithm>
#include <cmath>

namespace tonelink {

namespace {

/// Delays turn subcarriers around the band's middle.
constexpr int kMiddleColumn = kSubcarriers / 2;

/// Of the channel's power: what each tap keeps, however little was found there.
constexpr float kLeastShare = 1e-9f;
/// Of the power of the noise: what the channel has at least before anything is learnt.
constexpr float kLeastStart = 0.1f;

/// Steps of learning stay finite for a tap of which the burst says nothing.
constexpr float kLeastLearnt = 0.02f;

} // namespace

subcarrier_evidence gather_evidence(const cell_evidence &cells, const expected_cells &expected,
                                    const symbol_gains &gains)
{
    subcarrier_evidence sums;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const float_complex back = conjugate(gains[s]);
        const float power = power_of(gains[s]);
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const float known = expected[s][i];
            sums.value[i] += cells.value[s][i] * back * known;
            sums.weight[i] += cells.weight[s][i] * power * known * known;
        }
    }
    return sums;
}

template <class Real> channel_estimate<Real>::channel_estimate()
{
    for (std::size_t n = 0; n < turns_.size(); ++n) {
        const double angle = 6.283185307179586 * static_cast<double>(n) / kBodySamples;
        turns_[n] = {static_cast<Real>(std::cos(angle)), static_cast<Real>(std::sin(angle))};
    }
}

template <class Real> void channel_estimate<Real>::restart(const subcarrier_evidence &evidence)
{
    // A value's power over its weight is the channel's times the weight, and 1 of noise.
    Real power = 0, weight = 0;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        if (evidence.weight[i] <= 0) continue;
        power += power_of(evidence.value[i]) / evidence.weight[i];
        weight += evidence.weight[i];
    }
    power = std::max(power - Real{kSubcarriers}, Real{kLeastStart} * Real{kSubcarriers});
    power = weight > 0 ? power / weight : 0;
    tap_power_.fill(power / Real{kTaps});
    least_power_ = Real{kLeastShare} * power;
}

template <class Real>
void channel_estimate<Real>::estimate(const subcarrier_evidence &evidence, int rounds)
{
    correlate(evidence);
    solve();
    for (int round = 0; round < rounds; ++round) {
        learn();
        solve();
    }
    transform_taps();
}

template <class Real> void channel_estimate<Real>::correlate(const subcarrier_evidence &evidence)
{
    for (int t = 0; t < int{kTaps}; ++t) {
        basic_complex<Real> correlation{}, projection{};
        for (int i = 0; i < int{kSubcarriers}; ++i) {
            const auto column = static_cast<std::size_t>(i);
            const int from_middle = i - kMiddleColumn;
            const basic_complex<Real> by_distance = turn(from_middle * t);
            const Real weight = evidence.weight[column];
            correlation += {by_distance.re * weight, by_distance.im * weight};
            projection +=
                basic_complex<Real>{evidence.value[column].re, evidence.value[column].im} *
                turn(from_middle * (t + kEarliest));
        }
        correlation_[static_cast<std::size_t>(t)] = correlation;
        projection_[static_cast<std::size_t>(t)] = projection;
    }
}

/// Solves (I + D G D) x = D b for taps of powers D^2: all eigenvalues are 1 or more. Elimination
/// row by row leaves the inverse of the lower triangular factor, M, where the factor was, and the
/// pivots d: the inverse of the matrix is M^H d^-1 M.
template <class Real> void channel_estimate<Real>::solve()
{
    std::array<Real, kTaps> amplitude;
    for (std::size_t t = 0; t < kTaps; ++t) amplitude[t] = std::sqrt(tap_power_[t]);
    for (std::size_t r = 0; r < kTaps; ++r) {
        row &line = factor_[r];
        line.re.fill(0);
        line.im.fill(0);
        for (std::size_t c = 0; c < kTaps; ++c) {
            const Real scale = amplitude[r] * amplitude[c];
            const basic_complex<Real> g =
                c <= r ? correlation_[r - c] : conjugate(correlation_[c - r]);
            line.re[c] = g.re * scale;
            line.im[c] = g.im * scale;
        }
        line.re[r] += 1;
        line.im[r] = 0;
    }
    row from;
    for (std::size_t k = 0; k < kTaps; ++k) {
        pivot_[k] = factor_[k].re[k];
        factor_[k].re[k] = 1;
        factor_[k].im[k] = 0;
        // What lies right of the pivot is the conjugate of what lies below it, and must be taken
        // from there: two halves that are rounded each for itself drift apart.
        from = factor_[k];
        for (std::size_t c = k + 1; c < kTaps; ++c) {
            from.re[c] = factor_[c].re[k];
            from.im[c] = -factor_[c].im[k];
        }
        for (std::size_t r = k + 1; r < kTaps; ++r) {
            row &line = factor_[r];
            const Real re = line.re[k] / pivot_[k], im = line.im[k] / pivot_[k];
            line.re[k] = 0;
            line.im[k] = 0;
            for (std::size_t c = 0; c < kRow; ++c) {
                line.re[c] -= re * from.re[c] - im * from.im[c];
                line.im[c] -= re * from.im[c] + im * from.re[c];
            }
        }
    }
    // Row r holds the inverse factor up to column r; behind it lies what elimination has used up.
    for (std::size_t r = 0; r < kTaps; ++r) {
        std::fill(factor_[r].re.begin() + static_cast<std::ptrdiff_t>(r) + 1, factor_[r].re.end(),
                  Real{0});
        std::fill(factor_[r].im.begin() + static_cast<std::ptrdiff_t>(r) + 1, factor_[r].im.end(),
                  Real{0});
    }

    std::array<Real, kRow> sum_re{}, sum_im{}, diagonal{};
    for (std::size_t r = 0; r < kTaps; ++r) {
        const row &line = factor_[r];
        Real re = 0, im = 0;
        for (std::size_t c = 0; c <= r; ++c) {
            const Real b_re = projection_[c].re * amplitude[c];
            const Real b_im = projection_[c].im * amplitude[c];
            re += line.re[c] * b_re - line.im[c] * b_im;
            im += line.re[c] * b_im + line.im[c] * b_re;
        }
        const Real inverse = 1 / pivot_[r];
        re *= inverse;
        im *= inverse;
        for (std::size_t c = 0; c < kRow; ++c) {
            sum_re[c] += line.re[c] * re + line.im[c] * im;
            sum_im[c] += line.re[c] * im - line.im[c] * re;
            diagonal[c] += (line.re[c] * line.re[c] + line.im[c] * line.im[c]) * inverse;
        }
    }
    for (std::size_t t = 0; t < kTaps; ++t) {
        taps_[t] = {sum_re[t] * amplitude[t], sum_im[t] * amplitude[t]};
        shrinkage_[t] = diagonal[t];
    }
}

/// A tap's power is what was found there, over the share of it that the burst and not the prior has
/// said; half a step at a time.
template <class Real> void channel_estimate<Real>::learn()
{
    for (std::size_t t = 0; t < kTaps; ++t) {
        const Real learnt = std::max(1 - shrinkage_[t], Real{kLeastLearnt});
        const Real found = power_of(taps_[t]) / learnt;
        tap_power_[t] = std::max((tap_power_[t] + found) / 2, least_power_);
    }
}

template <class Real> void channel_estimate<Real>::transform_taps()
{
    // The posterior covariance of the taps, added up by their distance.
    std::array<basic_complex<Real>, kTaps> spread{};
    std::array<basic_complex<Real>, kTaps> line;
    for (std::size_t r = 0; r < kTaps; ++r) {
        const Real root = std::sqrt(1 / pivot_[r]);
        for (std::size_t c = 0; c <= r; ++c) {
            const Real scale = root * std::sqrt(tap_power_[c]);
            line[c] = {factor_[r].re[c] * scale, factor_[r].im[c] * scale};
        }
        for (std::size_t distance = 0; distance <= r; ++distance)
            for (std::size_t c = 0; c + distance <= r; ++c)
                spread[distance] += line[c] * conjugate(line[c + distance]);
    }
    for (int i = 0; i < int{kSubcarriers}; ++i) {
        const int from_middle = i - kMiddleColumn;
        basic_complex<Real> sum{};
        Real variance = spread[0].re;
        for (int t = 0; t < int{kTaps}; ++t) {
            const auto tap = static_cast<std::size_t>(t);
            sum += taps_[tap] * turn(-from_middle * (t + kEarliest));
            if (t > 0) variance += 2 * (spread[tap] * turn(-from_middle * t)).re;
        }
        const auto column = static_cast<std::size_t>(i);
        channel_[column] = {static_cast<float>(sum.re), static_cast<float>(sum.im)};
        error_[column] = static_cast<float>(std::max(variance, Real{0}));
    }
}

template class channel_estimate<float>;
template class channel_estimate<double>;

} // namespace tonelink
