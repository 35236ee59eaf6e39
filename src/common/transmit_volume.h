// The volume of sound type 1 while a burst plays: the quieter the television, the louder the burst.
// Both players and the service's volume policy take it from here.
#pragma once

#include <cstdint>

namespace tonelink {

inline constexpr int kUsedSoundType = 1;

/// The volume map, from the master volume; `maximum` is the highest volume of sound type 1.
int32_t ordinary_product_volume(int64_t master, int32_t maximum);
int32_t av_product_volume(int64_t master);

/// The map's column for the product that this is, by IsAVProduct().
int32_t product_volume(int64_t master, int32_t maximum);

/// The present and the highest volume of sound type 1; `otherwise` when it cannot be read.
int read_volume(int otherwise);
int read_max_volume(int otherwise);

/// What a player finds before its first write, and what it makes of it.
struct transmit_volumes {
    int master;
    int32_t prior; // volume of sound type 1
    int maximum;   // of sound type 1
    int32_t set = 0;
};

/// Reads the volumes; `unknown_prior` is for one that cannot be read. `caller` goes to the log.
transmit_volumes read_transmit_volumes(int32_t unknown_prior, const char *caller);

/// Sets the volume of sound type 1 through a column of the map, and reads its maximum anew.
void set_transmit_volume(int32_t (*column)(int64_t, int32_t), transmit_volumes &volumes,
                         const char *caller);

} // namespace tonelink
