// The output filter sample by sample: the definition that its fast form is held to.
#pragma once

#include "common/high_pass.h"

namespace tonelink::plain {

/// Does what tonelink::high_pass() does.
void high_pass(std::span<int16_t> samples);

} // namespace tonelink::plain
