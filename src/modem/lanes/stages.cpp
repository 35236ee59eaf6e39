// The vector stages in the architecture's own vectors.
#include "modem/lanes/stages.h"

extern constexpr tonelink::vector_stages tonelink::lanes4::stages = kStages;
