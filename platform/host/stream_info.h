// Stream information objects: what an output is bound to. On the host they differ in nothing but
// their lives: one that an output is bound to cannot be released.
#pragma once

#include <memory>

#include "tonelink_platform/sound_manager.h"

namespace tonelink::host {

/// Held by its table, and by each output that is bound to it.
struct stream_info {};

/// The object behind the handle, or null.
std::shared_ptr<stream_info> find_stream_info(sound_stream_info_h handle);

} // namespace tonelink::host
