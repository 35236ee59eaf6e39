// The colours of a spectrogram: from black over violet and orange to a light yellow, with even
// steps of lightness, so that equal differences of level look equal, also in grey and to the
// colour-blind.
#pragma once

#include "plot/canvas.h"

namespace tonelink::tool {

/// @param value  0 is the darkest, 1 the lightest; beyond counts as these
colour map_colour(double value);

} // namespace tonelink::tool
