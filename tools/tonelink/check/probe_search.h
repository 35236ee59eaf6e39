// Finds the probe in a recording by its chirps, each of which stands out of noise by far when the
// recording is compared with it.
#pragma once

#include <optional>
#include <span>

namespace tonelink::tool {

/// Where a probe is in a recording, and at what pace.
struct probe_place {
    double start; ///< seconds from the recording's beginning to that of the first chirp
    double pace;  ///< seconds of the recording for one of the probe
    /// By how many decibels the last chirp is louder than the first; none where only one of both
    /// was heard.
    std::optional<double> change_db;
    bool has_first; ///< whether the first chirp was heard

    /// When something in the probe begins.
    double at(double probe_seconds) const { return start + pace * probe_seconds; }
};

/// None where no chirp is heard.
/// @param rate  of the recording, samples a second
std::optional<probe_place> find_probe(std::span<const float> recording, double rate);

} // namespace tonelink::tool
