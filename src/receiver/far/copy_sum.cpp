#include "receiver/far/copy_sum.h"

#include <algorithm>
#include <cmath>

#include "receiver/far/turning_channel.h"

namespace tonelink {

namespace {

constexpr expected_cells kPilotCells = pilots_alone();
constexpr std::size_t kRounds = 8; // between gains and channel
constexpr int kFirstLearnt = 12;   // rounds of learning from the loudest copy

} // namespace

void copy_sum::begin(const copy_set &copies, const std::array<float, kMostCopies> &energies)
{
    copies_ = copies;
    const auto *const end = energies.data() + copies.count;
    loudest_ = static_cast<std::size_t>(std::max_element(energies.data(), end) - energies.data());
    slices_ = 0;
    is_silent_ = false;
}

/// Reads the copies; finds the channel of the loudest one; finds the gains that make each copy of
/// the channel and the channel that all share, in turn.
bool copy_sum::step(const cell_reader &reader, const far_sound &sound)
{
    std::size_t slice = slices_++;
    if (slice < copies_.count) {
        read(slice, reader, sound);
        return is_silent_ || copies_.count == 1;
    }
    slice -= copies_.count;
    if (slice == 0) {
        channel_.restart(pilots_[loudest_]);
        channel_.estimate(pilots_[loudest_], kFirstLearnt);
        return false;
    }
    turn_copies();
    if (slice < kRounds) return false;
    add_copies();
    return true;
}

/// A copy alone is the sum already.
void copy_sum::read(std::size_t copy, const cell_reader &reader, const far_sound &sound)
{
    reader.read(sound, copies_.places[copy], cell_reader::guard::averaged, cells_[copy]);
    weights_[copy] = weigh_cells(cells_[copy]);
    is_silent_ = weights_[copy].noise <= 0;
    if (is_silent_) return;
    weight_evidence(cells_[copy], weights_[copy], sum_);
    pilots_[copy] = gather_evidence(sum_, kPilotCells, steady_gains());
}

void copy_sum::turn_copies()
{
    const subcarrier_row &channel = channel_.channel();
    float power = 0;
    for (std::size_t copy = 0; copy < copies_.count; ++copy) {
        float_complex sum{};
        float weight = 0;
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            sum += conjugate(channel[i]) * pilots_[copy].value[i];
            weight += power_of(channel[i]) * pilots_[copy].weight[i];
        }
        gains_[copy] = weight > 0 ? sum * (1 / weight) : float_complex{1, 0};
        power += power_of(gains_[copy]);
    }
    const float scale = power > 0 ? std::sqrt(static_cast<float>(copies_.count) / power) : 0;
    subcarrier_evidence together;
    for (std::size_t copy = 0; copy < copies_.count; ++copy) {
        gains_[copy] = gains_[copy] * scale;
        const float_complex back = conjugate(gains_[copy]);
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            together.value[i] += pilots_[copy].value[i] * back;
            together.weight[i] += pilots_[copy].weight[i] * power_of(back);
        }
    }
    channel_.estimate(together, 1);
}

void copy_sum::add_copies()
{
    sum_ = {};
    for (std::size_t copy = 0; copy < copies_.count; ++copy) {
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
