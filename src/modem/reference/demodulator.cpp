#include "modem/reference/demodulator.h"

#include <algorithm>

#include "modem/code_tables.h"
#include "modem/fixed_point.h"
#include "modem/reference/modulator.h"

namespace tonelink::reference {

namespace {

constexpr int32_t kSoftLimit = 500000;

constexpr std::size_t place_of(std::size_t s, std::size_t k) { return kSubcarriers * s + k; }

/// The mean of two pilots, each halved towards zero.
cplx16 mean(cplx16 a, cplx16 b) { return {low16(a.re / 2 + b.re / 2), low16(a.im / 2 + b.im / 2)}; }

} // namespace

int32_t align_exponents(candidate &burst)
{
    const int32_t largest = std::max<int32_t>(0, *std::ranges::max_element(burst.exponents));
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const int32_t shift = largest - burst.exponents[s];
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            cplx16 &subcarrier = burst.subcarriers[place_of(s, k)];
            subcarrier = {low16(subcarrier.re >> shift), low16(subcarrier.im >> shift)};
        }
    }
    return largest;
}

void descramble(subcarrier_values &subcarriers)
{
    for (std::size_t i = 0; i < subcarriers.size(); ++i) {
        const auto [x, y] = subcarriers[i];
        const auto [c, d] = phase_factor(phi_scr[i]);
        // Both products, then one shift: at most 2 x 32768 x 32767, below 2^31.
        subcarriers[i] = {low16((x * c + y * d) >> 15), low16((y * c - x * d) >> 15)};
    }
}

subcarrier_values spread_pilots(const subcarrier_values &subcarriers)
{
    subcarrier_values grid;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            const std::size_t at = place_of(s, k);
            if (is_pilot(s + 1, kFirstSubcarrier + k))
                grid[at] = subcarriers[at];
            else if (s == 0)
                grid[at] = subcarriers[place_of(1, k)];
            else if (s == kSymbols - 1)
                grid[at] = subcarriers[place_of(kSymbols - 2, k)];
            else
                grid[at] = mean(subcarriers[place_of(s - 1, k)], subcarriers[place_of(s + 1, k)]);
        }
    }
    return grid;
}

subcarrier_values estimate_channel(const subcarrier_values &grid)
{
    subcarrier_values estimate{};
    const auto add = [](cplx16 &sum, cplx16 value, int16_t weight) {
        sum = {low16(sum.re + mul_q15(value.re, weight)),
               low16(sum.im + mul_q15(value.im, weight))};
    };
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            cplx16 &sum = estimate[place_of(s, k)];
            if (k > 0) add(sum, grid[place_of(s, k - 1)], coef_equ_freq[1]);
            add(sum, grid[place_of(s, k)], coef_equ_freq[0]);
            if (k + 1 < kSubcarriers) add(sum, grid[place_of(s, k + 1)], coef_equ_freq[1]);
        }
    }
    return estimate;
}

std::array<int32_t, kBurstSubcarriers> soft_subcarriers(const subcarrier_values &subcarriers,
                                                        const subcarrier_values &channel,
                                                        int32_t exponent)
{
    std::array<int32_t, kBurstSubcarriers> soft;
    for (std::size_t i = 0; i < soft.size(); ++i) {
        // An estimate is at most 11470 in each part: below 2^30.
        const int32_t product =
            subcarriers[i].re * channel[i].re + subcarriers[i].im * channel[i].im;
        soft[i] = std::clamp(-(product >> (15 - 2 * exponent)), -kSoftLimit, kSoftLimit);
    }
    return soft;
}

soft_channel extract_data(const std::array<int32_t, kBurstSubcarriers> &soft)
{
    soft_channel data;
    std::size_t bit = 0;
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            if (!is_pilot(s + 1, kFirstSubcarrier + k)) data[bit++] = soft[place_of(s, k)];
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
    descramble(burst.subcarriers);
    const subcarrier_values channel = estimate_channel(spread_pilots(burst.subcarriers));
    return deinterleave(extract_data(soft_subcarriers(burst.subcarriers, channel, exponent)));
}

} // namespace tonelink::reference
