#include "receiver/far/copy_sum.h"

#include <algorithm>
#include <cmath>

#include "receiver/far/turning_channel.h"

namespace tonelink {

namespace {

constexpr expected_cells kPilots = pilots_alone();
constexpr int kRounds = 8;       // between gains and channel
constexpr int kFirstLearnt = 12; // rounds of learning from the loudest copy

} // namespace

bool copy_sum::add_up(const cell_reader &reader, const far_sound &sound, const copy_set &copies,
                      const std::array<float, kMostCopies> &energies)
{
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        reader.read(sound, copies.places[copy], cell_reader::guard::averaged, cells_[copy]);
        weights_[copy] = weigh_cells(cells_[copy]);
        if (weights_[copy].noise <= 0) return false;
        weight_evidence(cells_[copy], weights_[copy], sum_);
        pilots_[copy] = gather_evidence(sum_, kPilots, steady_gains());
    }
    if (copies.count == 1) return true;
    const auto loudest = std::max_element(energies.begin(), energies.begin() + copies.count);
    find_gains(copies.count, static_cast<std::size_t>(loudest - energies.begin()));
    add_copies(copies.count);
    return true;
}

/// The channel that all share and the gains that make each copy of it, in turn.
void copy_sum::find_gains(std::size_t count, std::size_t loudest)
{
    channel_.restart(pilots_[loudest]);
    channel_.estimate(pilots_[loudest], kFirstLearnt);
    for (int round = 0; round < kRounds; ++round) {
        const subcarrier_row &channel = channel_.channel();
        float power = 0;
        for (std::size_t copy = 0; copy < count; ++copy) {
            float_complex sum{};
            float weight = 0;
            for (std::size_t i = 0; i < kSubcarriers; ++i) {
                sum += conjugate(channel[i]) * pilots_[copy].value[i];
                weight += power_of(channel[i]) * pilots_[copy].weight[i];
            }
            gains_[copy] = weight > 0 ? sum * (1 / weight) : float_complex{1, 0};
            power += power_of(gains_[copy]);
        }
        const float scale = power > 0 ? std::sqrt(static_cast<float>(count) / power) : 0;
        subcarrier_evidence together;
        for (std::size_t copy = 0; copy < count; ++copy) {
            gains_[copy] = gains_[copy] * scale;
            const float_complex back = conjugate(gains_[copy]);
            for (std::size_t i = 0; i < kSubcarriers; ++i) {
                together.value[i] += pilots_[copy].value[i] * back;
                together.weight[i] += pilots_[copy].weight[i] * power_of(back);
            }
        }
        channel_.estimate(together, 1);
    }
}

void copy_sum::add_copies(std::size_t count)
{
    sum_ = {};
    for (std::size_t copy = 0; copy < count; ++copy) {
        const float_complex back = conjugate(gains_[copy]);
        const float power = power_of(back);
        for (std::size_t s = 0; s < kSymbols; ++s) {
            for (std::size_t i = 0; i < kSubcarriers; ++i) {
                const float weight = weights_[copy].of(s, i) / weights_[copy].noise;
                sum_.value[s][i] += cells_[copy][s][i] * (back * weight);
                sum_.weight[s][i] += weight * power;
            }
        }
    }
}

} // namespace tonelink
