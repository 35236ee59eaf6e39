// All vector stages in the width of vectors that this file is compiled for: the architecture's own,
// or the one that a file which includes this has asked for. Every function here, the inline ones of
// simd.h included, lies in the namespace of that width, and none of the standard library is called.
#include "modem/vector_stages.h"

#include "modem/lanes/band_shift.h"
#include "modem/lanes/demodulator.h"
#include "modem/lanes/hop_transform.h"
#include "modem/lanes/path_search.h"

namespace tonelink::TONELINK_SIMD {

extern constexpr vector_stages stages = {
    TONELINK_LANES == 8 ? "8 lanes" : "4 lanes",
    shift_samples,
    transform_hops,
    demodulate,
    search_paths<32>,
    search_paths<48>,
};

} // namespace tonelink::TONELINK_SIMD
