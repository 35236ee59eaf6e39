// The output filter sample by sample: the definition that its fast form is held to.
#pragma once

#include "modem/output_filter.h"

namespace tonelink::reference {

/// Does what tonelink::filter_output() does.
void filter_output(std::span<int16_t> samples);

} // namespace tonelink::reference
