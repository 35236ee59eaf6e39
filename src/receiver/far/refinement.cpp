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
constexpr std::size_t kClocks = 2 * kClockSteps + 1;
constexpr double kCoarseClock = 15e-6;
constexpr double kFineClock = 6e-6;
constexpr int kLateSteps = 6; // of half a sample

constexpr double late_of(std::size_t step)
{
    return 0.5 * (static_cast<double>(step) - kLateSteps);
}

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

copy_refiner::joint_correction copy_refiner::try_together(double clock)
{
    std::array<std::array<float, 2 * kLateSteps + 1>, 2> energies{};
    for (std::size_t copy = 0; copy < copies_.count; ++copy) {
        add_up_pilots(copy, clock);
        const double drift = drift_of(copies_, copy, clock);
        auto &of_write = energies[copy < copies_.second_write ? 0 : 1];
        for (std::size_t step = 0; step < of_write.size(); ++step)
            of_write[step] += energy_at(copy, late_of(step) + drift);
    }
    joint_correction best{clock};
    for (std::size_t write = 0; write < energies.size(); ++write) {
        const auto most = std::max_element(energies[write].begin(), energies[write].end());
        best.late[write] = late_of(static_cast<std::size_t>(most - energies[write].begin()));
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

void copy_refiner::begin(const copy_set &copies)
{
    copies_ = copies;
    slices_ = 0;
    joint_ = {};
    middle_ = 0;
}

void copy_refiner::read(std::size_t copy, const cell_reader &reader, const far_sound &sound)
{
    cell_grid &cells = cells_[copy];
    reader.read(sound, copies_.places[copy], cell_reader::guard::left, cells);
    const cell_weights weights = weigh_cells(cells);
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t i = 0; i < kSubcarriers; ++i) cells[s][i] = cells[s][i] * weights.of(s, i);
    constexpr float kLeast = 1e-30f; // silence
    noise_[copy] = kPilotCount * std::max(weights.noise, kLeast);
}

/// A copy with the clock that is best for all of them.
copy_refiner::correction copy_refiner::take_together(std::size_t copy)
{
    const double late = joint_.late[copy < copies_.second_write ? 0 : 1];
    correction taken{joint_.clock, late + drift_of(copies_, copy, joint_.clock)};
    add_up_pilots(copy, taken.clock);
    taken.energy = energy_at(copy, taken.late);
    return taken;
}

/// Reads the copies, tries clocks for all of them in two rounds, then each copy alone.
bool copy_refiner::step(const cell_reader &reader, const far_sound &sound)
{
    std::size_t slice = slices_++;
    if (slice < copies_.count) {
        read(slice, reader, sound);
        return false;
    }
    slice -= copies_.count;
    if (slice < 2 * kClocks) {
        if (slice % kClocks == 0) middle_ = joint_.clock;
        const double step = slice < kClocks ? kCoarseClock : kFineClock;
        const int steps = static_cast<int>(slice % kClocks) - kClockSteps;
        const joint_correction tried = try_together(middle_ + step * steps);
        if (tried.energy > joint_.energy) joint_ = tried;
        return false;
    }
    const std::size_t copy = slice - 2 * kClocks;
    together_[copy] = take_together(copy);
    if (copies_.count > 1) alone_[copy] = try_alone(copy, together_[copy]);
    if (copy + 1 < copies_.count) return false;
    settle();
    return true;
}

void copy_refiner::settle()
{
    float gain = 0;
    for (std::size_t copy = 0; copies_.count > 1 && copy < copies_.count; ++copy)
        gain += alone_[copy].energy - together_[copy].energy;
    const bool have_own = gain > kWorthOwnClock * static_cast<float>(copies_.count);
    for (std::size_t copy = 0; copy < copies_.count; ++copy) {
        const correction &found = have_own ? alone_[copy] : together_[copy];
        copies_.places[copy].first_body += found.late;
        copies_.places[copy].clock += found.clock;
        energies_[copy] = found.energy;
    }
}

} // namespace tonelink
