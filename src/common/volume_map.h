// From the master volume to the volume of sound type 1 that carries the burst: the quieter the
// television, the louder the burst. Players and the volume policy share it.
#pragma once

#include <cstdint>

namespace tonelink {

inline constexpr int kUsedSoundType = 1;

/// The volume for an ordinary product; `maximum` is the highest of sound type 1.
int32_t ordinary_product_volume(int64_t master, int32_t maximum);

/// The volume for an AV product.
int32_t av_product_volume(int64_t master);

} // namespace tonelink
