// The picture that `tonelink plot` draws: the spectrogram of a whole sound, with the band and the
// bursts in it marked, and below it one burst from near, symbol by symbol.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "burst_finder.h"
#include "canvas.h"
#include "panel.h"
#include "spectrogram.h"

namespace tonelink::tool {

/// The sizes of the parts, known before the sound is analysed: a column for each pixel.
class picture_layout {
public:
    picture_layout(int width, int height, bool with_closeup);

    std::size_t columns() const;

    int width_px, height_px;
    double scale;         ///< pixels to a unit
    double width, height; ///< in units
    panel overview{};     ///< without axes yet
    panel closeup{};
};

/// What is drawn.
struct burst_picture {
    std::string title;
    std::string subtitle;
    const spectrogram *overview;
    std::vector<found_burst> bursts;
    const spectrogram *closeup = nullptr; ///< of bursts[nearest], or null
    std::size_t nearest = 0;
};

/// What the closeup shows beside the burst itself.
inline constexpr double kCloseupMarginSeconds = 0.012;

canvas draw_picture(const burst_picture &picture, const picture_layout &layout);

} // namespace tonelink::tool
