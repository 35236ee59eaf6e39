// What the figures of a path mean: whether bursts get through, and what is wrong if something is.
// One fault mostly has several symptoms; the fault is named, and not they.
#pragma once

#include <string>
#include <vector>

#include "check/path_figures.h"

namespace tonelink::tool {

enum class path_reason {
    no_output,      ///< the loudspeaker's device cannot be used
    no_input,       ///< the microphone's device cannot be used
    rate_too_low,   ///< a device runs at a rate that has no room for the band
    silent,         ///< not even noise arrives
    nothing_heard,  ///< sound arrives, but not what was played
    samples_lost,   ///< parts of the sound are missing
    echo_cancelled, ///< something takes away what is played, or turns its level
    band_cut,       ///< the response ends below the band's upper edge
    resampled,      ///< tones have doubles, as a bad resampler makes them
    clipped,        ///< loud sound is cut off
    noise,          ///< the band is noisy
    too_weak,       ///< little of what is played arrives
    uneven,         ///< some of the band arrives much weaker than the rest
    clock,          ///< the pace is off by more than receivers follow
    audible,        ///< what is played in the band is heard below it
    unread,         ///< none of these, and yet no burst was read
};

/// good: nothing is wrong; limited: something is, and bursts get through; bad: they do not.
enum class path_state { good, limited, bad };

struct path_verdict {
    path_state state;
    std::vector<path_reason> reasons; ///< in the order in which to look after them
};

/// What a check was asked to do.
struct check_task {
    bool plays = true; ///< the probe, so that it should be heard
    bool hears = true;
    double output_rate = 0, input_rate = 0; ///< of the devices, 0 where there is none
    bool cancels_echo = false; ///< whether the microphone is known to be behind a canceller
};

path_verdict judge_path(const path_figures &figures, const check_task &task);

/// Stable words, for programs: "band_cut", "limited".
std::string word_for(path_reason reason);
std::string word_for(path_state state);

/// A reason with its figures and what to do about it, as a sentence.
std::string advice_on(path_reason reason, const path_figures &figures, const check_task &task);

} // namespace tonelink::tool
