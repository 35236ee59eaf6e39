// The pilot map's stages in the architecture's own vectors.
#include "receiver/far/lanes/map_stages.h"

extern constexpr tonelink::map_stages tonelink::lanes4::far_map_stages = kMapStages;
