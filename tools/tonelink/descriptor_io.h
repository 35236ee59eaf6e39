// Reading and writing through descriptors to the end, however the system cuts it.
#pragma once

#include <cstddef>

namespace tonelink::tool {

// Both return false, with the reason in errno, when it cannot be done.

bool write_all(int descriptor, const void *data, std::size_t size);

/// Copies all that is left to read.
bool copy_rest(int from, int to);

} // namespace tonelink::tool
