#include "modem/plain/demodulator.h"

#include <algorithm>

#include "modem/code_tables.h"
#include "modem/fixed_point.h"
#include "modem/plain/modulator.h"

namespace tonelink::plain {

namespace {

constexpr int32_t kSoftLimit = 500000;

constexpr std::size_t carrier(std::size_t s, std::size_t k) { return kSubcarriers * s + k; }

/// The mean of two pilots, each halved towards zero.
cplx16 mean(cplx16 a, cplx16 b) { return {low16(a.re / 2 + b.re / 2), low16(a.im / 2 + b.im / 2)}; }

} // namespace

int32_t align_exponents(candidate &burst)
{
    const int32_t largest = std::max<int32_t>(0, *std::ranges::max_element(burst.exponents));
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const int32_t shift = largest - burst.exponents[s];
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            cplx16 &bin = burst.bins[carrier(s, k)];
            bin = {low16(bin.re >> shift), low16(bin.im >> shift)};
        }
    }
    return largest;
}

void descramble(carriers &bins)
{
    for (std::size_t i = 0; i < bins.size(); ++i) {
        const auto [x, y] = bins[i];
        const auto [c, d] = phase_factor(phi_scr[i]);
        // Both products, then one shift: at most 2 x 32768 x 32767, below 2^31.
        bins[i] = {low16((x * c + y * d) >> 15), low16((y * c - x * d) >> 15)};
    }
}

carriers spread_pilots(const carriers &bins)
{
    carriers grid;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            const std::size_t at = carrier(s, k);
            if (is_pilot(s + 1, kFirstSubcarrier + k))
                grid[at] = bins[at];
            else if (s == 0)
                grid[at] = bins[carrier(1, k)];
            else if (s == kSymbols - 1)
                grid[at] = bins[carrier(kSymbols - 2, k)];
            else
                grid[at] = mean(bins[carrier(s - 1, k)], bins[carrier(s + 1, k)]);
        }
    }
    return grid;
}

carriers estimate_channel(const carriers &grid)
{
    carriers estimate{};
    const auto add = [](cplx16 &sum, cplx16 value, int16_t weight) {
        sum = {low16(sum.re + mul_q15(value.re, weight)),
               low16(sum.im + mul_q15(value.im, weight))};
    };
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            cplx16 &sum = estimate[carrier(s, k)];
            if (k > 0) add(sum, grid[carrier(s, k - 1)], coef_equ_freq[1]);
            add(sum, grid[carrier(s, k)], coef_equ_freq[0]);
            if (k + 1 < kSubcarriers) add(sum, grid[carrier(s, k + 1)], coef_equ_freq[1]);
        }
    }
    return estimate;
}

std::array<int32_t, kCarriers> soft_carriers(const carriers &bins, const carriers &channel,
                                             int32_t exponent)
{
    std::array<int32_t, kCarriers> soft;
    for (std::size_t i = 0; i < soft.size(); ++i) {
        // An estimate is at most 11470 in each part: below 2^30.
        const int32_t product = bins[i].re * channel[i].re + bins[i].im * channel[i].im;
        soft[i] = std::clamp(-(product >> (15 - 2 * exponent)), -kSoftLimit, kSoftLimit);
    }
    return soft;
}

soft_channel extract_data(const std::array<int32_t, kCarriers> &soft)
{
    soft_channel data;
    std::size_t bit = 0;
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            if (!is_pilot(s + 1, kFirstSubcarrier + k)) data[bit++] = soft[carrier(s, k)];
    return data;
}

soft_channel deinterleave(const soft_channel &spread)
{
    soft_channel soft;
    for (std::size_t i = 0; i < spread.size(); ++i)
        soft[static_cast<std::size_t>(perm_msg[i])] = spread[i];
    return soft;
}

soft_channel demodulate(candidate burst)
{
    const int32_t exponent = align_exponents(burst);
    descramble(burst.bins);
    const carriers channel = estimate_channel(spread_pilots(burst.bins));
    return deinterleave(extract_data(soft_carriers(burst.bins, channel, exponent)));
}

} // namespace tonelink::plain
