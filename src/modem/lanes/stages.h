// All vector stages in the width of vectors that the file which includes this is compiled for.
// Every function here, the inline ones of simd.h included, lies in the namespace of that width, and
// none of the standard library is called.
#pragma once

#include "modem/lanes/add_compare_select.h"
#include "modem/lanes/band_shift.h"
#include "modem/lanes/demodulator.h"
#include "modem/lanes/hop_transform.h"
#include "modem/lanes/interpolator.h"
#include "modem/lanes/normalisation.h"
#include "modem/lanes/output_filter.h"
#include "modem/lanes/symbol_transform.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

inline constexpr vector_stages kStages = {
    TONELINK_LANES == 8 ? "8 lanes" : "4 lanes",
    shift_samples,
    transform_hops,
    demodulate,
    select_survivors<32>,
    select_survivors<48>,
    transform_symbols,
    interpolate,
    scale_samples,
    filter_rows,
};

} // namespace tonelink::TONELINK_SIMD
