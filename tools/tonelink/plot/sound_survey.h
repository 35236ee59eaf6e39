// What a sound holds, in one look at all of it: its format, its length and its bursts, those that
// were decoded and those that only their structure tells.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <tonelink/receiver.h>

#include "message.h"
#include "plot/burst_finder.h"
#include "sound_file.h"

namespace tonelink::tool {

struct sound_burst {
    double start_s;       ///< of its first sample, from the start of the sound
    double fit;           ///< as found by its structure, or 0 when it was decoded alone
    message_bits message; ///< empty when it was not decoded

    bool is_decoded() const { return !message.empty(); }
};

struct sound_survey {
    int sample_rate = 0;
    int channels = 0;
    int64_t samples = 0;
    std::vector<sound_burst> bursts; ///< in the order of time
    std::string remark{};            ///< as sound_reader has it

    std::size_t decoded() const;
};

/// Reads the sound from front to back, twice at the same time. Throws failure.
/// @param progressed  is told which share has been read
sound_survey survey_sound(const sound_source &source,
                          const std::function<void(double)> &progressed = {});

/// Puts together what both ways of looking saw. What was decoded counts, and what was found at the
/// same place tells more exactly where it begins; what else was found in the middle of it does not
/// exist, and what was found elsewhere was not decoded.
std::vector<sound_burst> join_bursts(std::span<const found_burst> found,
                                     std::span<const tonelink_heard> heard);

} // namespace tonelink::tool
