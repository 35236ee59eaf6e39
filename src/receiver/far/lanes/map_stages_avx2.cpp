// The pilot map's stages once more, compiled with AVX2: see src/CMakeLists.txt for the flag.
#define TONELINK_LANES 8
#include "receiver/far/lanes/map_stages.h"

extern constexpr tonelink::map_stages tonelink::lanes8::far_map_stages = kMapStages;
