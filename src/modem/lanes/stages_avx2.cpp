// The vector stages once more, compiled with AVX2: see src/CMakeLists.txt for the flag.
#define TONELINK_LANES 8
#include "modem/lanes/stages.h"

extern constexpr tonelink::vector_stages tonelink::lanes8::stages = kStages;
