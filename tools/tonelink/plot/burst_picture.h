// The picture that `tonelink plot` draws: the spectrogram of a whole sound, with the band and the
// bursts in it marked, and below it one burst from near, symbol by symbol and subcarrier by
// subcarrier.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "plot/canvas.h"
#include "plot/constellation_picture.h"
#include "plot/panel.h"
#include "plot/sound_survey.h"
#include "plot/spectrogram.h"
#include "plot/subcarrier_estimate.h"

namespace tonelink::tool {

/// The whole sound alone; with a burst from near; or with a burst's subcarriers, and the burst from
/// near between both where the picture is high enough.
enum class picture_parts { overview, closeup, constellation };

/// The sizes of the parts, known before the sound is analysed: a column for each pixel.
class picture_layout {
public:
    picture_layout(int width, int height, picture_parts parts);

    std::size_t columns() const;
    bool has_closeup() const { return closeup.height > 0; }

    int width_px, height_px;
    double scale;         ///< pixels to a unit
    double width, height; ///< in units
    panel overview{};     ///< without axes yet
    panel closeup{};
    constellation_layout constellation{};
};

/// What is drawn.
struct burst_picture {
    std::string title;
    std::string subtitle;
    const spectrogram *overview;
    std::vector<sound_burst> bursts;
    std::size_t shown = 0;                            ///< which of them is shown from near
    const spectrogram *closeup = nullptr;             ///< of it, or null
    const subcarrier_estimate *subcarriers = nullptr; ///< of it, or null
};

/// What the closeup shows beside the burst itself.
inline constexpr double kCloseupMarginSeconds = 0.012;

canvas draw_picture(const burst_picture &picture, const picture_layout &layout);

} // namespace tonelink::tool
