// The volume of sound type 1 while a burst plays, as the platform has it.
#pragma once

#include <cstdint>

namespace tonelink {

/// The volume map's column for the product that this is.
int32_t product_volume(int64_t master, int32_t maximum);

/// Sets the volume of sound type 1 by the master volume, through a column of the volume map, and
/// stores the volume that it had in `prior`; what cannot be read stays as it is. `caller` and
/// `manner` go to the log.
void set_transmit_volume(int32_t (*column)(int64_t, int32_t), int &prior, const char *caller,
                         const char *manner);

} // namespace tonelink
