#include "receiver/far/refinement.h"

#include <algorithm>

#include "receiver/far/cell_weights.h"

namespace tonelink {

namespace {

constexpr double kBasebandRate = kAudioRate / double{kInterpolation};

/// Turns from symbol to symbol for a clock that is wrong by 1: the subcarriers turn about alike.
constexpr double kTurnsOfClock =
    subcarrier_hz(baseband::kMiddle) * double{kSymbolSamples} / kBasebandRate;

// Steps to either side, first and second round.
constexpr int kClockSteps = 2;
constexpr double kCoarseClock = 15e-6;
constexpr double kFineClock = 6e-6;
constexpr int kLateSteps = 6; // of half a sample

// Of a copy alone.
constexpr int kOwnClockSteps = 8;
constexpr double kOwnClock = 15e-6;
constexpr int kOwnLateSteps = 2;

/// Own clocks must be worth so much for each copy: its energy in noise is 1.
constexpr float kWorthOwnClock = 3;

/// How much later a copy comes than the first one of its write, when clocks are corrected by
/// `clock`.
double drift_of(const copy_set &copies, std::size_t copy, double clock)
{
    return -clock * kCopyDistance * static_cast<double>(copy - copies.first_of_write(copy));
}

} // namespace

void copy_refiner::add_up_pilots(std::size_t copy, double clock)
{
    pilots_ = {};
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const float_complex turn = from_turns(kTurnsOfClock * clock * static_cast<double>(s));
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2)
            pilots_[i] += cells_[copy][s][i] * turn;
    }
}

float copy_refiner::energy_at(std::size_t copy, double late) const
{
    const float_complex to_next = from_turns(late / double{kBodySamples});
    float_complex turn{1, 0}, sum{};
    for (const float_complex pilot : pilots_) {
        sum += pilot * turn;
        turn = turn * to_next;
    }
    return power_of(sum) / noise_[copy];
}

copy_refiner::joint_correction copy_refiner::try_together(const copy_set &copies, double clock)
{
    std::array<std::array<float, 2 * kLateSteps + 1>, 2> energies{};
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        add_up_pilots(copy, clock);
        const double drift = drift_of(copies, copy, clock);
        auto &of_write = energies[copy < copies.second_write ? 0 : 1];
        for (int step = -kLateSteps; step <= kLateSteps; ++step)
            of_write[static_cast<std::size_t>(step + kLateSteps)] +=
                energy_at(copy, 0.5 * step + drift);
    }
    joint_correction best{clock};
    for (std::size_t write = 0; write < energies.size(); ++write) {
        const auto most = std::max_element(energies[write].begin(), energies[write].end());
        best.late[write] = 0.5 * static_cast<double>(most - energies[write].begin() - kLateSteps);
        best.energy += *most;
    }
    return best;
}

copy_refiner::correction copy_refiner::try_alone(std::size_t copy, const correction &around)
{
    correction best;
    for (int c = -kOwnClockSteps; c <= kOwnClockSteps; ++c) {
        const double clock = around.clock + kOwnClock * c;
        add_up_pilots(copy, clock);
        for (int t = -kOwnLateSteps; t <= kOwnLateSteps; ++t) {
            const double late = around.late + 0.5 * t;
            const float energy = energy_at(copy, late);
            if (energy > best.energy) best = {clock, late, energy};
        }
    }
    return best;
}

void copy_refiner::refine(const cell_reader &reader, const far_sound &sound, copy_set &copies,
                          std::array<float, kMostCopies> &energies)
{
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        reader.read(sound, copies.places[copy], cell_reader::guard::left, cells_[copy]);
        const cell_weights weights = weigh_cells(cells_[copy]);
        for (std::size_t s = 0; s < kSymbols; ++s)
            for (std::size_t i = 0; i < kSubcarriers; ++i)
                cells_[copy][s][i] = cells_[copy][s][i] * weights.of(s, i);
        constexpr float kLeast = 1e-30f; // silence
        noise_[copy] = kSymbols * kSubcarriers / 2 * std::max(weights.noise, kLeast);
    }

    joint_correction joint;
    for (const double step : {kCoarseClock, kFineClock}) {
        const double middle = joint.clock;
        for (int c = -kClockSteps; c <= kClockSteps; ++c) {
            const joint_correction tried = try_together(copies, middle + step * c);
            if (tried.energy > joint.energy) joint = tried;
        }
    }

    std::array<correction, kMostCopies> together{}, alone{};
    float gain = 0;
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        const double late = joint.late[copy < copies.second_write ? 0 : 1];
        together[copy] = {joint.clock, late + drift_of(copies, copy, joint.clock)};
        add_up_pilots(copy, joint.clock);
        together[copy].energy = energy_at(copy, together[copy].late);
        if (copies.count == 1) break;
        alone[copy] = try_alone(copy, together[copy]);
        gain += alone[copy].energy - together[copy].energy;
    }
    const bool have_own = gain > kWorthOwnClock * static_cast<float>(copies.count);
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        const correction &found = have_own ? alone[copy] : together[copy];
        copies.places[copy].first_body += found.late;
        copies.places[copy].clock += found.clock;
        energies[copy] = found.energy;
    }
}

} // namespace tonelink
