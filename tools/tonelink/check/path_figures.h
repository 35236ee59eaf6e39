// What a recording of the probe tells of the path that it went: of the loudspeaker, the room, the
// microphone, and all the software on the way. Sees samples alone, and judges nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "check/probe.h"

namespace tonelink::tool {

/// What was heard.
struct recording {
    std::vector<float> samples; ///< full scale is 1
    double rate = 0;            ///< samples a second
    /// The sample at which the probe's first chirp was given to the loudspeaker, if it was.
    std::optional<double> played_at;
    double played_dbfs = 0;   ///< the level that the probe was made at
    int64_t lost_samples = 0; ///< that were not read in time
};

/// The response at one frequency.
struct response_point {
    double hz;
    double db; ///< what was heard beside what was played; of noise where that is all there is
};

/// The noise at one frequency.
struct noise_point {
    double hz;
    double dbfs; ///< in 100 Hz
};

/// Levels are in dB of a sine of full scale. What could not be measured is none.
struct path_figures {
    double seconds = 0;       ///< of the recording
    double level_dbfs = -200; ///< of all of it
    int64_t clipped_samples = 0;
    int64_t lost_samples = 0;
    std::vector<noise_point> noise;   ///< over all that the recording holds, with no sound played
    std::optional<double> noise_dbfs; ///< in the band of the bursts, where the rate has room for it

    // All below is there where the probe was heard.
    bool heard = false;
    std::optional<double> latency_ms; ///< from the device's buffer to the recording
    std::optional<double> clock_ppm;  ///< by how much the recording is too long
    std::vector<response_point> wide; ///< of the chirp, each half a kilohertz
    std::vector<response_point> tones;
    std::optional<double> edge_hz;  ///< where the response ends steeply
    double band_dbfs = -200;        ///< of the tones in the band
    double band_fall_db = 0;        ///< from its best to its worst, over 300 Hz
    double snr_db = 0;              ///< of a burst, in the band
    std::optional<double> image_db; ///< of each tone's double, beside it
    std::optional<double> image_hz; ///< how far away that is
    std::optional<double> leak_db;  ///< below 16 kHz, beside the tones; none where noise is more
    std::optional<double> compression_db; ///< how much less loud the loudest tone is than it should
    double flat_share = 0;                ///< of the loudest tone's samples, at its peak
    std::optional<double> decay_db;       ///< of tones while they last
    std::optional<double> ducking_db;     ///< of the noise while something is played
    std::optional<double> change_db;      ///< from the first chirp to the last
    std::optional<double> late_loss_db;   ///< of the tones beside the chirp before them
    int64_t bursts_heard = 0;
    std::optional<double> burst_snr_db; ///< as the receiver measures it
};

/// Measures a recording, with or without the probe in it. Below 8000 Hz, where too little of the
/// probe is left, all of its samples alone: their level, and how many are clipped.
path_figures measure_path(const recording &heard);

} // namespace tonelink::tool
