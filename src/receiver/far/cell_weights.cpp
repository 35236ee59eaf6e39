#include "receiver/far/cell_weights.h"

#include <algorithm>

#include "receiver/far/median.h"

namespace tonelink {

namespace {

// In plain noise the powers of symbols spread by 0.13 of their mean, those of subcarriers by 0.25:
// these limits are five and six times that away.
constexpr float kLoudSymbol = 1.6f;     // times the median
constexpr float kLoudSubcarrier = 2.5f; // times the median

// Times the cells' power. Estimates in single precision hold down to here, and it is far below what
// a burst needs.
constexpr float kLeastNoise = 1e-3f;

/// 1 for what is not louder than `limit` times the median; for the rest what brings it down to the
/// median.
template <std::size_t Count>
std::array<float, Count> quieten(const std::array<float, Count> &powers, float limit)
{
    const float median = median_of(powers);
    std::array<float, Count> weights;
    for (std::size_t n = 0; n < Count; ++n)
        weights[n] = powers[n] > limit * median ? median / powers[n] : 1;
    return weights;
}

/// The spread of the pilots around the mean of their subcarrier. A mean takes one degree of
/// freedom.
float pilot_spread(const cell_grid &cells, const cell_weights &weights)
{
    float sum = 0;
    int freedom = 0;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        if (weights.subcarrier[i] < 1) continue;
        float_complex mean{};
        float power = 0;
        int count = 0;
        for (std::size_t s = i % 2; s < kSymbols; s += 2) {
            if (weights.symbol[s] < 1) continue;
            mean += cells[s][i];
            power += power_of(cells[s][i]);
            ++count;
        }
        if (count < 2) continue;
        sum += power - power_of(mean) / static_cast<float>(count);
        freedom += count - 1;
    }
    return freedom > 0 ? sum / static_cast<float>(freedom) : 0;
}

} // namespace

cell_weights weigh_cells(const cell_grid &cells)
{
    cell_weights weights;
    std::array<float, kSymbols> symbols{};
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (const float_complex cell : cells[s]) symbols[s] += power_of(cell);
    weights.symbol = quieten(symbols, kLoudSymbol);

    std::array<float, kSubcarriers> subcarriers{};
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t i = 0; i < kSubcarriers; ++i)
            subcarriers[i] += weights.symbol[s] * power_of(cells[s][i]);
    weights.subcarrier = quieten(subcarriers, kLoudSubcarrier);
    float power = 0;
    for (const float sum : symbols) power += sum;
    power /= kSymbols * kSubcarriers;
    weights.noise = std::max(pilot_spread(cells, weights), kLeastNoise * power);
    return weights;
}

void weight_evidence(const cell_grid &cells, const cell_weights &weights, cell_evidence &evidence)
{
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const float weight = weights.of(s, i) / weights.noise;
            evidence.value[s][i] = cells[s][i] * weight;
            evidence.weight[s][i] = weight;
        }
    }
}

} // namespace tonelink
