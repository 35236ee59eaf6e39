// Bursts that wait to be measured, and the measuring of one after the other in small steps.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "receiver/baseband.h"
#include "receiver/burst_meter.h"
#include "receiver/far/far_message.h"
#include "receiver/heard_bursts.h"
#include "toolkit/function_ref.h"

namespace tonelink {

/// A burst that was heard by a method, or one that was only seen.
struct found_burst {
    heard_burst heard{};              ///< by the exact method; without positions: not by it
    double sample = 0;                ///< about its first one, at 44100 Hz
    std::optional<far_message> far{}; ///< by the far method

    bool is_heard() const { return heard.positions > 0 || far; }
};

class burst_measuring {
public:
    explicit burst_measuring(const symbol_reader &reader) : meter_{reader} {}

    /// Puts a burst behind those that wait. When 16 wait already, one that was only seen is left
    /// out for one that was heard.
    void add(const found_burst &burst);

    bool empty() const { return count_ == 0; }

    /// Whether one that was heard waits and is around a place.
    bool covers(double sample) const;

    /// Does some steps; tells `sink` of each burst that is measured by then.
    void advance(int steps, const baseband &sound,
                 function_ref<void(const found_burst &, const burst_figures &)> sink);

    /// Begins a new stream.
    void restart();

private:
    bool finish_guess(bool is_heard);
    void remove(std::size_t index);

    burst_meter meter_;
    std::array<found_burst, 16> waiting_; // the first one is being measured
    std::size_t count_ = 0;
    bool is_measuring_ = false;
    std::size_t guess_ = 0;      // at its clock
    burst_figures best_figures_; // of the guesses so far
};

} // namespace tonelink
